// Ascending set of signed 32-bit integers (doc ids) in a _DArray, searched by
// binary search: the deleted documents of a group, and the documents kept or
// renumbered by compaction (nearest_less turns an old doc id into a new one).
//
// add() appends without sorting: the set stays ordered only while values come
// in increasing order (as the document store adds deleted ids). A caller that
// adds out of order calls insert_sort() before searching; until then
// membership tests, including the one inside add(), may be wrong.
//
// The set owns its array; values are stored sign-extended to 64 bits.
// Failures: add returns 1 when the array cannot grow; lookups return -1 / 0.
// A set whose array could not be created behaves as an empty set.
// Threads: no locking inside.
#ifndef KS_FOUNDATION_BINARY_SET_H_
#define KS_FOUNDATION_BINARY_SET_H_

#include "foundation/dynamic_array.h"

namespace mobile_search {

class BinarySet {
 public:
  BinarySet();
  ~BinarySet();
  BinarySet(const BinarySet&) = delete;
  BinarySet& operator=(const BinarySet&) = delete;

  // 0 when v is already present or was appended; 1 on allocation failure.
  int add(int v);
  // Sorts the values (quick sort) when there are at least two.
  void insert_sort();
  // Index of v, or -1 (also for an empty set).
  int is_in_set(int v) const;
  // Removes v if present; always 0.
  int del(int v);
  bool is_empty() const;
  int get_size() const;
  // Value at index i, 0 when out of range.
  int get_value_index(unsigned int i) const;
  // Empties the set, keeping the storage.
  void clear_set();
  // Debugging aid: every value with "%llu, " and a newline, to stdout.
  void show_all_data() const;
  // Empties the set; then fills it from `values` only when `values` is
  // non-null and empty (so a non-empty `values` leaves the set empty). This
  // inverted test is the long-standing behaviour; nothing relies on it.
  void compose_set(_DArray* values);
  // For a v that is not a member: the number of members smaller than v. For a
  // member the result depends on where the search meets it (set 3, 5, 9:
  // nearest_less(3) = 0, nearest_less(5) = 2, nearest_less(9) = 0).
  int nearest_less(int v) const;

 private:
  int value_at(int i) const;
  _DArray* values_;
};

}  // namespace mobile_search

#endif  // KS_FOUNDATION_BINARY_SET_H_
