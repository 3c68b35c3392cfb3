#include "text/base_tokenizer.h"

#include <stdlib.h>

#include "foundation/hash.h"
#include "foundation/utf8_util.h"
#include "text/word_lists.h"

namespace mobile_search {

namespace {

const int kAsciiSpan = 20;
const int kNonAsciiSpan = 10;
const int kLatinMaxLen = 20;
const int kMinInfixRun = 4;     // shorter digit runs get no suffixes
const int kMaxInfixTerms = 64;  // suffixes per field value

inline char upperAscii(char c) { return (c >= 'a' && c <= 'z') ? static_cast<char>(c - 32) : c; }

}  // namespace

int token_cmp(unsigned long long a, unsigned long long b) {
  const unsigned int sa = static_cast<unsigned int>(a);
  const unsigned int sb = static_cast<unsigned int>(b);
  return sa == sb ? 0 : (sa > sb ? 1 : -1);
}

bool BaseTokenizer::appendTerm(const char* begin, const char* end, unsigned char count,
                               unsigned char bits, bool upper, _DArray* out) {
  const unsigned int n = static_cast<unsigned int>(end - begin);
  unsigned int sign;
  if (!upper) {
    sign = idx_sign32(begin, n);
  } else {
    // Terms are short; a long whole-run term only reaches here unfolded.
    char local[64] = {0};
    char* term = n <= sizeof(local) ? local : static_cast<char*>(malloc(n));
    if (term == nullptr) return false;
    for (unsigned int i = 0; i < n; ++i) term[i] = upperAscii(begin[i]);
    sign = idx_sign32(term, n);
    if (term != local) free(term);
  }
  return darray_append(out, token_pack(sign, count, bits)) == RET_OK;
}

int BaseTokenizer::wordInputTokenizer(const _str_buffer_t* word, bool isFirst, _DArray* out,
                                      int maxLen) {
  if (word == nullptr || word->len <= 0 || out == nullptr) return 0;
  const char* const wordEnd = word->data + word->len;
  const bool ascii = static_cast<unsigned char>(word->data[0]) < 0x80;
  const int span = ascii ? kAsciiSpan : kNonAsciiSpan;
  int appended = 0;
  int s = 0;  // start, in characters
  int k = 0;  // characters added beyond the first, from this start
  const char* start = word->data;
  const char* end = start;
  while (start < wordEnd) {
    end = ac_utf8_next(end);
    if (end > wordEnd) end = wordEnd;
    unsigned char bits = kMatchAccurate;
    if (s == 0 && isFirst) bits |= kMatchFirstAndAccurate;
    if (s == 0 && end == wordEnd) bits |= kMatchAll;
    const unsigned char count = static_cast<unsigned char>(k + 1);
    if (end != wordEnd) {
      ++k;
      if (k != maxLen && s + k != span) {
        if (!appendTerm(start, end, count, bits, true, out)) return -1;
        ++appended;
        continue;
      }
    }
    // The term ends the word, reached maxLen or reached the span limit.
    if (!appendTerm(start, end, count, bits, true, out)) return -1;
    ++appended;
    if (ascii) break;
    if (++s == span) break;
    start = ac_utf8_next(start);
    end = start;
    k = 0;
  }
  return appended;
}

int BaseTokenizer::listInputTokenizer(const _DArray* words, bool firstClass, _DArray* out,
                                      int maxLen) {
  int total = 0;
  for (unsigned int i = 0; i < darray_length(words); ++i) {
    const _str_buffer_t* word = slot_as<const _str_buffer_t>(darray_get_by_index(words, i));
    const int n = wordInputTokenizer(word, i == 0 && firstClass, out, maxLen);
    if (n < 0) return -1;
    total += n;
  }
  return total;
}

int BaseTokenizer::latinInputTokenizer(const WordLists& lists, WordType first, _DArray* out,
                                       const TextOptions& options) {
  const int en = listInputTokenizer(lists.en, first == kWordZiMu, out, kLatinMaxLen);
  if (en < 0) return -1;
  const int num = listInputTokenizer(lists.num, first == kWordNumber, out, kLatinMaxLen);
  if (num < 0) return -1;
  const int other = listInputTokenizer(lists.other, false, out, kLatinMaxLen);
  if (other < 0) return -1;
  const int infix =
      options.infixDigits > 0 ? digitSuffixTokenizer(lists.num, options.infixDigits, out) : 0;
  return infix < 0 ? -1 : en + num + other + infix;
}

int BaseTokenizer::digitSuffixTokenizer(const _DArray* runs, int minDigits, _DArray* out) {
  int appended = 0;
  for (unsigned int i = 0; i < darray_length(runs); ++i) {
    const _str_buffer_t* run = slot_as<const _str_buffer_t>(darray_get_by_index(runs, i));
    if (run == nullptr || run->len < kMinInfixRun) continue;
    const char* const end = run->data + run->len;
    for (int l = minDigits; l < run->len && l <= kAsciiSpan; ++l) {
      if (appended == kMaxInfixTerms) return appended;
      // Digits have no case: signed as they are.
      if (!appendTerm(end - l, end, static_cast<unsigned char>(l), 0, false, out)) return -1;
      ++appended;
    }
  }
  return appended;
}

}  // namespace mobile_search
