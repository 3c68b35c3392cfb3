// Growable byte string, NUL-terminated at all times: primary keys, query text,
// JSON output, abstracts.
//
// Invariants of a live buffer: data is never null; data[len] == 0; size is the
// usable capacity counting the terminating NUL, and the storage block holds
// size + 5 zero-filled bytes (a fixed margin beyond size). Capacity only grows.
//
// Two forms of the same buffer:
//   - _str_buffer_t, a heap record driven by the str_buffer_* free functions;
//   - StringBuffer, the same fields embedded by value, members forwarding to
//     str_buffer_* (with the few differences noted on the class).
//
// Two result conventions, both kept: the append family returns 1 for success
// and 0 for a null argument; str_buffer_writeAndCut and str_buffer_cut return 0
// for success and -1 for failure. Creation returns null on failure. If growing
// fails an append returns 0 and leaves the buffer unchanged.
//
// Threads: no locking inside; one thread at a time.
#ifndef KS_FOUNDATION_STRING_BUFFER_H_
#define KS_FOUNDATION_STRING_BUFFER_H_

#include "foundation/dynamic_array.h"

namespace mobile_search {

// Zero-filled bytes every buffer's storage block holds beyond `size`.
constexpr int kStrBufferMargin = 5;

struct _str_buffer_t {
  char* data;  // never null in a live buffer
  int size;    // usable capacity in bytes, counting the NUL
  int len;     // content bytes, excluding the NUL
};

// ---- Life cycle ----
// Capacity n (size n + 1); null for n < 1 or on allocation failure.
_str_buffer_t* str_buffer_create(int n);
// Capacity n holding the n bytes of s (when s is non-null); null for n < 1.
_str_buffer_t* str_buffer_create(const char* s, int n);
// Copy of a C string; a null or empty s gives an empty buffer of capacity 1.
_str_buffer_t* str_buffer_create(const char* s);
// Copy of other's len bytes (embedded NULs included); null for a null other
// and, since it has no bytes to copy, for an empty one.
_str_buffer_t* str_buffer_create(const _str_buffer_t* other);
// Frees data and the header; null is ignored.
void str_buffer_free(_str_buffer_t* buf);
// Same, for use as a _DArray release callback.
void str_buffer_free(void* buf);

// Grows size by add + 1. Ignored for a null buffer or add < 1; on allocation
// failure the buffer is left unchanged.
void str_buffer_expand(_str_buffer_t* buf, int add);

// ---- Appending: 1 on success, 0 for a null argument ----
// n < 1 returns 1 without appending.
int str_buffer_append(_str_buffer_t* buf, const char* s, int n);
int str_buffer_append(_str_buffer_t* buf, const char* s);
int str_buffer_append(_str_buffer_t* buf, char c);
int str_buffer_append(_str_buffer_t* buf, int value);                 // "%d"
int str_buffer_append(_str_buffer_t* buf, unsigned int value);        // "%u"
int str_buffer_append(_str_buffer_t* buf, unsigned long long value);  // "%llu"
int str_buffer_append(_str_buffer_t* buf, const _str_buffer_t* other);

// ---- Comparison: byte-wise first, length second ----
// memcmp over the common prefix (its non-zero result is returned unclamped),
// then -1 / 1 / 0 by length. Null cases: both absent 0; an absent side
// compares as smaller only against a non-empty present one, except that a
// non-empty buffer compared with a null string also gives -1.
int str_buffer_compare(const _str_buffer_t* buf, const char* s, int n);
int str_buffer_compare(const _str_buffer_t* buf, const _str_buffer_t* other);
int str_buffer_compare(const _str_buffer_t* buf, const char* s);

// ---- Editing ----
// Zeroes the content, len = 0; keeps the capacity. Null is ignored.
void str_buffer_reset(_str_buffer_t* buf);
// Strips space, CR, tab and LF at both ends. Null is ignored.
void str_buffer_trim(_str_buffer_t* buf);
// Foreach callback: trims the buffer held in `element`; always RET_OK.
_Ret str_buffer_trim(unsigned long long user, unsigned long long element);
// ASCII-only case changes; multi-byte UTF-8 characters are left as they are.
void str_buffer_toupper(_str_buffer_t* buf);
void str_buffer_tolower(_str_buffer_t* buf);
// len, or 0 for a null buffer.
int str_buffer_len(const _str_buffer_t* buf);
// Writes s at pos and cuts everything after it (len = pos + strlen(s)).
// -1 for a null buf / s or pos > len (or pos < 0, or failed growth); else 0.
int str_buffer_writeAndCut(_str_buffer_t* buf, int pos, const char* s);
// len = n. -1 for a null buffer or n > len (or n < 0); else 0.
int str_buffer_cut(_str_buffer_t* buf, int n);

// The same buffer embedded by value. Differences from the C functions:
//   - StringBuffer(const StringBuffer*) copies other's data only up to its
//     first NUL;
//   - append(const char*, int) and append(const char*) return 0 and append
//     nothing when the string's first byte is NUL.
// Members never test `this`. The destructor frees data and zeroes the fields.
class StringBuffer : public _str_buffer_t {
 public:
  StringBuffer();
  explicit StringBuffer(const char* s);
  explicit StringBuffer(const StringBuffer* other);
  ~StringBuffer();
  StringBuffer(const StringBuffer&) = delete;
  StringBuffer& operator=(const StringBuffer&) = delete;

  bool valid() const { return data != nullptr; }
  const char* toString() const { return data; }
  void expand(int add) { str_buffer_expand(this, add); }
  int append(const char* s, int n);
  int append(const char* s);
  int append(int value) { return str_buffer_append(this, value); }
  int append(unsigned int value) { return str_buffer_append(this, value); }
  int append(unsigned long long value) { return str_buffer_append(this, value); }
  int append(char c) { return str_buffer_append(this, c); }
  int append(const StringBuffer* other) { return str_buffer_append(this, other); }
  int compare(const char* s, int n) const { return str_buffer_compare(this, s, n); }
  int compare(const StringBuffer* other) const { return str_buffer_compare(this, other); }
  int compare(const char* s) const { return str_buffer_compare(this, s); }
  void reset() { str_buffer_reset(this); }
  void trim() { str_buffer_trim(this); }
  void toupper() { str_buffer_toupper(this); }
  void tolower() { str_buffer_tolower(this); }
  int length() const { return len; }
  int writeAndCut(int pos, const char* s) { return str_buffer_writeAndCut(this, pos, s); }
  int cut(int n) { return str_buffer_cut(this, n); }
};

}  // namespace mobile_search

#endif  // KS_FOUNDATION_STRING_BUFFER_H_
