// The weight order against the shell sort it reproduces, on hits whose
// weights repeat a lot (where the order of equal weights is all that is
// left to get wrong).
#include "search/weight_order.h"

#include <algorithm>
#include <vector>

#include "foundation/shell_sort.h"
#include "gtest/gtest.h"

namespace mobile_search {
namespace {

typedef unsigned long long u64;

std::vector<u64> ShellSorted(std::vector<u64> hits) {
  shell_sort(hits.data(), static_cast<unsigned int>(hits.size()),
             [](u64 a, u64 b) { return ((a >> 24) & 0xFF) < ((b >> 24) & 0xFF); });
  return hits;
}

TEST(WeightOrderTest, LeadingHitsAreThoseOfTheShellSort) {
  unsigned int seed = 12345;
  auto next = [&seed](unsigned int n) {
    seed = seed * 1103515245u + 12345u;
    return (seed >> 8) % n;
  };
  for (int round = 0; round < 300; ++round) {
    const unsigned int n = round < 20 ? static_cast<unsigned int>(round) : 1 + next(round < 200 ? 300 : 6000);
    const unsigned int weights = 1 + next(round % 3 == 0 ? 3 : 40);
    std::vector<u64> hits(n);
    // Distinct ids in the low bits, so that a misplaced hit shows.
    for (unsigned int i = 0; i < n; ++i) hits[i] = static_cast<u64>(10 + next(weights)) << 24 | i;
    const std::vector<u64> expected = ShellSorted(hits);
    for (const unsigned int want : {0u, 1u, 20u, n / 3, n, n + 5}) {
      std::vector<u64> got = hits;
      const unsigned int m = WeightOrderPrefix(got.data(), n, want);
      ASSERT_GE(m, std::min(want, n)) << "n " << n << " want " << want;
      ASSERT_LE(m, n);
      ASSERT_TRUE(std::equal(expected.begin(), expected.begin() + m, got.begin()))
          << "n " << n << " want " << want << " weights " << weights;
      std::sort(got.begin(), got.end());
      std::vector<u64> all = hits;
      std::sort(all.begin(), all.end());
      ASSERT_EQ(all, got) << "hits lost or doubled, n " << n;
    }
  }
}

}  // namespace
}  // namespace mobile_search
