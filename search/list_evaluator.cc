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
  const _idx2_unit_t* activeRecord(unsigned int i) const { return RecordAt(activeBase_, i); }

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
  // fn(record, file, index) for every posting of the restricted field(s):
  // the sealed files in order, each run ascending, then the active file.
  template <typename Fn>
  void forEach(Term& t, Fn fn) {
    for (int f = 0; f < files(); ++f) {
      const Run r = run(t, f);
      for (unsigned int i = r.lo; i < r.hi; ++i) {
        const _idx2_unit_t* rec = RecordAt(bases_[f], i);
        if (fieldOk(rec->field())) fn(rec, f, i);
      }
    }
    const ActiveTermIndex& active = dir_->active();
    for (unsigned int i = active.first(t.sign); i != ActiveTermIndex::kNone; i = active.next(i)) {
      const _idx2_unit_t* rec = RecordAt(activeBase_, i);
      if (fieldOk(rec->field())) fn(rec, activeFile(), i);
    }
  }
  const std::vector<u64>& active(Term& t) {
    if (!t.activeLoaded) {
      const ActiveTermIndex& active = dir_->active();
      for (unsigned int i = active.first(t.sign); i != ActiveTermIndex::kNone; i = active.next(i)) {
        const _idx2_unit_t* rec = RecordAt(activeBase_, i);
        if (fieldOk(rec->field())) t.active.push_back(static_cast<u64>(DocField(rec->docid(), rec->field())) << 32 | i);
      }
      std::sort(t.active.begin(), t.active.end());
      t.activeLoaded = true;
    }
    return t.active;
  }
  // fn(f) for every sealed file whose doc-id range holds `doc`.
  template <typename Fn>
  void filesOf(unsigned int doc, Fn fn) const {
    if (!dir_->docOrdered()) {
      for (int f = 0; f < files(); ++f) {
        if (dir_->minDoc(f) <= doc && doc <= dir_->maxDoc(f)) fn(f);
      }
      return;
    }
    // The last file starting at or below doc, then back while an earlier
    // file can still reach it.
    int lo = 0, hi = files();
    while (lo < hi) {
      const int mid = lo + (hi - lo) / 2;
      if (dir_->minDoc(mid) <= doc) {
        lo = mid + 1;
      } else {
        hi = mid;
      }
    }
    for (int f = lo - 1; f >= 0 && prefixMax_[f] >= doc; --f) {
      if (dir_->maxDoc(f) >= doc) fn(f);
    }
  }
  // First record of run r whose doc id is >= doc.
  unsigned int seekDoc(int f, Run r, unsigned int doc) const {
    unsigned int lo = r.lo, hi = r.hi;
    while (lo < hi) {
      const unsigned int mid = lo + (hi - lo) / 2;
      if (RecordAt(bases_[f], mid)->docid() < doc) {
        lo = mid + 1;
      } else {
        hi = mid;
      }
    }
    return lo;
  }
  // Whether the term has a posting of (doc id, field) `key`.
  bool holds(Term& t, unsigned int key) {
    const unsigned int doc = key >> 8;
    const unsigned char field = static_cast<unsigned char>(key);
    bool found = false;
    filesOf(doc, [&](int f) {
      if (found) return;
      const Run r = run(t, f);
      for (unsigned int i = seekDoc(f, r, doc); i < r.hi; ++i) {
        const _idx2_unit_t* rec = RecordAt(bases_[f], i);
        if (rec->docid() != doc) break;
        if (rec->field() == field) {
          found = true;
          return;
        }
      }
    });
    if (found) return true;
    const std::vector<u64>& act = active(t);
    const auto at = std::lower_bound(act.begin(), act.end(), static_cast<u64>(key) << 32);
    return at != act.end() && (*at >> 32) == key;
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

// Sorts nearly ordered values: insertion sort while it moves little, else
// std::sort.
void SortNearlyOrdered(std::vector<u64>& v) {
  size_t moves = 0;
  const size_t budget = 8 * v.size() + 64;
  for (size_t i = 1; i < v.size(); ++i) {
    const u64 x = v[i];
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

// Keeps the candidates (sorted DocField keys) that term t also holds.
void Narrow(Postings& src, Term& t, std::vector<unsigned int>& cands) {
  std::vector<char> kept(cands.size(), 0);
  // Many candidates: whether walking the term would be cheaper than probing.
  if (t.total == kUncounted && cands.size() > 1024) src.total(t, static_cast<u64>(cands.size()) * 32);
  if (static_cast<u64>(cands.size()) * 32 < t.total) {
    for (size_t i = 0; i < cands.size(); ++i) kept[i] = src.holds(t, cands[i]) ? 1 : 0;
  } else {
    // Many candidates: walk the term's postings along them.
    src.forEach(t, [&](const _idx2_unit_t* rec, int, unsigned int) {
      const unsigned int key = DocField(rec->docid(), rec->field());
      const auto at = std::lower_bound(cands.begin(), cands.end(), key);
      if (at != cands.end() && *at == key) kept[at - cands.begin()] = 1;
    });
  }
  size_t out = 0;
  for (size_t i = 0; i < cands.size(); ++i) {
    if (kept[i]) cands[out++] = cands[i];
  }
  cands.resize(out);
}

// Several terms: the first term's valid postings whose (doc id, field) every
// other term holds, in the order getTerm visits the first term.
bool SeveralTerms(Postings& src, Validity& validity, const _DArray* list, _DArray* hits) {
  const unsigned int n = darray_length(list);
  std::vector<Term> terms(n);
  std::vector<unsigned int> order(n);
  for (unsigned int i = 0; i < n; ++i) {
    src.init(terms[i], static_cast<unsigned int>(darray_get_by_index(list, i)));
    order[i] = i;
  }
  // Counting every term in every file would cost terms x files. Terms of
  // more than 4 bytes (several characters) have hashed signs, mostly above
  // 2^24, and are the rare ones: a pair is no more frequent than either of
  // its characters. Only they are counted then, each until it passes the
  // smallest count so far; the others are probed, never walked whole.
  bool anyLong = false;
  for (const Term& t : terms) anyLong = anyLong || t.sign > 0xFFFFFFu;
  u64 least = ~0ull;
  for (Term& t : terms) {
    if (anyLong && t.sign <= 0xFFFFFFu) continue;  // total stays kUncounted
    if (src.total(t, least) == 0) return true;     // one absent term: no hits
    least = std::min(least, t.total);
  }
  std::stable_sort(order.begin(), order.end(),
                   [&terms](unsigned int a, unsigned int b) { return terms[a].total < terms[b].total; });
  // The rarest term proposes the (doc id, field) candidates.
  std::vector<unsigned int> cands;
  src.forEach(terms[order[0]], [&](const _idx2_unit_t* rec, int, unsigned int) {
    if (!validity.drop(rec->docid(), rec->field())) cands.push_back(DocField(rec->docid(), rec->field()));
  });
  std::sort(cands.begin(), cands.end());
  cands.erase(std::unique(cands.begin(), cands.end()), cands.end());
  for (unsigned int k = 1; k < n && !cands.empty(); ++k) Narrow(src, terms[order[k]], cands);
  if (cands.empty()) return true;

  // Every posting of the first term on a surviving candidate, keyed by its
  // place in getTerm's visit: file by file; in a sealed file from the record
  // its binary search lands on upward, then downward; the active file in
  // append order.
  Term& first = terms[0];
  std::vector<int> landing(static_cast<size_t>(src.files()), -2);
  std::vector<std::pair<u64, doc_union_t>> placed;
  for (const unsigned int key : cands) {
    const unsigned int doc = key >> 8;
    const unsigned char field = static_cast<unsigned char>(key);
    src.filesOf(doc, [&](int f) {
      const Run r = src.run(first, f);
      for (unsigned int i = src.seekDoc(f, r, doc); i < r.hi; ++i) {
        const _idx2_unit_t* rec = RecordAt(src.base(f), i);
        if (rec->docid() != doc) break;
        if (rec->field() != field) continue;
        int& m = landing[f];
        if (m == -2) m = IndexManager::fullFileHit(src.base(f), kFileRecords, first.sign);
        const unsigned int mu = static_cast<unsigned int>(m);
        const unsigned int rank = i >= mu ? i - mu : (r.hi - mu) + (mu - 1 - i);
        placed.emplace_back(static_cast<u64>(f) << 32 | rank, PostingOf(rec));
      }
    });
    const std::vector<u64>& act = src.active(first);
    for (auto at = std::lower_bound(act.begin(), act.end(), static_cast<u64>(key) << 32);
         at != act.end() && (*at >> 32) == key; ++at) {
      const unsigned int i = static_cast<unsigned int>(*at);
      placed.emplace_back(static_cast<u64>(src.activeFile()) << 32 | i, PostingOf(src.activeRecord(i)));
    }
  }
  std::sort(placed.begin(), placed.end(),
            [](const std::pair<u64, doc_union_t>& a, const std::pair<u64, doc_union_t>& b) { return a.first < b.first; });
  for (const auto& p : placed) EmitRankedHit(p.second, hits);
  return true;
}

}  // namespace

void EmitRankedHit(doc_union_t posting, _DArray* hits) {
  unsigned char weight = posting.weight();
  TokenRules::mathSortWeight(weight, posting.bits());
  darray_append(hits, doc_union_t::make(posting.docid(), posting.field(), weight, posting.bits()).value);
}

bool EvaluateList(IndexManager* index, DocIdManager* docs, const _DArray* list, int restriction,
                  const _DArray* filter, _DArray* tables, _DArray* hits) {
  if (index == nullptr || docs == nullptr || hits == nullptr || darray_length(list) == 0) return false;
  const PostingsDirectory* dir = index->directory();
  if (dir == nullptr) return false;
  const unsigned int before = darray_length(hits);
  try {
    Postings src(index, dir, restriction);
    if (!src.ok()) return false;
    Validity validity(docs, tables, restriction);
    const bool done = darray_length(list) == 1
                          ? SingleTerm(src, validity, static_cast<unsigned int>(darray_get_by_index(list, 0)),
                                       filter, hits)
                          : SeveralTerms(src, validity, list, hits);
    if (done) return true;
  } catch (const std::bad_alloc&) {
  }
  hits->count = before;
  return false;
}

}  // namespace mobile_search
