// The tokenizers and the parser that drives them: token streams, field
// postings and query term lists.
#include "text/token_parser.h"

#include <gtest/gtest.h>
#include <stdio.h>
#include <string.h>

#include <algorithm>
#include <string>
#include <thread>
#include <vector>

#include "foundation/hash.h"
#include "storage/index_manager.h"
#include "test_util.h"
#include "text/long_word_tokenizer.h"
#include "text/short_word_tokenizer.h"
#include "text/token_unit.h"

namespace mobile_search {
namespace {

unsigned int SignOf(const char* text) { return idx_sign32(text, (unsigned int)strlen(text)); }

// An owned token list.
struct TokenList {
  TokenList() : arr(darray_create(nullptr, false)) {}
  ~TokenList() { darray_destroy(arr); }
  std::vector<unsigned long long> slots() const { return ks_test::Slots(arr); }
  std::vector<unsigned long long> signs() const {
    std::vector<unsigned long long> out;
    for (unsigned long long slot : slots()) out.push_back(slot & 0xFFFFFFFFu);
    return out;
  }
  _DArray* arr;
};

// The tokens as "text(count,bits)" strings, each named after the expected
// entry with its sign; an unexpected sign shows as its hex value.
std::vector<std::string> Describe(const TokenList& tokens,
                                  const std::vector<std::string>& expected) {
  std::vector<std::string> out;
  for (unsigned long long slot : tokens.slots()) {
    const token_unit_t t = token_unpack(slot);
    char name[16];
    snprintf(name, sizeof(name), "#%08x", t.sign);
    std::string text = name;
    for (const std::string& e : expected) {
      const std::string candidate = e.substr(0, e.rfind('('));
      if (SignOf(candidate.c_str()) == t.sign) text = candidate;
    }
    if ((slot >> 48) != 0) text += "+high";
    out.push_back(text + "(" + std::to_string(t.count) + "," + std::to_string(t.bits) + ")");
  }
  return out;
}

struct Case {
  const char* text;
  std::vector<std::string> terms;
};

// Bits: 1 all, 2 first, 4 pinyin, 8 accurate, 16 first-and-accurate.
// Bits: 1 all, 2 first, 4 pinyin, 8 accurate, 16 first-and-accurate.
const Case kShortCases[] = {
    // Substrings, initials, then the pinyin prefixes of ZHANG and of SAN.
    {"张三",
     {"张(1,24)", "张三(2,25)", "三(1,8)", "Z(1,6)", "ZS(2,7)", "S(1,4)", "ZH(1,6)", "ZHA(1,6)",
      "ZHAN(1,6)", "ZHANG(1,30)", "ZHANGS(2,6)", "ZHANGSA(2,6)", "ZHANGSAN(2,31)", "SA(1,4)",
      "SAN(1,12)"}},
    // A one-letter syllable alone counts 0 characters.
    {"阿姨",
     {"阿(1,24)", "阿姨(2,25)", "姨(1,8)", "A(1,6)", "AY(2,7)", "Y(1,4)", "A(0,30)", "AY(2,6)",
      "AYI(2,31)", "YI(1,12)"}},
    {"李 Li", {"李(1,25)", "L(1,7)", "LI(1,31)", "L(1,8)", "LI(2,9)"}},
    // Kana: substrings only, no pinyin; the text begins with another script.
    {"かな", {"か(1,24)", "かな(2,25)", "な(1,8)"}},
    {"Tom", {"T(1,24)", "TO(2,24)", "TOM(3,25)"}},
    {"7号", {"号(1,9)", "H(1,5)", "HA(1,4)", "HAO(1,29)", "7(1,25)"}},
    {"", {}},
};

const Case kLongCases[] = {
    {"中华人民",
     {"中(1,0)", "华(1,0)", "人(1,0)", "民(1,0)", "中华(2,0)", "华人(2,0)", "人民(2,0)",
      "中华人民(4,1)"}},
    {"中", {"中(1,0)", "中(1,1)"}},
    {"Hi 中文", {"H(1,24)", "HI(2,25)", "中(1,0)", "文(1,0)", "中文(2,0)", "中文(2,1)"}},
    {"a-b", {"A(1,25)", "B(1,9)", "-(1,9)"}},
    {"12ab", {"A(1,8)", "AB(2,9)", "1(1,24)", "12(2,25)"}},
    // Bad input: everything from an undecodable character on is dropped.
    {"中\xC3\xA9文abc", {"中(1,0)", "中(1,1)"}},
    {"\x80\x80", {}},
    {"😀a", {"A(1,9)", "😀(1,0)", "😀(1,1)"}},
    {",.<~", {}},
    // Other scripts are runs of their own, indexed like Chinese.
    {"한국ف", {"한(1,0)", "국(1,0)", "한국(2,0)", "한국(2,1)", "ف(1,0)", "ف(1,1)"}},
    {"中1中", {"1(1,9)", "中(1,0)", "中(1,1)", "中(1,0)", "中(1,1)"}},
};

template <size_t N>
void ExpectTokens(BaseTokenizer& tokenizer, const Case (&cases)[N]) {
  for (const Case& c : cases) {
    TokenList out;
    EXPECT_EQ(0, tokenizer.wordTokenizer(c.text, out.arr)) << c.text;
    EXPECT_EQ(c.terms, Describe(out, c.terms)) << c.text;
  }
}

TEST(ShortWordTokenizer, NamesGiveSubstringsPinyinAndInitialsOfTenCharacters) {
  TokenRules rules;
  ShortWordTokenizer tokenizer(&rules);
  ExpectTokens(tokenizer, kShortCases);
  TokenList out;
  EXPECT_EQ(0, tokenizer.wordTokenizer(nullptr, out.arr));
  EXPECT_TRUE(out.slots().empty());

  // Only the first ten characters of a name count.
  TokenList twelve, ten, substrings;
  ASSERT_EQ(0, tokenizer.wordTokenizer("一二三四五六七八九十百千", twelve.arr));
  ASSERT_EQ(0, tokenizer.wordTokenizer("一二三四五六七八九十", ten.arr));
  EXPECT_EQ(ten.slots(), twelve.slots());
  // Substrings of at most 4 characters: 4 per start up to the 7th, then 3, 2, 1.
  _str_buffer_t* word = str_buffer_create("一二三四五六七八九十百千");
  EXPECT_EQ(34, tokenizer.wordInputTokenizer(word, false, substrings.arr, 4));
  str_buffer_free(word);
}

TEST(LongWordTokenizer, TextGivesCharactersPairsWholeRunsAndPrefixes) {
  TokenRules rules;
  LongWordTokenizer tokenizer(&rules);
  ExpectTokens(tokenizer, kLongCases);

  // Latin words give at most twenty prefixes, whatever their case.
  const std::string word = "ABCDEFGHIJKLMNOPQRSTUVWXY";
  TokenList out, upper;
  ASSERT_EQ(0, tokenizer.wordTokenizer("abcdefghijklmnopqrstuvwxy", out.arr));
  ASSERT_EQ(0, tokenizer.wordTokenizer(word.c_str(), upper.arr));
  std::vector<std::string> prefixes;
  for (int n = 1; n <= 20; ++n) {
    prefixes.push_back(word.substr(0, n) + "(" + std::to_string(n) + ",24)");
  }
  EXPECT_EQ(prefixes, Describe(out, prefixes));
  EXPECT_EQ(prefixes, Describe(upper, prefixes));
  // A null word or list gives nothing; the limit is the caller's.
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
    std::vector<std::vector<unsigned long long>> all;
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

// A posting as (weight, match bits).
typedef std::vector<std::pair<int, int>> P;

class TokenParserTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(0, index_.open(dir_.path().c_str(), "idx")); }

  // The postings of `term` for document `doc`, in file order.
  P Postings(const char* term, unsigned int doc) {
    IndexTerm t(SignOf(term), 0, nullptr, nullptr, nullptr);
    index_.getTerm(SignOf(term), &t, -1);
    P out;
    for (int i = 0; i < t.getDocCount(); ++i) {
      const doc_union_t u = t.getDoc(static_cast<unsigned int>(i));
      if (u.docid() == doc) out.push_back({u.weight(), u.bits()});
    }
    return out;
  }

  ks_test::TempDir dir_;
  IndexManager index_;
  TokenParser parser_;
};

TEST_F(TokenParserTest, FieldPostingsMergeTermsAndWeighThem) {
  // Long-text field: A occurs twice, w = 1 + 1 = 2 of 5 characters. Its
  // bits: the pair merges to 1|16, then the last A's own 1|8 is merged in.
  ASSERT_EQ(0, parser_.fieldTokenizer(1, 0, "a b a", false, false, true, &index_));
  EXPECT_EQ(P({{8, 1 | 8 | 16}}), Postings("A", 1));
  EXPECT_EQ(P({{4, 1 | 8}}), Postings("B", 1));
  EXPECT_EQ(2u, index_.get_max_pos());

  // Name field: every pinyin and substring term once per document.
  ASSERT_EQ(0, parser_.fieldTokenizer(2, 1, "张三", true, false, true, &index_));
  EXPECT_EQ(P({{20, 1 | 4 | 16}}), Postings("ZHANGSAN", 2));
  EXPECT_EQ(P({{10, 4 | 16}}), Postings("ZHANG", 2));
  EXPECT_EQ(P({{20, 1 | 16}}), Postings("张三", 2));
  EXPECT_EQ(P({{10, 4 | 8}}), Postings("SAN", 2));
  EXPECT_EQ(P(), Postings("SAN", 1));

  // No-token field: whole words with their case, count = bytes.
  ASSERT_EQ(0, parser_.fieldTokenizer(3, 2, "Hi There", false, true, true, &index_));
  EXPECT_EQ(P({{5, 1}}), Postings("Hi", 3));
  EXPECT_EQ(P({{12, 1}}), Postings("There", 3));
  EXPECT_EQ(P(), Postings("HI", 3));
  EXPECT_EQ(P(), Postings("H", 3));

  // A word longer than the count byte holds counts 255, not its length
  // modulo 256: 255 of 300 characters.
  const std::string longWord(300, 'x');
  ASSERT_EQ(0, parser_.fieldTokenizer(6, 2, longWord.c_str(), false, true, true, &index_));
  EXPECT_EQ(P({{17, 1}}), Postings(longWord.c_str(), 6));

  // Separators only: no token, no posting, still a success.
  const unsigned int before = index_.get_max_pos();
  EXPECT_EQ(0, parser_.fieldTokenizer(4, 0, " ,. ~", false, false, true, &index_));
  EXPECT_EQ(before, index_.get_max_pos());
  EXPECT_FALSE(index_.isAutoSave());  // left off for the owner to restore
}

TEST_F(TokenParserTest, LongBrokenAndRefusedValues) {
  std::string value;
  for (int i = 0; i < 1500; ++i) value += "中";
  for (int i = 0; i < 500; ++i) value += "国";
  ASSERT_EQ(0, parser_.fieldTokenizer(9, 0, value.c_str(), false, false, false, &index_));
  EXPECT_TRUE(Postings("国", 9).empty());
  EXPECT_TRUE(Postings("中国", 9).empty());
  // 1,500 single tokens add up to 1500 mod 256 = 220, weighed against 2,000.
  ASSERT_EQ(1u, Postings("中", 9).size());
  EXPECT_EQ(2, Postings("中", 9)[0].first);

  // A megabyte of mixed and broken text goes through without harm.
  std::string big;
  while (big.size() < (1u << 20)) big += "hello 世界 \xC3\xA9 \x80 😀 123 ";
  EXPECT_EQ(0, parser_.fieldTokenizer(10, 0, big.c_str(), false, false, false, &index_));
  EXPECT_EQ(0, parser_.fieldTokenizer(11, 0, big.c_str(), true, false, false, &index_));
  EXPECT_EQ(0, parser_.fieldTokenizer(12, 0, big.c_str(), false, true, false, &index_));
  EXPECT_EQ(1u, Postings("HELLO", 10).size());
  EXPECT_TRUE(Postings("123", 10).empty());  // after the é everything is dropped

  EXPECT_EQ(-1, parser_.fieldTokenizer(13, 0, "", false, false, false, &index_));
  EXPECT_EQ(-1, parser_.fieldTokenizer(13, 0, nullptr, false, false, false, &index_));
  EXPECT_EQ(-1, parser_.fieldTokenizer(13, 0, "abc", false, false, false, nullptr));

  // A posting the index refuses fails the value, with a log line saying which.
  IndexManager closed;
  ks_test::LogCapture log;
  EXPECT_EQ(-1, parser_.fieldTokenizer(7, 0, "abc", false, false, true, &closed));
  EXPECT_EQ("docId:7 field_val:abc failed \n", log.plain());
}

std::vector<unsigned long long> Signs(std::vector<const char*> terms) {
  std::vector<unsigned long long> out;
  for (const char* t : terms) out.push_back(SignOf(t));
  std::sort(out.begin(), out.end());
  return out;
}

TEST(TokenParser, QueryTermLists) {
  TokenParser parser;
  struct {
    const char* query;
    std::vector<const char*> shortTerms, longTerms;
  } const cases[] = {
      {"zhangsan", {"ZHANGSAN"}, {"ZHANGSAN"}},
      {"zs", {"ZS"}, {"ZS"}},
      {"张三", {"张三"}, {"张", "三", "张三"}},
      {"Tom 张三 7", {"TOM", "张三", "7"}, {"TOM", "张", "三", "张三", "7"}},
      {"中华人民共",
       {"中", "中华", "中华人", "中华人民", "华", "华人", "华人民", "华人民共", "人", "人民",
        "人民共", "民", "民共", "共"},
       {"中", "华", "人", "民", "共", "中华", "华人", "人民", "民共"}},
      {", ;", {";"}, {";"}},
      {"", {}, {}},
  };
  for (const auto& c : cases) {
    TokenList shortList, longList;
    EXPECT_EQ(0, parser.fillQueryArray(c.query, shortList.arr));
    EXPECT_EQ(0, parser.fillQueryTokenArray(c.query, longList.arr));
    EXPECT_EQ(Signs(c.shortTerms), shortList.slots()) << c.query;  // bare signs
    EXPECT_EQ(Signs(c.longTerms), longList.signs()) << c.query;
  }
  EXPECT_EQ(-1, parser.fillQueryArray("x", nullptr));
}

TEST_F(TokenParserTest, NameQueriesMeetIndexedNames) {
  ASSERT_EQ(0, parser_.fieldTokenizer(5, 0, "张三丰", true, false, true, &index_));
  for (const char* query : {"zhangsan", "zs", "zsf", "zhang", "zhangsanf", "sanfeng", "张三",
                            "三丰", "张", "ZhangSanFeng"}) {
    TokenList terms;
    ASSERT_EQ(0, parser_.fillQueryArray(query, terms.arr));
    ASSERT_FALSE(terms.slots().empty()) << query;
    for (unsigned int sign : terms.signs()) {
      IndexTerm t(sign, 0, nullptr, nullptr, nullptr);
      index_.getTerm(sign, &t, -1);
      EXPECT_EQ(1, t.getDocCount()) << query;
    }
  }
}

}  // namespace
}  // namespace mobile_search
