#include "storage/log_manager.h"

#include <cstdlib>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "gtest/gtest.h"
#include "test_util.h"

namespace mobile_search {
namespace {

typedef std::vector<std::pair<unsigned int, unsigned int>> Pairs;

// Writes `log` to a fresh log and reduces it with (limit, set).
Pairs Reduce(const Pairs& log, int limit, const std::vector<int>& members, int* rc = nullptr) {
  ks_test::TempDir dir;
  LogManager m;
  EXPECT_EQ(0, m.open(dir.path().c_str()));
  m.setAutoSave(false);
  for (const auto& p : log) m.add_log(p.first, p.second);
  BinarySet set;
  for (int v : members) set.add(v);
  _DArray* out = darray_create(nullptr, false);
  int r = m.log_pretreat(out, limit, &set);
  if (rc != nullptr) *rc = r;
  Pairs result;
  for (unsigned int i = 0; i + 1 < darray_length(out); i += 2) {
    result.emplace_back(static_cast<unsigned int>(darray_get_by_index(out, i)),
                        static_cast<unsigned int>(darray_get_by_index(out, i + 1)));
  }
  darray_destroy(out);
  return result;
}

TEST(LogManagerTest, OpenDiscardsTheOldLogAndRecordsReadBackInOrder) {
  ks_test::TempDir dir;
  for (const char* f : {"log-0", "log-1", "log-2", "log-3", "log-info", "log-5"}) {
    ASSERT_TRUE(ks_test::WriteFile(dir.file(f), "old"));
  }
  LogManager m;
  ASSERT_EQ(0, m.open(dir.path().c_str()));
  EXPECT_EQ(0u, m.getCount());
  for (const char* f : {"log-0", "log-1", "log-2", "log-3"}) EXPECT_FALSE(ks_test::FileExists(dir.file(f)));
  EXPECT_TRUE(ks_test::FileExists(dir.file("log-5")));  // beyond the first gap

  EXPECT_EQ(1, m.add_log(9, 2));
  EXPECT_EQ(2, m.add_log(0xFFFFFFF0u, 1));
  auto next = [&]() {
    unsigned long long* r = m.read_next_log();
    unsigned long long v = r != nullptr ? *r : 0;
    free(r);
    return v;
  };
  EXPECT_EQ(LogManager::compose_log_t(9, 2), next());
  EXPECT_EQ((1ull << 32) | 0xFFFFFFF0u, next());
  EXPECT_EQ(nullptr, m.read_next_log());
  m.add_log(4, 3);
  EXPECT_EQ(LogManager::compose_log_t(4, 3), next());  // the cursor stayed at the end
  // Every record has been read already: fewer than the count remain.
  _DArray* out = darray_create(nullptr, false);
  BinarySet set;
  EXPECT_EQ(1, m.log_pretreat(out, 10, &set));
  EXPECT_EQ(0u, darray_length(out));
  darray_destroy(out);
  EXPECT_EQ(0, m.close());

  LogManager closed;
  EXPECT_EQ(-1, closed.add_log(1, 1));
  EXPECT_EQ(-1, closed.save());
  EXPECT_EQ(-1, closed.close());
  EXPECT_EQ(-1, closed.open(nullptr));
}

TEST(LogManagerTest, ReductionOfHandMadeLogsAndOfOneTooLongToRead) {
  // An addition or revival followed by its deletion cancels out.
  EXPECT_EQ(Pairs(), Reduce({{5, 2}, {5, 1}}, 10, {5}));
  EXPECT_EQ(Pairs(), Reduce({{5, 3}, {5, 1}}, 10, {5}));
  // An addition or revival without a later deletion stays.
  EXPECT_EQ(Pairs({{6, 2}, {6, 3}}), Reduce({{6, 2}, {6, 3}}, 10, {}));
  // A deletion revived later: past the snapshot limit the revive becomes an
  // addition; below it, for a doc id the set does not hold, the revive stays.
  EXPECT_EQ(Pairs({{5, 2}}), Reduce({{5, 1}, {5, 3}}, 5, {}));
  EXPECT_EQ(Pairs({{4, 3}}), Reduce({{4, 1}, {4, 3}}, 5, {}));
  EXPECT_EQ(Pairs({{4, 2}}), Reduce({{4, 1}, {4, 3}}, 5, {4}));
  // A lone deletion is kept only below the limit and only for the set's
  // first member (index 0, as the reduction has always tested).
  EXPECT_EQ(Pairs({{7, 1}}), Reduce({{7, 1}}, 10, {7, 9}));
  EXPECT_EQ(Pairs(), Reduce({{7, 1}}, 10, {3, 7}));
  EXPECT_EQ(Pairs(), Reduce({{7, 1}}, 7, {7}));
  // Unknown operations are dropped; the output keeps the log's order.
  EXPECT_EQ(Pairs({{1, 2}, {2, 3}}), Reduce({{1, 2}, {3, 9}, {2, 3}}, 10, {}));
  // Only the first deletion after an addition is cancelled.
  EXPECT_EQ(Pairs({{5, 1}}), Reduce({{5, 2}, {5, 1}, {5, 1}}, 10, {5}));

  // Records are addressed through offset2Addr, which resolves only the first
  // log file (65,536 records): a longer log cannot be read whole.
  Pairs log(65536, {3, 2});
  int rc = 1;
  EXPECT_EQ(65536u, Reduce(log, 10, {}, &rc).size());
  EXPECT_EQ(0, rc);
  log.emplace_back(4, 2);
  Reduce(log, 10, {}, &rc);
  EXPECT_EQ(1, rc);
}

// The reduction written straight from its rules: pairs newest first, taken
// from the oldest end, rescanning the newer ones with reverse_find_log.
Pairs NaiveReduce(const Pairs& log, int limit, BinarySet& set) {
  LogManager m;
  _DArray* a = darray_create(nullptr, false);
  for (auto it = log.rbegin(); it != log.rend(); ++it) {
    darray_append(a, it->first);
    darray_append(a, it->second);
  }
  Pairs out;
  for (int i = static_cast<int>(darray_length(a)) - 2; i >= 0; i -= 2) {
    int d = static_cast<int>(darray_get_by_index(a, i));
    unsigned int p = static_cast<unsigned int>(darray_get_by_index(a, i + 1));
    if (p == 2 || p == 3) {
      int r = m.reverse_find_log(a, i, d, 1);
      if (r < 0) out.emplace_back(d, p);
      else darray_set_by_index(a, r + 1, 4ull);
    } else if (p == 1) {
      int r = m.reverse_find_log(a, i, d, 3);
      if (r < 0 && d < limit && set.is_in_set(d) == 0) out.emplace_back(d, 1);
      if (r >= 0 && !(d < limit && set.is_in_set(d) < 0)) darray_set_by_index(a, r + 1, 2ull);
    }
  }
  darray_destroy(a);
  return out;
}

TEST(LogManagerTest, ReductionAgreesWithARescanningReferenceOnRandomLogs) {
  std::mt19937 rng(5);
  for (int round = 0; round < 150; ++round) {
    Pairs log;
    for (unsigned int i = 0, len = rng() % 25; i < len; ++i) log.emplace_back(rng() % 6, 1 + rng() % 4);
    int limit = static_cast<int>(rng() % 7);
    std::vector<int> members;
    BinarySet set;
    for (int v = 0; v < 6; ++v) {
      if (rng() % 2 == 0) continue;
      members.push_back(v);
      set.add(v);
    }
    ASSERT_EQ(NaiveReduce(log, limit, set), Reduce(log, limit, members)) << "round " << round;
  }
}

}  // namespace
}  // namespace mobile_search
