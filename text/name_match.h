// Name matching of the highlighter: the characters of a text that a Latin
// query word found as a name term under the name options (surname and
// common readings, mixed syllables, fuzzy spellings).
//
// The text is cut into runs of Han characters, read as the short-word
// tokenizer reads a name field (the first 10 characters with a reading of
// each run; the first run takes surname readings when the text begins with
// it). The word matches a run when it equals one of the run's spellings
// (text/name_spellings.h) under the options, else when one of its fuzzy
// variants does (text/pinyin_fuzzy.h); the characters that spelling covers
// are marked, once per run. So a query that finds a name through the index
// marks the characters the index term stands for (曾小贤 for zengxiaoxian).
// The index keeps at most kMaxExtraNameTerms extra terms per value; the
// highlighter has no such cap, which only long names reach.
//
// Pure function; positions belong to the caller (highlight_positions.h).
#ifndef KS_TEXT_NAME_MATCH_H_
#define KS_TEXT_NAME_MATCH_H_

#include "foundation/dynamic_array.h"
#include "text/text_options.h"

namespace mobile_search {

// Appends the byte ranges of the matched characters; true when any. `word`
// is lower- or upper-case ASCII letters.
bool nameMatchWord(const char* text, const char* word, const TextOptions& options,
                   _DArray* positions);

}  // namespace mobile_search

#endif  // KS_TEXT_NAME_MATCH_H_
