// A configured index root with one table and a group searcher on it, a model
// of what the updates said, and a check of the group against it.
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
#include "search/search_index_config.h"
#include "search/search_result.h"
#include "searcher_fixture.h"
#include "storage/doc_id_manager.h"
#include "storage/index_manager.h"
#include "test_util.h"

namespace ks_test {

using mobile_search::_DArray;
using mobile_search::ConfigManager;
using mobile_search::DocIdManager;
using mobile_search::GroupSearcher;

// Every third key is too long to be stored inline with its document.
inline std::string Key(int i) { return "k" + std::to_string(i) + (i % 3 ? "" : "-long-key"); }
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
                  const char* table = "msg", const char* extra = "x",
                  const std::string& words = "") {
  std::string title = "note " + tag + words;
  char* values[3] = {&title[0], const_cast<char*>(tag.c_str()), const_cast<char*>(extra)};
  return gs->modifyDoc("idx", "db", table, key.c_str(), 3, values);
}

// Keys of the live documents holding `word`, through query evaluation.
inline std::vector<std::string> Found(GroupSearcher* gs, const std::string& word) {
  mobile_search::SearchIndexConfig config;
  config.createConfigItem("idx", 0, 100);
  _DArray* names = mobile_search::darray_create(nullptr, false);
  _DArray* tokens = mobile_search::darray_create(nullptr, false);
  mobile_search::darray_append(tokens, static_cast<unsigned long long>(Sign(word)));
  _DArray* lists[2] = {names, tokens};
  mobile_search::SearchResult result(true);
  gs->doSearchIndex(&result, &config, lists, 2);
  mobile_search::darray_destroy(names);
  mobile_search::darray_destroy(tokens);
  return mobile_search::ResultKeys(result);
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
// (owned by the manager, like the searchers it makes itself) and the model
// (key -> current tag) kept by put() and del().
class GroupFixture : public ::testing::Test {
 protected:
  void SetUp() override {
    mgr_ = new ConfigManager(tmp_.path().c_str());
    ASSERT_TRUE(mgr_->isOk());
    RegisterTable(mgr_, "msg");
    ASSERT_NE(nullptr, mgr_->getGroup("default"));
    gs_ = staged_ = new StagedSearcher();
    mgr_->getGroup("default")->searcher = gs_;
    ASSERT_EQ(0, gs_->open(mgr_, "default"));
  }
  void TearDown() override { delete mgr_; }

  void put(int i, int version) {
    ASSERT_EQ(0, PutDoc(gs_, Key(i), Tag(i, version), "msg", "x", words_));
    model_[Key(i)] = Tag(i, version);
  }
  void del(int i) {
    ASSERT_EQ(0, gs_->delDoc("idx", "db", "msg", Key(i).c_str()));
    model_.erase(Key(i));
  }
  // Documents [from, to) at version 0, saved once at the end.
  void fill(int from, int to) {
    gs_->setAutoSave(false);
    for (int i = from; i < to; ++i) put(i, 0);
    gs_->setAutoSave(true);
    gs_->save();
  }

  // The group holds exactly the model: one live document per key and
  // nothing else live, and a search for a key's current tag finds that key
  // alone. With `purged` no posting of a deleted document is left either.
  void expectModel(bool purged = false) {
    ASSERT_NE(nullptr, gs_->getIndexMgr());
    DocIdManager* docs = gs_->getIndexMgr()->doc_mgr;
    std::set<std::string> live, keys;
    for (unsigned int d = 0; d < docs->getDocNumber(); ++d) {
      mobile_search::StringBuffer key;
      if (docs->isDocidDel(d) != 0) continue;
      ASSERT_EQ(0, docs->getPKey(static_cast<int>(d), &key)) << d;
      EXPECT_TRUE(live.insert(key.data).second) << key.data;
    }
    for (const auto& [key, tag] : model_) {
      keys.insert(key);
      EXPECT_EQ(std::vector<std::string>{key}, Found(gs_, tag)) << key;
    }
    EXPECT_EQ(keys, live);
    mobile_search::BlockFiles* store = gs_->getIndexMgr()->index_mgr->getStore();
    for (int f = 0; purged && f < store->blockNumber(); ++f) {
      unsigned int len = 0;
      const auto* base = static_cast<const unsigned char*>(store->getBlockAddress(f, len));
      ASSERT_NE(nullptr, base);
      for (unsigned int off = 0; off + 11 <= len; off += 11) {
        const auto* rec = reinterpret_cast<const mobile_search::_idx2_unit_t*>(base + off);
        ASSERT_EQ(0, docs->isDocidDel(rec->docid())) << rec->docid();
      }
    }
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
  std::string words_;  // appended to the titles put() writes
};

}  // namespace ks_test

#endif  // KS_TESTS_SEARCH_GROUP_SEARCHER_FIXTURE_H_
