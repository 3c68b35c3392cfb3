// Helpers shared by the fuzz programs: an invariant check that reports and
// aborts, so that libFuzzer keeps the input as a crash, and small text
// predicates the checks are written with.
#ifndef KS_TESTS_FUZZ_FUZZ_CHECK_H_
#define KS_TESTS_FUZZ_FUZZ_CHECK_H_

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

// Aborts with the condition and a printf-style explanation when cond is false.
#define FUZZ_CHECK(cond, ...)                                            \
  do {                                                                   \
    if (!(cond)) {                                                       \
      std::fprintf(stderr, "%s:%d: invariant failed: %s\n  ", __FILE__, \
                   __LINE__, #cond);                                     \
      std::fprintf(stderr, __VA_ARGS__);                                 \
      std::fputc('\n', stderr);                                          \
      std::abort();                                                      \
    }                                                                    \
  } while (0)

namespace ks_fuzz {

// An input read as one parameter byte, a first text up to a zero byte and a
// second text up to the next zero byte or the end (empty when absent).
struct TwoTexts {
  int param = 0;
  std::string first, second;
};

inline TwoTexts SplitInput(const uint8_t* data, size_t size) {
  TwoTexts in;
  if (size == 0) return in;
  in.param = data[0];
  const char* rest = reinterpret_cast<const char*>(data + 1);
  const size_t len = size - 1;
  in.first.assign(rest, strnlen(rest, len));
  if (in.first.size() < len) {
    const char* second = rest + in.first.size() + 1;
    in.second.assign(second, strnlen(second, len - in.first.size() - 1));
  }
  return in;
}

// Well-formed UTF-8: shortest forms only, at most U+10FFFF. Surrogates pass:
// text from the host's VM (modified UTF-8) writes a supplementary character
// as two three-byte surrogates.
inline bool IsValidUtf8(const std::string& s) {
  const unsigned char* u = reinterpret_cast<const unsigned char*>(s.data());
  const size_t n = s.size();
  for (size_t i = 0; i < n;) {
    const unsigned c = u[i];
    size_t len;
    unsigned cp;
    if (c < 0x80) {
      ++i;
      continue;
    } else if (c >= 0xC2 && c <= 0xDF) {
      len = 2;
      cp = c & 0x1F;
    } else if (c >= 0xE0 && c <= 0xEF) {
      len = 3;
      cp = c & 0x0F;
    } else if (c >= 0xF0 && c <= 0xF4) {
      len = 4;
      cp = c & 0x07;
    } else {
      return false;
    }
    if (i + len > n) return false;
    for (size_t k = 1; k < len; ++k) {
      if ((u[i + k] & 0xC0) != 0x80) return false;
      cp = (cp << 6) | (u[i + k] & 0x3F);
    }
    if ((len == 3 && cp < 0x800) || (len == 4 && (cp < 0x10000 || cp > 0x10FFFF))) return false;
    i += len;
  }
  return true;
}

// Code points of a string already known to be valid UTF-8.
inline size_t CodePoints(const std::string& s) {
  size_t n = 0;
  for (unsigned char c : s) n += (c & 0xC0) != 0x80;
  return n;
}

inline std::string Escaped(const std::string& s) {
  std::string out;
  char hex[8];
  for (unsigned char c : s) {
    if (c >= 0x20 && c < 0x7F && c != '\\') {
      out += static_cast<char>(c);
    } else {
      std::snprintf(hex, sizeof(hex), "\\x%02X", c);
      out += hex;
    }
  }
  return out;
}

}  // namespace ks_fuzz

#endif  // KS_TESTS_FUZZ_FUZZ_CHECK_H_
