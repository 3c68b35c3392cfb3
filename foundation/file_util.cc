#include "foundation/file_util.h"

#include <dirent.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "foundation/c_string.h"

using mobile_search::is_empty_str;

namespace {

const size_t kPathBytes = 4096;

bool is_dot_entry(const char* name) {
  return strcmp(name, ".") == 0 || strcmp(name, "..") == 0;
}

// path + "/" + name, cut to the buffer.
void child_path(char* out, const char* path, const char* name) {
  snprintf(out, kPathBytes, "%s/%s", path, name);
}

}  // namespace

int is_dir(const char* path) {
  struct stat st;
  if (is_empty_str(path) || stat(path, &st) != 0) return 0;
  return S_ISDIR(st.st_mode) ? 1 : 0;
}

int file_exist(const char* path) {
  if (is_empty_str(path)) return 0;
  return access(path, F_OK) == 0 ? 1 : 0;
}

int make_dir(const char* path, mode_t mode) {
  if (is_empty_str(path)) return -1;
  char buf[kPathBytes];
  memset(buf, 0, sizeof(buf));
  // Leave room for the added "/" and the NUL; longer paths are cut.
  strncpy(buf, path, kPathBytes - 2);
  size_t len = strlen(buf);
  if (buf[len - 1] != '/') buf[len++] = '/';
  // From the second byte, so that a leading "/" is not an empty prefix.
  for (size_t i = 1; i < len; ++i) {
    if (buf[i] != '/') continue;
    buf[i] = '\0';
    if (access(buf, F_OK) != 0 && mkdir(buf, mode) != 0) return -1;
    buf[i] = '/';
  }
  return 0;
}

int remove_dir(const char* path) {
  if (path == nullptr) return -1;
  struct stat st;
  // A symbolic link is removed itself, never followed into its target.
  if (lstat(path, &st) == 0 && S_ISLNK(st.st_mode)) {
    remove(path);
    return 0;
  }
  if (stat(path, &st) == 0 && S_ISREG(st.st_mode)) {
    remove(path);
    return 0;
  }
  if (!is_dir(path)) return 0;
  DIR* dir = opendir(path);
  if (dir == nullptr) return -1;
  char child[kPathBytes];
  for (struct dirent* entry = readdir(dir); entry != nullptr; entry = readdir(dir)) {
    if (is_dot_entry(entry->d_name)) continue;
    child_path(child, path, entry->d_name);
    if (remove_dir(child) == -1) {
      // Stops at the first failure as before, but without leaking the handle.
      closedir(dir);
      return -1;
    }
    rmdir(child);  // harmless for a removed file
  }
  closedir(dir);
  rmdir(path);
  return 0;
}

unsigned long long get_dir_total_bytes(const char* path) {
  if (path == nullptr) return 0;
  struct stat st;
  if (stat(path, &st) == 0 && S_ISREG(st.st_mode)) return (unsigned long long)st.st_size;
  if (is_empty_str(path) || !is_dir(path)) return 0;
  DIR* dir = opendir(path);
  if (dir == nullptr) return 0;
  unsigned long long total = 0;
  char child[kPathBytes];
  for (struct dirent* entry = readdir(dir); entry != nullptr; entry = readdir(dir)) {
    if (is_dot_entry(entry->d_name)) continue;
    child_path(child, path, entry->d_name);
    total += get_dir_total_bytes(child);
  }
  closedir(dir);
  return total;
}
