// Null, empty and out-of-range arguments to every function of the layer: each
// must answer with its failure value and touch nothing. Calls are listed in
// tables of the same expected answer; a failure names the position in its list.
#include <gtest/gtest.h>

#include <initializer_list>
#include <string>

#include "foundation/binary_set.h"
#include "foundation/dynamic_array.h"
#include "foundation/file_util.h"
#include "foundation/hash.h"
#include "foundation/hash_map.h"
#include "foundation/ini_file.h"
#include "foundation/string_buffer.h"
#include "foundation/utf8_util.h"
#include "test_util.h"

namespace mobile_search {
namespace {

void expect_all(long long want, std::initializer_list<long long> got) {
  int i = 0;
  for (long long g : got) EXPECT_EQ(want, g) << "entry #" << i++;
}
void expect_all(const void* want, std::initializer_list<const void*> got) {
  int i = 0;
  for (const void* g : got) EXPECT_EQ(want, g) << "entry #" << i++;
}
const void* const kNull = nullptr;
const char* const kNoName = nullptr;

_Ret any_walk(unsigned long long, unsigned long long) { return RET_OK; }

TEST(BadInput, DynamicArray) {
  _DArray* none = nullptr;
  unsigned long long out = 99;
  const void* ptr = &out;
  expect_all(RET_INVALID, {darray_expand(none, 1), darray_append(none, 1ULL),
      darray_append(none, ptr), darray_insert(none, 0, 1), darray_prepend(none, 1),
      darray_delete(none, 0), darray_delete(none, 0, 1), darray_get_by_index(none, 0, &out),
      darray_set_by_index(none, 0, 1ULL), darray_set_by_index(none, 0, ptr),
      darray_foreach(none, any_walk, 0), darray_sort(none, items_quick_sort, comp),
      darray_bubble_sort(none, 5, comp), darray_quick_sort(none, 5, comp),
      darray_merge_sort(none, 5, comp), darray_shell_sort(none, 5, comp),
      darray_shell_sort(none, comp), items_bubble_sort(nullptr, 5, comp),
      items_quick_sort(nullptr, 5, comp), items_merge_sort(nullptr, 5, comp),
      items_shell_sort(nullptr, 5, comp), darray_uniq(none, comp), darray_shrink(none),
      darray_clean(none)});
  expect_all(-1, {darray_find(none, comp, 1), darray_rever_find(none, comp, 1),
      darray_bin_search(none, 5, 1, comp)});
  expect_all(0, {darray_length(none),
      (long long)darray_get_by_index(static_cast<const _DArray*>(none), 0)});
  darray_destroy(none);
  darray_destroy(static_cast<void*>(nullptr));
  pointer_destory(none);
  darray_release_slot(none, 1);

  _DArray* arr = darray_create(nullptr, false);
  darray_append(arr, 2ULL);
  expect_all(-1, {darray_find(arr, nullptr, 2), darray_rever_find(arr, nullptr, 2),
      darray_bin_search(arr, 1, 2, nullptr)});
  expect_all(RET_INVALID, {darray_foreach(arr, nullptr, 0), darray_sort(arr, nullptr, comp),
      darray_sort(arr, items_shell_sort, nullptr), darray_merge_sort(arr, 1, nullptr),
      darray_uniq(arr, nullptr), darray_get_by_index(arr, 1, &out),
      darray_set_by_index(arr, 1, 5ULL)});
  EXPECT_EQ(99u, out);
  // Out-of-range deletes are clamped, never refused: a huge index or a
  // negative count deletes nothing.
  expect_all(RET_OK, {darray_merge_sort(arr, 0, comp), darray_delete(arr, 0xFFFFFFFFu, 0x7FFFFFFF),
      darray_delete(arr, 0, -3)});
  EXPECT_EQ(1u, arr->count);
  darray_destroy(arr);
}

TEST(BadInput, StringBuffer) {
  _str_buffer_t* none = nullptr;
  const _str_buffer_t* cnone = nullptr;
  expect_all(kNull, {str_buffer_create(-1), str_buffer_create(0x7FFFFFFF),
      str_buffer_create("abc", -2), str_buffer_create(cnone)});
  str_buffer_free(none);
  str_buffer_free(static_cast<void*>(nullptr));
  str_buffer_expand(none, 5);
  str_buffer_reset(none);
  str_buffer_trim(none);
  str_buffer_toupper(none);
  str_buffer_tolower(none);
  expect_all(0, {str_buffer_append(none, "a", 1), str_buffer_append(none, "a"),
      str_buffer_append(none, 'a'), str_buffer_append(none, 1), str_buffer_append(none, 1u),
      str_buffer_append(none, 1ULL), str_buffer_append(none, cnone), str_buffer_len(none),
      str_buffer_trim(0, 0)});
  expect_all(-1, {str_buffer_writeAndCut(none, 0, "a"), str_buffer_cut(none, 0)});

  _str_buffer_t* buf = str_buffer_create("abc");
  expect_all(0, {str_buffer_append(buf, kNoName, 3), str_buffer_append(buf, kNoName),
      str_buffer_append(buf, cnone)});
  str_buffer_expand(buf, 0);
  str_buffer_expand(buf, 0x7FFFFFFF);  // refused, not overflowed
  expect_all(-1, {str_buffer_writeAndCut(buf, -1, "a"), str_buffer_writeAndCut(buf, 4, "a"),
      str_buffer_writeAndCut(buf, 1, nullptr), str_buffer_cut(buf, -1), str_buffer_cut(buf, 4)});
  EXPECT_EQ(1, str_buffer_compare(buf, "abcdef", -3));  // n < 0 counts as 0
  EXPECT_STREQ("abc", buf->data);
  EXPECT_EQ(3, buf->len);
  EXPECT_EQ(4, buf->size);
  str_buffer_free(buf);
}

TEST(BadInput, HashingSetAndUtf8) {
  EXPECT_EQ(7u, crc32(nullptr, 10, 7));
  EXPECT_EQ(0u, hash_string(nullptr, 0, 0) | hash_string("abc", -5, 99) |
                    idx_sign32(nullptr, 0) | idx_sign64("", 0));
  EXPECT_EQ(hash_string("abc", 0, 0), hash_string("abc", -5, 0));  // len <= 0: to the NUL
  hash_value_free(nullptr);
  hashmap<int> tiny(0);  // capacity raised to 1
  EXPECT_EQ(0, tiny.put(5, 1));
  EXPECT_EQ(1, tiny.get(5));

  BinarySet set;
  EXPECT_EQ(-1, set.is_in_set(-5));
  expect_all(0, {set.del(3), set.get_value_index(0xFFFFFFFFu), set.nearest_less(-100)});
  set.insert_sort();
  set.compose_set(nullptr);

  const char* none = nullptr;
  _DArray* out = darray_create(str_buffer_free, true);
  char text[] = "a b";
  char dst[4] = "xyz";
  expect_all(0, {ac_utf8_len(none), ac_utf8_len("abc", -1), ac_utf8_cn_word_num("\xE4\xB8\xAD", 0),
      ac_utf8_en_word_num(none, 4), ac_utf8_numchar_num(none), ac_utf8_others_num(none),
      ac_utf8_others_num("!!", -1), ac_utf8_word_bytes(none, 3),
      ac_str_splict(static_cast<char*>(nullptr), 3, ' ', out), ac_str_splict(text, 0, ' ', out),
      ac_str_splict(text, 3, ' ', nullptr), ac_str_splict(none, 3, ' ', out),
      ac_str_splict("a b", -1, ' ', out), ac_str_splict("   ", 3, ' ', out), out->count,
      ac_strlcpy(dst, "a", -1)});
  darray_destroy(out);
  expect_all(-1, {ac_strlcpy(nullptr, "a", 3), ac_strlcpy(dst, nullptr, 3)});
  EXPECT_STREQ("xyz", dst);
  expect_all(kNull, {ac_utf8_next(none), ac_decode_url(nullptr), ac_gbk_toupper(nullptr),
      ac_str_trim(nullptr), ac_str_left_trim(nullptr), ac_str_right_trim(nullptr),
      ac_strstrn(nullptr, "a", 1), ac_strstrn("a", nullptr, 1), ac_strstrn("", "a", 1),
      ac_strstrn("a", "", 1), ac_strstrn("abc", "a", 0)});
  char empty[] = "";
  EXPECT_STREQ("", ac_str_trim(empty));
  EXPECT_STREQ("", ac_decode_url(empty));
}

TEST(BadInput, IniAndFiles) {
  ini_item_free(static_cast<ini_item_t*>(nullptr));
  ini_item_free(static_cast<void*>(nullptr));
  ini_section_free(static_cast<ini_section_t*>(nullptr));
  ini_section_free(static_cast<void*>(nullptr));
  ini_ctx_free(nullptr);
  const ini_ctx_t* cnone = nullptr;
  expect_all(kNull, {ini_item_create(nullptr, "v"), ini_item_create("k", ""),
      ini_section_create(""), ini_section_create(nullptr), ini_load_from_file(nullptr),
      ini_load_from_file(""), ini_ctx_get_section(cnone, "a"), ini_ctx_get_section(cnone, 0),
      ini_section_get_item(nullptr, "k"), ini_ctx_get_val(cnone, "s", "k"),
      ini_ctx_get_val_impl(cnone, "s", "k"), ini_ctx_get_val(cnone, 0, "k"),
      ini_ctx_section_name(cnone, 0)});
  EXPECT_EQ(0, ini_ctx_section_num(cnone));
  expect_all(-1, {ini_ctx_save(nullptr, true), ini_ctx_add_section(nullptr, "s"),
      ini_section_add_item(nullptr, "k", "v"), ini_ctx_section_add_item(nullptr, "s", "k", "v"),
      ini_ctx_section_add_item(nullptr, "s", "k", 1),
      ini_ctx_section_add_item(nullptr, "s", "k", 1LL), ini_ctx_remove_section(nullptr, "s")});

  ini_ctx_t* ctx = ini_ctx_create();
  ASSERT_EQ(1, ini_ctx_section_add_item(ctx, "s", "k", "v"));
  ini_section_t* s = ini_ctx_get_section(ctx, "s");
  expect_all(kNull, {ini_ctx_get_section(ctx, ""), ini_ctx_get_section(ctx, kNoName),
      ini_ctx_get_section(ctx, -1), ini_ctx_get_section(ctx, 1), ini_section_get_item(s, ""),
      ini_section_get_item(s, nullptr), ini_ctx_get_val(ctx, "", "k"),
      ini_ctx_get_val(ctx, "s", ""), ini_ctx_get_val(ctx, "s", kNoName),
      ini_ctx_get_val(ctx, -1, "k"), ini_ctx_get_val(ctx, 1, "k"), ini_ctx_get_val(ctx, 0, ""),
      ini_ctx_section_name(ctx, -1), ini_ctx_section_name(ctx, 1)});
  expect_all(-1, {ini_ctx_add_section(ctx, ""), ini_section_add_item(s, "", "v"),
      ini_section_add_item(s, "k", nullptr), ini_ctx_section_add_item(ctx, "", "k", "v"),
      ini_ctx_section_add_item(ctx, "s", "", "v"), ini_ctx_section_add_item(ctx, "s", "k", kNoName),
      ini_ctx_remove_section(ctx, ""), ini_ctx_save(ctx, true) /* no path */});
  EXPECT_STREQ("v", ini_ctx_get_val(ctx, "s", "k"));
  EXPECT_EQ(1, ini_ctx_section_num(ctx));
  ini_ctx_free(ctx);

  ks_test::TempDir dir;
  const std::string huge = dir.path() + "/" + std::string(5000, 'p');  // cut, not overflowed
  expect_all(-1, {make_dir(nullptr, 0755), make_dir("", 0755), remove_dir(nullptr),
      make_dir(huge.c_str(), 0755)});
  expect_all(0, {is_dir(nullptr), is_dir(""), file_exist(nullptr), file_exist(""), remove_dir(""),
      (long long)get_dir_total_bytes(nullptr), (long long)get_dir_total_bytes(""),
      file_exist(huge.c_str())});
}

}  // namespace
}  // namespace mobile_search
