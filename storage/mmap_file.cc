#include "storage/mmap_file.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "foundation/durable_file.h"

namespace mobile_search {

namespace {

// pwrite that resumes after interruptions; true when all n bytes went out.
bool WriteAll(int fd, const char* src, size_t n, off_t at) {
  return fs_write_all_at(fd, src, n, static_cast<long long>(at)) == 0;
}

}  // namespace

MMapFile::MMapFile(unsigned int size, bool clearCacheEnabled, bool readOnly, bool privateMap)
    : path(nullptr),
      readOnly(readOnly),
      privateMap(privateMap),
      fileSize(size),
      mapSize(size),
      addr(nullptr),
      fd(-1),
      opened(false),
      advice(MADV_RANDOM),
      prot(readOnly ? PROT_READ : (PROT_READ | PROT_WRITE)),
      mapFlags(privateMap ? MAP_PRIVATE : MAP_SHARED),
      clearCacheEnabled(clearCacheEnabled) {}

MMapFile::~MMapFile() {
  close(false);
  free(path);
  path = nullptr;
  fd = -1;
  fileSize = mapSize = 0;
  addr = nullptr;
}

int MMapFile::create(const char* p, int len) {
  if (p == nullptr || p[0] == '\0' || len < 1) return 0;
  char* copy = static_cast<char*>(malloc(static_cast<size_t>(len) + 1));
  if (copy == nullptr) return 0;
  size_t n = strnlen(p, static_cast<size_t>(len));
  memcpy(copy, p, n);
  copy[n] = '\0';
  free(path);
  path = copy;
  return 1;
}

void MMapFile::failOpen() {
  if (fd > 0) ::close(fd);
  fd = -1;
  fileSize = mapSize = 0;
  addr = nullptr;
  opened = false;
  unsynced_ = false;
  dirty_.reset(0);
}

int MMapFile::openFile(const char* p, int len) {
  if (!create(p, len)) return 0;
  if (addr != nullptr || fd > 0) return 1;  // keep the existing mapping
  opened = false;
  if (access(path, F_OK) == 0) {
    fd = ::open(path, readOnly ? O_RDONLY : O_RDWR, 0644);
    if (fd < 0) return failOpen(), 0;
    struct stat st;
    if (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode) || st.st_size <= 0 ||
        static_cast<unsigned long long>(st.st_size) > 0xFFFFFFFFull) {
      return failOpen(), 0;
    }
    fileSize = static_cast<unsigned int>(st.st_size);
    // Truncating to the same size is done for read-only opens too; a
    // read-only descriptor cannot be truncated, so such an open fails. Kept.
    if (ftruncate(fd, st.st_size) != 0) return failOpen(), 0;
  } else {
    if (fileSize == 0) return failOpen(), 0;
    fd = ::open(path, O_RDWR | O_CREAT, 0644);
    if (fd < 0) return failOpen(), 0;
    // One byte at the end gives the file its full size at once (sparse).
    char zero = 0;
    if (!WriteAll(fd, &zero, 1, static_cast<off_t>(fileSize) - 1)) return failOpen(), 0;
  }
  mapSize = fileSize;
  void* m = mmap(nullptr, mapSize, prot, mapFlags, fd, 0);
  if (m == MAP_FAILED) return failOpen(), 0;
  addr = m;
  opened = (fd > 0);
  if (madvise(addr, mapSize, advice) != 0) {
    munmap(addr, mapSize);
    return failOpen(), 0;
  }
  dirty_.reset(mapSize);
  return opened ? 1 : 0;
}

int MMapFile::blockFlush(bool sync, unsigned int offset, unsigned int len) {
  if (addr == nullptr || readOnly || !opened) return 0;
  if (static_cast<unsigned long long>(offset) + len > mapSize) return 0;
  // msync refuses an unaligned start and would flush nothing, so the range
  // is widened down to its page.
  uintptr_t start = reinterpret_cast<uintptr_t>(addr) + offset;
  uintptr_t page = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
  uintptr_t aligned = start & ~(page - 1);
  size_t n = len + (start - aligned);
  return msync(reinterpret_cast<void*>(aligned), n, sync ? MS_SYNC : MS_ASYNC) == 0 ? 1 : 0;
}

int MMapFile::flush(bool sync) { return blockFlush(sync, 0, mapSize); }

int MMapFile::syncToDisk(unsigned int offset, unsigned int n) {
  if (addr == nullptr || !opened || n == 0) return -1;
  if (static_cast<unsigned long long>(offset) + n > mapSize) return -1;
  unsynced_ = true;
  if (!WriteAll(fd, static_cast<const char*>(addr) + offset, n, offset)) return -1;
  dirty_.clear(offset, n);
  return 0;
}

int MMapFile::syncToDisk() { return syncToDisk(0, mapSize); }

int MMapFile::syncDirty(unsigned int offset, unsigned int n) {
  if (addr == nullptr || !opened) return -1;
  const char* base = static_cast<const char*>(addr);
  int out = fd;
  bool* unsynced = &unsynced_;
  bool ok = dirty_.flush(offset, n, [base, out, unsynced](uint32_t off, uint32_t len) {
    *unsynced = true;
    return WriteAll(out, base + off, len, off);
  });
  return ok ? 0 : -1;
}

int MMapFile::dataSync() {
  if (!opened || fd < 0) return -1;
  if (!unsynced_) return 0;
  if (fs_data_sync(fd) != 0) return -1;
  unsynced_ = false;
  return 0;
}

void MMapFile::markDirty(unsigned int offset, unsigned int n) {
  if (opened) dirty_.mark(offset, n);
}

unsigned int MMapFile::write(unsigned int offset, const void* src, unsigned int n) {
  // A read-only mapping would fault on the copy, so it takes nothing.
  if (src == nullptr || !opened || n == 0 || addr == nullptr || readOnly) return 0;
  if (offset >= mapSize || static_cast<unsigned long long>(offset) + n > mapSize) return 0;
  memcpy(static_cast<char*>(addr) + offset, src, n);
  dirty_.mark(offset, n);
  return n;
}

unsigned int MMapFile::read(unsigned int offset, void* dst, unsigned int n) {
  if (addr == nullptr || dst == nullptr || !opened || n == 0 || offset >= mapSize) return 0;
  unsigned int avail = mapSize - offset;
  if (n > avail) n = avail;
  memcpy(dst, static_cast<const char*>(addr) + offset, n);
  return n;
}

void* MMapFile::safeOffset2Addr(unsigned int offset) {
  if (!opened || offset >= mapSize || addr == nullptr) return nullptr;
  return static_cast<char*>(addr) + offset;
}

int MMapFile::clearCache() {
  if (clearCacheEnabled && mapSize > 0 && addr != nullptr) {
    madvise(addr, mapSize, advice);
    mprotect(addr, mapSize, PROT_READ);
    mprotect(addr, mapSize, prot);
  }
  return 1;
}

int MMapFile::close(bool sync) {
  if (!opened) return 1;
  if (sync) syncToDisk();
  opened = false;
  int ok = 1;
  if (addr != nullptr && munmap(addr, mapSize ? mapSize : 1) != 0) ok = 0;
  if (fd != -1 && ::close(fd) != 0) ok = 0;
  addr = nullptr;
  fileSize = mapSize = 0;
  fd = -1;
  dirty_.reset(0);
  unsynced_ = false;
  return ok;
}

}  // namespace mobile_search
