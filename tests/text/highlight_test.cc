#include "text/highlight.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>

#include <random>
#include <string>
#include <vector>

#include "test_util.h"
#include "text/highlight_abstract.h"
#include "text/highlight_pinyin.h"
#include "text/highlight_positions.h"

namespace mobile_search {
namespace {

using ks_test::Take;

// The tagged abstract and its hit flag.
std::string Hl(const char* text, const char* query, int maxChars, int* hit = nullptr) {
  int h = -1;
  std::string r = Take(highLight_Abstract(text, query, maxChars, h));
  if (hit != nullptr) *hit = h;
  return r;
}

std::string NoTag(const char* text, const char* query, int maxChars) {
  return Take(abstract_hlNoTag(text, query, maxChars));
}

using ks_test::Untagged;

// One abstract, and a hit flag that says whether anything is marked.
void ExpectAbstract(const std::string& text, const char* query, int maxChars,
                    const std::string& expected) {
  int hit = -1;
  EXPECT_EQ(expected, Hl(text.c_str(), query, maxChars, &hit)) << text << " / " << query;
  EXPECT_EQ(expected.find("<red>") != std::string::npos, hit == 1) << text << " / " << query;
}

TEST(HighlightAbstract, CutsAroundTheLongestMatch) {
  // 7 characters: the match and 2 + 2 of context.
  ExpectAbstract("0123456789abcdefghij", "abc", 7, "...89<red>abc</red>de...");
  // A short text comes back whole with every match marked, case-blind.
  ExpectAbstract("Abc x ABC", "aBC", 100, "<red>Abc</red> x <red>ABC</red>");
  // Context the start cannot give goes to the right, and the other way round;
  // the surplus at the end is not checked against the start again.
  ExpectAbstract("abc0123456789", "abc", 7, "<red>abc</red>0123...");
  ExpectAbstract("0123456789abc", "abc", 7, "...6789<red>abc</red>");
  ExpectAbstract("xabcy", "abc", 5, "x<red>abc</red>y");
  // Exactly maxChars characters: cut around the match, no ellipsis needed.
  ExpectAbstract("abcde", "c", 5, "ab<red>c</red>de");
  // A match longer than the abstract is cut itself.
  ExpectAbstract("xxabcdefgyy", "abcdefg", 3, "...<red>abc</red>...");
  ExpectAbstract("abcdefg", "abcdefg", 3, "<red>abc</red>...");
  // Other matches are marked only when wholly inside the window.
  ExpectAbstract("1xxxxa123d1xxxx1", "1 123", 7, "...xa<red>123</red>d<red>1</red>...");
  // 12 and 23 overlap in 123: one range.
  ExpectAbstract("x123x", "12 23", 50, "x<red>123</red>x");
  ExpectAbstract("aaaa", "a", 50, "<red>aaaa</red>");
  // Nothing matches: the plain abstract.
  ExpectAbstract("0123456789abcdefghij", "xyz", 7, "0123456...");
  ExpectAbstract("short", "xyz", 7, "short");
  ExpectAbstract("中文字符", "x", 2, "中文...");
  ExpectAbstract("0123456789", "   ", 7, "0123456...");
  // Digits and kept punctuation are searched as they are, but beside
  // letters punctuation only separates words.
  ExpectAbstract("tel +86-10 x", "+86-10", 50, "tel <red>+86-10</red> x");
  ExpectAbstract("xa!ay", "a!a", 50, "x<red>a</red>!<red>a</red>y");
}

TEST(HighlightAbstract, ChineseQueries) {
  const char* text = "我和张三丰说今天天气很好我们一起去公园";
  // Cut on character boundaries around the match.
  ExpectAbstract(text, "天气", 4, "...天<red>天气</red>很...");
  ExpectAbstract(text, "张三丰说", 2, "...<red>张三</red>...");
  // The longest pieces of the query that occur win over shorter ones (the
  // model comparison below covers this at large).
  ExpectAbstract("我爱北京天安门", "北京上海天安门", 20, "我爱北京<red>天安门</red>");
  // Mixed query: every kind of word is looked for.
  ExpectAbstract("iPhone 13 手机 张三", "IPHONE 手机13", 50,
                 "<red>iPhone</red> <red>13</red> <red>手机</red> 张三");
  ExpectAbstract("iPhone 13 手机 张三", "zs 手机", 50, "iPhone 13 <red>手机</red> <red>张三</red>");
}

TEST(HighlightAbstract, PinyinQueries) {
  const char* text = "我和张三丰说";
  const char* const cases[][2] = {
      {"zhangsan", "我和<red>张三</red>丰说"},
      {"ZhangSan", "我和<red>张三</red>丰说"},
      {"zs", "我和<red>张三</red>丰说"},
      {"zsf", "我和<red>张三丰</red>说"},
      {"zhang", "我和<red>张</red>三丰说"},
      {"sanfeng", "我和张<red>三丰</red>说"},
      // A spelling of the query's start is enough and ends the search, so
      // the initials of the rest are not tried.
      {"zhangsf", "我和<red>张</red>三丰说"},
      {"zhangxyz", "我和<red>张</red>三丰说"},
      {"wohezs", "<red>我和</red>张三丰说"},
      {"zhangsanfeng", "我和<red>张三丰</red>说"},
      {"zhangs", "我和<red>张三</red>丰说"},
      {"zhsf", "我和<red>张三丰</red>说"},
      {"wohe zhangsan", "<red>我和张三</red>丰说"},
      // The fewest ranges win: 三丰 rather than 说 and another s.
      {"sf", "我和张<red>三丰</red>说"},
      {"whz", "<red>我和张</red>三丰说"},
      {"wz", "<red>我</red>和<red>张</red>三丰说"},
      // Initials that no characters spell completely mark nothing.
      {"zx", text}, {"fz", text}, {"zhx", text}, {"zhsx", text},
  };
  for (const auto& c : cases) ExpectAbstract(text, c[0], 20, c[1]);
  // Far into a long text.
  std::string tail;
  for (int i = 0; i < 20000; ++i) tail += "说";
  tail += "张三";
  for (const char* query : {"zhangsan", "zs"}) {
    ExpectAbstract(tail, query, 10, "...说说说说说说说说<red>张三</red>");
  }
  // A spelling may run past the text's last reading.
  ExpectAbstract("说张", "zhangsanfengshuo", 20, "说<red>张</red>");
  // Literal Latin beats pinyin; pinyin works beside Latin and digits.
  ExpectAbstract("zhang 张三", "zhang", 20, "<red>zhang</red> 张三");
  ExpectAbstract("Tom 2024 张三 ok", "zhangsan", 20, "Tom 2024 <red>张三</red> ok");
}

TEST(HighlightAbstract, SurvivesBadArgumentsMalformedAndHugeInput) {
  int hit = -1;
  const char* const refused[][2] = {{"abc", nullptr}, {"", "a"}, {"abc", ""}, {nullptr, "a"}};
  for (const auto& r : refused) EXPECT_EQ("<null>", Hl(r[0], r[1], 5, &hit)) << r[0] << r[1];
  EXPECT_EQ(0, hit);
  for (int n : {0, -3}) EXPECT_EQ("<null>", Hl("abc", "a", n));
  EXPECT_EQ("<null>", NoTag("abc", "a", 0));
  EXPECT_EQ("x<red>a</red>bc", Hl("xabc", "a", 0x7FFFFFFF, &hit));
  EXPECT_EQ(1, hit);
  // Invalid UTF-8 in text or query: no crash, tags still balanced.
  const char* texts[] = {("\xe4\xb8"
                          "abc\xff\xfe中文"),
                         "\xff\xff\xff", "ab\xe4", "\x80\x80中"};
  const char* queries[] = {"abc", "中", "\xff", "\xe4\xb8", "z\xff", "zw", "a\xe4\xb8\xad"};
  for (const char* t : texts) {
    for (const char* q : queries) {
      for (int n : {1, 2, 5, 100}) EXPECT_EQ(Untagged(Hl(t, q, n)), NoTag(t, q, n));
    }
  }
  // 100 KB of mixed text and a 200-letter query.
  std::string big;
  while (big.size() < 100 * 1024) big += "张三丰说abc 123 我和";
  std::string s = Hl(big.c_str(), std::string(200, 'q').c_str(), 30, &hit);
  EXPECT_EQ(0, hit);
  EXPECT_EQ(30u + 3, ks_test::CodePoints(s));
  // Initials spelled by characters far apart (200 of 张), or close by.
  for (const std::string& query : {std::string(200, 'z'), std::string("zsfs")}) {
    EXPECT_TRUE(ks_test::IsValidUtf8(Hl(big.c_str(), query.c_str(), 30, &hit))) << query;
    EXPECT_EQ(1, hit) << query;
  }
  s = Hl(big.c_str(), "123", 0x7FFFFFFF, &hit);
  EXPECT_EQ(1, hit);
  EXPECT_EQ(big, Untagged(s));
}

// The longest query pieces that occur, marked the simple way: for every
// piece length from the longest down, collect the occurrences of all pieces
// and stop at the first length that has any; covered bytes form the ranges.
std::string MarkLongestPieces(const std::string& joined, const std::vector<std::string>& query) {
  std::vector<bool> covered(joined.size(), false);
  bool any = false;
  for (size_t L = query.size(); L > 0 && !any; --L) {
    for (size_t i = 0; i + L <= query.size(); ++i) {
      std::string piece;
      for (size_t k = i; k < i + L; ++k) piece += query[k];
      for (size_t p = joined.find(piece); p != std::string::npos;
           p = joined.find(piece, p + piece.size())) {
        for (size_t b = p; b < p + piece.size(); ++b) covered[b] = true;
        any = true;
      }
    }
  }
  std::string out;
  for (size_t b = 0; b < joined.size(); ++b) {
    if (covered[b] && (b == 0 || !covered[b - 1])) out += "<red>";
    out += joined[b];
    if (covered[b] && (b + 1 == joined.size() || !covered[b + 1])) out += "</red>";
  }
  return out;
}

TEST(HighlightAbstract, ChineseQueriesAgreeWithSimpleModel) {
  const char* alphabet[] = {"北", "京", "天", "安", "门"};
  std::mt19937 rng(3);
  for (int round = 0; round < 500; ++round) {
    std::string t, q;
    std::vector<std::string> query;
    for (int n = 1 + rng() % 30; n > 0; --n) t += alphabet[rng() % 5];
    // Long runs too: the longest pieces are those of the whole run.
    for (int n = 1 + rng() % (round % 4 ? 6 : 45); n > 0; --n) {
      q += query.emplace_back(alphabet[rng() % 5]);
    }
    EXPECT_EQ(MarkLongestPieces(t, query), Hl(t.c_str(), q.c_str(), 100)) << t << " / " << q;
  }
}

// Random texts and queries: whatever matches, the abstract is valid UTF-8,
// its tags are balanced and in order, untagged it is a piece of the text of
// at most maxChars characters (plus ellipses), and it equals the untagged
// form.
TEST(HighlightAbstract, InvariantsOnRandomInput) {
  const char* alphabet[] = {"a", "b", "Z", "1", " ", "-", "张", "三", "丰", "说", "和", "我"};
  std::mt19937 rng(7);
  auto pick = [&](int n) {
    std::string s;
    for (int i = 0; i < n; ++i) s += alphabet[rng() % 12];
    return s;
  };
  for (int round = 0; round < 400; ++round) {
    const std::string text = pick(1 + rng() % 40);
    const std::string query = rng() % 3 == 0 ? "zs" : pick(1 + rng() % 4);
    const int maxChars = 1 + rng() % 30;
    int hit = -1;
    const std::string s = Hl(text.c_str(), query.c_str(), maxChars, &hit);
    ASSERT_TRUE(ks_test::IsValidUtf8(s)) << text << " / " << query;
    size_t depth = 0, tags = 0;
    for (size_t p = 0; p < s.size(); ++p) {
      if (s.compare(p, 5, "<red>") == 0) ++depth, ++tags;
      if (s.compare(p, 6, "</red>") == 0) --depth;
      ASSERT_LE(depth, 1u) << s;
    }
    EXPECT_EQ(0u, depth) << s;
    EXPECT_EQ(hit == 1, tags > 0) << text << " / " << query << " -> " << s;
    const std::string plain = Untagged(s);
    EXPECT_EQ(plain, NoTag(text.c_str(), query.c_str(), maxChars));
    std::string body = plain;
    for (size_t at; (at = body.find("...")) != std::string::npos;) body.erase(at, 3);
    EXPECT_NE(std::string::npos, text.find(body)) << text << " -> " << s;
    if (ks_test::CodePoints(text) >= (size_t)maxChars) {
      EXPECT_LE(ks_test::CodePoints(body), (size_t)maxChars) << s;
    }
  }
}

std::vector<std::pair<int, int>> Ranges(_DArray* arr) {
  std::vector<std::pair<int, int>> r;
  for (int i = 0; i < (int)darray_length(arr); ++i) {
    int s = 0, e = 0;
    getPosFromArr(arr, s, e, i);
    if (s != e) r.push_back({s, e});
  }
  return r;
}

typedef std::vector<std::pair<int, int>> RangeList;

struct List {
  explicit List(std::vector<std::string> readings) : py(std::move(readings)) {
    for (size_t i = 0; i < py.size(); ++i) {
      chars.push_back({&py[i][0], (int)py[i].size(), (int)i * 3, 3});
    }
  }
  std::vector<std::string> py;
  std::vector<hl_pinyin_char_t> chars;
};

// The exhaustive recursion, written from its definition: pick the first
// character matching at `offset`, then compare taking it with leaving it.
float Exhaustive(const List& l, int first, const std::string& word, size_t offset,
                 std::vector<int>* picked) {
  const int count = (int)l.py.size();
  if (count == 0 || word.empty() || first >= count || offset >= word.size()) return 0;
  size_t m = 0;
  int j = first;
  for (; j < count; ++j) {
    if (l.py[j].empty()) return 0;
    m = std::min(l.py[j].size(), word.size() - offset);
    if (strncmp(l.py[j].c_str(), word.c_str() + offset, m) == 0) break;
  }
  if (j == count) return 0;
  const float s = m < l.py[j].size() ? (float)m - 0.5f : (float)m;
  std::vector<int> take, skip;
  const float a = s + Exhaustive(l, j + 1, word, offset + m, &take);
  const float b = Exhaustive(l, j + 1, word, offset, &skip);
  const float d = a - b;
  if (d > 0.1f || (d >= 0 && d <= 0.001f && take.size() + 1 <= skip.size())) {
    picked->push_back(j);
    picked->insert(picked->end(), take.begin(), take.end());
    return a;
  }
  picked->insert(picked->end(), skip.begin(), skip.end());
  return b;
}

TEST(HighlightPinyins, AgreesWithTheExhaustiveRecursion) {
  const char* syllables[] = {"a", "ai", "an", "ba", "ban", "bai", "na", "nai", "i", ""};
  std::mt19937 rng(11);
  for (int round = 0; round < 3000; ++round) {
    std::vector<std::string> readings;
    const int count = 1 + rng() % 9;
    for (int i = 0; i < count; ++i) readings.push_back(syllables[rng() % (round % 2 ? 10 : 9)]);
    List l(readings);
    std::string word;
    for (int n = 1 + rng() % 9; n > 0; --n) word += "abin"[rng() % 4];
    const int first = rng() % 3 == 0 ? (int)(rng() % count) : 0;
    const int offset = rng() % 3 == 0 ? (int)(rng() % word.size()) : 0;

    std::vector<int> expected;
    const float want = Exhaustive(l, first, word, offset, &expected);
    _DArray* got = darray_create(nullptr, false);
    const float score =
        highlight_pinyins_en(l.chars.data(), count, first, word.c_str(), offset, got);
    RangeList expectedRanges;
    for (int j : expected) expectedRanges.push_back({j * 3, j * 3 + 3});
    EXPECT_EQ(want, score) << word << " from " << first << "/" << offset;
    EXPECT_EQ(expectedRanges, Ranges(got)) << word;
    darray_destroy(got);
  }
  // Refused arguments leave the list alone.
  List l({"zhang", "san"});
  _DArray* got = darray_create(nullptr, false);
  EXPECT_EQ(0, highlight_pinyins_en(l.chars.data(), 2, 2, "san", 0, got));
  EXPECT_EQ(0, highlight_pinyins_en(l.chars.data(), 2, 0, "san", 3, got));
  EXPECT_EQ(0, highlight_pinyins_en(l.chars.data(), 2, 0, "", 0, got));
  EXPECT_EQ(0, highlight_pinyins_en(nullptr, 2, 0, "san", 0, got));
  EXPECT_EQ(0u, darray_length(got));
  darray_destroy(got);
}

// Ranges from several pieces arrive unsorted, nested or touching; past the
// text or empty ones are dropped; a list with nothing left marks nothing.
TEST(HighlightPositions, MergeAndCut) {
  _DArray* pos = darray_create(nullptr, false);
  for (auto r : RangeList{{5, 7}, {0, 2}, {1, 3}, {3, 4}, {6, 6}, {10, 12}, {10, 11}, {30, 40}}) {
    pushPosToArr(pos, r.first, r.second);
  }
  EXPECT_EQ(0, mergePositions(pos, 20));
  EXPECT_EQ((RangeList{{0, 4}, {5, 7}, {10, 12}}), Ranges(pos));
  darray_clean(pos);
  pushPosToArr(pos, 3, 3);
  _str_buffer_t* out = str_buffer_create(1);
  EXPECT_EQ(-1, only_highlight_abs("abcdefghijkl", pos, 100, out, true));
  EXPECT_EQ(0u, out->len);
  str_buffer_free(out);
  darray_destroy(pos);
  EXPECT_EQ(-1, pushPosToArr(nullptr, 0, 1));

  // A literal piece given a length past its end ends at its terminator, and
  // is looked for only while that length of text is left.
  _DArray* pieces = darray_create(nullptr, false);
  pos = darray_create(nullptr, false);
  darray_append(pieces, ptr_to_slot("ab"));
  darray_append(pieces, 5);
  EXPECT_EQ(0, highlight_abs(nullptr, "xxabxab", nullptr, pieces, pos));
  EXPECT_EQ((RangeList{{2, 4}}), Ranges(pos));
  EXPECT_EQ(-1, highlight_abs(nullptr, "ab", nullptr, pieces, pos));
  EXPECT_EQ(-1, highlight_abs(nullptr, nullptr, nullptr, pieces, pos));
  darray_destroy(pieces);
  darray_destroy(pos);
}

}  // namespace
}  // namespace mobile_search
