// The language tables of the pinyin converter, generated from Unicode's Unihan
// database by tools/gen_pinyin_tables.py into text/pinyin_tables.cc (run the
// script to regenerate; never edit the .cc by hand).
//
//   _pinyin_table_     one entry per code point U+4E00..U+9FA5 (index =
//                      code point - 0x4E00): the character's readings, toneless
//                      lower case, u-umlaut as "v", the most common first,
//                      separated by '|' ("xing|hang|heng"). Never null; "" for
//                      a character without a Mandarin reading; at most 29
//                      bytes, so an entry fits a 30-byte buffer.
//   kCommonHanziTable  common characters with their usual reading, sorted by
//                      pinyin; 16-byte rows:
//                        bytes 0..7   UTF-8 form (3 bytes), zero-padded
//                        bytes 8..15  pinyin (at most 6 letters), zero-padded
//   kCommonHanziByCode the row numbers of kCommonHanziTable in code point
//                      order, for binary search by character.
//   kPinyinSyllables   the toneless Mandarin syllables, zero-padded 7-byte
//                      rows in byte order ("a", "ai", ... "zuo").
//   kPinyinInitials    "zh", "ch", "sh" (written by hand in text/pinyin.cc).
//
// Constant data: safe from any thread.
#ifndef KS_TEXT_PINYIN_TABLES_H_
#define KS_TEXT_PINYIN_TABLES_H_

enum {
  kPinyinFirstCode = 0x4E00,
  kPinyinLastCode = 0x9FA5,
  kPinyinTableSize = kPinyinLastCode - kPinyinFirstCode + 1,  // 20,902
};

// Exported under this name for the host side.
extern const char* const _pinyin_table_[kPinyinTableSize];

namespace mobile_search {

enum { kCommonHanziRow = 16, kPinyinSyllableRow = 7 };

extern const unsigned char kCommonHanziTable[][kCommonHanziRow];
extern const unsigned short kCommonHanziByCode[];
extern const int kCommonHanziCount;

extern const char kPinyinSyllables[][kPinyinSyllableRow];
extern const int kPinyinSyllableCount;

extern const char kPinyinInitials[3][3];

}  // namespace mobile_search

#endif  // KS_TEXT_PINYIN_TABLES_H_
