// DirtyMap: which bytes of one mapped file may differ from the file on disk.
//
// The mapping is cut into 4 KiB chunks; each chunk keeps one byte interval
// [lo, hi) that covers every change made in it since its last write-back.
// Marking is exact for appends (consecutive records extend the interval);
// clearing a range that covers only the middle of an interval keeps the whole
// interval, which is safe: rewriting bytes that equal the file changes nothing.
//
// Threads: none inside; owned by an MMapFile and used under its owner's lock.
// Failures: none visible; when reset() cannot allocate its chunk table the
// map stops tracking and reports every byte dirty, so write-back falls back
// to whole ranges instead of losing changes.
#ifndef KS_STORAGE_DIRTY_MAP_H_
#define KS_STORAGE_DIRTY_MAP_H_

#include <cstdint>
#include <vector>

namespace mobile_search {

class DirtyMap {
 public:
  static constexpr uint32_t kChunkBits = 12;
  static constexpr uint32_t kChunkSize = 1u << kChunkBits;

  // Forgets all marks and covers `size` bytes.
  void reset(uint32_t size);
  // [off, off + n) changed in memory; clipped to the covered size.
  void mark(uint32_t off, uint32_t n);
  // [off, off + n) was written back; only whole intervals or their ends clear.
  void clear(uint32_t off, uint32_t n);
  bool any() const { return untracked_ || dirtyChunks_ != 0; }

  // Calls write(off, n) for every maximal run of dirty bytes inside
  // [off, off + n), in ascending order, and clears each run it succeeds
  // on. Returns false at the first failed write (the rest stays dirty).
  template <typename WriteFn>
  bool flush(uint32_t off, uint32_t n, WriteFn write);

 private:
  struct Span {
    uint16_t lo;
    uint16_t hi;  // lo == hi: clean; hi may be kChunkSize
  };
  // Limits [off, off + n) to the covered size; false when nothing remains.
  bool clip(uint32_t& off, uint32_t& n) const;
  void clearChunk(uint32_t c, uint32_t lo, uint32_t hi);

  uint32_t size_ = 0;
  bool untracked_ = false;
  std::vector<Span> spans_;
  uint32_t dirtyChunks_ = 0;
  uint32_t firstDirty_ = 0;  // chunk bounds that contain every dirty chunk
  uint32_t lastDirty_ = 0;
};

template <typename WriteFn>
bool DirtyMap::flush(uint32_t off, uint32_t n, WriteFn write) {
  if (untracked_) return !clip(off, n) || write(off, n);
  if (dirtyChunks_ == 0 || !clip(off, n)) return true;
  uint32_t end = off + n;
  uint32_t first = off >> kChunkBits;
  uint32_t last = (end - 1) >> kChunkBits;
  if (first < firstDirty_) first = firstDirty_;
  if (last > lastDirty_) last = lastDirty_;
  uint32_t runStart = 0, runEnd = 0;
  bool inRun = false;
  for (uint32_t c = first; c <= last && c < spans_.size(); ++c) {
    const Span s = spans_[c];
    if (s.lo == s.hi) continue;
    uint32_t base = c << kChunkBits;
    uint32_t a = base + s.lo > off ? base + s.lo : off;
    uint32_t b = base + s.hi < end ? base + s.hi : end;
    if (a >= b) continue;
    if (inRun && a == runEnd) {
      runEnd = b;
      continue;
    }
    if (inRun) {
      if (!write(runStart, runEnd - runStart)) return false;
      clear(runStart, runEnd - runStart);
    }
    runStart = a;
    runEnd = b;
    inRun = true;
  }
  if (inRun) {
    if (!write(runStart, runEnd - runStart)) return false;
    clear(runStart, runEnd - runStart);
  }
  return true;
}

}  // namespace mobile_search

#endif  // KS_STORAGE_DIRTY_MAP_H_
