// Searches, updates and compaction of one group on several threads: every
// search sees each document in its old or its new version (never both, never
// none) while changes are written back, and an allocation failure under the
// group's locks leaves no lock held.
#include <atomic>
#include <chrono>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "foundation/fault_point.h"
#include "search/group_searcher.h"
#include "search/searcher_fixture.h"

namespace mobile_search {
namespace {

class UpdateConcurrency : public SearcherFixture {
 protected:
  int Version(int key, int version) {
    return Add("message", "m" + std::to_string(key), "", "共同内容 v" + std::to_string(version));
  }
  int Found(const std::string& query) {
    int found = 0;
    Hits(query, &found);
    return found;
  }
};

TEST_F(UpdateConcurrency, SearchesSeeEveryDocumentOnceWhileChangesAreSaved) {
  const int kKeys = 20;
  ASSERT_EQ(0, searcher_.setSyncWrites(true));  // slow write-back: searches must not wait for it
  for (int k = 0; k < kKeys; ++k) ASSERT_EQ(0, Version(k, 0));
  std::atomic<bool> stop{false};
  std::atomic<int> wrong{0}, searches{0};
  std::vector<std::thread> readers;
  for (int r = 0; r < 2; ++r) {
    readers.emplace_back([&] {
      while (!stop) {
        int n = Found("共同内容");
        if (n != kKeys) wrong = n;
        ++searches;
      }
    });
  }
  std::thread compactor([&] {
    for (int i = 0; i < 3 && !stop; ++i) {
      searcher_.ellipse_index("default", true);
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
  });
  for (int v = 1; v <= 8; ++v) {
    for (int k = 0; k < kKeys; ++k) ASSERT_EQ(0, Version(k, v));
  }
  stop = true;
  for (std::thread& t : readers) t.join();
  compactor.join();
  EXPECT_EQ(0, wrong.load()) << "a search saw " << wrong.load() << " documents";
  EXPECT_GT(searches.load(), 0);
  EXPECT_EQ(kKeys, Found("共同内容"));
  EXPECT_EQ(kKeys, Found("v8"));
  EXPECT_EQ(0, Found("v7"));
}

// Runs fn on another thread; false when it does not finish in time (a lock
// left held would make it wait for ever).
template <typename Fn>
bool FinishesInTime(Fn fn) {
  std::future<void> f = std::async(std::launch::async, fn);
  return f.wait_for(std::chrono::seconds(20)) == std::future_status::ready;
}

TEST_F(UpdateConcurrency, AllocationFailuresUnderTheLocksComeBackAsFailuresWithNoLockHeld) {
  ASSERT_EQ(0, Version(1, 0));
  ks_fault_arm("group.search");
  EXPECT_EQ("<null>", Search("共同内容"));
  EXPECT_TRUE(FinishesInTime([&] { EXPECT_EQ(0, Version(1, 1)); }));

  ks_fault_arm("group.update");
  EXPECT_EQ(-1, Version(2, 0));
  EXPECT_TRUE(FinishesInTime([&] { EXPECT_EQ(0, Version(2, 1)); }));

  for (int k = 3; k < 6; ++k) ASSERT_EQ(0, Version(k, 0));
  ASSERT_EQ(0, searcher_.delDoc(kIndex, kDb, "message", "m3"));
  ks_fault_arm("group.compaction");
  EXPECT_EQ(GroupSearcher::kEllipseCopyIndexFailed, searcher_.ellipse_index("default", true));
  EXPECT_TRUE(FinishesInTime([&] { EXPECT_EQ(0, Version(4, 1)); }));
  EXPECT_EQ(0, searcher_.ellipse_index("default", true));

  // Nothing was lost on the way: m1, m2, m4 in their new versions, m5 as it was.
  EXPECT_EQ(3, Found("v1"));
  EXPECT_EQ(4, Found("共同内容"));
  EXPECT_EQ(0, searcher_.getDelNum("default"));
}

}  // namespace
}  // namespace mobile_search
