#include "foundation/dynamic_array.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "test_util.h"

namespace mobile_search {
namespace {

typedef unsigned long long u64;
using ks_test::Slots;

_DArray* make_array(const std::vector<u64>& values) {
  _DArray* arr = darray_create(nullptr, false);
  for (u64 v : values) EXPECT_EQ(RET_OK, darray_append(arr, v));
  return arr;
}

// Release callback that really frees, so a double or missing release shows up
// under the sanitizers as well as in the count.
int g_released = 0;
void release_counted(void* p) {
  ++g_released;
  free(p);
}

TEST(DynamicArray, GrowsByTwicePlusEightAndShrinksOnlyBelowHalf) {
  _DArray* arr = darray_create(nullptr, false);
  ASSERT_NE(nullptr, arr);
  for (u64 i = 1; i <= 57; ++i) {
    ASSERT_EQ(RET_OK, darray_append(arr, i));
    EXPECT_EQ(i <= 8 ? 8u : i <= 24 ? 24u : i <= 56 ? 56u : 120u, arr->capacity) << i;
  }
  EXPECT_EQ(0u, arr->items[arr->capacity]);  // spare slot allocated and zero
  ArrayList list;
  EXPECT_EQ(RET_OK, list.expand(9));  // one growth step, whatever is asked
  EXPECT_EQ(24u, list.capacity);
  // A reserve grows once to exactly what is asked, keeping the slots.
  list.add(7ULL);
  EXPECT_EQ(RET_OK, list.reserve(99));
  EXPECT_EQ(100u, list.capacity);
  EXPECT_EQ(7u, list.get(0));
  EXPECT_EQ(0u, list.items[1]);
  EXPECT_EQ(0u, list.items[100]);  // the spare slot
  EXPECT_EQ(RET_OK, list.reserve(10));  // room enough: unchanged
  EXPECT_EQ(100u, list.capacity);
  darray_destroy(arr);

  arr = make_array({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12});  // capacity 24
  // 12 is not below 24 / 2; 11 would shrink to 11 + 8 + 5 = 24; 10 to 23.
  const unsigned int shrunk[][2] = {{12, 24}, {11, 24}, {10, 23}};
  for (const auto& c : shrunk) {
    darray_delete(arr, c[0]);
    EXPECT_EQ(RET_OK, darray_shrink(arr));
    EXPECT_EQ(c[1], arr->capacity) << c[0] << " slots";
  }
  EXPECT_EQ((std::vector<u64>{1, 2, 3, 4, 5, 6, 7, 8, 9, 10}), Slots(arr));
  darray_destroy(arr);
}

TEST(DynamicArray, EditingKeepsValuesAndReleasesOnlyWhatItOwns) {
  _DArray* arr = make_array({11, 13, 14, 15, 16, 17, 18});
  EXPECT_EQ(RET_OK, darray_insert(arr, 1, 12));
  EXPECT_EQ(RET_OK, darray_insert(arr, 100, 19));  // clamped to count
  EXPECT_EQ(RET_OK, darray_prepend(arr, 10));
  EXPECT_EQ((std::vector<u64>{10, 11, 12, 13, 14, 15, 16, 17, 18, 19}), Slots(arr));
  // A ranged delete moves only n slots: the old tail stays beyond count.
  EXPECT_EQ(RET_OK, darray_delete(arr, 2, 3));
  EXPECT_EQ((std::vector<u64>{10, 11, 15, 16, 17, 15, 16}), Slots(arr));
  EXPECT_EQ(RET_OK, darray_delete(arr, 5, 100));  // tail: n is cut, nothing moves
  EXPECT_EQ((std::vector<u64>{10, 11, 15, 16, 17}), Slots(arr));
  EXPECT_EQ(0u, arr->items[5]);
  darray_destroy(arr);

  g_released = 0;
  _DArray* owned = darray_create(release_counted, true);
  void* replaced = malloc(4);
  darray_append(owned, replaced);
  for (int i = 0; i < 4; ++i) darray_append(owned, malloc(4));
  darray_set_by_index(owned, 0, malloc(4));  // set does not release the old value
  free(replaced);
  void* first = slot_to_ptr(owned->items[0]);
  darray_delete(owned, 1, 2);
  EXPECT_EQ(2, g_released);
  // Uniq keeps the first of each run and releases the others.
  EXPECT_EQ(RET_OK, darray_uniq(owned, [](u64, u64) { return 0; }));
  EXPECT_EQ(4, g_released);
  ASSERT_EQ(1u, owned->count);
  EXPECT_EQ(first, slot_to_ptr(owned->items[0]));
  darray_clean(owned);
  EXPECT_EQ(5, g_released);
  darray_append(owned, malloc(4));
  darray_destroy(owned);
  EXPECT_EQ(6, g_released);
  // Neither an array without free_data nor pointer_destory calls the callback.
  void* cell = malloc(4);
  for (bool free_data : {false, true}) {
    _DArray* holder = darray_create(release_counted, free_data);
    darray_append(holder, cell);
    free_data ? pointer_destory(holder) : darray_destroy(holder);
  }
  EXPECT_EQ(6, g_released);
  free(cell);
}

// Records what the release callback receives; the addresses are never used.
std::vector<void*> g_release_args;
void release_recorded(void* p) { g_release_args.push_back(p); }

// On a 32-bit target a pointer is sign-extended into its slot and the release
// callback gets the low 32 bits (none for zero low bits); on a 64-bit target
// the slot is the whole pointer. The armhf build runs the first branch.
TEST(DynamicArray, PointerSlotsFollowTheTargetsPointerWidth) {
  g_release_args.clear();
  _DArray* arr = darray_create(release_recorded, true);
#if UINTPTR_MAX == 0xFFFFFFFFu
  void* high = reinterpret_cast<void*>(uintptr_t{0x80000010u});
  void* low = reinterpret_cast<void*>(uintptr_t{0x7FFFFFF0u});
  EXPECT_EQ(0xFFFFFFFF80000010ULL, ptr_to_slot(high));
  EXPECT_EQ(0x7FFFFFF0ULL, ptr_to_slot(low));
  darray_append(arr, high);
  darray_append(arr, low);
  darray_append(arr, 0x1234567800000000ULL);  // low 32 bits zero: nothing released
  darray_append(arr, 0xABCD000000000042ULL);
  darray_destroy(arr);
  EXPECT_EQ((std::vector<void*>{high, low, reinterpret_cast<void*>(uintptr_t{0x42})}),
            g_release_args);
#else
  void* high = reinterpret_cast<void*>(uintptr_t{0xFFFF800000000010ULL});
  void* wide = reinterpret_cast<void*>(uintptr_t{0x1234567800000000ULL});
  EXPECT_EQ(0xFFFF800000000010ULL, ptr_to_slot(high));
  darray_append(arr, high);
  darray_append(arr, 0x1234567800000000ULL);  // low 32 bits zero, pointer not null
  darray_append(arr, 0ULL);
  darray_destroy(arr);
  EXPECT_EQ((std::vector<void*>{high, wide}), g_release_args);
#endif
  EXPECT_EQ(high, slot_to_ptr(ptr_to_slot(high)));
  int local = 0;
  EXPECT_EQ(&local, slot_as<int>(ptr_to_slot(&local)));
}

// Counts on which side of the comparison the key was.
u64 g_key;
int g_key_first = 0, g_key_second = 0;
int spying_cmp(u64 a, u64 b) {
  g_key_first += a == g_key;
  g_key_second += b == g_key;
  return comp(a, b);
}

int g_calls;
_Ret walker(u64 answer_at_3, u64) { return ++g_calls == 3 ? (_Ret)answer_at_3 : RET_OK; }

TEST(DynamicArray, SearchesFindsUniqAndForeach) {
  _DArray* arr = make_array({3, 5, 7, 9, 11, 13, 15, 17, 19, 21});
  g_key = 1000;  // absent: every comparison involves the key
  EXPECT_EQ(-1, darray_find(arr, spying_cmp, g_key));  // the key first
  EXPECT_EQ(-1, darray_bin_search(arr, arr->count, g_key, spying_cmp));  // the key second
  EXPECT_EQ(10, g_key_first);
  EXPECT_GE(g_key_second, 3);
  for (unsigned i = 0; i < arr->count; ++i) {
    EXPECT_EQ((int)i, darray_bin_search(arr, arr->count, arr->items[i], comp));
  }
  EXPECT_EQ(-1, darray_bin_search(arr, arr->count, 4, comp));
  EXPECT_EQ(-1, darray_bin_search(arr, 3, 9, comp));  // only the first 3 slots
  darray_delete(arr, 2, 3);  // 21 stays beyond count; a large n must not reach it
  EXPECT_EQ(-1, darray_bin_search(arr, 1000, 21, comp));
  darray_destroy(arr);
  EXPECT_EQ(1, comp(1ULL << 32, 5));  // the high word decides
  EXPECT_EQ(-1, comp(0, ~0ULL));
  EXPECT_EQ(0, docid_cmp(0x12000005ULL, 0x34000005ULL));  // low 24 bits only
  EXPECT_EQ(-3, docid_cmp(2, 5));
  EXPECT_EQ(0xFFFFFF, docid_cmp(0xFFFFFF, 0));

  _DArray* runs = make_array({0, 3, 3, 3, 1, 3, 0, 0, 5, 5});
  EXPECT_EQ((std::vector<int>{1, 5, 7, -1}),
            (std::vector<int>{darray_find(runs, comp, 3), darray_rever_find(runs, comp, 3),
                              darray_rever_find(runs, comp, 0), darray_rever_find(runs, comp, 8)}));
  EXPECT_EQ(RET_OK, darray_uniq(runs, comp));
  EXPECT_EQ((std::vector<u64>{3, 1, 3, 5}), Slots(runs));  // zero slots are dropped
  EXPECT_EQ(0u, runs->items[4]);  // slots beyond count are cleared

  // Only a walker's RET_STOP or RET_NOMEM ends the walk, and is returned.
  const _Ret answers[][3] = {{RET_STOP, RET_STOP, 3}, {RET_NOMEM, RET_NOMEM, 3},
                             {RET_INVALID, RET_OK, 4}};
  for (const auto& a : answers) {
    g_calls = 0;
    EXPECT_EQ(a[1], darray_foreach(runs, walker, a[0]));
    EXPECT_EQ(a[2], g_calls);
  }
  darray_destroy(runs);
}

// Sort keys live in bits 8-15, a tag or a position elsewhere: comparing keys
// only makes the placement of equal keys visible.
int key_cmp(u64 a, u64 b) { return comp((a >> 8) & 0xFF, (b >> 8) & 0xFF); }
bool key_less(u64 a, u64 b) { return key_cmp(a, b) < 0; }
u64 tagged(u64 key, char tag) { return key << 8 | (unsigned char)tag; }
std::vector<std::string> tags(const _DArray* arr) {
  std::vector<std::string> out;
  for (u64 x : Slots(arr)) out.push_back(std::to_string(x >> 8) + (char)(x & 0xFF));
  return out;
}

TEST(DynamicArray, EachSortPlacesEqualKeysItsOwnWay) {
  typedef _Ret (*PrefixSort)(_DArray*, unsigned int, darray_cmp_fn);
  const PrefixSort shell = darray_shell_sort;
  const std::vector<u64> six = {tagged(1, 'a'), tagged(2, 'a'), tagged(1, 'b'),
                                tagged(2, 'b'), tagged(0, 'a'), tagged(1, 'c')};
  const struct {
    PrefixSort sort;
    std::vector<u64> input;
    std::vector<std::string> expected;
  } cases[] = {
      {darray_bubble_sort, six, {"0a", "1c", "1b", "1a", "2b", "2a"}},
      {darray_quick_sort, {tagged(2, 'a'), tagged(2, 'b'), tagged(1, 'a')}, {"1a", "2b", "2a"}},
      {darray_quick_sort, six, {"0a", "1a", "1b", "1c", "2a", "2b"}},
      {shell, six, {"0a", "1c", "1b", "1a", "2b", "2a"}},  // gap 4 then 1
  };
  for (const auto& c : cases) {
    _DArray* arr = make_array(c.input);
    EXPECT_EQ(RET_OK, c.sort(arr, arr->count, key_cmp));
    EXPECT_EQ(c.expected, tags(arr));
    darray_destroy(arr);
  }
  _DArray* arr = make_array({5, 4, 3, 2, 1});
  darray_merge_sort(arr, 3, comp);  // only the prefix is sorted
  EXPECT_EQ((std::vector<u64>{3, 4, 5, 2, 1}), Slots(arr));
  darray_destroy(arr);
}

TEST(DynamicArray, AllSortsOrderRandomInputAndMergeSortIsStable) {
  std::mt19937_64 rng(7);
  for (unsigned n : {0, 1, 2, 3, 5, 17, 100, 1000, 5000}) {
    std::vector<u64> input;
    for (unsigned i = 0; i < n; ++i) input.push_back(tagged(rng() % 13, 0) | (u64)i << 40);
    std::vector<u64> stable = input, values = input;
    std::stable_sort(stable.begin(), stable.end(), key_less);
    std::sort(values.begin(), values.end());
    for (darray_sort_fn fn : {items_bubble_sort, items_quick_sort, items_merge_sort,
                              items_shell_sort}) {
      _DArray* arr = make_array(input);
      ASSERT_EQ(RET_OK, darray_sort(arr, fn, key_cmp));
      std::vector<u64> got = Slots(arr);
      EXPECT_TRUE(std::is_sorted(got.begin(), got.end(), key_less)) << "n=" << n;
      if (fn == items_merge_sort) {
        EXPECT_EQ(stable, got) << "n=" << n;
      }
      std::sort(got.begin(), got.end());
      EXPECT_EQ(values, got) << "sort lost or duplicated values, n=" << n;
      darray_destroy(arr);
    }
  }
}

}  // namespace
}  // namespace mobile_search
