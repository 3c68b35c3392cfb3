#include "foundation/binary_set.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>

namespace mobile_search {
namespace {

TEST(BinarySet, NearestLessCountsSmallerMembersAndKeepsItsMemberQuirks) {
  BinarySet set;
  for (int v : {3, 5, 9}) set.add(v);
  // For members the result depends on where the search meets them.
  const int members[][2] = {{3, 0}, {5, 2}, {9, 0}};
  for (const auto& e : members) EXPECT_EQ(e[1], set.nearest_less(e[0])) << e[0];

  // Non-members get the number of smaller members: against a model.
  std::mt19937 rng(3);
  for (int round = 0; round < 200; ++round) {
    std::set<int> model;
    int n = 1 + rng() % 40;
    while ((int)model.size() < n) model.insert(rng() % 200);
    BinarySet big;
    for (int v : model) ASSERT_EQ(0, big.add(v));
    for (int v = -2; v < 203; ++v) {
      if (model.count(v)) continue;
      int smaller = (int)std::distance(model.begin(), model.lower_bound(v));
      ASSERT_EQ(smaller, big.nearest_less(v)) << "v=" << v << " n=" << n;
    }
  }
}

TEST(BinarySet, AddAppendsUnsortedUntilInsertSort) {
  BinarySet set;
  set.add(7);
  set.add(2);
  EXPECT_EQ(7, set.get_value_index(0));  // kept in arrival order
  set.insert_sort();
  EXPECT_EQ(1, set.is_in_set(7));
  EXPECT_EQ(0, set.add(7));  // already present
  EXPECT_EQ(0, set.del(4));  // absent: nothing changes
  EXPECT_EQ(2, set.get_size());
  EXPECT_EQ(0, set.del(2));
  EXPECT_EQ(0, set.is_in_set(7));
  set.clear_set();
  EXPECT_EQ(-1, set.is_in_set(7));
}

}  // namespace
}  // namespace mobile_search
