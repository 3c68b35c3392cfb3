// Searches by doc id inside a run of posting records: a term's records in a
// sealed postings file, sorted by doc id (a document may repeat, once per
// field). Pure functions over mapped bytes; `base` must hold the records
// [lo, hi) they are given.
#ifndef KS_SEARCH_POSTING_RUN_SEARCH_H_
#define KS_SEARCH_POSTING_RUN_SEARCH_H_

#include <algorithm>
#include <cstddef>

#include "storage/index_manager.h"

namespace mobile_search {

const unsigned int kPostingRecordSize = _idx2_unit_t::kSize;

inline const _idx2_unit_t* RecordAt(const unsigned char* base, unsigned int i) {
  return reinterpret_cast<const _idx2_unit_t*>(base + static_cast<size_t>(i) * kPostingRecordSize);
}

// First index in [lo, hi) of a run whose doc id is >= doc (hi when none).
inline unsigned int LowerDoc(const unsigned char* base, unsigned int lo, unsigned int hi, unsigned int doc) {
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

// Where between records below and above, whose doc ids are first and last
// (first < last), a run spread evenly over its doc ids holds `doc`.
inline unsigned int GuessBetween(unsigned int below, unsigned int above, unsigned int doc, unsigned int first,
                                 unsigned int last) {
  return below + static_cast<unsigned int>(static_cast<unsigned long long>(doc - first) * (above - below) /
                                           (last - first));
}

// The first record in (below, above] whose doc id is >= doc, given
// docid(below) = first < doc <= docid(above) = last: looked for from where
// the two doc ids put it, galloping away from that guess, then halving.
inline unsigned int SeekBetween(const unsigned char* base, unsigned int below, unsigned int above, unsigned int doc,
                                unsigned int first, unsigned int last) {
  const unsigned int g = std::min(above, std::max(below + 1, GuessBetween(below, above, doc, first, last)));
  unsigned int step = 1;
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

// LowerDoc from lo for a doc that may lie far ahead in a long run: the next
// three records are tried first (a near answer is the common case of a dense
// merge), then the doc is looked for where the doc ids at the ends of what
// is left put it. A term's documents are spread about evenly over its file's
// doc ids, so the guess lands near the answer and the search reads a few
// records around it rather than galloping on across the run (each step a
// cache miss).
inline unsigned int SeekDoc(const unsigned char* base, unsigned int lo, unsigned int hi, unsigned int doc) {
  if (lo >= hi || RecordAt(base, lo)->docid() >= doc) return lo;
  unsigned int below = lo, step = 1;  // docid(below) < doc
  for (int k = 0; k < 2; ++k, step <<= 1) {
    if (step >= hi - below) return LowerDoc(base, below + 1, hi, doc);
    if (RecordAt(base, below + step)->docid() >= doc) return LowerDoc(base, below + 1, below + step, doc);
    below += step;
  }
  const unsigned int last = RecordAt(base, hi - 1)->docid();
  if (last < doc) return hi;
  return SeekBetween(base, below, hi - 1, doc, RecordAt(base, below)->docid(), last);
}

// LowerDoc over a whole run [lo, hi) whose first and last doc ids are known
// (a long run, from the postings directory): the first record read is where
// they put `doc`, not the run's ends.
inline unsigned int SeekDocInRun(const unsigned char* base, unsigned int lo, unsigned int hi, unsigned int doc,
                                 unsigned int firstDoc, unsigned int lastDoc) {
  if (lo >= hi || firstDoc >= doc) return lo;
  if (lastDoc < doc) return hi;
  return SeekBetween(base, lo, hi - 1, doc, firstDoc, lastDoc);
}

// Asks the cache for the record where SeekDoc(base, lo, hi, doc) will first
// look in a long range, so that the seeks of several runs for one document
// wait for memory together rather than one after the other.
inline void PrefetchSeek(const unsigned char* base, unsigned int lo, unsigned int hi, unsigned int doc) {
  if (hi - lo < 8) return;
  const unsigned int first = RecordAt(base, lo)->docid();
  const unsigned int last = RecordAt(base, hi - 1)->docid();
  if (first >= doc || last < doc) return;
  __builtin_prefetch(RecordAt(base, GuessBetween(lo, hi - 1, doc, first, last)));
}

}  // namespace mobile_search

#endif  // KS_SEARCH_POSTING_RUN_SEARCH_H_
