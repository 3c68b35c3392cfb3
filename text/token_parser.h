// TokenParser: field values to postings, query text to term lists.
//
// Indexing: fieldTokenizer tokenizes one field value of one document, merges
// the tokens of each term, weights them and adds one posting per term to the
// group's IndexManager:
//   - single-byte separators become spaces; only the first 1,500 characters
//     are tokenized, but weights are computed against the full length L;
//   - pinyin (name) fields use the ShortWordTokenizer, others the
//     LongWordTokenizer; no-token fields index each space-separated word as it
//     is (case kept, count = byte length, bit 1);
//   - the counts of a term's tokens add up (8 bits) to w, and the posting's
//     weight is TokenRules::mathBaseWeight(w, L), its bits the merger
//     (mergeWeigthExt) of the tokens' bits.
//
//   value (long-text field)   postings (weight, bits)
//   "a b a"                   A (8, 8|16|1), B (4, 8|1)
//   "Hello World" no-token    Hello (9, 1), World (9, 1)
//
// Queries: fillQueryArray gives the terms matched against name fields, and
// fillQueryTokenArray those matched against long-text fields; both are sorted
// by token_cmp, carry only the sign (count and bits 0) and may hold
// duplicates, which the caller removes.
//
//   query       fillQueryArray               fillQueryTokenArray
//   "zhangsan"  ZHANGSAN                     ZHANGSAN
//   "zs"        ZS                           ZS
//   "张三"      张三                          张, 三, 张三
//   5 Han chars 14 substrings of 1..4 chars  5 singles, 4 pairs
//
// Engine options: every entry point also has a form taking TextOptions
// (text/text_options.h); the forms without it analyse with no option set.
//
// Ownership: the parser owns its rules and both tokenizers. It keeps no state
// between calls; the owner serialises use (a GroupSearcher for indexing, the
// Searcher for queries). Failures are -1 results; a failed posting is logged
// on the plain channel and the postings already added for the value stay.
#ifndef KS_TEXT_TOKEN_PARSER_H_
#define KS_TEXT_TOKEN_PARSER_H_

#include "foundation/dynamic_array.h"
#include "text/long_word_tokenizer.h"
#include "text/short_word_tokenizer.h"
#include "text/text_options.h"
#include "text/token_rules.h"
#include "text/token_unit.h"

namespace mobile_search {

class IndexManager;

// 1 selects the short-word (name) tokenizer; any other value, 2 by
// convention, the long-word one.
enum TokenStyle : int {
  TOKEN_STYLE_SHORT = 1,
  TOKEN_STYLE_LONG = 2,
};

class TokenParser {
 public:
  // Values longer than this many characters are cut before tokenizing.
  static const int kMaxFieldChars = 1500;

  TokenParser();
  virtual ~TokenParser();
  TokenParser(const TokenParser&) = delete;
  TokenParser& operator=(const TokenParser&) = delete;

  TokenRules* tokenRules() { return rules_; }

  // The chosen tokenizer's wordTokenizer: 0, or -1.
  int wordTokenizer(const char* text, _DArray* out, TokenStyle style);
  int wordTokenizer(const char* text, _DArray* out, TokenStyle style, const TextOptions& options);

  // Adds the postings of one field value. With autoSave the index's
  // automatic saving is switched off and the new postings are written back
  // with saveRecentTerms at the end (switching it back on is the owner's
  // job). 0; -1 for a null / empty value, a null index, a list that cannot
  // be created, a tokenizer failure or a failed addTerm (logged as
  // "docId:%d field_val:%s failed \n").
  int fieldTokenizer(int docId, int fieldIndex, const char* value, bool pinyin, bool noToken,
                     bool autoSave, IndexManager* index);
  // The same, analysed as `options` say (with foldSimplified the value is
  // folded before anything else; weights still count the value as given).
  int fieldTokenizer(int docId, int fieldIndex, const char* value, bool pinyin, bool noToken,
                     bool autoSave, IndexManager* index, const TextOptions& options);

  // Query terms for name fields: a Han (or other-script) run of up to 4
  // characters is one term, a longer one its substrings of up to 4
  // characters within the first 10; every Latin word, digit run or kept
  // punctuation run one upper-cased term. 0; -1 for a null out or a list that
  // cannot be created or grow.
  int fillQueryArray(const char* query, _DArray* out);
  // Query terms for long-text fields: the single characters and adjacent
  // pairs of each Han run; Latin words etc. as above. 0 or -1 likewise.
  int fillQueryTokenArray(const char* query, _DArray* out);
  // Both as `options` say (the query folded first with foldSimplified).
  int fillQueryArray(const char* query, _DArray* out, const TextOptions& options);
  int fillQueryTokenArray(const char* query, _DArray* out, const TextOptions& options);
  // With options.fuzzy: the alternatives of the name-field terms `exact`
  // (fillQueryArray's list for the same query and options), closest first:
  // each a copy of `exact` in which one Latin word of the query is replaced
  // by one of its fuzzy variants (text/pinyin_fuzzy.h), sorted by sign. Up
  // to `max` new lists are stored into alternatives (the caller destroys
  // them); returns how many, 0 without fuzzy rules or on failure.
  int fillQueryAlternatives(const char* query, const _DArray* exact, _DArray** alternatives,
                            int max, const TextOptions& options);

 private:
  ShortWordTokenizer* short_;
  LongWordTokenizer* long_;
  TokenRules* rules_;
};

}  // namespace mobile_search

#endif  // KS_TEXT_TOKEN_PARSER_H_
