#include "foundation/dynamic_array.h"

#include <stdlib.h>
#include <string.h>

#include "foundation/shell_sort.h"

namespace mobile_search {

namespace {

typedef unsigned long long u64;

const unsigned int kInitialSlots = 8;

u64* alloc_slots(unsigned long long n) {
  if (n == 0 || n > (~(size_t)0) / sizeof(u64)) return nullptr;
  return static_cast<u64*>(calloc((size_t)n, sizeof(u64)));
}

void swap_slots(u64* items, unsigned int a, unsigned int b) {
  u64 t = items[a];
  items[a] = items[b];
  items[b] = t;
}

// Partitions [lo, hi] around slot[lo] by moving values into the hole left by
// the pivot; returns the pivot's final position.
unsigned int quick_partition(u64* a, unsigned int lo, unsigned int hi, darray_cmp_fn cmp) {
  u64 pivot = a[lo];
  unsigned int i = lo, j = hi;
  while (i < j) {
    while (j != i && !(cmp(a[j], pivot) < 0)) --j;
    if (j != i) a[i++] = a[j];
    while (i != j && !(cmp(a[i], pivot) > 0)) ++i;
    if (i != j) a[j--] = a[i];
  }
  a[i] = pivot;
  return i;
}

// Merges the sorted runs [lo, mid) and [mid, hi) through scratch; the right
// run is taken only when strictly smaller, which keeps the sort stable.
void merge_runs(u64* a, u64* scratch, unsigned int lo, unsigned int mid, unsigned int hi,
                darray_cmp_fn cmp) {
  unsigned int l = lo, r = mid, k = lo;
  while (l < mid && r < hi) scratch[k++] = cmp(a[l], a[r]) > 0 ? a[r++] : a[l++];
  while (l < mid) scratch[k++] = a[l++];
  while (r < hi) scratch[k++] = a[r++];
  memcpy(a + lo, scratch + lo, (size_t)(hi - lo) * sizeof(u64));
}

void merge_range(u64* a, u64* scratch, unsigned int lo, unsigned int hi, darray_cmp_fn cmp) {
  unsigned int mid = lo + (hi - lo) / 2;
  if (mid - lo >= 2) merge_range(a, scratch, lo, mid, cmp);
  if (hi - mid >= 2) merge_range(a, scratch, mid, hi, cmp);
  merge_runs(a, scratch, lo, mid, hi, cmp);
}

}  // namespace

int comp(unsigned long long a, unsigned long long b) {
  if (a == b) return 0;
  return a > b ? 1 : -1;
}

int docid_cmp(unsigned long long a, unsigned long long b) {
  return (int)(a & 0xFFFFFFu) - (int)(b & 0xFFFFFFu);
}

void darray_release_slot(const _DArray* arr, unsigned long long slot) {
  if (arr == nullptr || !arr->free_data || arr->free_func == nullptr) return;
  void* p = slot_to_ptr(slot);
  if (p != nullptr) arr->free_func(p);
}

namespace {

// Grows the storage of `arr` to `capacity` slots (plus the zeroed spare).
_Ret grow_to(_DArray* arr, unsigned long long capacity) {
  if (capacity > 0xFFFFFFFFULL) return RET_NOMEM;
  // One zeroed slot beyond the declared capacity, as the layout always had.
  // A growth by many steps at once (a reserve) takes a fresh zeroed block:
  // the allocator hands large ones out already zero. Otherwise the storage
  // grows in place where the allocator can (large blocks are remapped, not
  // copied) and every slot from `count` on is zeroed; both leave what a
  // fresh zeroed block with the used slots copied in would hold.
  if (capacity + 1 > (~(size_t)0) / sizeof(u64)) return RET_NOMEM;
  const size_t bytes = (size_t)(capacity + 1) * sizeof(u64);
  u64* items = nullptr;
  if (arr->items == nullptr || (unsigned long long)arr->count * 4 < capacity) {
    items = static_cast<u64*>(calloc(1, bytes));
    if (items == nullptr) return RET_NOMEM;
    if (arr->count > 0) memcpy(items, arr->items, (size_t)arr->count * sizeof(u64));
    free(arr->items);
  } else {
    items = static_cast<u64*>(realloc(arr->items, bytes));
    if (items == nullptr) return RET_NOMEM;
    memset(items + arr->count, 0, (size_t)(capacity + 1 - arr->count) * sizeof(u64));
  }
  arr->items = items;
  arr->capacity = (unsigned int)capacity;
  return RET_OK;
}

}  // namespace

_Ret darray_expand(_DArray* arr, unsigned int k) {
  if (arr == nullptr) return RET_INVALID;
  unsigned long long needed = (unsigned long long)arr->count + k;
  if (needed <= arr->capacity) return RET_OK;
  return grow_to(arr, 2ULL * arr->capacity + 8);
}

_Ret darray_reserve(_DArray* arr, unsigned int k) {
  if (arr == nullptr) return RET_INVALID;
  const unsigned long long needed = (unsigned long long)arr->count + k;
  return needed <= arr->capacity ? RET_OK : grow_to(arr, needed);
}

_DArray* darray_create(darray_free_fn free_func, bool free_data) {
  _DArray* arr = static_cast<_DArray*>(calloc(1, sizeof(_DArray)));
  if (arr == nullptr) return nullptr;
  arr->free_func = free_func;
  arr->free_data = free_data;
  if (darray_expand(arr, kInitialSlots) != RET_OK) {
    free(arr);
    return nullptr;
  }
  return arr;
}

void darray_destroy(_DArray* arr) {
  if (arr == nullptr) return;
  darray_clean(arr);
  pointer_destory(arr);
}

void darray_destroy(void* arr) { darray_destroy(static_cast<_DArray*>(arr)); }

void pointer_destory(_DArray* arr) {
  if (arr == nullptr) return;
  free(arr->items);
  free(arr);
}

_Ret darray_append(_DArray* arr, unsigned long long value) {
  if (arr == nullptr) return RET_INVALID;
  _Ret r = darray_expand(arr, 1);
  if (r != RET_OK) return r;
  arr->items[arr->count++] = value;
  return RET_OK;
}

_Ret darray_append(_DArray* arr, const void* ptr) { return darray_append(arr, ptr_to_slot(ptr)); }

_Ret darray_insert(_DArray* arr, unsigned int index, unsigned long long value) {
  if (arr == nullptr) return RET_INVALID;
  if (index > arr->count) index = arr->count;
  _Ret r = darray_expand(arr, 1);
  if (r != RET_OK) return r;
  memmove(arr->items + index + 1, arr->items + index,
          (size_t)(arr->count - index) * sizeof(u64));
  arr->items[index] = value;
  arr->count++;
  return RET_OK;
}

_Ret darray_prepend(_DArray* arr, unsigned long long value) { return darray_insert(arr, 0, value); }

_Ret darray_delete(_DArray* arr, unsigned int index) {
  if (arr == nullptr) return RET_INVALID;
  if (index >= arr->count) return RET_OK;
  darray_release_slot(arr, arr->items[index]);
  memmove(arr->items + index, arr->items + index + 1,
          (size_t)(arr->count - index - 1) * sizeof(u64));
  arr->count--;
  arr->items[arr->count] = 0;
  return RET_OK;
}

_Ret darray_delete(_DArray* arr, unsigned int index, int n) {
  if (arr == nullptr) return RET_INVALID;
  if (n < 1 || index >= arr->count) return RET_OK;
  unsigned int len = (unsigned int)n;
  bool tail = (unsigned long long)index + len >= arr->count;
  if (tail) len = arr->count - index;
  for (unsigned int i = index; i < index + len; ++i) {
    darray_release_slot(arr, arr->items[i]);
    arr->items[i] = 0;
  }
  if (!tail) {
    // Only n slots move down, not the whole remaining tail: long-standing
    // behaviour that callers were written against. Sources past the storage
    // read as empty slots; they only land beyond the new count.
    for (unsigned int j = 0; j < len; ++j) {
      unsigned long long src = (unsigned long long)index + len + j;
      arr->items[index + j] = src < arr->capacity ? arr->items[src] : 0;
    }
  }
  arr->count -= len;
  return RET_OK;
}

_Ret darray_get_by_index(_DArray* arr, unsigned int index, unsigned long long* out) {
  if (arr == nullptr || out == nullptr || index >= arr->count) return RET_INVALID;
  *out = arr->items[index];
  return RET_OK;
}

unsigned long long darray_get_by_index(const _DArray* arr, unsigned int index) {
  if (arr == nullptr || arr->items == nullptr || index >= arr->count) return 0;
  return arr->items[index];
}

_Ret darray_set_by_index(_DArray* arr, unsigned int index, unsigned long long value) {
  if (arr == nullptr || index >= arr->count) return RET_INVALID;
  arr->items[index] = value;
  return RET_OK;
}

_Ret darray_set_by_index(_DArray* arr, unsigned int index, const void* ptr) {
  return darray_set_by_index(arr, index, ptr_to_slot(ptr));
}

unsigned int darray_length(const _DArray* arr) { return arr == nullptr ? 0 : arr->count; }

_Ret darray_foreach(_DArray* arr, darray_foreach_fn fn, unsigned long long user) {
  if (arr == nullptr || fn == nullptr) return RET_INVALID;
  for (unsigned int i = 0; i < arr->count; ++i) {
    _Ret r = fn(user, arr->items[i]);
    if (r == RET_STOP || r == RET_NOMEM) return r;
  }
  return RET_OK;
}

int darray_find(const _DArray* arr, darray_cmp_fn cmp, unsigned long long key) {
  if (arr == nullptr || cmp == nullptr) return -1;
  for (unsigned int i = 0; i < arr->count; ++i) {
    if (cmp(key, arr->items[i]) == 0) return (int)i;
  }
  return -1;
}

int darray_rever_find(const _DArray* arr, darray_cmp_fn cmp, unsigned long long key) {
  if (arr == nullptr || cmp == nullptr) return -1;
  for (unsigned int i = arr->count; i > 0; --i) {
    if (cmp(key, arr->items[i - 1]) == 0) return (int)(i - 1);
  }
  return -1;
}

int darray_bin_search(const _DArray* arr, unsigned int n, unsigned long long key,
                      darray_cmp_fn cmp) {
  if (arr == nullptr || cmp == nullptr) return -1;
  long long lo = 0;
  long long hi = (long long)(n < arr->count ? n : arr->count) - 1;
  while (lo <= hi) {
    long long mid = lo + (hi - lo) / 2;
    int r = cmp(arr->items[mid], key);
    if (r == 0) return (int)mid;
    if (r > 0) {
      hi = mid - 1;
    } else {
      lo = mid + 1;
    }
  }
  return -1;
}

_Ret items_bubble_sort(unsigned long long* items, unsigned int n, darray_cmp_fn cmp) {
  if (items == nullptr || cmp == nullptr) return RET_INVALID;
  // Despite its name: a selection sort from the back. The candidate is only
  // replaced by a strictly larger slot, so the first of equal maxima wins.
  for (unsigned int end = n > 0 ? n - 1 : 0; end >= 1; --end) {
    unsigned int m = 0;
    for (unsigned int i = 1; i < end; ++i) {
      if (cmp(items[i], items[m]) > 0) m = i;
    }
    if (cmp(items[m], items[end]) > 0) swap_slots(items, m, end);
  }
  return RET_OK;
}

_Ret items_quick_sort(unsigned long long* items, unsigned int n, darray_cmp_fn cmp) {
  if (items == nullptr || cmp == nullptr) return RET_INVALID;
  if (n < 2) return RET_OK;
  // The partitions are disjoint, so the order in which they are handled does
  // not change the result; an explicit stack keeping the larger part bounds
  // the depth by log2(n) even for reversed input.
  struct Range { unsigned int lo, hi; };
  Range stack[64];
  int top = 0;
  stack[top++] = Range{0, n - 1};
  while (top > 0) {
    Range r = stack[--top];
    while (r.lo < r.hi) {
      unsigned int p = quick_partition(items, r.lo, r.hi, cmp);
      Range left{r.lo, p > r.lo ? p - 1 : r.lo};
      Range right{p + 1, r.hi};
      bool has_left = p > r.lo, has_right = p < r.hi;
      if (has_left && has_right) {
        bool left_bigger = left.hi - left.lo > right.hi - right.lo;
        stack[top++] = left_bigger ? left : right;
        r = left_bigger ? right : left;
      } else if (has_left) {
        r = left;
      } else if (has_right) {
        r = right;
      } else {
        break;
      }
    }
  }
  return RET_OK;
}

_Ret items_merge_sort(unsigned long long* items, unsigned int n, darray_cmp_fn cmp) {
  if (items == nullptr || cmp == nullptr) return RET_INVALID;
  if (n < 2) return RET_OK;
  u64* scratch = alloc_slots(n);
  if (scratch == nullptr) return RET_NOMEM;
  merge_range(items, scratch, 0, n, cmp);
  free(scratch);
  return RET_OK;
}

_Ret items_shell_sort(unsigned long long* items, unsigned int n, darray_cmp_fn cmp) {
  if (items == nullptr || cmp == nullptr) return RET_INVALID;
  shell_sort(items, n, [cmp](u64 a, u64 b) { return cmp(b, a) < 0; });
  return RET_OK;
}

_Ret darray_sort(_DArray* arr, darray_sort_fn sortfn, darray_cmp_fn cmp) {
  if (arr == nullptr || sortfn == nullptr || cmp == nullptr) return RET_INVALID;
  return sortfn(arr->items, arr->count, cmp);
}

static _Ret sort_prefix(_DArray* arr, unsigned int n, darray_cmp_fn cmp, darray_sort_fn fn) {
  if (arr == nullptr || cmp == nullptr) return RET_INVALID;
  if (n < 2) return RET_OK;
  return fn(arr->items, n, cmp);
}

_Ret darray_bubble_sort(_DArray* arr, unsigned int n, darray_cmp_fn cmp) {
  return sort_prefix(arr, n, cmp, items_bubble_sort);
}
_Ret darray_quick_sort(_DArray* arr, unsigned int n, darray_cmp_fn cmp) {
  return sort_prefix(arr, n, cmp, items_quick_sort);
}
_Ret darray_merge_sort(_DArray* arr, unsigned int n, darray_cmp_fn cmp) {
  return sort_prefix(arr, n, cmp, items_merge_sort);
}
_Ret darray_shell_sort(_DArray* arr, unsigned int n, darray_cmp_fn cmp) {
  return sort_prefix(arr, n, cmp, items_shell_sort);
}
_Ret darray_shell_sort(_DArray* arr, darray_cmp_fn cmp) {
  if (arr == nullptr) return RET_INVALID;
  return darray_shell_sort(arr, arr->count, cmp);
}

_Ret darray_uniq(_DArray* arr, darray_cmp_fn cmp) {
  if (arr == nullptr || cmp == nullptr) return RET_INVALID;
  if (arr->count < 2) return RET_OK;
  for (unsigned int i = arr->count - 1; i >= 1; --i) {
    if (cmp(arr->items[i], arr->items[i - 1]) == 0) {
      darray_release_slot(arr, arr->items[i]);
      arr->items[i] = 0;
    }
  }
  // Zero is the container's empty value: slots that were zero before the call
  // go too.
  unsigned int kept = 0;
  for (unsigned int i = 0; i < arr->count; ++i) {
    if (arr->items[i] != 0) arr->items[kept++] = arr->items[i];
  }
  for (unsigned int i = kept; i < arr->count; ++i) arr->items[i] = 0;
  arr->count = kept;
  return RET_OK;
}

_Ret darray_shrink(_DArray* arr) {
  if (arr == nullptr) return RET_INVALID;
  if (arr->capacity <= kInitialSlots || arr->count >= arr->capacity / 2) return RET_OK;
  unsigned int capacity = arr->count + kInitialSlots + arr->count / 2;
  u64* items = alloc_slots(capacity);
  if (items == nullptr) return RET_NOMEM;
  memcpy(items, arr->items, (size_t)arr->count * sizeof(u64));
  free(arr->items);
  arr->items = items;
  arr->capacity = capacity;
  return RET_OK;
}

_Ret darray_clean(_DArray* arr) {
  if (arr == nullptr) return RET_INVALID;
  // Slots are visited one by one only when something is to be released.
  if (arr->free_data && arr->free_func != nullptr) {
    for (unsigned int i = 0; i < arr->count; ++i) darray_release_slot(arr, arr->items[i]);
  }
  if (arr->count > 0) memset(arr->items, 0, (size_t)arr->count * sizeof(u64));
  arr->count = 0;
  return RET_OK;
}

ArrayList::ArrayList(darray_free_fn callback) {
  items = nullptr;
  count = 0;
  capacity = 0;
  free_data = false;
  free_func = callback;
  darray_expand(this, kInitialSlots);
}

ArrayList::~ArrayList() {
  // An ArrayList releases nothing (see the header), so its storage simply goes.
  free(items);
  items = nullptr;
  count = 0;
  capacity = 0;
}

}  // namespace mobile_search
