#include "storage/index_term.h"

#include <string.h>

#include <memory>
#include <new>

#include "foundation/radix_sort.h"

namespace mobile_search {

namespace {

typedef unsigned long long u64;

unsigned int DocKey(u64 v) { return static_cast<unsigned int>(v & 0xFFFFFF); }

bool InDocOrder(const u64* a, unsigned int n) {
  for (unsigned int i = 1; i < n; ++i) {
    if (DocKey(a[i]) < DocKey(a[i - 1])) return false;
  }
  return true;
}

// Sorts a copy of src by doc id through the buffers a and b (n each) and
// returns the one holding it; null when two postings share a doc id. src is
// left untouched.
const u64* SortedDistinctDocIds(const u64* src, unsigned int n, u64* a, u64* b) {
  memcpy(a, src, static_cast<size_t>(n) * sizeof(u64));
  const u64* sorted = radix_sort(a, b, n, 3, DocKey);
  for (unsigned int i = 1; i < n; ++i) {
    if (DocKey(sorted[i]) == DocKey(sorted[i - 1])) return nullptr;
  }
  return sorted;
}

}  // namespace

IndexTerm::IndexTerm(unsigned int s, unsigned char t, term_valid_fn v, void* u, _DArray* arr)
    : userArr(arr), docs(darray_create(nullptr, true)), cursor(0), sign(s), tag(t), valid(v), user(u) {}

// The postings hold no pointers (the array has no release callback), so the
// storage is freed without a walk over the slots.
IndexTerm::~IndexTerm() { pointer_destory(docs); }

int IndexTerm::addDoc(unsigned int docid, unsigned char field, unsigned char weight, unsigned char bits,
                      bool allFields) {
  if (valid != nullptr && valid(user, docid, allFields ? field : -1, userArr)) return 0;
  const u64 value = doc_union_t::make(docid, field, weight, bits).value;
  if (docs != nullptr && docs->count < docs->capacity) {
    docs->items[docs->count++] = value;  // darray_append without the growth check's call
  } else {
    darray_append(docs, value);
  }
  if (docid > 0xFFFFFF) wideDocIds_ = true;
  sorted_ = false;
  return 0;
}

void IndexTerm::sort() {
  const unsigned int n = darray_length(docs);
  // The shell sort moves nothing in ordered input. Without equal doc ids the
  // sorted order is unique, so any sort gives the shell sort's result; only
  // equal doc ids need the shell sort itself to place them as it does.
  if (n >= 2 && !InDocOrder(docs->items, n)) {
    std::unique_ptr<u64[]> a(new (std::nothrow) u64[n]);
    std::unique_ptr<u64[]> b(new (std::nothrow) u64[n]);
    const u64* sorted = a && b ? SortedDistinctDocIds(docs->items, n, a.get(), b.get()) : nullptr;
    if (sorted != nullptr) {
      memcpy(docs->items, sorted, static_cast<size_t>(n) * sizeof(u64));
    } else {
      darray_shell_sort(docs, docid_cmp);
    }
  }
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
