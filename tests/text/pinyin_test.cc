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

std::string Row(int i, int offset) {
  return std::string(reinterpret_cast<const char*>(kCommonHanziTable[i]) + offset);
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

  std::set<std::string> syllables;
  for (int i = 0; i < kPinyinSyllableCount; ++i) {
    const char* s = kPinyinSyllables[i];
    ASSERT_EQ(0, s[kPinyinSyllableRow - 1]);
    if (i > 0) {
      EXPECT_LT(strcmp(kPinyinSyllables[i - 1], s), 0) << s;
    }
    syllables.insert(s);
  }
  EXPECT_STREQ("a", kPinyinSyllables[0]);
  EXPECT_STREQ("zuo", kPinyinSyllables[kPinyinSyllableCount - 1]);

  int several = 0;
  for (int i = 0; i < kPinyinTableSize; ++i) {
    const char* e = _pinyin_table_[i];
    ASSERT_NE(nullptr, e) << i;
    ASSERT_LT(strlen(e), 30u) << i;
    if (strchr(e, '|')) ++several;
    std::set<std::string> seen;
    std::string reading;
    for (const char* p = e;; ++p) {
      if (*p == '|' || *p == 0) {
        EXPECT_FALSE(reading.empty() && *e) << e;
        EXPECT_TRUE(seen.insert(reading).second) << "repeated reading in " << e;
        reading.clear();
        if (*p == 0) break;
      } else {
        ASSERT_TRUE(*p >= 'a' && *p <= 'z') << e;
        reading += *p;
      }
    }
  }
  EXPECT_GT(several, 2000);

  // Common characters: one Han character each, sorted by pinyin, whose reading
  // is a syllable and the table's first reading.
  ASSERT_GT(kCommonHanziCount, 6000);
  for (int i = 0; i < kCommonHanziCount; ++i) {
    const unsigned char* row = kCommonHanziTable[i];
    const unsigned int cp = ((row[0] & 0x0Fu) << 12) | ((row[1] & 0x3Fu) << 6) | (row[2] & 0x3Fu);
    ASSERT_TRUE(cp >= kPinyinFirstCode && cp <= kPinyinLastCode) << i;
    EXPECT_EQ(0, row[3]);
    const std::string pinyin = Row(i, 8);
    EXPECT_LE(pinyin.size(), 6u);
    EXPECT_TRUE(syllables.count(pinyin)) << pinyin;
    EXPECT_EQ(pinyin, std::string(Entry(cp)).substr(0, pinyin.size())) << pinyin;
    if (i > 0) {
      EXPECT_LE(Row(i - 1, 8), pinyin);
    }
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

std::string Hz2py(const char* hz, int len) {
  pinyin_t* p = hz2py(hz, len);
  if (p == nullptr) return "<null>";
  EXPECT_EQ(1, p->count);
  std::string s = slot_as<const char>(darray_get_by_index(p->list, 0));
  pinyin_t_free(p);
  return s;
}

TEST(Pinyin, Hz2pyGivesOneReading) {
  EXPECT_EQ("zhong", Hz2py("中", 3));
  EXPECT_EQ("zhong", Hz2py("中国", 3));  // only the first three bytes count
  EXPECT_EQ("chang", Hz2py("长", 3));
  EXPECT_EQ("xing", Hz2py("行", 3));
  EXPECT_EQ("yu", Hz2py("龥", 3));         // not a common character
  EXPECT_EQ("<null>", Hz2py("中", 6));
  EXPECT_EQ("<null>", Hz2py("中", 2));
  EXPECT_EQ("<null>", Hz2py("か", 3));     // kana: no pinyin
  EXPECT_EQ("<null>", Hz2py("兙", 3));     // Han without a Mandarin reading
  EXPECT_EQ("<null>", Hz2py("", 3));
  EXPECT_EQ("<null>", Hz2py(nullptr, 3));

  // Every common character is found through the by-character index.
  for (int i = 0; i < kCommonHanziCount; ++i) {
    ASSERT_EQ(Row(i, 8), Hz2py(reinterpret_cast<const char*>(kCommonHanziTable[i]), 3)) << i;
  }

  char* s = hz2pyConvertSingle("乐", 3);
  ASSERT_NE(nullptr, s);
  EXPECT_STREQ("le", s);
  free(s);
  EXPECT_EQ(nullptr, hz2pyConvertSingle("x", 1));
}

TEST(Pinyin, SyllableChecks) {
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
  for (const auto& c : sub) {
    EXPECT_EQ(c.result, py2hzSubCheck(c.s, static_cast<int>(strlen(c.s)))) << c.s;
  }
  EXPECT_EQ(-1, py2hzSubCheck(nullptr, 4));

  struct {
    const char* s;
    bool ok;
  } const utf8[] = {
      {"", true},
      {"plain ascii", true},
      {"中文é", true},
      {"\xFF", false},
      {"\x80" "abc", false},
      {"\xE4\x41\xAD", false},
      {"abcdefghijklmnopqrs\xE4\xB8", true},          // cut by the end of the text
      {"abcdefghijklmnopqrst\xFF" "abcd", true},      // 21st byte not examined
      {"abcdefghijklmnopqrs\xFF" "abcde", false},
      {"abcdefghijklmnopqr\xE4\x41", false},
  };
  for (const auto& c : utf8) EXPECT_EQ(c.ok, is_utf8_string(c.s)) << c.s;
  EXPECT_FALSE(is_utf8_string(nullptr));
}

}  // namespace
}  // namespace mobile_search
