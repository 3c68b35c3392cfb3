// The weight order of ranked hits: the order the engine's shell sort (gaps
// of shell_sort.h, higher weight byte first, bits 24-31 of a hit) leaves
// them in, reproduced without the sort's element moves, and for only as
// many leading hits as a paging window needs.
//
// A pass of the shell sort with gap g is an insertion sort of every chain
// r, r + g, r + 2g, ...; it moves a hit only past hits of strictly lower
// weight, so it is a stable sort of each chain by weight. The hits of the
// heaviest weights therefore take the first slots of their chains in every
// pass, and where they go depends only on where they were: their final
// order follows from their positions alone, one counting pass per gap.
//
// No allocation failure escapes: without memory it falls back to the shell
// sort itself. Threads: none.
#ifndef KS_SEARCH_WEIGHT_ORDER_H_
#define KS_SEARCH_WEIGHT_ORDER_H_

namespace mobile_search {

// Puts into hits[0, m) the first m hits of the shell sort's order, where m
// is at least `want` (all n when want >= n), and the other hits after them
// in no defined order. Returns m.
unsigned int WeightOrderPrefix(unsigned long long* hits, unsigned int n, unsigned int want);

}  // namespace mobile_search

#endif  // KS_SEARCH_WEIGHT_ORDER_H_
