// Scoped holder of a ThreadMutex: locks in the constructor, unlocks in the
// destructor, so an early return cannot leave one of the adapter's locks held.
// A null mutex is allowed and makes the guard do nothing.
#ifndef KS_ADAPTER_MUTEX_GUARD_H_
#define KS_ADAPTER_MUTEX_GUARD_H_

#include "foundation/thread_lock.h"

namespace mobile_search {

class MutexGuard {
 public:
  explicit MutexGuard(ThreadMutex* mutex) : mutex_(mutex) {
    if (mutex_ != nullptr) mutex_->lock();
  }
  ~MutexGuard() {
    if (mutex_ != nullptr) mutex_->unlock();
  }
  MutexGuard(const MutexGuard&) = delete;
  MutexGuard& operator=(const MutexGuard&) = delete;

 private:
  ThreadMutex* mutex_;
};

}  // namespace mobile_search

#endif  // KS_ADAPTER_MUTEX_GUARD_H_
