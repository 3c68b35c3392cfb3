#include "storage/block_files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <new>

#include "foundation/durable_file.h"
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

int BlockFiles::formatSealPath(char* out, int k) const {
  return snprintf(out, kPathMax, "%s/%s-%d.seal", dir->toString(), name->toString(), k);
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
  repairs_ = OpenRepairs();
  repairs_.claimedLen = contentLen;
  pendingSeal_ = -1;

  // A rewrite of a full file interrupted before its rename can only concern
  // the file holding the recorded end of the content or the one before it.
  int last = static_cast<int>(contentLen >> blockBits);
  if ((last > 0 && !resolveSealCopy(last - 1)) || !resolveSealCopy(last)) return 0;

  for (int k = 0; k < kMaxDataFiles; ++k) {
    formatDataPath(path, k);
    if (access(path, F_OK) != 0) break;
    if (!openDataFile(k, true)) return 0;
  }
  // Data files lost after the length was recorded (a power cut without
  // synchronous writes): keep what the files hold.
  if (contentLen > totalSize) {
    contentLen = totalSize;
    repairs_.lengthCut = true;
    if (saveContentLen() != 0) return 0;
  }
  clearCache();
  return 1;
}

bool BlockFiles::resolveSealCopy(int k) {
  char seal[kPathMax];
  formatSealPath(seal, k);
  if (access(seal, F_OK) != 0) return true;
  unsigned long long end = static_cast<unsigned long long>(k + 1) << blockBits;
  if (contentLen < end) {
    // The length never covered the rewrite: the file is still as it was.
    repairs_.sealDropped = true;
    return unlink(seal) == 0;
  }
  char data[kPathMax];
  formatDataPath(data, k);
  if (rename(seal, data) != 0) return false;
  repairs_.sealFinished = true;
  fs_sync_dir(dir->toString());
  return true;
}

int BlockFiles::expand() {
  if (dir == nullptr || name == nullptr || fileCount >= kMaxDataFiles) return 0;
  if (static_cast<unsigned long long>(totalSize) + getFileSize() > UINT_MAX) return 0;
  if (!openDataFile(fileCount, false)) return 0;
  // The new file's name must be durable before a length points into it.
  if (durable_) fs_sync_dir(dir->toString());
  return 1;
}

int BlockFiles::append(const void* data, unsigned int n) {
  unsigned int size = getFileSize();
  if (data == nullptr || n == 0 || n > size) return -1;
  if (pendingSeal_ >= 0) commitLength(true);  // a seal whose length could not be recorded
  int i = static_cast<int>(contentLen >> blockBits);
  MMapFile* file = fileAt(i);
  unsigned int inFile = contentLen & (size - 1);
  // The record must fit in the file that holds the append position. This is
  // the same test as "fits in the total size" whenever that file is the last.
  if (file == nullptr || inFile + static_cast<unsigned long long>(n) > file->getMapSize()) {
    bool sealing = false;
    if (file != nullptr) {
      if (onFileFull != nullptr) {
        onFileFull(file, file->getMapSize());
        file->markDirty(0, file->getMapSize());  // the callback may rewrite it all
        // The rewritten file goes to disk as a copy first; the data file
        // itself is replaced only once the length covering it is recorded.
        if (writeSealCopy(i) != 0) return -1;
        sealing = true;
      } else {
        file->syncDirty(0, file->getMapSize());
      }
      i += 1;
    }
    if (fileAt(i) == nullptr && (i != fileCount || !expand())) {
      if (sealing) dropSealCopy(i - 1);
      return -1;
    }
    file = fileAt(i);
    contentLen = static_cast<unsigned int>(i) << blockBits;
    // A full file rewritten in place (sorted) no longer matches an older
    // content length that ends inside it, so the new length is recorded now.
    if (onFileFull != nullptr) {
      if (sealing) pendingSeal_ = i - 1;
      commitLength(true);
    }
    clearCache();
  }
  if (file == nullptr) return -1;
  if (static_cast<unsigned long long>(contentLen) + n > INT_MAX) return -1;  // offsets are ints
  unsigned int off = contentLen & (size - 1);
  file->write(off, data, n);
  bool written = true;
  if (autoSave) {
    if (syncFlush) {
      file->blockFlush(true, off, n);
    } else {
      written = file->syncToDisk(off, n) == 0;
    }
  }
  unsigned int at = contentLen;
  contentLen += n;
  if (autoSave && written) commitLength();
  return static_cast<int>(at);
}

int BlockFiles::writeSealCopy(int i) {
  MMapFile* file = fileAt(i);
  const void* base = file == nullptr ? nullptr : file->safeOffset2Addr(0);
  if (base == nullptr) return -1;
  char path[kPathMax];
  formatSealPath(path, i);
  int fd = ::open(path, O_WRONLY | O_CREAT | O_TRUNC, 0644);
  if (fd < 0) return -1;
  bool ok = fs_write_all_at(fd, base, file->getMapSize(), 0) == 0 && (!durable_ || fs_data_sync(fd) == 0);
  if (::close(fd) != 0) ok = false;
  if (!ok) unlink(path);
  return ok ? 0 : -1;
}

void BlockFiles::dropSealCopy(int i) {
  char path[kPathMax];
  formatSealPath(path, i);
  unlink(path);
}

void BlockFiles::installSealCopy(int i) {
  MMapFile* old = fileAt(i);
  if (old == nullptr) return;
  char seal[kPathMax], data[kPathMax];
  formatSealPath(seal, i);
  formatDataPath(data, i);
  // A failed rename leaves the copy for the next openFiles, which moves it
  // in since the recorded length covers the file.
  if (rename(seal, data) != 0) return;
  if (durable_) fs_sync_dir(dir->toString());
  // The old mapping holds the rewritten bytes privately; mapping the new
  // file instead gives that memory back and drops the unlinked old file.
  MMapFile* fresh = new (std::nothrow) MMapFile(getFileSize(), clearFullFiles, false, true);
  if (fresh == nullptr || fresh->openFile(data, static_cast<int>(strnlen(data, kPathMax))) != 1 ||
      files.set(static_cast<unsigned int>(i), static_cast<const void*>(fresh)) != RET_OK) {
    delete fresh;
    return;
  }
  old->close(false);
  delete old;
  if (clearFullFiles) fresh->clearCache();
}

int BlockFiles::rewriteFullFile(int i, int (*rewrite)(MMapFile*, unsigned int)) {
  MMapFile* file = fileAt(i);
  unsigned int used = 0;
  if (file == nullptr || rewrite == nullptr || getBlockAddress(i, used) == nullptr ||
      used != file->getMapSize()) {
    return -1;
  }
  rewrite(file, used);
  file->markDirty(0, used);
  if (writeSealCopy(i) != 0) return -1;
  installSealCopy(i);
  return 0;
}

int BlockFiles::truncateContent(unsigned int len) {
  if (len >= contentLen) return 0;
  // Content of a file that onFileFull already rewrote cannot take appends
  // again, so the cut stays inside the file holding the end.
  if (onFileFull != nullptr && (len >> blockBits) != ((contentLen - 1) >> blockBits)) return -1;
  contentLen = len;
  return commitLength();
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
  infoUnsynced_ = true;
  if (pwrite(infoFd, raw, sizeof(raw), 0) != static_cast<ssize_t>(sizeof(raw))) {
    savedLen_ = -1;
    return -1;
  }
  savedLen_ = contentLen;
  return 0;
}

int BlockFiles::commitLength(bool mayInstall) {
  int rc = 0;
  if (durable_) {
    for (int i = 0; i < fileCount; ++i) {
      if (fileAt(i)->dataSync() != 0) rc = -1;
    }
  }
  if (rc == 0 && saveContentLen() != 0) rc = -1;
  if (rc == 0 && durable_ && infoUnsynced_) {
    if (fs_data_sync(infoFd) != 0) {
      rc = -1;
    } else {
      infoUnsynced_ = false;
    }
  }
  // Replacing a mapping is left to appends, which run without readers; a
  // save may run beside searches that hold addresses into it.
  if (rc == 0 && mayInstall && pendingSeal_ >= 0) {
    installSealCopy(pendingSeal_);
    pendingSeal_ = -1;
  }
  return rc;
}

void BlockFiles::saveLastBytes(unsigned int n) {
  if (n > contentLen) return;
  // Every file the last n bytes touch; a part that lies in an earlier,
  // already written-back file costs nothing.
  unsigned int from = contentLen - n;
  unsigned int size = getFileSize();
  bool ok = true;
  for (int i = static_cast<int>(from >> blockBits); n > 0 && i <= static_cast<int>((contentLen - 1) >> blockBits);
       ++i) {
    MMapFile* file = fileAt(i);
    if (file == nullptr) continue;
    unsigned long long start = static_cast<unsigned long long>(i) << blockBits;
    unsigned int lo = from > start ? static_cast<unsigned int>(from - start) : 0;
    unsigned long long endAbs = contentLen - start;
    unsigned int hi = endAbs < size ? static_cast<unsigned int>(endAbs) : size;
    if (hi > lo && file->syncDirty(lo, hi - lo) != 0) ok = false;
  }
  if (ok) commitLength();
}

bool BlockFiles::isActiveFile(int i, unsigned int used) const {
  return i == fileCount - 1 || used < fileAt(i)->getMapSize();
}

int BlockFiles::writeBackData(int i, bool viaMsync) {
  MMapFile* file = fileAt(i);
  if (file == nullptr) return -1;
  unsigned int used = 0;
  getBlockAddress(i, used);
  // The active file (normally the last) is written up to the end of the
  // content; a file the content has passed is written whole, unless full
  // files are settled.
  if (isActiveFile(i, used)) {
    if (used == 0) return 0;
    if (viaMsync) return file->blockFlush(syncFlush, 0, used) ? 0 : -1;
    return file->syncDirty(0, used);
  }
  if (clearFullFiles) return 0;
  if (viaMsync) return file->flush(syncFlush) ? 0 : -1;
  return file->syncDirty(0, file->getMapSize());
}

// The content length is recorded only after the data it covers was written.
int BlockFiles::writeBackFile(int i, bool viaMsync) {
  int rc = writeBackData(i, viaMsync);
  unsigned int used = 0;
  if (rc == 0 && getBlockAddress(i, used) != nullptr && isActiveFile(i, used)) rc = commitLength();
  return rc;
}

int BlockFiles::syncFile(int i) { return writeBackFile(i, false); }

int BlockFiles::flushFile(int i) { return writeBackFile(i, true); }

// Appended content goes first, with the length that makes it visible; only
// then the changes to content that was already recorded (such as deletion
// marks), so that a stop in between never shows a change whose cause (a
// record appended since) is missing. The files end up the same either way.
int BlockFiles::sync() {
  if (fileCount == 0) return 1;  // the length goes with the active file
  bool ok = true;
  unsigned int from = savedLen_ < 0 || savedLen_ > contentLen ? 0 : static_cast<unsigned int>(savedLen_);
  for (int i = static_cast<int>(from >> blockBits); ok && from < contentLen && i < fileCount; ++i) {
    unsigned long long start = static_cast<unsigned long long>(i) << blockBits;
    unsigned int lo = from > start ? static_cast<unsigned int>(from - start) : 0;
    unsigned long long end = contentLen - start;
    unsigned int hi = end < getFileSize() ? static_cast<unsigned int>(end) : getFileSize();
    if (hi > lo && fileAt(i)->syncDirty(lo, hi - lo) != 0) ok = false;
  }
  if (ok && commitLength() != 0) ok = false;
  for (int i = 0; ok && i < fileCount; ++i) {
    if (writeBackData(i, false) != 0) ok = false;
  }
  // Flushes what the second pass wrote when durable; the length is unchanged.
  if (ok && commitLength() != 0) ok = false;
  return ok ? 1 : 0;
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
  infoUnsynced_ = false;
  pendingSeal_ = -1;
  totalSize = contentLen = 0;
  fileCount = 0;
  return 1;
}

int BlockFiles::writeThrough(int i, unsigned int offset, unsigned int n) {
  MMapFile* file = fileAt(i);
  if (file == nullptr || file->syncDirty(offset, n) != 0) return -1;
  return durable_ ? file->dataSync() : 0;
}

void BlockFiles::markDirty(int i, unsigned int offset, unsigned int n) {
  MMapFile* file = fileAt(i);
  if (file != nullptr) file->markDirty(offset, n);
}

}  // namespace mobile_search
