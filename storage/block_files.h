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
// Ownership: the store owns its MMapFile objects, path buffers and the info
// descriptor. Threads: no locking inside; the owning searcher serialises use.
// Failures: return values only (documented per function), nothing is logged;
// write-back failures are ignored by append, sync and saveLastBytes, and the
// bytes concerned stay dirty so a later save retries them.
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
  // file that cannot be opened or read, a data file that cannot be mapped or
  // has the wrong size while holding content, or an info file claiming more
  // content than the data files hold. Files opened so far stay in the list.
  int openFiles(const char* dir, const char* name);

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
  // syncFile for every file in order; returns 1.
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

 private:
  MMapFile* fileAt(int i) const;
  int formatDataPath(char* out, int k) const;
  int openDataFile(int k, bool mustExist);
  // Writes back the used or whole range of file i that the rules above name.
  int writeBackFile(int i, bool viaMsync);

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
};

}  // namespace mobile_search

#endif  // KS_STORAGE_BLOCK_FILES_H_
