#include "foundation/utf8_util.h"

#include <ctype.h>
#include <stdlib.h>
#include <string.h>

#include "foundation/string_buffer.h"

namespace mobile_search {

namespace {

// The kept punctuation, the same set the token rules keep.
const char kWhite[] = "!\"#$%&'()*+-/:;=?@[]_";
const size_t kWhiteLen = sizeof(kWhite) - 1;  // 21

bool is_ascii_letter(unsigned char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }
bool is_digit(unsigned char c) { return c >= '0' && c <= '9'; }
bool is_trim_space(char c) { return c == ' ' || c == '\r' || c == '\t' || c == '\n'; }
bool is_hex(char c) { return isxdigit((unsigned char)c) != 0; }

// One character forward: an ASCII byte is one character, anything else steps
// with ac_utf8_next.
const char* step(const char* p) { return (unsigned char)*p < 0x80 ? p + 1 : ac_utf8_next(p); }

// Counts the characters beginning within the first n bytes (and before the
// NUL) whose lead byte satisfies pred.
template <typename Pred>
int count_chars(const char* s, int n, Pred pred) {
  if (s == nullptr || n < 1) return 0;
  int count = 0;
  for (const char* p = s; *p != '\0' && p - s < n; p = step(p)) {
    if (pred((unsigned char)*p)) ++count;
  }
  return count;
}

int length_of(const char* s) {
  if (s == nullptr) return 0;
  size_t n = strlen(s);
  return n > 0x7FFFFFFF ? 0x7FFFFFFF : (int)n;
}

}  // namespace

const char* ac_utf8_next(const char* p) {
  if (p == nullptr) return nullptr;
  for (int k = 1; k <= 5; ++k) {
    if (((unsigned char)p[k] & 0xC0) != 0x80) return p + k;
  }
  return p + 6;
}

char* ac_utf8_next(char* p) {
  return const_cast<char*>(ac_utf8_next(static_cast<const char*>(p)));
}

int ac_utf8_len(const char* s, int n) {
  return count_chars(s, n, [](unsigned char) { return true; });
}
int ac_utf8_len(const char* s) { return ac_utf8_len(s, length_of(s)); }

int ac_utf8_cn_word_num(const char* s, int n) {
  return count_chars(s, n, [](unsigned char c) { return c >= 0x80; });
}
int ac_utf8_cn_word_num(const char* s) { return ac_utf8_cn_word_num(s, length_of(s)); }

int ac_utf8_en_word_num(const char* s, int n) { return count_chars(s, n, is_ascii_letter); }
int ac_utf8_en_word_num(const char* s) { return ac_utf8_en_word_num(s, length_of(s)); }

int ac_utf8_numchar_num(const char* s, int n) { return count_chars(s, n, is_digit); }
int ac_utf8_numchar_num(const char* s) { return ac_utf8_numchar_num(s, length_of(s)); }

int ac_utf8_others_num(const char* s, int n) {
  // Digits count here as well as in ac_utf8_numchar_num, on purpose.
  return count_chars(s, n, [](unsigned char c) { return is_digit(c) || ac_is_in_white((char)c); });
}
int ac_utf8_others_num(const char* s) { return ac_utf8_others_num(s, length_of(s)); }

int ac_utf8_word_bytes(const char* s, int chars) {
  if (s == nullptr || chars < 1) return 0;
  const char* p = s;
  for (int i = 0; i < chars && *p != '\0'; ++i) p = step(p);
  return (int)(p - s);
}

bool ac_is_in_white(char c) { return c != '\0' && memchr(kWhite, c, kWhiteLen) != nullptr; }

int ac_str_splict(char* s, int len, char sep, _DArray* out) {
  if (s == nullptr || out == nullptr || len < 1) return 0;
  int pieces = 0;
  char* start = s;
  int i = 0;
  while (i < len && s[i] != '\0') {
    if (s[i] != sep) {
      ++i;
      continue;
    }
    s[i] = '\0';
    darray_append(out, static_cast<const void*>(start));
    ++pieces;
    ++i;
    while (i < len && s[i] == sep) ++i;  // a run of separators ends one piece
    start = s + i;
  }
  if (start < s + i && *start != '\0') {
    darray_append(out, static_cast<const void*>(start));
    ++pieces;
  }
  return pieces;
}

int ac_str_splict(const char* s, int len, char sep, _DArray* out) {
  if (s == nullptr || out == nullptr || len < 1) return 0;
  int pieces = 0;
  int i = 0;
  while (i < len && s[i] != '\0') {
    int begin = i;
    while (i < len && s[i] != '\0' && s[i] != sep) ++i;
    if (i > begin) {
      _str_buffer_t* piece = str_buffer_create(s + begin, i - begin);
      if (piece != nullptr) {
        if (darray_append(out, static_cast<const void*>(piece)) == RET_OK) {
          ++pieces;
        } else {
          str_buffer_free(piece);
        }
      }
    }
    while (i < len && s[i] == sep) ++i;
  }
  return pieces;
}

int ac_strlcpy(char* dst, const char* src, int size) {
  if (dst == nullptr || src == nullptr) return -1;
  if (size < 1) return 0;
  size_t n = strlen(src);
  if (n < (size_t)size) {
    memcpy(dst, src, n + 1);
    return (int)n;
  }
  memcpy(dst, src, (size_t)size - 1);
  dst[size - 1] = '\0';
  // One less than the bytes copied: the historical result of a cut copy.
  return size - 2;
}

char* ac_decode_url(char* s) {
  if (s == nullptr) return nullptr;
  char* w = s;
  for (const char* r = s; *r != '\0';) {
    if (*r == '+') {
      *w++ = ' ';
      ++r;
    } else if (*r == '%' && is_hex(r[1]) && is_hex(r[2])) {
      char hex[3];
      ac_strlcpy(hex, r + 1, sizeof(hex));
      *w++ = (char)strtoul(hex, nullptr, 16);
      r += 3;
    } else {
      *w++ = *r++;
    }
  }
  *w = '\0';
  return s;
}

char* ac_gbk_toupper(char* s) {
  if (s == nullptr) return nullptr;
  for (char* p = s; *p != '\0';) {
    unsigned char c = (unsigned char)*p;
    if (c >= 0x80) {
      p += p[1] != '\0' ? 2 : 1;  // a two-byte GBK character, or a lone last byte
    } else {
      if (c >= 'a' && c <= 'z') *p = (char)(c - 'a' + 'A');
      ++p;
    }
  }
  return s;
}

char* ac_str_left_trim(char* s) {
  if (s == nullptr) return nullptr;
  size_t k = 0;
  while (is_trim_space(s[k])) ++k;
  if (k > 0) memmove(s, s + k, strlen(s + k) + 1);
  return s;
}

char* ac_str_right_trim(char* s) {
  if (s == nullptr) return nullptr;
  size_t n = strlen(s);
  while (n > 0 && is_trim_space(s[n - 1])) s[--n] = '\0';
  return s;
}

char* ac_str_trim(char* s) { return ac_str_left_trim(ac_str_right_trim(s)); }

const char* ac_strstrn(const char* hay, const char* needle, int n) {
  if (hay == nullptr || needle == nullptr || hay[0] == '\0' || needle[0] == '\0' || n < 1) {
    return nullptr;
  }
  size_t hay_len = strlen(hay);
  if ((size_t)n > hay_len) return nullptr;
  size_t m = strlen(needle);
  if ((size_t)n < m) m = (size_t)n;
  for (size_t i = 0; i + m <= hay_len; ++i) {
    if (hay[i] == needle[0] && memcmp(hay + i, needle, m) == 0) return hay + i;
  }
  return nullptr;
}

}  // namespace mobile_search
