#include "text/pinyin.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>

#include <set>
#include <string>

#include "text/pinyin_tables.h"

namespace mobile_search {
namespace {

const char* Entry(unsigned int cp) { return _pinyin_table_[cp - kPinyinFirstCode]; }

std::string Row(int i) {
  return std::string(reinterpret_cast<const char*>(kCommonHanziTable[i]) + 8);
}

std::string Hz2py(const char* hz, int len) {
  pinyin_t* p = hz2py(hz, len);
  if (p == nullptr) return "<null>";
  EXPECT_EQ(1, p->count);
  std::string s = slot_as<const char>(darray_get_by_index(p->list, 0));
  pinyin_t_free(p);
  return s;
}

TEST(PinyinTables, TellingRowsAndShape) {
  struct {
    unsigned int cp;
    const char* entry;
  } const rows[] = {
      {0x4E00, "yi"},          {0x4E01, "ding|zheng"}, {0x4E2D, "zhong"},
      {0x4E50, "le|yue"},      {0x56FD, "guo"},        {0x884C, "xing|hang|heng"},
      {0x91CD, "zhong|chong"}, {0x957F, "chang|zhang"}, {0x9FA5, "yu"},
      {0x5415, "lv"},          {0x5973, "nv"},          {0x7565, "lve"},
  };
  for (const auto& r : rows) EXPECT_STREQ(r.entry, Entry(r.cp)) << std::hex << r.cp;

  // Syllables: in byte order (looked up by bisection), zero-padded.
  std::set<std::string> syllables;
  for (int i = 0; i < kPinyinSyllableCount; ++i) {
    ASSERT_EQ(0, kPinyinSyllables[i][kPinyinSyllableRow - 1]);
    EXPECT_TRUE(i == 0 || strcmp(kPinyinSyllables[i - 1], kPinyinSyllables[i]) < 0) << i;
    syllables.insert(kPinyinSyllables[i]);
  }
  EXPECT_STREQ("a", kPinyinSyllables[0]);
  EXPECT_STREQ("zuo", kPinyinSyllables[kPinyinSyllableCount - 1]);

  // Entries: lower-case readings joined by single bars, fitting 30 bytes.
  int several = 0;
  for (int i = 0; i < kPinyinTableSize; ++i) {
    const std::string e = _pinyin_table_[i];
    ASSERT_LT(e.size(), 30u) << i;
    several += e.find('|') != std::string::npos;
    const bool badBars = !e.empty() && (e.front() == '|' || e.back() == '|' ||
                                         e.find("||") != std::string::npos);
    EXPECT_FALSE(badBars || e.find_first_not_of("abcdefghijklmnopqrstuvwxyz|") != e.npos) << e;
  }
  EXPECT_GT(several, 2000);

  // Common characters: sorted by pinyin, each reading a syllable and the
  // table's first reading, each found again through the by-character index.
  ASSERT_GT(kCommonHanziCount, 6000);
  for (int i = 0; i < kCommonHanziCount; ++i) {
    const unsigned char* row = kCommonHanziTable[i];
    const unsigned int cp = ((row[0] & 0x0Fu) << 12) | ((row[1] & 0x3Fu) << 6) | (row[2] & 0x3Fu);
    ASSERT_TRUE(cp >= kPinyinFirstCode && cp <= kPinyinLastCode && row[3] == 0) << i;
    const std::string pinyin = Row(i);
    EXPECT_TRUE(syllables.count(pinyin)) << pinyin;
    EXPECT_EQ(pinyin, std::string(Entry(cp)).substr(0, pinyin.size())) << pinyin;
    EXPECT_TRUE(i == 0 || Row(i - 1) <= pinyin) << pinyin;
    ASSERT_EQ(pinyin, Hz2py(reinterpret_cast<const char*>(row), 3)) << i;
  }
}

std::string Convert(const char* in, int initialsOnly, int allReadings, int addSpace, int fullWidth) {
  char out[256] = {0};
  utf8_to_pinyin(in, out, initialsOnly, allReadings, addSpace, fullWidth, nullptr);
  return out;
}

TEST(Pinyin, Utf8ToPinyin) {
  struct {
    const char* in;
    int initials, all, space, fullWidth;
    const char* out;
  } const cases[] = {
      {"中国", 0, 0, 0, 0, "zhongguo"},
      {"中国", 0, 0, 1, 0, "zhong guo "},
      {"中国", 1, 0, 0, 0, "zg"},
      {"重", 1, 1, 0, 0, "z|c"},
      {"重", 0, 1, 0, 0, "zhong|chong"},
      {"行", 1, 1, 2, 0, "x|h|h "},
      {"a中b", 0, 0, 1, 0, "a zhong b"},
      {"a 中", 0, 0, 1, 0, "a zhong "},
      {"Ａ１　x", 0, 0, 0, 1, "A1 x"},
      {"Ａ１", 0, 0, 0, 0, "Ａ１"},
      {"かな", 0, 0, 0, 0, "かな"},
      {"ab中\xC3\xA9中", 0, 0, 0, 0, "abzhong\xC3"},  // stops at the two-byte é
      {"中\xE4\xB8", 0, 0, 0, 0, "zhong"},            // cut three-byte character
      {"", 0, 0, 0, 0, ""},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.out, Convert(c.in, c.initials, c.all, c.space, c.fullWidth)) << c.in;
  }

  char out[64] = {0};
  char rest[4] = {0};
  utf8_to_pinyin("中\xC3\xA9", out, 0, 0, 0, 0, rest);
  EXPECT_STREQ("zhong", out);
  EXPECT_EQ('\xC3', rest[0]);
  memset(out, 0, sizeof(out));
  utf8_to_pinyin("a\xE4\xB8", out, 0, 0, 0, 0, rest);
  EXPECT_STREQ("a", out);
  EXPECT_EQ('\xB8', rest[0]);  // every remaining byte lands on rest[0]

  memset(out, 0, sizeof(out));
  utf8wpySingle(const_cast<char*>("长大"), out, true);
  EXPECT_STREQ("chang|zhangda|dai", out);
  char untouched[8] = "keep";
  utf8wpySingle(const_cast<char*>("\xFF" "abc"), untouched, false);
  EXPECT_STREQ("keep", untouched);
}

TEST(Pinyin, ReadingLookupsAndSyllableChecks) {
  // Only the first three bytes count; 龥 is not a common character; kana and
  // 兙 have no Mandarin reading.
  const struct {
    const char* hz;
    int len;
    const char* reading;
  } cases[] = {{"中", 3, "zhong"},  {"中国", 3, "zhong"}, {"长", 3, "chang"},  {"行", 3, "xing"},
               {"龥", 3, "yu"},     {"か", 3, "<null>"},  {"兙", 3, "<null>"}, {"", 3, "<null>"},
               {"中", 6, "<null>"}, {"中", 2, "<null>"},  {nullptr, 3, "<null>"}};
  for (const auto& c : cases) EXPECT_EQ(c.reading, Hz2py(c.hz, c.len)) << c.hz << " " << c.len;
  char* s = hz2pyConvertSingle("乐", 3);
  ASSERT_NE(nullptr, s);
  EXPECT_STREQ("le", s);
  free(s);
  EXPECT_EQ(nullptr, hz2pyConvertSingle("x", 1));

  // Syllable checks.
  struct {
    const char* s;
    int n;
    bool ok;
  } const single[] = {
      {"zhang", 5, true}, {"zhan", 4, true}, {"zhangsan", 5, true}, {"zhangsan", 6, false},
      {"a", 1, true},     {"lve", 3, true},  {"xyz", 1, true},      {"xyz", 2, false},
      {"vv", 1, false},   {"", 1, false},    {"a", 0, false},       {"zuo", 4, true},
  };
  for (const auto& c : single) EXPECT_EQ(c.ok, py2hzSingleCheck(c.s, c.n)) << c.s << " " << c.n;
  EXPECT_FALSE(py2hzSingleCheck(nullptr, 2));

  struct {
    const char* s;
    int result;
  } const sub[] = {
      {"zhangsan", 5}, {"zs", -1}, {"zh", 2}, {"sh", 2}, {"xyz", -1}, {"an", -1},
      {"anhui", -1},   {"angel", 3},    {"wode", -1}, {"shuang", 6}, {"shuangxi", 6}, {"x", -1},
  };
  for (const auto& c : sub) EXPECT_EQ(c.result, py2hzSubCheck(c.s, (int)strlen(c.s))) << c.s;
  EXPECT_EQ(-1, py2hzSubCheck(nullptr, 4));

  struct {
    const char* s;
    bool ok;
  } const utf8[] = {
      {"", true}, {"plain ascii", true}, {"中文é", true}, {"\xFF", false}, {"\x80" "abc", false},
      {"\xE4\x41\xAD", false},
      // Only the first 20 bytes are examined, and a character cut by the end
      // of the text passes.
      {"abcdefghijklmnopqrs\xE4\xB8", true},
      {"abcdefghijklmnopqrst\xFF" "abcd", true},
      {"abcdefghijklmnopqrs\xFF" "abcde", false},
      {"abcdefghijklmnopqr\xE4\x41", false},
  };
  for (const auto& c : utf8) EXPECT_EQ(c.ok, is_utf8_string(c.s)) << c.s;
  EXPECT_FALSE(is_utf8_string(nullptr));
}

}  // namespace
}  // namespace mobile_search
