// StrBufferSlab: many small, read-only string buffers carved out of a few
// large blocks, all freed together with the slab.
//
// A search result holds one primary-key buffer per returned document, often
// tens of thousands; making each with str_buffer_create costs two heap
// allocations and two frees. A slab buffer is an ordinary _str_buffer_t
// (header, data, NUL, the zeroed margin) laid out inside a block, so readers
// cannot tell the two apart.
//
// Ownership: the slab owns every buffer it made. Such a buffer must never be
// passed to str_buffer_free and must never grow (appending past its capacity
// would free storage the slab owns); owns() tells a holder of mixed buffers
// which ones to free itself.
//
// Failures: create() returns null when the text does not fit the capacity or
// memory runs out; nothing throws. Threads: one thread at a time.
#ifndef KS_FOUNDATION_STRING_BUFFER_SLAB_H_
#define KS_FOUNDATION_STRING_BUFFER_SLAB_H_

#include <stddef.h>

#include "foundation/string_buffer.h"

namespace mobile_search {

class StrBufferSlab {
 public:
  // Every buffer gets capacity `capacity` (size capacity + 1), as
  // str_buffer_create(capacity) would give it.
  explicit StrBufferSlab(int capacity);
  ~StrBufferSlab();
  StrBufferSlab(const StrBufferSlab&) = delete;
  StrBufferSlab& operator=(const StrBufferSlab&) = delete;

  // Makes room for `n` more buffers in one block, so that a known number of
  // buffers costs one allocation. False when memory runs out (create() still
  // works, block by block).
  bool reserve(size_t n);

  // A buffer holding the `n` bytes at `s`, every other byte zero; null when
  // `n` is negative or above the capacity, or memory runs out.
  _str_buffer_t* create(const char* s, int n);

  // Whether `buf` was made by this slab.
  bool owns(const _str_buffer_t* buf) const;

 private:
  struct Block {
    unsigned char* base;
    size_t used;      // records handed out
    size_t capacity;  // records the block holds
  };
  static constexpr int kMaxBlocks = 40;

  bool addBlock(size_t records);

  int capacity_;
  size_t stride_;  // bytes per record, a multiple of the header's alignment
  Block blocks_[kMaxBlocks];
  int block_count_;
};

}  // namespace mobile_search

#endif  // KS_FOUNDATION_STRING_BUFFER_SLAB_H_
