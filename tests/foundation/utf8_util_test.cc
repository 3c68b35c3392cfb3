#include "foundation/utf8_util.h"

#include <gtest/gtest.h>
#include <string.h>

#include <string>
#include <vector>

#include "foundation/string_buffer.h"

namespace mobile_search {
namespace {

TEST(Utf8Util, StepsAndCountsByCharacterClass) {
  // A three-byte Han character, ASCII, a four-byte emoji, a digit, blanks and
  // punctuation, a two-byte Latin letter.
  const std::string mixed = "\xE4\xB8\xAD" "Ab\xF0\x9F\x98\x80" "9 _.~\xC3\xA9";
  const char* m = mixed.c_str();
  const int counts[][2] = {
      {10, ac_utf8_len(m)},          {3, ac_utf8_len(m, 5)},  // characters starting in 5 bytes
      {3, ac_utf8_cn_word_num(m)},   {1, ac_utf8_cn_word_num(m, 3)},  // any non-ASCII
      {2, ac_utf8_en_word_num(m)},   {2, ac_utf8_others_num(m)},  // 9 and _, not . or ~
      {2, ac_utf8_others_num("a1-b ")}, {1, ac_utf8_numchar_num("a1-b ")},
      {2, ac_utf8_en_word_num("a1-b ")}, {1, ac_utf8_len(m, 1)},
      {3, ac_utf8_word_bytes(m, 1)}, {4, ac_utf8_word_bytes(m, 2)},
      {(int)mixed.size(), ac_utf8_word_bytes(m, 99)}, {0, ac_utf8_word_bytes(m, 0)}};
  for (const auto& c : counts) EXPECT_EQ(c[0], c[1]) << "row " << &c - counts;

  EXPECT_EQ(m + 3, ac_utf8_next(m));
  EXPECT_EQ(m + 5, ac_utf8_next(m + 4));
  EXPECT_EQ(m + 9, ac_utf8_next(m + 5));
  const char stray[] = "\x80\x80x";  // the lead byte is not examined
  EXPECT_EQ(stray + 2, ac_utf8_next(stray));
  const char run[] = "\xC0\x80\x80\x80\x80\x80\x80\x80";
  EXPECT_EQ(run + 6, ac_utf8_next(run));

  const char white[] = "!\"#$%&'()*+-/:;=?@[]_";
  for (int c = 0; c < 256; ++c) {
    EXPECT_EQ(c > 0 && c < 128 && strchr(white, c) != nullptr, ac_is_in_white((char)c)) << c;
  }
}

TEST(Utf8Util, SplitInPlaceAndByCopy) {
  char line[] = " ab  c d ";
  _DArray* parts = darray_create(nullptr, false);
  EXPECT_EQ(4, ac_str_splict(line, (int)strlen(line), ' ', parts));
  std::vector<std::string> got;
  for (unsigned i = 0; i < parts->count; ++i) got.push_back(slot_as<char>(parts->items[i]));
  EXPECT_EQ((std::vector<std::string>{"", "ab", "c", "d"}), got);
  char bounded[] = "x,y,z";
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
  EXPECT_EQ(-1, ac_strlcpy(dst, "abc", 1));  // nothing copied, still terminated
  EXPECT_STREQ("", dst);

  // In-place rewrites: URL decoding, GBK-aware upper case (the byte after a
  // lead byte belongs to it), trims of blanks (not VT).
  char url[] = "a%2Fb+c%zz%4", hex[] = "%41%62%7e", gbk[] = "ab\xB0\x61z\xC1";
  char both[] = " \t\r\n x y \v\n", left[] = "\n\n  z ", right[] = " z \r\n", blank[] = " \t ";
  const std::pair<std::string, const char*> rewrites[] = {
      {"a/b c%zz%4", ac_decode_url(url)},     {"Ab~", ac_decode_url(hex)},
      {"AB\xB0\x61Z\xC1", ac_gbk_toupper(gbk)}, {"x y \v", ac_str_trim(both)},
      {"z ", ac_str_left_trim(left)},         {" z", ac_str_right_trim(right)},
      {"", ac_str_trim(blank)}};
  for (const auto& r : rewrites) EXPECT_EQ(r.first, r.second);

  // Bounded search: only n bytes of the needle count; n may not exceed the haystack.
  const char* hay = "abcabd";
  EXPECT_EQ(hay + 2, ac_strstrn(hay, "cax", 2));
  EXPECT_EQ(hay + 4, ac_strstrn(hay, "bd", 6));  // the last candidate position
  EXPECT_EQ(nullptr, ac_strstrn(hay, "a", 7));
}

}  // namespace
}  // namespace mobile_search
