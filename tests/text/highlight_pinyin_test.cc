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
}

}  // namespace
}  // namespace mobile_search
