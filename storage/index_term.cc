#include "storage/index_term.h"

namespace mobile_search {

IndexTerm::IndexTerm(unsigned int s, unsigned char t, term_valid_fn v, void* u, _DArray* arr)
    : userArr(arr), docs(darray_create(nullptr, true)), cursor(0), sign(s), tag(t), valid(v), user(u) {}

IndexTerm::~IndexTerm() { darray_destroy(docs); }

int IndexTerm::addDoc(unsigned int docid, unsigned char field, unsigned char weight, unsigned char bits,
                      bool allFields) {
  if (valid != nullptr && valid(user, docid, allFields ? field : -1, userArr)) return 0;
  darray_append(docs, doc_union_t::make(docid, field, weight, bits).value);
  sorted_ = false;
  return 0;
}

void IndexTerm::sort() {
  darray_shell_sort(docs, docid_cmp);
  sorted_ = true;
}

doc_union_t IndexTerm::getDoc(unsigned int i) const {
  doc_union_t u;
  u.value = darray_get_by_index(docs, i);
  return u;
}

unsigned int IndexTerm::next(doc_union_t& out) {
  if (cursor < 0 || static_cast<unsigned int>(cursor) >= darray_length(docs)) return kEnd;
  out = getDoc(static_cast<unsigned int>(cursor++));
  return out.docid();
}

unsigned int IndexTerm::seek(unsigned int docid, doc_union_t& out) {
  unsigned int n = darray_length(docs);
  if (cursor < 0) return kEnd;
  unsigned int at = static_cast<unsigned int>(cursor);
  while (at < n && getDoc(at).docid() < docid) ++at;
  cursor = static_cast<int>(at);
  if (at >= n) return kEnd;
  out = getDoc(at);
  if (out.docid() == docid) cursor += 1;
  return out.docid();
}

unsigned int IndexTerm::lowerBound(unsigned int docid) const {
  unsigned int lo = 0, hi = darray_length(docs);
  while (lo < hi) {
    unsigned int mid = lo + (hi - lo) / 2;
    if (getDoc(mid).docid() < docid) {
      lo = mid + 1;
    } else {
      hi = mid;
    }
  }
  return lo;
}

int IndexTerm::validDoc(doc_union_t u, _DArray* fields) {
  // `fields` never changes the answer (a match is a match whether or not its
  // field is listed), so it is not consulted.
  (void)fields;
  unsigned int n = darray_length(docs);
  // Sorted postings: only the run of u's doc id can match, which gives the
  // same answer as a full scan.
  for (unsigned int i = sorted_ ? lowerBound(u.docid()) : 0; i < n; ++i) {
    doc_union_t p = getDoc(i);
    if (sorted_ && p.docid() != u.docid()) break;
    if (p.docid() == u.docid() && p.field() == u.field()) return 1;
  }
  return 0;
}

}  // namespace mobile_search
