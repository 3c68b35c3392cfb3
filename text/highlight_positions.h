// Match position lists of the highlighter.
//
// A position list is a _DArray of 64-bit slots, one per match in a text: the
// high 32 bits hold the start byte offset, the low 32 bits the end byte offset
// (exclusive). A slot whose start equals its end (such as 0, 0) is an erased
// match; every reader skips it.
//
// The caller owns the list (created without a release callback). Functions on
// a null list return -1; nothing is logged. No state, safe from any thread on
// distinct lists.
#ifndef KS_TEXT_HIGHLIGHT_POSITIONS_H_
#define KS_TEXT_HIGHLIGHT_POSITIONS_H_

#include "foundation/dynamic_array.h"

namespace mobile_search {

// Appends the range [start, end). -1 for a null list or a failed append.
int pushPosToArr(_DArray* arr, int start, int end);
// Overwrites slot `index`. -1 for a null list or an index out of range.
int setPosToArr(_DArray* arr, int start, int end, int index);
// Reads slot `index` into start / end (both 0 for an index out of range).
// -1 for a null list.
int getPosFromArr(_DArray* arr, int& start, int& end, int index);
// Orders slots by their start offset (difference of the high words).
int posCompare(unsigned long long a, unsigned long long b);
// pushPosToArr under the name the matchers use; -1 for a null list.
int highlight_abs(int start, int end, _DArray* arr);

// Sorts the list by start and joins overlapping or touching ranges: the
// surviving slots are disjoint and ascending, the absorbed ones erased. Ranges
// are first clipped to the text length `textLen`; those beyond it are erased.
// -1 for a null list.
int mergePositions(_DArray* arr, int textLen);

}  // namespace mobile_search

#endif  // KS_TEXT_HIGHLIGHT_POSITIONS_H_
