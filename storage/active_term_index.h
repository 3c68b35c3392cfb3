// ActiveTermIndex: where each term's postings lie in the active (unsorted,
// last) postings file, so that a query finds them without scanning the
// whole file.
//
// Per term sign: the record indices of its postings in append order, kept as
// a chain (head, tail, count in an open-addressing table; one "next" slot per
// record). Appends cost O(1); walking a term costs its postings.
//
// Ownership: plain value type. Threads: none inside; written under the
// group's exclusive lock, read by searches under the shared lock. Failures:
// an allocation failure empties the index and marks it broken (ok() false);
// it stays so until clear().
#ifndef KS_STORAGE_ACTIVE_TERM_INDEX_H_
#define KS_STORAGE_ACTIVE_TERM_INDEX_H_

#include <cstddef>
#include <vector>

namespace mobile_search {

class ActiveTermIndex {
 public:
  static constexpr unsigned int kNone = 0xFFFFFFFFu;

  // Forgets every posting; ok() again.
  void clear();
  // Adds the posting at record `index` of term `sign`. Indices must grow
  // from one call to the next (append order).
  void add(unsigned int sign, unsigned int index);
  // First record index of the term, kNone when it has none.
  unsigned int first(unsigned int sign) const;
  // The term's record index after `index`, kNone at its end.
  unsigned int next(unsigned int index) const { return index < next_.size() ? next_[index] : kNone; }
  // Number of postings of the term.
  unsigned int count(unsigned int sign) const;
  bool ok() const { return ok_; }
  size_t memoryBytes() const;

 private:
  struct Slot {
    unsigned int sign, head, tail, count;  // count 0: empty slot
  };
  const Slot* find(unsigned int sign) const;
  bool grow();

  std::vector<Slot> slots_;
  std::vector<unsigned int> next_;
  unsigned int used_ = 0;
  bool ok_ = true;
};

}  // namespace mobile_search

#endif  // KS_STORAGE_ACTIVE_TERM_INDEX_H_
