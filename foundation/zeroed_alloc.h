// zeroed_alloc: a zero-filled heap block, released with free().
//
// Small blocks (the tokenizers create and free some for every run of
// characters) come from malloc and memset: glibc's calloc skips the
// per-thread cache that malloc uses. Large ones stay with calloc, which gets
// fresh zero pages without writing them (query hit arrays can be megabytes).
// Returns nullptr when the allocation fails.
#ifndef KS_FOUNDATION_ZEROED_ALLOC_H_
#define KS_FOUNDATION_ZEROED_ALLOC_H_

#include <stdlib.h>
#include <string.h>

namespace mobile_search {

inline void* zeroed_alloc(size_t n) {
  static const size_t kSmall = 1024;  // the per-thread cache's largest size class
  if (n > kSmall) return calloc(n, 1);
  void* p = malloc(n);
  if (p != nullptr) memset(p, 0, n);
  return p;
}

}  // namespace mobile_search

#endif  // KS_FOUNDATION_ZEROED_ALLOC_H_
