// Compaction of a group: result codes, purging, changes made while the copy
// is built, and reopening after a stop in the middle of the swap.
#include <filesystem>
#include <string>
#include <thread>

#include "config/config_manager.h"
#include "foundation/file_util.h"
#include "group_searcher_fixture.h"
#include "search/group_searcher.h"
#include "storage/log_manager.h"

namespace ks_test {
namespace {

namespace fs = std::filesystem;

std::string Key(int i) { return "k" + std::to_string(i); }
std::string Tag(int i, int version) {
  return "t" + std::to_string(i) + "x" + std::to_string(version);
}

class EllipseTest : public GroupFixture {
 protected:
  GroupSearcher* makeSearcher() override { return staged_ = new StagedSearcher(); }

  // Adds documents [from, to) with version 0, saving once at the end.
  void fill(int from, int to) {
    gs_->setAutoSave(false);
    for (int i = from; i < to; ++i) {
      ASSERT_EQ(0, PutDoc(gs_, Key(i), Tag(i, 0)));
      model_[Key(i)] = Tag(i, 0);
    }
    gs_->setAutoSave(true);
    gs_->save();
  }
  void put(int i, int version) {
    ASSERT_EQ(0, PutDoc(gs_, Key(i), Tag(i, version)));
    if (model_.count(Key(i))) gone_.insert(model_[Key(i)]);
    model_[Key(i)] = Tag(i, version);
  }
  void del(int i) {
    ASSERT_EQ(0, DelDoc(gs_, Key(i)));
    if (model_.count(Key(i))) gone_.insert(model_[Key(i)]);
    model_.erase(Key(i));
  }
  void expectModel() {
    // A tag that came back (a revived version) is not gone.
    std::set<std::string> gone;
    for (const std::string& t : gone_) gone.insert(t);
    for (const auto& kv : model_) gone.erase(kv.second);
    ExpectGroupMatches(gs_, model_, gone);
  }
  void reopen() {
    ASSERT_EQ(0, gs_->close());
    ASSERT_EQ(0, gs_->open(mgr_, "default"));
  }
  bool exists(const std::string& suffix) { return FileExists(groupDir() + suffix); }

  StagedSearcher* staged_ = nullptr;
  DocModel model_;
  std::set<std::string> gone_;
};

TEST_F(EllipseTest, ResultCodesFollowTheGroupState) {
  EXPECT_EQ(GroupSearcher::kEllipseNothing, gs_->ellipseIndex("default", true));

  fill(0, 600);
  for (int i = 0; i < 500; ++i) del(i);
  EXPECT_EQ(500, gs_->getIndexDeleteCount());
  EXPECT_EQ(GroupSearcher::kEllipseTooFew, gs_->ellipseIndex("default", false));
  EXPECT_EQ(600u, gs_->getIndexMgr()->doc_mgr->getDocNumber());

  // A second compaction while the first copies is refused at once, and the
  // configuration manager sees the running one.
  mobile_search::SGroupConfig* group = mgr_->getGroup("default");
  group->searcher = gs_;
  int nested = 99;
  bool complete_during = true;
  staged_->on_stage = [&](int stage) {
    if (stage != StagedSearcher::kCopying) return;
    nested = gs_->ellipseIndex("default", true);
    complete_during = mgr_->isEllipseComplete();
  };
  EXPECT_EQ(GroupSearcher::kEllipseDone, gs_->ellipseIndex("default", true));
  EXPECT_EQ(GroupSearcher::kEllipseRunning, nested);
  EXPECT_FALSE(complete_during);
  EXPECT_TRUE(mgr_->isEllipseComplete());
  group->searcher = nullptr;
  staged_->on_stage = nullptr;

  EXPECT_EQ(100u, gs_->getIndexMgr()->doc_mgr->getDocNumber());
  EXPECT_EQ(0, gs_->getIndexDeleteCount());
  expectModel();

  gs_->close();
  EXPECT_EQ(GroupSearcher::kEllipseNoBundle, gs_->ellipseIndex("default", true));
}

TEST_F(EllipseTest, ForcedCompactionPurgesDeletedDocumentsAndShrinksTheFiles) {
  // Enough postings for two data files of the index, the first one sorted.
  gs_->setAutoSave(false);
  // Twelve words with distinct first letters: about 200 prefix terms.
  std::string words;
  for (char c = 'a'; c < 'a' + 12; ++c) words += std::string(" ") + c + "bcdefghijklmnopq";
  for (int i = 0; i < 1800; ++i) {
    std::string title = Tag(i, 0) + words;
    std::string tag = Tag(i, 0);
    char* values[3] = {const_cast<char*>(title.c_str()), const_cast<char*>(tag.c_str()),
                       const_cast<char*>("")};
    ASSERT_EQ(0, gs_->modifyDoc("idx", "db", "msg", Key(i).c_str(), 3, values));
    model_[Key(i)] = tag;
  }
  gs_->save();
  mobile_search::BlockFiles* postings = gs_->getIndexMgr()->index_mgr->getStore();
  ASSERT_EQ(2, postings->blockNumber());
  unsigned int before = gs_->getIndexMgr()->index_mgr->get_max_pos();
  unsigned long long bytes_before = get_dir_total_bytes(groupDir().c_str());

  for (int i = 0; i < 1800; i += 2) del(i);
  for (int i = 1; i < 100; i += 2) put(i, 1);  // changed: the old version goes too
  gs_->setAutoSave(true);
  ASSERT_EQ(GroupSearcher::kEllipseDone, gs_->ellipseIndex("default", true));

  unsigned int after = gs_->getIndexMgr()->index_mgr->get_max_pos();
  EXPECT_LT(after, before / 2);
  EXPECT_EQ(1, gs_->getIndexMgr()->index_mgr->getStore()->blockNumber());
  EXPECT_LT(get_dir_total_bytes(groupDir().c_str()), bytes_before);
  EXPECT_EQ(900u, gs_->getIndexMgr()->doc_mgr->getDocNumber());
  EXPECT_EQ(0, gs_->getIndexDeleteCount());
  ExpectPostingsOnlyOfLiveDocuments(gs_, model_);
  // Lookups through the index for a sample.
  for (int i = 1; i < 1800; i += 98) {
    EXPECT_EQ(std::multiset<std::string>{Key(i)}, LiveHolders(gs_, model_[Key(i)]));
  }
  EXPECT_TRUE(Postings(gs_, Tag(0, 0)).empty());
  EXPECT_TRUE(Postings(gs_, Tag(1, 0)).empty());
  EXPECT_FALSE(exists("-bak"));
  EXPECT_FALSE(exists("-cpy"));

  reopen();
  for (int i = 1; i < 40; i += 2) del(i);
  // The compacted group compacts again.
  ASSERT_EQ(GroupSearcher::kEllipseDone, gs_->ellipseIndex("default", true));
  ExpectPostingsOnlyOfLiveDocuments(gs_, model_);
}

TEST_F(EllipseTest, ChangesMadeWhileTheCopyIsBuiltSurviveTheSwap) {
  fill(0, 60);
  del(10);
  put(11, 1);  // 11 version 0 is now a deleted record of the snapshot
  del(12);
  del(13);

  std::thread writer;
  staged_->on_stage = [&](int stage) {
    if (stage == StagedSearcher::kCopying) {
      // Updates wait while the stores are copied; these run as soon as the
      // copy is done, before the replay.
      writer = std::thread([&] {
        put(100, 0);
        del(20);
        put(21, 1);
        put(11, 0);  // back to the version deleted before the snapshot
        put(12, 0);  // revives a document deleted before the snapshot
      });
    } else {
      // Nothing held: these are logged and replayed before the swap.
      writer.join();
      put(101, 0);
      put(13, 0);  // revives a document deleted before the snapshot
      del(22);
      put(23, 1);
      put(23, 0);  // and straight back
      put(102, 0);
      del(102);    // added and deleted within the window
      put(30, 1);
      del(30);
    }
  };
  ASSERT_EQ(GroupSearcher::kEllipseDone, gs_->ellipseIndex("default", true));
  staged_->on_stage = nullptr;
  expectModel();
  EXPECT_EQ(0u, gs_->getIndexMgr()->log_mgr->getCount());

  // Updates after the swap go to the new bundle.
  put(24, 1);
  del(25);
  expectModel();
  reopen();
  expectModel();
  ASSERT_EQ(GroupSearcher::kEllipseDone, gs_->ellipseIndex("default", true));
  expectModel();
}

// A stop between the two renames leaves the old group in "-cpy" and the
// finished copy in "-bak"; reopening brings the old group back whole.
TEST_F(EllipseTest, ReopeningAfterAStopBetweenTheRenamesRestoresTheGroup) {
  fill(0, 30);
  del(3);
  ASSERT_EQ(0, gs_->close());
  fs::rename(groupDir(), groupDir() + "-cpy");
  fs::create_directories(groupDir() + "-bak/idx_0");
  ASSERT_TRUE(WriteFile(groupDir() + "-bak/id-info", std::string("\x05\0\0", 3)));

  ASSERT_EQ(0, gs_->open(mgr_, "default"));
  EXPECT_FALSE(exists("-cpy"));
  expectModel();
  // The leftover copy is thrown away by the next compaction.
  ASSERT_EQ(GroupSearcher::kEllipseDone, gs_->ellipseIndex("default", true));
  EXPECT_FALSE(exists("-bak"));
  expectModel();
}

// A stop before the first rename leaves the live group and a partial copy;
// a stop after the second leaves the new group and the old one in "-cpy".
TEST_F(EllipseTest, ReopeningAfterAStopBeforeOrAfterTheRenamesKeepsTheLiveGroup) {
  fill(0, 30);
  del(4);
  ASSERT_EQ(0, gs_->close());
  fs::copy(groupDir(), groupDir() + "-old", fs::copy_options::recursive);
  fs::create_directories(groupDir() + "-bak");
  ASSERT_TRUE(WriteFile(groupDir() + "-bak/id-0", "partial"));

  ASSERT_EQ(0, gs_->open(mgr_, "default"));
  EXPECT_TRUE(exists("-bak"));
  expectModel();

  ASSERT_EQ(GroupSearcher::kEllipseDone, gs_->ellipseIndex("default", true));
  ASSERT_EQ(0, gs_->close());
  fs::rename(groupDir() + "-old", groupDir() + "-cpy");
  ASSERT_EQ(0, gs_->open(mgr_, "default"));
  EXPECT_FALSE(exists("-cpy"));
  EXPECT_EQ(29u, gs_->getIndexMgr()->doc_mgr->getDocNumber());  // the compacted group
  expectModel();
}

}  // namespace
}  // namespace ks_test
