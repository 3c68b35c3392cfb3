// Durable file writes: flushing data and directory entries to the device,
// and replacing a small file so that a crash leaves the old or the new text.
//
// A process that is killed loses nothing the kernel already holds (written
// with write/pwrite), so ordering the writes is enough against kills. Against
// a power cut, data must reach the device before whatever points at it: these
// helpers are the flushes the stores and configuration files use for that
// when the engine runs with synchronous writes.
//
// Nothing here logs or throws; every function returns 0 on success and -1 on
// failure (errno is left as the failing call set it).
#ifndef KS_FOUNDATION_DURABLE_FILE_H_
#define KS_FOUNDATION_DURABLE_FILE_H_

#include <stddef.h>

// pwrite of all `len` bytes at `offset`, resumed after interruptions and
// short writes. 0, or -1 when a write fails.
int fs_write_all_at(int fd, const void* data, size_t len, long long offset);
// Flushes a descriptor's data (and the metadata needed to read it back).
int fs_data_sync(int fd);
// Flushes a directory's entries (after a create, rename or unlink in it).
int fs_sync_dir(const char* dir);
// fs_sync_dir of the directory that holds `path`.
int fs_sync_parent(const char* path);
// Flushes every regular file below `dir` and every directory, `dir`
// included: a tree built without flushes becomes durable as a whole.
int fs_sync_tree(const char* dir);

// Replaces the file at `path` with `len` bytes of `data`: they are written to
// "<path>.tmp", which is then renamed over `path`. With `durable`, the
// temporary file is flushed before the rename and the directory after it.
// On failure the temporary file is removed and `path` is left as it was.
int write_file_replace(const char* path, const char* data, size_t len, bool durable);

#endif  // KS_FOUNDATION_DURABLE_FILE_H_
