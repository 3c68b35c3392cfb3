// The pieces of the name options below the index: the surname list against
// the pinyin table, fuzzy variants, the plain spellings against the
// tokenizer's own pinyin tokens, and the bound on extra terms.
#include <gtest/gtest.h>
#include <string.h>

#include <algorithm>
#include <string>
#include <vector>

#include "foundation/hash.h"
#include "foundation/utf8_util.h"
#include "test_util.h"
#include "text/name_spellings.h"
#include "text/name_terms.h"
#include "text/pinyin_fuzzy.h"
#include "text/pinyin_tables.h"
#include "text/short_word_tokenizer.h"
#include "text/surname_readings.h"
#include "text/token_unit.h"

namespace mobile_search {
namespace {

std::string Readings(const char* hz) {
  const unsigned cp = ((hz[0] & 0x0F) << 12) | ((hz[1] & 0x3F) << 6) | (hz[2] & 0x3F);
  return std::string("|") + _pinyin_table_[cp - kPinyinFirstCode] + "|";
}

TEST(NameReadings, EverySurnameReadingIsOneOfTheCharactersReadings) {
  for (int i = 0; i < kSurnameReadingCount; ++i) {
    const SurnameReading& s = kSurnameReadings[i];
    const int chars = s.readings[1] == nullptr ? 1 : 2;
    ASSERT_EQ(3 * chars, (int)strlen(s.surname)) << s.surname;
    for (int c = 0; c < chars; ++c) {
      EXPECT_NE(std::string::npos, Readings(s.surname + 3 * c).find("|" + std::string(s.readings[c]) + "|"))
          << s.surname << " " << s.readings[c];
    }
  }
  // A compound surname is found before the character it begins with.
  EXPECT_STREQ("mo", findSurname("万俟雅", 9)->readings[0]);
  EXPECT_STREQ("zhang", findSurname("长孙无忌", 12)->readings[0]);
  EXPECT_STREQ("sun", findSurname("长孙无忌", 12)->readings[1]);
  EXPECT_EQ(nullptr, findSurname("万", 3)) << "万 alone reads wan as a surname";
  EXPECT_EQ(nullptr, findSurname("张三", 6));
}

TEST(PinyinFuzzy, VariantsClosestFirstAndBounded) {
  unsigned all = 0;
  ASSERT_TRUE(parsePinyinFuzzy("z-zh,c-ch,s-sh,n-l,l-r,f-h,an-ang,en-eng,in-ing", &all));
  char text[64];
  formatPinyinFuzzy(all, text, sizeof(text));
  EXPECT_STREQ("z-zh,c-ch,s-sh,n-l,l-r,f-h,an-ang,en-eng,in-ing", text);
  unsigned rules = 0;
  for (const char* bad : {"", "z-zh,", "zh-z", "z-zh,z-zh", "x-y", "off"}) {
    EXPECT_FALSE(parsePinyinFuzzy(bad, &rules)) << bad;
  }
  ASSERT_TRUE(parsePinyinFuzzy("an-ang,z-zh", &rules));
  formatPinyinFuzzy(rules, text, sizeof(text));
  EXPECT_STREQ("z-zh,an-ang", text);

  struct Case {
    const char* word;
    const char* rules;
    const char* variants;  // space-separated, in order
  } cases[] = {
      {"zangsan", "z-zh", "zhangsan"},
      // One change before two; zan+g is never cut out of zang.
      {"zangsan", "z-zh,an-ang", "zhangsan zansan zhansan zangsang zhangsang zansang zhansang"},
      {"ZHS", "z-zh,s-sh", "ZS ZHSH ZSH"},  // case kept; initials as pieces
      {"lan", "n-l,l-r", "nan ran"},
      {"xian", "in-ing,an-ang", "xiang"},  // one syllable, not xi+an
      {"hua", "f-h", ""},                  // fua is no syllable
      {"zhang3", "z-zh", ""},
      {"qqqq", "z-zh", ""},
  };
  for (const Case& c : cases) {
    unsigned r = 0;
    ASSERT_TRUE(parsePinyinFuzzy(c.rules, &r));
    char out[kMaxFuzzyVariants][kFuzzyWordBytes];
    const int n = pinyinFuzzyVariants(c.word, r, out, kMaxFuzzyVariants);
    std::string got;
    for (int i = 0; i < n; ++i) got += (i ? " " : "") + std::string(out[i]);
    EXPECT_EQ(c.variants, got) << c.word << " " << c.rules;
  }
  // A long query: never more than asked for.
  char out[kMaxFuzzyVariants][kFuzzyWordBytes];
  EXPECT_EQ(kMaxFuzzyVariants,
            pinyinFuzzyVariants("zhangsanlisiwangwuzhaoliu", all, out, kMaxFuzzyVariants));
}

struct Collect {
  std::vector<unsigned long long> tokens;
};

bool collect(const NameSpelling& sp, void* ctx) {
  static_cast<Collect*>(ctx)->tokens.push_back(
      token_pack(idx_sign32(sp.text, (unsigned)sp.len), sp.count, sp.bits));
  return true;
}

// The plain spellings are the tokenizer's own pinyin tokens, count and bits
// included, so that another reading's terms weigh as the plain ones.
TEST(NameSpellings, PlainSpellingsAreTheTokenizersPinyinTokens) {
  TokenRules rules;
  ShortWordTokenizer tokenizer(&rules);
  for (const char* run : {"张三", "张三丰", "欧阳娜娜", "阿一二三四五六七八九十", "超超"}) {
    for (bool isFirst : {true, false}) {
      _str_buffer_t* word = str_buffer_create(run);
      _DArray* out = darray_create(nullptr, false);
      ASSERT_GT(tokenizer.wordPinYinTokenizer(word, isFirst, out), 0);
      std::vector<unsigned long long> expected = ks_test::Slots(out);
      darray_destroy(out);
      str_buffer_free(word);

      NameRun names;
      nameRunBuild(run, run + strlen(run), &names);
      NamePass pass;
      ASSERT_EQ(1, namePasses(names, run, (int)strlen(run), isFirst, kNameReadingsOff, &pass, 1));
      Collect c;
      forEachNameSpelling(pass, names.n, isFirst, true, false, collect, &c);
      std::sort(expected.begin(), expected.end());
      std::sort(c.tokens.begin(), c.tokens.end());
      EXPECT_EQ(expected, c.tokens) << run << " " << isFirst;
    }
  }
}

TEST(NameSpellings, ExtraTermsAreBoundedAndNeverRepeatPlainOnes) {
  // Ten polyphones, every reading of each, mixed syllables: the cartesian
  // product would be thousands of spellings.
  const char* run = "长乐行重单曾解朴查种";
  TextOptions o;
  o.nameReadings = kNameReadingsAllCommon;
  o.syllableMix = true;
  NameRun names;
  nameRunBuild(run, run + strlen(run), &names);
  NamePass passes[kMaxNamePasses];
  EXPECT_EQ(kMaxNamePasses, namePasses(names, run, (int)strlen(run), true, o.nameReadings, passes,
                                       kMaxNamePasses));
  _str_buffer_t* word = str_buffer_create(run);
  _DArray* out = darray_create(nullptr, false);
  NameTermBudget budget;
  EXPECT_EQ(kMaxExtraNameTerms, appendExtraNameTerms(word, true, o, &budget, out));
  EXPECT_EQ(0, appendExtraNameTerms(word, true, o, &budget, out)) << "the budget is per value";
  // None of them is a plain pinyin term of the run.
  TokenRules rules;
  ShortWordTokenizer tokenizer(&rules);
  _DArray* plain = darray_create(nullptr, false);
  tokenizer.wordPinYinTokenizer(word, true, plain);
  for (unsigned i = 0; i < darray_length(out); ++i) {
    const unsigned sign = token_unpack(darray_get_by_index(out, i)).sign;
    for (unsigned j = 0; j < darray_length(plain); ++j) {
      ASSERT_NE(sign, token_unpack(darray_get_by_index(plain, j)).sign);
    }
  }
  darray_destroy(plain);
  darray_destroy(out);
  str_buffer_free(word);
}

}  // namespace
}  // namespace mobile_search
