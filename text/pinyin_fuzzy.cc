#include "text/pinyin_fuzzy.h"

#include <stdio.h>
#include <string.h>

#include "text/pinyin.h"
#include "text/pinyin_tables.h"

namespace mobile_search {

namespace {

struct FuzzyRule {
  const char* name;
  unsigned int bit;
  const char* a;
  const char* b;
  bool initial;  // swaps initials, else finals
};

const FuzzyRule kRules[] = {
    {"z-zh", kFuzzyZZh, "z", "zh", true},      {"c-ch", kFuzzyCCh, "c", "ch", true},
    {"s-sh", kFuzzySSh, "s", "sh", true},      {"n-l", kFuzzyNL, "n", "l", true},
    {"l-r", kFuzzyLR, "l", "r", true},         {"f-h", kFuzzyFH, "f", "h", true},
    {"an-ang", kFuzzyAnAng, "an", "ang", false}, {"en-eng", kFuzzyEnEng, "en", "eng", false},
    {"in-ing", kFuzzyInIng, "in", "ing", false},
};
const int kRuleCount = static_cast<int>(sizeof(kRules) / sizeof(kRules[0]));
const int kMaxPiece = 6;
const int kMaxForms = 8;  // a piece and its changed forms

bool isSyllable(const char* s, int n) {
  if (n <= 0 || n >= kPinyinSyllableRow) return false;
  for (int i = 0; i < kPinyinSyllableCount; ++i) {
    if (strncmp(kPinyinSyllables[i], s, static_cast<size_t>(n)) == 0 &&
        kPinyinSyllables[i][n] == '\0') {
      return true;
    }
  }
  return false;
}

bool isSyllablePrefix(const char* s, int n) {
  char piece[kMaxPiece + 2] = {0};
  if (n <= 0 || n > kMaxPiece + 1) return false;
  memcpy(piece, s, static_cast<size_t>(n));
  return py2hzSingleCheck(piece, n);
}

struct Piece {
  char form[kMaxForms][kMaxPiece + 4];
  int forms;  // form[0] is the piece as typed
};

bool hasForm(const Piece& p, const char* f) {
  for (int i = 0; i < p.forms; ++i) {
    if (strcmp(p.form[i], f) == 0) return true;
  }
  return false;
}

void addForm(Piece* p, const char* f, bool whole) {
  const int n = static_cast<int>(strlen(f));
  if (p->forms >= kMaxForms || n > kMaxPiece || hasForm(*p, f)) return;
  if (whole ? !isSyllable(f, n) : !isSyllablePrefix(f, n)) return;
  snprintf(p->form[p->forms++], sizeof(p->form[0]), "%s", f);
}

bool startsWith(const char* s, const char* prefix) {
  return strncmp(s, prefix, strlen(prefix)) == 0;
}

bool endsWith(const char* s, const char* suffix) {
  const size_t n = strlen(s), m = strlen(suffix);
  return n >= m && strcmp(s + n - m, suffix) == 0;
}

// The piece with its initial swapped by rule r, or "" when it does not apply.
void swapInitial(const char* piece, const FuzzyRule& r, char* out, size_t size) {
  out[0] = '\0';
  // The two-letter initial first: "zh" swaps as z-zh, never as an h.
  const bool two = piece[1] == 'h' && (piece[0] == 'z' || piece[0] == 'c' || piece[0] == 's');
  const char* from = nullptr;
  const char* to = nullptr;
  if (startsWith(piece, r.b) && (strlen(r.b) == 2 || !two)) {
    from = r.b;
    to = r.a;
  } else if (startsWith(piece, r.a) && !two) {
    from = r.a;
    to = r.b;
  }
  if (from != nullptr) snprintf(out, size, "%s%s", to, piece + strlen(from));
}

void swapFinal(const char* piece, const FuzzyRule& r, char* out, size_t size) {
  out[0] = '\0';
  const size_t n = strlen(piece);
  if (endsWith(piece, r.b)) {
    snprintf(out, size, "%.*s%s", static_cast<int>(n - strlen(r.b)), piece, r.a);
  } else if (endsWith(piece, r.a)) {
    snprintf(out, size, "%.*s%s", static_cast<int>(n - strlen(r.a)), piece, r.b);
  }
}

// The forms of one piece: initial swaps, final swaps, and both.
void pieceForms(Piece* p, unsigned int rules, bool whole, bool finals) {
  char buf[kMaxPiece + 4];
  for (int k = 0; k < kRuleCount; ++k) {
    if ((rules & kRules[k].bit) == 0 || !kRules[k].initial) continue;
    swapInitial(p->form[0], kRules[k], buf, sizeof(buf));
    if (buf[0] != '\0') addForm(p, buf, whole);
  }
  if (!finals) return;
  const int initials = p->forms;
  for (int k = 0; k < kRuleCount; ++k) {
    if ((rules & kRules[k].bit) == 0 || kRules[k].initial) continue;
    for (int f = 0; f < initials; ++f) {
      char base[kMaxPiece + 4];
      memcpy(base, p->form[f], sizeof(base));
      swapFinal(base, kRules[k], buf, sizeof(buf));
      if (buf[0] != '\0') addForm(p, buf, whole);
    }
  }
}

// Cuts word[0..n) into pieces; false when it is not pinyin.
int cutPieces(const char* w, int n, int* lens, bool* whole) {
  struct Cost {
    int partial, pieces, len;
    bool whole;
  };
  Cost best[kFuzzyMaxWord + 1];
  const Cost none = {1 << 20, 1 << 20, 0, false};
  for (int i = 0; i <= n; ++i) best[i] = none;
  best[n] = {0, 0, 0, false};
  for (int i = n - 1; i >= 0; --i) {
    for (int l = 1; l <= kMaxPiece && i + l <= n; ++l) {
      if (best[i + l].pieces == none.pieces) continue;
      const bool isWhole = isSyllable(w + i, l);
      if (!isWhole && !isSyllablePrefix(w + i, l)) continue;
      const Cost c = {best[i + l].partial + (isWhole ? 0 : 1), best[i + l].pieces + 1, l, isWhole};
      if (c.partial < best[i].partial || (c.partial == best[i].partial && c.pieces <= best[i].pieces)) {
        best[i] = c;
      }
    }
  }
  if (best[0].pieces == none.pieces) return 0;
  int count = 0;
  for (int i = 0; i < n; i += best[i].len) {
    lens[count] = best[i].len;
    whole[count++] = best[i].whole;
  }
  return count;
}

struct Enumerator {
  const Piece* pieces;
  int count;
  char (*out)[kFuzzyWordBytes];
  int max;
  int found;
  const char* word;
  bool upper;
  int choice[kFuzzyMaxWord];

  void emit() {
    char text[kFuzzyWordBytes];
    int len = 0;
    for (int j = 0; j < count; ++j) {
      const char* f = pieces[j].form[choice[j]];
      const int n = static_cast<int>(strlen(f));
      if (len + n >= kFuzzyWordBytes) return;
      for (int i = 0; i < n; ++i) text[len++] = upper ? static_cast<char>(f[i] - 'a' + 'A') : f[i];
    }
    text[len] = '\0';
    if (strcmp(text, word) == 0) return;
    for (int i = 0; i < found; ++i) {
      if (strcmp(out[i], text) == 0) return;
    }
    memcpy(out[found++], text, static_cast<size_t>(len) + 1);
  }

  // Changes `left` more pieces from piece j on.
  void walk(int j, int left) {
    if (found >= max) return;
    if (left == 0) {
      emit();
      return;
    }
    for (int k = j; k <= count - left && found < max; ++k) {
      for (int f = 1; f < pieces[k].forms && found < max; ++f) {
        choice[k] = f;
        walk(k + 1, left - 1);
      }
      choice[k] = 0;
    }
  }
};

}  // namespace

bool parsePinyinFuzzy(const char* text, unsigned int* rules) {
  if (text == nullptr || *text == '\0' || rules == nullptr) return false;
  unsigned int bits = 0;
  for (const char* p = text;;) {
    const char* comma = strchr(p, ',');
    const size_t n = comma == nullptr ? strlen(p) : static_cast<size_t>(comma - p);
    int k = 0;
    while (k < kRuleCount && !(strlen(kRules[k].name) == n && strncmp(kRules[k].name, p, n) == 0)) ++k;
    if (k == kRuleCount || (bits & kRules[k].bit) != 0) return false;
    bits |= kRules[k].bit;
    if (comma == nullptr) break;
    p = comma + 1;
  }
  *rules = bits;
  return true;
}

void formatPinyinFuzzy(unsigned int rules, char* out, size_t size) {
  if (size == 0) return;
  out[0] = '\0';
  size_t used = 0;
  for (int k = 0; k < kRuleCount; ++k) {
    if ((rules & kRules[k].bit) == 0) continue;
    const int n = snprintf(out + used, size - used, "%s%s", used == 0 ? "" : ",", kRules[k].name);
    if (n < 0 || static_cast<size_t>(n) >= size - used) return;
    used += static_cast<size_t>(n);
  }
}

int pinyinFuzzyVariants(const char* word, unsigned int rules, char (*out)[kFuzzyWordBytes],
                        int max) {
  if (word == nullptr || out == nullptr || max <= 0 || rules == 0) return 0;
  const int n = static_cast<int>(strlen(word));
  if (n == 0 || n > kFuzzyMaxWord) return 0;
  char lower[kFuzzyMaxWord + 1];
  const bool upper = word[0] >= 'A' && word[0] <= 'Z';
  for (int i = 0; i < n; ++i) {
    const char c = word[i];
    if (c >= 'A' && c <= 'Z') {
      lower[i] = static_cast<char>(c - 'A' + 'a');
    } else if (c >= 'a' && c <= 'z') {
      lower[i] = c;
    } else {
      return 0;
    }
  }
  lower[n] = '\0';
  int lens[kFuzzyMaxWord];
  bool whole[kFuzzyMaxWord];
  const int count = cutPieces(lower, n, lens, whole);
  if (count == 0) return 0;
  Piece pieces[kFuzzyMaxWord];
  for (int j = 0, at = 0; j < count; at += lens[j++]) {
    snprintf(pieces[j].form[0], sizeof(pieces[j].form[0]), "%.*s", lens[j], lower + at);
    pieces[j].forms = 1;
    pieceForms(&pieces[j], rules, whole[j], whole[j] || j == count - 1);
  }
  Enumerator e = {pieces, count, out, max, 0, word, upper, {0}};
  for (int changed = 1; changed <= count && e.found < max; ++changed) e.walk(0, changed);
  return e.found;
}

}  // namespace mobile_search
