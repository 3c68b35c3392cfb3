#include "foundation/string_buffer.h"

#include <gtest/gtest.h>
#include <string.h>

#include <string>

namespace mobile_search {
namespace {

// The buffer's invariants, checked around operations.
void expect_sound(const _str_buffer_t* buf) {
  ASSERT_NE(nullptr, buf);
  ASSERT_NE(nullptr, buf->data);
  EXPECT_LT(buf->len, buf->size);
  EXPECT_EQ('\0', buf->data[buf->len]);
  EXPECT_EQ('\0', buf->data[buf->size + 4]);  // the margin is allocated
}

std::string text(const _str_buffer_t* buf) { return std::string(buf->data, buf->len); }

TEST(StringBuffer, GrowthStepsFromTheLengthPlusWhatIsAdded) {
  _str_buffer_t* buf = str_buffer_create(4);
  ASSERT_NE(nullptr, buf);
  EXPECT_EQ(5, buf->size);
  EXPECT_EQ(1, str_buffer_append(buf, "abcd", 4));  // 0 + 4 < 5: no growth
  EXPECT_EQ(5, buf->size);
  EXPECT_EQ(1, str_buffer_append(buf, 'e'));        // 4 + 1 >= 5: grows by 6
  EXPECT_EQ(12, buf->size);
  expect_sound(buf);
  EXPECT_EQ(1, str_buffer_append(buf, "fghijkl"));  // 5 + 7 >= 12: grows by 13
  EXPECT_EQ(26, buf->size);
  EXPECT_EQ("abcdefghijkl", text(buf));
  expect_sound(buf);

  // Appending a buffer to itself survives the reallocation.
  EXPECT_EQ(1, str_buffer_append(buf, buf));
  EXPECT_EQ("abcdefghijklabcdefghijkl", text(buf));
  expect_sound(buf);

  EXPECT_EQ(1, str_buffer_append(buf, -42));
  EXPECT_EQ(1, str_buffer_append(buf, 4000000000u));
  EXPECT_EQ(1, str_buffer_append(buf, 18446744073709551615ULL));
  EXPECT_EQ("abcdefghijklabcdefghijkl-42400000000018446744073709551615", text(buf));
  EXPECT_EQ(1, str_buffer_append(buf, "xyz", 0));  // n < 1: success, nothing
  EXPECT_EQ(57, buf->len);
  expect_sound(buf);
  str_buffer_reset(buf);
  EXPECT_EQ(0, buf->len);
  EXPECT_EQ(0, memcmp(buf->data, std::string(57, '\0').data(), 57));
  str_buffer_free(buf);
}

TEST(StringBuffer, CreationFormsAndEmbeddedBytes) {
  _str_buffer_t* raw = str_buffer_create("ab\0cd", 5);
  ASSERT_NE(nullptr, raw);
  EXPECT_EQ(5, raw->len);
  _str_buffer_t* copy = str_buffer_create(static_cast<const _str_buffer_t*>(raw));
  EXPECT_EQ(std::string("ab\0cd", 5), text(copy));
  StringBuffer cls_copy(static_cast<const StringBuffer*>(nullptr));
  EXPECT_EQ(0, cls_copy.length());
  StringBuffer from_c("ab");
  from_c.append("\0cd", 3);  // first byte NUL: the class appends nothing
  EXPECT_EQ(2, from_c.length());

  _str_buffer_t* empty = str_buffer_create("");
  EXPECT_EQ(2, empty->size);
  EXPECT_EQ(nullptr, str_buffer_create(static_cast<const _str_buffer_t*>(empty)));
  _str_buffer_t* blank = str_buffer_create(static_cast<const char*>(nullptr), 3);
  EXPECT_EQ(0, blank->len);
  EXPECT_EQ(4, blank->size);

  StringBuffer cls;
  EXPECT_TRUE(cls.valid());
  EXPECT_EQ(2, cls.size);
  EXPECT_EQ(0, cls.append("", 5));
  EXPECT_EQ(0, cls.length());
  EXPECT_EQ(1, cls.append("x\0y", 3));  // a positive length counts, NUL and all
  EXPECT_EQ(3, cls.length());
  StringBuffer cut_copy(&cls);  // up to the first NUL only
  EXPECT_STREQ("x", cut_copy.toString());
  EXPECT_EQ(1, cut_copy.length());

  str_buffer_free(blank);
  str_buffer_free(empty);
  str_buffer_free(copy);
  str_buffer_free(raw);
}

TEST(StringBuffer, CompareIsBytewiseThenByLengthWithItsNullRules) {
  _str_buffer_t* abc = str_buffer_create("abc");
  EXPECT_LT(str_buffer_compare(abc, "abd", 3), 0);  // memcmp's own value
  EXPECT_GT(str_buffer_compare(abc, "aba"), 0);
  EXPECT_EQ(1, str_buffer_compare(abc, "ab", 2));
  EXPECT_EQ(-1, str_buffer_compare(abc, "abcd", 4));
  EXPECT_EQ(0, str_buffer_compare(abc, "abc"));
  EXPECT_EQ(1, str_buffer_compare(abc, "abcd", 2));  // only n bytes of s count

  _str_buffer_t* empty = str_buffer_create("");
  const _str_buffer_t* none = nullptr;
  EXPECT_EQ(0, str_buffer_compare(none, static_cast<const char*>(nullptr)));
  EXPECT_EQ(-1, str_buffer_compare(none, "x"));
  EXPECT_EQ(0, str_buffer_compare(none, ""));
  EXPECT_EQ(-1, str_buffer_compare(abc, static_cast<const char*>(nullptr)));  // not +1
  EXPECT_EQ(0, str_buffer_compare(empty, static_cast<const char*>(nullptr)));
  EXPECT_EQ(-1, str_buffer_compare(none, abc));
  EXPECT_EQ(0, str_buffer_compare(none, empty));
  EXPECT_EQ(-1, str_buffer_compare(abc, none));
  EXPECT_EQ(1, str_buffer_compare(abc, empty));
  EXPECT_EQ(-1, str_buffer_compare(empty, abc));
  str_buffer_free(empty);
  str_buffer_free(abc);
}

TEST(StringBuffer, WriteAndCutCutsTheRest) {
  _str_buffer_t* buf = str_buffer_create("hello");
  EXPECT_EQ(0, str_buffer_writeAndCut(buf, 2, "X"));
  EXPECT_EQ("heX", text(buf));
  EXPECT_EQ(3, buf->len);
  EXPECT_EQ(-1, str_buffer_writeAndCut(buf, 4, "Y"));  // beyond len
  EXPECT_EQ(0, str_buffer_writeAndCut(buf, 3, "-a longer tail"));
  EXPECT_EQ("heX-a longer tail", text(buf));
  expect_sound(buf);
  EXPECT_EQ(0, str_buffer_writeAndCut(buf, 0, ""));
  EXPECT_EQ(0, buf->len);
  expect_sound(buf);

  _str_buffer_t* word = str_buffer_create("abcdef");
  EXPECT_EQ(-1, str_buffer_cut(word, 7));
  EXPECT_EQ(0, str_buffer_cut(word, 6));
  EXPECT_EQ(0, str_buffer_cut(word, 2));
  EXPECT_STREQ("ab", word->data);
  EXPECT_EQ(2, str_buffer_len(word));

  StringBuffer cls("hello");
  EXPECT_EQ(0, cls.writeAndCut(5, " world"));
  EXPECT_STREQ("hello world", cls.toString());
  EXPECT_EQ(-1, cls.writeAndCut(12, "x"));
  str_buffer_free(word);
  str_buffer_free(buf);
}

TEST(StringBuffer, CaseTrimAndForeachTrim) {
  _str_buffer_t* buf = str_buffer_create("a\xC3\xB1" "b\xE4\xB8\xAD" "z");
  str_buffer_toupper(buf);
  EXPECT_STREQ("A\xC3\xB1" "B\xE4\xB8\xAD" "Z", buf->data);
  str_buffer_tolower(buf);
  EXPECT_STREQ("a\xC3\xB1" "b\xE4\xB8\xAD" "z", buf->data);
  StringBuffer cls("MiXeD 9!");
  cls.tolower();
  EXPECT_STREQ("mixed 9!", cls.toString());
  cls.toupper();
  EXPECT_STREQ("MIXED 9!", cls.toString());

  _DArray* list = darray_create(str_buffer_free, true);
  darray_append(list, static_cast<const void*>(str_buffer_create(" \t lead")));
  darray_append(list, static_cast<const void*>(str_buffer_create("trail \r\n")));
  darray_append(list, static_cast<const void*>(str_buffer_create(" \n ")));
  darray_append(list, static_cast<const void*>(str_buffer_create("\va\f")));  // VT, FF stay
  EXPECT_EQ(RET_OK, darray_foreach(list, str_buffer_trim, 0));
  const char* expected[] = {"lead", "trail", "", "\va\f"};
  for (unsigned i = 0; i < 4; ++i) {
    const _str_buffer_t* b = slot_as<_str_buffer_t>(list->items[i]);
    EXPECT_STREQ(expected[i], b->data);
    EXPECT_EQ((int)strlen(expected[i]), b->len);
  }
  // Appending after a left trim continues right after the kept text.
  _str_buffer_t* first = slot_as<_str_buffer_t>(list->items[0]);
  str_buffer_append(first, "!");
  EXPECT_STREQ("lead!", first->data);
  darray_destroy(list);
  str_buffer_free(buf);
}

}  // namespace
}  // namespace mobile_search
