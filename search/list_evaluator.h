// The evaluation of one query list inside one group (the cursors of its
// terms, validity checks and the conjunction), through the postings
// directory instead of whole posting lists, so that its cost follows the
// rarest term and the hits rather than the size of the index.
//
// It appends exactly the hits, in exactly the order, that gathering every
// term with IndexManager::getTerm and index_valify and intersecting them
// with GroupSearcher::doAnd gives:
//   - one term: its valid postings, one hit per document (the posting of the
//     best field), in doc-id order;
//   - several terms: every valid posting of the first term whose (doc id,
//     field) every further term holds, in the order getTerm visits the first
//     term's postings. The rarest term proposes the candidates, the others
//     are probed by (term, doc id) in the files whose doc-id range holds the
//     document, and the first term's surviving postings are put back into
//     its visiting order.
// For a paging window of the hits taken last to first (EvaluateListReversed)
// only the window's documents are ordered; the others are counted, a whole
// run of a frequent term at a time for one term, and file by file, merging
// the terms' runs, for several.
// Where it cannot vouch for that (no usable directory, two postings of one
// document and field in a single-term list, a weight of 0, field ids outside
// 0-254 in the filter) it appends nothing and returns false; the caller then
// runs the plain evaluation.
//
// Threads: reads the stores; run under the group's shared lock.
#ifndef KS_SEARCH_LIST_EVALUATOR_H_
#define KS_SEARCH_LIST_EVALUATOR_H_

#include <utility>
#include <vector>

#include "foundation/dynamic_array.h"
#include "storage/index_term.h"

namespace mobile_search {

class DocIdManager;
class IndexManager;

// Appends a posting as a ranked hit: its weight becomes the sort weight of
// its match bits.
void EmitRankedHit(doc_union_t posting, _DArray* hits);

// The hits of the term list `list` (64-bit query tokens, sign in the low
// half) as described above. `restriction` is the one field looked up (-1:
// all), `filter` the field filter of doAnd (may be null), `tables` the
// table list given to index_valify. False, with nothing appended, when the
// plain evaluation must run.
bool EvaluateList(IndexManager* index, DocIdManager* docs, const _DArray* list, int restriction,
                  const _DArray* filter, _DArray* tables, _DArray* hits);

// What a later query list contributes when the lists before it found
// nothing: its hits taken last to first, one per document (the first met),
// as the merge of a later list does. Only the positions [lo, hi) of that
// order are kept as ranked hits, with the number of documents in all and
// per table id.
struct ReversedWindow {
  long long lo = 0, hi = 0;
  std::vector<unsigned long long> hits;
  unsigned int docs = 0;
  std::vector<std::pair<unsigned int, unsigned int>> tables;  // (table id, documents)
};

// Fills `window` for the term list `list` (arguments as for EvaluateList)
// without building the whole hit list. False, with the window emptied, when
// the caller must evaluate the list and merge its hits itself.
bool EvaluateListReversed(IndexManager* index, DocIdManager* docs, const _DArray* list, int restriction,
                          const _DArray* filter, _DArray* tables, ReversedWindow* window);

}  // namespace mobile_search

#endif  // KS_SEARCH_LIST_EVALUATOR_H_
