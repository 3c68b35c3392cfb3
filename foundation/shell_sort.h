// shell_sort: the engine's one shell sort, for any element type.
//
// Gaps from the sequence below, the largest one under n first, each pass an
// insertion sort by that gap. An element moves past another only when that
// one is strictly greater, which fixes where equal elements end up: every
// caller that must reproduce the engine's order of equal keys (array sorts,
// postings files) sorts through here. No allocation, no failure.
#ifndef KS_FOUNDATION_SHELL_SORT_H_
#define KS_FOUNDATION_SHELL_SORT_H_

namespace mobile_search {

// Gap sequence of the shell sort, smallest first.
inline constexpr unsigned int kShellGaps[] = {
    1,        4,         10,        23,        53,        97,        193,      389,
    769,      1543,      3079,      6151,      12289,     24593,     49157,    98317,
    196613,   393241,    786433,    1572869,   3145739,   6291469,   12582917, 25165843,
    50331653, 100663319, 201326611, 402653189, 805306457};

// Sorts items[0, n) ascending; greater(a, b) is true when a must come after b.
template <typename T, typename Greater>
void shell_sort(T* items, unsigned int n, Greater greater) {
  int g = static_cast<int>(sizeof(kShellGaps) / sizeof(kShellGaps[0])) - 1;
  while (g >= 0 && kShellGaps[g] >= n) --g;
  for (; g >= 0; --g) {
    const unsigned int gap = kShellGaps[g];
    for (unsigned int i = gap; i < n; ++i) {
      const T lifted = items[i];
      unsigned int j = i;
      while (j >= gap && greater(items[j - gap], lifted)) {
        items[j] = items[j - gap];
        j -= gap;
      }
      if (j != i) items[j] = lifted;
    }
  }
}

}  // namespace mobile_search

#endif  // KS_FOUNDATION_SHELL_SORT_H_
