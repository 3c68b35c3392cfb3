// Latin-query matching of the highlighter: finds where a lower-case Latin
// word matches a text literally, or as the pinyin of its Chinese characters
// (full spellings, a syllable's leading letters, initials).
//
// highlight_abs_en tries, in order, each stage only when the previous ones
// marked nothing:
//   1. literal: every occurrence of the word in the lower-cased text;
//   2. pinyin: the best spelling by highlight_pinyins_en (characters in text
//      order, each giving its whole reading, the last possibly only its
//      leading letters); a spelling of the word's start counts, so "zhangsf"
//      marks 张 alone;
//   3. full spellings taken greedily in text order;
//   4. loose only: every character may give its whole reading or any leading
//      part of it down to its initial; the spelling with the fewest separate
//      ranges, then the fewest characters, the earliest on ties, wins, and
//      neighbouring characters are joined into one range. It marks
//      characters only when they spell the entire word.
// Stage 4 is reached only when no reading matches the word's start (over the
// reading's length or the word's, whichever is shorter): initials and cut
// syllables such as "zs", "zsf", "zhsf".
//
//   text 我和张三丰说   zhangsan -> 张三   zs, zsf -> 张三, 张三丰 (loose)
//                      sanfeng  -> 三丰   zhangs  -> 张三   zhangsf -> 张
//
// Cost: the pinyin searches are dynamic programs over (character, word
// offset) that reproduce the exhaustive recursion. They look at no more than
// kHighlightMaxPinyinChars characters of a text and kHighlightMaxPinyinCells
// (character, offset) pairs, so a call is bounded whatever the input: a word
// of w letters is spelled from the first 2^20 / (w + 1) characters, which for
// words of up to 15 letters is every character of a text of up to 65,536
// (192 KB of Chinese). Characters beyond are not marked.
//
// Ownership: a hl_pinyin_list_t refers to, and does not own, its text; it
// owns the readings. Position lists belong to the caller. No state, safe from
// any thread on distinct arguments. Nothing is logged.
#ifndef KS_TEXT_HIGHLIGHT_PINYIN_H_
#define KS_TEXT_HIGHLIGHT_PINYIN_H_

#include "foundation/dynamic_array.h"

namespace mobile_search {

const int kHighlightMaxPinyinChars = 1 << 16;
const int kHighlightMaxPinyinCells = 1 << 20;

// One Chinese character of a text with its reading.
struct hl_pinyin_char_t {
  char* pinyin;  // lower-case reading, never empty in a built list
  int pinyinLen;
  int offset;  // byte offset of the character in the text
  int length;  // byte length of the character
};

// The characters with a reading of a text (up to kHighlightMaxPinyinChars of
// them, in text order), built on first use by hl_pinyin_list_chars.
struct hl_pinyin_list_t {
  const char* text;
  hl_pinyin_char_t* chars;
  int count;
  bool built;
};

// A list for `text` (not yet built). Null for a null text or on allocation
// failure.
hl_pinyin_list_t* hl_pinyin_list_create(const char* text);
void hl_pinyin_list_free(hl_pinyin_list_t* list);
// Builds the list when not yet done; returns the character count (0 when
// nothing could be built).
int hl_pinyin_list_chars(hl_pinyin_list_t* list);

// Score of the best way to spell word[offset..] with the readings of
// list[first..] in order, each character matching the word over
// min(reading length, letters left) letters; a character where the word ends
// inside its reading scores half a letter less. Appends the chosen
// characters' byte ranges to positions, in text order. A character is taken
// when that scores more than 0.1 above leaving it, or between 0 and 0.001
// above with no more characters; otherwise it is left. Characters from the
// first empty reading on take no part.
// Returns 0 (positions unchanged) for a null or empty list, word or
// positions, first outside [0, count) or offset outside the word.
float highlight_pinyins_en(const hl_pinyin_char_t* list, int count, int first, const char* word,
                           int offset, _DArray* positions);

// Appends the ranges where `word` (lower-case ASCII) matches: stages 1 to 3,
// and 4 when loose. `lowered` is the text lower-cased (same byte offsets).
// 0 when something was found, -1 otherwise (also for null or empty
// arguments); positions are unchanged then.
int highlight_abs_en(const char* text, const char* lowered, const char* word, bool loose,
                     _DArray* positions);
// The same with a reusable character list for the text of `lowered`.
int highlight_abs_en_chars(hl_pinyin_list_t* chars, const char* lowered, const char* word,
                           bool loose, _DArray* positions);

}  // namespace mobile_search

#endif  // KS_TEXT_HIGHLIGHT_PINYIN_H_
