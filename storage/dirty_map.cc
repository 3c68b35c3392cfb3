#include "storage/dirty_map.h"

namespace mobile_search {

void DirtyMap::reset(uint32_t size) {
  spans_.clear();
  dirtyChunks_ = 0;
  firstDirty_ = lastDirty_ = 0;
  size_ = size;
  untracked_ = false;
  uint32_t chunks = (size >> kChunkBits) + ((size & (kChunkSize - 1)) ? 1 : 0);
  try {
    spans_.assign(chunks, Span{0, 0});
  } catch (...) {
    spans_.clear();
    untracked_ = true;
  }
}

bool DirtyMap::clip(uint32_t& off, uint32_t& n) const {
  if (n == 0 || off >= size_) return false;
  if (n > size_ - off) n = size_ - off;
  return true;
}

void DirtyMap::mark(uint32_t off, uint32_t n) {
  if (untracked_ || !clip(off, n)) return;
  uint32_t end = off + n;
  for (uint32_t c = off >> kChunkBits; c <= (end - 1) >> kChunkBits; ++c) {
    uint32_t base = c << kChunkBits;
    uint32_t lo = off > base ? off - base : 0;
    uint32_t hi = end - base < kChunkSize ? end - base : kChunkSize;
    Span& s = spans_[c];
    if (s.lo == s.hi) {
      s.lo = static_cast<uint16_t>(lo);
      s.hi = static_cast<uint16_t>(hi);
      if (dirtyChunks_ == 0 || c < firstDirty_) firstDirty_ = c;
      if (dirtyChunks_ == 0 || c > lastDirty_) lastDirty_ = c;
      ++dirtyChunks_;
    } else {
      if (lo < s.lo) s.lo = static_cast<uint16_t>(lo);
      if (hi > s.hi) s.hi = static_cast<uint16_t>(hi);
    }
  }
}

void DirtyMap::clearChunk(uint32_t c, uint32_t lo, uint32_t hi) {
  Span& s = spans_[c];
  if (s.lo == s.hi || hi <= s.lo || lo >= s.hi) return;
  if (lo <= s.lo && hi >= s.hi) {
    s.lo = s.hi = 0;
    if (--dirtyChunks_ == 0) firstDirty_ = lastDirty_ = 0;
  } else if (lo <= s.lo) {
    s.lo = static_cast<uint16_t>(hi);
  } else if (hi >= s.hi) {
    s.hi = static_cast<uint16_t>(lo);
  }
  // A range strictly inside the interval keeps it whole (see header).
}

void DirtyMap::clear(uint32_t off, uint32_t n) {
  if (dirtyChunks_ == 0 || !clip(off, n)) return;
  uint32_t end = off + n;
  for (uint32_t c = off >> kChunkBits; c <= (end - 1) >> kChunkBits; ++c) {
    uint32_t base = c << kChunkBits;
    uint32_t lo = off > base ? off - base : 0;
    uint32_t hi = end - base < kChunkSize ? end - base : kChunkSize;
    clearChunk(c, lo, hi);
  }
}

}  // namespace mobile_search
