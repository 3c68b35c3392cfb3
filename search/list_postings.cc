#include "search/list_postings.h"

#include "text/token_rules.h"

namespace mobile_search {
namespace list_eval {

bool FilterRanks(const _DArray* filter, unsigned char rank[256]) {
  for (int i = 0; i < 256; ++i) rank[i] = 255;
  const unsigned int n = darray_length(filter);
  for (unsigned int i = 0; i < n; ++i) {
    const long long id = static_cast<long long>(darray_get_by_index(filter, i));
    if (id < 0 || id > 254 || i > 254) return false;
    if (rank[id] == 255) rank[id] = static_cast<unsigned char>(i);
  }
  return true;
}

void Narrow(Postings& src, Term& t, std::vector<unsigned int>& cands) {
  TermProbe probe(src, t);
  size_t out = 0;
  for (const unsigned int key : cands) {
    if (probe.holds(key)) cands[out++] = key;
  }
  cands.resize(out);
}

namespace {

// Whether a term's sign is hashed: a term of several characters.
bool IsLong(const Term& t) { return t.sign > 0xFFFFFFu; }

}  // namespace

bool CountTerms(Postings& src, std::vector<Term>& terms) {
  const bool anyLong = std::any_of(terms.begin(), terms.end(), [](const Term& t) { return IsLong(t); });
  std::vector<size_t> order;
  for (size_t i = 0; i < terms.size(); ++i) {
    if (!anyLong || IsLong(terms[i])) order.push_back(i);
  }
  // The likely rarest first, judged by its postings in the newest sealed
  // file and the active one: the others are then counted only until they
  // pass it.
  if (order.size() > 1 && src.files() > 0) {
    std::vector<u64> newest(terms.size());
    for (const size_t i : order) {
      const Run r = src.run(terms[i], src.files() - 1);
      newest[i] = src.activeCount(terms[i]) + (r.hi - r.lo);
    }
    std::stable_sort(order.begin(), order.end(), [&newest](size_t a, size_t b) { return newest[a] < newest[b]; });
  }
  u64 least = ~0ull;
  for (const size_t i : order) {
    // So few candidates are cheaper to probe in the files that hold them
    // than another term is to count in every file.
    if (least <= kFewCandidates) break;
    Term& t = terms[i];
    if (t.total == kUncounted) src.total(t, least);
    if (t.total == 0) return false;
    least = std::min(least, t.total);
  }
  return true;
}

std::vector<Term> TermsOf(Postings& src, const _DArray* list) {
  std::vector<Term> terms(darray_length(list));
  for (size_t i = 0; i < terms.size(); ++i) {
    src.init(terms[i], static_cast<unsigned int>(darray_get_by_index(list, static_cast<unsigned int>(i))));
  }
  return terms;
}

void Confirmed(Postings& src, Validity& validity, std::vector<Term>& terms, std::vector<u64>& placed,
               unsigned int fromDoc) {
  const unsigned int n = static_cast<unsigned int>(terms.size());
  std::vector<unsigned int> order(n);
  for (unsigned int i = 0; i < n; ++i) order[i] = i;
  if (!CountTerms(src, terms)) return;  // one absent term: no hits
  // Rarest first; of the terms not counted, those of several characters
  // (rarer than their characters) first.
  std::stable_sort(order.begin(), order.end(), [&terms](unsigned int a, unsigned int b) {
    if (terms[a].total != terms[b].total) return terms[a].total < terms[b].total;
    return IsLong(terms[a]) && !IsLong(terms[b]);
  });
  // The rarest term proposes the (doc id, field) candidates: its runs are in
  // doc-id order file by file, so they come nearly sorted.
  std::vector<unsigned int> cands;
  src.forEach(terms[order[0]], [&](const _idx2_unit_t* rec, int, unsigned int) {
    cands.push_back(DocField(rec->docid(), rec->field()));
  }, fromDoc);
  SortNearlyOrdered(cands);
  cands.erase(std::unique(cands.begin(), cands.end()), cands.end());
  // The first term goes last: its probe also finds its postings.
  for (unsigned int k = 1; k < n && !cands.empty(); ++k) {
    if (order[k] != 0) Narrow(src, terms[order[k]], cands);
  }
  // Validity is checked on the survivors only: the document states are a
  // cache miss each.
  cands.erase(std::remove_if(cands.begin(), cands.end(),
                             [&validity](unsigned int key) { return validity.drop(key >> 8, static_cast<unsigned char>(key)); }),
              cands.end());
  if (cands.empty()) return;
  if (order[0] == 0) {
    // The first term proposed the candidates: its postings on the survivors.
    size_t at = 0;
    src.forEach(terms[0], [&](const _idx2_unit_t* rec, int f, unsigned int i) {
      const unsigned int key = DocField(rec->docid(), rec->field());
      if (at > 0 && cands[at - 1] > key) at = 0;  // the postings went back (next file)
      at = std::lower_bound(cands.begin() + static_cast<long>(at), cands.end(), key) - cands.begin();
      if (at < cands.size() && cands[at] == key) placed.push_back(static_cast<u64>(f) << 32 | i);
    }, fromDoc);
  } else {
    TermProbe probe(src, terms[0]);
    for (const unsigned int key : cands) {
      probe.find(key, [&placed](int f, unsigned int i) { placed.push_back(static_cast<u64>(f) << 32 | i); });
    }
  }
  if (!std::is_sorted(placed.begin(), placed.end())) std::sort(placed.begin(), placed.end());
}

int FullFileHit(Run r, unsigned int count) {
  int lo = 0, hi = static_cast<int>(count) - 1;
  while (lo <= hi) {
    const int mid = lo + (hi - lo) / 2;
    const unsigned int m = static_cast<unsigned int>(mid);
    if (m >= r.lo && m < r.hi) return mid;
    if (m < r.lo) {
      lo = mid + 1;
    } else {
      hi = mid - 1;
    }
  }
  return -1;
}

unsigned long long RankedHit(doc_union_t posting) {
  unsigned char weight = posting.weight();
  TokenRules::mathSortWeight(weight, posting.bits());
  return doc_union_t::make(posting.docid(), posting.field(), weight, posting.bits()).value;
}

}  // namespace list_eval
}  // namespace mobile_search
