// BaseTokenizer: the common root of the two tokenizers and their prefix and
// substring tokens.
//
// A tokenizer turns one text into token_unit_t slots (text/token_unit.h)
// appended to a caller's _DArray; sorting, merging and weighting are the token
// parser's. Every term is upper-cased (ASCII letters only) before it is signed,
// so Latin matching is case-blind.
//
// wordInputTokenizer(word, isFirst, out, maxLen) cuts one run of
// TokenRules::worldSplit:
//   - an ASCII word gives its prefixes of 1 .. min(length, maxLen, 20)
//     characters;
//   - a non-ASCII word gives, for each start among its first 10 characters,
//     the substrings of 1 .. maxLen characters that end within the first 10.
// Every term gets bit 8 (accurate) and its character count; terms starting at
// the first character also get bit 16 when isFirst, and bit 1 when they span
// the whole word.
//
//   input            maxLen isFirst  terms (count, bits)
//   "Hello"          20     yes      H (1, 8|16), HE (2, 8|16), HEL, HELL,
//                                    HELLO (5, 8|16|1)
//   "张三"           4      yes      张 (1, 8|16), 张三 (2, 8|16|1), 三 (1, 8)
//   25-letter word   20     no       20 prefixes, the longest of 20 letters
//   12 Han chars     4      no       substrings within the first 10 only
//
// The tokenizers hold a TokenRules* they do not own and no other state:
// one object may serve several threads. Results: the number of tokens
// appended; 0 for a null or empty word or a null out; -1 when out cannot grow.
#ifndef KS_TEXT_BASE_TOKENIZER_H_
#define KS_TEXT_BASE_TOKENIZER_H_

#include "foundation/dynamic_array.h"
#include "foundation/string_buffer.h"
#include "text/text_options.h"
#include "text/token_rules.h"
#include "text/token_unit.h"

namespace mobile_search {

struct WordLists;

class BaseTokenizer {
 public:
  explicit BaseTokenizer(TokenRules* rules) : rules_(rules) {}
  virtual ~BaseTokenizer() = default;
  BaseTokenizer(const BaseTokenizer&) = delete;
  BaseTokenizer& operator=(const BaseTokenizer&) = delete;

  // Appends the tokens of a whole text, analysed as `options` say; 0, or -1
  // when a working list cannot be created or a word fails.
  virtual int wordTokenizer(const char* text, _DArray* out, const TextOptions& options) = 0;
  // The same with no option set.
  int wordTokenizer(const char* text, _DArray* out) {
    return wordTokenizer(text, out, TextOptions());
  }

  int wordInputTokenizer(const _str_buffer_t* word, bool isFirst, _DArray* out, int maxLen);

  // Signs bytes [begin, end), upper-cased when `upper`, and appends the token;
  // false when out cannot grow.
  static bool appendTerm(const char* begin, const char* end, unsigned char count,
                         unsigned char bits, bool upper, _DArray* out);

 protected:
  // wordInputTokenizer over every word of a list; the first word is isFirst
  // when firstClass holds. The total appended, or -1.
  int listInputTokenizer(const _DArray* words, bool firstClass, _DArray* out, int maxLen);
  // The prefixes (up to 20 characters) of every Latin word, digit run and
  // kept-punctuation run of lists, in that order; the first Latin word or
  // digit run is isFirst when `first` is its class. With
  // options.infixDigits, then the digit runs' suffixes (digitSuffixTokenizer).
  // The total appended, or -1.
  int latinInputTokenizer(const WordLists& lists, WordType first, _DArray* out,
                          const TextOptions& options);
  // The suffixes of minDigits up to 20 digits (shorter than the run) of
  // every digit run of 4 or more digits, shortest first, run by run, at most
  // 64 per call (one field value): count = digits, bits 0, so a tail match
  // ranks below any prefix match. The number appended, or -1.
  //   "13812345678", minDigits 4   5678, 45678, 345678, ..., 3812345678
  static int digitSuffixTokenizer(const _DArray* runs, int minDigits, _DArray* out);

  TokenRules* rules_;
};

}  // namespace mobile_search

#endif  // KS_TEXT_BASE_TOKENIZER_H_
