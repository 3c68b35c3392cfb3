#include "search/weight_order.h"

#include <new>
#include <vector>

#include "foundation/shell_sort.h"

namespace mobile_search {

namespace {

typedef unsigned long long u64;

unsigned int WeightOf(u64 hit) { return static_cast<unsigned int>((hit >> 24) & 0xFF); }

void ShellSortByWeight(u64* hits, unsigned int n) {
  shell_sort(hits, n, [](u64 a, u64 b) { return WeightOf(a) < WeightOf(b); });
}

// Sorts the (position, hit index) pairs by position: two byte-wise
// counting passes over positions below 2^16, three or four above.
void SortByPosition(std::vector<u64>& items, std::vector<u64>& work, unsigned int n) {
  for (unsigned int shift = 32; shift < 64 && (n - 1) >> (shift - 32) != 0; shift += 8) {
    unsigned int start[257] = {0};
    for (const u64 x : items) ++start[((x >> shift) & 0xFF) + 1];
    for (int i = 1; i <= 256; ++i) start[i] += start[i - 1];
    for (const u64 x : items) work[start[(x >> shift) & 0xFF]++] = x;
    items.swap(work);
  }
}

// The m hits of weight >= lightest through every pass, as (position << 32 |
// hit index) kept in position order; returns false without memory.
bool Reproduce(u64* hits, unsigned int n, unsigned int lightest, unsigned int m) {
  std::vector<u64> kept, work(m), byWeight(m);
  std::vector<unsigned int> slots;  // hits of each chain placed so far
  kept.reserve(m);
  for (unsigned int i = 0; i < n; ++i) {
    if (WeightOf(hits[i]) >= lightest) kept.push_back(static_cast<u64>(i) << 32 | i);
  }
  int g = static_cast<int>(sizeof(kShellGaps) / sizeof(kShellGaps[0])) - 1;
  while (g >= 0 && kShellGaps[g] >= n) --g;
  for (; g >= 0; --g) {
    const unsigned int gap = kShellGaps[g];
    // Heavier first, each weight in position order: a counting sort.
    unsigned int start[257] = {0};
    for (const u64 x : kept) ++start[255 - WeightOf(hits[static_cast<unsigned int>(x)]) + 1];
    for (int w = 1; w <= 256; ++w) start[w] += start[w - 1];
    for (const u64 x : kept) byWeight[start[255 - WeightOf(hits[static_cast<unsigned int>(x)])]++] = x;
    // Each hit into its chain's next free slot, in that order.
    slots.assign(gap, 0);
    for (unsigned int j = 0; j < m; ++j) {
      const unsigned int p = static_cast<unsigned int>(byWeight[j] >> 32), r = p % gap;
      kept[j] = static_cast<u64>(r + slots[r]++ * gap) << 32 | static_cast<unsigned int>(byWeight[j]);
    }
    SortByPosition(kept, work, n);
  }
  // After the last pass (gap 1) the kept hits hold positions 0 to m - 1.
  std::vector<u64> out;
  out.reserve(n);
  for (const u64 x : kept) out.push_back(hits[static_cast<unsigned int>(x)]);
  for (unsigned int i = 0; i < n; ++i) {
    if (WeightOf(hits[i]) < lightest) out.push_back(hits[i]);
  }
  for (unsigned int i = 0; i < n; ++i) hits[i] = out[i];
  return true;
}

}  // namespace

unsigned int WeightOrderPrefix(unsigned long long* hits, unsigned int n, unsigned int want) {
  if (hits == nullptr || n < 2) return n;
  // The lightest weight whose hits, with all heavier ones, reach `want`.
  unsigned int count[256] = {0};
  for (unsigned int i = 0; i < n; ++i) ++count[WeightOf(hits[i])];
  unsigned int lightest = 0, m = n;
  if (want < n) {
    unsigned int sum = 0;
    for (int w = 255; w >= 0; --w) {
      sum += count[w];
      if (sum >= want || w == 0) {
        lightest = static_cast<unsigned int>(w);
        m = sum;
        break;
      }
    }
  }
  // Reproducing costs about a sort's pass per kept hit and gap: worth it
  // only when the window needs few of the hits.
  try {
    if (m <= n / 4 && Reproduce(hits, n, lightest, m)) return m;
  } catch (const std::bad_alloc&) {
  }
  ShellSortByWeight(hits, n);
  return n;
}

}  // namespace mobile_search
