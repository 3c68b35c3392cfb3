#include "text/token_rules.h"

#include <stddef.h>

#include "foundation/utf8_util.h"

namespace mobile_search {

namespace {

bool inRange(unsigned long long cp, unsigned long long lo, unsigned long long hi) {
  return cp >= lo && cp <= hi;
}

}  // namespace

bool TokenRules::isZiMu(unsigned char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

bool TokenRules::isHanZi(unsigned char c) { return (c >> 7) != 0; }

bool TokenRules::isNumber(unsigned char c) { return c >= '0' && c <= '9'; }

bool TokenRules::isStopWord(char c) {
  const unsigned char u = static_cast<unsigned char>(c);
  return !isHanZi(u) && !isZiMu(u) && !isNumber(u) && !ac_is_in_white(c);
}

bool TokenRules::isChina(unsigned long long cp) { return inRange(cp, 0x4E00, 0x9FA5); }

bool TokenRules::isJapan(unsigned long long cp) {
  return inRange(cp, 0x3041, 0x30FF) || inRange(cp, 0x3104, 0x312A) ||
         inRange(cp, 0xFF66, 0xFF9E) || inRange(cp, 0x30A1, 0x30FA);
}

bool TokenRules::isKorea(unsigned long long cp) {
  return inRange(cp, 0x3130, 0x318F) || inRange(cp, 0xAC00, 0xD7AF) ||
         inRange(cp, 0x1100, 0x11FF);
}

bool TokenRules::isEmoji(unsigned long long cp) {
  return inRange(cp, 0x1F000, 0x1FFFF) || isShortEmoji(cp);
}

bool TokenRules::isShortEmoji(unsigned long long cp) {
  return inRange(cp, 0xD800, 0xDFFF) || inRange(cp, 0xE000, 0xF8FF);
}

bool TokenRules::isArab(unsigned long long cp) {
  return inRange(cp, 0x0600, 0x06FF) || inRange(cp, 0x0750, 0x077F);
}

unsigned long long TokenRules::matchEmojiValue(unsigned long long a, unsigned long long b) {
  return b > 0xDEFF ? a + b + 15300 : a + b + 16323;
}

int TokenRules::utf8ToUnicode(const char* p, unsigned char len, unsigned long long* out) {
  if (out != nullptr) *out = 0;
  if (p == nullptr || out == nullptr || len > 6 || len == 1) return 0;
  const unsigned char* s = reinterpret_cast<const unsigned char*>(p);
  if (len == 0) {
    *out = s[0];
    return 1;
  }
  // Two-byte characters only decode with a second byte of 0x80..0x9F; the
  // index has always been built that way, so é (C3 A9) stays undecodable.
  if (len == 2 && (s[1] & 0xE0) != 0x80) return 0;
  unsigned long long value = s[0] & (0xFFu >> (len + 1));
  for (int i = 1; i < len; ++i) {
    if ((s[i] & 0xC0) != 0x80) return 0;
    value = (value << 6) | (s[i] & 0x3F);
  }
  *out = value;
  return 1;
}

int TokenRules::unicodeToUtf8(unsigned long long cp, char* out, int /*size*/) {
  int n;
  unsigned char lead;
  if (cp < 0x80) {
    out[0] = static_cast<char>(cp);
    return 1;
  } else if (cp < 0x800) {
    n = 2, lead = 0xC0;
  } else if (cp < 0x10000) {
    n = 3, lead = 0xE0;
  } else if (cp < 0x200000) {
    n = 4, lead = 0xF0;
  } else if (cp < 0x4000000) {
    n = 5, lead = 0xF8;
  } else if (cp < 0x80000000ULL) {
    n = 6, lead = 0xFC;
  } else {
    return 0;
  }
  for (int i = n - 1; i > 0; --i) {
    out[i] = static_cast<char>(0x80 | (cp & 0x3F));
    cp >>= 6;
  }
  out[0] = static_cast<char>(lead | cp);
  return n;
}

unsigned long long TokenRules::getWordType(const char* p, int len, WordType& type) {
  type = kWordNone;
  unsigned long long cp = 0;
  if (p == nullptr || *p == 0 || len <= 0) return static_cast<unsigned long long>(-1);
  if (!utf8ToUnicode(p, static_cast<unsigned char>(len), &cp)) {
    return static_cast<unsigned long long>(-1);
  }
  if (cp == 0) return cp;
  if (isChina(cp)) {
    type = kWordChina;
  } else if (isKorea(cp)) {
    type = kWordKorea;
  } else if (isJapan(cp)) {
    type = kWordJapan;
  } else if (isEmoji(cp)) {
    type = kWordEmoji;
  } else if (isArab(cp)) {
    type = kWordArab;
  } else {
    type = kWordOther;
  }
  return cp;
}

void TokenRules::setFirstType(WordType& first, WordType t) {
  if (first != kWordNone && first != kWordPunct) return;
  switch (t) {
    case kWordChina:
    case kWordNumber:
    case kWordZiMu:
      first = t;
      break;
    case kWordKorea:
    case kWordJapan:
    case kWordEmoji:
      first = kWordOther;
      break;
    default:
      // Punctuation never sticks, and Arabic or unclassified text does not
      // decide how the field is weighted.
      break;
  }
}

_str_buffer_t* TokenRules::appendStr(const char* s, int len, _DArray* arr, _str_buffer_t* cur,
                                     WordType t, WordType& last) {
  if (last == t) {
    str_buffer_append(cur, s, len);
    return cur;
  }
  _str_buffer_t* run = str_buffer_create(s, len);
  if (run != nullptr && darray_append(arr, run) != RET_OK) {
    str_buffer_free(run);
    run = nullptr;
  }
  last = run != nullptr ? t : kWordNone;
  return run;
}

namespace {

// The run being collected: a byte range of characters of one type, stored as
// one string when it ends rather than grown a character at a time (the
// growth reallocations were a large share of indexing time).
struct PendingRun {
  const char* begin = nullptr;
  const char* end = nullptr;
  _DArray* arr = nullptr;
  WordType type = kWordNone;
};

void storeRun(PendingRun& run) {
  if (run.arr != nullptr) {
    WordType last = kWordNone;  // always a new string
    TokenRules::appendStr(run.begin, static_cast<int>(run.end - run.begin), run.arr, nullptr, run.type, last);
  }
  run = PendingRun();
}

struct CodeRange {
  unsigned long long lo, hi;
};

// Non-ASCII code points that are neither letters nor digits, ascending.
const CodeRange kSeparatorRanges[] = {
    {0x80, 0xA9},       {0xAB, 0xB4},       {0xB6, 0xB9},       {0xBB, 0xBF},
    {0xD7, 0xD7},       {0xF7, 0xF7},       {0x2000, 0x2BFF},   {0x2E00, 0x2E7F},
    {0x3000, 0x3004},   {0x3008, 0x3020},   {0x3030, 0x3030},   {0x303D, 0x303F},
    {0x30FB, 0x30FB},   {0xD800, 0xF8FF},   {0xFE00, 0xFE1F},   {0xFE30, 0xFE6F},
    {0xFF01, 0xFF0F},   {0xFF1A, 0xFF20},   {0xFF3B, 0xFF40},   {0xFF5B, 0xFF65},
    {0xFFF0, 0xFFFF},   {0x1F000, 0x1FFFF}, {0xE0000, 0xE01EF}, {0xF0000, 0x10FFFF},
};

const CodeRange kHanRanges[] = {
    {0x3400, 0x4DBF}, {0x4E00, 0x9FFF}, {0xF900, 0xFAFF}, {0x20000, 0x323AF},
};

template <size_t N>
bool inRanges(unsigned long long cp, const CodeRange (&ranges)[N]) {
  for (const CodeRange& r : ranges) {
    if (cp < r.lo) return false;
    if (cp <= r.hi) return true;
  }
  return false;
}

}  // namespace

int TokenRules::decodeUtf8(const char* p, unsigned long long* cp) {
  const unsigned char* s = reinterpret_cast<const unsigned char*>(p);
  int n;
  unsigned long long v;
  unsigned char lo = 0x80, hi = 0xBF;  // range of the second byte
  if (s[0] < 0x80) {
    *cp = s[0];
    return 1;
  } else if (s[0] >= 0xC2 && s[0] <= 0xDF) {
    n = 2, v = s[0] & 0x1F;
  } else if (s[0] >= 0xE0 && s[0] <= 0xEF) {
    n = 3, v = s[0] & 0x0F;
    if (s[0] == 0xE0) lo = 0xA0;
    if (s[0] == 0xED) hi = 0x9F;
  } else if (s[0] >= 0xF0 && s[0] <= 0xF4) {
    n = 4, v = s[0] & 0x07;
    if (s[0] == 0xF0) lo = 0x90;
    if (s[0] == 0xF4) hi = 0x8F;
  } else {
    return 0;
  }
  // A terminator is no continuation byte, so the loop stops at it.
  for (int i = 1; i < n; ++i) {
    if (s[i] < (i == 1 ? lo : 0x80) || s[i] > (i == 1 ? hi : 0xBF)) return 0;
    v = (v << 6) | (s[i] & 0x3F);
  }
  *cp = v;
  return n;
}

WordType TokenRules::fullWordType(unsigned long long cp) {
  if (inRanges(cp, kHanRanges)) return kWordChina;
  if (inRanges(cp, kSeparatorRanges)) return kWordNone;
  if (isKorea(cp)) return kWordKorea;
  if (isJapan(cp)) return kWordJapan;
  if (isArab(cp)) return kWordArab;
  return kWordOther;
}

int TokenRules::worldSplit(bool flag, const char* text, _DArray* cn, _DArray* en, _DArray* num,
                           _DArray* other, _DArray* foreign, WordType& first) {
  return worldSplit(flag, text, cn, en, num, other, foreign, first, TextOptions());
}

int TokenRules::worldSplit(bool /*flag*/, const char* text, _DArray* cn, _DArray* en,
                           _DArray* num, _DArray* other, _DArray* foreign, WordType& first,
                           const TextOptions& options) {
  if (text == nullptr || *text == 0 || cn == nullptr || en == nullptr || num == nullptr) return 0;
  first = kWordNone;
  PendingRun run;
  const char* p = text;
  while (*p != 0) {
    const unsigned char c = static_cast<unsigned char>(*p);
    const char* next = p + 1;
    _DArray* target = nullptr;
    WordType type = kWordNone;
    if (isHanZi(c) && options.utf8Full) {
      // A malformed byte is skipped alone, as a separator.
      unsigned long long cp = 0;
      const int n = decodeUtf8(p, &cp);
      next = p + (n > 0 ? n : 1);
      type = n > 0 ? fullWordType(cp) : kWordNone;
      if (type != kWordNone) target = type == kWordChina ? cn : foreign;
    } else if (isHanZi(c)) {
      next = ac_utf8_next(p);
      getWordType(p, static_cast<int>(next - p), type);
      // An undecodable character ends the split: the rest of the text is
      // dropped, as the index has always done for such values.
      if (type == kWordNone) break;
      target = type == kWordChina ? cn : foreign;
    } else if (isZiMu(c)) {
      type = kWordZiMu;
      target = en;
    } else if (isNumber(c)) {
      type = kWordNumber;
      target = num;
    } else if (ac_is_in_white(static_cast<char>(c))) {
      type = kWordPunct;
      target = other;
    }
    setFirstType(first, type);  // a separator (-1) leaves it as it is
    // A separator, a class the caller does not collect, or a new type ends
    // the run; consecutive characters of one type extend it.
    if (target == nullptr || type != run.type) storeRun(run);
    if (target != nullptr) {
      if (run.arr == nullptr) {
        run.begin = p;
        run.arr = target;
        run.type = type;
      }
      run.end = next;
    }
    p = next;
  }
  storeRun(run);
  return 0;
}

void TokenRules::mathBaseWeight(unsigned char& w, const int& len) {
  float share = len > 0 ? static_cast<float>(w) / static_cast<float>(len) : 1.0f;
  if (share > 1.0f) share = 1.0f;
  const int weight = static_cast<int>(share * 20.0f);
  w = static_cast<unsigned char>(weight < 1 ? 1 : weight);
}

void TokenRules::mathSortWeight(unsigned char& w, unsigned char bits) {
  int a = w > 20 ? 20 : w;
  if (bits & kMatchAll) a += 40;
  if (bits & kMatchFirstAndAccurate) {
    a += 80;
  } else {
    if (bits & kMatchAccurate) a += 40;
    if (bits & kMatchFirst) a += 20;
  }
  if (!(bits & kMatchPinYin)) {
    a += 20;
    if (bits & kMatchFirstAndAccurate) a += 20;
  }
  w = static_cast<unsigned char>(a);
}

void TokenRules::mergeWeigthExt(unsigned char& w, unsigned char a, unsigned char b) {
  const unsigned char c = a | b;
  unsigned char r = c & kMatchAll;
  if (c & kMatchFirstAndAccurate) {
    r |= kMatchFirstAndAccurate;
  } else {
    r |= c & (kMatchFirst | kMatchAccurate);
  }
  if ((a & kMatchPinYin) && (b & kMatchPinYin)) r |= kMatchPinYin;
  w |= r;
}

}  // namespace mobile_search
