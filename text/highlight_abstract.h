// Cutting abstracts: a plain abstract of a text's first characters, and a
// marked abstract built from a list of match positions (highlight_positions.h).
//
// Abstracts are measured in characters (UTF-8 sequences, stepped with
// ac_utf8_next) and always cut on character boundaries. Matches are wrapped in
// kHighlightOpenTag / kHighlightCloseTag; text left out at either end is shown
// as kHighlightEllipsis.
//
// The caller owns the text, the position list (which only_highlight_abs sorts
// and merges in place) and the output buffer, which is appended to. No state,
// safe from any thread on distinct arguments. Nothing is logged.
#ifndef KS_TEXT_HIGHLIGHT_ABSTRACT_H_
#define KS_TEXT_HIGHLIGHT_ABSTRACT_H_

#include "foundation/dynamic_array.h"
#include "foundation/string_buffer.h"

namespace mobile_search {

extern const char kHighlightOpenTag[];   // "<red>"
extern const char kHighlightCloseTag[];  // "</red>"
extern const char kHighlightEllipsis[];  // "..."

// Appends the first n characters of text to out, and "..." when the text goes
// on. -1 for a null text or buffer, else 0.
int abstract(const char* text, int n, _str_buffer_t* out);

// Appends an abstract of at most maxChars characters (plus tags and
// ellipses) around the longest match of `positions`, every match lying wholly
// inside it wrapped in tags when withTags. A text of fewer than maxChars
// characters is copied whole with all its matches marked. -1 when an argument
// is null, maxChars is below 1 or the list holds no match inside the text
// (out is then unchanged), else 0.
int only_highlight_abs(const char* text, _DArray* positions, int maxChars, _str_buffer_t* out,
                       bool withTags);

}  // namespace mobile_search

#endif  // KS_TEXT_HIGHLIGHT_ABSTRACT_H_
