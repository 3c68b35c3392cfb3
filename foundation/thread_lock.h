// Thin wrappers over one POSIX mutex, one POSIX read-write lock and one POSIX
// condition variable, and the scoped holders every caller takes them through.
//
// Default attributes: not recursive, no time-outs. Each call returns true when
// the underlying pthread call returned 0; nothing else is reported. Owners
// usually hold them by pointer (new / delete); they cannot be copied.
//
// MutexLock, ReadLock and WriteLock take their lock in the constructor and
// release it in the destructor, so neither an early return nor an exception
// unwinding through them (an allocation failure) can leave a lock held. A null
// lock makes them do nothing; unlock() releases early.
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
  friend class ThreadCondition;
  pthread_mutex_t mutex_;
};

// A condition variable used with a ThreadMutex the caller holds.
class ThreadCondition {
 public:
  ThreadCondition();
  ~ThreadCondition();
  ThreadCondition(const ThreadCondition&) = delete;
  ThreadCondition& operator=(const ThreadCondition&) = delete;

  // Releases `held`, sleeps until notified (or woken spuriously), retakes it.
  bool wait(ThreadMutex* held);
  bool notifyAll();

 private:
  pthread_cond_t cond_;
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

class MutexLock {
 public:
  explicit MutexLock(ThreadMutex* mutex) : mutex_(mutex) {
    if (mutex_ != nullptr) mutex_->lock();
  }
  ~MutexLock() { unlock(); }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;
  void unlock() {
    if (mutex_ != nullptr) mutex_->unlock();
    mutex_ = nullptr;
  }

 private:
  ThreadMutex* mutex_;
};

// Holds a ReadWriteLock shared (Exclusive false) or exclusively.
template <bool Exclusive>
class RwLockHolder {
 public:
  explicit RwLockHolder(ReadWriteLock* lock) : lock_(lock) {
    if (lock_ == nullptr) return;
    if (Exclusive) {
      lock_->write_lock();
    } else {
      lock_->read_lock();
    }
  }
  ~RwLockHolder() { unlock(); }
  RwLockHolder(const RwLockHolder&) = delete;
  RwLockHolder& operator=(const RwLockHolder&) = delete;
  void unlock() {
    if (lock_ != nullptr) lock_->unlock();
    lock_ = nullptr;
  }

 private:
  ReadWriteLock* lock_;
};

using ReadLock = RwLockHolder<false>;
using WriteLock = RwLockHolder<true>;

}  // namespace mobile_search

#endif  // KS_FOUNDATION_THREAD_LOCK_H_
