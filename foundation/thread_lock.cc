#include "foundation/thread_lock.h"

namespace mobile_search {

ThreadMutex::ThreadMutex() { pthread_mutex_init(&mutex_, nullptr); }
ThreadMutex::~ThreadMutex() { pthread_mutex_destroy(&mutex_); }
bool ThreadMutex::lock() { return pthread_mutex_lock(&mutex_) == 0; }
bool ThreadMutex::unlock() { return pthread_mutex_unlock(&mutex_) == 0; }

ThreadCondition::ThreadCondition() { pthread_cond_init(&cond_, nullptr); }
ThreadCondition::~ThreadCondition() { pthread_cond_destroy(&cond_); }
bool ThreadCondition::wait(ThreadMutex* held) {
  return pthread_cond_wait(&cond_, &held->mutex_) == 0;
}
bool ThreadCondition::notifyAll() { return pthread_cond_broadcast(&cond_) == 0; }

ReadWriteLock::ReadWriteLock() { pthread_rwlock_init(&lock_, nullptr); }
ReadWriteLock::~ReadWriteLock() { pthread_rwlock_destroy(&lock_); }
bool ReadWriteLock::read_lock() { return pthread_rwlock_rdlock(&lock_) == 0; }
bool ReadWriteLock::write_lock() { return pthread_rwlock_wrlock(&lock_) == 0; }
bool ReadWriteLock::unlock() { return pthread_rwlock_unlock(&lock_) == 0; }

}  // namespace mobile_search
