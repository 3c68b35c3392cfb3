#include "text/short_word_tokenizer.h"

#include <string.h>

#include <new>

#include "foundation/utf8_util.h"
#include "text/full_spelling_walk.h"
#include "text/name_terms.h"
#include "text/pinyin.h"
#include "text/word_lists.h"

namespace mobile_search {

namespace {

const int kNameMaxLen = 4;
const int kPinyinChars = 10;     // characters of a run that get pinyin
const int kInitialsMaxLen = 5;
const int kSyllablesPerStart = 5;

int syllableLen(const _DArray* readings, int i) {
  return str_buffer_len(WordLists::word(readings, static_cast<unsigned int>(i)));
}

// The readings of up to 10 characters of a run, one pinyin_t per character
// that has one, freed on scope exit.
struct RunReadings {
  pinyin_t* chars[kPinyinChars] = {};
  int count[kPinyinChars] = {};
  int n = 0;

  explicit RunReadings(const _str_buffer_t* word) {
    const char* const end = word->data + word->len;
    for (const char* c = word->data; c < end && n < kPinyinChars;) {
      const char* next = ac_utf8_next(c);
      pinyin_t* p = hz2py(c, static_cast<int>(next - c));
      if (p != nullptr) {
        chars[n] = p;
        count[n++] = p->count;
      }
      c = next;
    }
  }
  ~RunReadings() {
    for (int i = 0; i < n; ++i) pinyin_t_free(chars[i]);
  }
  RunReadings(const RunReadings&) = delete;
  RunReadings& operator=(const RunReadings&) = delete;

  const char* reading(int i, int cursor) const {
    return slot_as<const char>(darray_get_by_index(chars[i]->list, static_cast<unsigned int>(cursor)));
  }
};

}  // namespace

int ShortWordTokenizer::wordTokenizer(const char* text, _DArray* out,
                                      const TextOptions& options) {
  WordLists lists;
  if (!lists.valid()) return -1;
  WordType first = kWordNone;
  TokenRules::worldSplit(false, text, lists.cn, lists.en, lists.num, lists.other, lists.foreign,
                         first, options);
  NameTermBudget* names = nullptr;
  if (options.extraNameTerms()) {
    names = new (std::nothrow) NameTermBudget();
    if (names == nullptr) return -1;
  }
  for (unsigned int i = 0; i < darray_length(lists.cn); ++i) {
    const _str_buffer_t* run = WordLists::word(lists.cn, i);
    const bool isFirst = i == 0 && first == kWordChina;
    if (BaseTokenizer::wordInputTokenizer(run, isFirst, out, kNameMaxLen) < 0 ||
        wordPinYinTokenizer(run, isFirst, out) < 0 ||
        (names != nullptr && appendExtraNameTerms(run, isFirst, options, names, out) < 0)) {
      delete names;
      return -1;
    }
  }
  delete names;
  if (listInputTokenizer(lists.foreign, first == kWordOther, out, kNameMaxLen) < 0 ||
      latinInputTokenizer(lists, first, out, options) < 0) {
    return -1;
  }
  return 0;
}

int ShortWordTokenizer::wordInputTokenizer(const _str_buffer_t* word, bool isFirst, _DArray* out) {
  if (word == nullptr || word->len <= 0 || out == nullptr) return 0;
  const int n = word->len < kPinyinChars ? word->len : kPinyinChars;
  int appended = 0;
  for (int s = 0; s < n; ++s) {
    for (int l = 1; l <= kInitialsMaxLen && s + l <= n; ++l) {
      unsigned char bits = kMatchPinYin;
      if (s == 0 && isFirst) bits |= kMatchFirst;
      if (s == 0 && l == word->len) bits |= kMatchAll;
      const char* begin = word->data + s;
      if (!appendTerm(begin, begin + l, static_cast<unsigned char>(l), bits, true, out)) return -1;
      ++appended;
    }
  }
  return appended;
}

int ShortWordTokenizer::wordPinYinTokenizer(const _str_buffer_t* word, bool isFirst, _DArray* out) {
  if (word == nullptr || word->len <= 0 || out == nullptr) return 0;
  RunReadings run(word);
  if (run.n == 0) return 0;
  int cursor[kPinyinChars];
  restPinyinPostion(cursor, run.count, -1, run.n);
  int appended = 0;
  do {
    _DArray* readings = darray_create(str_buffer_free, true);
    _str_buffer_t* initials = str_buffer_create(kPinyinChars);
    _str_buffer_t* full = str_buffer_create(kPinyinChars * 7);
    int result = readings && initials && full ? 0 : -1;
    for (int i = 0; i < run.n && result == 0; ++i) {
      const char* r = run.reading(i, cursor[i]);
      _str_buffer_t* syllable = str_buffer_create(r);
      if (syllable == nullptr || darray_append(readings, syllable) != RET_OK) {
        str_buffer_free(syllable);
        result = -1;
        break;
      }
      str_buffer_toupper(syllable);
      str_buffer_append(initials, syllable->data, 1);
      str_buffer_append(full, syllable);
    }
    if (result == 0) result = wordInputTokenizer(initials, isFirst, out);
    for (int s = 0; s < run.n && result >= 0; ++s) {
      const int n = pinyinCovertAndTokenizer(readings, s, out, full, isFirst);
      result = n < 0 ? -1 : result + n;
    }
    darray_destroy(readings);
    str_buffer_free(initials);
    str_buffer_free(full);
    if (result < 0) return -1;
    appended += result;
  } while (mathPinyinPosition(cursor, run.count, run.n));
  return appended;
}

int ShortWordTokenizer::pinyinCovertAndTokenizer(const _DArray* readings, int s, _DArray* out,
                                                 const _str_buffer_t* full, bool isFirst) {
  if (readings == nullptr || full == nullptr || out == nullptr || s > kPinyinChars) return -1;
  const int n = static_cast<int>(darray_length(readings));
  if (s >= n) return 0;
  int last = s + kSyllablesPerStart - 1;
  if (last > kPinyinChars - 1) last = kPinyinChars - 1;
  if (last > n - 1) last = n - 1;
  const int offset = indexPinyinLen(readings, 0, s);
  const int limit = indexPinyinLen(readings, s, last + 1);
  if (offset > full->len) return 0;
  return pinyinCovertAndTokenizerUtil(full->data + offset, limit, readings, out, s, isFirst);
}

int ShortWordTokenizer::pinyinCovertAndTokenizerUtil(const char* str, int limit,
                                                     const _DArray* readings, _DArray* out,
                                                     int s, bool isFirst) {
  if (str == nullptr || readings == nullptr || out == nullptr || s < 0 || s > kPinyinChars) {
    return -1;
  }
  const int n = static_cast<int>(darray_length(readings));
  const int remaining = static_cast<int>(strlen(str));
  const int maxLen = remaining < limit ? remaining : limit;
  int lens[kPinyinChars + 1] = {0};
  for (int i = 0; i < n && i <= kPinyinChars; ++i) lens[i] = syllableLen(readings, i);
  FullSpellingWalk walk(lens, n < kPinyinChars + 1 ? n : kPinyinChars + 1, s, maxLen, isFirst);
  int appended = 0;
  for (int l = 1; l <= maxLen; ++l) {
    if (!walk.indexed(l)) continue;
    unsigned char count = 0;
    unsigned char bits = 0;
    walk.step(l, &count, &bits);
    if (!appendTerm(str, str + l, count, bits, false, out)) return -1;
    ++appended;
  }
  return appended;
}

int ShortWordTokenizer::indexPinyinLen(const _DArray* readings, int from, int to) {
  int total = 0;
  for (int i = from; i < to; ++i) total += syllableLen(readings, i);
  return total;
}

bool ShortWordTokenizer::mathPinyinPosition(int* cursor, const int* count, int n) {
  for (int i = n - 1; i >= 0; --i) {
    if (cursor[i] > 0) {
      --cursor[i];
      restPinyinPostion(cursor, count, i, n);
      return true;
    }
  }
  return false;
}

void ShortWordTokenizer::restPinyinPostion(int* cursor, const int* count, int i, int n) {
  for (int j = i + 1; j < n; ++j) cursor[j] = count[j] - 1;
}

}  // namespace mobile_search
