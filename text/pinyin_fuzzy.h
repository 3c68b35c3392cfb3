// Fuzzy pinyin: spellings of a Latin query word with confusable initials
// and finals swapped, as many speakers type them (zangsan for zhangsan,
// lan for nan).
//
// Rules (PinyinFuzzyRule bits; the option text names them, comma separated,
// in any order): z-zh, c-ch, s-sh, n-l, l-r, f-h (initials, both ways) and
// an-ang, en-eng, in-ing (finals, both ways).
//
// The word is cut into syllable pieces: whole syllables, and syllable
// prefixes (an initial, zh/ch/sh, a syllable the user is still typing),
// with as few prefix pieces as possible, then as few pieces as possible.
// A rule applies to a piece's initial, or to the final of a whole syllable
// or of the word's last piece; the result must again be a syllable (or a
// syllable prefix, for a prefix piece). Variants come closest first: every
// one-piece change, then two-piece changes, and so on, at most `max`, never
// the word itself.
//
//   zangsan, z-zh           zhangsan
//   zangsan, z-zh,an-ang    zhangsan, zansan, zangsang, zhansan, ...
//   lan, n-l                nan
//
// Pure functions; no state. Failures: false / 0.
#ifndef KS_TEXT_PINYIN_FUZZY_H_
#define KS_TEXT_PINYIN_FUZZY_H_

#include <stddef.h>

namespace mobile_search {

enum PinyinFuzzyRule : unsigned int {
  kFuzzyZZh = 1u << 0,
  kFuzzyCCh = 1u << 1,
  kFuzzySSh = 1u << 2,
  kFuzzyNL = 1u << 3,
  kFuzzyLR = 1u << 4,
  kFuzzyFH = 1u << 5,
  kFuzzyAnAng = 1u << 6,
  kFuzzyEnEng = 1u << 7,
  kFuzzyInIng = 1u << 8,
};

// Longest word that gets variants, and the room for one variant.
const int kFuzzyMaxWord = 32;
const int kFuzzyWordBytes = 48;
// Variants looked up per query word.
const int kMaxFuzzyVariants = 8;

// "z-zh,an-ang" -> the rule bits; false (rules untouched) for an empty text,
// an unknown rule or a repeated one.
bool parsePinyinFuzzy(const char* text, unsigned int* rules);
// The rules as text in the order of the enumeration ("" for none).
void formatPinyinFuzzy(unsigned int rules, char* out, size_t size);

// Writes up to max variants of `word` (lower- or upper-case ASCII letters;
// the variants keep its case) into out; returns how many. 0 for a word with
// other characters, one longer than kFuzzyMaxWord, or one that is not
// pinyin.
int pinyinFuzzyVariants(const char* word, unsigned int rules, char (*out)[kFuzzyWordBytes],
                        int max);

}  // namespace mobile_search

#endif  // KS_TEXT_PINYIN_FUZZY_H_
