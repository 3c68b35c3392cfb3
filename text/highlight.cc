#include "text/highlight.h"

#include <limits.h>
#include <stdlib.h>
#include <string.h>

#include "foundation/string_buffer.h"
#include "foundation/utf8_util.h"
#include "text/name_match.h"
#include "text/simplified_fold.h"
#include "text/token_rules.h"
#include "text/word_lists.h"

namespace mobile_search {

namespace {

// A Chinese query run is matched whole up to this many characters, far more
// than anyone types. Longer runs are matched in pieces of this size: a run of
// n characters costs up to n^3 byte comparisons, a piece bounds that.
const int kRunChunkChars = 256;

// First occurrence of needle[0, m) in hay[0, hayLen), or null. The text
// length is known here, so unlike a plain substring search nothing rescans
// the rest of the text for every match.
const char* findBytes(const char* hay, size_t hayLen, const char* needle, size_t m) {
  if (m == 0 || m > hayLen) return nullptr;
  const char* last = hay + (hayLen - m);
  for (const char* p = hay; p <= last; ++p) {
    p = static_cast<const char*>(memchr(p, needle[0], (size_t)(last - p) + 1));
    if (p == nullptr) return nullptr;
    if (memcmp(p, needle, m) == 0) return p;
  }
  return nullptr;
}

// One piece for highlight_abs.
void addPiece(_DArray* pieces, const char* p, int n) {
  darray_append(pieces, ptr_to_slot(p));
  darray_append(pieces, (unsigned long long)n);
}

// A Chinese run of n characters (character i at run + at[i]): the longest
// pieces that occur in the text, all of them searched. If a piece of L + 1
// characters occurs, so do its two pieces of L, so the levels are climbed
// keeping only pieces whose shorter neighbours occurred; the last level with
// any piece is the longest. A piece cannot occur before the first occurrence
// of its own prefix, so each search starts there. `seen` holds that offset
// per piece, -1 once it is gone. Each piece's searches together scan the text
// about once, so a run costs about n passes over the text.
bool matchPieces(const char* lowered, size_t len, const char* run, const int* at, int n,
                 _DArray* positions) {
  long long* seen = static_cast<long long*>(calloc((size_t)n, sizeof(long long)));
  long long* best = static_cast<long long*>(calloc((size_t)n, sizeof(long long)));
  int bestLen = 0;
  for (int L = 1; seen != nullptr && best != nullptr && L <= n; ++L) {
    bool any = false;
    for (int i = 0; i + L <= n; ++i) {
      const bool prior = L == 1 || (seen[i] >= 0 && seen[i + 1] >= 0);
      const size_t from = L == 1 ? 0 : (size_t)seen[i];
      const char* p =
          prior ? findBytes(lowered + from, len - from, run + at[i], (size_t)(at[i + L] - at[i]))
                : nullptr;
      seen[i] = p != nullptr ? (long long)(p - lowered) : -1;
      any = any || p != nullptr;
    }
    if (!any) break;
    bestLen = L;
    memcpy(best, seen, (size_t)n * sizeof(long long));
  }
  bool found = false;
  _DArray* pieces = darray_create(nullptr, false);
  if (pieces != nullptr && bestLen > 0) {
    for (int i = 0; i + bestLen <= n; ++i) {
      if (best[i] >= 0) addPiece(pieces, run + at[i], at[i + bestLen] - at[i]);
    }
    found = highlight_abs(nullptr, lowered, nullptr, pieces, positions) == 0;
  }
  darray_destroy(pieces);
  free(seen);
  free(best);
  return found;
}

bool matchChineseRun(const char* lowered, size_t len, const _str_buffer_t* run,
                     _DArray* positions) {
  const int chars = ac_utf8_len(run->data);
  int* at = static_cast<int*>(calloc((size_t)chars + 1, sizeof(int)));
  if (at == nullptr) return false;
  const char* p = run->data;
  for (int i = 0; i < chars; ++i, p = ac_utf8_next(p)) at[i] = (int)(p - run->data);
  at[chars] = run->len;
  bool found = false;
  for (int c = 0; c < chars; c += kRunChunkChars) {
    const int n = chars - c < kRunChunkChars ? chars - c : kRunChunkChars;
    found = matchPieces(lowered, len, run->data, at + c, n, positions) || found;
  }
  free(at);
  return found;
}

bool matchLiteral(const char* lowered, const char* s, int n, _DArray* positions) {
  _DArray* pieces = darray_create(nullptr, false);
  if (pieces == nullptr) return false;
  addPiece(pieces, s, n);
  const bool found = highlight_abs(nullptr, lowered, nullptr, pieces, positions) == 0;
  darray_destroy(pieces);
  return found;
}

// One Latin word: literally, else by pinyin. Under the name options the
// pinyin match is the index's own: the word marks the characters of a name
// term it equals (other readings, mixed syllables, fuzzy spellings
// included), and nothing when no term of the text is the word, so an
// abstract marks what the search found.
int matchLatinWord(hl_pinyin_list_t* chars, const char* lowered, const char* word, bool loose,
                   _DArray* positions, const TextOptions& options) {
  if (options.nameMatching() && strstr(lowered, word) == nullptr) {
    return nameMatchWord(chars->text, word, options, positions) ? 0 : -1;
  }
  return highlight_abs_en_chars(chars, lowered, word, loose, positions);
}

// A query of several kinds of words: each Latin word loosely, each digit run
// and each Chinese (or other-script) run literally; kept punctuation and
// separators are dropped.
bool matchWords(hl_pinyin_list_t* chars, const char* lowered, const char* query,
                _DArray* positions, const TextOptions& options) {
  WordLists lists;
  if (lists.valid()) {
    WordType first = kWordNone;
    TokenRules::worldSplit(false, query, lists.cn, lists.en, lists.num, nullptr, lists.cn, first,
                           options);
    const size_t len = strlen(lowered);
    for (unsigned int i = 0; i < darray_length(lists.en); ++i) {
      matchLatinWord(chars, lowered, WordLists::word(lists.en, i)->data, true, positions, options);
    }
    for (unsigned int i = 0; i < darray_length(lists.num); ++i) {
      const _str_buffer_t* run = WordLists::word(lists.num, i);
      matchLiteral(lowered, run->data, run->len, positions);
    }
    for (unsigned int i = 0; i < darray_length(lists.cn); ++i) {
      matchChineseRun(lowered, len, WordLists::word(lists.cn, i), positions);
    }
  }
  return darray_length(positions) > 0;
}

// Fills positions with the matches of the trimmed, lower-cased query q in
// `lowered`; true when there are any. The class counts are those of the query
// as given.
bool findMatches(const char* text, const char* lowered, const _str_buffer_t* q, int cnCount,
                 int enCount, int otherCount, _DArray* positions, const TextOptions& options) {
  hl_pinyin_list_t* chars = hl_pinyin_list_create(text);
  if (chars == nullptr) return false;
  bool found = false;
  if (cnCount == 0 && otherCount == 0 && enCount > 0 && enCount == q->len) {
    // Letters only: strictly first, then letting initials and leading
    // letters stand for characters.
    found = matchLatinWord(chars, lowered, q->data, false, positions, options) == 0;
    if (!found) {
      darray_clean(positions);
      found = matchLatinWord(chars, lowered, q->data, true, positions, options) == 0;
    }
  } else if (cnCount == 0 && enCount == 0 && q->len > 0 && otherCount == q->len) {
    found = matchLiteral(lowered, q->data, q->len, positions);
  } else {
    // Mixed queries, and letters or digits with separators between them:
    // "zhang san" is matched word by word, as one word it could only match
    // literally.
    found = matchWords(chars, lowered, q->data, positions, options);
  }
  hl_pinyin_list_free(chars);
  return found;
}

char* detach(const _str_buffer_t* out) {
  char* s = static_cast<char*>(malloc((size_t)out->len + 1));
  if (s != nullptr) memcpy(s, out->data, (size_t)out->len + 1);
  return s;
}

// Moves every match from folded-text offsets to offsets of the text the
// folded text was made from.
void unfoldPositions(_DArray* positions, const int* origin) {
  for (int i = 0; i < (int)darray_length(positions); ++i) {
    int start = 0;
    int end = 0;
    getPosFromArr(positions, start, end, i);
    setPosToArr(positions, origin[start], origin[end], i);
  }
}

}  // namespace

int highlight_abs(const char* text, const char* lowered, const char* query, _DArray* pieces,
                  _DArray* positions) {
  (void)text;
  (void)query;
  if (lowered == nullptr || pieces == nullptr || positions == nullptr) return -1;
  const size_t len = strlen(lowered);
  bool found = false;
  for (unsigned int i = 0; i + 1 < darray_length(pieces); i += 2) {
    const char* piece = slot_as<const char>(darray_get_by_index(pieces, i));
    const long long n = (long long)darray_get_by_index(pieces, i + 1);
    if (piece == nullptr || n < 1) continue;
    // Like a bounded substring search, a piece ends at its terminator if that
    // comes before its length.
    const size_t m = strnlen(piece, (size_t)n);
    for (size_t from = 0; m > 0 && (size_t)n <= len - from;) {
      const char* p = findBytes(lowered + from, len - from, piece, m);
      if (p == nullptr) break;
      from = (size_t)(p - lowered) + m;
      pushPosToArr(positions, (int)(p - lowered), (int)from);
      found = true;
    }
  }
  return found ? 0 : -1;
}

char* highLight_abstract_impl(const char* text, const char* query, int maxChars, int& hit,
                              bool withTags) {
  return highLight_abstract_impl(text, query, maxChars, hit, withTags, TextOptions());
}

char* highLight_Abstract(const char* text, const char* query, int maxChars, int& hit,
                         const TextOptions& options) {
  return highLight_abstract_impl(text, query, maxChars, hit, true, options);
}

char* highLight_abstract_impl(const char* text, const char* query, int maxChars, int& hit,
                              bool withTags, const TextOptions& options) {
  hit = 0;
  if (text == nullptr || *text == '\0' || query == nullptr || *query == '\0' || maxChars < 1) {
    return nullptr;
  }
  const size_t textLen = strlen(text);
  // Match offsets are kept in 32 bits; a folded text is at most a third longer.
  if (textLen > (size_t)INT_MAX / 3 - 16) return nullptr;
  int* origin = nullptr;
  char* foldedText = options.foldSimplified ? fold_simplified(text, &origin) : nullptr;
  char* foldedQuery = options.foldSimplified ? fold_simplified(query, nullptr) : nullptr;
  const char* source = foldedText != nullptr ? foldedText : text;
  const char* words = foldedQuery != nullptr ? foldedQuery : query;
  const bool folded = !options.foldSimplified || (foldedText != nullptr && foldedQuery != nullptr);
  _str_buffer_t* lowered = str_buffer_create(source);
  _str_buffer_t* q = str_buffer_create(words);
  _str_buffer_t* out = str_buffer_create((int)(2 * (textLen + 16)));
  _DArray* positions = darray_create(nullptr, false);
  char* result = nullptr;
  if (folded && lowered != nullptr && q != nullptr && out != nullptr && positions != nullptr) {
    const int cnCount = ac_utf8_cn_word_num(words);
    const int enCount = ac_utf8_en_word_num(words);
    const int otherCount = ac_utf8_others_num(words);
    str_buffer_trim(q);
    str_buffer_tolower(lowered);
    str_buffer_tolower(q);
    hit = 1;
    // Offsets found in the lower-cased copy hold for the text it was made
    // from; a folded text's offsets are moved back to the original text.
    bool found = findMatches(source, lowered->data, q, cnCount, enCount, otherCount, positions,
                             options);
    if (found && origin != nullptr) unfoldPositions(positions, origin);
    if (!found || only_highlight_abs(text, positions, maxChars, out, withTags) != 0) {
      hit = 0;
      str_buffer_reset(out);
      abstract(text, maxChars, out);
    }
    result = detach(out);
    if (result == nullptr) hit = 0;
  }
  darray_destroy(positions);
  str_buffer_free(out);
  str_buffer_free(q);
  str_buffer_free(lowered);
  free(foldedText);
  free(foldedQuery);
  free(origin);
  return result;
}

char* highLight_Abstract(const char* text, const char* query, int maxChars, int& hit) {
  return highLight_abstract_impl(text, query, maxChars, hit, true);
}

char* abstract_hlNoTag(const char* text, const char* query, int maxChars) {
  int hit = 0;
  return highLight_abstract_impl(text, query, maxChars, hit, false);
}

}  // namespace mobile_search
