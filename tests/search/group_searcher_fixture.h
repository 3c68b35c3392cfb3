// A configured index root with one table and a group searcher on it, plus
// readers that check a group's stores directly: which live document holds a
// word, and whether the group matches a model of what the updates said.
//
// The table "msg" of database "db" in index "idx" has the index fields
// "title" (long text) and "tag" (indexed without tokenizing) and the profile
// field "extra". Documents are identified in tests by their tag word, which
// the no-token field indexes as one exact term.
#ifndef KS_TESTS_SEARCH_GROUP_SEARCHER_FIXTURE_H_
#define KS_TESTS_SEARCH_GROUP_SEARCHER_FIXTURE_H_

#include <string.h>

#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "config/config_manager.h"
#include "foundation/hash.h"
#include "gtest/gtest.h"
#include "search/group_searcher.h"
#include "storage/doc_id_manager.h"
#include "storage/index_manager.h"
#include "storage/index_term.h"
#include "test_util.h"

namespace ks_test {

using mobile_search::ConfigManager;
using mobile_search::DocIdManager;
using mobile_search::GroupSearcher;
using mobile_search::IndexTerm;
using mobile_search::doc_union_t;

// key -> tag word of the document's current content.
typedef std::map<std::string, std::string> DocModel;

inline void RegisterTable(ConfigManager* mgr, const char* table, const char* group) {
  ASSERT_EQ(0, mgr->addIndex("idx", "db", table, group, "id", "title,tag", nullptr, nullptr,
                             "extra", "tag"));
}

// Adds or changes a row of `table`; the title repeats the tag so that the
// long-text field gets postings too.
inline int PutDoc(GroupSearcher* gs, const std::string& key, const std::string& tag,
                  const char* table = "msg", const char* extra = "x") {
  std::string title = "note " + tag;
  char* values[3] = {const_cast<char*>(title.c_str()), const_cast<char*>(tag.c_str()),
                     const_cast<char*>(extra)};
  return gs->modifyDoc("idx", "db", table, key.c_str(), 3, values);
}

inline int DelDoc(GroupSearcher* gs, const std::string& key, const char* table = "msg") {
  return gs->delDoc("idx", "db", table, key.c_str());
}

inline unsigned int TableId(const char* table = "msg") {
  return mobile_search::table_info_make_id("idx", "db", table);
}

// Doc ids holding `word` in any field, ascending and unique; deleted
// documents included. Read without locks: callers are single-threaded.
inline std::vector<unsigned int> Postings(GroupSearcher* gs, const std::string& word) {
  std::vector<unsigned int> ids;
  unsigned int sign = mobile_search::idx_sign32(word.c_str(), static_cast<unsigned int>(word.size()));
  IndexTerm term(sign, 0, nullptr, nullptr, nullptr);
  gs->getIndexMgr()->index_mgr->getTerm(sign, &term, -1);
  term.sort();
  doc_union_t u;
  while (term.next(u) != IndexTerm::kEnd) {
    if (ids.empty() || ids.back() != u.docid()) ids.push_back(u.docid());
  }
  return ids;
}

// Keys of the live documents holding `word`.
inline std::multiset<std::string> LiveHolders(GroupSearcher* gs, const std::string& word) {
  std::multiset<std::string> keys;
  DocIdManager* docs = gs->getIndexMgr()->doc_mgr;
  for (unsigned int id : Postings(gs, word)) {
    if (docs->isDocidDel(id)) continue;
    mobile_search::_str_buffer_t* key = mobile_search::str_buffer_create(16);
    docs->getPKey(static_cast<int>(id), key);
    keys.insert(key->data);
    mobile_search::str_buffer_free(key);
  }
  return keys;
}

inline unsigned int LiveCount(GroupSearcher* gs) {
  DocIdManager* docs = gs->getIndexMgr()->doc_mgr;
  unsigned int live = 0;
  for (unsigned int d = 0; d < docs->getDocNumber(); ++d) live += docs->isDocidDel(d) == 0;
  return live;
}

// The group holds exactly the model: one live document per key, found by
// its tag word (and only there), and no other live document. Every tag in
// `gone` names content that must no longer be found.
inline void ExpectGroupMatches(GroupSearcher* gs, const DocModel& model,
                               const std::set<std::string>& gone = {}) {
  ASSERT_NE(nullptr, gs->getIndexMgr());
  DocIdManager* docs = gs->getIndexMgr()->doc_mgr;
  std::map<std::string, std::multiset<std::string>> holders;
  for (const auto& kv : model) {
    EXPECT_GE(docs->getDocid(TableId(), kv.first.c_str()), 0) << kv.first;
    holders[kv.second].insert(kv.first);
  }
  for (const auto& h : holders) EXPECT_EQ(h.second, LiveHolders(gs, h.first)) << h.first;
  for (const std::string& tag : gone) {
    if (holders.count(tag) == 0) {
      EXPECT_TRUE(LiveHolders(gs, tag).empty()) << tag;
    }
  }
  EXPECT_EQ(model.size(), LiveCount(gs));
}

// Walks every stored posting: each must belong to a live document (so a
// compacted group holds no posting of a deleted one), and each document of
// the model must hold its tag. Cheaper than a lookup per document for big
// groups, whose active data file every lookup scans.
inline void ExpectPostingsOnlyOfLiveDocuments(GroupSearcher* gs, const DocModel& model) {
  DocIdManager* docs = gs->getIndexMgr()->doc_mgr;
  mobile_search::BlockFiles* store = gs->getIndexMgr()->index_mgr->getStore();
  std::map<unsigned int, std::set<unsigned int>> signs;  // doc id -> term signs
  for (int f = 0; f < store->blockNumber(); ++f) {
    unsigned int len = 0;
    const unsigned char* base = static_cast<const unsigned char*>(store->getBlockAddress(f, len));
    ASSERT_NE(nullptr, base);
    for (unsigned int off = 0; off + mobile_search::_idx2_unit_t::kSize <= len;
         off += mobile_search::_idx2_unit_t::kSize) {
      const auto* rec = reinterpret_cast<const mobile_search::_idx2_unit_t*>(base + off);
      ASSERT_LT(rec->docid(), docs->getDocNumber());
      ASSERT_EQ(0, docs->isDocidDel(rec->docid())) << rec->docid();
      signs[rec->docid()].insert(rec->sign());
    }
  }
  for (const auto& kv : model) {
    int id = docs->getDocid(TableId(), kv.first.c_str());
    ASSERT_GE(id, 0) << kv.first;
    unsigned int sign =
        mobile_search::idx_sign32(kv.second.c_str(), static_cast<unsigned int>(kv.second.size()));
    EXPECT_EQ(1u, signs[static_cast<unsigned int>(id)].count(sign)) << kv.first;
  }
  EXPECT_EQ(model.size(), LiveCount(gs));
}

// A searcher that runs a test's code at the compaction's stages.
class StagedSearcher : public GroupSearcher {
 public:
  static const int kCopying = kStageCopying;
  static const int kCopied = kStageCopied;
  std::function<void(int)> on_stage;

 protected:
  void onEllipseStage(EllipseStage stage) override {
    if (on_stage) on_stage(stage);
  }
};

// A fresh root with the table registered in the group "default", and an
// open searcher on that group.
class GroupFixture : public ::testing::Test {
 protected:
  void SetUp() override {
    mgr_ = new ConfigManager(tmp_.path().c_str());
    ASSERT_TRUE(mgr_->isOk());
    RegisterTable(mgr_, "msg", nullptr);
    gs_ = makeSearcher();
    ASSERT_EQ(0, gs_->open(mgr_, "default"));
  }
  virtual GroupSearcher* makeSearcher() { return new GroupSearcher(); }
  void TearDown() override {
    delete gs_;
    delete mgr_;
  }

  std::string groupDir() const { return tmp_.path() + "/allin"; }

  TempDir tmp_;
  ConfigManager* mgr_ = nullptr;
  GroupSearcher* gs_ = nullptr;
};

}  // namespace ks_test

#endif  // KS_TESTS_SEARCH_GROUP_SEARCHER_FIXTURE_H_
