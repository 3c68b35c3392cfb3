#include "storage/index_manager.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "foundation/hash.h"
#include "gtest/gtest.h"
#include "storage/doc_id_manager.h"
#include "test_util.h"

namespace mobile_search {
namespace {

struct Posting {
  unsigned int sign, docid;
  unsigned char field, weight, bits;
};

// Postings of a term as (24-bit doc id, field, weight, bits), sorted.
typedef std::vector<std::tuple<unsigned int, int, int, int>> Flat;

Flat FromTerm(IndexTerm& t) {
  Flat out;
  for (int i = 0; i < t.getDocCount(); ++i) {
    doc_union_t u = t.getDoc(static_cast<unsigned int>(i));
    out.emplace_back(u.docid(), u.field(), u.weight(), u.bits());
  }
  std::sort(out.begin(), out.end());
  return out;
}

Flat FromModel(const std::vector<Posting>& all, unsigned int sign, int field) {
  Flat out;
  for (const Posting& p : all) {
    if (p.sign == sign && (field == -1 || field == p.field)) out.emplace_back(p.docid & 0xFFFFFF, p.field, p.weight, p.bits);
  }
  std::sort(out.begin(), out.end());
  return out;
}

bool SortedFile(const std::string& bytes) {
  auto key = [&](size_t i) {
    const unsigned char* p = reinterpret_cast<const unsigned char*>(bytes.data()) + i * 11;
    return std::make_pair(DecodeFixed32(p), DecodeFixed32(p + 4));
  };
  for (size_t i = 1; i < bytes.size() / 11; ++i) {
    if (key(i - 1) > key(i)) return false;
  }
  return true;
}

// The directory's runs, doc-id ranges and active postings equal what a scan
// of the files finds, for every sign the files hold and for `signs`.
void ExpectDirectoryMatchesFiles(IndexManager& idx, const std::vector<unsigned int>& signs) {
  const PostingsDirectory* dir = idx.directory();
  ASSERT_NE(nullptr, dir);
  BlockFiles* store = idx.getStore();
  ASSERT_EQ(store->blockNumber() - 1, dir->sealedCount());
  ASSERT_EQ(dir->sealedCount(), dir->activeFile());
  for (int f = 0; f <= dir->sealedCount(); ++f) {
    unsigned int len = 0;
    const unsigned char* base = static_cast<const unsigned char*>(store->getBlockAddress(f, len));
    unsigned int minDoc = ~0u, maxDoc = 0;
    std::map<unsigned int, std::vector<unsigned int>> at;  // sign -> its records
    for (unsigned int sign : signs) at[sign];
    for (unsigned int i = 0; i < len / 11; ++i) {
      minDoc = std::min(minDoc, DecodeFixed32(base + i * 11 + 4));
      maxDoc = std::max(maxDoc, DecodeFixed32(base + i * 11 + 4));
      at[DecodeFixed32(base + i * 11)].push_back(i);
    }
    if (f < dir->sealedCount()) {
      EXPECT_EQ(minDoc, dir->minDoc(f));
      EXPECT_EQ(maxDoc, dir->maxDoc(f));
    }
    for (const auto& term : at) {
      const unsigned int sign = term.first;
      std::vector<unsigned int> got;
      if (f < dir->sealedCount()) {
        const PostingsDirectory::Run r = dir->findRun(f, base, sign);
        for (unsigned int i = r.lo; i < r.hi; ++i) got.push_back(i);
        // Long runs are known with their doc ids without reading the file.
        const PostingsDirectory::LongRun* lr = dir->longRun(f, sign);
        ASSERT_EQ(term.second.size() >= PostingsDirectory::kStride, lr != nullptr) << "file " << f << " sign " << sign;
        if (lr != nullptr) {
          EXPECT_EQ(DecodeFixed32(base + term.second.front() * 11 + 4), lr->firstDoc);
          EXPECT_EQ(DecodeFixed32(base + term.second.back() * 11 + 4), lr->lastDoc);
        }
      } else {
        for (unsigned int i = dir->active().first(sign); i != ActiveTermIndex::kNone; i = dir->active().next(i)) {
          got.push_back(i);
        }
        EXPECT_EQ(term.second.size(), dir->active().count(sign));
      }
      ASSERT_EQ(term.second, got) << "file " << f << " sign " << sign;
    }
  }
}

TEST(IndexManagerTest, FullFilesAreSortedAndGetTermMatchesAModelAcrossFiles) {
  ks_test::TempDir dir;
  std::mt19937 rng(3);
  std::vector<Posting> all;
  const unsigned int n = 3 * IndexManager::kRecordsPerFile + 7000;
  {
    IndexManager idx;
    ASSERT_EQ(0, idx.open(dir.path().c_str(), "allin"));
    idx.setAutoSave(false);
    for (unsigned int i = 0; i < n; ++i) {
      // A few frequent terms, some of middling length (runs shorter than the
      // directory's sampling stride, some across a sampled record), many rare
      // ones; doc ids grow like a real scan.
      const unsigned int kind = rng() % 40;
      unsigned int sign = kind < 10 ? 1 + rng() % 5 : kind == 10 ? 60000 + rng() % 150 : 100 + rng() % 50000;
      Posting p{sign, i / 8, static_cast<unsigned char>(rng() % 4), static_cast<unsigned char>(1 + rng() % 20),
                static_cast<unsigned char>(rng() % 32)};
      all.push_back(p);
      ASSERT_GE(idx.addTerm(p.sign, p.docid, p.field, p.weight, p.bits), 0);
    }
    // Kept up to date while files fill and are sealed.
    ASSERT_NO_FATAL_FAILURE(ExpectDirectoryMatchesFiles(idx, {1, 5, 99, all[3].sign, all.back().sign}));
    EXPECT_EQ(0, idx.saveRecentTerms(10));
    EXPECT_EQ(-1, idx.saveRecentTerms(static_cast<int>(n) + 1));
    idx.save();
  }
  // Each full file was sorted when the next posting started a new file and
  // written back whole then: save() writes only the active file.
  for (int f = 0; f < 3; ++f) {
    EXPECT_TRUE(SortedFile(ks_test::ReadFile(dir.file("idx_0/allin-" + std::to_string(f))).substr(0, 2097150)));
  }

  IndexManager idx;
  ASSERT_EQ(0, idx.open(dir.path().c_str(), "allin"));
  // Two frequent terms with runs across every file, rare ones, an absent one.
  for (unsigned int sign : {1u, 5u, all.back().sign, all[3].sign, all[n / 2].sign, 99u}) {
    for (int field : {-1, 2}) {
      IndexTerm t(sign, 0, nullptr, nullptr, nullptr);
      ASSERT_EQ(0, idx.getTerm(sign, &t, field));
      ASSERT_EQ(FromModel(all, sign, field), FromTerm(t)) << "sign " << sign << " field " << field;
    }
  }
  // Rebuilt at open; a posting that reaches the store behind the manager's
  // back makes it stand aside rather than answer wrongly.
  ASSERT_NO_FATAL_FAILURE(ExpectDirectoryMatchesFiles(idx, {1, 5, 99, all[3].sign, all[n / 2].sign}));
  unsigned char rec[11] = {5, 0, 0, 0, 1, 0, 0, 0, 0, 1, 1};
  ASSERT_GE(idx.getStore()->append(rec, 11), 0);
  EXPECT_EQ(nullptr, idx.directory());
}

// Records the field it is called with; rejects odd doc ids.
bool RejectOdd(void* user, unsigned int docid, int field, void* arr) {
  static_cast<std::vector<int>*>(user)->push_back(field);
  EXPECT_EQ(nullptr, arr);
  return docid % 2 == 1;
}

TEST(IndexManagerTest, ValidityCallbackFieldFilterAndCursorOperations) {
  ks_test::TempDir dir;
  IndexManager idx;
  ASSERT_EQ(0, idx.open(dir.path().c_str(), "allin"));
  for (unsigned int d : {12u, 3u, 10u, 11u}) idx.addTerm(77, d, static_cast<unsigned char>(d % 3), 5, 1);
  idx.addTerm(77, (1u << 24) + 4, 2, 9, 8);  // stored whole, kept as 24 bits
  idx.addTerm(78, 3, 0, 1, 1);

  std::vector<int> calls;
  IndexTerm one(77, 0, RejectOdd, &calls, nullptr);
  ASSERT_EQ(0, idx.getTerm(77, &one, 2));
  EXPECT_EQ(std::vector<int>({-1, -1}), calls);  // docs 11 and 2^24+4 have field 2
  EXPECT_EQ(1, one.getDocCount());                      // 11 rejected as odd
  EXPECT_EQ(4u, one.getDoc(0).docid());

  calls.clear();
  IndexTerm all(77, 0, RejectOdd, &calls, nullptr);
  ASSERT_EQ(0, idx.getTerm(77, &all, -1));
  EXPECT_EQ(std::vector<int>({0, 0, 1, 2, 2}), calls);
  all.sort();
  ASSERT_EQ(3, all.getDocCount());
  doc_union_t u;
  EXPECT_EQ(4u, all.next(u));
  EXPECT_EQ(10u, all.seek(10, u));  // consumed
  EXPECT_EQ(12u, all.seek(11, u));  // not consumed
  EXPECT_EQ(12u, all.next(u));
  EXPECT_EQ(IndexTerm::kEnd, all.next(u));
  EXPECT_EQ(IndexTerm::kEnd, all.seek(1, u));

  EXPECT_EQ(1, all.validDoc(doc_union_t::make(10, 1, 0, 0), nullptr));
  EXPECT_EQ(0, all.validDoc(doc_union_t::make(10, 2, 0, 0), nullptr));
  EXPECT_EQ(0, all.validDoc(doc_union_t::make(3, 0, 0, 0), nullptr));

  // validDoc answers the same before and after sorting.
  std::mt19937 rng(9);
  IndexTerm random(1, 0, nullptr, nullptr, nullptr);
  for (int i = 0; i < 300; ++i) random.addDoc(rng() % 100, static_cast<unsigned char>(rng() % 3), 1, 1, true);
  auto answers = [&]() {
    std::vector<int> v;
    for (unsigned int d = 0; d < 400; ++d) v.push_back(random.validDoc(doc_union_t::make(d / 4, d % 4, 0, 0), nullptr));
    return v;
  };
  std::vector<int> before = answers();
  random.sort();
  EXPECT_EQ(before, answers());

  IndexManager closed;
  IndexTerm t(1, 0, nullptr, nullptr, nullptr);
  EXPECT_EQ(-1, closed.getTerm(1, &t, -1));
  EXPECT_EQ(-1, closed.addTerm(1, 1, 0, 1, 1));
  EXPECT_EQ(-1, closed.open("", "allin"));
  ASSERT_TRUE(ks_test::WriteFile(dir.file("plain"), "x"));
  EXPECT_EQ(-1, closed.open(dir.file("plain").c_str(), "allin"));
}

// Both compaction steps over one group: documents 0-4 form the snapshot and
// 1 and 3 are deleted before it is copied; 5-7 arrive meanwhile and 2 is
// deleted, which the second step carries over from the live group and log.
TEST(IndexManagerTest, CompactionCopiesSurvivorsRenumberedAndCarriesOverLaterChanges) {
  ks_test::TempDir dir;
  DocIdManager docs, docsCopy;
  IndexManager live, copy;
  ASSERT_EQ(0, docs.open(dir.file("live").c_str()));
  ASSERT_EQ(0, live.open(dir.file("live").c_str(), "allin"));
  ASSERT_EQ(0, docsCopy.open(dir.file("copy").c_str()));
  ASSERT_EQ(0, copy.open(dir.file("copy").c_str(), "allin"));
  docsCopy.setAutoSave(false);
  copy.setAutoSave(false);
  const char* keys[] = {"k0", "k1", "a-long-key-2", "k3", "k4", "k5", "k6", "a-long-key-7"};
  for (int d = 0; d < 8; ++d) {
    ASSERT_EQ(d, docs.addPKey(3, keys[d], 10 + d, crc32(keys[d], static_cast<unsigned int>(strlen(keys[d])), 0)));
    live.addTerm(500, d, 0, 3, 1);
    live.addTerm(600 + d % 2, d, 1, 4, 2);
  }
  docs.delDocid(1);
  docs.delDocid(3);
  BinarySet removed;
  docs.getAllDelDocid(&removed);
  auto key = [](DocIdManager& m, int id) {
    _str_buffer_t* buf = str_buffer_create(16);
    std::string s = m.getPKey(id, buf) == 0 ? std::string(buf->data, static_cast<size_t>(buf->len)) : "<none>";
    str_buffer_free(buf);
    return s;
  };
  auto postings = [](IndexManager& idx, unsigned int sign) {
    IndexTerm t(sign, 0, nullptr, nullptr, nullptr);
    EXPECT_EQ(0, idx.getTerm(sign, &t, -1));
    return FromTerm(t);
  };

  ASSERT_EQ(0, docs.copyBlock(&docsCopy, 5, &docs));
  ASSERT_EQ(0, live.copy_block(&copy, static_cast<int>(live.get_max_pos()), 5, &removed, &docs));
  EXPECT_EQ("a-long-key-2", key(docsCopy, 1));
  EXPECT_EQ("k4", key(docsCopy, 2));
  EXPECT_EQ(Flat({{0, 0, 3, 1}, {1, 0, 3, 1}, {2, 0, 3, 1}}), postings(copy, 500));

  docs.delDocid(2);
  _DArray* log = darray_create(nullptr, false);
  for (unsigned long long v : {5ull, 2ull, 2ull, 1ull, 6ull, 4ull, 7ull, 2ull}) darray_append(log, v);
  BinarySet keep;
  keep.add(5);
  keep.add(7);
  ASSERT_EQ(0, docsCopy.composeByLog(&docs, 5, log, &keep, &removed));
  darray_destroy(log);
  ASSERT_EQ(0, copy.compose_rest_by_log(&live, 5, static_cast<int>(live.get_max_pos()), &keep, 3));
  // Old 5 and 7 become 3 and 4; 6 was not kept; old 2 is now 1, deleted.
  ASSERT_EQ(5u, docsCopy.getDocNumber());
  EXPECT_EQ("k5", key(docsCopy, 3));
  EXPECT_EQ("a-long-key-7", key(docsCopy, 4));
  EXPECT_EQ(4, docsCopy.getDocid(3, "a-long-key-7"));
  EXPECT_EQ(1, docsCopy.isDocidDel(1));
  EXPECT_EQ(0, docsCopy.isDocidDel(2));
  EXPECT_EQ(Flat({{3, 1, 4, 2}, {4, 1, 4, 2}}), postings(copy, 601));
  copy.close();

  IndexManager reopened;
  ASSERT_EQ(0, reopened.open(dir.file("copy").c_str(), "allin"));
  EXPECT_EQ(3u + 3u + 2u + 2u, reopened.get_max_pos());
  EXPECT_EQ(1, live.copy_block(nullptr, 1, 1, nullptr, nullptr));
  EXPECT_EQ(1, docs.copyBlock(nullptr, 5, &docs));
}

}  // namespace
}  // namespace mobile_search
