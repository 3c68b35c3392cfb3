// LongWordTokenizer: tokens of ordinary text fields (messages, notes).
//
// The text is split by TokenRules::worldSplit, other scripts sharing the Han
// list. Latin words, digit runs and kept punctuation give their prefixes
// (BaseTokenizer::wordInputTokenizer, maxLen 20; isFirst for the first word
// when the text begins with its class). Each Han or other-script run gives, in
// this order, one token per character, one per adjacent pair and one for the
// whole run (not upper-cased, bit 1):
//
//   input          terms (count, bits)
//   "中华人民"     中 华 人 民 (1, 0); 中华 华人 人民 (2, 0); 中华人民 (4, 1)
//   "中"           中 (1, 0); 中 (1, 1)                     no pair
//   "Hi 中文"      H (1, 8|16), HI (2, 8|16|1); 中 文 (1, 0); 中文 (2, 0);
//                  中文 (2, 1)
//   "a-b"          A (1, 8|16|1), B (1, 8|1), - (1, 8|1)
//
// No state beyond the TokenRules* it does not own; safe to share between
// threads. Results: wordTokenizer 0 or -1 (a list cannot be created or grow);
// the word functions the number of tokens appended, 0 for a null / empty word
// or a null out, -1 when out cannot grow.
#ifndef KS_TEXT_LONG_WORD_TOKENIZER_H_
#define KS_TEXT_LONG_WORD_TOKENIZER_H_

#include "text/base_tokenizer.h"

namespace mobile_search {

class LongWordTokenizer : public BaseTokenizer {
 public:
  explicit LongWordTokenizer(TokenRules* rules) : BaseTokenizer(rules) {}
  ~LongWordTokenizer() override = default;

  using BaseTokenizer::wordTokenizer;
  int wordTokenizer(const char* text, _DArray* out, const TextOptions& options) override;

  // One token per character (count 1, bits 0); single-byte separators skipped.
  int wordSingleTokenizer(const _str_buffer_t* word, bool isFirst, _DArray* out);
  // One token per adjacent pair (count 2, bits 0); none for one character; a
  // separator breaks the pairing.
  int wordDoubleTokenizer(const _str_buffer_t* word, bool isFirst, _DArray* out);
  // The whole run as it is (count = characters, bit 1).
  int wordWholeTokenizer(const _str_buffer_t* word, bool isFirst, _DArray* out);
};

}  // namespace mobile_search

#endif  // KS_TEXT_LONG_WORD_TOKENIZER_H_
