// PostingsDirectory: an in-memory guide to the postings files of one
// IndexManager, so that a query finds a term's postings at a cost that
// follows its postings rather than the size of the index.
//
// Per sealed (full, sorted) data file, keyed by file number:
//   - every 64th record's term sign (sparse sign -> record index), which
//     narrows a binary search to 64 records before the mapped file is read;
//   - the runs of at least 64 records (the frequent terms) with their first
//     and last doc id, so that a frequent term is found, and its documents
//     in the file bounded, without reading the mapped file at all;
//   - the smallest and largest doc id in the file, so that the postings of
//     one document are looked for only in the files that can hold them;
//   - whether no term holds a document twice in the file, whether all its
//     postings have one field (and which) and whether none has weight 0:
//     then a term's run in the file counts its documents by its length.
// For the active (last) file: an ActiveTermIndex, brought up to date by the
// first query after appends (catchUp) rather than on every append, so that
// indexing pays nothing for it.
// Everything is keyed by file number and record index, never by address:
// callers take a file's current address from the store for every query.
//
// The directory is built from the store at open and kept up to date by
// IndexManager::addTerm (noteAppend). It answers only while it matches the
// store exactly (usable()): same content length, every full file sorted by
// (sign, doc id) and indexed, one active file, no doc id of 2^24 or more
// (postings keep only 24 bits of doc id). Otherwise callers use the plain
// evaluation.
//
// Threads: none inside; written under the group's exclusive lock, read by
// searches under the shared lock. Failures: an allocation failure makes the
// directory unusable until the next build.
#ifndef KS_STORAGE_POSTINGS_DIRECTORY_H_
#define KS_STORAGE_POSTINGS_DIRECTORY_H_

#include <atomic>
#include <cstddef>
#include <mutex>
#include <vector>

#include "storage/active_term_index.h"

namespace mobile_search {

class BlockFiles;

class PostingsDirectory {
 public:
  static constexpr unsigned int kStride = 64;

  // Record indices [lo, hi) of one term in a sealed file.
  struct Run {
    unsigned int lo, hi;
  };
  // A run of at least kStride records and the doc ids of its first and last
  // records (the smallest and largest of the run).
  struct LongRun {
    unsigned int sign, lo, hi, firstDoc, lastDoc;
  };

  void clear();
  // Indexes every data file of `store` (at open). Full files are read from
  // `dir`/`name`-N with pread rather than through their mappings, so that
  // opening does not make the whole index resident in this process; a file
  // that cannot be read, or differs from its mapping, is read mapped.
  void build(BlockFiles* store, const char* dir, const char* name);
  // Keeps up with an append of a posting of `docid` that the store placed at
  // content offset `offset`; indexes a file that has just been sealed.
  void noteAppend(BlockFiles* store, unsigned int offset, unsigned int docid);
  // Whether the directory describes `store` as it is now.
  bool usable(const BlockFiles* store) const;
  // Indexes the active file's postings appended since the last call. Safe
  // to call from several searches at once (they hold the group's shared
  // lock, so the store does not change meanwhile). False when the index
  // could not take them (the directory is then not usable).
  bool catchUp(BlockFiles* store);

  int sealedCount() const { return static_cast<int>(sealed_.size()); }
  unsigned int minDoc(int f) const { return sealed_[f].minDoc; }
  unsigned int maxDoc(int f) const { return sealed_[f].maxDoc; }
  // The field of every posting of sealed file f, or -1 when they differ, a
  // term holds a document twice there, or a weight is 0.
  int plainField(int f) const { return sealed_[f].plainField; }
  // Whether the smallest doc ids of the sealed files never decrease from one
  // file to the next (then docFiles can binary-search them).
  bool docOrdered() const { return docOrdered_; }
  // The run of `sign` in sealed file f whose records start at `base`.
  Run findRun(int f, const unsigned char* base, unsigned int sign) const;
  // Asks the cache for the records findRun(f, base, sign) will read first,
  // so that the lookups of one term in many files overlap their misses.
  void prefetchRun(int f, const unsigned char* base, unsigned int sign) const;
  // The run of `sign` in sealed file f when it has at least kStride records,
  // else null.
  const LongRun* longRun(int f, unsigned int sign) const;
  // Number of the active file (-1 when there is none) and its postings.
  int activeFile() const { return activeFile_; }
  // The smallest doc id of the active file's postings (0xFFFFFFFF when it
  // holds none).
  unsigned int activeMinDoc() const { return activeMinDoc_; }
  const ActiveTermIndex& active() const { return active_; }
  size_t memoryBytes() const;

 private:
  struct SealedFile {
    unsigned int minDoc, maxDoc;
    int plainField;
    std::vector<unsigned int> samples;  // sign of records 0, kStride, 2 kStride, ...
    std::vector<LongRun> longRuns;      // ascending by sign
  };
  bool addSealed(BlockFiles* store, int f, const unsigned char* copy = nullptr);
  void addActive(const unsigned char* base, unsigned int from, unsigned int to);
  void noteDoc(unsigned int docid);

  std::vector<SealedFile> sealed_;
  ActiveTermIndex active_;
  std::mutex activeMutex_;                       // serialises catchUp
  std::atomic<unsigned int> activeIndexed_{0};  // active records in active_
  int activeFile_ = -1;
  unsigned int activeMinDoc_ = 0xFFFFFFFFu;
  unsigned int contentLen_ = 0;  // content length of the store described
  unsigned int maxDoc_ = 0;
  bool docOrdered_ = true;
  bool ok_ = false;
};

}  // namespace mobile_search

#endif  // KS_STORAGE_POSTINGS_DIRECTORY_H_
