// UTF-8 stepping, character-class counting, splitting, copying, trimming, URL
// decoding and bounded substring search over zero-terminated byte strings.
//
// Character classes (text analysis depends on them exactly):
//   - a character begins at an ASCII byte or a byte of 0x80 or more;
//   - "Chinese" (cn) is every character whose first byte is 0x80 or more,
//     whatever its script;
//   - "English" (en) is a single-byte ASCII letter;
//   - "others" are single-byte digits and the 21 kept punctuation characters
//     of ac_is_in_white (digits count both as numchar and as others).
// Where a function takes n, only characters beginning within the first n
// bytes are considered.
//
// All functions accept null pointers (returning 0 / null / -1 as stated) and
// allocate nothing except the buffers of the copying split.
#ifndef KS_FOUNDATION_UTF8_UTIL_H_
#define KS_FOUNDATION_UTF8_UTIL_H_

#include "foundation/dynamic_array.h"

namespace mobile_search {

// ---- Stepping and counting ----
// Start of the next character: p + k for the smallest k in 1..5 whose byte is
// not a continuation byte, else p + 6. The lead byte is not examined. Null
// gives null.
const char* ac_utf8_next(const char* p);
char* ac_utf8_next(char* p);
// Number of characters (beginning before byte n). 0 for null, empty, n < 1.
int ac_utf8_len(const char* s);
int ac_utf8_len(const char* s, int n);
int ac_utf8_cn_word_num(const char* s, int n);
int ac_utf8_cn_word_num(const char* s);
int ac_utf8_en_word_num(const char* s, int n);
int ac_utf8_en_word_num(const char* s);
int ac_utf8_numchar_num(const char* s, int n);
int ac_utf8_numchar_num(const char* s);
int ac_utf8_others_num(const char* s, int n);
int ac_utf8_others_num(const char* s);
// Bytes taken by the first `chars` characters (fewer if the string ends); 0 for
// chars < 1 or a null string.
int ac_utf8_word_bytes(const char* s, int chars);

// True for one of !"#$%&'()*+-/:;=?@[]_ .
bool ac_is_in_white(char c);

// ---- Splitting ----
// In place: writes a NUL over each separator run and appends a pointer to the
// start of each piece to `out` (a leading separator gives an empty first
// piece). Returns the number of pieces; 0 for len < 1 or null s / out.
// Beware: a `char*` argument selects this form, a `const char*` the copy.
int ac_str_splict(char* s, int len, char sep, _DArray* out);
// Copying: appends a new _str_buffer_t* per non-empty piece (the caller frees
// them). Returns the number appended.
int ac_str_splict(const char* s, int len, char sep, _DArray* out);

// ---- Copying and editing ----
// Copies at most size - 1 bytes and terminates. -1 for a null pointer, 0 for
// size < 1, strlen(src) when it fitted, and one less than the number of bytes
// copied when it was cut (kept for existing callers).
int ac_strlcpy(char* dst, const char* src, int size);
// In place: '+' to space, %XX to its byte; a '%' without two hex digits stays.
// Returns s.
char* ac_decode_url(char* s);
// Upper-cases ASCII bytes, skipping two-byte GBK characters. Returns s.
char* ac_gbk_toupper(char* s);
// Remove space, CR, tab and LF (not VT or FF). The left trim moves the rest to
// the front. Each returns s.
char* ac_str_left_trim(char* s);
char* ac_str_right_trim(char* s);
char* ac_str_trim(char* s);

// ---- Searching ----
// First position in hay where the first min(strlen(needle), n) bytes of
// needle occur; null for null / empty strings, n < 1 or n > strlen(hay).
const char* ac_strstrn(const char* hay, const char* needle, int n);

}  // namespace mobile_search

#endif  // KS_FOUNDATION_UTF8_UTIL_H_
