// FullSpellingWalk: the count and match bits of each prefix of a run's full
// spelling from syllable s on, as the short-word tokenizer indexes them (its
// table is in text/short_word_tokenizer.h). The tokenizer and the name
// spellings of the name options both walk prefixes through it, so a name
// term under another reading weighs what the plain one weighs.
//
//   ZHANG SAN from s = 0, isFirst:  ZH..ZHAN (1, 4|2), ZHANG (1, 4|8|16|2),
//   ZHANGS ZHANGSA (2, 4|2), ZHANGSAN (2, 4|8|16|2|1)
//
// A plain value on the stack; no failure.
#ifndef KS_TEXT_FULL_SPELLING_WALK_H_
#define KS_TEXT_FULL_SPELLING_WALK_H_

#include "text/token_rules.h"

namespace mobile_search {

class FullSpellingWalk {
 public:
  // lens: the syllable lengths of the run (n of them); maxLen: the letters
  // walked from syllable s.
  FullSpellingWalk(const int* lens, int n, int s, int maxLen, bool isFirst)
      : lens_(lens), n_(n), s_(s), maxLen_(maxLen), isFirst_(isFirst),
        boundary_(lens[s]), next_(s + 1), covered_(0) {}

  // Whether the prefix of l letters is a term: one letter only for a
  // one-letter syllable.
  bool indexed(int l) const { return l != 1 || lens_[s_] == 1; }

  // Count and bits of the prefix of l letters; call for every indexed l in
  // increasing order. A one-letter syllable alone covers "0" characters: kept
  // as the index has always stored it.
  void step(int l, unsigned char* count, unsigned char* bits) {
    *count = static_cast<unsigned char>(l == 1 ? 0 : covered_ + 1);
    const bool atEnd = l == maxLen_;
    unsigned char b = kMatchPinYin;
    if (s_ == 0) {
      if (isFirst_) b |= kMatchFirst;
      if (atEnd) b |= kMatchAll;
      if (l == boundary_) b |= kMatchFirstAndAccurate;
    }
    if (l == boundary_) {
      b |= kMatchAccurate;
      if (!atEnd) {
        ++covered_;
        if (next_ < n_) boundary_ += lens_[next_++];
      }
    }
    *bits = b;
  }

 private:
  const int* lens_;
  int n_;
  int s_;
  int maxLen_;
  bool isFirst_;
  int boundary_;
  int next_;
  int covered_;
};

}  // namespace mobile_search

#endif  // KS_TEXT_FULL_SPELLING_WALK_H_
