#include "text/highlight_abstract.h"

#include <string.h>

#include "foundation/utf8_util.h"
#include "text/highlight_positions.h"

namespace mobile_search {

const char kHighlightOpenTag[] = "<red>";
const char kHighlightCloseTag[] = "</red>";
const char kHighlightEllipsis[] = "...";

namespace {

// A merged match: byte range [start, end) of the text.
struct Range {
  int start;
  int end;
};

// Characters beginning in [from, to).
int charsBetween(const char* text, int from, int to) {
  return to > from ? ac_utf8_len(text + from, to - from) : 0;
}

void appendBytes(_str_buffer_t* out, const char* text, int from, int to) {
  if (to > from) str_buffer_append(out, text + from, to - from);
}

void appendMarked(_str_buffer_t* out, const char* text, Range r, bool withTags) {
  if (withTags) str_buffer_append(out, kHighlightOpenTag);
  appendBytes(out, text, r.start, r.end);
  if (withTags) str_buffer_append(out, kHighlightCloseTag);
}

// Writes text[from, to) with every match lying wholly inside it marked.
void appendWindow(_str_buffer_t* out, const char* text, _DArray* positions, int from, int to,
                  bool withTags) {
  int pos = from;
  for (int i = 0; i < (int)darray_length(positions); ++i) {
    Range r = {0, 0};
    getPosFromArr(positions, r.start, r.end, i);
    if (r.start == r.end || r.start < from || r.end > to) continue;
    appendBytes(out, text, pos, r.start);
    appendMarked(out, text, r, withTags);
    pos = r.end;
  }
  appendBytes(out, text, pos, to);
}

// The longest merged match in characters (the first of equal ones); false
// when there is none.
bool longestRange(const char* text, _DArray* positions, Range* best, int* bestChars) {
  *bestChars = -1;
  for (int i = 0; i < (int)darray_length(positions); ++i) {
    Range r = {0, 0};
    getPosFromArr(positions, r.start, r.end, i);
    if (r.start == r.end) continue;
    const int chars = charsBetween(text, r.start, r.end);
    if (chars > *bestChars) {
      *best = r;
      *bestChars = chars;
    }
  }
  return *bestChars >= 0;
}

// A match longer than the abstract: its first maxChars characters alone.
void appendCutMatch(_str_buffer_t* out, const char* text, Range r, int before, int maxChars,
                    bool withTags) {
  if (before > 0) str_buffer_append(out, kHighlightEllipsis);
  Range cut = {r.start, r.start + ac_utf8_word_bytes(text + r.start, maxChars)};
  appendMarked(out, text, cut, withTags);
  if (text[cut.end] != '\0') str_buffer_append(out, kHighlightEllipsis);
}

}  // namespace

int abstract(const char* text, int n, _str_buffer_t* out) {
  if (text == nullptr || out == nullptr) return -1;
  const int bytes = ac_utf8_word_bytes(text, n);
  appendBytes(out, text, 0, bytes);
  if (text[bytes] != '\0') str_buffer_append(out, kHighlightEllipsis);
  return 0;
}

int only_highlight_abs(const char* text, _DArray* positions, int maxChars, _str_buffer_t* out,
                       bool withTags) {
  if (text == nullptr || positions == nullptr || out == nullptr || maxChars < 1) return -1;
  const size_t textLen = strlen(text);
  // Offsets are 32-bit in a position slot; longer texts cannot carry matches.
  if (textLen > 0x7FFFFFFF) return -1;
  mergePositions(positions, (int)textLen);
  Range best = {0, 0};
  int h = 0;
  if (!longestRange(text, positions, &best, &h)) return -1;

  if (ac_utf8_len(text) < maxChars) {
    appendWindow(out, text, positions, 0, (int)textLen, withTags);
    return 0;
  }
  const int before = ac_utf8_len(text, best.start);
  const int after = ac_utf8_len(text + best.end);
  if (h > maxChars) {
    appendCutMatch(out, text, best, before, maxChars, withTags);
    return 0;
  }
  const int spare = maxChars - h;
  int left = spare / 2;
  int right = spare - left;
  if (left > before) {
    right += left - before;
    left = before;
  }
  // The surplus goes back to the left without a second check against the
  // text before the match: the window then simply starts at the text start.
  if (right > after) left += right - after;

  int from = 0;
  if (before > left) {
    from = ac_utf8_word_bytes(text, before - left);
    if (from > best.start) from = best.start;
  }
  const int to =
      after > right ? best.end + ac_utf8_word_bytes(text + best.end, right) : (int)textLen;
  if (before > left) str_buffer_append(out, kHighlightEllipsis);
  appendWindow(out, text, positions, from, to, withTags);
  if (after > right) str_buffer_append(out, kHighlightEllipsis);
  return 0;
}

}  // namespace mobile_search
