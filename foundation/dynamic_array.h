// Growable array of 64-bit slots: the one general-purpose container of the
// engine.
//
// A slot holds an integer (doc id, term sign, packed posting, log record) or a
// pointer converted with ptr_to_slot(). The array may own what its pointer
// slots point to: when created with a release callback and free_data true it
// calls the callback on every slot it deletes, clears or destroys. Slot value 0
// is the "empty" value (darray_uniq drops zero slots, the callback skips them).
//
// Two forms of the same container:
//   - _DArray, a heap record driven by the darray_* free functions;
//   - ArrayList, the same fields embedded by value, with member functions that
//     forward to darray_*. An ArrayList never releases its slots (nothing sets
//     its free_data), so its release callback is never called.
//
// Results: the operations return _Ret codes: RET_OK (0), RET_NOMEM (1, an
// allocation failed and the array is unchanged), RET_INVALID (2, null argument
// or index out of range). A null array yields RET_INVALID unless a function
// says otherwise. Functions returning an index return -1 for "not found" or a
// bad argument. Nothing throws, nothing logs.
//
// Threads: no locking inside; one thread at a time or under the owner's lock.
#ifndef KS_FOUNDATION_DYNAMIC_ARRAY_H_
#define KS_FOUNDATION_DYNAMIC_ARRAY_H_

#include <stdint.h>

namespace mobile_search {

typedef int _Ret;
enum {
  RET_OK = 0,       // success; from a foreach callback: go on
  RET_NOMEM = 1,    // allocation failed; from a foreach callback: stop
  RET_INVALID = 2,  // null argument or index out of range
  RET_STOP = 4,     // returned by a foreach callback to end the walk early
};

// Three-way comparison of two slots: negative, zero or positive.
typedef int (*darray_cmp_fn)(unsigned long long a, unsigned long long b);
// Release callback for pointer slots.
typedef void (*darray_free_fn)(void* p);
// Foreach callback: fn(user, slot); RET_STOP or RET_NOMEM ends the walk.
typedef _Ret (*darray_foreach_fn)(unsigned long long user, unsigned long long slot);
// Sort over raw slots: sorts items[0 .. n) ascending by cmp.
typedef _Ret (*darray_sort_fn)(unsigned long long* items, unsigned int n, darray_cmp_fn cmp);

// ---- Pointer <-> slot conversion (the only place the rule lives) ----
// On a 32-bit target a pointer is sign-extended into the slot and read back
// from the low 32 bits; on a 64-bit target the slot holds the whole pointer.
inline unsigned long long ptr_to_slot(const void* p) {
#if UINTPTR_MAX == 0xFFFFFFFFu
  return (unsigned long long)(long long)(int32_t)(uintptr_t)p;
#else
  return (unsigned long long)(uintptr_t)p;
#endif
}
inline void* slot_to_ptr(unsigned long long slot) {
#if UINTPTR_MAX == 0xFFFFFFFFu
  return (void*)(uintptr_t)(uint32_t)slot;
#else
  return (void*)(uintptr_t)slot;
#endif
}
// Typed form of slot_to_ptr: slot_as<_str_buffer_t>(slot).
template <typename T>
inline T* slot_as(unsigned long long slot) {
  return static_cast<T*>(slot_to_ptr(slot));
}

// ---- Comparators ----
// Unsigned 64-bit three-way comparison: exactly -1, 0 or 1.
int comp(unsigned long long a, unsigned long long b);
// Difference of the low 24 bits of the two values (doc ids of packed
// postings); bits above bit 23 are ignored.
int docid_cmp(unsigned long long a, unsigned long long b);

struct _DArray {
  unsigned long long* items;  // slot storage; never null after creation
  unsigned int count;         // slots in use
  unsigned int capacity;      // slots the storage is declared to hold
  bool free_data;             // false: the release callback is never called
  darray_free_fn free_func;   // release callback, may be null
};

// Allocates an array of capacity 8. Null if an allocation fails.
_DArray* darray_create(darray_free_fn free_func, bool free_data);
// Releases every slot, frees the storage and the header. Null is ignored.
void darray_destroy(_DArray* arr);
// Same, for use as the release callback of an array of arrays.
void darray_destroy(void* arr);
// Frees the storage and the header without releasing any slot.
void pointer_destory(_DArray* arr);

// Makes room for k more slots: when count + k exceeds the capacity, the
// capacity becomes 2 * capacity + 8 (one zeroed spare slot is kept beyond it).
// RET_NOMEM leaves the array unchanged.
_Ret darray_expand(_DArray* arr, unsigned int k);
// Makes room for k more slots in one step: the capacity becomes count + k
// when that is more than it was (one zeroed spare slot beyond it, as after
// every growth), so a list filled to a known size is grown once. RET_NOMEM
// leaves the array unchanged.
_Ret darray_reserve(_DArray* arr, unsigned int k);

_Ret darray_append(_DArray* arr, unsigned long long value);
_Ret darray_append(_DArray* arr, const void* ptr);
// Index is clamped to count.
_Ret darray_insert(_DArray* arr, unsigned int index, unsigned long long value);
_Ret darray_prepend(_DArray* arr, unsigned long long value);
// Releases the slot and moves the tail down; index >= count is ignored (RET_OK).
_Ret darray_delete(_DArray* arr, unsigned int index);
// Ranged delete: releases [index, index + n) and moves only the n slots that
// follow down (not the whole tail). n < 1 or index >= count: RET_OK, nothing.
_Ret darray_delete(_DArray* arr, unsigned int index, int n);
// RET_INVALID when out is null or index >= count.
_Ret darray_get_by_index(_DArray* arr, unsigned int index, unsigned long long* out);
// The slot, or 0 for a null array / storage or an index out of range.
unsigned long long darray_get_by_index(const _DArray* arr, unsigned int index);
// Overwrites without releasing the old value; RET_INVALID when index >= count.
_Ret darray_set_by_index(_DArray* arr, unsigned int index, unsigned long long value);
_Ret darray_set_by_index(_DArray* arr, unsigned int index, const void* ptr);
// count, or 0 for a null array.
unsigned int darray_length(const _DArray* arr);
// Calls fn(user, slot) in index order; returns RET_STOP / RET_NOMEM when a
// call returned it (the walk ends), else RET_OK. RET_INVALID for a null fn.
_Ret darray_foreach(_DArray* arr, darray_foreach_fn fn, unsigned long long user);
// First index i with cmp(key, slot[i]) == 0, or -1.
int darray_find(const _DArray* arr, darray_cmp_fn cmp, unsigned long long key);
// Last such index (scanning downwards), or -1.
int darray_rever_find(const _DArray* arr, darray_cmp_fn cmp, unsigned long long key);
// Binary search over the first min(n, count) slots; note the argument order
// of the comparator here: cmp(slot, key). Index or -1.
int darray_bin_search(const _DArray* arr, unsigned int n, unsigned long long key,
                      darray_cmp_fn cmp);

// Sorts all count slots with sortfn; RET_INVALID if any argument is null,
// otherwise sortfn's result.
_Ret darray_sort(_DArray* arr, darray_sort_fn sortfn, darray_cmp_fn cmp);
// Sort the first n slots (n is trusted to be <= count). RET_INVALID for a null
// array or comparator; RET_OK at once for n < 2. Which of two equal slots comes
// first differs between them and matters to callers.
_Ret darray_bubble_sort(_DArray* arr, unsigned int n, darray_cmp_fn cmp);  // selection from the back
_Ret darray_quick_sort(_DArray* arr, unsigned int n, darray_cmp_fn cmp);
_Ret darray_merge_sort(_DArray* arr, unsigned int n, darray_cmp_fn cmp);   // stable; RET_NOMEM
_Ret darray_shell_sort(_DArray* arr, unsigned int n, darray_cmp_fn cmp);
_Ret darray_shell_sort(_DArray* arr, darray_cmp_fn cmp);                   // all count slots

// The same four algorithms over raw slots, usable as darray_sort's sortfn.
_Ret items_bubble_sort(unsigned long long* items, unsigned int n, darray_cmp_fn cmp);
_Ret items_quick_sort(unsigned long long* items, unsigned int n, darray_cmp_fn cmp);
_Ret items_merge_sort(unsigned long long* items, unsigned int n, darray_cmp_fn cmp);
_Ret items_shell_sort(unsigned long long* items, unsigned int n, darray_cmp_fn cmp);

// Removes adjacent duplicates (the first of each run survives, the others are
// released) and then every zero slot, keeping order.
_Ret darray_uniq(_DArray* arr, darray_cmp_fn cmp);
// When capacity > 8 and count < capacity / 2, reallocates to
// count + 8 + count / 2 slots. Never automatic. RET_NOMEM leaves it unchanged.
_Ret darray_shrink(_DArray* arr);
// Releases and zeroes every slot, count = 0; keeps the storage.
_Ret darray_clean(_DArray* arr);
// Calls the release callback for one slot if free_data is set, the callback is
// present and the slot holds a non-null pointer.
void darray_release_slot(const _DArray* arr, unsigned long long slot);

// The same container embedded by value. Members forward to darray_* and have
// the same results; they never test `this`. The destructor frees the storage
// (an ArrayList releases no slot: free_data is never set) and zeroes
// items / count / capacity. add() and get() are inline: results append and
// read one slot per hit.
class ArrayList : public _DArray {
 public:
  explicit ArrayList(darray_free_fn free_func = nullptr);
  ~ArrayList();
  ArrayList(const ArrayList&) = delete;
  ArrayList& operator=(const ArrayList&) = delete;

  bool valid() const { return items != nullptr; }
  _Ret expand(unsigned int n) { return darray_expand(this, n); }
  _Ret reserve(unsigned int n) { return darray_reserve(this, n); }
  _Ret add(unsigned long long value) {
    if (count < capacity) {
      items[count++] = value;
      return RET_OK;
    }
    return darray_append(this, value);
  }
  _Ret add(const void* ptr) { return add(ptr_to_slot(ptr)); }
  _Ret insert(unsigned int index, unsigned long long value) { return darray_insert(this, index, value); }
  _Ret remove(unsigned int index) { return darray_delete(this, index); }
  _Ret remove(unsigned int index, int n) { return darray_delete(this, index, n); }
  _Ret get(unsigned int index, unsigned long long* out) { return darray_get_by_index(this, index, out); }
  unsigned long long get(unsigned int index) const { return index < count ? items[index] : 0; }
  _Ret set(unsigned int index, unsigned long long value) { return darray_set_by_index(this, index, value); }
  _Ret set(unsigned int index, const void* ptr) { return darray_set_by_index(this, index, ptr); }
  unsigned int length() const { return count; }
  _Ret foreach(darray_foreach_fn fn, unsigned long long user) { return darray_foreach(this, fn, user); }
  int find(darray_cmp_fn cmp, unsigned long long key) const { return darray_find(this, cmp, key); }
  int reverFind(darray_cmp_fn cmp, unsigned long long key) const { return darray_rever_find(this, cmp, key); }
  _Ret sort(darray_sort_fn sortfn, darray_cmp_fn cmp) { return darray_sort(this, sortfn, cmp); }
  _Ret sortBubble(unsigned int n, darray_cmp_fn cmp) { return darray_bubble_sort(this, n, cmp); }
  _Ret sortQuick_(unsigned int n, darray_cmp_fn cmp) { return darray_quick_sort(this, n, cmp); }
  _Ret mergeSort(unsigned int n, darray_cmp_fn cmp) { return darray_merge_sort(this, n, cmp); }
  _Ret sortShell(unsigned int n, darray_cmp_fn cmp) { return darray_shell_sort(this, n, cmp); }
  _Ret sortShell(darray_cmp_fn cmp) { return darray_shell_sort(this, cmp); }
  int searchBin(unsigned int n, unsigned long long key, darray_cmp_fn cmp) const {
    return darray_bin_search(this, n, key, cmp);
  }
  _Ret uniq(darray_cmp_fn cmp) { return darray_uniq(this, cmp); }
  _Ret shrink() { return darray_shrink(this); }
  _Ret clear() { return darray_clean(this); }
  void destroyData(unsigned long long slot) { darray_release_slot(this, slot); }
};

}  // namespace mobile_search

#endif  // KS_FOUNDATION_DYNAMIC_ARRAY_H_
