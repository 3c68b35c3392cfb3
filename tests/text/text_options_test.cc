// The pieces of the text options below the index: strict UTF-8 decoding and
// classes, the run split with utf8Full, digit tails and their bound, and
// folding with its map back to the original bytes.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <string>
#include <vector>

#include "text/base_tokenizer.h"
#include "text/long_word_tokenizer.h"
#include "text/simplified_fold.h"
#include "text/token_rules.h"
#include "text/word_lists.h"

namespace mobile_search {
namespace {

std::string Runs(const _DArray* list) {
  std::string out;
  for (unsigned int i = 0; i < darray_length(list); ++i) {
    out += (i ? "|" : "") + std::string(WordLists::word(list, i)->data);
  }
  return out;
}

TEST(TextOptions, StrictDecodingAndClasses) {
  struct Case {
    const char* bytes;
    int length;
    unsigned long long cp;
  } cases[] = {{"é", 2, 0xE9},
               {"·", 2, 0xB7},
               {"中", 3, 0x4E2D},
               {"😀", 4, 0x1F600},
               {"\xC0\xAF", 0, 0},          // overlong
               {"\xE0\x80\xAF", 0, 0},      // overlong
               {"\xED\xA0\x80", 0, 0},      // surrogate
               {"\xF4\x90\x80\x80", 0, 0},  // past U+10FFFF
               {"\xE4\xB8", 0, 0},          // cut by the terminator
               {"\x80", 0, 0},
               {"\xFF", 0, 0}};
  for (const Case& c : cases) {
    unsigned long long cp = 0;
    EXPECT_EQ(c.length, TokenRules::decodeUtf8(c.bytes, &cp)) << c.bytes;
    EXPECT_EQ(c.cp, cp) << c.bytes;
  }
  EXPECT_EQ(kWordChina, TokenRules::fullWordType(0x20000));  // Extension B
  EXPECT_EQ(kWordChina, TokenRules::fullWordType(0x3400));   // Extension A
  EXPECT_EQ(kWordOther, TokenRules::fullWordType(0xE9));     // é is a letter
  EXPECT_EQ(kWordKorea, TokenRules::fullWordType(0xD55C));
  for (unsigned long long separator :
       {0xB7ull, 0xB0ull, 0x3002ull, 0xFF0Cull, 0x1F600ull, 0x30FBull, 0xFE0Full, 0xE000ull}) {
    EXPECT_EQ(kWordNone, TokenRules::fullWordType(separator)) << std::hex << separator;
  }
}

TEST(TextOptions, Utf8FullSplitKeepsTheRestOfTheText) {
  TextOptions full;
  full.utf8Full = true;
  const struct {
    const char* text;
    const char* cn;
    const char* en;
    const char* foreign;
  } cases[] = {
      {"中é文abc", "中|文", "abc", "é"}, {"列夫·托尔斯泰", "列夫|托尔斯泰", "", ""},
      {"x\xC3y\x80z", "", "x|y|z", ""},  {"👍好°C", "好", "C", ""},
      {"𠀀中", "𠀀中", "", ""},
  };
  for (const auto& c : cases) {
    WordLists lists;
    WordType first = kWordNone;
    TokenRules::worldSplit(false, c.text, lists.cn, lists.en, lists.num, lists.other, lists.foreign,
                           first, full);
    EXPECT_EQ(c.cn, Runs(lists.cn)) << c.text;
    EXPECT_EQ(c.en, Runs(lists.en)) << c.text;
    EXPECT_EQ(c.foreign, Runs(lists.foreign)) << c.text;
  }
}

TEST(TextOptions, DigitTailsAreBoundedPerValue) {
  TextOptions infix;
  infix.infixDigits = 4;
  TokenRules rules;
  LongWordTokenizer tokenizer(&rules);
  _DArray* plain = darray_create(nullptr, false);
  _DArray* tails = darray_create(nullptr, false);
  // 11 digits: 7 tails of 4..10 digits.
  tokenizer.wordTokenizer("13812345678", plain);
  tokenizer.wordTokenizer("13812345678", tails, infix);
  EXPECT_EQ(darray_length(plain) + 7, darray_length(tails));
  // Twenty numbers would give 140 tails: 64 at most per value.
  std::string many;
  for (int i = 0; i < 20; ++i) many += "1381234567" + std::to_string(i % 10) + " ";
  darray_clean(plain);
  darray_clean(tails);
  tokenizer.wordTokenizer(many.c_str(), plain);
  tokenizer.wordTokenizer(many.c_str(), tails, infix);
  EXPECT_EQ(darray_length(plain) + 64, darray_length(tails));
  darray_destroy(plain);
  darray_destroy(tails);
}

TEST(TextOptions, FoldingMapsBackToTheOriginalCharacters) {
  const std::string text = "a愛ＡＢ\xFF國　x";
  int* origin = nullptr;
  char* folded = fold_simplified(text.c_str(), &origin);
  ASSERT_NE(nullptr, folded);
  EXPECT_EQ("a爱AB\xFF国 x", std::string(folded));
  // Each folded byte points at the start of the character it came from.
  const std::vector<int> expected = {0, 1, 1, 1, 4, 7, 10, 11, 11, 11, 14, 17, 18};
  EXPECT_EQ(expected, std::vector<int>(origin, origin + expected.size()));
  free(folded);
  free(origin);
  EXPECT_EQ(0x5E72u, fold_code_point(0x5E79));                   // 幹 -> 干
  EXPECT_EQ(0x4E7Eu, fold_code_point(0x4E7E));                   // 乾 stays
  EXPECT_EQ(0x7231u, fold_code_point(fold_code_point(0x611B)));  // idempotent
}

}  // namespace
}  // namespace mobile_search
