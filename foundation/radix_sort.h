// radix_sort: a stable radix sort by an unsigned integer key, for any
// trivially copyable element type.
//
// Sorts a byte of the key a pass, from the lowest; a pass whose byte is the
// same in every key is skipped, so keys that share their high bytes (doc ids,
// signs of one file) cost fewer passes. The caller gives a second buffer of n
// elements; the result ends in one of the two. No allocation, no failure.
#ifndef KS_FOUNDATION_RADIX_SORT_H_
#define KS_FOUNDATION_RADIX_SORT_H_

namespace mobile_search {

// Sorts items[0, n) ascending by key(item), an unsigned value of at most
// `key_bytes` (1 to 8) bytes, using `work` as the other buffer. Returns the
// buffer that holds the sorted elements (items or work).
template <typename T, typename Key>
T* radix_sort(T* items, T* work, unsigned int n, int key_bytes, Key key) {
  unsigned int counts[8][256] = {};
  if (key_bytes > 8) key_bytes = 8;
  for (unsigned int i = 0; i < n; ++i) {
    const unsigned long long k = key(items[i]);
    for (int p = 0; p < key_bytes; ++p) ++counts[p][(k >> (8 * p)) & 0xFF];
  }
  for (int p = 0; p < key_bytes && n > 0; ++p) {
    unsigned int* count = counts[p];
    if (count[(key(items[0]) >> (8 * p)) & 0xFF] == n) continue;
    unsigned int next = 0;
    for (int d = 0; d < 256; ++d) {
      const unsigned int c = count[d];
      count[d] = next;
      next += c;
    }
    for (unsigned int i = 0; i < n; ++i) work[count[(key(items[i]) >> (8 * p)) & 0xFF]++] = items[i];
    T* t = items;
    items = work;
    work = t;
  }
  return items;
}

}  // namespace mobile_search

#endif  // KS_FOUNDATION_RADIX_SORT_H_
