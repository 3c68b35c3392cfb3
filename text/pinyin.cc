#include "text/pinyin.h"

#include <stdlib.h>
#include <string.h>

#include "text/pinyin_tables.h"

namespace mobile_search {
const char kPinyinInitials[3][3] = {"zh", "ch", "sh"};
}  // namespace mobile_search

namespace {

const int kUtf8CheckedBytes = 20;
const int kWorkBuffer = 30;       // holds one table entry
const int kHz2pyBuffer = 70;

// Number of continuation bytes a lead byte announces, or -1 for a byte that
// cannot start a sequence.
int followingBytes(unsigned char c) {
  if ((c & 0xE0) == 0xC0) return 1;
  if ((c & 0xF0) == 0xE0) return 2;
  if ((c & 0xF8) == 0xF0) return 3;
  if ((c & 0xFC) == 0xF8) return 4;
  if ((c & 0xFE) == 0xFC) return 5;
  return -1;
}

bool isWhite(char c) { return c == ' ' || c == '\r' || c == '\t' || c == '\n'; }

// z|c for zhong|chong: the first letter and every letter after a '|'.
void keepInitials(char* s) {
  char* w = s;
  for (const char* r = s; *r != 0; ++r) {
    if (r == s || *r == '|' || r[-1] == '|') *w++ = *r;
  }
  *w = 0;
}

// Appends the readings of one Han character at out + o; returns the new o.
int appendReadings(unsigned int code, char* out, int o, int initialsOnly, int allReadings,
                   int addSpace) {
  if (addSpace == 1 && o > 0 && !isWhite(out[o - 1])) out[o++] = ' ';
  char work[kWorkBuffer] = {0};
  strncpy(work, _pinyin_table_[code - kPinyinFirstCode], kWorkBuffer - 1);
  if (initialsOnly == 1) keepInitials(work);
  if (allReadings == 0) {
    char* bar = strchr(work, '|');
    if (bar != nullptr) *bar = 0;
  }
  const int n = static_cast<int>(strlen(work));
  memcpy(out + o, work, n);
  o += n;
  if (addSpace != 0) out[o++] = ' ';
  return o;
}

}  // namespace

bool is_utf8_string(const char* s) {
  if (s == nullptr) return false;
  const unsigned char* u = reinterpret_cast<const unsigned char*>(s);
  const int n = static_cast<int>(strnlen(s, kUtf8CheckedBytes));
  for (int i = 0; i < n;) {
    if (u[i] < 0x80) {
      ++i;
      continue;
    }
    const int follow = followingBytes(u[i]);
    if (follow < 0) return false;
    // A sequence cut by the examined length is accepted.
    for (int j = 1; j <= follow && i + j < n; ++j) {
      if ((u[i + j] & 0xC0) != 0x80) return false;
    }
    i += follow + 1;
  }
  return true;
}

void utf8_to_pinyin(const char* in, char* out, int initialsOnly, int allReadings, int addSpace,
                    int fullWidthToAscii, char* rest) {
  if (in == nullptr || out == nullptr) return;
  const unsigned char* u = reinterpret_cast<const unsigned char*>(in);
  int o = static_cast<int>(strlen(out));
  for (int i = 0; u[i] != 0;) {
    const unsigned char c = u[i];
    if (c < 0x80) {
      out[o++] = static_cast<char>(c);
      ++i;
      continue;
    }
    if ((c & 0xF0) != 0xE0) {
      if (rest != nullptr) {
        rest[0] = static_cast<char>(c);
      } else {
        out[o++] = static_cast<char>(c);
      }
      return;
    }
    if (u[i + 1] == 0 || u[i + 2] == 0) {
      // The text ends inside the character. The bytes all land on rest[0]
      // (the pointer is not advanced), so rest[0] ends with the last one.
      for (int j = i; rest != nullptr && u[j] != 0; ++j) rest[0] = static_cast<char>(u[j]);
      return;
    }
    const unsigned int code = ((c & 0x0Fu) << 12) | ((u[i + 1] & 0x3Fu) << 6) | (u[i + 2] & 0x3Fu);
    if (code >= kPinyinFirstCode && code <= kPinyinLastCode) {
      o = appendReadings(code, out, o, initialsOnly, allReadings, addSpace);
    } else if (fullWidthToAscii && code >= 0xFF01 && code <= 0xFF5E) {
      out[o++] = static_cast<char>((code + 0x20) & 0xFF);
    } else if (fullWidthToAscii && code == 0x3000) {
      out[o++] = ' ';
    } else {
      memcpy(out + o, in + i, 3);
      o += 3;
    }
    i += 3;
  }
}

namespace mobile_search {

void pinyin_free(void* s) { free(s); }

void pinyin_t_free(pinyin_t* p) {
  if (p == nullptr) return;
  darray_destroy(p->list);
  free(p);
}

namespace {

// Each character has at most one row, so a binary search by character finds
// the same row a scan from the start would.
const char* commonReading(const char* hz) {
  int low = 0;
  int high = kCommonHanziCount - 1;
  while (low <= high) {
    const int mid = low + (high - low) / 2;
    const unsigned char* row = kCommonHanziTable[kCommonHanziByCode[mid]];
    const int c = memcmp(row, hz, 3);
    if (c == 0) return reinterpret_cast<const char*>(row + 8);
    if (c < 0) {
      low = mid + 1;
    } else {
      high = mid - 1;
    }
  }
  return nullptr;
}

// The first reading in the converter's output: the letters after the last
// space, up to '|' or the end. Null when something other than a lower-case
// letter comes first (the character had no pinyin).
char* firstReading(const char* hz) {
  char one[4] = {hz[0], hz[1], hz[2], 0};
  char buffer[kHz2pyBuffer] = {0};
  utf8_to_pinyin(one, buffer, 0, 1, 0, 0, nullptr);
  const char* p = buffer;
  for (const char* space = strchr(p, ' '); space != nullptr; space = strchr(p, ' ')) {
    p = space + 1;
  }
  size_t n = 0;
  while (p[n] >= 'a' && p[n] <= 'z') ++n;
  if (n == 0 || (p[n] != 0 && p[n] != '|')) return nullptr;
  char* s = static_cast<char*>(malloc(n + 1));
  if (s == nullptr) return nullptr;
  memcpy(s, p, n);
  s[n] = 0;
  return s;
}

char* readingOf(const char* hz) {
  const char* common = commonReading(hz);
  if (common == nullptr) return firstReading(hz);
  char* s = static_cast<char*>(calloc(7, 1));
  if (s != nullptr) strncpy(s, common, 6);
  return s;
}

}  // namespace

pinyin_t* hz2py(const char* hz, int len) {
  if (hz == nullptr || *hz == 0 || len != 3 || hz[1] == 0 || hz[2] == 0) return nullptr;
  pinyin_t* result = static_cast<pinyin_t*>(calloc(1, sizeof(pinyin_t)));
  if (result == nullptr) return nullptr;
  result->list = darray_create(pinyin_free, true);
  char* reading = result->list != nullptr ? readingOf(hz) : nullptr;
  if (reading != nullptr && darray_append(result->list, reading) == RET_OK) {
    result->count = 1;
  } else {
    free(reading);
  }
  if (result->count == 0) {
    pinyin_t_free(result);
    return nullptr;
  }
  return result;
}

char* hz2pyConvertSingle(const char* hz, int len) {
  pinyin_t* p = hz2py(hz, len);
  if (p == nullptr) return nullptr;
  char* first = slot_as<char>(darray_get_by_index(p->list, 0));
  pointer_destory(p->list);
  free(p);
  return first;
}

bool py2hzSingleCheck(const char* s, int n) {
  if (s == nullptr || *s == 0 || n < 1) return false;
  // Binary search by the first letter only, then a scan of that letter's rows
  // forward and backward from the row found.
  int low = 0;
  int high = kPinyinSyllableCount - 1;
  int mid = -1;
  while (low <= high) {
    const int m = (low + high) / 2;
    if (kPinyinSyllables[m][0] == s[0]) {
      mid = m;
      break;
    }
    if (kPinyinSyllables[m][0] < s[0]) {
      low = m + 1;
    } else {
      high = m - 1;
    }
  }
  if (mid < 0) return false;
  for (int i = mid; i < kPinyinSyllableCount && kPinyinSyllables[i][0] == s[0]; ++i) {
    if (strncmp(s, kPinyinSyllables[i], n) == 0) return true;
  }
  for (int i = mid - 1; i >= 0 && kPinyinSyllables[i][0] == s[0]; --i) {
    if (strncmp(s, kPinyinSyllables[i], n) == 0) return true;
  }
  return false;
}

int py2hzSubCheck(const char* s, int len) {
  if (s == nullptr || *s == 0 || len < 2) return -1;
  for (int l = len; l >= 3; --l) {
    if (l < 7 && py2hzSingleCheck(s, l)) return l;
  }
  if (len != 2) return -1;
  for (const char* initial : kPinyinInitials) {
    if (s[0] == initial[0] && s[1] == initial[1]) return 2;
  }
  return -1;
}

void utf8wpySingle(char* in, char* out, bool allReadings) {
  if (is_utf8_string(in)) utf8_to_pinyin(in, out, 0, allReadings ? 1 : 0, 0, 0, nullptr);
}

}  // namespace mobile_search
