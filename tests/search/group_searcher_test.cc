// A group searcher on a configured root, checked against a model of what
// the updates said: documents, failures and their log texts, group
// directories, and compaction (result codes, purging, changes made while the
// copy is built, reopening after a stop in the middle of the swap).
//
// Table "msg" of database "db" in index "idx": index fields "title" (long
// text) and "tag" (no-token), profile field "extra". A document is known by
// its tag word, which the no-token field indexes as one exact term.
#include "search/group_searcher.h"

#include <stdio.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "config/config_manager.h"
#include "foundation/file_util.h"
#include "foundation/hash.h"
#include "search/search_index_config.h"
#include "searcher_fixture.h"
#include "storage/doc_id_manager.h"
#include "storage/index_manager.h"
#include "storage/log_manager.h"

namespace mobile_search {
namespace {

namespace fs = std::filesystem;

// Every third key is too long to be stored inline with its document.
std::string Key(int i) { return "k" + std::to_string(i) + (i % 3 ? "" : "-long-key"); }
std::string Tag(int i, int version) {
  return "t" + std::to_string(i) + "x" + std::to_string(version);
}
// Keys of the live documents holding `word`, through query evaluation.
std::vector<std::string> Found(GroupSearcher* gs, const std::string& word) {
  SearchIndexConfig config;
  config.createConfigItem("idx", 0, 100);
  _DArray* names = darray_create(nullptr, false);
  _DArray* tokens = darray_create(nullptr, false);
  const unsigned int sign = idx_sign32(word.c_str(), static_cast<unsigned int>(word.size()));
  darray_append(tokens, static_cast<unsigned long long>(sign));
  _DArray* lists[2] = {names, tokens};
  SearchResult result(true);
  gs->doSearchIndex(&result, &config, lists, 2);
  darray_destroy(names);
  darray_destroy(tokens);
  return ResultKeys(result);
}

// A searcher that runs a test's code at the compaction's stages.
class StagedSearcher : public GroupSearcher {
 public:
  static const int kCopying = kStageCopying;
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
    ASSERT_EQ(0, mgr_->addIndex("idx", "db", "msg", nullptr, "id", "title,tag", nullptr, nullptr,
                                "extra", "tag"));
    ASSERT_NE(nullptr, mgr_->getGroup("default"));
    gs_ = staged_ = new StagedSearcher();
    mgr_->getGroup("default")->searcher = gs_;
    ASSERT_EQ(0, gs_->open(mgr_, "default"));
  }
  void TearDown() override { delete mgr_; }

  // The title repeats the tag so that the long-text field has postings too.
  void put(int i, int version) {
    std::string tag = Tag(i, version), title = "note " + tag + words_;
    char* values[3] = {&title[0], &tag[0], const_cast<char*>("x")};
    ASSERT_EQ(0, gs_->modifyDoc("idx", "db", "msg", Key(i).c_str(), 3, values));
    model_[Key(i)] = tag;
  }
  void del(int i) {
    ASSERT_EQ(0, gs_->delDoc("idx", "db", "msg", Key(i).c_str()));
    model_.erase(Key(i));
  }
  // Documents [0, count) at version 0, saved once at the end.
  void fill(int count) {
    gs_->setAutoSave(false);
    for (int i = 0; i < count; ++i) put(i, 0);
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
      StringBuffer key;
      if (docs->isDocidDel(d) != 0) continue;
      ASSERT_EQ(0, docs->getPKey(static_cast<int>(d), &key)) << d;
      EXPECT_TRUE(live.insert(key.data).second) << key.data;
    }
    for (const auto& [key, tag] : model_) {
      keys.insert(key);
      EXPECT_EQ(std::vector<std::string>{key}, Found(gs_, tag)) << key;
    }
    EXPECT_EQ(keys, live);
    BlockFiles* store = gs_->getIndexMgr()->index_mgr->getStore();
    for (int f = 0; purged && f < store->blockNumber(); ++f) {
      unsigned int len = 0;
      const auto* base = static_cast<const unsigned char*>(store->getBlockAddress(f, len));
      ASSERT_NE(nullptr, base);
      for (unsigned int off = 0; off + _idx2_unit_t::kSize <= len; off += _idx2_unit_t::kSize) {
        const auto* rec = reinterpret_cast<const _idx2_unit_t*>(base + off);
        ASSERT_EQ(0, docs->isDocidDel(rec->docid())) << rec->docid();
      }
    }
  }
  void reopen() {
    ASSERT_EQ(0, gs_->close());
    ASSERT_EQ(0, gs_->open(mgr_, "default"));
  }
  std::string groupDir() const { return tmp_.path() + "/allin"; }
  bool exists(const std::string& suffix) { return ks_test::FileExists(groupDir() + suffix); }
  int compact() { return gs_->ellipseIndex("default", true); }

  ks_test::TempDir tmp_;
  ConfigManager* mgr_ = nullptr;
  GroupSearcher* gs_ = nullptr;
  StagedSearcher* staged_ = nullptr;
  std::map<std::string, std::string> model_;
  std::string words_;  // appended to the titles put() writes
};

using GroupSearcherTest = GroupFixture;

TEST_F(GroupSearcherTest, FailuresAreLoggedAndAClosedGroupRefusesWork) {
  ks_test::LogCapture log;
  char* values[3] = {const_cast<char*>("t"), const_cast<char*>("g"), const_cast<char*>("")};
  EXPECT_EQ(-1, gs_->modifyDoc("idx", "db", "msg", "k", 2, values));  // 3 fields configured
  EXPECT_EQ(GroupSearcher::kEllipseNothing, compact());

  // The old group parked in "-cpy" cannot be moved back over a dangling link.
  ASSERT_EQ(0, gs_->close());
  ASSERT_EQ(0, rename(groupDir().c_str(), (groupDir() + "-cpy").c_str()));
  ASSERT_EQ(0, symlink((groupDir() + "-gone").c_str(), groupDir().c_str()));
  EXPECT_EQ(-1, gs_->open(mgr_, "default"));
  EXPECT_EQ((std::vector<std::string>{
                "plain|modify doc fail index_name:idx db_name:db table_name:msg pkey:k",
                "plain|Out Ellipse --> the error code is 10",
                "4|ELLIPSE dir rename failed. default \n"}),
            log.lines());
  EXPECT_EQ(-1, gs_->modifyDoc("idx", "db", "msg", "k", 3, values));
  EXPECT_EQ(-1, gs_->delDoc("idx", "db", "msg", "k"));
  EXPECT_EQ(-1, gs_->getIndexDeleteCount());
  EXPECT_EQ(nullptr, gs_->getTableRecord("idx", "db", "msg"));
}

TEST_F(GroupSearcherTest, GroupsKeepTheirDirectoryAndTheManagerOpensEachOnce) {
  mgr_->addGroup("g2");
  mgr_->addGroup("g3");
  GroupSearcher* g2 = mgr_->group_config_get_searcher(mgr_->getGroup("g2"));
  ASSERT_NE(nullptr, g2);
  EXPECT_EQ(g2, mgr_->group_config_get_searcher(mgr_->getGroup("g2")));
  EXPECT_STREQ("g2", g2->getGroupName());
  EXPECT_EQ(1, is_dir((tmp_.path() + "/allin_g2/idx_0").c_str()));
  EXPECT_TRUE(mgr_->isEllipseComplete());
  EXPECT_NE(nullptr, mgr_->getGroup("g3")->searcher);  // opened by the check
  GroupSearcher unnamed;
  ASSERT_EQ(0, unnamed.open(mgr_, ""));
  EXPECT_STREQ((tmp_.path() + "/allin_").c_str(), unnamed.getIndexPath());
}

using EllipseTest = GroupFixture;

TEST_F(EllipseTest, ForcedCompactionPurgesDeletedDocumentsAndShrinksTheFiles) {
  // Twelve words with distinct first letters give about 200 terms a
  // document: two data files of postings, the first sorted when it filled.
  for (char c = 'a'; c < 'a' + 12; ++c) words_ += std::string(" ") + c + "bcdefghijklmnopq";
  fill(1500);
  ASSERT_EQ(2, gs_->getIndexMgr()->index_mgr->getStore()->blockNumber());
  unsigned int postings_before = gs_->getIndexMgr()->index_mgr->get_max_pos();
  unsigned long long bytes_before = get_dir_total_bytes(groupDir().c_str());

  for (int i = 0; i < 1500; i += 2) del(i);
  for (int i = 1; i < 100; i += 2) put(i, 1);  // the replaced versions go too
  ASSERT_EQ(GroupSearcher::kEllipseDone, compact());

  EXPECT_LT(gs_->getIndexMgr()->index_mgr->get_max_pos(), postings_before / 2);
  EXPECT_EQ(1, gs_->getIndexMgr()->index_mgr->getStore()->blockNumber());
  EXPECT_LT(get_dir_total_bytes(groupDir().c_str()), bytes_before);
  EXPECT_EQ(750u, gs_->getIndexMgr()->doc_mgr->getDocNumber());
  expectModel(true);
  EXPECT_FALSE(exists("-bak") || exists("-cpy"));
}

// The empty group's kEllipseNothing is checked with the log texts.
TEST_F(EllipseTest, ResultCodesAndChangesMadeWhileTheCopyIsBuilt) {
  fill(60);
  del(10);
  // Updates are logged from the first compaction on, even one that did
  // nothing, until one swaps in a fresh log.
  EXPECT_EQ(0u, gs_->getIndexMgr()->log_mgr->getCount());
  EXPECT_EQ(GroupSearcher::kEllipseTooFew, gs_->ellipseIndex("default", false));
  put(11, 1);  // version 0 of 11 is a deleted record of the snapshot
  del(12);
  EXPECT_EQ(3u, gs_->getIndexMgr()->log_mgr->getCount());
  std::thread writer;
  staged_->on_stage = [&](int stage) {
    if (stage == StagedSearcher::kCopying) {
      // A second compaction is refused at once; the manager sees this one.
      EXPECT_EQ(GroupSearcher::kEllipseRunning, compact());
      EXPECT_FALSE(mgr_->isEllipseComplete());
      // Updates wait while the stores are copied: these run once it is done.
      writer = std::thread([&] {
        put(100, 0);
        del(20);
        put(21, 1);
        put(11, 0);  // revives the version deleted before the snapshot
        put(12, 0);
      });
      return;
    }
    writer.join();
    put(23, 1);
    put(23, 0);  // and straight back to its snapshot version
    put(102, 0);
    del(102);
    put(30, 1);
    del(30);
  };
  ASSERT_EQ(GroupSearcher::kEllipseDone, compact());
  staged_->on_stage = nullptr;
  EXPECT_EQ(0u, gs_->getIndexMgr()->log_mgr->getCount());
  expectModel();

  // Updates after the swap reach the new bundle, and closing saves them with
  // auto-save off; reopened and swapped-in stores keep that setting.
  gs_->setAutoSave(false);
  put(24, 1);
  del(25);
  reopen();
  ASSERT_EQ(GroupSearcher::kEllipseDone, compact());
  expectModel(true);
  EXPECT_FALSE(gs_->getIndexMgr()->index_mgr->isAutoSave());
  EXPECT_FALSE(gs_->getIndexMgr()->doc_mgr->isAutoSave());
  gs_->close();
  EXPECT_EQ(GroupSearcher::kEllipseNoBundle, compact());
}

// The swap renames the group to "-cpy", then "-bak" (the copy) to the group.
TEST_F(EllipseTest, ReopeningAfterAnInterruptedSwapGivesACompleteGroup) {
  fill(30);
  del(3);
  ASSERT_EQ(0, gs_->close());
  fs::copy(groupDir(), groupDir() + "-old", fs::copy_options::recursive);

  // Stopped between the renames: the old group comes back.
  fs::rename(groupDir(), groupDir() + "-cpy");
  fs::create_directories(groupDir() + "-bak/idx_0");
  ASSERT_TRUE(ks_test::WriteFile(groupDir() + "-bak/id-0", "partial"));
  ASSERT_EQ(0, gs_->open(mgr_, "default"));
  EXPECT_FALSE(exists("-cpy"));
  expectModel();

  // Stopped before the first rename: the live group stays, and the next
  // compaction throws the partial copy away.
  reopen();
  EXPECT_TRUE(exists("-bak"));
  expectModel();
  ASSERT_EQ(GroupSearcher::kEllipseDone, compact());
  EXPECT_FALSE(exists("-bak"));

  // Stopped after the second rename: the new group stays.
  ASSERT_EQ(0, gs_->close());
  fs::rename(groupDir() + "-old", groupDir() + "-cpy");
  ASSERT_EQ(0, gs_->open(mgr_, "default"));
  EXPECT_FALSE(exists("-cpy"));
  EXPECT_EQ(29u, gs_->getIndexMgr()->doc_mgr->getDocNumber());
  expectModel();
}

}  // namespace
}  // namespace mobile_search
