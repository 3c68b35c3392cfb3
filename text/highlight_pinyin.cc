#include "text/highlight_pinyin.h"

#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include "foundation/utf8_util.h"
#include "text/highlight_positions.h"
#include "text/pinyin.h"

namespace mobile_search {

namespace {

// ---- Character list ----

bool buildChars(hl_pinyin_list_t* list) {
  const char* text = list->text;
  int capacity = 0;
  for (const char* p = text; *p != '\0' && capacity < kHighlightMaxPinyinChars;
       p = ac_utf8_next(p)) {
    if ((unsigned char)*p >= 0x80) ++capacity;
  }
  if (capacity == 0) return true;
  list->chars = static_cast<hl_pinyin_char_t*>(calloc((size_t)capacity, sizeof(hl_pinyin_char_t)));
  if (list->chars == nullptr) return false;
  const char* p = text;
  while (*p != '\0' && list->count < capacity) {
    const char* next = (unsigned char)*p < 0x80 ? p + 1 : ac_utf8_next(p);
    if ((unsigned char)*p >= 0x80) {
      char* py = hz2pyConvertSingle(p, (int)(next - p));
      // Readings come lower-case from the pinyin tables.
      if (py != nullptr && *py != '\0') {
        hl_pinyin_char_t& ch = list->chars[list->count++];
        ch.pinyin = py;
        ch.pinyinLen = (int)strlen(py);
        ch.offset = (int)(p - text);
        ch.length = (int)(next - p);
      } else {
        free(py);
      }
    }
    p = next;
  }
  return true;
}

// Letters of `word` (n left) that reading `ch` matches at its start: its whole
// length when n reaches past it, else n; 0 when they differ.
int syllableMatch(const hl_pinyin_char_t& ch, const char* word, int n) {
  const int m = ch.pinyinLen < n ? ch.pinyinLen : n;
  return strncmp(ch.pinyin, word, (size_t)m) == 0 ? m : 0;
}

// Leading letters shared by reading `ch` and `word` (n left).
int commonPrefix(const hl_pinyin_char_t& ch, const char* word, int n) {
  int k = 0;
  while (k < ch.pinyinLen && k < n && ch.pinyin[k] == word[k]) ++k;
  return k;
}

bool adjacent(const hl_pinyin_char_t* list, int i, int count) {
  return i + 1 < count && list[i].offset + list[i].length == list[i + 1].offset;
}

// Appends a character's range, joining it to the last range when they touch.
void pushJoined(_DArray* positions, const hl_pinyin_char_t& ch) {
  const int last = (int)darray_length(positions) - 1;
  int s = 0, e = 0;
  if (last >= 0 && getPosFromArr(positions, s, e, last) == 0 && s != e && e == ch.offset) {
    setPosToArr(positions, s, ch.offset + ch.length, last);
  } else {
    pushPosToArr(positions, ch.offset, ch.offset + ch.length);
  }
}

void appendAll(_DArray* to, _DArray* from) {
  for (unsigned int i = 0; i < darray_length(from); ++i)
    darray_append(to, darray_get_by_index(from, i));
}

// How many characters from `first` a search over `letters` word letters may
// look at, so that characters x (letters + 1) stays within the cell budget.
int charBudget(int first, int limit, int letters) {
  int most = kHighlightMaxPinyinCells / (letters + 1);
  if (most < 1) most = 1;
  return limit - first > most ? first + most : limit;
}

// ---- Stage 2: best spelling, by dynamic programming over (character, offset) ----
//
// f(i, o) is the recursion's result for characters from i and word offset o.
// A character that does not match at o passes f(i + 1, o) through; one that
// matches chooses between taking (s + f(i + 1, o + m)) and leaving
// (f(i + 1, o)) exactly as the recursion does, so the scores and the tie rule
// are the recursion's own. Rows i + 1 and i are kept; the choices are kept as
// one bit per cell to walk the chosen path afterwards.
struct SpellRows {
  float* score[2];
  int* chars[2];
  uint8_t* taken;
};

bool allocRows(SpellRows* r, int width, size_t cells) {
  r->score[0] = static_cast<float*>(calloc((size_t)width + 1, sizeof(float)));
  r->score[1] = static_cast<float*>(calloc((size_t)width + 1, sizeof(float)));
  r->chars[0] = static_cast<int*>(calloc((size_t)width + 1, sizeof(int)));
  r->chars[1] = static_cast<int*>(calloc((size_t)width + 1, sizeof(int)));
  r->taken = static_cast<uint8_t*>(calloc(cells / 8 + 1, 1));
  return r->score[0] && r->score[1] && r->chars[0] && r->chars[1] && r->taken;
}

void freeRows(SpellRows* r) {
  free(r->score[0]);
  free(r->score[1]);
  free(r->chars[0]);
  free(r->chars[1]);
  free(r->taken);
}

bool isTaken(const uint8_t* bits, size_t cell) { return (bits[cell / 8] >> (cell % 8)) & 1; }

}  // namespace

hl_pinyin_list_t* hl_pinyin_list_create(const char* text) {
  if (text == nullptr) return nullptr;
  hl_pinyin_list_t* list = static_cast<hl_pinyin_list_t*>(calloc(1, sizeof(hl_pinyin_list_t)));
  if (list != nullptr) list->text = text;
  return list;
}

void hl_pinyin_list_free(hl_pinyin_list_t* list) {
  if (list == nullptr) return;
  for (int i = 0; i < list->count; ++i) free(list->chars[i].pinyin);
  free(list->chars);
  free(list);
}

int hl_pinyin_list_chars(hl_pinyin_list_t* list) {
  if (list == nullptr) return 0;
  if (!list->built) {
    list->built = true;
    buildChars(list);
  }
  return list->count;
}

float highlight_pinyins_en(const hl_pinyin_char_t* list, int count, int first, const char* word,
                           int offset, _DArray* positions) {
  if (list == nullptr || count <= 0 || word == nullptr || *word == '\0' || positions == nullptr ||
      first < 0 || first >= count || offset < 0) {
    return 0;
  }
  const size_t wordLen = strlen(word);
  if ((size_t)offset >= wordLen || wordLen - offset > (size_t)kHighlightMaxPinyinCells) return 0;
  const char* w = word + offset;
  const int width = (int)(wordLen - offset);
  int limit = first;
  while (limit < count && list[limit].pinyinLen > 0) ++limit;
  limit = charBudget(first, limit, width);
  if (limit == first) return 0;

  SpellRows r;
  if (!allocRows(&r, width, (size_t)(limit - first) * width)) {
    freeRows(&r);
    return 0;
  }
  int next = 0;  // row of character i + 1; all zero beyond the last character
  for (int i = limit - 1; i >= first; --i) {
    const int cur = 1 - next;
    for (int o = 0; o < width; ++o) {
      const int m = syllableMatch(list[i], w + o, width - o);
      float best = r.score[next][o];
      int chars = r.chars[next][o];
      if (m > 0) {
        const float s = (m < list[i].pinyinLen) ? (float)m - 0.5f : (float)m;
        const float a = s + r.score[next][o + m];
        const int takeChars = 1 + r.chars[next][o + m];
        const float d = a - best;
        if (d > 0.1f || (d >= 0 && d <= 0.001f && takeChars <= chars)) {
          best = a;
          chars = takeChars;
          const size_t cell = (size_t)(i - first) * width + o;
          r.taken[cell / 8] = (uint8_t)(r.taken[cell / 8] | (1u << (cell % 8)));
        }
      }
      r.score[cur][o] = best;
      r.chars[cur][o] = chars;
    }
    next = cur;
  }
  const float result = r.score[next][0];
  for (int i = first, o = 0; i < limit && o < width; ++i) {
    if (!isTaken(r.taken, (size_t)(i - first) * width + o)) continue;
    pushPosToArr(positions, list[i].offset, list[i].offset + list[i].length);
    o += syllableMatch(list[i], w + o, width - o);
  }
  freeRows(&r);
  return result;
}

namespace {

// What the stages look at: the lower-cased text and its Chinese characters.
struct MatchInput {
  const char* lowered;
  const hl_pinyin_list_t* chars;
};

// Stage 1: every occurrence, resuming behind each.
bool literalStage(const MatchInput& in, const char* word, _DArray* out) {
  const size_t n = strlen(word);
  for (const char* p = strstr(in.lowered, word); p != nullptr; p = strstr(p + n, word)) {
    pushPosToArr(out, (int)(p - in.lowered), (int)(p - in.lowered + n));
  }
  return darray_length(out) > 0;
}

// Stage 2: the best spelling, even one that covers only the start of the word
// ("zhangxyz" marks 张); whatever it marks ends the search.
bool pinyinStage(const MatchInput& in, const char* word, _DArray* out) {
  highlight_pinyins_en(in.chars->chars, in.chars->count, 0, word, 0, out);
  return darray_length(out) > 0;
}

// Stage 3: whole readings in text order, the last one possibly cut by the end
// of the word. It runs only when stage 2 marked nothing, and then finds
// nothing either unless stage 2's cell budget stopped before the first
// character that matches.
bool sequenceStage(const MatchInput& in, const char* word, _DArray* out) {
  const hl_pinyin_list_t* chars = in.chars;
  const int width = (int)strlen(word);
  int o = 0;
  for (int i = 0; i < chars->count && o < width; ++i) {
    const hl_pinyin_char_t& ch = chars->chars[i];
    const int m = syllableMatch(ch, word + o, width - o);
    if (m == 0) continue;
    pushPosToArr(out, ch.offset, ch.offset + ch.length);
    o += m;
  }
  return darray_length(out) > 0;
}

int totalLetters(const hl_pinyin_list_t* chars) {
  long long total = 0;
  for (int i = 0; i < chars->count; ++i) total += chars->chars[i].pinyinLen;
  return total > INT32_MAX ? INT32_MAX : (int)total;
}

// ---- Stage 4: loose spelling ----
//
// Cost of spelling word[o..] from character i on, as (ranges << 32) + chars;
// `joined` says the previous character was taken and touches character i, so
// taking i opens no new range. Each cell keeps its choice: 0 leaves the
// character, k > 0 takes its first k letters.
const long long kNoSpelling = INT64_MAX;

struct LooseRows {
  long long* cost[2][2];  // [row parity][joined]
  uint8_t* choice;        // [(i * width + o) * 2 + joined]
};

bool allocLoose(LooseRows* r, int width, size_t cells) {
  bool ok = true;
  for (int p = 0; p < 2; ++p) {
    for (int j = 0; j < 2; ++j) {
      r->cost[p][j] = static_cast<long long*>(malloc(((size_t)width + 1) * sizeof(long long)));
      ok = ok && r->cost[p][j] != nullptr;
    }
  }
  r->choice = static_cast<uint8_t*>(calloc(cells * 2 + 1, 1));
  return ok && r->choice != nullptr;
}

void freeLoose(LooseRows* r) {
  for (int p = 0; p < 2; ++p) {
    for (int j = 0; j < 2; ++j) free(r->cost[p][j]);
  }
  free(r->choice);
}

long long plus(long long cost, long long add) {
  return cost == kNoSpelling ? kNoSpelling : cost + add;
}

// Fills row `cur` for character i from row `next` (character i + 1).
void looseRow(const hl_pinyin_list_t* chars, const char* word, int width, int i, int limit,
              LooseRows* r, int cur, int next) {
  const hl_pinyin_char_t& ch = chars->chars[i];
  const int touches = adjacent(chars->chars, i, limit) ? 1 : 0;
  for (int o = 0; o <= width; ++o) {
    for (int joined = 0; joined < 2; ++joined) {
      long long best = o == width ? 0 : kNoSpelling;
      int pick = 0;
      if (o < width) {
        const long long open = joined ? 1 : (1LL << 32) + 1;
        const int shared = commonPrefix(ch, word + o, width - o);
        for (int k = shared < 255 ? shared : 255; k > 0; --k) {
          const long long c = plus(r->cost[next][touches][o + k], open);
          if (c < best) {
            best = c;
            pick = k;
          }
        }
        if (r->cost[next][0][o] < best) {
          best = r->cost[next][0][o];
          pick = 0;
        }
        r->choice[((size_t)i * width + o) * 2 + joined] = (uint8_t)pick;
      }
      r->cost[cur][joined][o] = best;
    }
  }
}

// Stage 4: the loose spelling with the fewest ranges, then characters. It
// must spell the whole word, which it cannot when the word is longer than all
// the readings put together.
bool looseStage(const MatchInput& in, const char* word, _DArray* out) {
  const hl_pinyin_list_t* chars = in.chars;
  const int width = (int)strlen(word);
  if (width > kHighlightMaxPinyinCells || totalLetters(chars) < width) return false;
  const int limit = charBudget(0, chars->count, width);
  LooseRows r;
  if (!allocLoose(&r, width, (size_t)limit * width)) {
    freeLoose(&r);
    return false;
  }
  int next = 0;
  for (int j = 0; j < 2; ++j) {
    for (int o = 0; o <= width; ++o) r.cost[next][j][o] = o == width ? 0 : kNoSpelling;
  }
  for (int i = limit - 1; i >= 0; --i) {
    looseRow(chars, word, width, i, limit, &r, 1 - next, next);
    next = 1 - next;
  }
  const bool found = r.cost[next][0][0] != kNoSpelling;
  for (int i = 0, o = 0, joined = 0; found && i < limit && o < width; ++i) {
    const int k = r.choice[((size_t)i * width + o) * 2 + joined];
    joined = 0;
    if (k == 0) continue;
    pushJoined(out, chars->chars[i]);
    o += k;
    joined = adjacent(chars->chars, i, limit) ? 1 : 0;
  }
  freeLoose(&r);
  return found;
}

// Runs one stage into a scratch list and keeps its ranges only when it spelled
// the word.
typedef bool (*StageFn)(const MatchInput&, const char*, _DArray*);

bool runStage(StageFn stage, const MatchInput& in, const char* word, _DArray* positions) {
  _DArray* found = darray_create(nullptr, false);
  if (found == nullptr) return false;
  const bool ok = stage(in, word, found) && darray_length(found) > 0;
  if (ok) appendAll(positions, found);
  darray_destroy(found);
  return ok;
}

}  // namespace

int highlight_abs_en_chars(hl_pinyin_list_t* chars, const char* lowered, const char* word,
                           bool loose, _DArray* positions) {
  if (chars == nullptr || lowered == nullptr || word == nullptr || *word == '\0' ||
      positions == nullptr) {
    return -1;
  }
  const MatchInput in = {lowered, chars};
  if (runStage(literalStage, in, word, positions)) return 0;
  if (hl_pinyin_list_chars(chars) == 0) return -1;
  const bool ok = runStage(pinyinStage, in, word, positions) ||
                  runStage(sequenceStage, in, word, positions) ||
                  (loose && runStage(looseStage, in, word, positions));
  return ok ? 0 : -1;
}

int highlight_abs_en(const char* text, const char* lowered, const char* word, bool loose,
                     _DArray* positions) {
  if (text == nullptr) return -1;
  hl_pinyin_list_t* chars = hl_pinyin_list_create(text);
  const int result = highlight_abs_en_chars(chars, lowered, word, loose, positions);
  hl_pinyin_list_free(chars);
  return result;
}

}  // namespace mobile_search
