#include "foundation/string_buffer.h"

#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "foundation/utf8_util.h"

namespace mobile_search {

namespace {

const int kMargin = kStrBufferMargin;
// Upper bound on a capacity, so that size + margin never overflows an int.
const int kMaxCapacity = INT_MAX - 64;

bool live(const _str_buffer_t* buf) { return buf != nullptr && buf->data != nullptr; }

// Offset of p inside buf's storage, or -1 when p points elsewhere. Lets an
// append or write of the buffer's own bytes survive the reallocation.
long long offset_inside(const _str_buffer_t* buf, const char* p) {
  uintptr_t begin = (uintptr_t)buf->data;
  uintptr_t end = begin + (uintptr_t)buf->size + kMargin;
  uintptr_t q = (uintptr_t)p;
  return (q >= begin && q < end) ? (long long)(q - begin) : -1;
}

// Grows so that `needed` content bytes plus the NUL fit, by `add`; false when
// the growth failed. `s` is re-pointed when it lives inside the buffer.
bool ensure(_str_buffer_t* buf, long long needed, long long add, const char** s) {
  if (needed < buf->size) return true;
  if (add > kMaxCapacity - buf->size) return false;
  long long off = s != nullptr ? offset_inside(buf, *s) : -1;
  str_buffer_expand(buf, (int)add);
  if (off >= 0) *s = buf->data + off;
  return needed < buf->size;
}

// The decimal text of a number, as "%lld" / "%llu" print it; written by hand
// because results serialise one number per hit and field.
int append_number(_str_buffer_t* buf, unsigned long long u, long long i, bool is_signed) {
  if (buf == nullptr) return 0;
  const bool negative = is_signed && i < 0;
  unsigned long long v = is_signed ? (negative ? 0ull - static_cast<unsigned long long>(i)
                                               : static_cast<unsigned long long>(i))
                                   : u;
  char text[24];
  int at = sizeof(text);
  do {
    text[--at] = static_cast<char>('0' + v % 10);
    v /= 10;
  } while (v != 0);
  if (negative) text[--at] = '-';
  return str_buffer_append(buf, text + at, static_cast<int>(sizeof(text)) - at);
}

// A buffer of capacity n holding the `filled` bytes at s, every other byte
// zero. Built with malloc and a copy rather than calloc: tokenizing creates
// such a buffer for every run of characters, and glibc's calloc skips the
// per-thread cache malloc uses (a compiler turns malloc plus a zeroing of
// the whole block back into calloc, hence the copy first).
_str_buffer_t* new_buffer(int n, const char* s, int filled) {
  if (n < 1 || n > kMaxCapacity) return nullptr;
  _str_buffer_t* buf = static_cast<_str_buffer_t*>(malloc(sizeof(_str_buffer_t)));
  if (buf == nullptr) return nullptr;
  const size_t bytes = (size_t)n + 1 + kMargin;
  buf->data = static_cast<char*>(malloc(bytes));
  if (buf->data == nullptr) {
    free(buf);
    return nullptr;
  }
  if (filled > 0) memcpy(buf->data, s, (size_t)filled);
  memset(buf->data + filled, 0, bytes - (size_t)filled);
  buf->size = n + 1;
  buf->len = filled;
  return buf;
}

}  // namespace

_str_buffer_t* str_buffer_create(int n) { return new_buffer(n, nullptr, 0); }

_str_buffer_t* str_buffer_create(const char* s, int n) {
  return new_buffer(n, s, s != nullptr ? n : 0);
}

_str_buffer_t* str_buffer_create(const char* s) {
  if (s == nullptr || s[0] == '\0') return str_buffer_create(1);
  size_t n = strlen(s);
  if (n > (size_t)kMaxCapacity) return nullptr;
  return str_buffer_create(s, (int)n);
}

_str_buffer_t* str_buffer_create(const _str_buffer_t* other) {
  if (!live(other)) return nullptr;
  return str_buffer_create(other->data, other->len);
}

void str_buffer_free(_str_buffer_t* buf) {
  if (buf == nullptr) return;
  free(buf->data);
  free(buf);
}

void str_buffer_free(void* buf) { str_buffer_free(static_cast<_str_buffer_t*>(buf)); }

void str_buffer_expand(_str_buffer_t* buf, int add) {
  if (!live(buf) || add < 1 || add > kMaxCapacity - buf->size) return;
  char* data = static_cast<char*>(calloc((size_t)buf->size + add + 1 + kMargin, 1));
  if (data == nullptr) return;
  memcpy(data, buf->data, (size_t)buf->size);
  free(buf->data);
  buf->data = data;
  buf->size += add + 1;
}

int str_buffer_append(_str_buffer_t* buf, const char* s, int n) {
  if (!live(buf) || s == nullptr) return 0;
  if (n < 1) return 1;
  long long needed = (long long)buf->len + n;
  if (!ensure(buf, needed, needed + 1, &s)) return 0;
  memmove(buf->data + buf->len, s, (size_t)n);
  buf->len += n;
  buf->data[buf->len] = '\0';
  return 1;
}

int str_buffer_append(_str_buffer_t* buf, const char* s) {
  if (!live(buf) || s == nullptr) return 0;
  size_t n = strlen(s);
  if (n > (size_t)kMaxCapacity) return 0;
  return str_buffer_append(buf, s, (int)n);
}

int str_buffer_append(_str_buffer_t* buf, char c) {
  if (!live(buf)) return 0;
  long long needed = (long long)buf->len + 1;
  if (!ensure(buf, needed, needed + 1, nullptr)) return 0;
  buf->data[buf->len++] = c;
  buf->data[buf->len] = '\0';
  return 1;
}

int str_buffer_append(_str_buffer_t* buf, int value) {
  return append_number(buf, 0, value, true);
}

int str_buffer_append(_str_buffer_t* buf, unsigned int value) {
  return append_number(buf, value, 0, false);
}

int str_buffer_append(_str_buffer_t* buf, unsigned long long value) {
  return append_number(buf, value, 0, false);
}

int str_buffer_append(_str_buffer_t* buf, const _str_buffer_t* other) {
  if (!live(buf) || !live(other)) return 0;
  return str_buffer_append(buf, other->data, other->len);
}

int str_buffer_compare(const _str_buffer_t* buf, const char* s, int n) {
  if (n < 0) n = 0;
  if (!live(buf)) return (s != nullptr && s[0] != '\0') ? -1 : 0;
  // A non-empty buffer compares as smaller than an absent string; this
  // asymmetry is relied upon and kept.
  if (s == nullptr) return buf->len != 0 ? -1 : 0;
  int common = buf->len < n ? buf->len : n;
  int r = memcmp(buf->data, s, (size_t)common);
  if (r != 0) return r;
  if (buf->len < n) return -1;
  return buf->len > n ? 1 : 0;
}

int str_buffer_compare(const _str_buffer_t* buf, const _str_buffer_t* other) {
  if (!live(other)) return str_buffer_compare(buf, nullptr, 0);
  if (!live(buf)) return other->len != 0 ? -1 : 0;
  return str_buffer_compare(buf, other->data, other->len);
}

int str_buffer_compare(const _str_buffer_t* buf, const char* s) {
  if (!live(buf) || s == nullptr) return str_buffer_compare(buf, s, 0);
  size_t n = strlen(s);
  return str_buffer_compare(buf, s, n > (size_t)INT_MAX ? INT_MAX : (int)n);
}

void str_buffer_reset(_str_buffer_t* buf) {
  if (!live(buf)) return;
  memset(buf->data, 0, (size_t)buf->len);
  buf->len = 0;
}

void str_buffer_trim(_str_buffer_t* buf) {
  if (!live(buf)) return;
  ac_str_trim(buf->data);
  buf->len = (int)strlen(buf->data);
}

_Ret str_buffer_trim(unsigned long long user, unsigned long long element) {
  (void)user;
  str_buffer_trim(slot_as<_str_buffer_t>(element));
  return RET_OK;
}

static void change_case(_str_buffer_t* buf, char from, char to) {
  if (!live(buf) || buf->len == 0) return;
  char* end = buf->data + buf->len;
  for (char* p = buf->data; p < end;) {
    if ((unsigned char)*p < 0x80) {
      if (*p >= from && *p <= from + 25) *p = (char)(*p - from + to);
      ++p;
    } else {
      p = ac_utf8_next(p);
    }
  }
}

void str_buffer_toupper(_str_buffer_t* buf) { change_case(buf, 'a', 'A'); }

void str_buffer_tolower(_str_buffer_t* buf) { change_case(buf, 'A', 'a'); }

int str_buffer_len(const _str_buffer_t* buf) { return buf == nullptr ? 0 : buf->len; }

int str_buffer_writeAndCut(_str_buffer_t* buf, int pos, const char* s) {
  if (!live(buf) || s == nullptr || pos < 0 || pos > buf->len) return -1;
  size_t n = strlen(s);
  if (n > (size_t)kMaxCapacity) return -1;
  long long needed = (long long)pos + (long long)n;
  if (!ensure(buf, needed, needed + 1, &s)) return -1;
  memmove(buf->data + pos, s, n);
  buf->len = (int)needed;
  buf->data[buf->len] = '\0';
  return 0;
}

int str_buffer_cut(_str_buffer_t* buf, int n) {
  if (!live(buf) || n < 0 || n > buf->len) return -1;
  buf->len = n;
  buf->data[n] = '\0';
  return 0;
}

StringBuffer::StringBuffer() {
  data = static_cast<char*>(calloc(2 + kMargin, 1));
  size = data != nullptr ? 2 : 0;
  len = 0;
}

StringBuffer::StringBuffer(const char* s) : StringBuffer() { append(s); }

StringBuffer::StringBuffer(const StringBuffer* other) : StringBuffer() {
  // Copies up to the first NUL only, unlike str_buffer_create(other).
  if (other != nullptr) append(other->data);
}

StringBuffer::~StringBuffer() {
  free(data);
  data = nullptr;
  size = 0;
  len = 0;
}

int StringBuffer::append(const char* s, int n) {
  if (s == nullptr || s[0] == '\0') return 0;
  return str_buffer_append(this, s, n);
}

int StringBuffer::append(const char* s) {
  if (s == nullptr || s[0] == '\0') return 0;
  return str_buffer_append(this, s);
}

}  // namespace mobile_search
