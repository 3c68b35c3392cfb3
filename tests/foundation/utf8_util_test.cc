#include "foundation/utf8_util.h"

#include <gtest/gtest.h>
#include <string.h>

#include <string>
#include <vector>

#include "foundation/string_buffer.h"

namespace mobile_search {
namespace {

const char kZhong[] = "\xE4\xB8\xAD";         // a three-byte Han character
const char kEmoji[] = "\xF0\x9F\x98\x80";     // a four-byte character

TEST(Utf8Util, StepsAndCountsByCharacterClass) {
  std::string zh_a = std::string(kZhong) + "a";
  EXPECT_EQ(2, ac_utf8_len(zh_a.c_str()));
  EXPECT_EQ(1, ac_utf8_len(zh_a.c_str(), 1));  // only the character starting at byte 0
  EXPECT_EQ(3, ac_utf8_word_bytes(zh_a.c_str(), 1));
  EXPECT_EQ(4, ac_utf8_word_bytes(zh_a.c_str(), 9));  // the string ends first
  EXPECT_EQ(0, ac_utf8_word_bytes(zh_a.c_str(), 0));

  const char* p = kEmoji;
  EXPECT_EQ(p + 4, ac_utf8_next(p));
  const char* ascii = "ab";
  EXPECT_EQ(ascii + 1, ac_utf8_next(ascii));
  const char stray[] = "\x80\x80x";  // the lead byte is not examined
  EXPECT_EQ(stray + 2, ac_utf8_next(stray));
  const char run[] = "\xC0\x80\x80\x80\x80\x80\x80\x80";
  EXPECT_EQ(run + 6, ac_utf8_next(run));

  // Classes: a1-b, then a space.
  EXPECT_EQ(2, ac_utf8_others_num("a1-b "));
  EXPECT_EQ(2, ac_utf8_en_word_num("a1-b "));
  EXPECT_EQ(1, ac_utf8_numchar_num("a1-b "));
  std::string mixed = std::string(kZhong) + "Ab" + kEmoji + "9 _.~\xC3\xA9";
  EXPECT_EQ(3, ac_utf8_cn_word_num(mixed.c_str()));  // any non-ASCII character
  EXPECT_EQ(2, ac_utf8_en_word_num(mixed.c_str()));
  EXPECT_EQ(2, ac_utf8_others_num(mixed.c_str()));   // 9 and _, not . or ~
  EXPECT_EQ(10, ac_utf8_len(mixed.c_str()));
  EXPECT_EQ(1, ac_utf8_cn_word_num(mixed.c_str(), 3));
  EXPECT_EQ(3, ac_utf8_len(mixed.c_str(), 5));

  const char white[] = "!\"#$%&'()*+-/:;=?@[]_";
  for (int c = 1; c < 256; ++c) {
    bool expected = c < 128 && strchr(white, c) != nullptr;
    EXPECT_EQ(expected, ac_is_in_white((char)c)) << c;
  }
  EXPECT_FALSE(ac_is_in_white('\0'));
}

TEST(Utf8Util, SplitInPlaceAndByCopy) {
  char line[] = " ab  c d ";
  _DArray* parts = darray_create(nullptr, false);
  EXPECT_EQ(4, ac_str_splict(line, (int)strlen(line), ' ', parts));
  std::vector<std::string> got;
  for (unsigned i = 0; i < parts->count; ++i) got.push_back(slot_as<char>(parts->items[i]));
  EXPECT_EQ((std::vector<std::string>{"", "ab", "c", "d"}), got);
  darray_destroy(parts);

  char bounded[] = "x,y,z";
  parts = darray_create(nullptr, false);
  EXPECT_EQ(2, ac_str_splict(bounded, 3, ',', parts));  // "x,y" only
  darray_destroy(parts);

  const char* csv = ",,one,,two,three,";
  _DArray* copies = darray_create(str_buffer_free, true);
  EXPECT_EQ(3, ac_str_splict(csv, (int)strlen(csv), ',', copies));
  ASSERT_EQ(3u, copies->count);
  EXPECT_STREQ("one", slot_as<_str_buffer_t>(copies->items[0])->data);
  EXPECT_STREQ("three", slot_as<_str_buffer_t>(copies->items[2])->data);
  EXPECT_EQ(1, ac_str_splict(csv, 5, ',', copies));  // ",,one"
  darray_destroy(copies);
}

TEST(Utf8Util, CopyDecodeCaseTrimAndSearch) {
  char dst[8];
  EXPECT_EQ(1, ac_strlcpy(dst, "abcdef", 3));  // one less than the 2 copied
  EXPECT_STREQ("ab", dst);
  EXPECT_EQ(6, ac_strlcpy(dst, "abcdef", 7));
  EXPECT_STREQ("abcdef", dst);
  EXPECT_EQ(0, ac_strlcpy(dst, "abc", 0));
  EXPECT_EQ(-1, ac_strlcpy(dst, "abc", 1));  // nothing copied, still terminated
  EXPECT_STREQ("", dst);

  char url[] = "a%2Fb+c%zz%4";
  EXPECT_STREQ("a/b c%zz%4", ac_decode_url(url));
  char hex[] = "%41%62%7e";
  EXPECT_STREQ("Ab~", ac_decode_url(hex));

  char gbk[] = "ab\xB0\x61z\xC1";  // the byte after 0xB0 belongs to it
  EXPECT_STREQ("AB\xB0\x61Z\xC1", ac_gbk_toupper(gbk));

  char both[] = " \t\r\n x y \v\n";
  EXPECT_STREQ("x y \v", ac_str_trim(both));
  char left[] = "\n\n  z ";
  EXPECT_STREQ("z ", ac_str_left_trim(left));
  char right[] = " z \r\n";
  EXPECT_STREQ(" z", ac_str_right_trim(right));
  char blank[] = " \t ";
  EXPECT_STREQ("", ac_str_trim(blank));

  const char* hay = "abcabc";
  EXPECT_EQ(hay + 2, ac_strstrn(hay, "cab", 2));
  EXPECT_EQ(hay + 2, ac_strstrn(hay, "cab", 3));
  const char* tail = "abcabd";
  EXPECT_EQ(tail + 4, ac_strstrn(tail, "bd", 6));  // the last candidate position
  EXPECT_EQ(nullptr, ac_strstrn("ab", "abc", 3));
  EXPECT_EQ(nullptr, ac_strstrn(hay, "cx", 2));
  EXPECT_EQ(nullptr, ac_strstrn(hay, "a", 7));
}

}  // namespace
}  // namespace mobile_search
