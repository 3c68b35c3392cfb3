#include "text/token_parser.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "foundation/logging.h"
#include "storage/index_manager.h"
#include "tests/test_util.h"
#include "tests/text/token_expect.h"

namespace mobile_search {
namespace {

using ks_test::SignOf;
using ks_test::TokenList;

// A posting as (weight, match bits).
typedef std::vector<std::pair<int, int>> P;

std::string g_logged;
int CaptureLog(const char* text) {
  g_logged += text;
  return 0;
}

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
  set_log_cb_func(CaptureLog);
  g_logged.clear();
  EXPECT_EQ(-1, parser_.fieldTokenizer(7, 0, "abc", false, false, true, &closed));
  set_log_cb_func(nullptr);
  EXPECT_EQ("docId:7 field_val:abc failed \n", g_logged);
}

std::vector<unsigned int> Signs(std::vector<const char*> terms) {
  std::vector<unsigned int> out;
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
    EXPECT_EQ(Signs(c.shortTerms), shortList.signs()) << c.query;
    EXPECT_EQ(Signs(c.longTerms), longList.signs()) << c.query;
    for (unsigned int i = 0; i < shortList.size(); ++i) {
      EXPECT_EQ(0u, darray_get_by_index(shortList.arr, i) >> 32) << c.query;
    }
  }
  EXPECT_EQ(-1, parser.fillQueryArray("x", nullptr));
}

TEST_F(TokenParserTest, NameQueriesMeetIndexedNames) {
  ASSERT_EQ(0, parser_.fieldTokenizer(5, 0, "张三丰", true, false, true, &index_));
  for (const char* query : {"zhangsan", "zs", "zsf", "zhang", "zhangsanf", "sanfeng", "张三",
                            "三丰", "张", "ZhangSanFeng"}) {
    TokenList terms;
    ASSERT_EQ(0, parser_.fillQueryArray(query, terms.arr));
    ASSERT_GT(terms.size(), 0u) << query;
    for (unsigned int sign : terms.signs()) {
      IndexTerm t(sign, 0, nullptr, nullptr, nullptr);
      index_.getTerm(sign, &t, -1);
      EXPECT_EQ(1, t.getDocCount()) << query;
    }
  }
}

}  // namespace
}  // namespace mobile_search
