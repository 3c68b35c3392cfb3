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

// The hits of weight >= lightest (m of them) through every pass; returns
// false without memory.
bool Reproduce(u64* hits, unsigned int n, unsigned int lightest, unsigned int m) {
  const unsigned int kNone = 0xFFFFFFFFu;
  std::vector<unsigned int> at(n, kNone);  // at[position]: hit index, or kNone
  std::vector<unsigned int> pos(n);        // pos[hit index]: its position
  std::vector<unsigned int> order(m);      // kept hits by weight, then position
  std::vector<unsigned int> slots;         // hits of each chain placed so far
  for (unsigned int i = 0; i < n; ++i) {
    if (WeightOf(hits[i]) >= lightest) at[i] = pos[i] = i;
  }
  int g = static_cast<int>(sizeof(kShellGaps) / sizeof(kShellGaps[0])) - 1;
  while (g >= 0 && kShellGaps[g] >= n) --g;
  for (; g >= 0; --g) {
    const unsigned int gap = kShellGaps[g];
    // Heavier first, each weight in position order: a counting sort.
    unsigned int start[257] = {0};
    for (unsigned int p = 0; p < n; ++p) {
      if (at[p] != kNone) ++start[255 - WeightOf(hits[at[p]]) + 1];
    }
    for (int w = 1; w <= 256; ++w) start[w] += start[w - 1];
    for (unsigned int p = 0; p < n; ++p) {
      if (at[p] != kNone) order[start[255 - WeightOf(hits[at[p]])]++] = at[p];
    }
    // Each chain's next free slot, in that order.
    slots.assign(gap, 0);
    for (unsigned int p = 0; p < n; ++p) at[p] = kNone;
    for (const unsigned int h : order) {
      const unsigned int r = pos[h] % gap;
      pos[h] = r + slots[r]++ * gap;
      at[pos[h]] = h;
    }
  }
  // After the last pass (gap 1) the kept hits hold positions 0 to m - 1.
  std::vector<u64> out;
  out.reserve(n);
  for (unsigned int p = 0; p < m; ++p) out.push_back(hits[at[p]]);
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
  try {
    if (Reproduce(hits, n, lightest, m)) return m;
  } catch (const std::bad_alloc&) {
  }
  ShellSortByWeight(hits, n);
  return n;
}

}  // namespace mobile_search
