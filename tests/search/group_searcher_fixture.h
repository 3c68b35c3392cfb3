// A configured index root with one table and a group searcher on it, a model
// of what the updates said, and checks of the group's stores against it.
//
// Table "msg" of database "db" in index "idx": index fields "title" (long
// text) and "tag" (no-token), profile field "extra". A document is known by
// its tag word, which the no-token field indexes as one exact term.
#ifndef KS_TESTS_SEARCH_GROUP_SEARCHER_FIXTURE_H_
#define KS_TESTS_SEARCH_GROUP_SEARCHER_FIXTURE_H_

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
#include "test_util.h"

namespace ks_test {

using mobile_search::ConfigManager;
using mobile_search::DocIdManager;
using mobile_search::GroupSearcher;

inline std::string Key(int i) { return "k" + std::to_string(i); }
inline std::string Tag(int i, int version) {
  return "t" + std::to_string(i) + "x" + std::to_string(version);
}
inline unsigned int Sign(const std::string& word) {
  return mobile_search::idx_sign32(word.c_str(), static_cast<unsigned int>(word.size()));
}

inline void RegisterTable(ConfigManager* mgr, const char* table) {
  ASSERT_EQ(0, mgr->addIndex("idx", "db", table, nullptr, "id", "title,tag", nullptr, nullptr,
                             "extra", "tag"));
}

// The title repeats the tag so that the long-text field has postings too.
inline int PutDoc(GroupSearcher* gs, const std::string& key, const std::string& tag,
                  const char* table = "msg", const char* extra = "x") {
  std::string title = "note " + tag;
  char* values[3] = {&title[0], const_cast<char*>(tag.c_str()), const_cast<char*>(extra)};
  return gs->modifyDoc("idx", "db", table, key.c_str(), 3, values);
}

// Doc ids holding `word` in any field, ascending and unique, deleted ones
// included. Unlocked: callers are single-threaded.
inline std::vector<unsigned int> Postings(GroupSearcher* gs, const std::string& word) {
  std::vector<unsigned int> ids;
  mobile_search::IndexTerm term(Sign(word), 0, nullptr, nullptr, nullptr);
  gs->getIndexMgr()->index_mgr->getTerm(Sign(word), &term, -1);
  term.sort();
  mobile_search::doc_union_t u;
  while (term.next(u) != mobile_search::IndexTerm::kEnd) {
    if (ids.empty() || ids.back() != u.docid()) ids.push_back(u.docid());
  }
  return ids;
}

// Keys of the live documents holding `word`.
inline std::multiset<std::string> LiveHolders(GroupSearcher* gs, const std::string& word) {
  std::multiset<std::string> keys;
  DocIdManager* docs = gs->getIndexMgr()->doc_mgr;
  for (unsigned int id : Postings(gs, word)) {
    mobile_search::StringBuffer key;
    if (docs->isDocidDel(id) == 0 && docs->getPKey(static_cast<int>(id), &key) == 0) {
      keys.insert(key.data);
    }
  }
  return keys;
}

inline unsigned int LiveCount(GroupSearcher* gs) {
  DocIdManager* docs = gs->getIndexMgr()->doc_mgr;
  unsigned int live = 0;
  for (unsigned int d = 0; d < docs->getDocNumber(); ++d) live += docs->isDocidDel(d) == 0;
  return live;
}

// Every stored posting belongs to a live document (a compacted group keeps
// none of a deleted one) and every modelled document holds its tag. One walk
// instead of a lookup per document, each of which scans the active file.
inline void ExpectPostingsOnlyOfLive(GroupSearcher* gs,
                                     const std::map<std::string, std::string>& model) {
  DocIdManager* docs = gs->getIndexMgr()->doc_mgr;
  mobile_search::BlockFiles* store = gs->getIndexMgr()->index_mgr->getStore();
  std::map<unsigned int, std::set<unsigned int>> signs;  // doc id -> term signs
  for (int f = 0; f < store->blockNumber(); ++f) {
    unsigned int len = 0;
    const unsigned char* base = static_cast<const unsigned char*>(store->getBlockAddress(f, len));
    ASSERT_NE(nullptr, base);
    for (unsigned int off = 0; off + 11 <= len; off += 11) {
      const auto* rec = reinterpret_cast<const mobile_search::_idx2_unit_t*>(base + off);
      ASSERT_EQ(0, docs->isDocidDel(rec->docid())) << rec->docid();
      signs[rec->docid()].insert(rec->sign());
    }
  }
  for (const auto& kv : model) {
    int id = docs->getDocid(mobile_search::table_info_make_id("idx", "db", "msg"),
                            kv.first.c_str());
    ASSERT_GE(id, 0) << kv.first;
    EXPECT_EQ(1u, signs[static_cast<unsigned int>(id)].count(Sign(kv.second))) << kv.first;
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

// A fresh root with table "msg" in group "default", an open searcher on it
// and the model (key -> current tag) kept by put() and del().
class GroupFixture : public ::testing::Test {
 protected:
  void SetUp() override {
    mgr_ = new ConfigManager(tmp_.path().c_str());
    ASSERT_TRUE(mgr_->isOk());
    RegisterTable(mgr_, "msg");
    gs_ = staged_ = new StagedSearcher();
    ASSERT_EQ(0, gs_->open(mgr_, "default"));
  }
  void TearDown() override {
    delete gs_;
    delete mgr_;
  }

  void put(int i, int version) {
    ASSERT_EQ(0, PutDoc(gs_, Key(i), Tag(i, version)));
    if (model_.count(Key(i))) gone_.insert(model_[Key(i)]);
    model_[Key(i)] = Tag(i, version);
  }
  void del(int i) {
    ASSERT_EQ(0, gs_->delDoc("idx", "db", "msg", Key(i).c_str()));
    if (model_.count(Key(i))) gone_.insert(model_[Key(i)]);
    model_.erase(Key(i));
  }
  // Documents [from, to) at version 0, saved once at the end.
  void fill(int from, int to) {
    gs_->setAutoSave(false);
    for (int i = from; i < to; ++i) put(i, 0);
    gs_->setAutoSave(true);
    gs_->save();
  }
  int liveId(const std::string& key) {
    return gs_->getIndexMgr()->doc_mgr->getDocid(
        mobile_search::table_info_make_id("idx", "db", "msg"), key.c_str());
  }

  // The group holds exactly the model: each key's tag is found in its live
  // document only, replaced contents are found nowhere, nothing else lives.
  void expectModel() {
    ASSERT_NE(nullptr, gs_->getIndexMgr());
    std::map<std::string, std::multiset<std::string>> holders;
    for (const auto& kv : model_) holders[kv.second].insert(kv.first);
    for (const auto& h : holders) EXPECT_EQ(h.second, LiveHolders(gs_, h.first)) << h.first;
    for (const std::string& tag : gone_) {
      if (holders.count(tag) == 0) {
        EXPECT_TRUE(LiveHolders(gs_, tag).empty()) << tag;
      }
    }
    EXPECT_EQ(model_.size(), LiveCount(gs_));
  }
  void reopen() {
    ASSERT_EQ(0, gs_->close());
    ASSERT_EQ(0, gs_->open(mgr_, "default"));
  }
  std::string groupDir() const { return tmp_.path() + "/allin"; }

  TempDir tmp_;
  ConfigManager* mgr_ = nullptr;
  GroupSearcher* gs_ = nullptr;
  StagedSearcher* staged_ = nullptr;
  std::map<std::string, std::string> model_;
  std::set<std::string> gone_;
};

}  // namespace ks_test

#endif  // KS_TESTS_SEARCH_GROUP_SEARCHER_FIXTURE_H_
