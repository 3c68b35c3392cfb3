#include "search/posting_run_search.h"

#include <algorithm>
#include <random>
#include <vector>

#include "gtest/gtest.h"

namespace mobile_search {
namespace {

// Records of one term whose doc ids are `docs` (ascending), as a sealed file
// holds them.
std::vector<unsigned char> RunOf(const std::vector<unsigned int>& docs) {
  std::vector<unsigned char> bytes(docs.size() * kPostingRecordSize);
  for (size_t i = 0; i < docs.size(); ++i) {
    reinterpret_cast<_idx2_unit_t*>(bytes.data() + i * kPostingRecordSize)->set(7, docs[i], 0, 1, 0);
  }
  return bytes;
}

// SeekDoc, SeekDocInRun and LowerDoc give std::lower_bound's answer from any start, on runs
// spread evenly, bunched at one end, with repeated doc ids (a document in
// several fields) and with long gaps, which mislead the interpolation.
TEST(PostingRunSearchTest, SeeksGiveTheLowerBoundOnEveryShapeOfRun) {
  std::mt19937 rng(11);
  for (int shape = 0; shape < 4; ++shape) {
    for (unsigned int n : {1u, 2u, 3u, 4u, 5u, 40u, 3000u}) {
      std::vector<unsigned int> docs(n);
      unsigned int d = 100;
      for (unsigned int i = 0; i < n; ++i) {
        switch (shape) {
          case 0: d += 1 + rng() % 3; break;                           // even
          case 1: d += i < n * 9 / 10 ? 1 : 5000 + rng() % 9000; break;  // bunched, then a long tail
          case 2: d += rng() % 3 == 0 ? 0 : 1 + rng() % 4; break;       // repeated ids
          default: d += rng() % 50 == 0 ? 100000 : 1; break;             // rare long gaps
        }
        docs[i] = d;
      }
      const std::vector<unsigned char> run = RunOf(docs);
      for (int probe = 0; probe < 400; ++probe) {
        const unsigned int lo = rng() % (n + 1);
        const unsigned int hi = lo + rng() % (n - lo + 1);
        const unsigned int doc = rng() % 3 == 0 ? docs[rng() % n] + rng() % 2 : 90 + rng() % (d + 20 - 90);
        const unsigned int want =
            static_cast<unsigned int>(std::lower_bound(docs.begin() + lo, docs.begin() + hi, doc) - docs.begin());
        ASSERT_EQ(want, SeekDoc(run.data(), lo, hi, doc)) << "shape " << shape << " n " << n << " [" << lo << ", " << hi << ") doc " << doc;
        ASSERT_EQ(want, LowerDoc(run.data(), lo, hi, doc)) << "shape " << shape << " n " << n;
        // Over the whole run, with its end doc ids known.
        const unsigned int whole = static_cast<unsigned int>(std::lower_bound(docs.begin(), docs.end(), doc) - docs.begin());
        ASSERT_EQ(whole, SeekDocInRun(run.data(), 0, n, doc, docs.front(), docs.back())) << "shape " << shape << " n " << n;
      }
    }
  }
}

}  // namespace
}  // namespace mobile_search
