// Han-to-pinyin conversion and pinyin syllable checks.
//
// Three read-only tables (text/pinyin_tables.h) carry the language data: the
// readings of every character U+4E00..U+9FA5 (most common first), the usual
// reading of each common character, and the toneless Mandarin syllables. The
// functions keep no state and take no lock: safe from any thread.
//
// Users: the short-word tokenizer indexes names by their pinyin (hz2py); the
// highlighter finds which characters a pinyin or initials query matched
// (utf8_to_pinyin, hz2py, the syllable checks); the host bridge converts one
// character for the host (hz2pyConvertSingle).
//
// Ownership: hz2py returns a new pinyin_t that the caller frees with
// pinyin_t_free; hz2pyConvertSingle returns a malloc'ed string that the caller
// frees with free(). Failures are null / false / -1 results; nothing is
// logged.
//
// Examples (utf8_to_pinyin with the flags initialsOnly, allReadings,
// addSpace, fullWidthToAscii):
//   中国, 0 0 0 0   -> "zhongguo"
//   中国, 0 0 1 0   -> "zhong guo "
//   中国, 1 0 0 0   -> "zg"
//   重,   1 1 0 0   -> "z|c"
//   Ａ１, 0 0 0 1   -> "A1"
#ifndef KS_TEXT_PINYIN_H_
#define KS_TEXT_PINYIN_H_

#include "foundation/dynamic_array.h"

// True when the first min(strlen(s), 20) bytes are structurally well-formed
// UTF-8 (a sequence cut by the 20-byte limit is accepted). An empty string is
// true; a null one false.
bool is_utf8_string(const char* s);

// Writes the pinyin form of `in` into `out`, which the caller zero-fills and
// makes large enough (up to 31 bytes per input character; no terminator is
// written):
//   - ASCII bytes are copied;
//   - a lead byte that does not start a three-byte character ends the
//     conversion and is written to rest[0] (to out when rest is null);
//   - a three-byte character cut by the end of the text ends the conversion
//     (its remaining bytes are all written onto rest[0], when given);
//   - a three-byte character outside U+4E00..U+9FA5 is copied, or with
//     fullWidthToAscii U+FF01..U+FF5E becomes its ASCII form and U+3000 a
//     space;
//   - a Han character becomes its readings joined by '|' (only the first one
//     unless allReadings; only initial letters with initialsOnly == 1); with
//     addSpace it is followed by a space, and with addSpace == 1 also preceded
//     by one unless out is empty or already ends in white space.
void utf8_to_pinyin(const char* in, char* out, int initialsOnly, int allReadings, int addSpace,
                    int fullWidthToAscii, char* rest);

namespace mobile_search {

// The readings found by hz2py: `list` holds malloc'ed C strings and frees
// them when destroyed (pinyin_free); `count` is the number of strings.
struct pinyin_t {
  _DArray* list;
  unsigned short count;
};

// Release callback of pinyin_t::list: free()s one string.
void pinyin_free(void* s);
// Destroys the list (freeing its strings) and the record. Null is ignored.
void pinyin_t_free(pinyin_t* p);

// The reading of one Han character of exactly 3 UTF-8 bytes (len must be 3):
// the common-character table's reading, else the first reading of the pinyin
// table. Null for another len, a null / empty string, or a character without
// pinyin.
pinyin_t* hz2py(const char* hz, int len);

// hz2py's first string, now owned by the caller (free()), or null.
char* hz2pyConvertSingle(const char* hz, int len);

// True when the first n bytes of s equal the first n bytes of a syllable
// (strncmp, so a syllable shorter than n matches only where s ends too).
// False for a null / empty s or n < 1.
bool py2hzSingleCheck(const char* s, int n);

// Length (3..6) of the longest leading piece of s, at most len bytes, that
// py2hzSingleCheck accepts; 2 when s is exactly one of the initials "zh",
// "ch", "sh" (len 2); else -1. Deliberately, a text of three or more letters
// whose leading piece is only two letters long ("an", "wo") gives -1.
int py2hzSubCheck(const char* s, int len);

// Full spellings of `in` without separators or width folding, all readings
// when allReadings; `out` is left untouched when `in` is not UTF-8
// (is_utf8_string). Same buffer rules as utf8_to_pinyin.
void utf8wpySingle(char* in, char* out, bool allReadings);

}  // namespace mobile_search

#endif  // KS_TEXT_PINYIN_H_
