#include "search/alternative_hits.h"

#include "foundation/shell_sort.h"

namespace mobile_search {

namespace {

// The weight byte of a hit (bits 24-31, above the 24-bit doc id).
const int kWeightShift = 24;
const unsigned long long kWeightMask = 0xFFull << kWeightShift;

unsigned int weightOf(unsigned long long hit) {
  return static_cast<unsigned int>((hit & kWeightMask) >> kWeightShift);
}

}  // namespace

void RankAlternativeHits(_DArray* hits) {
  if (hits == nullptr) return;
  const unsigned int n = darray_length(hits);
  for (unsigned int i = 0; i < n; ++i) {
    const unsigned long long hit = darray_get_by_index(hits, i);
    unsigned int w = weightOf(hit) / 2;
    if (w == 0) w = 1;
    darray_set_by_index(hits, i, (hit & ~kWeightMask) | (static_cast<unsigned long long>(w) << kWeightShift));
  }
  shell_sort(hits->items, hits->count, [](unsigned long long a, unsigned long long b) {
    return weightOf(a) > weightOf(b);
  });
}

}  // namespace mobile_search
