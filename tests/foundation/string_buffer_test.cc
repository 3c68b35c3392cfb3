#include "foundation/string_buffer.h"
#include "foundation/string_buffer_slab.h"

#include <gtest/gtest.h>
#include <string.h>

#include <string>
#include <vector>

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
  _str_buffer_t* buf = str_buffer_create(4);  // size 5
  // 0 + 4 < 5: no growth; 4 + 1 >= 5: grows by 6; 5 + 7 >= 12: grows by 13.
  const std::pair<const char*, int> steps[] = {{"abcd", 5}, {"e", 12}, {"fghijkl", 26}};
  for (const auto& st : steps) {
    EXPECT_EQ(1, str_buffer_append(buf, st.first));
    EXPECT_EQ(st.second, buf->size) << st.first;
  }
  EXPECT_EQ(1, str_buffer_append(buf, buf));  // survives its own reallocation
  EXPECT_EQ(1, str_buffer_append(buf, -42));
  EXPECT_EQ(1, str_buffer_append(buf, 4000000000u));
  EXPECT_EQ(1, str_buffer_append(buf, 18446744073709551615ULL));
  EXPECT_EQ(1, str_buffer_append(buf, '!'));
  EXPECT_EQ(1, str_buffer_append(buf, "xyz", 0));  // n < 1: success, nothing
  EXPECT_EQ("abcdefghijklabcdefghijkl-42400000000018446744073709551615!", text(buf));
  expect_sound(buf);
  str_buffer_reset(buf);
  EXPECT_EQ(0, buf->len);
  EXPECT_EQ(0, memcmp(buf->data, std::string(58, '\0').data(), 58));
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
  EXPECT_EQ(3, StringBuffer(&cls).length());
  EXPECT_EQ(0, StringBuffer(static_cast<const StringBuffer*>(nullptr)).length());
  for (_str_buffer_t* b : {blank, empty, copy, raw}) str_buffer_free(b);
}

// Slab buffers look like str_buffer_create(capacity) ones, across several
// blocks; only the slab's own are claimed, and text over the capacity is
// refused (the caller then makes a heap buffer).
TEST(StringBuffer, SlabBuffersAreOrdinaryBuffersOfOneCapacity) {
  StrBufferSlab slab(32);
  ASSERT_TRUE(slab.reserve(10));
  std::vector<_str_buffer_t*> made;
  for (int i = 0; i < 300; ++i) {
    const std::string key = std::to_string(i * 7919);
    made.push_back(slab.create(key.data(), static_cast<int>(key.size())));
    ASSERT_NE(nullptr, made.back());
  }
  for (int i = 0; i < 300; ++i) {
    EXPECT_EQ(std::to_string(i * 7919), text(made[i]));
    EXPECT_EQ(33, made[i]->size);
    expect_sound(made[i]);
    EXPECT_TRUE(slab.owns(made[i]));
  }
  _str_buffer_t* empty = slab.create(nullptr, 0);
  ASSERT_NE(nullptr, empty);
  EXPECT_EQ(0, empty->len);
  const std::string full(32, 'k');
  EXPECT_NE(nullptr, slab.create(full.data(), 32));
  EXPECT_EQ(nullptr, slab.create((full + "k").data(), 33));
  _str_buffer_t* heap = str_buffer_create(32);
  EXPECT_FALSE(slab.owns(heap));
  str_buffer_free(heap);
}

TEST(StringBuffer, CompareIsBytewiseThenByLengthWithItsNullRules) {
  _str_buffer_t* abc = str_buffer_create("abc");
  _str_buffer_t* empty = str_buffer_create("");
  const _str_buffer_t* none = nullptr;
  const char* no_text = nullptr;
  EXPECT_LT(str_buffer_compare(abc, "abd", 3), 0);  // memcmp's own value
  EXPECT_GT(str_buffer_compare(abc, "aba"), 0);
  // Only n bytes of s count; a non-empty buffer is smaller than a null string.
  const int got[] = {
      str_buffer_compare(abc, "ab", 2),  str_buffer_compare(abc, "abcd", 4),
      str_buffer_compare(abc, "abc"),    str_buffer_compare(abc, "abcd", 2),
      str_buffer_compare(none, no_text), str_buffer_compare(none, "x"),
      str_buffer_compare(none, ""),      str_buffer_compare(abc, no_text),
      str_buffer_compare(empty, no_text), str_buffer_compare(none, abc),
      str_buffer_compare(none, empty),   str_buffer_compare(abc, none),
      str_buffer_compare(abc, empty),    str_buffer_compare(empty, abc)};
  EXPECT_EQ((std::vector<int>{1, -1, 0, 1, 0, -1, 0, -1, 0, -1, 0, -1, 1, -1}),
            std::vector<int>(got, got + 14));
  str_buffer_free(empty);
  str_buffer_free(abc);
}

TEST(StringBuffer, WriteAndCutCutsTheRestAndCaseIsAsciiOnly) {
  _str_buffer_t* buf = str_buffer_create("hello");
  EXPECT_EQ(0, str_buffer_writeAndCut(buf, 2, "X"));
  EXPECT_EQ("heX", text(buf));
  EXPECT_EQ(0, str_buffer_writeAndCut(buf, 3, "-a longer tail"));  // grows
  EXPECT_EQ("heX-a longer tail", text(buf));
  expect_sound(buf);
  EXPECT_EQ(0, str_buffer_writeAndCut(buf, 0, ""));
  EXPECT_EQ(0, buf->len);
  expect_sound(buf);
  EXPECT_EQ(1, str_buffer_append(buf, "abcdef"));
  EXPECT_EQ(0, str_buffer_cut(buf, 2));
  EXPECT_STREQ("ab", buf->data);
  EXPECT_EQ(2, str_buffer_len(buf));
  EXPECT_EQ(0, str_buffer_writeAndCut(buf, 1, "\xC3\xB1" "b\xE4\xB8\xAD" "z"));
  str_buffer_toupper(buf);
  EXPECT_STREQ("A\xC3\xB1" "B\xE4\xB8\xAD" "Z", buf->data);
  str_buffer_tolower(buf);
  EXPECT_STREQ("a\xC3\xB1" "b\xE4\xB8\xAD" "z", buf->data);
  str_buffer_free(buf);

  // Trimming as a foreach walker keeps len in step, so appending continues
  // right after the kept text.
  _DArray* list = darray_create(str_buffer_free, true);
  _str_buffer_t* padded = str_buffer_create(" \t lead \r\n");
  darray_append(list, static_cast<const void*>(padded));
  EXPECT_EQ(RET_OK, darray_foreach(list, str_buffer_trim, 0));
  EXPECT_EQ(4, padded->len);
  str_buffer_append(padded, "!");
  EXPECT_STREQ("lead!", padded->data);
  darray_destroy(list);
}

}  // namespace
}  // namespace mobile_search
