#include "foundation/durable_file.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

int fs_write_all_at(int fd, const void* data, size_t len, long long offset) {
  const char* p = static_cast<const char*>(data);
  while (len > 0) {
    ssize_t w = pwrite(fd, p, len, static_cast<off_t>(offset));
    if (w < 0 && errno == EINTR) continue;
    if (w <= 0) return -1;
    p += w;
    offset += w;
    len -= static_cast<size_t>(w);
  }
  return 0;
}

int fs_data_sync(int fd) {
  if (fd < 0) return -1;
  int rc;
  do {
#if defined(__APPLE__)
    rc = fsync(fd);
#else
    rc = fdatasync(fd);
#endif
  } while (rc != 0 && errno == EINTR);
  return rc == 0 ? 0 : -1;
}

int fs_sync_dir(const char* dir) {
  if (dir == nullptr || dir[0] == '\0') return -1;
  int fd = open(dir, O_RDONLY | O_DIRECTORY);
  if (fd < 0) return -1;
  int rc = fsync(fd);
  close(fd);
  return rc == 0 ? 0 : -1;
}

int fs_sync_parent(const char* path) {
  if (path == nullptr || path[0] == '\0') return -1;
  std::string p(path);
  size_t slash = p.find_last_of('/');
  if (slash == std::string::npos) return fs_sync_dir(".");
  return fs_sync_dir(slash == 0 ? "/" : p.substr(0, slash).c_str());
}

namespace {

int sync_regular_file(const char* path) {
  int fd = open(path, O_RDONLY);
  if (fd < 0) return -1;
  int rc = fs_data_sync(fd);
  close(fd);
  return rc;
}

bool write_all(int fd, const char* data, size_t len) {
  while (len > 0) {
    ssize_t w = write(fd, data, len);
    if (w < 0 && errno == EINTR) continue;
    if (w <= 0) return false;
    data += w;
    len -= static_cast<size_t>(w);
  }
  return true;
}

}  // namespace

int fs_sync_tree(const char* dir) {
  if (dir == nullptr || dir[0] == '\0') return -1;
  DIR* d = opendir(dir);
  if (d == nullptr) return -1;
  int rc = 0;
  while (struct dirent* e = readdir(d)) {
    if (strcmp(e->d_name, ".") == 0 || strcmp(e->d_name, "..") == 0) continue;
    std::string child = std::string(dir) + "/" + e->d_name;
    struct stat st;
    if (lstat(child.c_str(), &st) != 0) {
      rc = -1;
    } else if (S_ISDIR(st.st_mode)) {
      if (fs_sync_tree(child.c_str()) != 0) rc = -1;
    } else if (S_ISREG(st.st_mode)) {
      if (sync_regular_file(child.c_str()) != 0) rc = -1;
    }
  }
  closedir(d);
  if (fs_sync_dir(dir) != 0) rc = -1;
  return rc;
}

int write_file_replace(const char* path, const char* data, size_t len, bool durable) {
  if (path == nullptr || path[0] == '\0' || (data == nullptr && len > 0)) return -1;
  std::string tmp = std::string(path) + ".tmp";
  // The mode a plain fopen(path, "w") would give a new file.
  int fd = open(tmp.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
  if (fd < 0) return -1;
  bool ok = write_all(fd, data, len) && (!durable || fs_data_sync(fd) == 0);
  if (close(fd) != 0) ok = false;
  if (ok && rename(tmp.c_str(), path) != 0) ok = false;
  if (!ok) {
    int saved = errno;
    unlink(tmp.c_str());
    errno = saved;
    return -1;
  }
  if (durable && fs_sync_parent(path) != 0) return -1;
  return 0;
}
