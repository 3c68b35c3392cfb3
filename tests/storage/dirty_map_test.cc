#include "storage/dirty_map.h"

#include <cstdint>

#include "gtest/gtest.h"

namespace mobile_search {
namespace {

// Which bytes a save writes is checked end to end against whole-range
// write-back in block_files_test; here only the failure path, which files
// cannot easily provoke: a failed write keeps its run dirty for a retry.
TEST(DirtyMapTest, FailedWriteKeepsTheRunDirty) {
  const uint32_t chunk = DirtyMap::kChunkSize;
  DirtyMap map;
  map.reset(4 * chunk);
  map.mark(chunk - 10, 20);  // one run across a chunk boundary
  int calls = 0;
  EXPECT_FALSE(map.flush(0, 4 * chunk, [&](uint32_t a, uint32_t n) {
    ++calls;
    EXPECT_EQ(chunk - 10, a);
    EXPECT_EQ(20u, n);
    return false;
  }));
  EXPECT_EQ(1, calls);
  EXPECT_TRUE(map.any());
  EXPECT_TRUE(map.flush(0, 4 * chunk, [](uint32_t, uint32_t) { return true; }));
  EXPECT_FALSE(map.any());
}

}  // namespace
}  // namespace mobile_search
