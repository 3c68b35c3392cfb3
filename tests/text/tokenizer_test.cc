#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "tests/text/token_expect.h"
#include "text/long_word_tokenizer.h"
#include "text/short_word_tokenizer.h"
#include "text/token_parser.h"

namespace mobile_search {
namespace {

using ks_test::Actual;
using ks_test::Expected;
using ks_test::Term;
using ks_test::TokenList;

struct Case {
  const char* text;
  std::vector<Term> terms;
};

// Bits: 1 all, 2 first, 4 pinyin, 8 accurate, 16 first-and-accurate.
const Case kShortCases[] = {
    {"张三",
     {{"张", 1, 24}, {"张三", 2, 25}, {"三", 1, 8},                  // substrings
      {"Z", 1, 6}, {"ZS", 2, 7}, {"S", 1, 4},                         // initials
      {"ZH", 1, 6}, {"ZHA", 1, 6}, {"ZHAN", 1, 6}, {"ZHANG", 1, 30},  // from ZHANG
      {"ZHANGS", 2, 6}, {"ZHANGSA", 2, 6}, {"ZHANGSAN", 2, 31},
      {"SA", 1, 4}, {"SAN", 1, 12}}},                                 // from SAN
    // A one-letter syllable alone counts 0 characters.
    {"阿姨",
     {{"阿", 1, 24}, {"阿姨", 2, 25}, {"姨", 1, 8},
      {"A", 1, 6}, {"AY", 2, 7}, {"Y", 1, 4},
      {"A", 0, 30}, {"AY", 2, 6}, {"AYI", 2, 31},
      {"YI", 1, 12}}},
    {"李 Li",
     {{"李", 1, 25}, {"L", 1, 7}, {"LI", 1, 31}, {"L", 1, 8}, {"LI", 2, 9}}},
    // Kana: substrings only, no pinyin; the text begins with another script.
    {"かな", {{"か", 1, 24}, {"かな", 2, 25}, {"な", 1, 8}}},
    {"Tom", {{"T", 1, 24}, {"TO", 2, 24}, {"TOM", 3, 25}}},
    {"7号", {{"号", 1, 9}, {"H", 1, 5}, {"HA", 1, 4}, {"HAO", 1, 29}, {"7", 1, 25}}},
    {"", {}},
};

const Case kLongCases[] = {
    {"中华人民",
     {{"中", 1, 0}, {"华", 1, 0}, {"人", 1, 0}, {"民", 1, 0},
      {"中华", 2, 0}, {"华人", 2, 0}, {"人民", 2, 0}, {"中华人民", 4, 1}}},
    {"中", {{"中", 1, 0}, {"中", 1, 1}}},
    {"Hi 中文",
     {{"H", 1, 24}, {"HI", 2, 25}, {"中", 1, 0}, {"文", 1, 0}, {"中文", 2, 0}, {"中文", 2, 1}}},
    {"a-b", {{"A", 1, 25}, {"B", 1, 9}, {"-", 1, 9}}},
    {"12ab", {{"A", 1, 8}, {"AB", 2, 9}, {"1", 1, 24}, {"12", 2, 25}}},
    {"かな", {{"か", 1, 0}, {"な", 1, 0}, {"かな", 2, 0}, {"かな", 2, 1}}},
    // Bad input: everything from an undecodable character on is dropped.
    {"中\xC3\xA9文abc", {{"中", 1, 0}, {"中", 1, 1}}},
    {"\x80\x80", {}},
    {"😀a", {{"A", 1, 9}, {"😀", 1, 0}, {"😀", 1, 1}}},
    {",.<~", {}},
    // Other scripts are runs of their own, indexed like Chinese.
    {"한국ف", {{"한", 1, 0}, {"국", 1, 0}, {"한국", 2, 0}, {"한국", 2, 1}, {"ف", 1, 0}, {"ف", 1, 1}}},
    {"中1中", {{"1", 1, 9}, {"中", 1, 0}, {"中", 1, 1}, {"中", 1, 0}, {"中", 1, 1}}},
};

template <size_t N>
void ExpectTokens(BaseTokenizer& tokenizer, const Case (&cases)[N]) {
  for (const Case& c : cases) {
    TokenList out;
    EXPECT_EQ(0, tokenizer.wordTokenizer(c.text, out.arr)) << c.text;
    EXPECT_EQ(Expected(c.terms), Actual(out.arr, c.terms)) << c.text;
  }
}

TEST(ShortWordTokenizer, NamesGiveSubstringsPinyinAndInitials) {
  TokenRules rules;
  ShortWordTokenizer tokenizer(&rules);
  ExpectTokens(tokenizer, kShortCases);
  TokenList out;
  EXPECT_EQ(0, tokenizer.wordTokenizer(nullptr, out.arr));
  EXPECT_EQ(0u, out.size());
}

TEST(ShortWordTokenizer, OnlyTheFirstTenCharactersOfANameCount) {
  TokenRules rules;
  ShortWordTokenizer tokenizer(&rules);
  TokenList twelve, ten, substrings;
  ASSERT_EQ(0, tokenizer.wordTokenizer("一二三四五六七八九十百千", twelve.arr));
  ASSERT_EQ(0, tokenizer.wordTokenizer("一二三四五六七八九十", ten.arr));
  EXPECT_EQ(ten.slots(), twelve.slots());
  // Substrings of at most 4 characters: 4 per start up to the 7th, then 3, 2, 1.
  _str_buffer_t* word = str_buffer_create("一二三四五六七八九十百千");
  EXPECT_EQ(34, tokenizer.wordInputTokenizer(word, false, substrings.arr, 4));
  str_buffer_free(word);
}

TEST(LongWordTokenizer, TextGivesCharactersPairsAndWholeRuns) {
  TokenRules rules;
  LongWordTokenizer tokenizer(&rules);
  ExpectTokens(tokenizer, kLongCases);
}

TEST(BaseTokenizer, LatinWordsGiveAtMostTwentyPrefixes) {
  TokenRules rules;
  LongWordTokenizer tokenizer(&rules);
  const std::string word = "abcdefghijklmnopqrstuvwxy";
  TokenList out;
  ASSERT_EQ(0, tokenizer.wordTokenizer(word.c_str(), out.arr));
  std::vector<Term> terms;
  std::vector<std::string> texts;
  for (int n = 1; n <= 20; ++n) texts.push_back(std::string("ABCDEFGHIJKLMNOPQRSTUVWXY", n));
  for (int n = 1; n <= 20; ++n) terms.push_back({texts[n - 1].c_str(), n, 24});
  EXPECT_EQ(Expected(terms), Actual(out.arr, terms));

  // Case does not matter; a null word or list gives nothing.
  TokenList upper;
  ASSERT_EQ(0, tokenizer.wordTokenizer("ABCDEFGHIJKLMNOPQRSTUVWXY", upper.arr));
  EXPECT_EQ(out.signs(), upper.signs());
  EXPECT_EQ(0, tokenizer.wordInputTokenizer(nullptr, true, out.arr, 20));
  _str_buffer_t* w = str_buffer_create("abc");
  EXPECT_EQ(0, tokenizer.wordInputTokenizer(w, true, nullptr, 20));
  EXPECT_EQ(2, tokenizer.wordInputTokenizer(w, true, out.arr, 2));
  str_buffer_free(w);
}

// The tokenizers keep no state: one parser serves several threads at once and
// every thread sees the tokens a lone caller sees.
TEST(TokenizerConcurrency, SharedParserGivesTheSameTokensOnEveryThread) {
  TokenParser parser;
  auto tokenizeAll = [&parser] {
    std::vector<std::vector<unsigned int>> all;
    for (const char* t : {"张三丰", "Hello 世界 123", "欧阳娜娜 Nana", "中华人民共和国万岁"}) {
      for (TokenStyle style : {TOKEN_STYLE_SHORT, TOKEN_STYLE_LONG}) {
        TokenList out;
        parser.wordTokenizer(t, out.arr, style);
        all.push_back(out.signs());
      }
    }
    return all;
  };
  const auto expected = tokenizeAll();
  std::vector<int> mismatches(4, 0);
  std::vector<std::thread> threads;
  for (int th = 0; th < 4; ++th) {
    threads.emplace_back([&, th] {
      for (int round = 0; round < 50; ++round) mismatches[th] += tokenizeAll() != expected;
    });
  }
  for (std::thread& t : threads) t.join();
  EXPECT_EQ(std::vector<int>(4, 0), mismatches);
}

}  // namespace
}  // namespace mobile_search
