// Hits found through alternative spellings of a query (fuzzy pinyin): they
// rank below every hit of the query as typed.
//
// The query's own list is evaluated first and its hits ranked by weight; an
// alternative list's hits that are new documents are placed after them, in
// the order GroupSearcher appends a later list's hits (its last hit first).
// RankAlternativeHits prepares such a list: it halves each hit's weight
// (at least 1), so that a fuzzy hit also weighs less than the exact hit it
// imitates when results of several groups are merged by weight, and sorts
// the hits by weight, lowest first, so that they are appended highest first.
//
// Runs on a caller's list under the group's shared lock; no state.
#ifndef KS_SEARCH_ALTERNATIVE_HITS_H_
#define KS_SEARCH_ALTERNATIVE_HITS_H_

#include "foundation/dynamic_array.h"

namespace mobile_search {

void RankAlternativeHits(_DArray* hits);

}  // namespace mobile_search

#endif  // KS_SEARCH_ALTERNATIVE_HITS_H_
