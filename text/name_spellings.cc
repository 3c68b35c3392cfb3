#include "text/name_spellings.h"

#include <stdlib.h>
#include <string.h>

#include "foundation/utf8_util.h"
#include "text/full_spelling_walk.h"
#include "text/pinyin.h"
#include "text/pinyin_tables.h"
#include "text/surname_readings.h"
#include "text/text_options.h"
#include "text/token_rules.h"

namespace mobile_search {

namespace {

const int kInitialsMaxLen = 5;
const int kSyllablesPerStart = 5;
const int kMixMaxSyllables = 4;

void copyUpper(char* out, const char* in, int n) {
  int i = 0;
  for (; i < n && i < kNameReadingBytes - 1 && in[i] != '\0'; ++i) {
    out[i] = (in[i] >= 'a' && in[i] <= 'z') ? static_cast<char>(in[i] - 'a' + 'A') : in[i];
  }
  out[i] = '\0';
}

bool samePass(const NamePass& a, const NamePass& b, int n) {
  for (int i = 0; i < n; ++i) {
    if (strcmp(a.reading[i], b.reading[i]) != 0) return false;
  }
  return true;
}

// Appends `pass` unless an equal one is there; false when there is no room.
bool addPass(const NamePass& pass, int n, NamePass* passes, int* count, int max) {
  for (int i = 0; i < *count; ++i) {
    if (samePass(passes[i], pass, n)) return true;
  }
  if (*count >= max) return false;
  passes[(*count)++] = pass;
  return true;
}

struct Builder {
  NameSpelling sp;
  NameSpellingFn fn;
  void* ctx;

  bool emit(const char* text, int len, int first, int last, int count, unsigned char bits) {
    if (len <= 0 || len >= kNameSpellingBytes) return true;
    memcpy(sp.text, text, static_cast<size_t>(len));
    sp.text[len] = '\0';
    sp.len = len;
    sp.first = first;
    sp.last = last;
    sp.count = static_cast<unsigned char>(count);
    sp.bits = bits;
    return fn(sp, ctx);
  }
};

int readingLen(const NamePass& p, int i) { return static_cast<int>(strlen(p.reading[i])); }

bool initialsSpellings(const NamePass& p, int n, bool isFirst, Builder* b) {
  char initials[kNameRunChars];
  for (int i = 0; i < n; ++i) initials[i] = p.reading[i][0];
  for (int s = 0; s < n; ++s) {
    for (int l = 1; l <= kInitialsMaxLen && s + l <= n; ++l) {
      unsigned char bits = kMatchPinYin;
      if (s == 0 && isFirst) bits |= kMatchFirst;
      if (s == 0 && l == n) bits |= kMatchAll;
      if (!b->emit(initials + s, l, s, s + l - 1, l, bits)) return false;
    }
  }
  return true;
}

// The full-spelling prefixes from syllable s, as ShortWordTokenizer makes
// them.
bool fullSpellings(const NamePass& p, int n, int s, bool isFirst, Builder* b) {
  int last = s + kSyllablesPerStart - 1;
  if (last > n - 1) last = n - 1;
  char full[kNameSpellingBytes];
  int maxLen = 0;
  for (int i = s; i <= last; ++i) {
    const int len = readingLen(p, i);
    if (maxLen + len >= kNameSpellingBytes) return true;
    memcpy(full + maxLen, p.reading[i], static_cast<size_t>(len));
    maxLen += len;
  }
  int lens[kNameRunChars];
  for (int i = 0; i < n; ++i) lens[i] = readingLen(p, i);
  FullSpellingWalk walk(lens, n, s, maxLen, isFirst);
  for (int l = 1; l <= maxLen; ++l) {
    if (!walk.indexed(l)) continue;
    unsigned char count = 0;
    unsigned char bits = 0;
    walk.step(l, &count, &bits);
    if (!b->emit(full, l, s, s + (count == 0 ? 0 : count - 1), count, bits)) return false;
  }
  return true;
}

// How syllable i may be written when it is not the last one: 0 in full, 1
// by its initial, 2 by its zh/ch/sh.
int formCount(const NamePass& p, int i) {
  const char* r = p.reading[i];
  return (r[1] == 'H' && (r[0] == 'Z' || r[0] == 'C' || r[0] == 'S') && r[2] != '\0') ? 3 : 2;
}

int formLen(const NamePass& p, int i, int form) {
  return form == 0 ? readingLen(p, i) : form;
}

bool mixSpellings(const NamePass& p, int n, int s, int e, bool isFirst, Builder* b) {
  int form[kMixMaxSyllables] = {0};
  const int k = e - s;  // syllables before the last
  const int lastLen = readingLen(p, e);
  while (true) {
    bool allFull = true;
    bool allInitial = true;
    int fullCount = 0;
    char text[kNameSpellingBytes];
    int len = 0;
    for (int j = 0; j < k; ++j) {
      allFull = allFull && form[j] == 0;
      allInitial = allInitial && form[j] == 1;
      if (form[j] == 0) ++fullCount;
      const int fl = formLen(p, s + j, form[j]);
      memcpy(text + len, p.reading[s + j], static_cast<size_t>(fl));
      len += fl;
    }
    for (int l = 1; l <= lastLen && !allFull; ++l) {
      if (allInitial && l == 1) continue;
      memcpy(text + len, p.reading[e], static_cast<size_t>(l));
      const bool whole = l == lastLen;
      unsigned char bits = kMatchPinYin;
      if (whole) bits |= kMatchAccurate;
      if (s == 0 && isFirst) bits |= kMatchFirst;
      if (s == 0 && e == n - 1 && whole) bits |= kMatchAll;
      if (!b->emit(text, len + l, s, e, fullCount + (whole ? 1 : 0), bits)) return false;
    }
    int j = k - 1;
    while (j >= 0 && ++form[j] == formCount(p, s + j)) form[j--] = 0;
    if (j < 0) return true;
  }
}

}  // namespace

void nameRunBuild(const char* begin, const char* end, NameRun* run) {
  run->n = 0;
  for (const char* c = begin; c < end && run->n < kNameRunChars;) {
    const char* next = ac_utf8_next(c);
    if (next > end) next = end;
    pinyin_t* py = hz2py(c, static_cast<int>(next - c));
    if (py != nullptr) {
      const int i = run->n++;
      const char* r = slot_as<const char>(darray_get_by_index(py->list, 0));
      copyUpper(run->plain[i], r, kNameReadingBytes);
      const unsigned long long cp = static_cast<unsigned long long>(
          ((c[0] & 0x0F) << 12) | ((c[1] & 0x3F) << 6) | (c[2] & 0x3F));
      run->table[i] = _pinyin_table_[cp - kPinyinFirstCode];
      run->offset[i] = static_cast<int>(c - begin);
      run->length[i] = static_cast<int>(next - c);
      pinyin_t_free(py);
    }
    c = next;
  }
}

int namePasses(const NameRun& run, const char* name, int bytes, bool isFirst, int nameReadings,
               NamePass* passes, int max) {
  if (run.n == 0 || max < 1) return 0;
  int count = 0;
  NamePass plain;
  for (int i = 0; i < run.n; ++i) memcpy(plain.reading[i], run.plain[i], kNameReadingBytes);
  passes[count++] = plain;
  if (nameReadings == kNameReadingsOff) return count;
  const SurnameReading* surname = isFirst ? findSurname(name, bytes) : nullptr;
  if (surname != nullptr && run.offset[0] == 0) {
    NamePass pass = plain;
    const int chars = surname->readings[1] == nullptr ? 1 : 2;
    // The surname's characters must be the run's first ones, both read.
    if (chars <= run.n && (chars == 1 || run.offset[1] == run.length[0])) {
      for (int i = 0; i < chars; ++i) copyUpper(pass.reading[i], surname->readings[i], kNameReadingBytes);
      addPass(pass, run.n, passes, &count, max);
    }
  }
  if (nameReadings != kNameReadingsAllCommon) return count;
  for (int i = 0; i < run.n; ++i) {
    for (const char* r = run.table[i]; *r != '\0';) {
      const char* bar = strchr(r, '|');
      const int len = bar == nullptr ? static_cast<int>(strlen(r)) : static_cast<int>(bar - r);
      NamePass pass = plain;
      copyUpper(pass.reading[i], r, len < kNameReadingBytes - 1 ? len : kNameReadingBytes - 1);
      if (!addPass(pass, run.n, passes, &count, max)) return count;
      r += len + (bar == nullptr ? 0 : 1);
    }
  }
  return count;
}

bool forEachNameSpelling(const NamePass& p, int n, bool isFirst, bool plain, bool mix,
                         NameSpellingFn fn, void* ctx) {
  Builder b;
  b.fn = fn;
  b.ctx = ctx;
  if (plain) {
    if (!initialsSpellings(p, n, isFirst, &b)) return false;
    for (int s = 0; s < n; ++s) {
      if (!fullSpellings(p, n, s, isFirst, &b)) return false;
    }
  }
  if (mix) {
    for (int s = 0; s < n; ++s) {
      for (int e = s + 1; e < n && e - s < kMixMaxSyllables; ++e) {
        if (!mixSpellings(p, n, s, e, isFirst, &b)) return false;
      }
    }
  }
  return true;
}

}  // namespace mobile_search
