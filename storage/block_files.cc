#include "storage/block_files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <new>

#include "storage/byte_order.h"

namespace mobile_search {

namespace {

const int kPathMax = 4096;
const int kMaxDataFiles = 1048576;

}  // namespace

BlockFiles::BlockFiles(int bits, int (*full)(MMapFile*, unsigned int), bool clearFull, bool flushSync)
    : totalSize(0),
      contentLen(0),
      fileCount(0),
      files(nullptr),
      dir(nullptr),
      name(nullptr),
      blockBits(bits),
      onFileFull(full),
      clearFullFiles(clearFull),
      infoFd(-1),
      autoSave(true),
      syncFlush(flushSync),
      savedLen_(-1) {}

BlockFiles::~BlockFiles() {
  closeFiles();
  delete dir;
  delete name;
}

MMapFile* BlockFiles::fileAt(int i) const {
  if (i < 0 || i >= fileCount || static_cast<unsigned int>(i) >= files.length()) return nullptr;
  return slot_as<MMapFile>(files.get(static_cast<unsigned int>(i)));
}

int BlockFiles::formatDataPath(char* out, int k) const {
  return snprintf(out, kPathMax, "%s/%s-%d", dir->toString(), name->toString(), k);
}

// Maps data file k and adds it to the list. A file of the wrong size is
// refused when it holds content; one that lies wholly beyond the content is
// the leftover of an interrupted expand and is brought to full size.
int BlockFiles::openDataFile(int k, bool mustExist) {
  char path[kPathMax];
  formatDataPath(path, k);
  unsigned int size = getFileSize();
  struct stat st;
  if (stat(path, &st) == 0) {
    if (!S_ISREG(st.st_mode)) return 0;
    if (st.st_size != static_cast<off_t>(size)) {
      unsigned long long start = static_cast<unsigned long long>(k) << blockBits;
      if (start < contentLen || truncate(path, size) != 0) return 0;
    }
  } else if (mustExist) {
    return 0;
  }
  MMapFile* file = new (std::nothrow) MMapFile(size, clearFullFiles, false, true);
  if (file == nullptr) return 0;
  if (file->openFile(path, static_cast<int>(strnlen(path, kPathMax))) != 1 ||
      files.add(static_cast<const void*>(file)) != RET_OK) {
    delete file;
    return 0;
  }
  fileCount += 1;
  totalSize += size;
  return 1;
}

int BlockFiles::openFiles(const char* d, const char* n) {
  if (d == nullptr || n == nullptr || blockBits < 1 || blockBits > 30) return 0;
  closeFiles();  // a reopened store starts from its files alone
  delete dir;
  delete name;
  dir = new (std::nothrow) StringBuffer(d);
  name = new (std::nothrow) StringBuffer(n);
  if (dir == nullptr || name == nullptr || !dir->valid() || !name->valid()) return 0;

  char path[kPathMax];
  snprintf(path, sizeof(path), "%s/%s-info", dir->toString(), name->toString());
  infoFd = ::open(path, O_RDWR | O_CREAT, 0600);
  if (infoFd < 0) return 0;
  unsigned char raw[4] = {0, 0, 0, 0};
  ssize_t got = pread(infoFd, raw, sizeof(raw), 0);
  if (got < 0) return 0;
  contentLen = got == 4 ? DecodeFixed32(raw) : 0;
  savedLen_ = got == 4 ? contentLen : -1;

  for (int k = 0; k < kMaxDataFiles; ++k) {
    formatDataPath(path, k);
    if (access(path, F_OK) != 0) break;
    if (!openDataFile(k, true)) return 0;
  }
  if (contentLen > totalSize) return 0;  // the info file claims missing content
  clearCache();
  return 1;
}

int BlockFiles::expand() {
  if (dir == nullptr || name == nullptr || fileCount >= kMaxDataFiles) return 0;
  if (static_cast<unsigned long long>(totalSize) + getFileSize() > UINT_MAX) return 0;
  return openDataFile(fileCount, false);
}

int BlockFiles::append(const void* data, unsigned int n) {
  unsigned int size = getFileSize();
  if (data == nullptr || n == 0 || n > size) return -1;
  int i = static_cast<int>(contentLen >> blockBits);
  MMapFile* file = fileAt(i);
  unsigned int inFile = contentLen & (size - 1);
  // The record must fit in the file that holds the append position. This is
  // the same test as "fits in the total size" whenever that file is the last.
  if (file == nullptr || inFile + static_cast<unsigned long long>(n) > file->getMapSize()) {
    if (file != nullptr) {
      if (onFileFull != nullptr) {
        onFileFull(file, file->getMapSize());
        file->markDirty(0, file->getMapSize());  // the callback may rewrite it all
      }
      file->syncDirty(0, file->getMapSize());
      i += 1;
    }
    if (fileAt(i) == nullptr && (i != fileCount || !expand())) return -1;
    file = fileAt(i);
    contentLen = static_cast<unsigned int>(i) << blockBits;
    // A full file rewritten in place (sorted) no longer matches an older
    // content length that ends inside it, so the new length is recorded now.
    if (onFileFull != nullptr) saveContentLen();
    clearCache();
  }
  if (file == nullptr) return -1;
  if (static_cast<unsigned long long>(contentLen) + n > INT_MAX) return -1;  // offsets are ints
  unsigned int off = contentLen & (size - 1);
  file->write(off, data, n);
  if (autoSave) {
    if (syncFlush) {
      file->blockFlush(true, off, n);
    } else {
      file->syncToDisk(off, n);
    }
  }
  unsigned int at = contentLen;
  contentLen += n;
  if (autoSave) saveContentLen();
  return static_cast<int>(at);
}

int BlockFiles::read(unsigned int offset, void* dst, int& n) {
  if (dst == nullptr || offset >= contentLen || n < 0) return -1;
  MMapFile* file = fileAt(static_cast<int>(offset >> blockBits));
  if (file == nullptr) return -1;
  return static_cast<int>(
      file->read(getSafeOffset(static_cast<int>(offset), file), dst, static_cast<unsigned int>(n)));
}

void* BlockFiles::offset2Addr(unsigned int offset) {
  if (offset >= contentLen) return nullptr;
  MMapFile* file = fileAt(static_cast<int>(offset >> blockBits));
  if (file == nullptr) return nullptr;
  return file->safeOffset2Addr(getSafeOffset(static_cast<int>(offset), file));
}

unsigned int BlockFiles::getSafeOffset(int offset, MMapFile* file) {
  // Clamped, not reduced modulo the file size: deliberate (see header).
  unsigned int limit = file == nullptr ? 0 : file->getMapSize();
  unsigned int off = static_cast<unsigned int>(offset);
  return off < limit ? off : limit;
}

void* BlockFiles::getBlockAddress(int i, unsigned int& len) {
  MMapFile* file = fileAt(i);
  if (file == nullptr) return nullptr;
  // Content that reaches past this file covers all of it; the file holding
  // the end of the content uses contentLen mod size. Measuring from the
  // content length rather than from the file's position in the list also
  // keeps an exactly full last file at its whole size, and a spare file left
  // by an interrupted expand at 0.
  unsigned long long start = static_cast<unsigned long long>(i) << blockBits;
  unsigned long long used = contentLen > start ? contentLen - start : 0;
  unsigned int mapped = file->getMapSize();
  len = used < mapped ? static_cast<unsigned int>(used) : mapped;
  return file->safeOffset2Addr(0);
}

unsigned int BlockFiles::itemNumber(unsigned int itemSize) const {
  return itemSize == 0 ? 0 : contentLen / itemSize;
}

int BlockFiles::saveContentLen() {
  if (infoFd < 0) return 0;
  if (savedLen_ == static_cast<long long>(contentLen)) return 0;
  unsigned char raw[4];
  EncodeFixed32(raw, contentLen);
  if (pwrite(infoFd, raw, sizeof(raw), 0) != static_cast<ssize_t>(sizeof(raw))) {
    savedLen_ = -1;
    return -1;
  }
  savedLen_ = contentLen;
  return 0;
}

void BlockFiles::saveLastBytes(unsigned int n) {
  if (n > contentLen) return;
  // Every file the last n bytes touch; a part that lies in an earlier,
  // already written-back file costs nothing.
  unsigned int from = contentLen - n;
  unsigned int size = getFileSize();
  for (int i = static_cast<int>(from >> blockBits); n > 0 && i <= static_cast<int>((contentLen - 1) >> blockBits);
       ++i) {
    MMapFile* file = fileAt(i);
    if (file == nullptr) continue;
    unsigned long long start = static_cast<unsigned long long>(i) << blockBits;
    unsigned int lo = from > start ? static_cast<unsigned int>(from - start) : 0;
    unsigned long long endAbs = contentLen - start;
    unsigned int hi = endAbs < size ? static_cast<unsigned int>(endAbs) : size;
    if (hi > lo) file->syncDirty(lo, hi - lo);
  }
  saveContentLen();
}

int BlockFiles::writeBackFile(int i, bool viaMsync) {
  MMapFile* file = fileAt(i);
  if (file == nullptr) return -1;
  unsigned int used = 0;
  getBlockAddress(i, used);
  // The active file (normally the last) is written up to the end of the
  // content, with the content length; a file the content has passed is
  // written whole, unless full files are settled.
  if (i == fileCount - 1 || used < file->getMapSize()) {
    int rc = 0;
    if (used > 0) {
      rc = viaMsync ? (file->blockFlush(syncFlush, 0, used) ? 0 : -1) : file->syncDirty(0, used);
    }
    if (saveContentLen() != 0) rc = -1;
    return rc;
  }
  if (clearFullFiles) return 0;
  if (viaMsync) return file->flush(syncFlush) ? 0 : -1;
  return file->syncDirty(0, file->getMapSize());
}

int BlockFiles::syncFile(int i) { return writeBackFile(i, false); }

int BlockFiles::flushFile(int i) { return writeBackFile(i, true); }

int BlockFiles::sync() {
  for (int i = 0; i < fileCount; ++i) syncFile(i);
  return 1;
}

int BlockFiles::clearCache() {
  for (int i = 0; i + 1 < fileCount; ++i) fileAt(i)->clearCache();
  return 1;
}

int BlockFiles::closeFiles() {
  for (unsigned int i = 0; i < files.length(); ++i) {
    MMapFile* file = slot_as<MMapFile>(files.get(i));
    if (file != nullptr) file->close(false);
    delete file;
  }
  files.clear();
  saveContentLen();
  // The info file is closed too, so a later save of the emptied store
  // cannot overwrite the saved length with 0 (and a reopen does not leak it).
  if (infoFd >= 0) ::close(infoFd);
  infoFd = -1;
  savedLen_ = -1;
  totalSize = contentLen = 0;
  fileCount = 0;
  return 1;
}

void BlockFiles::markDirty(int i, unsigned int offset, unsigned int n) {
  MMapFile* file = fileAt(i);
  if (file != nullptr) file->markDirty(offset, n);
}

}  // namespace mobile_search
