#include "text/highlight_positions.h"

#include <stdint.h>

namespace mobile_search {

namespace {

unsigned long long packRange(int start, int end) {
  return ((unsigned long long)(uint32_t)start << 32) | (uint32_t)end;
}

int rangeStart(unsigned long long slot) { return (int)(uint32_t)(slot >> 32); }
int rangeEnd(unsigned long long slot) { return (int)(uint32_t)slot; }

}  // namespace

int pushPosToArr(_DArray* arr, int start, int end) {
  if (arr == nullptr) return -1;
  return darray_append(arr, packRange(start, end)) == RET_OK ? 0 : -1;
}

int setPosToArr(_DArray* arr, int start, int end, int index) {
  if (arr == nullptr || index < 0) return -1;
  return darray_set_by_index(arr, (unsigned int)index, packRange(start, end)) == RET_OK ? 0 : -1;
}

int getPosFromArr(_DArray* arr, int& start, int& end, int index) {
  if (arr == nullptr) return -1;
  unsigned long long slot = index < 0 ? 0 : darray_get_by_index(arr, (unsigned int)index);
  start = rangeStart(slot);
  end = rangeEnd(slot);
  return 0;
}

int posCompare(unsigned long long a, unsigned long long b) {
  // Unsigned subtraction then conversion: offsets stay far below 2^31.
  return (int)((uint32_t)(a >> 32) - (uint32_t)(b >> 32));
}

int highlight_abs(int start, int end, _DArray* arr) { return pushPosToArr(arr, start, end); }

int mergePositions(_DArray* arr, int textLen) {
  if (arr == nullptr) return -1;
  const int n = (int)darray_length(arr);
  for (int i = 0; i < n; ++i) {
    int s = 0, e = 0;
    getPosFromArr(arr, s, e, i);
    if (s < 0 || s >= textLen || e <= s) {
      setPosToArr(arr, 0, 0, i);
    } else if (e > textLen) {
      setPosToArr(arr, s, textLen, i);
    }
  }
  darray_shell_sort(arr, posCompare);
  int cur = 0;
  for (int i = 1; i < n; ++i) {
    int s = 0, e = 0, cs = 0, ce = 0;
    getPosFromArr(arr, s, e, i);
    if (s == e) continue;
    getPosFromArr(arr, cs, ce, cur);
    if (s < cs) {
      setPosToArr(arr, 0, 0, i);
    } else if (e > ce && s <= ce) {
      setPosToArr(arr, cs, e, cur);
      setPosToArr(arr, 0, 0, i);
    } else if (s > ce) {
      cur = i;
    } else {
      setPosToArr(arr, 0, 0, i);
    }
  }
  return 0;
}

}  // namespace mobile_search
