#include "storage/dirty_map.h"

#include <cstdint>
#include <random>
#include <vector>

#include "gtest/gtest.h"

namespace mobile_search {
namespace {

// Random marks and partial write-backs against a byte-exact model: every byte
// changed since it was last written must be inside a flushed run, and flushed
// runs never leave the requested range.
TEST(DirtyMapTest, FlushCoversEveryChangedByteAgainstAModel) {
  const uint32_t size = 5 * DirtyMap::kChunkSize + 123;
  std::mt19937 rng(7);
  DirtyMap map;
  map.reset(size);
  std::vector<bool> changed(size, false);
  for (int round = 0; round < 3000; ++round) {
    uint32_t off = rng() % size;
    uint32_t n = 1 + rng() % (rng() % 4 == 0 ? 9000 : 40);
    if (rng() % 3 != 0) {
      map.mark(off, n);
      for (uint32_t i = off; i < off + n && i < size; ++i) changed[i] = true;
      continue;
    }
    std::vector<bool> written(size, false);
    bool ok = map.flush(off, n, [&](uint32_t a, uint32_t len) {
      EXPECT_GE(a, off);
      EXPECT_LE(a + len, std::min<uint64_t>(size, uint64_t{off} + n));
      for (uint32_t i = a; i < a + len; ++i) written[i] = true;
      return true;
    });
    ASSERT_TRUE(ok);
    for (uint32_t i = off; i < off + n && i < size; ++i) {
      ASSERT_TRUE(!changed[i] || written[i]) << "byte " << i << " round " << round;
      changed[i] = false;
    }
  }
  map.flush(0, size, [](uint32_t, uint32_t) { return true; });
  EXPECT_FALSE(map.any());
}

TEST(DirtyMapTest, FailedWriteKeepsTheRunDirty) {
  DirtyMap map;
  map.reset(4 * DirtyMap::kChunkSize);
  map.mark(DirtyMap::kChunkSize - 10, 20);  // one run across a chunk boundary
  int calls = 0;
  auto failing = [&](uint32_t a, uint32_t n) {
    ++calls;
    EXPECT_EQ(DirtyMap::kChunkSize - 10, a);
    EXPECT_EQ(20u, n);
    return false;
  };
  EXPECT_FALSE(map.flush(0, 4 * DirtyMap::kChunkSize, failing));
  EXPECT_EQ(1, calls);
  EXPECT_TRUE(map.any());
  EXPECT_TRUE(map.flush(0, 4 * DirtyMap::kChunkSize, [](uint32_t, uint32_t) { return true; }));
  EXPECT_FALSE(map.any());
}

}  // namespace
}  // namespace mobile_search
