#include "foundation/string_buffer_slab.h"

#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <new>

namespace mobile_search {

namespace {

// Records in the first block made without a reserve; later blocks double.
constexpr size_t kFirstBlock = 64;

size_t RoundUp(size_t n, size_t to) { return (n + to - 1) / to * to; }

}  // namespace

StrBufferSlab::StrBufferSlab(int capacity)
    : capacity_(capacity < 1 ? 1 : capacity),
      stride_(RoundUp(sizeof(_str_buffer_t) + static_cast<size_t>(capacity_) + 1 + kStrBufferMargin,
                      alignof(_str_buffer_t))),
      blocks_(),
      block_count_(0) {}

StrBufferSlab::~StrBufferSlab() {
  for (int i = 0; i < block_count_; ++i) free(blocks_[i].base);
}

bool StrBufferSlab::addBlock(size_t records) {
  if (block_count_ == kMaxBlocks || records == 0 || records > SIZE_MAX / stride_) return false;
  unsigned char* base = static_cast<unsigned char*>(malloc(records * stride_));
  if (base == nullptr) return false;
  blocks_[block_count_++] = Block{base, 0, records};
  return true;
}

bool StrBufferSlab::reserve(size_t n) {
  if (block_count_ > 0) {
    const Block& last = blocks_[block_count_ - 1];
    if (last.capacity - last.used >= n) return true;
  }
  return addBlock(n);
}

_str_buffer_t* StrBufferSlab::create(const char* s, int n) {
  if (n < 0 || n > capacity_ || (n > 0 && s == nullptr)) return nullptr;
  if (block_count_ == 0 || blocks_[block_count_ - 1].used == blocks_[block_count_ - 1].capacity) {
    const size_t next = block_count_ == 0 ? kFirstBlock : blocks_[block_count_ - 1].capacity * 2;
    if (!addBlock(next)) return nullptr;
  }
  Block& block = blocks_[block_count_ - 1];
  unsigned char* record = block.base + block.used++ * stride_;
  char* data = reinterpret_cast<char*>(record + sizeof(_str_buffer_t));
  const size_t bytes = static_cast<size_t>(capacity_) + 1 + kStrBufferMargin;
  if (n > 0) memcpy(data, s, static_cast<size_t>(n));
  memset(data + n, 0, bytes - static_cast<size_t>(n));
  return new (record) _str_buffer_t{data, capacity_ + 1, n};
}

bool StrBufferSlab::owns(const _str_buffer_t* buf) const {
  const uintptr_t p = reinterpret_cast<uintptr_t>(buf);
  for (int i = 0; i < block_count_; ++i) {
    const uintptr_t begin = reinterpret_cast<uintptr_t>(blocks_[i].base);
    if (p >= begin && p < begin + blocks_[i].used * stride_) return true;
  }
  return false;
}

}  // namespace mobile_search
