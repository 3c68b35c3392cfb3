#include "text/long_word_tokenizer.h"

#include "foundation/utf8_util.h"
#include "text/word_lists.h"

namespace mobile_search {

namespace {

bool isSingleByteSeparator(const char* c, const char* next) {
  return next - c == 1 && TokenRules::isStopWord(*c);
}

}  // namespace

int LongWordTokenizer::wordTokenizer(const char* text, _DArray* out, const TextOptions& options) {
  WordLists lists;
  if (!lists.valid()) return -1;
  WordType first = kWordNone;
  // Other scripts share the Han list: they are cut the same way.
  TokenRules::worldSplit(false, text, lists.cn, lists.en, lists.num, lists.other, lists.cn, first,
                         options);
  if (latinInputTokenizer(lists, first, out, options) < 0) return -1;
  for (unsigned int i = 0; i < darray_length(lists.cn); ++i) {
    const _str_buffer_t* run = WordLists::word(lists.cn, i);
    const bool isFirst = i == 0 && first == kWordChina;
    if (wordSingleTokenizer(run, isFirst, out) < 0 || wordDoubleTokenizer(run, isFirst, out) < 0 ||
        wordWholeTokenizer(run, isFirst, out) < 0) {
      return -1;
    }
  }
  return 0;
}

int LongWordTokenizer::wordSingleTokenizer(const _str_buffer_t* word, bool /*isFirst*/,
                                           _DArray* out) {
  if (word == nullptr || word->len <= 0 || out == nullptr) return 0;
  const char* const end = word->data + word->len;
  int appended = 0;
  for (const char* c = word->data; c < end;) {
    const char* next = ac_utf8_next(c);
    if (!isSingleByteSeparator(c, next)) {
      if (!appendTerm(c, next, 1, 0, true, out)) return -1;
      ++appended;
    }
    c = next;
  }
  return appended;
}

int LongWordTokenizer::wordDoubleTokenizer(const _str_buffer_t* word, bool /*isFirst*/,
                                           _DArray* out) {
  if (word == nullptr || word->len <= 0 || out == nullptr) return 0;
  const char* const end = word->data + word->len;
  int appended = 0;
  const char* prev = nullptr;  // start of the previous character, if pairable
  for (const char* c = word->data; c < end;) {
    const char* next = ac_utf8_next(c);
    if (isSingleByteSeparator(c, next)) {
      prev = nullptr;
    } else {
      if (prev != nullptr) {
        if (!appendTerm(prev, next, 2, 0, true, out)) return -1;
        ++appended;
      }
      prev = c;
    }
    c = next;
  }
  return appended;
}

int LongWordTokenizer::wordWholeTokenizer(const _str_buffer_t* word, bool /*isFirst*/,
                                          _DArray* out) {
  if (word == nullptr || word->len <= 0 || out == nullptr) return 0;
  const unsigned char count = token_count(ac_utf8_len(word->data));
  return appendTerm(word->data, word->data + word->len, count, kMatchAll, false, out) ? 1 : -1;
}

}  // namespace mobile_search
