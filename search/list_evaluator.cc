#include "search/list_evaluator.h"

#include <algorithm>
#include <new>
#include <vector>

#include "search/group_searcher.h"
#include "storage/block_files.h"
#include "storage/doc_id_manager.h"
#include "storage/doc_state_table.h"
#include "storage/index_manager.h"
#include "storage/postings_directory.h"
#include "text/token_rules.h"

namespace mobile_search {

namespace {

typedef unsigned long long u64;
typedef PostingsDirectory::Run Run;

const unsigned int kRec = _idx2_unit_t::kSize;
const unsigned int kUnknown = 0xFFFFFFFFu;  // a run not looked up yet
const unsigned long long kUncounted = ~0ull;  // a term's postings not counted
const unsigned int kFileRecords = (1u << 21) / kRec;

const _idx2_unit_t* RecordAt(const unsigned char* base, unsigned int i) {
  return reinterpret_cast<const _idx2_unit_t*>(base + static_cast<size_t>(i) * kRec);
}

// A posting's (doc id, field) as one number: ordered by doc id, then field.
unsigned int DocField(unsigned int doc, unsigned char field) { return (doc << 8) | field; }

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
  Run run(Term& t, int f) {
    Run& r = t.runs[f];
    if (r.lo == kUnknown) r = dir_->findRun(f, bases_[f], t.sign);
    return r;
  }
  // Postings of the term, all fields: runs of every file plus the active
  // ones; once the count passes `cap` it stops there (t.total is then a
  // lower bound above cap).
  u64 total(Term& t, u64 cap) {
    u64 sum = dir_->active().count(t.sign);
    for (int f = 0; f < files() && sum <= cap; ++f) {
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

doc_union_t PostingOf(const _idx2_unit_t* rec) {
  return doc_union_t::make(rec->docid(), rec->field(), rec->weight(), rec->bits());
}


// Rank of each field in the filter (first occurrence), 255 when absent;
// false when the filter holds an id a posting's field byte cannot equal.
bool FilterRanks(const _DArray* filter, unsigned char rank[256]) {
  for (int i = 0; i < 256; ++i) rank[i] = 255;
  const unsigned int n = darray_length(filter);
  for (unsigned int i = 0; i < n; ++i) {
    const long long id = static_cast<long long>(darray_get_by_index(filter, i));
    if (id < 0 || id > 254 || i > 254) return false;
    if (rank[id] == 255) rank[id] = static_cast<unsigned char>(i);
  }
  return true;
}

// One term: one hit per document, in doc-id order, from the posting of its
// best field (the lowest field id, or the one listed first in the filter).
bool SingleTerm(Postings& src, Validity& validity, unsigned int sign, const _DArray* filter, _DArray* hits) {
  unsigned char rank[256];
  if (filter != nullptr && !FilterRanks(filter, rank)) return false;
  Term t;
  src.init(t, sign);
  std::vector<u64> items;  // doc id (24) | field (8) | weight (8) | bits (8)
  bool plain = true;
  src.forEach(t, [&](const _idx2_unit_t* rec, int, unsigned int) {
    if (validity.drop(rec->docid(), rec->field())) return;
    // A weight of 0 reads as "no pending hit" in the cursor walk.
    if (rec->weight() == 0) plain = false;
    items.push_back(static_cast<u64>(rec->docid()) << 24 | static_cast<u64>(rec->field()) << 16 |
                    static_cast<u64>(rec->weight()) << 8 | rec->bits());
  });
  if (!plain) return false;
  SortNearlyOrdered(items);
  for (size_t i = 0; i < items.size();) {
    const u64 doc = items[i] >> 24;
    size_t best = i, j = i + 1;
    for (; j < items.size() && (items[j] >> 24) == doc; ++j) {
      // Two postings of one document and field: the cursor walk's choice
      // between them depends on the sort's order of equal doc ids.
      if ((items[j] >> 16) == (items[j - 1] >> 16)) return false;
      if (filter != nullptr && rank[(items[j] >> 16) & 0xFF] < rank[(items[best] >> 16) & 0xFF]) best = j;
    }
    if (filter != nullptr) {
      for (size_t k = i; k < j; ++k) {
        if (rank[(items[k] >> 16) & 0xFF] == 255) return false;  // a field the filter does not rank
      }
    }
    const u64 v = items[best];
    EmitRankedHit(doc_union_t::make(static_cast<unsigned int>(v >> 24), static_cast<unsigned char>(v >> 16),
                                    static_cast<unsigned char>(v >> 8), static_cast<unsigned char>(v)),
                  hits);
    i = j;
  }
  return true;
}

// First index in [lo, hi) of a run whose doc id is >= doc (hi when none).
unsigned int LowerDoc(const unsigned char* base, unsigned int lo, unsigned int hi, unsigned int doc) {
  while (lo < hi) {
    const unsigned int mid = lo + (hi - lo) / 2;
    if (RecordAt(base, mid)->docid() < doc) {
      lo = mid + 1;
    } else {
      hi = mid;
    }
  }
  return lo;
}

// LowerDoc from lo for a doc that may lie far ahead in a long run: the next
// three records are tried first (a near answer is the common case of a dense
// merge), then the doc is looked for where the doc ids at the ends of what
// is left put it. A term's documents are spread about evenly over its file's
// doc ids, so the guess lands near the answer and the search reads a few
// records around it rather than galloping on across the run (each step a
// cache miss).
unsigned int SeekDoc(const unsigned char* base, unsigned int lo, unsigned int hi, unsigned int doc) {
  if (lo >= hi || RecordAt(base, lo)->docid() >= doc) return lo;
  unsigned int below = lo, step = 1;  // docid(below) < doc
  for (int k = 0; k < 2; ++k, step <<= 1) {
    if (step >= hi - below) return LowerDoc(base, below + 1, hi, doc);
    if (RecordAt(base, below + step)->docid() >= doc) return LowerDoc(base, below + 1, below + step, doc);
    below += step;
  }
  const unsigned int first = RecordAt(base, below)->docid();
  const unsigned int last = RecordAt(base, hi - 1)->docid();
  if (last < doc) return hi;
  // docid(below) < doc <= docid(above): the answer is in (below, above].
  unsigned int above = hi - 1;
  const unsigned int guess =
      below + static_cast<unsigned int>(static_cast<u64>(doc - first) * (above - below) / (last - first));
  const unsigned int g = std::min(above, std::max(below + 1, guess));
  step = 1;
  if (RecordAt(base, g)->docid() < doc) {
    below = g;
    while (step < above - below) {
      if (RecordAt(base, below + step)->docid() >= doc) {
        above = below + step;
        break;
      }
      below += step;
      step <<= 1;
    }
  } else {
    above = g;
    while (step < above - below) {
      if (RecordAt(base, above - step)->docid() < doc) {
        below = above - step;
        break;
      }
      above -= step;
      step <<= 1;
    }
  }
  return LowerDoc(base, below + 1, above, doc);
}

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
      if (at == kUnknown) at = r.lo;
      at = SeekDoc(src_.base(f), at, r.hi, doc);
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
void Narrow(Postings& src, Term& t, std::vector<unsigned int>& cands) {
  TermProbe probe(src, t);
  size_t out = 0;
  for (const unsigned int key : cands) {
    if (probe.holds(key)) cands[out++] = key;
  }
  cands.resize(out);
}

// Whether a term's sign is hashed: a term of several characters.
bool IsLong(const Term& t) { return t.sign > 0xFFFFFFu; }

// Counts the postings of the terms a query list is ordered by; false when
// one of them is absent. Counting every term in every file would cost terms
// x files. Terms of more than 4 bytes (several characters) have hashed
// signs, mostly above 2^24, and are the rare ones: a pair is no more
// frequent than either of its characters. Only they are counted then, each
// until it passes the smallest count so far (terms counted before keep
// their count); the others keep kUncounted and are probed, never walked
// whole.
bool CountTerms(Postings& src, std::vector<Term>& terms) {
  const bool anyLong = std::any_of(terms.begin(), terms.end(), [](const Term& t) { return IsLong(t); });
  u64 least = ~0ull;
  for (Term& t : terms) {
    if (anyLong && !IsLong(t)) continue;
    if (t.total == kUncounted) src.total(t, least);
    if (t.total == 0) return false;
    least = std::min(least, t.total);
  }
  return true;
}

// The terms of a query list.
std::vector<Term> TermsOf(Postings& src, const _DArray* list) {
  std::vector<Term> terms(darray_length(list));
  for (size_t i = 0; i < terms.size(); ++i) {
    src.init(terms[i], static_cast<unsigned int>(darray_get_by_index(list, static_cast<unsigned int>(i))));
  }
  return terms;
}

// Several terms: the first term's valid postings whose (doc id, field) every
// other term holds, as (file << 32 | record index) ascending in `placed`;
// only documents from `fromDoc` on.
void Confirmed(Postings& src, Validity& validity, std::vector<Term>& terms, std::vector<u64>& placed,
               unsigned int fromDoc = 0) {
  const unsigned int n = static_cast<unsigned int>(terms.size());
  std::vector<unsigned int> order(n);
  for (unsigned int i = 0; i < n; ++i) order[i] = i;
  if (!CountTerms(src, terms)) return;  // one absent term: no hits
  std::stable_sort(order.begin(), order.end(),
                   [&terms](unsigned int a, unsigned int b) { return terms[a].total < terms[b].total; });
  // The rarest term proposes the (doc id, field) candidates: its runs are in
  // doc-id order file by file, so they come nearly sorted.
  std::vector<unsigned int> cands;
  src.forEach(terms[order[0]], [&](const _idx2_unit_t* rec, int, unsigned int) {
    if (!validity.drop(rec->docid(), rec->field())) cands.push_back(DocField(rec->docid(), rec->field()));
  }, fromDoc);
  SortNearlyOrdered(cands);
  cands.erase(std::unique(cands.begin(), cands.end()), cands.end());
  // The first term goes last: its probe also finds its postings.
  for (unsigned int k = 1; k < n && !cands.empty(); ++k) {
    if (order[k] != 0) Narrow(src, terms[order[k]], cands);
  }
  if (cands.empty()) return;
  if (order[0] == 0) {
    // The first term proposed the candidates: its postings on the survivors.
    size_t at = 0;
    src.forEach(terms[0], [&](const _idx2_unit_t* rec, int f, unsigned int i) {
      const unsigned int key = DocField(rec->docid(), rec->field());
      if (at > 0 && cands[at - 1] > key) at = 0;  // the postings went back (next file)
      at = std::lower_bound(cands.begin() + static_cast<long>(at), cands.end(), key) - cands.begin();
      if (at < cands.size() && cands[at] == key) placed.push_back(static_cast<u64>(f) << 32 | i);
    }, fromDoc);
  } else {
    TermProbe probe(src, terms[0]);
    for (const unsigned int key : cands) {
      probe.find(key, [&placed](int f, unsigned int i) { placed.push_back(static_cast<u64>(f) << 32 | i); });
    }
  }
  if (!std::is_sorted(placed.begin(), placed.end())) std::sort(placed.begin(), placed.end());
}

// The record IndexManager::fullFileHit lands on for a term whose run in a
// sealed file is `r`: its binary search replayed on the run's bounds (the
// file is sorted by sign, so a record compares below the term before the
// run, above it after), without reading the file.
int FullFileHit(Run r, unsigned int count) {
  int lo = 0, hi = static_cast<int>(count) - 1;
  while (lo <= hi) {
    const int mid = lo + (hi - lo) / 2;
    const unsigned int m = static_cast<unsigned int>(mid);
    if (m >= r.lo && m < r.hi) return mid;
    if (m < r.lo) {
      lo = mid + 1;
    } else {
      hi = mid - 1;
    }
  }
  return -1;
}

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

// Several terms: the first term's valid postings whose (doc id, field) every
// other term holds, in the order getTerm visits the first term.
bool SeveralTerms(Postings& src, Validity& validity, const _DArray* list, _DArray* hits) {
  std::vector<u64> placed;
  std::vector<Term> terms = TermsOf(src, list);
  Confirmed(src, validity, terms, placed);
  VisitPlaced(src, terms[0], placed, false,
              [hits](const _idx2_unit_t* rec, int) { EmitRankedHit(PostingOf(rec), hits); });
  return true;
}

// Counts documents per table id.
class TableCounter {
 public:
  explicit TableCounter(DocIdManager* docs) : docs_(docs), state_(docs->docState()) {}
  void add(unsigned int doc) {
    const unsigned char s = state_.state(doc);
    add(s == DocStateTable::kUncovered ? docs_->getTabMD5Id(static_cast<int>(doc)) : state_.tableOf(s & 0x7F), 1);
  }
  void add(unsigned int table, unsigned int n) {
    if (counts_.empty() || counts_[last_].first != table) {
      last_ = 0;
      while (last_ < counts_.size() && counts_[last_].first != table) ++last_;
      if (last_ == counts_.size()) counts_.emplace_back(table, 0);
    }
    counts_[last_].second += n;
  }
  const std::vector<std::pair<unsigned int, unsigned int>>& counts() const { return counts_; }

 private:
  DocIdManager* docs_;
  const DocStateTable& state_;
  std::vector<std::pair<unsigned int, unsigned int>> counts_;
  size_t last_ = 0;
};

unsigned long long RankedHit(doc_union_t posting) {
  unsigned char weight = posting.weight();
  TokenRules::mathSortWeight(weight, posting.bits());
  return doc_union_t::make(posting.docid(), posting.field(), weight, posting.bits()).value;
}

// Takes one document of the reversed order: the next position, kept when it
// falls in the window, counted per table.
inline void TakeDocument(ReversedWindow* w, TableCounter& tables, doc_union_t posting) {
  const long long pos = w->docs++;
  if (pos >= w->lo && pos < w->hi) w->hits.push_back(RankedHit(posting));
  tables.add(posting.docid());
}

// Several terms, reversed, for the documents from `fromDoc` on: the
// confirmed postings of the first term last to first, one per document (the
// first met), taken into the window and counted. Returns how many documents
// were taken before the first posting of a sealed file below `newest` (all
// of them when there is none).
unsigned long long NewestDocuments(Postings& src, Validity& validity, std::vector<Term>& terms, unsigned int fromDoc,
                                   int newest, ReversedWindow* w, TableCounter& tables) {
  std::vector<u64> placed;
  Confirmed(src, validity, terms, placed, fromDoc);
  // A document met again (another field) is skipped: the documents held
  // more than once, from their ids in placed order (nearly ascending).
  std::vector<unsigned int> docIds;
  docIds.reserve(placed.size());
  for (const u64 p : placed) {
    const int f = static_cast<int>(p >> 32);
    docIds.push_back(
        RecordAt(f == src.activeFile() ? src.activeBase() : src.base(f), static_cast<unsigned int>(p))->docid());
  }
  SortNearlyOrdered(docIds);
  std::vector<unsigned int> repeated;
  for (size_t i = 1; i < docIds.size(); ++i) {
    if (docIds[i] == docIds[i - 1] && (repeated.empty() || repeated.back() != docIds[i])) repeated.push_back(docIds[i]);
  }
  std::vector<char> taken(repeated.size(), 0);  // per entry of `repeated`
  auto firstMeeting = [&](unsigned int doc) {
    if (repeated.empty()) return true;
    const auto at = std::lower_bound(repeated.begin(), repeated.end(), doc);
    if (at == repeated.end() || *at != doc) return true;
    char& met = taken[static_cast<size_t>(at - repeated.begin())];
    if (met) return false;
    met = 1;
    return true;
  };
  unsigned long long prefix = ~0ull;
  VisitPlaced(src, terms[0], placed, true,
              [&](const _idx2_unit_t* rec, int f) {
                if (prefix == ~0ull && f < newest && f != src.activeFile()) prefix = w->docs;
                if (firstMeeting(rec->docid())) TakeDocument(w, tables, PostingOf(rec));
              });
  return prefix == ~0ull ? w->docs : prefix;
}

// Whether the documents below `fromDoc` lie in the sealed files before
// `newest` alone, files that hold each document once per term in one field
// and whose doc ranges follow each other: then they are counted file by
// file (OlderDocuments).
bool OlderFilesCountable(const Postings& src, int newest, unsigned int fromDoc) {
  if (fromDoc == 0 || !src.docOrdered() || src.activeMinDoc() < fromDoc) return false;
  for (int f = 0; f < newest; ++f) {
    if (src.dirPlainField(f) < 0) return false;
  }
  return true;
}

// Counts, without ordering them, the documents below `fromDoc` that every
// term holds in one field (valid ones, per table), from the sealed files
// before `newest` (see OlderFilesCountable). A document that only one file
// can hold is found there by merging the terms' runs, the shortest run
// proposing; the few that two files can hold (where a file ends) are
// proposed by the term with the fewest postings and probed like any
// candidate.
void OlderDocuments(Postings& src, Validity& validity, std::vector<Term>& terms, int newest, unsigned int fromDoc,
                    ReversedWindow* w, TableCounter& tables) {
  const size_t n = terms.size();
  std::vector<Run> runs(n);
  // The proposer of the shared documents: the term Confirmed found rarest
  // (totals are counted once, kUncounted is the largest).
  size_t g = 0;
  for (size_t i = 1; i < n; ++i) {
    if (terms[i].total < terms[g].total) g = i;
  }
  std::vector<unsigned int> shared;  // DocField keys of documents two files can hold
  std::vector<unsigned int> at(n);
  std::vector<size_t> checks;  // the terms other than the proposer, in checking order
  for (int f = 0; f < newest; ++f) {
    const unsigned char* base = src.base(f);
    const unsigned char field = static_cast<unsigned char>(src.dirPlainField(f));
    // Every document counted here holds the proposer in this file.
    runs[g] = src.run(terms[g], f);
    if (!src.fieldOk(field) || runs[g].hi == runs[g].lo) continue;
    size_t p = g;
    for (size_t i = 0; i < n; ++i) {
      if (i != g) runs[i] = src.run(terms[i], f);
      at[i] = runs[i].lo;
      if (runs[i].hi - runs[i].lo < runs[p].hi - runs[p].lo) p = i;
    }
    unsigned int lo = 1, hi = 0;
    if (!src.soleRange(f, &lo, &hi)) lo = 1, hi = 0;
    hi = std::min(hi, fromDoc - 1);
    // The proposer's documents outside [lo, hi]: at the ends of its run.
    auto share = [&](unsigned int j) {
      const unsigned int d = RecordAt(base, j)->docid();
      if (d < lo || d > hi) {
        if (d < fromDoc && !validity.drop(d, field)) shared.push_back(DocField(d, field));
        return true;
      }
      return false;
    };
    unsigned int first = runs[g].lo;
    while (first < runs[g].hi && share(first)) ++first;
    for (unsigned int k = runs[g].hi; k > first && share(k - 1);) --k;
    if (lo > hi || runs[p].hi == runs[p].lo) continue;
    // The other terms are checked shortest run first: the rarest ones turn
    // most candidates down (a pair of a query's characters), so the frequent
    // ones are galloped through only for the few that are left.
    checks.clear();
    for (size_t i = 0; i < n; ++i) {
      if (i != p) checks.push_back(i);
    }
    std::sort(checks.begin(), checks.end(), [&runs](size_t a, size_t b) {
      return runs[a].hi - runs[a].lo < runs[b].hi - runs[b].lo;
    });
    for (unsigned int j = LowerDoc(base, runs[p].lo, runs[p].hi, lo); j < runs[p].hi; ++j) {
      const unsigned int d = RecordAt(base, j)->docid();
      if (d > hi) break;
      if (validity.drop(d, field)) continue;
      bool all = true;
      for (size_t c = 0; c < checks.size() && all; ++c) {
        const size_t i = checks[c];
        at[i] = SeekDoc(base, at[i], runs[i].hi, d);
        all = at[i] < runs[i].hi && RecordAt(base, at[i])->docid() == d;
      }
      if (all) {
        ++w->docs;
        tables.add(d);
      }
    }
  }
  SortNearlyOrdered(shared);
  shared.erase(std::unique(shared.begin(), shared.end()), shared.end());
  for (size_t i = 0; i < n && !shared.empty(); ++i) {
    if (i != g) Narrow(src, terms[i], shared);
  }
  for (size_t i = 0; i < shared.size(); ++i) {
    if (i > 0 && (shared[i] >> 8) == (shared[i - 1] >> 8)) continue;  // the same document in another field
    ++w->docs;
    tables.add(shared[i] >> 8);
  }
}

// The newest sealed files whose postings of the term `t` (the rarest),
// with its active ones, number at least `want`: only they can fill a window
// that ends there. Their number of postings goes to `*got`.
int NewestFilesFor(Postings& src, Term& t, u64 want, u64* got) {
  u64 most = src.active(t).size();
  int f = src.files() - 1;
  for (; f >= 0; --f) {
    most += src.run(t, f).hi - src.run(t, f).lo;
    if (most >= want) break;
  }
  *got = most;
  return std::max(f, 0);
}

// Several terms, reversed: the confirmed postings of the first term last to
// first, one per document (the first met). The window is taken from the
// newest sealed files (as many as it needs, doubling while it is not full)
// and the documents below them are only counted, where their files allow it.
bool SeveralTermsReversed(Postings& src, Validity& validity, DocIdManager* docs, const _DArray* list,
                          ReversedWindow* w) {
  std::vector<Term> terms = TermsOf(src, list);
  const bool present = CountTerms(src, terms);
  Term& rarest = *std::min_element(terms.begin(), terms.end(),
                                   [](const Term& a, const Term& b) { return a.total < b.total; });
  const u64 end = static_cast<u64>(std::max(0ll, w->hi));
  // Fewer postings of the rarest term than the window's end: the window
  // needs every file.
  u64 covered = 0;
  int newest = present && rarest.total >= end ? NewestFilesFor(src, rarest, end, &covered) : 0;
  for (int attempt = 0;; ++attempt) {
    const unsigned int fromDoc = newest > 0 ? src.minDoc(newest) : 0;
    const bool split = newest > 0 && OlderFilesCountable(src, newest, fromDoc);
    w->hits.clear();
    w->docs = 0;
    TableCounter tables(docs);
    const unsigned long long prefix =
        NewestDocuments(src, validity, terms, split ? fromDoc : 0, split ? newest : 0, w, tables);
    if (split && prefix < end) {
      // Too few: once more with files enough for the share of the rarest
      // term's postings that were confirmed, else all of them.
      newest = attempt == 0 && prefix > 0 ? NewestFilesFor(src, rarest, end * covered / prefix + 1, &covered) : 0;
      if (newest < src.files() / 2) newest = 0;
      continue;
    }
    if (split) OlderDocuments(src, validity, terms, newest, fromDoc, w, tables);
    w->tables = tables.counts();
    return true;
  }
}

// One term, reversed: one hit per document from its best field, in
// descending doc-id order (the single-term order backwards). Walks the
// postings backwards; false when they are not in doc-id order file after
// file (the plain path then sorts them) or when SingleTerm would refuse.
// Once the window is full, the documents between the first and the last of
// a sealed file's run are only counted, a block of ids at a time, where the
// file holds each document once per term and the block's documents share
// one state.
bool SingleTermReversed(Postings& src, Validity& validity, DocIdManager* docs, unsigned int sign,
                        const _DArray* filter, ReversedWindow* w) {
  unsigned char rank[256];
  if (filter != nullptr && !FilterRanks(filter, rank)) return false;
  Term t;
  src.init(t, sign);
  TableCounter tables(docs);
  const DocStateTable& states = docs->docState();
  const unsigned int kNoDoc = 0xFFFFFFFFu;
  unsigned int doc = kNoDoc;    // document of `group`
  unsigned int floor = kNoDoc;  // smallest doc id met so far
  std::vector<doc_union_t> group;  // valid postings of `doc`
  // The document of `group` into the window: its best posting.
  auto flush = [&]() -> bool {
    size_t best = 0;
    for (size_t i = 0; i < group.size(); ++i) {
      for (size_t j = 0; j < i; ++j) {
        if (group[i].field() == group[j].field()) return false;  // as in SingleTerm
      }
      if (filter != nullptr) {
        if (rank[group[i].field()] == 255) return false;
        if (rank[group[i].field()] < rank[group[best].field()]) best = i;
      } else if (group[i].field() < group[best].field()) {
        best = i;
      }
    }
    TakeDocument(w, tables, group[best]);
    return true;
  };
  bool floorCounted = false;  // `floor`'s document was counted with its whole run
  auto take = [&](const _idx2_unit_t* rec) -> bool {
    const unsigned int d = rec->docid();
    // A document met again after its run was counted whole holds the term
    // twice: the plain path decides which posting wins.
    if (d > floor || (d == floor && floorCounted)) return false;
    floor = d;
    floorCounted = false;
    if (!src.fieldOk(rec->field()) || validity.drop(d, rec->field())) return true;
    if (rec->weight() == 0) return false;
    if (d != doc) {
      if (doc != kNoDoc && !flush()) return false;
      doc = d;
      group.clear();
    }
    group.push_back(PostingOf(rec));
    return true;
  };
  // Records [from, to) of sealed file f, documents each once, all before
  // `floor`: counted when their ids share one state, else taken one by one.
  auto count = [&](int f, unsigned int from, unsigned int to, unsigned char field) -> bool {
    const unsigned char* base = src.base(f);
    while (to > from) {
      const unsigned int top = RecordAt(base, to - 1)->docid();
      if (top >= floor) return false;
      const unsigned int blockStart = top & ~1023u;
      const unsigned int at = LowerDoc(base, from, to - 1, blockStart);
      const int state = states.uniformState(RecordAt(base, at)->docid(), top);
      if (state < 0 || state == DocStateTable::kUncovered) {
        for (unsigned int i = to; i > at; --i) {
          if (!take(RecordAt(base, i - 1))) return false;
        }
      } else {
        floor = RecordAt(base, at)->docid();
        if (src.fieldOk(field) && !validity.drop(floor, field)) {
          if (filter != nullptr && rank[field] == 255) return false;
          w->docs += to - at;
          tables.add(states.tableOf(static_cast<unsigned char>(state & 0x7F)), to - at);
        }
      }
      to = at;
    }
    return true;
  };
  const std::vector<u64>& act = src.active(t);  // (doc, field) order, restricted field(s) only
  for (size_t j = act.size(); j > 0; --j) {
    if (!take(RecordAt(src.activeBase(), static_cast<unsigned int>(act[j - 1])))) return false;
  }
  for (int f = src.files() - 1; f >= 0; --f) {
    const int field = src.dirPlainField(f);
    const bool full = static_cast<long long>(w->docs) >= w->hi;
    if (full && field >= 0 && src.fieldOk(static_cast<unsigned char>(field))) {
      // A long run whose documents all share one state is counted from the
      // directory alone, without reading the file.
      const PostingsDirectory::LongRun* lr = src.longRun(f, sign);
      const int state = lr == nullptr || lr->lastDoc >= floor ? -1 : states.uniformState(lr->firstDoc, lr->lastDoc);
      if (state >= 0 && state != DocStateTable::kUncovered) {
        if (doc != kNoDoc && !flush()) return false;
        doc = kNoDoc;
        floor = lr->firstDoc;
        floorCounted = true;
        if (!validity.drop(lr->firstDoc, static_cast<unsigned char>(field))) {
          if (filter != nullptr && rank[field] == 255) return false;
          w->docs += lr->hi - lr->lo;
          tables.add(states.tableOf(static_cast<unsigned char>(state & 0x7F)), lr->hi - lr->lo);
        }
        continue;
      }
    }
    const Run r = src.run(t, f);
    if (full && field >= 0 && r.hi - r.lo >= 3) {
      if (!take(RecordAt(src.base(f), r.hi - 1)) || !count(f, r.lo + 1, r.hi - 1, static_cast<unsigned char>(field)) ||
          !take(RecordAt(src.base(f), r.lo))) {
        return false;
      }
      continue;
    }
    for (unsigned int i = r.hi; i > r.lo; --i) {
      if (!take(RecordAt(src.base(f), i - 1))) return false;
    }
  }
  if (doc != kNoDoc && !flush()) return false;
  w->tables = tables.counts();
  return true;
}

}  // namespace

void EmitRankedHit(doc_union_t posting, _DArray* hits) { darray_append(hits, RankedHit(posting)); }

namespace {

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

}  // namespace

bool EvaluateList(IndexManager* index, DocIdManager* docs, const _DArray* list, int restriction,
                  const _DArray* filter, _DArray* tables, _DArray* hits) {
  if (hits == nullptr || darray_length(list) == 0) return false;
  const unsigned int before = darray_length(hits);
  const bool done = WithPostings(index, docs, restriction, tables, [&](Postings& src, Validity& validity) {
    return darray_length(list) == 1
               ? SingleTerm(src, validity, static_cast<unsigned int>(darray_get_by_index(list, 0)), filter, hits)
               : SeveralTerms(src, validity, list, hits);
  });
  if (!done) hits->count = before;
  return done;
}

bool EvaluateListReversed(IndexManager* index, DocIdManager* docs, const _DArray* list, int restriction,
                          const _DArray* filter, _DArray* tables, ReversedWindow* window) {
  if (window == nullptr || darray_length(list) == 0) return false;
  const bool done = WithPostings(index, docs, restriction, tables, [&](Postings& src, Validity& validity) {
    return darray_length(list) == 1 ? SingleTermReversed(src, validity, docs,
                                                         static_cast<unsigned int>(darray_get_by_index(list, 0)),
                                                         filter, window)
                                    : SeveralTermsReversed(src, validity, docs, list, window);
  });
  if (!done) {
    window->hits.clear();
    window->docs = 0;
    window->tables.clear();
  }
  return done;
}

}  // namespace mobile_search
