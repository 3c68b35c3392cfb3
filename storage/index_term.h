// IndexTerm: the in-memory posting list of one term, gathered from every
// postings file for a query, sorted by doc id and walked with next/seek.
//
// Each posting is one doc_union_t slot of a _DArray:
//   bits 0-23  doc id (only 24 bits are kept)
//   bits 24-31 weight
//   bits 32-39 field index
//   bits 40-47 match bits
//   bits 48-63 zero
//
// A validity callback, when given, is asked about every posting before it is
// added and can reject it (deleted documents, foreign tables or fields).
//
// Ownership: the term owns its postings; the callback's user pointer and the
// caller's array are borrowed. Threads: one thread per term.
// Failures: none reported; a posting that cannot be stored is dropped.
#ifndef KS_STORAGE_INDEX_TERM_H_
#define KS_STORAGE_INDEX_TERM_H_

#include "foundation/dynamic_array.h"

namespace mobile_search {

// In-memory posting, packed into the 64-bit slot described above.
struct doc_union_t {
  unsigned long long value;

  static doc_union_t make(unsigned int docid, unsigned char field, unsigned char weight,
                          unsigned char bits) {
    doc_union_t u;
    u.value = (docid & 0xFFFFFFull) | (static_cast<unsigned long long>(weight) << 24) |
              (static_cast<unsigned long long>(field) << 32) |
              (static_cast<unsigned long long>(bits) << 40);
    return u;
  }
  unsigned int docid() const { return static_cast<unsigned int>(value & 0xFFFFFF); }
  unsigned char weight() const { return static_cast<unsigned char>(value >> 24); }
  unsigned char field() const { return static_cast<unsigned char>(value >> 32); }
  unsigned char bits() const { return static_cast<unsigned char>(value >> 40); }
};

// Returns true to reject the posting. `field` is the posting's field when all
// fields were asked for, else -1; `arr` is the array given to the term.
typedef bool (*term_valid_fn)(void* user, unsigned int docid, int field, void* arr);

class IndexTerm {
 public:
  static constexpr unsigned int kEnd = 0x7FFFFFFF;  // returned by next/seek at the end

  IndexTerm(unsigned int sign, unsigned char tag, term_valid_fn valid, void* user, _DArray* arr);
  virtual ~IndexTerm();
  IndexTerm(const IndexTerm&) = delete;
  IndexTerm& operator=(const IndexTerm&) = delete;

  // Adds one posting unless the validity callback rejects it. Returns 0.
  int addDoc(unsigned int docid, unsigned char field, unsigned char weight, unsigned char bits,
             bool allFields);
  // Shell sort of all postings by their 24-bit doc id. Input already in
  // order, or without two postings of one doc id, takes a linear path with
  // the same result.
  void sort();
  // Posting at the cursor into `out` and advance; returns its doc id, or
  // kEnd when the cursor is at the end.
  unsigned int next(doc_union_t& out);
  // From the cursor, the first posting with doc id >= docid into `out`; the
  // cursor passes it only when its doc id equals docid. Its doc id, or kEnd.
  unsigned int seek(unsigned int docid, doc_union_t& out);
  int getDocCount() const { return static_cast<int>(darray_length(docs)); }
  // 1 when some posting has both the field index and the doc id of `u`, else
  // 0. `fields` is looked through for a match but never changes the answer.
  int validDoc(doc_union_t u, _DArray* fields);

  unsigned int getSign() const { return sign; }
  unsigned char getTag() const { return tag; }
  // Posting i (0 when out of range).
  doc_union_t getDoc(unsigned int i) const;
  // The getDocCount() postings, in their current order (for tight loops).
  const unsigned long long* postings() const { return docs == nullptr ? nullptr : docs->items; }
  // Whether some added posting had a doc id of 2^24 or more, which the
  // postings keep only truncated to 24 bits.
  bool hasWideDocIds() const { return wideDocIds_; }

 private:
  unsigned int lowerBound(unsigned int docid) const;  // first posting with doc id >= docid

  _DArray* userArr;
  _DArray* docs;
  int cursor;
  unsigned int sign;
  unsigned char tag;
  term_valid_fn valid;
  void* user;
  bool sorted_ = false;  // postings are in doc-id order (sort() ran, nothing added since)
  bool wideDocIds_ = false;
};

}  // namespace mobile_search

#endif  // KS_STORAGE_INDEX_TERM_H_
