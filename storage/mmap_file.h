// MMapFile: one fixed-size data file of the index mapped into memory.
//
// A file is created at its final size and never grows; a store grows by
// adding files (see BlockFiles). The mapping is shared or private. The index
// keeps every block file private: changes reach the file only through
// explicit positioned writes of byte ranges (syncToDisk, syncDirty).
//
// Write-back bookkeeping: every change made through write() or announced with
// markDirty() is remembered, so syncDirty() can write back only the bytes
// that differ from the file. Bytes that are not dirty are, by construction,
// equal to the file's bytes (they were either never changed or were written
// back successfully), so skipping them leaves the file exactly as a write-back
// of the whole range would.
//
// Ownership: the object owns its path copy, descriptor and mapping.
// Threads: no locking inside; the owning store serialises access.
// Failures: reported only through return values (0, -1, null as documented
// per function); nothing is logged and errno is not kept.
#ifndef KS_STORAGE_MMAP_FILE_H_
#define KS_STORAGE_MMAP_FILE_H_

#include "storage/dirty_map.h"

namespace mobile_search {

class MMapFile {
 public:
  // Nothing is opened; `size` is the size a new file is created with.
  MMapFile(unsigned int size, bool clearCacheEnabled, bool readOnly, bool privateMap);
  ~MMapFile();
  MMapFile(const MMapFile&) = delete;
  MMapFile& operator=(const MMapFile&) = delete;

  // Keeps a copy of the first `len` bytes of `path`. 1 on success; 0 for a
  // null or empty path, len < 1 or allocation failure.
  int create(const char* path, int len);

  // Opens (or creates at the constructor size) and maps the file. 1 when
  // opened; 0 on failure, leaving the object closed with sizes 0. An object
  // that is already mapped returns 1 and keeps its mapping. An existing file
  // is mapped at its real size; an empty file or size 0 fails, and so does
  // a read-only open of an existing file (it is truncated to its own size).
  int openFile(const char* path, int len);

  // msync of [offset, offset + len); 0 when unmapped, read-only, not opened
  // or out of range, else 1 unless msync fails (0). Does not persist a
  // private mapping.
  int blockFlush(bool sync, unsigned int offset, unsigned int len);
  int flush(bool sync);

  // One positioned write of mapped bytes [offset, offset + n) to the same
  // file offset. 0 when all n bytes were written; -1 when unmapped, not
  // opened, n == 0, the range leaves the mapping, or the write is short.
  int syncToDisk(unsigned int offset, unsigned int n);
  int syncToDisk();

  // Writes back only the dirty bytes inside [offset, offset + n); the file
  // ends up as syncToDisk(offset, n) would leave it. 0 on success (also when
  // nothing was dirty), -1 when not opened or a write fails (the bytes not
  // written stay dirty).
  int syncDirty(unsigned int offset, unsigned int n);

  // Flushes to the device (fdatasync) what positioned writes have written
  // since the last flush; nothing to do gives 0. 0, or -1 when not opened or
  // the flush fails (the writes then stay pending).
  int dataSync();

  // Records that the caller changed mapped bytes [offset, offset + n)
  // through an address (safeOffset2Addr). Ranges are clipped to the mapping.
  void markDirty(unsigned int offset, unsigned int n);

  // Copies n bytes into the mapping, all or nothing. Returns n, or 0 when
  // src is null, not opened, read-only, n == 0 or the range leaves the
  // mapping.
  unsigned int write(unsigned int offset, const void* src, unsigned int n);
  // Copies out, clipped at the end of the mapping; returns the bytes copied,
  // 0 when unmapped, dst null, not opened, n == 0 or offset >= mapSize.
  unsigned int read(unsigned int offset, void* dst, unsigned int n);

  // Address of `offset` in the mapping; null when not opened, unmapped or
  // offset >= mapSize. Callers holding a possibly missing file test it first.
  void* safeOffset2Addr(unsigned int offset);

  // Drops clean cached pages (when enabled). Returns 1 in every case.
  int clearCache();

  // Unmaps and closes; with `sync` writes the whole mapping back first.
  // 1 when nothing was open or all went well; 0 when munmap or close failed.
  int close(bool sync);

  unsigned int getMapSize() const { return mapSize; }
  unsigned int getFileSize() const { return fileSize; }
  bool isOpened() const { return opened; }
  bool isPrivate() const { return privateMap; }
  const char* getPath() const { return path; }

 private:
  void failOpen();

  char* path;
  bool readOnly;
  bool privateMap;
  unsigned int fileSize;
  unsigned int mapSize;
  void* addr;
  int fd;
  bool opened;
  int advice;
  int prot;
  int mapFlags;
  bool clearCacheEnabled;
  DirtyMap dirty_;
  bool unsynced_ = false;  // positioned writes not yet flushed by dataSync
};

}  // namespace mobile_search

#endif  // KS_STORAGE_MMAP_FILE_H_
