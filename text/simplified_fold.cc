#include "text/simplified_fold.h"

#include <stdlib.h>
#include <string.h>

#include "text/token_rules.h"

namespace mobile_search {

namespace {

const unsigned int kFullWidthFirst = 0xFF01;
const unsigned int kFullWidthLast = 0xFF5E;
const unsigned int kFullWidthShift = 0xFF01 - 0x21;
const unsigned int kIdeographicSpace = 0x3000;

}  // namespace

unsigned int fold_code_point(unsigned int cp) {
  if (cp >= kFullWidthFirst && cp <= kFullWidthLast) return cp - kFullWidthShift;
  if (cp == kIdeographicSpace) return ' ';
  int lo = 0;
  int hi = kSimplifiedFoldRows - 1;
  while (lo <= hi) {
    const int mid = lo + (hi - lo) / 2;
    if (kSimplifiedFold[mid][0] == cp) return kSimplifiedFold[mid][1];
    if (kSimplifiedFold[mid][0] < cp) {
      lo = mid + 1;
    } else {
      hi = mid - 1;
    }
  }
  return cp;
}

char* fold_simplified(const char* text, int** origin) {
  if (origin != nullptr) *origin = nullptr;
  if (text == nullptr) return nullptr;
  const size_t len = strlen(text);
  // A character grows by at most one byte (three to four), and only
  // characters of three or more bytes fold to anything longer.
  const size_t room = len + len / 3 + 1;
  char* out = static_cast<char*>(malloc(room));
  int* from = origin != nullptr ? static_cast<int*>(malloc(room * sizeof(int))) : nullptr;
  if (out == nullptr || (origin != nullptr && from == nullptr)) {
    free(out);
    free(from);
    return nullptr;
  }
  size_t n = 0;
  for (size_t i = 0; i < len;) {
    unsigned long long cp = 0;
    const int k = TokenRules::decodeUtf8(text + i, &cp);
    char folded[8];
    int m = 0;
    if (k > 1) {
      const unsigned int f = fold_code_point(static_cast<unsigned int>(cp));
      if (f != cp) m = TokenRules::unicodeToUtf8(f, folded, sizeof(folded));
    }
    const int step = k > 0 ? k : 1;  // a malformed byte is copied alone
    if (m == 0) {
      memcpy(folded, text + i, static_cast<size_t>(step));
      m = step;
    }
    for (int b = 0; b < m; ++b) {
      if (from != nullptr) from[n] = static_cast<int>(i);
      out[n++] = folded[b];
    }
    i += static_cast<size_t>(step);
  }
  out[n] = 0;
  if (from != nullptr) {
    from[n] = static_cast<int>(len);
    *origin = from;
  }
  return out;
}

}  // namespace mobile_search
