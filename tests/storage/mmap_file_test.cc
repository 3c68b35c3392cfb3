#include "storage/mmap_file.h"

#include <cstdint>
#include <cstring>
#include <string>

#include "gtest/gtest.h"
#include "storage/dirty_map.h"
#include "test_util.h"

namespace mobile_search {
namespace {

int Open(MMapFile& f, const std::string& path) { return f.openFile(path.c_str(), static_cast<int>(path.size())); }

TEST(MMapFileTest, OpenRulesForMissingExistingAndReadOnlyFiles) {
  ks_test::TempDir dir;
  MMapFile zero(0, false, false, true);
  EXPECT_EQ(0, Open(zero, dir.file("missing")));
  EXPECT_FALSE(ks_test::FileExists(dir.file("missing")));

  MMapFile f(8192, false, false, true);
  ASSERT_EQ(1, Open(f, dir.file("a")));
  EXPECT_EQ(8192u, ks_test::ReadFile(dir.file("a")).size());
  void* first = f.safeOffset2Addr(0);
  EXPECT_EQ(1, Open(f, dir.file("a")));  // keeps the first mapping
  EXPECT_EQ(first, f.safeOffset2Addr(0));
  EXPECT_EQ(nullptr, f.safeOffset2Addr(8192));

  // Read-only: an existing file is truncated to its own size on open, which
  // a read-only descriptor refuses; a new file is created and mapped.
  MMapFile ro(4096, false, true, true);
  EXPECT_EQ(0, Open(ro, dir.file("a")));
  MMapFile roNew(4096, false, true, true);
  EXPECT_EQ(1, Open(roNew, dir.file("b")));
  EXPECT_EQ(0u, roNew.write(0, "x", 1));  // refused instead of faulting on the page
}

TEST(MMapFileTest, WritesAreAllOrNothingAndOnlyPositionedWritesReachTheFile) {
  ks_test::TempDir dir;
  MMapFile f(4096, false, false, true);
  ASSERT_EQ(1, Open(f, dir.file("a")));
  const char ten[] = "0123456789";
  EXPECT_EQ(0u, f.write(4096 - 5, ten, 10));
  EXPECT_EQ(10u, f.write(4096 - 10, ten, 10));
  char out[16] = {0};
  EXPECT_EQ(5u, f.read(4096 - 5, out, 10));
  EXPECT_EQ(0, memcmp(out, "56789", 5));

  f.write(0, "abc", 3);
  f.write(100, "xyz", 3);
  EXPECT_EQ(1, f.blockFlush(true, 0, 4096));  // msync does not persist a private mapping
  EXPECT_EQ(std::string(3, '\0'), ks_test::ReadFile(dir.file("a")).substr(0, 3));
  EXPECT_EQ(0, f.syncToDisk(0, 3));
  EXPECT_EQ("abc" + std::string(100, '\0'), ks_test::ReadFile(dir.file("a")).substr(0, 103));  // not "xyz"
  EXPECT_EQ(-1, f.syncToDisk(4000, 200));
  EXPECT_EQ(1, f.close(true));  // a synced close writes the whole mapping
  EXPECT_EQ("xyz", ks_test::ReadFile(dir.file("a")).substr(100, 3));
  EXPECT_EQ(1, f.close(false));
  EXPECT_EQ(-1, f.syncToDisk());
}

// Which bytes a save writes is checked end to end against whole-range
// write-back with block files; here the failure path, which real files do
// not easily provoke: a failed write keeps its run dirty for a retry.
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
