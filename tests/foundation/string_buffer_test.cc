#include "foundation/string_buffer.h"

#include <gtest/gtest.h>
#include <string.h>

#include <string>

namespace mobile_search {
namespace {

// The buffer's invariants: terminated at len, and the margin beyond size allocated.
void expect_sound(const _str_buffer_t* buf) {
  ASSERT_NE(nullptr, buf);
  EXPECT_LT(buf->len, buf->size);
  EXPECT_EQ('\0', buf->data[buf->len]);
  EXPECT_EQ('\0', buf->data[buf->size + 4]);
}

std::string text(const _str_buffer_t* buf) { return std::string(buf->data, buf->len); }

TEST(StringBuffer, GrowthStepsFromTheLengthPlusWhatIsAdded) {
  _str_buffer_t* buf = str_buffer_create(4);
  EXPECT_EQ(5, buf->size);
  EXPECT_EQ(1, str_buffer_append(buf, "abcd", 4));  // 0 + 4 < 5: no growth
  EXPECT_EQ(5, buf->size);
  EXPECT_EQ(1, str_buffer_append(buf, 'e'));  // 4 + 1 >= 5: grows by 6
  EXPECT_EQ(12, buf->size);
  EXPECT_EQ(1, str_buffer_append(buf, "fghijkl"));  // 5 + 7 >= 12: grows by 13
  EXPECT_EQ(26, buf->size);
  expect_sound(buf);
  EXPECT_EQ(1, str_buffer_append(buf, buf));  // survives its own reallocation
  EXPECT_EQ(1, str_buffer_append(buf, -42));
  EXPECT_EQ(1, str_buffer_append(buf, 4000000000u));
  EXPECT_EQ(1, str_buffer_append(buf, 18446744073709551615ULL));
  EXPECT_EQ(1, str_buffer_append(buf, "xyz", 0));  // n < 1: success, nothing
  EXPECT_EQ("abcdefghijklabcdefghijkl-42400000000018446744073709551615", text(buf));
  expect_sound(buf);
  str_buffer_reset(buf);
  EXPECT_EQ(0, buf->len);
  EXPECT_EQ(0, memcmp(buf->data, std::string(57, '\0').data(), 57));
  str_buffer_free(buf);
}

TEST(StringBuffer, CreationFormsAndEmbeddedBytes) {
  _str_buffer_t* raw = str_buffer_create("ab\0cd", 5);
  _str_buffer_t* copy = str_buffer_create(static_cast<const _str_buffer_t*>(raw));
  EXPECT_EQ(std::string("ab\0cd", 5), text(copy));
  _str_buffer_t* empty = str_buffer_create("");
  EXPECT_EQ(2, empty->size);
  EXPECT_EQ(nullptr, str_buffer_create(static_cast<const _str_buffer_t*>(empty)));
  _str_buffer_t* blank = str_buffer_create(static_cast<const char*>(nullptr), 3);
  EXPECT_EQ(0, blank->len);
  EXPECT_EQ(4, blank->size);

  // The class form differs: a first NUL byte appends nothing, a later one
  // counts, and a copy stops at the first NUL.
  StringBuffer cls("ab");
  EXPECT_EQ(0, cls.append("\0cd", 3));
  EXPECT_EQ(1, cls.append("x\0y", 3));
  EXPECT_EQ(5, cls.length());
  StringBuffer cut_copy(&cls);
  EXPECT_STREQ("abx", cut_copy.toString());
  EXPECT_EQ(3, cut_copy.length());
  EXPECT_EQ(0, StringBuffer(static_cast<const StringBuffer*>(nullptr)).length());
  for (_str_buffer_t* b : {blank, empty, copy, raw}) str_buffer_free(b);
}

TEST(StringBuffer, CompareIsBytewiseThenByLengthWithItsNullRules) {
  _str_buffer_t* abc = str_buffer_create("abc");
  _str_buffer_t* empty = str_buffer_create("");
  const _str_buffer_t* none = nullptr;
  const char* no_text = nullptr;
  EXPECT_LT(str_buffer_compare(abc, "abd", 3), 0);  // memcmp's own value
  EXPECT_GT(str_buffer_compare(abc, "aba"), 0);
  const int results[][2] = {
      {1, str_buffer_compare(abc, "ab", 2)},     {-1, str_buffer_compare(abc, "abcd", 4)},
      {0, str_buffer_compare(abc, "abc")},       {1, str_buffer_compare(abc, "abcd", 2)},
      {0, str_buffer_compare(none, no_text)},    {-1, str_buffer_compare(none, "x")},
      {0, str_buffer_compare(none, "")},         {-1, str_buffer_compare(abc, no_text)},
      {0, str_buffer_compare(empty, no_text)},   {-1, str_buffer_compare(none, abc)},
      {0, str_buffer_compare(none, empty)},      {-1, str_buffer_compare(abc, none)},
      {1, str_buffer_compare(abc, empty)},       {-1, str_buffer_compare(empty, abc)}};
  for (const auto& r : results) EXPECT_EQ(r[0], r[1]) << "row " << &r - results;
  str_buffer_free(empty);
  str_buffer_free(abc);
}

TEST(StringBuffer, WriteAndCutCutsTheRest) {
  _str_buffer_t* buf = str_buffer_create("hello");
  EXPECT_EQ(0, str_buffer_writeAndCut(buf, 2, "X"));
  EXPECT_EQ("heX", text(buf));
  EXPECT_EQ(-1, str_buffer_writeAndCut(buf, 4, "Y"));  // beyond len
  EXPECT_EQ(0, str_buffer_writeAndCut(buf, 3, "-a longer tail"));
  EXPECT_EQ("heX-a longer tail", text(buf));
  expect_sound(buf);
  EXPECT_EQ(0, str_buffer_writeAndCut(buf, 0, ""));
  EXPECT_EQ(0, buf->len);
  expect_sound(buf);
  EXPECT_EQ(1, str_buffer_append(buf, "abcdef"));
  EXPECT_EQ(-1, str_buffer_cut(buf, 7));
  EXPECT_EQ(0, str_buffer_cut(buf, 2));
  EXPECT_STREQ("ab", buf->data);
  EXPECT_EQ(2, str_buffer_len(buf));
  StringBuffer cls("hello");
  EXPECT_EQ(0, cls.writeAndCut(5, " world"));
  EXPECT_STREQ("hello world", cls.toString());
  str_buffer_free(buf);
}

TEST(StringBuffer, CaseAndTrim) {
  _str_buffer_t* buf = str_buffer_create("a\xC3\xB1" "b\xE4\xB8\xAD" "z");
  str_buffer_toupper(buf);
  EXPECT_STREQ("A\xC3\xB1" "B\xE4\xB8\xAD" "Z", buf->data);  // ASCII only
  str_buffer_tolower(buf);
  EXPECT_STREQ("a\xC3\xB1" "b\xE4\xB8\xAD" "z", buf->data);
  str_buffer_free(buf);

  _DArray* list = darray_create(str_buffer_free, true);
  const char* inputs[] = {" \t lead", "trail \r\n", " \n ", "\va\f"};
  const char* expected[] = {"lead", "trail", "", "\va\f"};  // VT and FF stay
  for (const char* in : inputs) darray_append(list, static_cast<const void*>(str_buffer_create(in)));
  EXPECT_EQ(RET_OK, darray_foreach(list, str_buffer_trim, 0));
  for (unsigned i = 0; i < 4; ++i) {
    const _str_buffer_t* b = slot_as<_str_buffer_t>(list->items[i]);
    EXPECT_STREQ(expected[i], b->data);
    EXPECT_EQ((int)strlen(expected[i]), b->len);
  }
  // Appending after a left trim continues right after the kept text.
  str_buffer_append(slot_as<_str_buffer_t>(list->items[0]), "!");
  EXPECT_STREQ("lead!", slot_as<_str_buffer_t>(list->items[0])->data);
  darray_destroy(list);
}

}  // namespace
}  // namespace mobile_search
