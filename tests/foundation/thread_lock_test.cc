#include "foundation/thread_lock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace mobile_search {
namespace {

// Even threads write a and b together under the write lock, odd ones read
// them under the read lock; every thread also counts under the mutex.
TEST(ThreadLockConcurrency, MutexAndWriteLockExcludeOthersAndReadersShare) {
  ThreadMutex mutex;
  ReadWriteLock rw;
  long counter = 0, a = 0, b = 0;
  std::atomic<int> torn{0}, failures{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < 5000; ++i) {
        failures += !mutex.lock();
        ++counter;
        failures += !mutex.unlock();
        failures += t % 2 == 0 ? !rw.write_lock() : !rw.read_lock();
        if (t % 2 == 0) {
          ++a;
          std::this_thread::yield();
          ++b;
        } else {
          torn += a != b;
        }
        failures += !rw.unlock();
      }
    });
  }
  for (std::thread& th : threads) th.join();
  EXPECT_EQ(20000, counter);
  EXPECT_EQ(10000, a);
  EXPECT_EQ(0, torn.load());
  EXPECT_EQ(0, failures.load());
  // A second reader gets in while the first still holds the lock.
  ASSERT_TRUE(rw.read_lock());
  std::thread second([&] { EXPECT_TRUE(rw.read_lock() && rw.unlock()); });
  second.join();
  EXPECT_TRUE(rw.unlock());
}

}  // namespace
}  // namespace mobile_search
