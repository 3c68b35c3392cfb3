#include "storage/postings_directory.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <new>

#include "storage/block_files.h"
#include "storage/byte_order.h"

namespace mobile_search {

namespace {

const unsigned int kRec = 11;  // _idx2_unit_t::kSize
const unsigned int kFullFile = 1u << 21;

unsigned int SignAt(const unsigned char* base, unsigned int i) { return DecodeFixed32(base + i * kRec); }
unsigned int DocAt(const unsigned char* base, unsigned int i) { return DecodeFixed32(base + i * kRec + 4); }

// First record in [lo, hi) whose sign is >= sign (hi when none), looked for
// from record `guess` in [lo, hi): galloping away from it, then halving.
unsigned int SearchSign(const unsigned char* base, unsigned int lo, unsigned int hi, unsigned int guess,
                        unsigned int sign) {
  if (lo >= hi) return lo;
  // The answer lies in [lo, hi]; narrow that around the guess.
  unsigned int step = 1;
  if (SignAt(base, guess) < sign) {
    lo = guess + 1;
    while (step <= hi - lo) {
      const unsigned int probe = lo + step - 1;
      if (SignAt(base, probe) >= sign) {
        hi = probe;
        break;
      }
      lo = probe + 1;
      step <<= 1;
    }
  } else {
    hi = guess;
    while (step <= hi - lo) {
      const unsigned int probe = hi - step;
      if (SignAt(base, probe) < sign) {
        lo = probe + 1;
        break;
      }
      hi = probe;
      step <<= 1;
    }
  }
  while (lo < hi) {
    const unsigned int mid = lo + (hi - lo) / 2;
    if (SignAt(base, mid) < sign) {
      lo = mid + 1;
    } else {
      hi = mid;
    }
  }
  return lo;
}

// The records [*from, *to) between sample j - 1 and sample j, where a sign
// whose first sample not below it is sample j starts (or would be).
void SpanOf(size_t j, unsigned int* from, unsigned int* to) {
  *from = j == 0 ? 0 : static_cast<unsigned int>((j - 1) * PostingsDirectory::kStride + 1);
  *to = std::min(kFullFile / kRec, static_cast<unsigned int>(j * PostingsDirectory::kStride));
}

// Where in the records [from, to) after sample j - 1 the first sign >= `sign`
// should be: signs of several characters are hashed, so they spread evenly
// between two samples.
unsigned int GuessInSpan(const std::vector<unsigned int>& samples, size_t j, unsigned int from, unsigned int to,
                         unsigned int sign) {
  if (from >= to) return from;
  if (j == 0 || j >= samples.size() || samples[j] <= samples[j - 1]) return from + (to - from) / 2;
  const unsigned long long at = static_cast<unsigned long long>(sign - samples[j - 1]) * (to - from) /
                                (samples[j] - samples[j - 1]);
  return from + static_cast<unsigned int>(std::min<unsigned long long>(at, to - from - 1));
}

}  // namespace

void PostingsDirectory::clear() {
  std::vector<SealedFile>().swap(sealed_);
  active_.clear();
  activeIndexed_.store(0, std::memory_order_relaxed);
  activeFile_ = -1;
  activeMinDoc_ = 0xFFFFFFFFu;
  contentLen_ = 0;
  maxDoc_ = 0;
  docOrdered_ = true;
  ok_ = false;
}

void PostingsDirectory::noteDoc(unsigned int docid) {
  if (docid > maxDoc_) maxDoc_ = docid;
}

bool PostingsDirectory::addSealed(BlockFiles* store, int f, const unsigned char* copy) {
  unsigned int len = 0;
  const unsigned char* base = static_cast<const unsigned char*>(store->getBlockAddress(f, len));
  if (base == nullptr || len != kFullFile || f != static_cast<int>(sealed_.size())) return false;
  if (copy != nullptr) base = copy;
  const unsigned int n = len / kRec;
  SealedFile file{0xFFFFFFFFu, 0, base[8], {}, {}};
  try {
    file.samples.reserve((n + kStride - 1) / kStride);
  } catch (const std::bad_alloc&) {
    return false;
  }
  unsigned int prevSign = 0, prevDoc = 0, runStart = 0;
  // Notes the run [runStart, end) when it is a long one.
  auto endRun = [&](unsigned int end) {
    if (end - runStart >= kStride) {
      file.longRuns.push_back(LongRun{prevSign, runStart, end, DocAt(base, runStart), prevDoc});
    }
    runStart = end;
  };
  for (unsigned int i = 0; i < n; ++i) {
    const unsigned int sign = SignAt(base, i), doc = DocAt(base, i);
    // The plain lookup binary-searches full files: one that is not sorted
    // would be read differently, so it makes the directory unusable.
    if (i > 0 && (sign < prevSign || (sign == prevSign && doc < prevDoc))) return false;
    if (i > 0 && sign != prevSign) {
      try {
        endRun(i);
      } catch (const std::bad_alloc&) {
        return false;
      }
    }
    if ((i > 0 && sign == prevSign && doc == prevDoc) || base[i * kRec + 8] != file.plainField ||
        base[i * kRec + 9] == 0) {
      file.plainField = -1;
    }
    if (i % kStride == 0) file.samples.push_back(sign);
    file.minDoc = std::min(file.minDoc, doc);
    file.maxDoc = std::max(file.maxDoc, doc);
    prevSign = sign;
    prevDoc = doc;
  }
  try {
    endRun(n);
    file.longRuns.shrink_to_fit();
  } catch (const std::bad_alloc&) {
    return false;
  }
  noteDoc(file.maxDoc);
  if (!sealed_.empty() && file.minDoc < sealed_.back().minDoc) docOrdered_ = false;
  try {
    sealed_.push_back(std::move(file));
  } catch (const std::bad_alloc&) {
    return false;
  }
  return true;
}

void PostingsDirectory::addActive(const unsigned char* base, unsigned int from, unsigned int to) {
  for (unsigned int i = from; i < to; ++i) active_.add(SignAt(base, i), i);
}

namespace {

// The bytes of data file f read into `buf`, or null when the file cannot be
// read whole or does not hold what is mapped (compared at three records).
const unsigned char* ReadFullFile(const char* dir, const char* name, int f, const unsigned char* mapped,
                                  std::vector<unsigned char>* buf) {
  if (dir == nullptr || name == nullptr) return nullptr;
  char path[4096];
  if (snprintf(path, sizeof(path), "%s/%s-%d", dir, name, f) >= static_cast<int>(sizeof(path))) return nullptr;
  const int fd = ::open(path, O_RDONLY);
  if (fd < 0) return nullptr;
  size_t got = 0;
  while (got < kFullFile) {
    const ssize_t n = pread(fd, buf->data() + got, kFullFile - got, static_cast<off_t>(got));
    if (n <= 0) break;
    got += static_cast<size_t>(n);
  }
  ::close(fd);
  if (got != kFullFile) return nullptr;
  const unsigned int last = (kFullFile / kRec - 1) * kRec;
  for (unsigned int at : {0u, last / 2 / kRec * kRec, last}) {
    if (memcmp(buf->data() + at, mapped + at, kRec) != 0) return nullptr;
  }
  return buf->data();
}

}  // namespace

void PostingsDirectory::build(BlockFiles* store, const char* dir, const char* name) {
  clear();
  if (store == nullptr) return;
  ok_ = true;
  std::vector<unsigned char> buf;
  for (int f = 0; f < store->blockNumber() && ok_; ++f) {
    unsigned int len = 0;
    const unsigned char* base = static_cast<const unsigned char*>(store->getBlockAddress(f, len));
    if (base == nullptr || len == 0) continue;
    if (len == kFullFile) {
      try {
        buf.resize(kFullFile);
      } catch (const std::bad_alloc&) {
        buf.clear();
      }
      const unsigned char* copy = buf.empty() ? nullptr : ReadFullFile(dir, name, f, base, &buf);
      ok_ = activeFile_ < 0 && addSealed(store, f, copy);
    } else {
      // Only the last file with content may be partly filled.
      ok_ = activeFile_ < 0 && f == sealedCount();
      activeFile_ = f;
      for (unsigned int i = 0; i < len / kRec; ++i) {
        noteDoc(DocAt(base, i));
        activeMinDoc_ = std::min(activeMinDoc_, DocAt(base, i));
      }
      addActive(base, 0, len / kRec);
      activeIndexed_.store(len / kRec, std::memory_order_release);
    }
  }
  contentLen_ = store->getContentLen();
}

void PostingsDirectory::noteAppend(BlockFiles* store, unsigned int offset, unsigned int docid) {
  if (!ok_) return;
  const int f = static_cast<int>(offset >> 21);
  if (f != activeFile_) {
    // The files before the new one have filled (and been sorted) since.
    for (int g = sealedCount(); g < f && ok_; ++g) ok_ = addSealed(store, g);
    active_.clear();
    activeIndexed_.store(0, std::memory_order_relaxed);
    activeFile_ = f;
    activeMinDoc_ = 0xFFFFFFFFu;
  }
  noteDoc(docid);
  activeMinDoc_ = std::min(activeMinDoc_, docid);
  contentLen_ = store->getContentLen();
}

bool PostingsDirectory::catchUp(BlockFiles* store) {
  if (activeFile_ < 0 || store == nullptr) return true;
  unsigned int len = 0;
  const unsigned char* base = static_cast<const unsigned char*>(store->getBlockAddress(activeFile_, len));
  const unsigned int want = base == nullptr ? 0 : len / kRec;
  if (activeIndexed_.load(std::memory_order_acquire) >= want) return active_.ok();
  std::lock_guard<std::mutex> hold(activeMutex_);
  const unsigned int have = activeIndexed_.load(std::memory_order_relaxed);
  if (have < want) {
    addActive(base, have, want);
    activeIndexed_.store(want, std::memory_order_release);
  }
  return active_.ok();
}

bool PostingsDirectory::usable(const BlockFiles* store) const {
  return ok_ && store != nullptr && store->getContentLen() == contentLen_ &&
         maxDoc_ <= 0xFFFFFFu;
}

const PostingsDirectory::LongRun* PostingsDirectory::longRun(int f, unsigned int sign) const {
  const std::vector<LongRun>& runs = sealed_[f].longRuns;
  const auto at = std::lower_bound(runs.begin(), runs.end(), sign,
                                   [](const LongRun& r, unsigned int s) { return r.sign < s; });
  return at != runs.end() && at->sign == sign ? &*at : nullptr;
}

PostingsDirectory::Run PostingsDirectory::findRun(int f, const unsigned char* base, unsigned int sign) const {
  const std::vector<unsigned int>& samples = sealed_[f].samples;
  const unsigned int n = kFullFile / kRec;
  // The first sample not below the sign bounds the run's start to the
  // kStride records before it.
  const size_t j = std::lower_bound(samples.begin(), samples.end(), sign) - samples.begin();
  // A run of kStride records or more holds a sampled record: only a sign
  // that is sampled can have a long run, kept in the directory.
  if (j < samples.size() && samples[j] == sign) {
    if (const LongRun* r = longRun(f, sign)) return Run{r->lo, r->hi};
  }
  unsigned int from = 0, to = 0;
  SpanOf(j, &from, &to);
  const unsigned int lo = SearchSign(base, from, to, GuessInSpan(samples, j, from, to, sign), sign);
  // Not a long run: the run ends within kStride records of its start.
  unsigned int hi = lo;
  while (hi < n && SignAt(base, hi) == sign) ++hi;
  return Run{lo, hi};
}

void PostingsDirectory::prefetchRun(int f, const unsigned char* base, unsigned int sign) const {
  const std::vector<unsigned int>& samples = sealed_[f].samples;
  const size_t j = std::lower_bound(samples.begin(), samples.end(), sign) - samples.begin();
  if (j < samples.size() && samples[j] == sign) return;  // maybe a long run: no file read
  unsigned int from = 0, to = 0;
  SpanOf(j, &from, &to);
  if (from < to) __builtin_prefetch(base + static_cast<size_t>(GuessInSpan(samples, j, from, to, sign)) * kRec);
}

size_t PostingsDirectory::memoryBytes() const {
  size_t bytes = sealed_.capacity() * sizeof(SealedFile) + active_.memoryBytes();
  for (const SealedFile& f : sealed_) {
    bytes += f.samples.capacity() * sizeof(unsigned int) + f.longRuns.capacity() * sizeof(LongRun);
  }
  return bytes;
}

}  // namespace mobile_search
