// Null, empty and out-of-range arguments to every function of the layer: each
// must answer with its failure value and touch nothing.
#include <gtest/gtest.h>

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

_Ret any_walk(unsigned long long, unsigned long long) { return RET_OK; }

TEST(BadInput, DynamicArray) {
  _DArray* none = nullptr;
  const _DArray* cnone = nullptr;
  unsigned long long out = 99;
  EXPECT_EQ(RET_INVALID, darray_expand(none, 1));
  EXPECT_EQ(RET_INVALID, darray_append(none, 1ULL));
  EXPECT_EQ(RET_INVALID, darray_append(none, static_cast<const void*>(&out)));
  EXPECT_EQ(RET_INVALID, darray_insert(none, 0, 1));
  EXPECT_EQ(RET_INVALID, darray_prepend(none, 1));
  EXPECT_EQ(RET_INVALID, darray_delete(none, 0));
  EXPECT_EQ(RET_INVALID, darray_delete(none, 0, 1));
  EXPECT_EQ(RET_INVALID, darray_get_by_index(none, 0, &out));
  EXPECT_EQ(0u, darray_get_by_index(cnone, 0));
  EXPECT_EQ(RET_INVALID, darray_set_by_index(none, 0, 1ULL));
  EXPECT_EQ(RET_INVALID, darray_set_by_index(none, 0, static_cast<const void*>(&out)));
  EXPECT_EQ(0u, darray_length(none));
  EXPECT_EQ(RET_INVALID, darray_foreach(none, any_walk, 0));
  EXPECT_EQ(-1, darray_find(none, comp, 1));
  EXPECT_EQ(-1, darray_rever_find(none, comp, 1));
  EXPECT_EQ(-1, darray_bin_search(none, 5, 1, comp));
  EXPECT_EQ(RET_INVALID, darray_sort(none, items_quick_sort, comp));
  EXPECT_EQ(RET_INVALID, darray_bubble_sort(none, 5, comp));
  EXPECT_EQ(RET_INVALID, darray_quick_sort(none, 5, comp));
  EXPECT_EQ(RET_INVALID, darray_merge_sort(none, 5, comp));
  EXPECT_EQ(RET_INVALID, darray_shell_sort(none, 5, comp));
  EXPECT_EQ(RET_INVALID, darray_shell_sort(none, comp));
  EXPECT_EQ(RET_INVALID, items_merge_sort(nullptr, 5, comp));
  EXPECT_EQ(RET_INVALID, darray_uniq(none, comp));
  EXPECT_EQ(RET_INVALID, darray_shrink(none));
  EXPECT_EQ(RET_INVALID, darray_clean(none));
  darray_destroy(none);
  darray_destroy(static_cast<void*>(nullptr));
  pointer_destory(none);
  darray_release_slot(none, 1);

  _DArray* arr = darray_create(nullptr, false);
  darray_append(arr, 2ULL);
  EXPECT_EQ(RET_INVALID, darray_foreach(arr, nullptr, 0));
  EXPECT_EQ(-1, darray_find(arr, nullptr, 2));
  EXPECT_EQ(-1, darray_rever_find(arr, nullptr, 2));
  EXPECT_EQ(-1, darray_bin_search(arr, 1, 2, nullptr));
  EXPECT_EQ(RET_INVALID, darray_sort(arr, nullptr, comp));
  EXPECT_EQ(RET_INVALID, darray_sort(arr, items_shell_sort, nullptr));
  EXPECT_EQ(RET_INVALID, darray_merge_sort(arr, 1, nullptr));
  EXPECT_EQ(RET_OK, darray_merge_sort(arr, 0, comp));
  EXPECT_EQ(RET_INVALID, darray_uniq(arr, nullptr));
  EXPECT_EQ(RET_INVALID, darray_get_by_index(arr, 1, &out));
  EXPECT_EQ(99u, out);
  EXPECT_EQ(RET_INVALID, darray_set_by_index(arr, 1, 5ULL));
  EXPECT_EQ(RET_OK, darray_delete(arr, 0xFFFFFFFFu, 0x7FFFFFFF));
  EXPECT_EQ(RET_OK, darray_delete(arr, 0, -3));
  EXPECT_EQ(1u, arr->count);
  EXPECT_EQ(RET_OK, darray_delete(arr, 0, 0x7FFFFFFF));  // tail case
  EXPECT_EQ(0u, arr->count);
  EXPECT_EQ(RET_OK, darray_uniq(arr, comp));
  darray_destroy(arr);
}

TEST(BadInput, StringBuffer) {
  _str_buffer_t* none = nullptr;
  EXPECT_EQ(nullptr, str_buffer_create(-1));
  EXPECT_EQ(nullptr, str_buffer_create(0x7FFFFFFF));
  EXPECT_EQ(nullptr, str_buffer_create("abc", -2));
  EXPECT_EQ(nullptr, str_buffer_create(static_cast<const _str_buffer_t*>(nullptr)));
  str_buffer_free(none);
  str_buffer_free(static_cast<void*>(nullptr));
  str_buffer_expand(none, 5);
  EXPECT_EQ(0, str_buffer_append(none, "a", 1));
  EXPECT_EQ(0, str_buffer_append(none, "a"));
  EXPECT_EQ(0, str_buffer_append(none, 'a'));
  EXPECT_EQ(0, str_buffer_append(none, 1));
  EXPECT_EQ(0, str_buffer_append(none, 1u));
  EXPECT_EQ(0, str_buffer_append(none, 1ULL));
  EXPECT_EQ(0, str_buffer_append(none, static_cast<const _str_buffer_t*>(nullptr)));
  str_buffer_reset(none);
  str_buffer_trim(none);
  EXPECT_EQ(RET_OK, str_buffer_trim(0, 0));
  str_buffer_toupper(none);
  str_buffer_tolower(none);
  EXPECT_EQ(0, str_buffer_len(none));
  EXPECT_EQ(-1, str_buffer_writeAndCut(none, 0, "a"));
  EXPECT_EQ(-1, str_buffer_cut(none, 0));

  _str_buffer_t* buf = str_buffer_create("abc");
  EXPECT_EQ(0, str_buffer_append(buf, static_cast<const char*>(nullptr), 3));
  EXPECT_EQ(0, str_buffer_append(buf, static_cast<const char*>(nullptr)));
  EXPECT_EQ(0, str_buffer_append(buf, static_cast<const _str_buffer_t*>(nullptr)));
  EXPECT_EQ(1, str_buffer_append(buf, "x", -4));
  str_buffer_expand(buf, 0);
  str_buffer_expand(buf, -9);
  str_buffer_expand(buf, 0x7FFFFFFF);  // refused, not overflowed
  EXPECT_EQ(-1, str_buffer_writeAndCut(buf, -1, "a"));
  EXPECT_EQ(-1, str_buffer_writeAndCut(buf, 4, "a"));
  EXPECT_EQ(-1, str_buffer_writeAndCut(buf, 1, nullptr));
  EXPECT_EQ(-1, str_buffer_cut(buf, -1));
  EXPECT_EQ(-1, str_buffer_cut(buf, 4));
  EXPECT_EQ(1, str_buffer_compare(buf, "abcdef", -3));  // n < 0 counts as 0
  EXPECT_STREQ("abc", buf->data);
  EXPECT_EQ(3, buf->len);
  EXPECT_EQ(4, buf->size);
  str_buffer_free(buf);
}

TEST(BadInput, HashingSetAndUtf8) {
  EXPECT_EQ(7u, crc32(nullptr, 10, 7));
  EXPECT_EQ(0u, hash_string(nullptr, 0, 0));
  EXPECT_EQ(0u, hash_string("abc", -5, 99));
  EXPECT_EQ(hash_string("abc", 0, 0), hash_string("abc", -5, 0));  // len <= 0: to the NUL
  EXPECT_EQ(0u, idx_sign32(nullptr, 0));
  EXPECT_EQ(0u, idx_sign64("", 0));
  hash_value_free(nullptr);
  hashmap<int> tiny(0);  // capacity raised to 1
  EXPECT_EQ(0, tiny.put(5, 1));
  EXPECT_EQ(1, tiny.get(5));

  BinarySet set;
  EXPECT_EQ(-1, set.is_in_set(-5));
  EXPECT_EQ(0, set.del(3));
  EXPECT_EQ(0, set.get_value_index(0xFFFFFFFFu));
  EXPECT_EQ(0, set.nearest_less(-100));
  set.insert_sort();
  set.compose_set(nullptr);

  EXPECT_EQ(nullptr, ac_utf8_next(static_cast<const char*>(nullptr)));
  const char* none = nullptr;
  EXPECT_EQ(0, ac_utf8_len(none));
  EXPECT_EQ(0, ac_utf8_len("abc", -1));
  EXPECT_EQ(0, ac_utf8_cn_word_num("\xE4\xB8\xAD", 0));
  EXPECT_EQ(0, ac_utf8_en_word_num(none, 4));
  EXPECT_EQ(0, ac_utf8_numchar_num(none));
  EXPECT_EQ(0, ac_utf8_others_num(none));
  EXPECT_EQ(0, ac_utf8_others_num("!!", -1));
  EXPECT_EQ(0, ac_utf8_word_bytes(none, 3));
  _DArray* out = darray_create(str_buffer_free, true);
  char text[] = "a b";
  EXPECT_EQ(0, ac_str_splict(static_cast<char*>(nullptr), 3, ' ', out));
  EXPECT_EQ(0, ac_str_splict(text, 0, ' ', out));
  EXPECT_EQ(0, ac_str_splict(text, 3, ' ', nullptr));
  EXPECT_EQ(0, ac_str_splict(static_cast<const char*>(nullptr), 3, ' ', out));
  EXPECT_EQ(0, ac_str_splict(static_cast<const char*>("a b"), -1, ' ', out));
  EXPECT_EQ(0, ac_str_splict(static_cast<const char*>("   "), 3, ' ', out));
  EXPECT_EQ(0u, out->count);
  darray_destroy(out);
  char dst[4] = "xyz";
  EXPECT_EQ(-1, ac_strlcpy(nullptr, "a", 3));
  EXPECT_EQ(-1, ac_strlcpy(dst, nullptr, 3));
  EXPECT_EQ(0, ac_strlcpy(dst, "a", -1));
  EXPECT_STREQ("xyz", dst);
  EXPECT_EQ(nullptr, ac_decode_url(nullptr));
  EXPECT_EQ(nullptr, ac_gbk_toupper(nullptr));
  EXPECT_EQ(nullptr, ac_str_trim(nullptr));
  EXPECT_EQ(nullptr, ac_str_left_trim(nullptr));
  EXPECT_EQ(nullptr, ac_str_right_trim(nullptr));
  char empty[] = "";
  EXPECT_STREQ("", ac_str_trim(empty));
  EXPECT_STREQ("", ac_decode_url(empty));
  char percent[] = "%";
  EXPECT_STREQ("%", ac_decode_url(percent));
  EXPECT_EQ(nullptr, ac_strstrn(nullptr, "a", 1));
  EXPECT_EQ(nullptr, ac_strstrn("a", nullptr, 1));
  EXPECT_EQ(nullptr, ac_strstrn("", "a", 1));
  EXPECT_EQ(nullptr, ac_strstrn("a", "", 1));
  EXPECT_EQ(nullptr, ac_strstrn("abc", "a", 0));
}

TEST(BadInput, IniAndFiles) {
  EXPECT_EQ(nullptr, ini_item_create(nullptr, "v"));
  EXPECT_EQ(nullptr, ini_item_create("k", ""));
  EXPECT_EQ(nullptr, ini_section_create(""));
  EXPECT_EQ(nullptr, ini_section_create(nullptr));
  ini_item_free(static_cast<ini_item_t*>(nullptr));
  ini_item_free(static_cast<void*>(nullptr));
  ini_section_free(static_cast<ini_section_t*>(nullptr));
  ini_section_free(static_cast<void*>(nullptr));
  ini_ctx_free(nullptr);
  EXPECT_EQ(nullptr, ini_load_from_file(nullptr));
  EXPECT_EQ(nullptr, ini_load_from_file(""));
  EXPECT_EQ(-1, ini_ctx_save(nullptr, true));
  EXPECT_EQ(nullptr, ini_ctx_get_section(nullptr, "a"));
  EXPECT_EQ(nullptr, ini_ctx_get_section(nullptr, 0));
  EXPECT_EQ(nullptr, ini_section_get_item(nullptr, "k"));
  EXPECT_EQ(nullptr, ini_ctx_get_val(nullptr, "s", "k"));
  EXPECT_EQ(nullptr, ini_ctx_get_val_impl(nullptr, "s", "k"));
  EXPECT_EQ(nullptr, ini_ctx_get_val(nullptr, 0, "k"));
  EXPECT_EQ(0, ini_ctx_section_num(nullptr));
  EXPECT_EQ(nullptr, ini_ctx_section_name(nullptr, 0));
  EXPECT_EQ(-1, ini_ctx_add_section(nullptr, "s"));
  EXPECT_EQ(-1, ini_section_add_item(nullptr, "k", "v"));
  EXPECT_EQ(-1, ini_ctx_section_add_item(nullptr, "s", "k", "v"));
  EXPECT_EQ(-1, ini_ctx_section_add_item(nullptr, "s", "k", 1));
  EXPECT_EQ(-1, ini_ctx_section_add_item(nullptr, "s", "k", 1LL));
  EXPECT_EQ(-1, ini_ctx_remove_section(nullptr, "s"));

  ini_ctx_t* ctx = ini_ctx_create();
  ASSERT_EQ(1, ini_ctx_section_add_item(ctx, "s", "k", "v"));
  ini_section_t* s = ini_ctx_get_section(ctx, "s");
  EXPECT_EQ(nullptr, ini_ctx_get_section(ctx, ""));
  EXPECT_EQ(nullptr, ini_ctx_get_section(ctx, static_cast<const char*>(nullptr)));
  EXPECT_EQ(nullptr, ini_ctx_get_section(ctx, -1));
  EXPECT_EQ(nullptr, ini_ctx_get_section(ctx, 1));
  EXPECT_EQ(nullptr, ini_section_get_item(s, ""));
  EXPECT_EQ(nullptr, ini_section_get_item(s, nullptr));
  EXPECT_EQ(nullptr, ini_ctx_get_val(ctx, "", "k"));
  EXPECT_EQ(nullptr, ini_ctx_get_val(ctx, "s", ""));
  EXPECT_EQ(nullptr, ini_ctx_get_val(ctx, "s", static_cast<const char*>(nullptr)));
  EXPECT_EQ(nullptr, ini_ctx_get_val(ctx, -1, "k"));
  EXPECT_EQ(nullptr, ini_ctx_get_val(ctx, 1, "k"));
  EXPECT_EQ(nullptr, ini_ctx_get_val(ctx, 0, ""));
  EXPECT_EQ(nullptr, ini_ctx_section_name(ctx, -1));
  EXPECT_EQ(nullptr, ini_ctx_section_name(ctx, 1));
  EXPECT_EQ(-1, ini_ctx_add_section(ctx, ""));
  EXPECT_EQ(-1, ini_section_add_item(s, "", "v"));
  EXPECT_EQ(-1, ini_section_add_item(s, "k", nullptr));
  EXPECT_EQ(-1, ini_ctx_section_add_item(ctx, "", "k", "v"));
  EXPECT_EQ(-1, ini_ctx_section_add_item(ctx, "s", "", "v"));
  EXPECT_EQ(-1, ini_ctx_section_add_item(ctx, "s", "k", static_cast<const char*>(nullptr)));
  EXPECT_EQ(-1, ini_ctx_remove_section(ctx, ""));
  EXPECT_EQ(-1, ini_ctx_save(ctx, true));  // no path
  EXPECT_STREQ("v", ini_ctx_get_val(ctx, "s", "k"));
  EXPECT_EQ(1, ini_ctx_section_num(ctx));
  ini_ctx_free(ctx);

  EXPECT_EQ(0, is_dir(nullptr));
  EXPECT_EQ(0, is_dir(""));
  EXPECT_EQ(0, file_exist(nullptr));
  EXPECT_EQ(0, file_exist(""));
  EXPECT_EQ(-1, make_dir(nullptr, 0755));
  EXPECT_EQ(-1, make_dir("", 0755));
  EXPECT_EQ(-1, remove_dir(nullptr));
  EXPECT_EQ(0, remove_dir(""));
  EXPECT_EQ(0u, get_dir_total_bytes(nullptr));
  EXPECT_EQ(0u, get_dir_total_bytes(""));
  // An over-long path is cut, not overflowed.
  ks_test::TempDir dir;
  std::string huge = dir.path() + "/" + std::string(5000, 'p');
  EXPECT_EQ(-1, make_dir(huge.c_str(), 0755));
  EXPECT_EQ(0, file_exist(huge.c_str()));
}

}  // namespace
}  // namespace mobile_search
