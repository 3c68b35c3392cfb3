#include "text/token_rules.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace mobile_search {
namespace {

TEST(TokenRules, ByteAndCodePointClasses) {
  for (char c : std::string("!\"#$%&'()*+-/:;=?@[]_")) EXPECT_FALSE(TokenRules::isStopWord(c)) << c;
  for (char c : std::string(" \t\x01\x7f,.<>\\^`{|}~")) EXPECT_TRUE(TokenRules::isStopWord(c)) << c;
  // 127 ASCII bytes minus 52 letters, 10 digits and 21 kept punctuation marks.
  int separators = 0;
  for (int c = 1; c < 128; ++c) separators += TokenRules::isStopWord(static_cast<char>(c));
  EXPECT_EQ(127 - 52 - 10 - 21, separators);
  EXPECT_FALSE(TokenRules::isStopWord(static_cast<char>(0xE4)));
  for (unsigned char c : std::string("azAZ")) EXPECT_TRUE(TokenRules::isZiMu(c)) << c;
  for (unsigned char c : std::string("@[`{09")) EXPECT_FALSE(TokenRules::isZiMu(c)) << c;
  for (unsigned char c : std::string("/:")) EXPECT_FALSE(TokenRules::isNumber(c)) << c;
  EXPECT_TRUE(TokenRules::isNumber('0') && TokenRules::isNumber('9'));
  EXPECT_TRUE(TokenRules::isHanZi(0x80) && !TokenRules::isHanZi(0x7F));

  // The Han range is exactly the pinyin table's.
  EXPECT_FALSE(TokenRules::isChina(0x4DFF) || TokenRules::isChina(0x9FA6));
  EXPECT_TRUE(TokenRules::isChina(0x4E00) && TokenRules::isChina(0x9FA5));
}

TEST(TokenRules, Utf8DecodingIsStrictAboutTwoByteCharacters) {
  struct {
    const char* bytes;
    int len;
    int ok;
    unsigned long long cp;
  } const cases[] = {
      {"A", 0, 1, 'A'},                    // len 0: one byte as it is
      {"A", 1, 0, 0},                      // len 1 never decodes
      {"\xC4\x80", 2, 1, 0x100},           // Ā
      {"\xC3\xA9", 2, 0, 0},               // é: second byte above 0x9F
      {"\xC2\x9F", 2, 1, 0x9F},
      {"\xE4\xB8\xAD", 3, 1, 0x4E2D},      // 中
      {"\xE4\x41\xAD", 3, 0, 0},           // broken continuation
      {"\xF0\x9F\x98\x80", 4, 1, 0x1F600}, // emoji
      {"\xF8\x88\x80\x80\x80", 5, 1, 0x200000},
      {"\xFC\x84\x80\x80\x80\x80", 6, 1, 0x4000000},
      {"\xE4\xB8\xAD\xE4\xB8\xAD\xE4", 7, 0, 0},
  };
  for (const auto& c : cases) {
    unsigned long long cp = 99;
    EXPECT_EQ(c.ok, TokenRules::utf8ToUnicode(c.bytes, static_cast<unsigned char>(c.len), &cp))
        << c.bytes;
    EXPECT_EQ(c.cp, cp) << c.bytes;
  }
  unsigned long long cp = 5;
  EXPECT_EQ(0, TokenRules::utf8ToUnicode(nullptr, 3, &cp));
  EXPECT_EQ(0u, cp);
  EXPECT_EQ(0, TokenRules::utf8ToUnicode("a", 0, nullptr));

  // Encoding round-trips through the decoder for every length it decodes.
  for (unsigned long long v : {0x41ULL, 0x100ULL, 0xFFFFULL, 0x10FFFFULL, 0x3FFFFFFULL,
                               0x7FFFFFFFULL}) {
    char buf[8] = {0};
    const int n = TokenRules::unicodeToUtf8(v, buf, sizeof(buf));
    unsigned long long back = 0;
    EXPECT_EQ(1, TokenRules::utf8ToUnicode(buf, static_cast<unsigned char>(n == 1 ? 0 : n), &back));
    EXPECT_EQ(v, back);
  }
  char buf[8];
  EXPECT_EQ(0, TokenRules::unicodeToUtf8(0x80000000ULL, buf, sizeof(buf)));
}

TEST(TokenRules, WordTypeAndFirstType) {
  struct {
    const char* ch;
    WordType type;
  } const cases[] = {
      {"中", kWordChina}, {"한", kWordKorea}, {"か", kWordJapan}, {"😀", kWordEmoji},
      {"ف", kWordArab},   {"Ā", kWordOther},  {"é", kWordNone},   {"", kWordNone},
  };
  for (const auto& c : cases) {
    WordType t = kWordZiMu;
    const unsigned long long cp = TokenRules::getWordType(c.ch, static_cast<int>(strlen(c.ch)), t);
    EXPECT_EQ(c.type, t) << c.ch;
    if (c.type == kWordNone) {
      EXPECT_EQ(static_cast<unsigned long long>(-1), cp) << c.ch;
    }
  }
  WordType t = kWordZiMu;
  TokenRules::getWordType(nullptr, 3, t);
  EXPECT_EQ(kWordNone, t);

  // first, t -> first afterwards
  const int rows[][3] = {
      {-1, 3, 3}, {-1, 7, 5}, {-1, 4, -1}, {-1, 5, -1}, {-1, 9, -1}, {4, 8, 5}, {1, 3, 1},
  };
  for (const auto& r : rows) {
    WordType first = static_cast<WordType>(r[0]);
    TokenRules::setFirstType(first, static_cast<WordType>(r[1]));
    EXPECT_EQ(r[2], first) << r[0] << "," << r[1];
  }
}

TEST(TokenRules, Weights) {
  // w, len -> base weight
  const int base[][3] = {{3, 200, 1}, {7, 7, 20}, {9, 7, 20}, {2, 5, 8}, {1, 3, 6}, {7, 20, 7}};
  for (const auto& r : base) {
    unsigned char w = static_cast<unsigned char>(r[0]);
    TokenRules::mathBaseWeight(w, r[1]);
    EXPECT_EQ(r[2], w) << r[0] << "/" << r[1];
  }
  // w, bits -> sort weight
  const int sort[][3] = {{25, 0, 40},  {25, 4, 20},  {25, 1 | 16, 180}, {5, 8 | 2, 85},
                         {5, 8 | 16, 125}, {5, 4 | 2, 25}, {20, 31, 140}};
  for (const auto& r : sort) {
    unsigned char w = static_cast<unsigned char>(r[0]);
    TokenRules::mathSortWeight(w, static_cast<unsigned char>(r[1]));
    EXPECT_EQ(r[2], w) << r[0] << " bits " << r[1];
  }
  // w, a, b -> w | merger
  const int merge[][4] = {{0, 4 | 2, 8, 2 | 8},  {0, 4 | 2, 4, 4 | 2}, {0, 8 | 2, 16, 16},
                          {0, 1, 4, 1},          {32, 4, 4, 32 | 4},   {0, 31, 31, 1 | 4 | 16}};
  for (const auto& r : merge) {
    unsigned char w = static_cast<unsigned char>(r[0]);
    TokenRules::mergeWeigthExt(w, static_cast<unsigned char>(r[1]), static_cast<unsigned char>(r[2]));
    EXPECT_EQ(r[3], w) << r[1] << " + " << r[2];
  }
}

}  // namespace
}  // namespace mobile_search
