// Intersection of posting cursors (GroupSearcher::doAnd) on hand-made terms:
// field preference of one term, and the several-term path (absent terms
// included) against a straightforward reading of every cursor. Field
// filters and sort weights are checked end to end through Searcher.
#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "search/group_searcher.h"
#include "storage/index_term.h"
#include "text/token_rules.h"

namespace mobile_search {
namespace {

struct Posting {
  unsigned int doc;
  unsigned char field, weight, bits;
};

using Terms = std::unique_ptr<_DArray, void (*)(_DArray*)>;

Terms MakeTerms(const std::vector<std::vector<Posting>>& terms) {
  Terms list(darray_create(GroupSearcher::term_free, true), darray_destroy);
  for (size_t t = 0; t < terms.size(); ++t) {
    IndexTerm* term = new IndexTerm(static_cast<unsigned int>(t + 1), 0, nullptr, nullptr, nullptr);
    for (const Posting& p : terms[t]) term->addDoc(p.doc, p.field, p.weight, p.bits, true);
    darray_append(list.get(), static_cast<const void*>(term));
  }
  return list;
}

// "doc/field/weight" per hit.
std::string Hits(_DArray* terms) {
  GroupSearcher searcher;
  Terms hits(darray_create(nullptr, false), darray_destroy);
  EXPECT_EQ(0, searcher.doAnd(terms, hits.get(), nullptr));
  std::string out;
  for (unsigned int i = 0; i < darray_length(hits.get()); ++i) {
    const doc_union_t h{darray_get_by_index(hits.get(), i)};
    out += (i ? " " : "") + std::to_string(h.docid()) + "/" + std::to_string(h.field()) + "/" +
           std::to_string(h.weight());
  }
  return out;
}

unsigned char SortWeight(unsigned char w, unsigned char bits) {
  TokenRules::mathSortWeight(w, bits);
  return w;
}

TEST(QueryEvaluation, OneTermGivesOneHitPerDocumentFromItsPreferredField) {
  // Bits 4 (pinyin) keep the sort weight equal to the base weight.
  Terms t = MakeTerms({{{5, 2, 9, 4}, {5, 1, 7, 4}, {5, 3, 20, 4},  // lower field wins
                        {8, 1, 3, 4}, {8, 1, 6, 4},                  // equal: the later
                        {2, 0, 11, 4}}});
  EXPECT_EQ("2/0/11 5/1/7 8/1/6", Hits(t.get()));

  Terms none = MakeTerms({});
  EXPECT_EQ("", Hits(none.get()));
}

// Every posting of the first term, in its order, that each further term
// holds for the same document and field, weighted by the first term.
std::string NaiveIntersection(const std::vector<std::vector<Posting>>& terms) {
  std::string out;
  int n = 0;
  for (const Posting& p : terms[0]) {
    bool all = true;
    for (size_t t = 1; t < terms.size(); ++t) {
      all &= std::any_of(terms[t].begin(), terms[t].end(),
                         [&p](const Posting& q) { return q.doc == p.doc && q.field == p.field; });
    }
    if (!all) continue;
    out += (n++ ? " " : "") + std::to_string(p.doc) + "/" + std::to_string(p.field) + "/" +
           std::to_string(SortWeight(p.weight, p.bits));
  }
  return out;
}

TEST(QueryEvaluation, SeveralTermsMatchAStraightforwardIntersection) {
  std::mt19937 rng(42);
  for (int round = 0; round < 200; ++round) {
    const int term_count = 2 + static_cast<int>(rng() % 3);
    std::vector<std::vector<Posting>> terms(term_count);
    for (auto& term : terms) {
      const int postings = static_cast<int>(rng() % 41);  // an absent term now and then
      for (int i = 0; i < postings; ++i) {
        term.push_back({static_cast<unsigned int>(rng() % 30),
                        static_cast<unsigned char>(rng() % 3),
                        static_cast<unsigned char>(1 + rng() % 20),
                        static_cast<unsigned char>(rng() % 32)});
      }
    }
    Terms list = MakeTerms(terms);
    ASSERT_EQ(NaiveIntersection(terms), Hits(list.get())) << "round " << round;
  }
}

}  // namespace
}  // namespace mobile_search
