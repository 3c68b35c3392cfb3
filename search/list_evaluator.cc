#include "search/list_evaluator.h"

#include "search/list_postings.h"

namespace mobile_search {

using namespace list_eval;

namespace {

// One term: one hit per document, in doc-id order, from the posting of its
// best field (the lowest field id, or the one listed first in the filter).
bool SingleTerm(Postings& src, Validity& validity, unsigned int sign, const _DArray* filter, _DArray* hits) {
  unsigned char rank[256];
  if (filter != nullptr && !FilterRanks(filter, rank)) return false;
  Term t;
  src.init(t, sign);
  std::vector<u64> items;  // doc id (24) | field (8) | weight (8) | bits (8)
  bool plain = true;
  src.forEach(t, [&](const _idx2_unit_t* rec, int, unsigned int) {
    if (validity.drop(rec->docid(), rec->field())) return;
    // A weight of 0 reads as "no pending hit" in the cursor walk.
    if (rec->weight() == 0) plain = false;
    items.push_back(static_cast<u64>(rec->docid()) << 24 | static_cast<u64>(rec->field()) << 16 |
                    static_cast<u64>(rec->weight()) << 8 | rec->bits());
  });
  if (!plain) return false;
  SortNearlyOrdered(items);
  for (size_t i = 0; i < items.size();) {
    const u64 doc = items[i] >> 24;
    size_t best = i, j = i + 1;
    for (; j < items.size() && (items[j] >> 24) == doc; ++j) {
      // Two postings of one document and field: the cursor walk's choice
      // between them depends on the sort's order of equal doc ids.
      if ((items[j] >> 16) == (items[j - 1] >> 16)) return false;
      if (filter != nullptr && rank[(items[j] >> 16) & 0xFF] < rank[(items[best] >> 16) & 0xFF]) best = j;
    }
    if (filter != nullptr) {
      for (size_t k = i; k < j; ++k) {
        if (rank[(items[k] >> 16) & 0xFF] == 255) return false;  // a field the filter does not rank
      }
    }
    const u64 v = items[best];
    EmitRankedHit(doc_union_t::make(static_cast<unsigned int>(v >> 24), static_cast<unsigned char>(v >> 16),
                                    static_cast<unsigned char>(v >> 8), static_cast<unsigned char>(v)),
                  hits);
    i = j;
  }
  return true;
}

// Several terms: the first term's valid postings whose (doc id, field) every
// other term holds, in the order getTerm visits the first term.
bool SeveralTerms(Postings& src, Validity& validity, const _DArray* list, _DArray* hits) {
  std::vector<u64> placed;
  std::vector<Term> terms = TermsOf(src, list);
  Confirmed(src, validity, terms, placed);
  VisitPlaced(src, terms[0], placed, false,
              [hits](const _idx2_unit_t* rec, int) { EmitRankedHit(PostingOf(rec), hits); });
  return true;
}

}  // namespace

void EmitRankedHit(doc_union_t posting, _DArray* hits) { darray_append(hits, RankedHit(posting)); }

bool EvaluateList(IndexManager* index, DocIdManager* docs, const _DArray* list, int restriction,
                  const _DArray* filter, _DArray* tables, _DArray* hits) {
  if (hits == nullptr || darray_length(list) == 0) return false;
  const unsigned int before = darray_length(hits);
  const bool done = WithPostings(index, docs, restriction, tables, [&](Postings& src, Validity& validity) {
    return darray_length(list) == 1
               ? SingleTerm(src, validity, static_cast<unsigned int>(darray_get_by_index(list, 0)), filter, hits)
               : SeveralTerms(src, validity, list, hits);
  });
  if (!done) hits->count = before;
  return done;
}

}  // namespace mobile_search
