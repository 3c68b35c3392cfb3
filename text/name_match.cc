#include "text/name_match.h"

#include <string.h>

#include "foundation/utf8_util.h"
#include "text/highlight_positions.h"
#include "text/name_spellings.h"
#include "text/pinyin_fuzzy.h"
#include "text/token_rules.h"

namespace mobile_search {

namespace {

struct Lookup {
  char word[kNameSpellingBytes];
  int len;
  int first;
  int last;
  bool found;
};

bool compareSpelling(const NameSpelling& sp, void* ctx) {
  Lookup* l = static_cast<Lookup*>(ctx);
  if (sp.len != l->len || memcmp(sp.text, l->word, static_cast<size_t>(sp.len)) != 0) return true;
  l->first = sp.first;
  l->last = sp.last;
  l->found = true;
  return false;
}

bool isHan(const char* p, const char* next) {
  if (next - p != 3) return false;
  WordType type = kWordNone;
  TokenRules::getWordType(p, 3, type);
  return type == kWordChina;
}

// Whether the first character that is not a separator or kept punctuation
// is Han: then the first run is where the name begins.
bool beginsWithHan(const char* text) {
  for (const char* p = text; *p != '\0';) {
    const unsigned char c = static_cast<unsigned char>(*p);
    if (c < 0x80 && (TokenRules::isStopWord(*p) || !(TokenRules::isZiMu(c) || TokenRules::isNumber(c)))) {
      ++p;
      continue;
    }
    return c >= 0x80 && isHan(p, ac_utf8_next(p));
  }
  return false;
}

// Looks the word up in one run [begin, end); pushes the covered range.
bool matchRun(const char* text, const char* begin, const char* end, bool isFirst,
              const TextOptions& options, Lookup* lookup, _DArray* positions) {
  NameRun run;
  nameRunBuild(begin, end, &run);
  NamePass passes[kMaxNamePasses];
  const int count = namePasses(run, begin, static_cast<int>(end - begin), isFirst,
                               options.nameReadings, passes, kMaxNamePasses);
  lookup->found = false;
  for (int p = 0; p < count && !lookup->found; ++p) {
    forEachNameSpelling(passes[p], run.n, isFirst, true, options.syllableMix, compareSpelling,
                        lookup);
  }
  if (!lookup->found) return false;
  const int from = static_cast<int>(begin - text) + run.offset[lookup->first];
  const int to = static_cast<int>(begin - text) + run.offset[lookup->last] + run.length[lookup->last];
  pushPosToArr(positions, from, to);
  return true;
}

bool matchSpelling(const char* text, const char* word, const TextOptions& options,
                   _DArray* positions) {
  Lookup lookup;
  lookup.len = static_cast<int>(strlen(word));
  if (lookup.len == 0 || lookup.len >= kNameSpellingBytes) return false;
  for (int i = 0; i <= lookup.len; ++i) {
    const char c = word[i];
    lookup.word[i] = (c >= 'a' && c <= 'z') ? static_cast<char>(c - 'a' + 'A') : c;
  }
  bool found = false;
  bool first = beginsWithHan(text);
  for (const char* p = text; *p != '\0';) {
    const char* next = ac_utf8_next(p);
    if (!isHan(p, next)) {
      p = next;
      continue;
    }
    const char* begin = p;
    do {
      p = next;
      next = *p != '\0' ? ac_utf8_next(p) : p;
    } while (*p != '\0' && isHan(p, next));
    found = matchRun(text, begin, p, first, options, &lookup, positions) || found;
    first = false;
  }
  return found;
}

}  // namespace

bool nameMatchWord(const char* text, const char* word, const TextOptions& options,
                   _DArray* positions) {
  if (text == nullptr || word == nullptr || positions == nullptr) return false;
  if (matchSpelling(text, word, options, positions)) return true;
  char variants[kMaxFuzzyVariants][kFuzzyWordBytes];
  const int n = pinyinFuzzyVariants(word, options.fuzzy, variants, kMaxFuzzyVariants);
  for (int i = 0; i < n; ++i) {
    if (matchSpelling(text, variants[i], options, positions)) return true;
  }
  return false;
}

}  // namespace mobile_search
