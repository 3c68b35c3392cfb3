#include "foundation/thread_lock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

namespace mobile_search {
namespace {

TEST(ThreadLockConcurrency, MutexSerialisesIncrements) {
  ThreadMutex mutex;
  long counter = 0;
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 20000; ++i) {
        failures += !mutex.lock();
        ++counter;
        failures += !mutex.unlock();
      }
    });
  }
  for (std::thread& th : threads) th.join();
  EXPECT_EQ(80000, counter);
  EXPECT_EQ(0, failures.load());
}

TEST(ThreadLockConcurrency, WriteLockExcludesReadersAndReadersShare) {
  ReadWriteLock lock;
  long a = 0, b = 0;  // written together under the write lock
  std::atomic<int> torn{0}, readers_inside{0};
  std::atomic<bool> stop{false};
  std::vector<std::thread> threads;
  for (int r = 0; r < 3; ++r) {
    threads.emplace_back([&] {
      while (!stop.load()) {
        ASSERT_TRUE(lock.read_lock());
        ++readers_inside;
        torn += a != b;
        std::this_thread::yield();
        --readers_inside;
        ASSERT_TRUE(lock.unlock());
        // The default lock prefers readers: pause so the writer gets in.
        std::this_thread::sleep_for(std::chrono::microseconds(20));
      }
    });
  }
  for (int i = 0; i < 2000; ++i) {
    EXPECT_TRUE(lock.write_lock());
    EXPECT_EQ(0, readers_inside.load());
    ++a;
    std::this_thread::yield();
    ++b;
    EXPECT_TRUE(lock.unlock());
  }
  stop = true;
  for (std::thread& th : threads) th.join();
  EXPECT_EQ(0, torn.load());

  // A second reader gets in while the first still holds the lock.
  ASSERT_TRUE(lock.read_lock());
  std::thread second([&] { EXPECT_TRUE(lock.read_lock() && lock.unlock()); });
  second.join();
  EXPECT_TRUE(lock.unlock());
}

}  // namespace
}  // namespace mobile_search
