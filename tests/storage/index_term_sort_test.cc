// IndexTerm::sort against the plain shell sort of the same postings: the
// linear paths (input in order, doc ids all distinct) must give exactly the
// order the shell sort gives, and repeated doc ids must be placed as the
// shell sort places them.
#include <cstdint>
#include <vector>

#include <gtest/gtest.h>

#include "foundation/dynamic_array.h"
#include "storage/index_term.h"

namespace mobile_search {
namespace {

struct Posting {
  unsigned int doc;
  unsigned char field, weight;
};

std::vector<unsigned long long> Sorted(const std::vector<Posting>& in) {
  IndexTerm term(1, 0, nullptr, nullptr, nullptr);
  for (const Posting& p : in) term.addDoc(p.doc, p.field, p.weight, 0, true);
  term.sort();
  return std::vector<unsigned long long>(term.postings(), term.postings() + term.getDocCount());
}

std::vector<unsigned long long> ShellSorted(const std::vector<Posting>& in) {
  _DArray* arr = darray_create(nullptr, false);
  for (const Posting& p : in) {
    darray_append(arr, doc_union_t::make(p.doc, p.field, p.weight, 0).value);
  }
  darray_shell_sort(arr, docid_cmp);
  std::vector<unsigned long long> out(arr->items, arr->items + arr->count);
  darray_destroy(arr);
  return out;
}

TEST(IndexTermSortTest, GivesTheShellSortOrderForEveryInputShape) {
  uint32_t state = 12345;
  auto next = [&state]() {
    state ^= state << 13;
    state ^= state >> 17;
    state ^= state << 5;
    return state;
  };
  for (int round = 0; round < 60; ++round) {
    const int shape = round % 4;
    const unsigned int n = 1 + next() % 5000;
    std::vector<Posting> in;
    for (unsigned int i = 0; i < n; ++i) {
      unsigned int doc;
      switch (shape) {
        case 0: doc = i * 3; break;                                    // in order
        case 1: doc = (i * 2654435761u) & 0xFFFFFF; break;             // distinct, scattered
        case 2: doc = i < n / 2 ? n + i : n - i; break;                // ascending then descending
        default: doc = next() % (n / 4 + 1); break;                    // many repeats
      }
      // Doc ids past 24 bits sort by their low 24 bits.
      if (round % 5 == 0 && i % 7 == 0) doc |= 1u << 24;
      in.push_back({doc, static_cast<unsigned char>(next() % 3),
                    static_cast<unsigned char>(1 + next() % 20)});
    }
    // One repeated doc id among distinct ones must not take the linear path.
    if (shape == 1 && n > 2) in[n / 2].doc = in[1].doc;
    EXPECT_EQ(ShellSorted(in), Sorted(in)) << "round " << round << " shape " << shape;
  }
}

}  // namespace
}  // namespace mobile_search
