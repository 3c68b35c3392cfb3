// IndexManager: the postings of one group, one fixed-size record per (term,
// document, field), appended in indexing order.
//
// Files: D/idx_0/N-info, D/idx_0/N-0, ... (BlockFiles, 2 MiB data files of
// 190,650 records and 2 spare bytes). Posting record _idx2_unit_t, 11 bytes,
// little-endian:
//   offset size field
//   0      4    term sign (idx_sign32)
//   4      4    doc id (stored whole)
//   8      1    field index (position in the index configuration)
//   9      1    weight (1-20)
//   10     1    match bits
// Every data file except the last is sorted by (sign, doc id) ascending; it
// is sorted once, in place, when it fills. The last file is in append order.
// Lookups binary-search full files and scan the active one.
//
// Ownership: the manager owns its store and path copies. Threads: none
// inside; the group searcher's read-write lock separates writers from
// queries. Failures: return values only (-1, 1 as listed), nothing logged.
#ifndef KS_STORAGE_INDEX_MANAGER_H_
#define KS_STORAGE_INDEX_MANAGER_H_

#include "foundation/binary_set.h"
#include "foundation/string_buffer.h"
#include "storage/block_files.h"
#include "storage/byte_order.h"
#include "storage/index_term.h"
#include "storage/postings_directory.h"

namespace mobile_search {

class DocIdManager;

// The stored posting; a view of 11 packed bytes (alignment 1).
struct _idx2_unit_t {
  static constexpr unsigned int kSize = 11;
  unsigned char bytes[kSize];

  unsigned int sign() const { return DecodeFixed32(bytes); }
  unsigned int docid() const { return DecodeFixed32(bytes + 4); }
  unsigned char field() const { return bytes[8]; }
  unsigned char weight() const { return bytes[9]; }
  unsigned char bits() const { return bytes[10]; }
  void set(unsigned int s, unsigned int d, unsigned char f, unsigned char w, unsigned char b) {
    EncodeFixed32(bytes, s);
    EncodeFixed32(bytes + 4, d);
    bytes[8] = f;
    bytes[9] = w;
    bytes[10] = b;
  }
};

class IndexManager {
 public:
  static constexpr unsigned int kRecordsPerFile = 190650;

  IndexManager();
  virtual ~IndexManager();
  IndexManager(const IndexManager&) = delete;
  IndexManager& operator=(const IndexManager&) = delete;

  // Creates dir and dir/idx_0 if needed and opens the store `name` there.
  // 0; -1 for empty arguments or when a directory or the store fails.
  int open(const char* dir, const char* name);
  // Appends one posting; its content offset, or -1 (not writable, store
  // failure).
  int addTerm(unsigned int sign, unsigned int docid, unsigned char field, unsigned char weight,
              unsigned char bits);
  // Adds the postings of `sign` (of one field, or all when field is -1) to
  // `term`, in file order. 0; -1 when not open.
  int getTerm(unsigned int sign, IndexTerm* term, int field);
  void addToTerm(IndexTerm* term, const _idx2_unit_t* rec, int field);
  // Calls visit(user, record) for each posting getTerm would add, in the
  // same order, without building a term: for callers that only test or
  // count postings. 0; -1 when not open or visit is null.
  typedef void (*posting_visit_fn)(void* user, const _idx2_unit_t* rec);
  int visitTerm(unsigned int sign, int field, posting_visit_fn visit, void* user);

  // Writes back the active file and the content length. 0, or -1 when a
  // write failed (the recorded length then stays where it was).
  int save();
  // save() then closes the store. 0.
  int close();
  // Writes back the last n postings. 0; -1 when fewer are stored.
  int saveRecentTerms(int n);
  void setAutoSave(bool on);
  bool isAutoSave() const { return autoSave; }
  // Number of records (content length / 11).
  unsigned int get_max_pos();

  // Compaction, first step (run on the old index): copies postings of live
  // documents below `limit`, renumbered through `removed`, into dst.
  // 0; 1 when either store is missing.
  int copy_block(IndexManager* dst, int count, int limit, BinarySet* removed, DocIdManager* delInfo);
  // Compaction, second step (run on the new index): carries over postings
  // of src whose doc id `keep` holds, as doc id base + position in keep.
  int compose_rest_by_log(IndexManager* src, int start, int maxPos, BinarySet* keep, int base);

  // Mends, right after open, what a stopped process or a power cut can leave
  // in the postings of a group whose document store holds `docCount`
  // records; see IndexRepairs. 0, or -1 when a repair could not be written.
  struct IndexRepairs {
    unsigned int unwritten = 0;     // all-zero records cut off the end
    bool resorted = false;          // the last full file was out of order and sorted again
    unsigned int orphans = 0;       // postings past the last document cut off the end
    long long reserveUpTo = -1;     // highest doc id of postings in full files with no document
  };
  int repairAtOpen(unsigned int docCount, IndexRepairs* out);

  // Flush saves to the device (see BlockFiles::setDurable).
  void setDurable(bool on) { store->setDurable(on); }
  const BlockFiles::OpenRepairs& storeRepairs() const { return store->openRepairs(); }

  // Store access for whole-index walks and tests.
  BlockFiles* getStore() { return store; }
  // The in-memory guide to the postings files, brought up to date with the
  // active file, or null while it does not describe the store exactly (see
  // PostingsDirectory::usable). Callable from concurrent searches.
  const PostingsDirectory* directory() {
    return directory_.usable(store) && directory_.catchUp(store) ? &directory_ : nullptr;
  }
  // Bytes held by the directory.
  size_t directoryBytes() const { return directory_.memoryBytes(); }
  // Where getTerm's binary search over the `count` records of a full file
  // lands for `sign`: the index of the matching record it stops at, or -1.
  // Its postings of `sign` are visited from there upward, then downward.
  static int fullFileHit(const unsigned char* base, unsigned int count, unsigned int sign);

 private:
  // Visits the run of `sign` in a full file (sorted by sign, doc id): from
  // the posting the binary search lands on upward, then downward.
  static void visitFullFile(unsigned int sign, int field, const unsigned char* base, unsigned int count,
                            posting_visit_fn visit, void* user);

  // Builds the postings directory from the files as they are now.
  void rebuildDirectory();

  _str_buffer_t* dirPath;
  _str_buffer_t* baseName;
  BlockFiles* store;
  bool opened;
  bool writable;
  bool autoSave;
  PostingsDirectory directory_;
};

// onFileFull callback of the postings store: sorts a full file in place by
// (sign, doc id); records with equal keys end where the shell sort with the
// engine's gap sequence puts them. Sorts (key, position) pairs aside, 32 bytes
// of scratch memory a record (about three times the file), and moves each
// record once; without that memory it shell-sorts the file's bytes directly. Bytes past the last whole record
// are left alone. Returns 0.
int idx_sort_full_file(MMapFile* file, unsigned int size);

}  // namespace mobile_search

#endif  // KS_STORAGE_INDEX_MANAGER_H_
