// JsonText: writes the text of a result straight into a StringBuffer's
// storage. A result of tens of thousands of hits is a few megabytes of JSON
// written as many small pieces; appending each through the buffer's
// functions costs a call and a capacity test per piece, and growing by the
// buffer's own steps copies the text again and again. JsonText grows the
// storage by doubling (at least) and copies each piece once.
//
// The buffer stays a valid StringBuffer after every piece (terminated at
// len). When the storage cannot grow, the piece and everything after it is
// dropped, as a failed append drops it. Threads: one thread at a time.
#ifndef KS_SEARCH_JSON_TEXT_H_
#define KS_SEARCH_JSON_TEXT_H_

#include <cstring>

#include "foundation/string_buffer.h"

namespace mobile_search {

class JsonText {
 public:
  explicit JsonText(StringBuffer* out) : out_(out) {}
  JsonText(const JsonText&) = delete;
  JsonText& operator=(const JsonText&) = delete;

  // Room for `n` bytes at the end of the text: a pointer to write them to,
  // then commit() with the end of what was written. Null when the storage
  // cannot grow (write nothing then).
  char* reserve(int n) { return room(n) ? out_->data + out_->len : nullptr; }
  void commit(char* end) {
    out_->len = static_cast<int>(end - out_->data);
    out_->data[out_->len] = '\0';
  }

  void put(char c) { put(&c, 1); }
  void put(const char* s, int n) {
    char* at = n > 0 ? reserve(n) : nullptr;
    if (at == nullptr) return;
    memcpy(at, s, static_cast<size_t>(n));
    commit(at + n);
  }
  void put(const char* s) { put(s, static_cast<int>(strlen(s))); }

  // Longest decimal text of an int, with its sign.
  static constexpr int kIntChars = 11;
  // Writes the decimal text of `value` at `at` (as StringBuffer::append(int)
  // writes it) and returns the end.
  static char* writeInt(char* at, int value) {
    static const char kPairs[] =
        "00010203040506070809101112131415161718192021222324252627282930313233343536373839"
        "40414243444546474849505152535455565758596061626364656667686970717273747576777879"
        "8081828384858687888990919293949596979899";
    unsigned int v = value < 0 ? 0u - static_cast<unsigned int>(value) : static_cast<unsigned int>(value);
    if (value < 0) *at++ = '-';
    const int digits = DigitCount(v);
    char* end = at + digits;
    char* p = end;
    while (v >= 100) {
      const unsigned int pair = (v % 100) * 2;
      v /= 100;
      *--p = kPairs[pair + 1];
      *--p = kPairs[pair];
    }
    if (v >= 10) {
      *--p = kPairs[v * 2 + 1];
      *--p = kPairs[v * 2];
    } else {
      *--p = static_cast<char>('0' + v);
    }
    return end;
  }

 private:
  static int DigitCount(unsigned int v) {
    int n = 1;
    for (unsigned int limit = 10; n < 10 && v >= limit; limit *= 10) ++n;
    return n;
  }

  // Whether `n` more bytes and the NUL fit, growing the storage if needed.
  bool room(int n) {
    if (failed_) return false;
    if (static_cast<long long>(out_->len) + n < out_->size) return true;
    const long long add = static_cast<long long>(n) > out_->size ? n : out_->size;
    if (add > (1LL << 30)) {
      failed_ = true;
      return false;
    }
    out_->expand(static_cast<int>(add));
    failed_ = static_cast<long long>(out_->len) + n >= out_->size;
    return !failed_;
  }

  StringBuffer* out_;
  bool failed_ = false;
};

}  // namespace mobile_search

#endif  // KS_SEARCH_JSON_TEXT_H_
