// Both postings sorts against a plain shell sort: the full-file sort must leave
// a file byte for byte as the shell sort with the engine's gaps would, and
// IndexTerm::sort must give the order darray_shell_sort gives, equal keys
// included, since lookups, ranking and compaction read postings in that order.
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "foundation/dynamic_array.h"
#include "gtest/gtest.h"
#include "storage/index_manager.h"
#include "storage/index_term.h"
#include "test_util.h"

namespace mobile_search {
namespace {

const unsigned int kRec = 11;

unsigned long long Key(const unsigned char* r) {
  return (static_cast<unsigned long long>(DecodeFixed32(r)) << 32) | DecodeFixed32(r + 4);
}

// Shell sort over 11-byte records, written out from the gap sequence.
std::string ReferenceSort(std::string bytes, unsigned int size) {
  static const unsigned int gaps[] = {1, 4, 10, 23, 53, 97, 193, 389, 769, 1543, 3079, 6151, 12289, 24593, 49157,
                                      98317, 196613, 393241};
  unsigned int n = size / kRec;
  unsigned char* b = reinterpret_cast<unsigned char*>(&bytes[0]);
  for (int g = static_cast<int>(sizeof(gaps) / sizeof(gaps[0])) - 1; g >= 0; --g) {
    unsigned int gap = gaps[g];
    if (gap >= n) continue;
    for (unsigned int i = gap; i < n; ++i) {
      unsigned char t[kRec];
      memcpy(t, b + i * kRec, kRec);
      unsigned int j = i;
      for (; j >= gap && Key(b + (j - gap) * kRec) > Key(t); j -= gap) memcpy(b + j * kRec, b + (j - gap) * kRec, kRec);
      memcpy(b + j * kRec, t, kRec);
    }
  }
  return bytes;
}

// Records with signs below `signs` and doc ids below `docs`; the payload bytes
// number the records so equal keys can be told apart.
std::string RandomRecords(unsigned int count, unsigned int signs, unsigned int docs, unsigned int tail,
                          unsigned int seed) {
  std::mt19937 rng(seed);
  std::string out(count * kRec + tail, '\0');
  for (unsigned int i = 0; i < count; ++i) {
    _idx2_unit_t r;
    r.set(static_cast<unsigned int>(rng() % signs), static_cast<unsigned int>(rng() % docs),
          static_cast<unsigned char>(i), static_cast<unsigned char>(i >> 8), static_cast<unsigned char>(i >> 16));
    memcpy(&out[i * kRec], r.bytes, kRec);
  }
  for (unsigned int i = 0; i < tail; ++i) out[count * kRec + i] = static_cast<char>(0xA0 + i);
  return out;
}

TEST(FullFileSortTest, MatchesPlainShellSortByteForByte) {
  ks_test::TempDir dir;
  struct Case {
    unsigned int count, signs, docs, tail;
  } cases[] = {
      {0, 1, 1, 0},                   // empty
      {1, 9, 9, 3},                   // one record and a tail
      {2, 1, 1, 0},                   // two equal keys
      {1000, 0xFFFFFFFFu, 1u << 30, 0},  // keys all distinct
      {1000, 3, 4, 5},                // few keys, many repeats
      {190650, 0xFFFFFFFFu, 1u << 20, 2},  // a whole 2 MiB file, distinct keys
      {190650, 5000, 40, 2},          // a whole file, frequent terms with repeated (sign, doc id)
  };
  unsigned int seed = 7;
  for (const Case& c : cases) {
    std::string input = RandomRecords(c.count, c.signs, c.docs, c.tail, ++seed);
    unsigned int size = static_cast<unsigned int>(input.size());
    MMapFile file(size == 0 ? 1 : size, false, false, true);
    std::string path = dir.file("sorted" + std::to_string(seed));
    ASSERT_EQ(1, file.openFile(path.c_str(), static_cast<int>(path.size())));
    if (size > 0) {
      ASSERT_EQ(size, file.write(0, input.data(), size));
    }

    ASSERT_EQ(0, idx_sort_full_file(&file, size));

    std::string got(static_cast<const char*>(file.safeOffset2Addr(0)), size);
    EXPECT_TRUE(got == ReferenceSort(input, size)) << c.count << " records, " << c.signs << " signs";
  }
  EXPECT_EQ(0, idx_sort_full_file(nullptr, 100));
}

struct Posting {
  unsigned int doc;
  unsigned char field, weight;
};

std::vector<unsigned long long> TermSorted(const std::vector<Posting>& in) {
  IndexTerm term(1, 0, nullptr, nullptr, nullptr);
  for (const Posting& p : in) term.addDoc(p.doc, p.field, p.weight, 0, true);
  term.sort();
  return std::vector<unsigned long long>(term.postings(), term.postings() + term.getDocCount());
}

std::vector<unsigned long long> ShellSorted(const std::vector<Posting>& in) {
  _DArray* arr = darray_create(nullptr, false);
  for (const Posting& p : in) darray_append(arr, doc_union_t::make(p.doc, p.field, p.weight, 0).value);
  darray_shell_sort(arr, docid_cmp);
  const std::vector<unsigned long long> out = ks_test::Slots(arr);
  darray_destroy(arr);
  return out;
}

// The linear paths (input in order, doc ids all distinct) must give exactly
// the shell sort's order, and repeated doc ids must land where it puts them.
TEST(IndexTermSortTest, GivesTheShellSortOrderForEveryInputShape) {
  std::mt19937 rng(12345);
  for (int round = 0; round < 60; ++round) {
    const int shape = round % 4;
    const unsigned int n = 1 + rng() % 5000;
    std::vector<Posting> in;
    for (unsigned int i = 0; i < n; ++i) {
      unsigned int doc;
      switch (shape) {
        case 0: doc = i * 3; break;                                    // in order
        case 1: doc = (i * 2654435761u) & 0xFFFFFF; break;             // distinct, scattered
        case 2: doc = i < n / 2 ? n + i : n - i; break;                // ascending then descending
        default: doc = rng() % (n / 4 + 1); break;                     // many repeats
      }
      // Doc ids past 24 bits sort by their low 24 bits.
      if (round % 5 == 0 && i % 7 == 0) doc |= 1u << 24;
      in.push_back({doc, static_cast<unsigned char>(rng() % 3), static_cast<unsigned char>(1 + rng() % 20)});
    }
    // One repeated doc id among distinct ones must not take the linear path.
    if (shape == 1 && n > 2) in[n / 2].doc = in[1].doc;
    EXPECT_EQ(ShellSorted(in), TermSorted(in)) << "round " << round << " shape " << shape;
  }
}

}  // namespace
}  // namespace mobile_search
