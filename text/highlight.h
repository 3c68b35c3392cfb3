// Highlighted abstracts of search hits.
//
// Given the text of a hit and the user's query, finds where the query matches
// the text (literally, case-blind for Latin letters; as the pinyin, leading
// letters or initials of Chinese characters; by the longest common pieces of
// a Chinese query), cuts an abstract of the requested number of characters
// around the longest match and wraps every match in "<red>" and "</red>".
// It works on the two strings alone, independent of any index.
//
//   text 0123456789abcdefghij, query abc, 7 characters
//     -> "...89<red>abc</red>de..."
//   text 我和张三丰说, query zs, 10 characters -> "我和<red>张三</red>丰说"
//   a query that matches nothing -> the text's first characters, "..." when
//     it goes on, and hit = 0
//
// Building blocks: highlight_positions.h (match position lists),
// highlight_abstract.h (cutting), highlight_pinyin.h (Latin and pinyin
// matching). Results are malloc'ed strings that the caller free()s. No state,
// no locks: safe from any thread. Nothing is logged; failures are null / -1.
#ifndef KS_TEXT_HIGHLIGHT_H_
#define KS_TEXT_HIGHLIGHT_H_

#include "foundation/dynamic_array.h"
#include "text/highlight_abstract.h"
#include "text/highlight_pinyin.h"
#include "text/highlight_positions.h"
#include "text/text_options.h"

namespace mobile_search {

// The abstract of at most maxChars characters with its matches tagged; hit is
// 1 when matches were found, 0 when a plain abstract was returned. Null (hit
// 0) when text or query is null or empty or maxChars is below 1.
char* highLight_Abstract(const char* text, const char* query, int maxChars, int& hit);
// The same abstract without the tags.
char* abstract_hlNoTag(const char* text, const char* query, int maxChars);
// Both of the above: the tags are written only when withTags.
char* highLight_abstract_impl(const char* text, const char* query, int maxChars, int& hit,
                              bool withTags);
// The same as `options` say: the query is split like the token parser splits
// it (utf8Full), and with foldSimplified text and query are matched folded
// while the tags mark the original characters of the text:
//   text 愛國, query 爱 -> "<red>愛</red>國"
char* highLight_Abstract(const char* text, const char* query, int maxChars, int& hit,
                         const TextOptions& options);
char* highLight_abstract_impl(const char* text, const char* query, int maxChars, int& hit,
                              bool withTags, const TextOptions& options);

// Literal search: `pieces` holds (pointer, byte length) pairs, two slots per
// piece; a piece ends at its length or its terminator, whichever comes
// first. Every occurrence of each piece of length 1 or more in `lowered` is
// appended to positions, the search resuming behind each match and stopping
// where fewer bytes than the piece's length are left. `text` and `query` are
// not read. 0 when anything was found, else -1 (also for a null lowered,
// pieces or positions).
int highlight_abs(const char* text, const char* lowered, const char* query, _DArray* pieces,
                  _DArray* positions);

}  // namespace mobile_search

#endif  // KS_TEXT_HIGHLIGHT_H_
