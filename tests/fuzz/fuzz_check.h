// Helpers shared by the fuzz programs: an invariant check that reports and
// aborts, so that libFuzzer keeps the input as a crash, and small text
// helpers the checks are written with.
#ifndef KS_TESTS_FUZZ_FUZZ_CHECK_H_
#define KS_TESTS_FUZZ_FUZZ_CHECK_H_

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "test_util.h"

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

using ks_test::CodePoints;
using ks_test::IsValidUtf8;

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
