// ShortWordTokenizer: tokens of short name-like fields (fields with the pinyin
// flag), so that a name is found by any short piece of it, by its full pinyin,
// by a pinyin prefix or by its initials.
//
// The text is split by TokenRules::worldSplit. Each Han run gives its
// substrings of up to 4 characters within the first 10
// (BaseTokenizer::wordInputTokenizer) and then its pinyin tokens; other
// scripts give their substrings only; Latin words, digit runs and kept
// punctuation their prefixes of up to 20 characters.
//
// Pinyin tokens of a Han run (the first 10 characters that have a reading,
// one reading each, from hz2py), all with bit 4 and upper-cased:
//   - initials: the substrings of up to 5 letters of the initials string
//     (terms from its first letter get bit 2 when isFirst, bit 1 when they
//     span it; count = letters);
//   - full spellings: from each syllable s, the prefixes of the spelling of
//     syllables s .. s+4 (never past the 10th), L = 1 only for a one-letter
//     syllable. Count = syllables begun before the current one + 1 (0 for the
//     one-letter case). A prefix ending on a syllable boundary gets bit 8,
//     and from syllable 0 also bit 16; from syllable 0, bit 2 when isFirst and
//     bit 1 for the longest prefix.
//
//   input "张三", isFirst       terms (count, bits)
//   substrings                 张 (1, 8|16), 张三 (2, 8|16|1), 三 (1, 8)
//   initials                   Z (1, 4|2), ZS (2, 4|2|1), S (1, 4)
//   from ZHANG                 ZH ZHA ZHAN (1, 4|2), ZHANG (1, 4|8|16|2),
//                              ZHANGS ZHANGSA (2, 4|2),
//                              ZHANGSAN (2, 4|8|16|2|1)
//   from SAN                   SA (1, 4), SAN (1, 4|8)
//
//   input "かな" (kana)         substrings only; no pinyin tokens
//
// No state beyond the TokenRules* it does not own; safe to share between
// threads. Results as in BaseTokenizer: tokens appended, 0 for null or empty
// input, -1 when a list cannot be created or grow.
#ifndef KS_TEXT_SHORT_WORD_TOKENIZER_H_
#define KS_TEXT_SHORT_WORD_TOKENIZER_H_

#include "text/base_tokenizer.h"

namespace mobile_search {

class ShortWordTokenizer : public BaseTokenizer {
 public:
  explicit ShortWordTokenizer(TokenRules* rules) : BaseTokenizer(rules) {}
  ~ShortWordTokenizer() override = default;

  using BaseTokenizer::wordTokenizer;
  int wordTokenizer(const char* text, _DArray* out, const TextOptions& options) override;

  using BaseTokenizer::wordInputTokenizer;
  // The initials tokenizer: substrings of up to 5 letters from each of the
  // first 10 starts, bit 4 instead of 8, bit 2 instead of 16.
  virtual int wordInputTokenizer(const _str_buffer_t* word, bool isFirst, _DArray* out);

  // Pinyin and initials tokens of one Han run.
  int wordPinYinTokenizer(const _str_buffer_t* word, bool isFirst, _DArray* out);
  // Full-spelling tokens starting at syllable s of `readings` (a list of
  // _str_buffer_t* syllables) within `full`, their concatenation. -1 for a
  // missing list or s > 10, 0 when s is past the last syllable.
  int pinyinCovertAndTokenizer(const _DArray* readings, int s, _DArray* out,
                               const _str_buffer_t* full, bool isFirst);
  int pinyinCovertAndTokenizerUtil(const char* str, int limit, const _DArray* readings,
                                   _DArray* out, int s, bool isFirst);
  // Total length of syllables [from, to) of readings.
  static int indexPinyinLen(const _DArray* readings, int from, int to);
  // Steps the per-character reading cursors to the next combination (the last
  // cursor fastest, each walking down from count - 1); false when all are done.
  static bool mathPinyinPosition(int* cursor, const int* count, int n);
  // Resets the cursors after position i to count - 1.
  static void restPinyinPostion(int* cursor, const int* count, int i, int n);
};

}  // namespace mobile_search

#endif  // KS_TEXT_SHORT_WORD_TOKENIZER_H_
