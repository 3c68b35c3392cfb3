// POSIX file-system helpers with C-style names, at global scope.
//
// None of them logs. Paths longer than 4095 bytes are not supported (they are
// cut). is_dir and the size walk follow symbolic links (stat).
#ifndef KS_FOUNDATION_FILE_UTIL_H_
#define KS_FOUNDATION_FILE_UTIL_H_

#include <sys/types.h>

// 1 when path is a directory; 0 otherwise (null / empty path, stat failure).
int is_dir(const char* path);
// 1 when path exists; 0 otherwise (null / empty path included).
int file_exist(const char* path);
// Creates the directory and every missing parent; existing ones are fine.
// 0, or -1 for a null / empty path or when a mkdir fails. Callers pass 0755.
int make_dir(const char* path, mode_t mode);
// Removes a file, or a directory with everything below it; a symbolic link is
// removed itself, never followed. A missing path
// gives 0. -1 for a null path or when a directory cannot be opened (removal
// stops at the first such failure).
int remove_dir(const char* path);
// Size of a file, or the sum of the sizes of all files below a directory
// (directories themselves count 0); 0 for a null, empty or missing path.
unsigned long long get_dir_total_bytes(const char* path);

#endif  // KS_FOUNDATION_FILE_UTIL_H_
