// Thin wrappers over one POSIX mutex and one POSIX read-write lock.
//
// Default attributes: not recursive, no time-outs. Each call returns true when
// the underlying pthread call returned 0; nothing else is reported. Owners
// usually hold them by pointer (new / delete); they cannot be copied.
#ifndef KS_FOUNDATION_THREAD_LOCK_H_
#define KS_FOUNDATION_THREAD_LOCK_H_

#include <pthread.h>

namespace mobile_search {

class ThreadMutex {
 public:
  ThreadMutex();
  ~ThreadMutex();
  ThreadMutex(const ThreadMutex&) = delete;
  ThreadMutex& operator=(const ThreadMutex&) = delete;

  bool lock();
  bool unlock();

 private:
  pthread_mutex_t mutex_;
};

class ReadWriteLock {
 public:
  ReadWriteLock();
  ~ReadWriteLock();
  ReadWriteLock(const ReadWriteLock&) = delete;
  ReadWriteLock& operator=(const ReadWriteLock&) = delete;

  bool read_lock();   // shared
  bool write_lock();  // exclusive (index compaction)
  bool unlock();      // releases either

 private:
  pthread_rwlock_t lock_;
};

}  // namespace mobile_search

#endif  // KS_FOUNDATION_THREAD_LOCK_H_
