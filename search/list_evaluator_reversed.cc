// The reversed evaluation of a query list: a paging window of its hits
// taken last to first, with the documents outside the window only counted.
#include "search/list_evaluator.h"

#include "search/list_postings.h"

namespace mobile_search {

using namespace list_eval;

namespace {

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
  std::vector<const PostingsDirectory::LongRun*> longs(n);  // their long runs in the file (or null)
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
      longs[i] = runs[i].hi - runs[i].lo >= PostingsDirectory::kStride ? src.longRun(f, terms[i].sign) : nullptr;
    }
    std::sort(checks.begin(), checks.end(), [&runs](size_t a, size_t b) {
      return runs[a].hi - runs[a].lo < runs[b].hi - runs[b].lo;
    });
    for (unsigned int j = LowerDoc(base, runs[p].lo, runs[p].hi, lo); j < runs[p].hi; ++j) {
      const unsigned int d = RecordAt(base, j)->docid();
      if (d > hi) break;
      bool all = true;
      for (size_t c = 0; c < checks.size() && all; ++c) {
        if (c == 1) {
          // The first check passed (the rarest turns most down): the others
          // are looked up together.
          for (size_t k = 1; k < checks.size(); ++k) PrefetchSeek(base, at[checks[k]], runs[checks[k]].hi, d);
        }
        const size_t i = checks[c];
        at[i] = at[i] == runs[i].lo && longs[i] != nullptr
                    ? SeekDocInRun(base, at[i], runs[i].hi, d, longs[i]->firstDoc, longs[i]->lastDoc)
                    : SeekDoc(base, at[i], runs[i].hi, d);
        all = at[i] < runs[i].hi && RecordAt(base, at[i])->docid() == d;
      }
      // Checked last: most candidates are turned down by a term, and the
      // document states are a cache miss each.
      if (all && !validity.drop(d, field)) {
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
