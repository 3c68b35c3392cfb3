#include "text/highlight_pinyin.h"

#include <gtest/gtest.h>
#include <string.h>

#include <random>
#include <string>
#include <vector>

#include "text/highlight_abstract.h"
#include "text/highlight_positions.h"

namespace mobile_search {
namespace {

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

TEST(HighlightPinyins, StagesOfTheLatinMatcher) {
  const char* text = "我和张三丰说";  // 张 at bytes 6..9
  _DArray* pos = darray_create(nullptr, false);
  // Initials need the loose stage; neighbours come back as one range.
  EXPECT_EQ(-1, highlight_abs_en(text, text, "zs", false, pos));
  EXPECT_EQ(0u, darray_length(pos));
  EXPECT_EQ(0, highlight_abs_en(text, text, "zs", true, pos));
  EXPECT_EQ((RangeList{{6, 12}}), Ranges(pos));
  darray_clean(pos);
  // Full spellings are found strictly, one range per character.
  EXPECT_EQ(0, highlight_abs_en(text, text, "zhangsan", false, pos));
  EXPECT_EQ((RangeList{{6, 9}, {9, 12}}), Ranges(pos));
  darray_clean(pos);
  // A spelling of the word's start counts, even past the end of the text's
  // readings, and keeps the loose stage from running.
  EXPECT_EQ(0, highlight_abs_en(text, text, "zhangsf", true, pos));
  EXPECT_EQ((RangeList{{6, 9}}), Ranges(pos));
  darray_clean(pos);
  EXPECT_EQ(0, highlight_abs_en("说张", "说张", "zhangsanfengshuo", false, pos));
  EXPECT_EQ((RangeList{{3, 6}}), Ranges(pos));
  darray_clean(pos);
  // Initials and leading letters, joined: only when they spell it all.
  EXPECT_EQ(0, highlight_abs_en(text, text, "zhsf", true, pos));
  EXPECT_EQ((RangeList{{6, 15}}), Ranges(pos));
  darray_clean(pos);
  EXPECT_EQ(-1, highlight_abs_en(text, text, "zhsx", true, pos));
  EXPECT_EQ(0u, darray_length(pos));
  // Fewest ranges first: 三丰 rather than 说 + ... ; a gap makes two ranges.
  EXPECT_EQ(0, highlight_abs_en(text, text, "sf", true, pos));
  EXPECT_EQ((RangeList{{9, 15}}), Ranges(pos));
  darray_clean(pos);
  EXPECT_EQ(0, highlight_abs_en(text, text, "whz", true, pos));
  EXPECT_EQ((RangeList{{0, 9}}), Ranges(pos));
  darray_clean(pos);
  EXPECT_EQ(0, highlight_abs_en(text, text, "wz", true, pos));
  EXPECT_EQ((RangeList{{0, 3}, {6, 9}}), Ranges(pos));
  darray_clean(pos);
  // Literal occurrences come first and stop the search.
  EXPECT_EQ(0, highlight_abs_en("shuo说shuo", "shuo说shuo", "shuo", true, pos));
  EXPECT_EQ((RangeList{{0, 4}, {7, 11}}), Ranges(pos));
  EXPECT_EQ(-1, highlight_abs_en(text, text, "", true, pos));
  EXPECT_EQ(-1, highlight_abs_en(nullptr, text, "zs", true, pos));
  darray_destroy(pos);
}

TEST(HighlightPositions, MergeAndCut) {
  EXPECT_EQ(-1, pushPosToArr(nullptr, 0, 1));
  int s = 0, e = 0;
  EXPECT_EQ(-1, getPosFromArr(nullptr, s, e, 0));
  _DArray* pos = darray_create(nullptr, false);
  // Unsorted, overlapping, touching, nested, erased and out-of-text slots.
  for (auto r : RangeList{{5, 7}, {0, 2}, {1, 3}, {3, 4}, {6, 6}, {10, 12}, {10, 11}, {30, 40}}) {
    pushPosToArr(pos, r.first, r.second);
  }
  EXPECT_EQ(0, mergePositions(pos, 20));
  EXPECT_EQ((RangeList{{0, 4}, {5, 7}, {10, 12}}), Ranges(pos));

  _str_buffer_t* out = str_buffer_create(1);
  EXPECT_EQ(0, only_highlight_abs("abcdefghijkl", pos, 100, out, true));
  EXPECT_STREQ("<red>abcd</red>e<red>fg</red>hij<red>kl</red>", out->data);
  str_buffer_reset(out);
  EXPECT_EQ(0, only_highlight_abs("abcdefghijkl", pos, 100, out, false));
  EXPECT_STREQ("abcdefghijkl", out->data);
  // Nothing to mark: -1 and the output untouched.
  darray_clean(pos);
  pushPosToArr(pos, 3, 3);
  EXPECT_EQ(-1, only_highlight_abs("abcdefghijkl", pos, 100, out, true));
  EXPECT_STREQ("abcdefghijkl", out->data);
  str_buffer_reset(out);
  EXPECT_EQ(0, abstract("中文字符", 2, out));
  EXPECT_STREQ("中文...", out->data);
  str_buffer_free(out);
  darray_destroy(pos);
}

}  // namespace
}  // namespace mobile_search
