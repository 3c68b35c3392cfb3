// BlockFiles: the append-only record store under every persistent structure
// of the index (document records, keys, postings, operation log).
//
// One logical byte stream (the content) is kept in equally sized data files
// "D/N-0", "D/N-1", ... of 2^blockBits bytes each, every one mapped privately
// (MMapFile), plus an info file "D/N-info" holding the content length:
//
//   info file   | offset | size | field
//               | 0      | 4    | content length, u32 little-endian
//
// Content offset x lies in data file x >> blockBits at byte x mod file size.
// A record never straddles two data files: one that does not fit in what
// remains of the active file starts the next file, and the tail it leaves
// holds no content. Records are addressed by their content offset.
//
// Write-back: with autosave on (the default) every append writes its record
// and the content length at once. With autosave off the owner persists with
// sync(), syncFile() or saveLastBytes(). These write back only bytes changed
// since they were last written (owners that change records through addresses
// report it with markDirty), so a save costs what changed, not the store
// size; the files end up exactly as a whole-range write-back would leave them.
//
// Crash safety: the info file only ever names content whose bytes were
// written first. A full file that onFileFull rewrites (the postings sort) is
// written whole to "D/N-<i>.seal" and renamed over "D/N-<i>" only after the
// content length that covers it was recorded; openFiles finishes or drops
// such a copy, so a killed process leaves the file either as it was or
// wholly rewritten. The rewritten file is mapped anew only by an append (the
// owner's exclusive section), never by a save, which may run beside readers.
// With setDurable(true) every save also flushes the data files to the device
// before the info file that points into them, and the directory after a file
// was created or renamed.
//
// Ownership: the store owns its MMapFile objects, path buffers and the info
// descriptor. Threads: no locking inside; the owning searcher serialises use.
// Failures: return values only (documented per function), nothing is logged;
// write-back failures are ignored by append and saveLastBytes, reported by
// sync and syncFile, and the bytes concerned stay dirty so a later save
// retries them; the content length is never recorded past bytes that failed.
#ifndef KS_STORAGE_BLOCK_FILES_H_
#define KS_STORAGE_BLOCK_FILES_H_

#include "foundation/dynamic_array.h"
#include "foundation/string_buffer.h"
#include "storage/mmap_file.h"

namespace mobile_search {

typedef int (*block_full_fn)(MMapFile* file, unsigned int size);

class BlockFiles {
 public:
  // onFileFull (may be null) is called with a data file that has filled up,
  // before it is written back whole; it may rewrite the file in place.
  // clearFullFiles: full files are settled (not written back by sync or
  // flushFile, their page cache dropped by clearCache). syncFlush: autosave
  // uses msync of the mapped range instead of a positioned write.
  BlockFiles(int blockBits, int (*onFileFull)(MMapFile*, unsigned int), bool clearFullFiles,
             bool syncFlush);
  virtual ~BlockFiles();
  BlockFiles(const BlockFiles&) = delete;
  BlockFiles& operator=(const BlockFiles&) = delete;

  // Opens or creates the info file and maps every numbered data file up to
  // the first missing number. 1 on success; 0 for null arguments, an info
  // file that cannot be opened or read, or a data file that cannot be mapped
  // or has the wrong size while holding content. Files opened so far stay in
  // the list. An interrupted rewrite of a full file is finished or dropped
  // first, and an info file claiming more content than the data files hold
  // is cut back to what they hold (see openRepairs).
  int openFiles(const char* dir, const char* name);

  // What openFiles had to mend, for the owner to report.
  struct OpenRepairs {
    unsigned int claimedLen = 0;   // content length the info file claimed
    bool lengthCut = false;        // it reached past the data files
    bool sealFinished = false;     // a recorded rewrite was moved in place
    bool sealDropped = false;      // an unrecorded rewrite was thrown away
  };
  const OpenRepairs& openRepairs() const { return repairs_; }

  // Cuts the content back to `len` bytes (no effect when len >= contentLen)
  // and records the new length at once. For owners that find, at open, that
  // the tail of their content was never completely written. 0, or -1 when
  // the length cannot be recorded.
  int truncateContent(unsigned int len);

  // Rewrites full data file i in place through `rewrite` (as onFileFull does)
  // with the same crash-safe replacement as a file that fills up. For owners
  // that find, at open, a full file whose order is broken. 0, or -1.
  int rewriteFullFile(int i, int (*rewrite)(MMapFile*, unsigned int));

  // Flush data and info to the device on every save (see above).
  void setDurable(bool on) { durable_ = on; }
  bool isDurable() const { return durable_; }

  // Appends a record; returns its content offset, or -1 for null data,
  // n == 0, n larger than a data file, or a data file that cannot be added.
  int append(const void* data, unsigned int n);

  // Copies n bytes at getSafeOffset(offset) of the file holding `offset`.
  // -1 for null dst, offset >= contentLen or a missing file; else the bytes
  // copied (MMapFile::read).
  int read(unsigned int offset, void* dst, int& n);

  // Address for a content offset; null when offset >= contentLen or the file
  // is missing. Resolves through getSafeOffset, so only offsets in data file
  // 0 yield an address (see getSafeOffset).
  void* offset2Addr(unsigned int offset);

  // The smaller of `offset` and the file's mapped size. The content offset is
  // deliberately not reduced modulo the file size: stores that resolve
  // offsets this way (primary keys, term table) are bounded to their first
  // data file, while record stores walk files with getBlockAddress.
  unsigned int getSafeOffset(int offset, MMapFile* file);

  // Start of data file i and its used length in `len`: the mapped size for
  // a file the content has passed, contentLen mod file size for the file
  // holding the end of the content (the last one), 0 beyond. Null when i is
  // out of range or the file is missing.
  void* getBlockAddress(int i, unsigned int& len);

  int blockNumber() const { return fileCount; }
  // contentLen / itemSize (0 for itemSize 0).
  unsigned int itemNumber(unsigned int itemSize) const;
  unsigned int getContentLen() const { return contentLen; }
  unsigned int getFileSize() const { return 1u << blockBits; }

  void setAutoSave(bool on) { autoSave = on; }
  bool isAutoSave() const { return autoSave; }

  // Writes contentLen at offset 0 of the info file (when open and changed
  // since it was last written). 0, or -1 when the write fails.
  int saveContentLen();
  // Persists the last n bytes of content, then the content length. Ignored
  // when n > contentLen. Owners call it after changing a record they
  // appended with autosave off.
  void saveLastBytes(unsigned int n);
  // Last (active) file: its used bytes and the content length; a file the
  // content has passed: the whole file, unless clearFullFiles. Only bytes
  // changed since their last write-back are written. 0, or -1 when a write
  // failed.
  int syncFile(int i);
  // Writes back every file as syncFile would, then records the content
  // length. 1, or 0 when a write failed (the length is then not recorded).
  int sync();
  // As syncFile with msync instead of positioned writes (see MMapFile).
  int flushFile(int i);
  // Drops the page cache of every data file but the last; returns 1.
  int clearCache();
  // Closes every data file without write-back, saves the content length and
  // the info file, and empties the store. Returns 1.
  int closeFiles();
  // Adds the next data file at full size. 1 on success, 0 on failure.
  int expand();

  // Records that the owner changed bytes [offset, offset + n) of data file i
  // through an address, so the next save writes them back.
  void markDirty(int i, unsigned int offset, unsigned int n);
  // Writes back the changed bytes inside [offset, offset + n) of data file i
  // alone (flushed when durable), leaving every other change for the next
  // save and the content length as recorded. 0, or -1.
  int writeThrough(int i, unsigned int offset, unsigned int n);

 private:
  MMapFile* fileAt(int i) const;
  int formatDataPath(char* out, int k) const;
  int openDataFile(int k, bool mustExist);
  // The file holding the end of the content (or a spare one after it).
  bool isActiveFile(int i, unsigned int used) const;
  // Writes back the used or whole range of file i that the rules above name,
  // without the content length. 0, or -1 when a write failed.
  int writeBackData(int i, bool viaMsync);
  // writeBackData, then commitLength for the active file.
  int writeBackFile(int i, bool viaMsync);
  // Flushes written data files when durable, then records the content length
  // (flushed too when durable) and, with mayInstall (appends only), moves a
  // waiting sealed copy into place. 0, or -1.
  int commitLength(bool mayInstall = false);
  int formatSealPath(char* out, int k) const;
  // Writes full file i, as rewritten in memory, to its ".seal" copy.
  int writeSealCopy(int i);
  // Renames the ".seal" copy of file i over it and maps the new file.
  void installSealCopy(int i);
  void dropSealCopy(int i);
  // At open: the ".seal" copy of file k goes in place when the recorded
  // length covers file k, and is removed otherwise. False when neither works.
  bool resolveSealCopy(int k);

  unsigned int totalSize;
  unsigned int contentLen;
  int fileCount;
  ArrayList files;
  StringBuffer* dir;
  StringBuffer* name;
  int blockBits;
  int (*onFileFull)(MMapFile*, unsigned int);
  bool clearFullFiles;
  int infoFd;
  bool autoSave;
  bool syncFlush;
  long long savedLen_;  // content length last written to the info file, -1 unknown
  bool durable_ = false;
  bool infoUnsynced_ = false;  // info written since its last flush
  int pendingSeal_ = -1;  // file whose sealed copy waits for its length to be recorded
  OpenRepairs repairs_;
};

}  // namespace mobile_search

#endif  // KS_STORAGE_BLOCK_FILES_H_
