#include "foundation/dynamic_array.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

namespace mobile_search {
namespace {

typedef unsigned long long u64;

std::vector<u64> contents(const _DArray* arr) {
  return std::vector<u64>(arr->items, arr->items + arr->count);
}

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
void* heap_cell() { return malloc(4); }

TEST(DynamicArray, GrowthRunsEightTwentyFourFiftySixAndKeepsASpareZeroSlot) {
  _DArray* arr = darray_create(nullptr, false);
  ASSERT_NE(nullptr, arr);
  EXPECT_EQ(0u, arr->count);
  EXPECT_EQ(8u, arr->capacity);
  std::vector<unsigned int> capacities;
  for (u64 i = 1; i <= 57; ++i) {
    ASSERT_EQ(RET_OK, darray_append(arr, i));
    capacities.push_back(arr->capacity);
  }
  EXPECT_EQ(8u, capacities[7]);    // 8 slots fit
  EXPECT_EQ(24u, capacities[8]);   // the 9th grows
  EXPECT_EQ(24u, capacities[23]);
  EXPECT_EQ(56u, capacities[24]);
  EXPECT_EQ(120u, capacities[56]);
  EXPECT_EQ(0u, arr->items[arr->capacity]);  // spare slot allocated and zero
  for (u64 i = 0; i < 57; ++i) EXPECT_EQ(i + 1, darray_get_by_index(arr, (unsigned)i));

  ArrayList list;
  EXPECT_TRUE(list.valid());
  EXPECT_EQ(8u, list.capacity);
  EXPECT_EQ(RET_OK, list.expand(9));  // one growth step, whatever is asked
  EXPECT_EQ(24u, list.capacity);
  darray_destroy(arr);
}

TEST(DynamicArray, ShrinkOnlyBelowHalfAndToCountPlusEightPlusHalf) {
  _DArray* arr = darray_create(nullptr, false);
  for (u64 i = 1; i <= 12; ++i) darray_append(arr, i);
  ASSERT_EQ(24u, arr->capacity);
  u64* before = arr->items;
  EXPECT_EQ(RET_OK, darray_shrink(arr));  // 12 is not below 24 / 2
  EXPECT_EQ(24u, arr->capacity);
  EXPECT_EQ(before, arr->items);

  darray_delete(arr, 11);  // 11 slots: 11 + 8 + 5
  EXPECT_EQ(RET_OK, darray_shrink(arr));
  EXPECT_EQ(24u, arr->capacity);
  darray_delete(arr, 10);  // 10 slots: 10 + 8 + 5
  EXPECT_EQ(RET_OK, darray_shrink(arr));
  EXPECT_EQ(23u, arr->capacity);
  EXPECT_EQ((std::vector<u64>{1, 2, 3, 4, 5, 6, 7, 8, 9, 10}), contents(arr));
  // Growth after a shrink starts from the shrunk capacity.
  for (u64 i = 11; i <= 24; ++i) darray_append(arr, i);
  EXPECT_EQ(54u, arr->capacity);

  _DArray* small = darray_create(nullptr, false);
  EXPECT_EQ(RET_OK, darray_shrink(small));  // capacity 8 never shrinks
  EXPECT_EQ(8u, small->capacity);
  darray_destroy(small);
  darray_destroy(arr);
}

TEST(DynamicArray, RangedDeleteMovesOnlyNSlotsAndReleasesTheDeleted) {
  _DArray* arr = make_array({10, 11, 12, 13, 14, 15, 16, 17, 18, 19});
  EXPECT_EQ(RET_OK, darray_delete(arr, 2, 3));
  EXPECT_EQ(7u, arr->count);
  // Slots 5 and 6 keep their old values: only three slots moved.
  EXPECT_EQ((std::vector<u64>{10, 11, 15, 16, 17, 15, 16}), contents(arr));

  // Tail case: n is cut to what is left, nothing moves.
  EXPECT_EQ(RET_OK, darray_delete(arr, 5, 100));
  EXPECT_EQ((std::vector<u64>{10, 11, 15, 16, 17}), contents(arr));
  EXPECT_EQ(0u, arr->items[5]);
  darray_destroy(arr);

  g_released = 0;
  _DArray* owned = darray_create(release_counted, true);
  std::vector<void*> cells;
  for (int i = 0; i < 10; ++i) {
    cells.push_back(heap_cell());
    darray_append(owned, cells.back());
  }
  darray_delete(owned, 2, 3);
  EXPECT_EQ(3, g_released);
  // Slots 5 and 6 now duplicate slots 2 and 3, and cells 8 and 9 sit beyond
  // count: an owner must not clean such an array blindly.
  EXPECT_EQ(cells[5], slot_to_ptr(owned->items[2]));
  EXPECT_EQ(cells[5], slot_to_ptr(owned->items[5]));
  EXPECT_EQ(cells[9], slot_to_ptr(owned->items[9]));
  darray_delete(owned, 0);
  EXPECT_EQ(4, g_released);
  for (int i : {1, 5, 6, 7, 8, 9}) free(cells[i]);
  pointer_destory(owned);  // frees the array, releases nothing
  EXPECT_EQ(4, g_released);
}

TEST(DynamicArray, ReleaseCallbackOnlyWithFreeDataAndNeverForArrayList) {
  g_released = 0;
  _DArray* owned = darray_create(release_counted, true);
  for (int i = 0; i < 5; ++i) darray_append(owned, heap_cell());
  void* replaced = slot_to_ptr(owned->items[0]);
  darray_set_by_index(owned, 0, heap_cell());  // set does not release the old value
  EXPECT_EQ(0, g_released);
  free(replaced);
  darray_clean(owned);
  EXPECT_EQ(5, g_released);
  EXPECT_EQ(0u, owned->count);
  EXPECT_EQ(8u, owned->capacity);
  darray_append(owned, heap_cell());
  darray_append(owned, heap_cell());
  darray_destroy(owned);
  EXPECT_EQ(7, g_released);

  std::vector<void*> cells;
  {
    ArrayList list(release_counted);
    for (int i = 0; i < 3; ++i) {
      cells.push_back(heap_cell());
      list.add(cells.back());
    }
    list.remove(0);
    list.clear();
  }
  EXPECT_EQ(7, g_released);  // the list never calls its callback
  for (void* c : cells) free(c);

  _DArray* unowned = darray_create(release_counted, false);
  void* cell = heap_cell();
  darray_append(unowned, cell);
  darray_destroy(unowned);
  EXPECT_EQ(7, g_released);
  free(cell);
}

TEST(DynamicArray, InsertPrependGetSetAndPointerSlots) {
  _DArray* arr = make_array({1, 2, 3});
  EXPECT_EQ(RET_OK, darray_insert(arr, 1, 9));
  EXPECT_EQ(RET_OK, darray_insert(arr, 100, 7));  // clamped to count
  EXPECT_EQ(RET_OK, darray_prepend(arr, 5));
  EXPECT_EQ((std::vector<u64>{5, 1, 9, 2, 3, 7}), contents(arr));
  u64 out = 0;
  EXPECT_EQ(RET_OK, darray_get_by_index(arr, 5, &out));
  EXPECT_EQ(7u, out);
  EXPECT_EQ(6u, darray_length(arr));

  std::string text = "slot";
  EXPECT_EQ(RET_OK, darray_set_by_index(arr, 0, static_cast<const void*>(&text)));
  EXPECT_EQ(&text, slot_as<std::string>(darray_get_by_index(arr, 0)));
  EXPECT_EQ(nullptr, slot_to_ptr(ptr_to_slot(nullptr)));
  darray_destroy(arr);
}

// Remembers which side of the comparison the key was on.
u64 g_key;
int g_key_first = 0, g_key_second = 0;
int spying_cmp(u64 a, u64 b) {
  if (a == g_key) ++g_key_first;
  if (b == g_key) ++g_key_second;
  return comp(a, b);
}

TEST(DynamicArray, FindAndBinarySearchArgumentOrderAndBounds) {
  _DArray* arr = make_array({3, 5, 7, 9, 11, 13, 15, 17, 19, 21});
  g_key = 1000;  // absent: every comparison involves the key
  EXPECT_EQ(-1, darray_find(arr, spying_cmp, g_key));
  EXPECT_EQ(10, g_key_first);
  EXPECT_EQ(0, g_key_second);
  g_key_first = g_key_second = 0;
  EXPECT_EQ(-1, darray_bin_search(arr, arr->count, g_key, spying_cmp));
  EXPECT_EQ(0, g_key_first);
  EXPECT_GT(g_key_second, 0);

  for (unsigned i = 0; i < arr->count; ++i) {
    EXPECT_EQ((int)i, darray_bin_search(arr, arr->count, arr->items[i], comp));
  }
  EXPECT_EQ(-1, darray_bin_search(arr, arr->count, 4, comp));
  EXPECT_EQ(-1, darray_bin_search(arr, 3, 9, comp));  // only the first 3 slots

  // After a ranged delete stale values remain beyond count; a large n must
  // not reach them.
  darray_delete(arr, 2, 3);
  ASSERT_EQ(7u, arr->count);
  EXPECT_EQ(21u, arr->items[9]);
  EXPECT_EQ(-1, darray_bin_search(arr, 1000, 21, comp));

  _DArray* dup = make_array({4, 2, 4, 2});
  EXPECT_EQ(0, darray_find(dup, comp, 4));
  EXPECT_EQ(2, darray_rever_find(dup, comp, 4));
  EXPECT_EQ(3, darray_rever_find(dup, comp, 2));
  EXPECT_EQ(-1, darray_rever_find(dup, comp, 8));
  darray_destroy(dup);
  darray_destroy(arr);
}

TEST(DynamicArray, ComparatorsAndUniq) {
  EXPECT_EQ(1, comp(1ULL << 32, 5));  // the high word decides
  EXPECT_EQ(-1, comp(5, 1ULL << 32));
  EXPECT_EQ(0, comp(~0ULL, ~0ULL));
  EXPECT_EQ(-1, comp(0, ~0ULL));
  EXPECT_EQ(0, docid_cmp(0x12000005ULL, 0x34000005ULL));
  EXPECT_EQ(0, docid_cmp(0xFF00000000ULL | 7, 7));
  EXPECT_EQ(-3, docid_cmp(2, 5));
  EXPECT_EQ(0xFFFFFF, docid_cmp(0xFFFFFF, 0));

  _DArray* arr = make_array({0, 1, 1, 2});
  EXPECT_EQ(RET_OK, darray_uniq(arr, comp));
  EXPECT_EQ((std::vector<u64>{1, 2}), contents(arr));
  _DArray* runs = make_array({3, 3, 3, 1, 3, 0, 0, 5, 5});
  darray_uniq(runs, comp);
  EXPECT_EQ((std::vector<u64>{3, 1, 3, 5}), contents(runs));
  EXPECT_EQ(0u, runs->items[4]);  // slots beyond count are cleared

  // The first of each run survives and the others are released.
  g_released = 0;
  _DArray* owned = darray_create(release_counted, true);
  void* first = heap_cell();
  darray_append(owned, first);
  darray_append(owned, heap_cell());
  darray_append(owned, heap_cell());
  EXPECT_EQ(RET_OK, darray_uniq(owned, [](u64, u64) { return 0; }));
  EXPECT_EQ(2, g_released);
  ASSERT_EQ(1u, owned->count);
  EXPECT_EQ(first, slot_to_ptr(owned->items[0]));
  darray_destroy(owned);
  darray_destroy(runs);
  darray_destroy(arr);
}

struct WalkState {
  int calls;
  _Ret answer_at_3;
};
_Ret walker(u64 user, u64) {
  WalkState* s = slot_as<WalkState>(user);
  return ++s->calls == 3 ? s->answer_at_3 : RET_OK;
}

TEST(DynamicArray, ForeachStopsOnStopAndNomemOnly) {
  _DArray* arr = make_array({1, 2, 3, 4, 5});
  const _Ret answers[] = {RET_STOP, RET_NOMEM, RET_INVALID};
  const _Ret results[] = {RET_STOP, RET_NOMEM, RET_OK};
  const int calls[] = {3, 3, 5};
  for (int i = 0; i < 3; ++i) {
    WalkState state{0, answers[i]};
    EXPECT_EQ(results[i], darray_foreach(arr, walker, ptr_to_slot(&state)));
    EXPECT_EQ(calls[i], state.calls);
  }
  darray_destroy(arr);
}

// Sort keys live above bit 8, a tag below: comparing keys only makes the
// placement of equal keys visible.
int key_cmp(u64 a, u64 b) { return comp(a >> 8, b >> 8); }
u64 tagged(u64 key, char tag) { return key << 8 | (unsigned char)tag; }
std::vector<std::string> tags(const std::vector<u64>& v) {
  std::vector<std::string> out;
  for (u64 x : v) out.push_back(std::to_string(x >> 8) + (char)(x & 0xFF));
  return out;
}

TEST(DynamicArray, EachSortPlacesEqualKeysItsOwnWay) {
  typedef _Ret (*PrefixSort)(_DArray*, unsigned int, darray_cmp_fn);
  struct Case {
    PrefixSort sort;
    std::vector<std::string> expected;
  };
  const std::vector<u64> input = {tagged(1, 'a'), tagged(2, 'a'), tagged(1, 'b'),
                                  tagged(2, 'b'), tagged(0, 'a'), tagged(1, 'c')};
  const PrefixSort shell = darray_shell_sort;
  const Case cases[] = {
      {darray_bubble_sort, {"0a", "1c", "1b", "1a", "2b", "2a"}},
      {darray_quick_sort, {"0a", "1a", "1b", "1c", "2a", "2b"}},
      {darray_merge_sort, {"0a", "1a", "1b", "1c", "2a", "2b"}},
      {shell, {"0a", "1c", "1b", "1a", "2b", "2a"}},  // gap 4 then 1
  };
  for (const Case& c : cases) {
    _DArray* arr = make_array(input);
    EXPECT_EQ(RET_OK, c.sort(arr, arr->count, key_cmp));
    EXPECT_EQ(c.expected, tags(contents(arr)));
    darray_destroy(arr);
  }
  // Quick sort is not stable either.
  _DArray* arr = make_array({tagged(2, 'a'), tagged(2, 'b'), tagged(1, 'a')});
  darray_quick_sort(arr, 3, key_cmp);
  EXPECT_EQ((std::vector<std::string>{"1a", "2b", "2a"}), tags(contents(arr)));
  // Only the prefix is sorted.
  darray_destroy(arr);
  arr = make_array({5, 4, 3, 2, 1});
  darray_merge_sort(arr, 3, comp);
  EXPECT_EQ((std::vector<u64>{3, 4, 5, 2, 1}), contents(arr));
  darray_destroy(arr);
}

TEST(DynamicArray, AllSortsOrderRandomInputAndMergeSortIsStable) {
  std::mt19937_64 rng(7);
  const unsigned sizes[] = {0, 1, 2, 3, 5, 17, 100, 1000, 5000};
  for (unsigned n : sizes) {
    std::vector<u64> input;
    for (unsigned i = 0; i < n; ++i) input.push_back(tagged(rng() % 13, (char)(i & 0x7F)) | (u64)i << 40);
    // Compares the 8-bit key field only.
    auto field_cmp = [](u64 a, u64 b) { return comp((a >> 8) & 0xFF, (b >> 8) & 0xFF); };
    std::vector<u64> stable = input;
    std::stable_sort(stable.begin(), stable.end(),
                     [&](u64 a, u64 b) { return field_cmp(a, b) < 0; });
    const darray_sort_fn sorts[] = {items_bubble_sort, items_quick_sort, items_merge_sort,
                                    items_shell_sort};
    for (darray_sort_fn fn : sorts) {
      _DArray* arr = make_array(input);
      ASSERT_EQ(RET_OK, darray_sort(arr, fn, field_cmp));
      std::vector<u64> got = contents(arr);
      EXPECT_TRUE(std::is_sorted(got.begin(), got.end(),
                                 [&](u64 a, u64 b) { return field_cmp(a, b) < 0; }));
      std::vector<u64> a = got, b = input;
      std::sort(a.begin(), a.end());
      std::sort(b.begin(), b.end());
      EXPECT_EQ(b, a) << "sort lost or duplicated values, n=" << n;
      if (fn == items_merge_sort) {
        EXPECT_EQ(stable, got) << "n=" << n;
      }
      darray_destroy(arr);
    }
  }
  // Reversed, then already sorted input: the pivot's worst case.
  std::vector<u64> big;
  for (u64 i = 3000; i > 0; --i) big.push_back(i);
  _DArray* arr = make_array(big);
  EXPECT_EQ(RET_OK, darray_quick_sort(arr, arr->count, comp));
  EXPECT_EQ(RET_OK, darray_quick_sort(arr, arr->count, comp));
  EXPECT_EQ(1u, arr->items[0]);
  EXPECT_EQ(3000u, arr->items[2999]);
  darray_destroy(arr);
}

}  // namespace
}  // namespace mobile_search
