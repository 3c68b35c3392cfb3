// The machinery the list evaluator's forward and reversed evaluations share:
// a query's view of a group's postings (the sealed files' runs through the
// postings directory, the active file's postings through its term index),
// the validity check of a posting, one term's postings probed by document,
// and the conjunction of several terms. Private to search/list_evaluator*.cc.
//
// Everything here reads the stores and allocates with std containers: a
// failed allocation throws std::bad_alloc, which WithPostings turns into
// "use the plain evaluation". Threads: run under the group's shared lock.
#ifndef KS_SEARCH_LIST_POSTINGS_H_
#define KS_SEARCH_LIST_POSTINGS_H_

#include <algorithm>
#include <new>
#include <vector>

#include "foundation/dynamic_array.h"
#include "search/group_searcher.h"
#include "search/posting_run_search.h"
#include "storage/block_files.h"
#include "storage/doc_id_manager.h"
#include "storage/doc_state_table.h"
#include "storage/index_manager.h"
#include "storage/index_term.h"
#include "storage/postings_directory.h"

namespace mobile_search {
namespace list_eval {

typedef unsigned long long u64;
typedef PostingsDirectory::Run Run;

const unsigned int kUnknown = 0xFFFFFFFFu;  // a run not looked up yet
const unsigned long long kUncounted = ~0ull;  // a term's postings not counted
const unsigned int kFileRecords = (1u << 21) / kPostingRecordSize;
const unsigned long long kFewCandidates = 64;  // see CountTerms

// A posting's (doc id, field) as one number: ordered by doc id, then field.
inline unsigned int DocField(unsigned int doc, unsigned char field) { return (doc << 8) | field; }

// index_valify, answered from the dense document states where they cover the
// document, with the table and field decision cached per (table, field).
class Validity {
 public:
  Validity(DocIdManager* docs, _DArray* tables, int restriction)
      : docs_(docs),
        tables_(tables),
        allFields_(restriction == -1),
        state_(docs->docState()),
        cache_(static_cast<size_t>(state_.paletteSize()) * 257, -1) {}

  // True when index_valify drops a posting of `doc` in `field`.
  bool drop(unsigned int doc, unsigned char field) {
    const int fieldArg = allFields_ ? field : -1;
    const unsigned char s = state_.state(doc);
    if (s == DocStateTable::kUncovered) return GroupSearcher::index_valify(docs_, doc, fieldArg, tables_);
    if ((s & DocStateTable::kDeletedBit) != 0) return true;
    if (tables_ == nullptr) return false;
    const unsigned int p = s & 0x7F;
    signed char& c = cache_[p * 257 + (allFields_ ? field : 256)];
    if (c < 0) c = GroupSearcher::tableDrops(tables_, state_.tableOf(static_cast<unsigned char>(p)), fieldArg);
    return c != 0;
  }

 private:
  DocIdManager* docs_;
  _DArray* tables_;
  bool allFields_;
  const DocStateTable& state_;
  std::vector<signed char> cache_;
};

// Sorts nearly ordered values: insertion sort while it moves little, else
// std::sort.
template <typename T>
void SortNearlyOrdered(std::vector<T>& v) {
  size_t moves = 0;
  const size_t budget = 8 * v.size() + 64;
  for (size_t i = 1; i < v.size(); ++i) {
    const T x = v[i];
    size_t j = i;
    while (j > 0 && v[j - 1] > x) {
      v[j] = v[j - 1];
      --j;
      if (++moves > budget) {
        v[j] = x;
        std::sort(v.begin(), v.end());
        return;
      }
    }
    v[j] = x;
  }
}

// One query term: its runs in the sealed files (looked up on demand) and its
// postings in the active file (gathered on demand).
struct Term {
  unsigned int sign = 0;
  std::vector<Run> runs;
  std::vector<u64> active;  // DocField << 32 | record index, ascending
  bool activeLoaded = false;
  u64 total = kUncounted;
};

// The group's postings as one query sees them.
class Postings {
 public:
  Postings(IndexManager* index, const PostingsDirectory* dir, int restriction)
      : dir_(dir), restriction_(restriction) {
    BlockFiles* store = index->getStore();
    const int n = dir->sealedCount();
    bases_.resize(static_cast<size_t>(n));
    prefixMax_.resize(static_cast<size_t>(n));
    for (int f = 0; f < n; ++f) {
      unsigned int len = 0;
      bases_[f] = static_cast<const unsigned char*>(store->getBlockAddress(f, len));
      prefixMax_[f] = std::max(f > 0 ? prefixMax_[f - 1] : 0u, dir->maxDoc(f));
    }
    if (dir->activeFile() >= 0) {
      unsigned int len = 0;
      activeBase_ = static_cast<const unsigned char*>(store->getBlockAddress(dir->activeFile(), len));
    }
  }

  bool ok() const {
    for (const unsigned char* b : bases_) {
      if (b == nullptr) return false;
    }
    return dir_->activeFile() < 0 || activeBase_ != nullptr;
  }
  bool fieldOk(unsigned char field) const { return restriction_ == -1 || restriction_ == field; }
  int files() const { return static_cast<int>(bases_.size()); }
  const unsigned char* base(int f) const { return bases_[f]; }
  int activeFile() const { return dir_->activeFile(); }
  int dirPlainField(int f) const { return dir_->plainField(f); }
  bool docOrdered() const { return dir_->docOrdered(); }
  unsigned int minDoc(int f) const { return dir_->minDoc(f); }
  unsigned int activeMinDoc() const { return dir_->activeFile() < 0 ? 0xFFFFFFFFu : dir_->activeMinDoc(); }
  const PostingsDirectory::LongRun* longRun(int f, unsigned int sign) const { return dir_->longRun(f, sign); }
  const unsigned char* activeBase() const { return activeBase_; }

  void init(Term& t, unsigned int sign) {
    t.sign = sign;
    t.runs.assign(bases_.size(), Run{kUnknown, kUnknown});
  }
  void prefetchRun(const Term& t, int f) const {
    if (t.runs[f].lo == kUnknown) dir_->prefetchRun(f, bases_[f], t.sign);
  }
  Run run(Term& t, int f) {
    Run& r = t.runs[f];
    if (r.lo == kUnknown) r = dir_->findRun(f, bases_[f], t.sign);
    return r;
  }
  u64 activeCount(const Term& t) const { return dir_->active().count(t.sign); }
  // Postings of the term, all fields: runs of every file plus the active
  // ones; once the count passes `cap` it stops there (t.total is then a
  // lower bound above cap).
  u64 total(Term& t, u64 cap) {
    u64 sum = activeCount(t);
    const int ahead = 8;  // files whose lookups are under way together
    for (int f = 0; f < files() && f < ahead; ++f) prefetchRun(t, f);
    for (int f = 0; f < files() && sum <= cap; ++f) {
      if (f + ahead < files()) prefetchRun(t, f + ahead);
      const Run r = run(t, f);
      sum += r.hi - r.lo;
    }
    t.total = sum;
    return sum;
  }
  // fn(record, file, index) for every posting of the restricted field(s)
  // whose doc id is at least `fromDoc`: the sealed files in order, each run
  // ascending, then the active file.
  template <typename Fn>
  void forEach(Term& t, Fn fn, unsigned int fromDoc = 0) {
    for (int f = 0; f < files(); ++f) {
      if (dir_->maxDoc(f) < fromDoc) continue;
      const Run r = run(t, f);
      for (unsigned int i = r.lo; i < r.hi; ++i) {
        const _idx2_unit_t* rec = RecordAt(bases_[f], i);
        if (fieldOk(rec->field()) && rec->docid() >= fromDoc) fn(rec, f, i);
      }
    }
    const ActiveTermIndex& active = dir_->active();
    for (unsigned int i = active.first(t.sign); i != ActiveTermIndex::kNone; i = active.next(i)) {
      const _idx2_unit_t* rec = RecordAt(activeBase_, i);
      if (fieldOk(rec->field()) && rec->docid() >= fromDoc) fn(rec, activeFile(), i);
    }
  }
  const std::vector<u64>& active(Term& t) {
    if (!t.activeLoaded) {
      const ActiveTermIndex& active = dir_->active();
      for (unsigned int i = active.first(t.sign); i != ActiveTermIndex::kNone; i = active.next(i)) {
        const _idx2_unit_t* rec = RecordAt(activeBase_, i);
        if (fieldOk(rec->field())) t.active.push_back(static_cast<u64>(DocField(rec->docid(), rec->field())) << 32 | i);
      }
      SortNearlyOrdered(t.active);  // append order is nearly doc-id order
      t.activeLoaded = true;
    }
    return t.active;
  }
  // The doc ids [*lo, *hi] that sealed file f alone can hold (with the
  // files' doc ranges ordered); false when there are none.
  bool soleRange(int f, unsigned int* lo, unsigned int* hi) const {
    if (!dir_->docOrdered() || f < 0 || f >= files()) return false;
    if (f > 0 && prefixMax_[f - 1] == 0xFFFFFFFFu) return false;
    if (f + 1 < files() && dir_->minDoc(f + 1) == 0) return false;
    *lo = std::max(dir_->minDoc(f), f > 0 ? prefixMax_[f - 1] + 1 : 0u);
    *hi = f + 1 < files() ? std::min(dir_->maxDoc(f), dir_->minDoc(f + 1) - 1) : dir_->maxDoc(f);
    return *lo <= *hi;
  }
  // fn(f) for every sealed file whose doc-id range holds `doc`, last file
  // first. `hint` (may be null) carries the search from one call to the next
  // when the doc ids given do not decrease.
  template <typename Fn>
  void filesOf(unsigned int doc, Fn fn, int* hint = nullptr) const {
    if (!dir_->docOrdered()) {
      for (int f = files() - 1; f >= 0; --f) {
        if (dir_->minDoc(f) <= doc && doc <= dir_->maxDoc(f)) fn(f);
      }
      return;
    }
    // The last file starting at or below doc, then back while an earlier
    // file can still reach it.
    int lo = hint != nullptr ? *hint : 0;
    if (lo > 0 && dir_->minDoc(lo - 1) > doc) lo = 0;
    if (hint != nullptr) {
      while (lo < files() && dir_->minDoc(lo) <= doc) ++lo;
      *hint = lo;
    } else {
      int hi = files();
      while (lo < hi) {
        const int mid = lo + (hi - lo) / 2;
        if (dir_->minDoc(mid) <= doc) {
          lo = mid + 1;
        } else {
          hi = mid;
        }
      }
    }
    for (int f = lo - 1; f >= 0 && prefixMax_[f] >= doc; --f) {
      if (dir_->maxDoc(f) >= doc) fn(f);
    }
  }

 private:
  const PostingsDirectory* dir_;
  int restriction_;
  std::vector<const unsigned char*> bases_;
  std::vector<unsigned int> prefixMax_;
  const unsigned char* activeBase_ = nullptr;
};

inline doc_union_t PostingOf(const _idx2_unit_t* rec) {
  return doc_union_t::make(rec->docid(), rec->field(), rec->weight(), rec->bits());
}

// Rank of each field in the filter (first occurrence), 255 when absent;
// false when the filter holds an id a posting's field byte cannot equal.
bool FilterRanks(const _DArray* filter, unsigned char rank[256]);

// The postings of one term looked up by ascending (doc id, field) keys: per
// sealed file a position in the term's run that only moves forward, so a
// sorted batch of keys costs about a merge with the term's postings, not a
// binary search each.
class TermProbe {
 public:
  TermProbe(Postings& src, Term& t) : src_(src), t_(t), at_(static_cast<size_t>(src.files()), kUnknown) {}

  // fn(file, record index) for every posting of (doc id, field) `key`; keys
  // must not decrease from one call to the next.
  // With `first`, stops at the first posting found (fn's answer is then
  // all that matters). Returns whether one was found.
  template <typename Fn>
  bool find(unsigned int key, Fn fn, bool first = false) {
    const unsigned int doc = key >> 8;
    const unsigned char field = static_cast<unsigned char>(key);
    bool found = false;
    auto inFile = [&](int f) {
      if (found && first) return;
      const Run r = src_.run(t_, f);
      unsigned int& at = at_[f];
      if (at == kUnknown) {
        // The first seek in this file: a long run's ends are known without
        // reading them.
        const PostingsDirectory::LongRun* lr =
            r.hi - r.lo >= PostingsDirectory::kStride ? src_.longRun(f, t_.sign) : nullptr;
        at = lr != nullptr ? SeekDocInRun(src_.base(f), r.lo, r.hi, doc, lr->firstDoc, lr->lastDoc)
                           : SeekDoc(src_.base(f), r.lo, r.hi, doc);
      } else {
        at = SeekDoc(src_.base(f), at, r.hi, doc);
      }
      for (unsigned int i = at; i < r.hi; ++i) {
        const _idx2_unit_t* rec = RecordAt(src_.base(f), i);
        if (rec->docid() != doc) break;
        if (rec->field() == field) {
          found = true;
          fn(f, i);
          if (first) return;
        }
      }
    };
    if (doc >= soleLo_ && doc <= soleHi_) {
      inFile(soleFile_);
    } else {
      src_.filesOf(doc, inFile, &fileHint_);
      soleFile_ = fileHint_ - 1;
      if (!src_.soleRange(soleFile_, &soleLo_, &soleHi_)) soleLo_ = 1, soleHi_ = 0;
    }
    if (found && first) return true;
    const std::vector<u64>& act = src_.active(t_);
    const u64 from = static_cast<u64>(key) << 32;
    while (activeAt_ < act.size() && act[activeAt_] < from) ++activeAt_;
    for (size_t j = activeAt_; j < act.size() && (act[j] >> 32) == key; ++j) {
      found = true;
      fn(src_.activeFile(), static_cast<unsigned int>(act[j]));
      if (first) break;
    }
    return found;
  }
  bool holds(unsigned int key) {
    return find(key, [](int, unsigned int) {}, true);
  }

 private:
  Postings& src_;
  Term& t_;
  std::vector<unsigned int> at_;
  size_t activeAt_ = 0;
  int fileHint_ = 0;
  // Doc ids that only sealed file soleFile_ can hold (none when lo > hi).
  int soleFile_ = -1;
  unsigned int soleLo_ = 1, soleHi_ = 0;
};

// Keeps the candidates (sorted DocField keys) that term t also holds.
void Narrow(Postings& src, Term& t, std::vector<unsigned int>& cands);

// Counts the postings of the terms a query list is ordered by; false when
// one of them is absent. Counting every term in every file would cost terms
// x files. Terms of more than 4 bytes (several characters) have hashed
// signs, mostly above 2^24, and are the rare ones: a pair is no more
// frequent than either of its characters. Only they are counted then, the
// likely rarest first, each until it passes the smallest count so far
// (terms counted before keep their count), and none once that count is
// kFewCandidates or less; the others keep kUncounted and are probed, never
// walked whole. The smallest count is always exact.
bool CountTerms(Postings& src, std::vector<Term>& terms);

// The terms of a query list.
std::vector<Term> TermsOf(Postings& src, const _DArray* list);

// Several terms: the first term's valid postings whose (doc id, field) every
// other term holds, as (file << 32 | record index) ascending in `placed`;
// only documents from `fromDoc` on.
void Confirmed(Postings& src, Validity& validity, std::vector<Term>& terms, std::vector<u64>& placed,
               unsigned int fromDoc = 0);

// The record IndexManager::fullFileHit lands on for a term whose run in a
// sealed file is `r`: its binary search replayed on the run's bounds (the
// file is sorted by sign, so a record compares below the term before the
// run, above it after), without reading the file.
int FullFileHit(Run r, unsigned int count);

// Calls fn(record, file) for the postings of `placed` in getTerm's visit of the
// term `t`: file by file; in a sealed file from the record its binary search
// lands on upward, then downward; the active file in append order.
// With `backward`, exactly the reverse.
template <typename Fn>
void VisitPlaced(Postings& src, Term& t, const std::vector<u64>& placed, bool backward, Fn fn) {
  auto fileOf = [&placed](size_t j) { return static_cast<int>(placed[j] >> 32); };
  auto at = [&placed](size_t j) { return static_cast<unsigned int>(placed[j]); };
  // Files as [a, b) ranges of placed, forward or backward.
  std::vector<std::pair<size_t, size_t>> ranges;
  for (size_t a = 0; a < placed.size();) {
    size_t b = a;
    while (b < placed.size() && fileOf(b) == fileOf(a)) ++b;
    ranges.emplace_back(a, b);
    a = b;
  }
  if (backward) std::reverse(ranges.begin(), ranges.end());
  for (const auto& range : ranges) {
    const size_t a = range.first, b = range.second;
    const int f = fileOf(a);
    const unsigned char* base = f == src.activeFile() ? src.activeBase() : src.base(f);
    auto emit = [&](size_t j) { fn(RecordAt(base, at(j)), f); };
    if (f == src.activeFile()) {
      if (backward) {
        for (size_t j = b; j > a; --j) emit(j - 1);
      } else {
        for (size_t j = a; j < b; ++j) emit(j);
      }
      continue;
    }
    const unsigned int m = static_cast<unsigned int>(FullFileHit(src.run(t, f), kFileRecords));
    size_t split = a;
    while (split < b && at(split) < m) ++split;
    if (backward) {
      for (size_t j = a; j < split; ++j) emit(j);
      for (size_t j = b; j > split; --j) emit(j - 1);
    } else {
      for (size_t j = split; j < b; ++j) emit(j);
      for (size_t j = split; j > a; --j) emit(j - 1);
    }
  }
}

// A posting as a ranked hit: its weight becomes the sort weight of its match
// bits.
unsigned long long RankedHit(doc_union_t posting);

// Runs fn(src, validity) over the group's postings directory; false when
// there is none usable or memory ran out.
template <typename Fn>
bool WithPostings(IndexManager* index, DocIdManager* docs, int restriction, _DArray* tables, Fn fn) {
  if (index == nullptr || docs == nullptr) return false;
  const PostingsDirectory* dir = index->directory();
  if (dir == nullptr) return false;
  try {
    Postings src(index, dir, restriction);
    if (!src.ok()) return false;
    Validity validity(docs, tables, restriction);
    return fn(src, validity);
  } catch (const std::bad_alloc&) {
    return false;
  }
}

}  // namespace list_eval
}  // namespace mobile_search

#endif  // KS_SEARCH_LIST_POSTINGS_H_
