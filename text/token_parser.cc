#include "text/token_parser.h"

#include <stdlib.h>
#include <string.h>

#include "foundation/logging.h"
#include "foundation/string_buffer.h"
#include "foundation/utf8_util.h"
#include "storage/index_manager.h"
#include "text/pinyin_fuzzy.h"
#include "text/simplified_fold.h"
#include "text/word_lists.h"

namespace mobile_search {

namespace {

const int kQueryNameChars = 4;

// A copy of the value with separators turned into spaces and cut after
// kMaxFieldChars characters; malloc'ed, null on failure.
char* prepareValue(const char* value) {
  // Separators are ASCII bytes and become spaces, which leaves every
  // character boundary in place: the cut can be measured on the value, and
  // only the kept bytes are copied.
  const size_t n = static_cast<size_t>(ac_utf8_word_bytes(value, TokenParser::kMaxFieldChars));
  char* copy = static_cast<char*>(malloc(n + 1));
  if (copy == nullptr) return nullptr;
  for (size_t i = 0; i < n; ++i) copy[i] = TokenRules::isStopWord(value[i]) ? ' ' : value[i];
  copy[n] = 0;
  return copy;
}

// One token per space-separated word, as it is: count = bytes, bit 1.
int wholeWordTokens(const char* copy, _DArray* words, _DArray* tokens) {
  ac_str_splict(copy, static_cast<int>(strlen(copy)), ' ', words);
  for (unsigned int i = 0; i < darray_length(words); ++i) {
    const _str_buffer_t* w = WordLists::word(words, i);
    if (!BaseTokenizer::appendTerm(w->data, w->data + w->len, token_count(w->len), kMatchAll,
                                   false, tokens)) {
      return -1;
    }
  }
  return 0;
}

// Keeps only the signs of the slots from `from` on: query terms carry no
// count or bits.
void clearToSigns(_DArray* out, unsigned int from) {
  for (unsigned int i = from; i < darray_length(out); ++i) {
    darray_set_by_index(out, i, token_pack(token_unpack(darray_get_by_index(out, i)).sign, 0, 0));
  }
}

int appendUpperTerms(const _DArray* words, _DArray* out) {
  for (unsigned int i = 0; i < darray_length(words); ++i) {
    const _str_buffer_t* w = WordLists::word(words, i);
    if (!BaseTokenizer::appendTerm(w->data, w->data + w->len, 0, 0, true, out)) return -1;
  }
  return 0;
}

// The query terms of both lists: Han and other-script runs (list A) give
// the terms runTerms makes of them, then every Latin word, digit run or kept
// punctuation run (list B) one upper-cased term; sorted by sign. 0 or -1.
template <typename RunTerms>
int fillQueryTerms(const char* query, _DArray* out, const TextOptions& options,
                   RunTerms runTerms) {
  if (out == nullptr) return -1;
  WordLists lists;
  if (!lists.valid()) return -1;
  char* folded = options.foldSimplified ? fold_simplified(query, nullptr) : nullptr;
  if (options.foldSimplified && query != nullptr && folded == nullptr) return -1;
  WordType first = kWordNone;
  TokenRules::worldSplit(true, folded != nullptr ? folded : query, lists.cn, lists.en, lists.en,
                         lists.en, lists.cn, first, options);
  free(folded);
  for (unsigned int i = 0; i < darray_length(lists.cn); ++i) {
    const unsigned int from = darray_length(out);
    if (runTerms(WordLists::word(lists.cn, i), out) < 0) return -1;
    clearToSigns(out, from);
  }
  if (appendUpperTerms(lists.en, out) < 0) return -1;
  return darray_merge_sort(out, darray_length(out), token_cmp) == RET_OK ? 0 : -1;
}

}  // namespace

TokenParser::TokenParser() : short_(nullptr), long_(nullptr), rules_(nullptr) {
  rules_ = new TokenRules();
  short_ = new ShortWordTokenizer(rules_);
  long_ = new LongWordTokenizer(rules_);
}

TokenParser::~TokenParser() {
  delete short_;
  delete long_;
  delete rules_;
  short_ = nullptr;
  long_ = nullptr;
  rules_ = nullptr;
}

int TokenParser::wordTokenizer(const char* text, _DArray* out, TokenStyle style) {
  return wordTokenizer(text, out, style, TextOptions());
}

int TokenParser::wordTokenizer(const char* text, _DArray* out, TokenStyle style,
                               const TextOptions& options) {
  if (style == TOKEN_STYLE_SHORT) return short_->wordTokenizer(text, out, options);
  return long_->wordTokenizer(text, out, options);
}

int TokenParser::fieldTokenizer(int docId, int fieldIndex, const char* value, bool pinyin,
                                bool noToken, bool autoSave, IndexManager* index) {
  return fieldTokenizer(docId, fieldIndex, value, pinyin, noToken, autoSave, index,
                        TextOptions());
}

int TokenParser::fieldTokenizer(int docId, int fieldIndex, const char* value, bool pinyin,
                                bool noToken, bool autoSave, IndexManager* index,
                                const TextOptions& options) {
  if (value == nullptr || *value == 0 || index == nullptr) return -1;
  const int fullChars = ac_utf8_len(value);
  if (fullChars <= 0) return -1;
  _DArray* tokens = darray_create(nullptr, false);
  _DArray* words = darray_create(str_buffer_free, true);
  // Folding keeps the character count, so the cut and the weights are those
  // of the value as given.
  char* folded = options.foldSimplified ? fold_simplified(value, nullptr) : nullptr;
  char* copy = options.foldSimplified && folded == nullptr
                   ? nullptr
                   : prepareValue(folded != nullptr ? folded : value);
  free(folded);
  int result = tokens && words && copy ? 0 : -1;
  if (result == 0) {
    result = noToken ? wholeWordTokens(copy, words, tokens)
                     : wordTokenizer(copy, tokens, pinyin ? TOKEN_STYLE_SHORT : TOKEN_STYLE_LONG,
                                     options);
  }
  if (result == 0) {
    darray_shell_sort(tokens, token_cmp);
    if (autoSave) index->setAutoSave(false);
    const unsigned int n = darray_length(tokens);
    unsigned char w = 0;
    unsigned char b = 0;
    int terms = 0;
    // The slot after the last one reads as 0.
    token_unit_t next = token_unpack(darray_get_by_index(tokens, 0));
    for (unsigned int i = 0; i < n; ++i) {
      const token_unit_t t = next;
      next = token_unpack(darray_get_by_index(tokens, i + 1));
      w = static_cast<unsigned char>(w + t.count);
      if (next.sign == t.sign) {
        TokenRules::mergeWeigthExt(b, t.bits, next.bits);
        continue;
      }
      TokenRules::mergeWeigthExt(b, t.bits, t.bits);
      TokenRules::mathBaseWeight(w, fullChars);
      ++terms;
      if (index->addTerm(t.sign, static_cast<unsigned int>(docId),
                         static_cast<unsigned char>(fieldIndex), w, b) < 0) {
        log_printf("docId:%d field_val:%s failed \n", docId, value);
        result = -1;
        break;
      }
      w = 0;
      b = 0;
    }
    if (result == 0 && autoSave) index->saveRecentTerms(terms);
  }
  free(copy);
  darray_destroy(words);
  darray_destroy(tokens);
  return result;
}

int TokenParser::fillQueryArray(const char* query, _DArray* out) {
  return fillQueryArray(query, out, TextOptions());
}

int TokenParser::fillQueryTokenArray(const char* query, _DArray* out) {
  return fillQueryTokenArray(query, out, TextOptions());
}

int TokenParser::fillQueryArray(const char* query, _DArray* out, const TextOptions& options) {
  LongWordTokenizer* tokenizer = long_;
  return fillQueryTerms(query, out, options, [tokenizer](const _str_buffer_t* run, _DArray* terms) {
    if (ac_utf8_cn_word_num(run->data) > kQueryNameChars) {
      return tokenizer->wordInputTokenizer(run, false, terms, kQueryNameChars) < 0 ? -1 : 0;
    }
    return BaseTokenizer::appendTerm(run->data, run->data + run->len, 0, 0, false, terms) ? 0 : -1;
  });
}

int TokenParser::fillQueryTokenArray(const char* query, _DArray* out,
                                     const TextOptions& options) {
  LongWordTokenizer* tokenizer = long_;
  return fillQueryTerms(query, out, options, [tokenizer](const _str_buffer_t* run, _DArray* terms) {
    return tokenizer->wordSingleTokenizer(run, false, terms) < 0 ||
                   tokenizer->wordDoubleTokenizer(run, false, terms) < 0
               ? -1
               : 0;
  });
}

namespace {

// A copy of `exact` with the term `from` replaced by `to`, sorted; null when
// `exact` lacks `from` or memory runs out.
_DArray* replaceTerm(const _DArray* exact, unsigned int from, unsigned int to) {
  _DArray* list = darray_create(nullptr, false);
  bool replaced = false;
  for (unsigned int i = 0; list != nullptr && i < darray_length(exact); ++i) {
    unsigned int sign = token_unpack(darray_get_by_index(exact, i)).sign;
    if (sign == from && !replaced) {
      sign = to;
      replaced = true;
    }
    if (darray_append(list, token_pack(sign, 0, 0)) != RET_OK) replaced = false;
  }
  if (!replaced) {
    darray_destroy(list);
    return nullptr;
  }
  darray_shell_sort(list, token_cmp);
  darray_uniq(list, token_cmp);
  return list;
}

bool lettersOnly(const _str_buffer_t* w) {
  for (int i = 0; i < w->len; ++i) {
    if (!TokenRules::isZiMu(static_cast<unsigned char>(w->data[i]))) return false;
  }
  return w->len > 0;
}

unsigned int upperSign(const char* s, int n) {
  _DArray* one = darray_create(nullptr, false);
  unsigned int sign = 0;
  if (one != nullptr && BaseTokenizer::appendTerm(s, s + n, 0, 0, true, one)) {
    sign = token_unpack(darray_get_by_index(one, 0)).sign;
  }
  darray_destroy(one);
  return sign;
}

}  // namespace

int TokenParser::fillQueryAlternatives(const char* query, const _DArray* exact,
                                       _DArray** alternatives, int max,
                                       const TextOptions& options) {
  if (options.fuzzy == 0 || query == nullptr || exact == nullptr || alternatives == nullptr) {
    return 0;
  }
  WordLists lists;
  if (!lists.valid()) return 0;
  char* folded = options.foldSimplified ? fold_simplified(query, nullptr) : nullptr;
  WordType first = kWordNone;
  TokenRules::worldSplit(true, folded != nullptr ? folded : query, lists.cn, lists.en, lists.en,
                         lists.en, lists.cn, first, options);
  free(folded);
  int count = 0;
  for (unsigned int i = 0; i < darray_length(lists.en) && count < max; ++i) {
    const _str_buffer_t* word = WordLists::word(lists.en, i);
    if (!lettersOnly(word)) continue;
    char variants[kMaxFuzzyVariants][kFuzzyWordBytes];
    const int n = pinyinFuzzyVariants(word->data, options.fuzzy, variants, kMaxFuzzyVariants);
    const unsigned int from = upperSign(word->data, word->len);
    for (int v = 0; v < n && count < max; ++v) {
      _DArray* list =
          replaceTerm(exact, from, upperSign(variants[v], static_cast<int>(strlen(variants[v]))));
      if (list != nullptr) alternatives[count++] = list;
    }
  }
  return count;
}

}  // namespace mobile_search
