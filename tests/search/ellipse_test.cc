// Compaction of a group: result codes, purging, changes made while the copy
// is built, and reopening after a stop in the middle of the swap.
#include <filesystem>
#include <string>
#include <thread>

#include "foundation/file_util.h"
#include "group_searcher_fixture.h"
#include "search/group_searcher.h"
#include "storage/log_manager.h"

namespace ks_test {
namespace {

namespace fs = std::filesystem;

class EllipseTest : public GroupFixture {
 protected:
  int compact() { return gs_->ellipseIndex("default", true); }
  bool exists(const std::string& suffix) { return FileExists(groupDir() + suffix); }
};

TEST_F(EllipseTest, ResultCodesFollowTheGroupState) {
  EXPECT_EQ(GroupSearcher::kEllipseNothing, compact());
  fill(0, 600);
  for (int i = 0; i < 500; ++i) del(i);
  EXPECT_EQ(GroupSearcher::kEllipseTooFew, gs_->ellipseIndex("default", false));
  EXPECT_EQ(600u, gs_->getIndexMgr()->doc_mgr->getDocNumber());

  // A second compaction while the first copies is refused at once, and the
  // configuration manager sees the running one.
  mobile_search::SGroupConfig* group = mgr_->getGroup("default");
  group->searcher = gs_;
  int nested = 0;
  bool complete_during = true;
  staged_->on_stage = [&](int stage) {
    if (stage != StagedSearcher::kCopying) return;
    nested = compact();
    complete_during = mgr_->isEllipseComplete();
  };
  EXPECT_EQ(GroupSearcher::kEllipseDone, compact());
  EXPECT_EQ(GroupSearcher::kEllipseRunning, nested);
  EXPECT_FALSE(complete_during);
  EXPECT_TRUE(mgr_->isEllipseComplete());
  group->searcher = nullptr;

  EXPECT_EQ(100u, gs_->getIndexMgr()->doc_mgr->getDocNumber());
  EXPECT_EQ(0, gs_->getIndexDeleteCount());
  expectModel();
  gs_->close();
  EXPECT_EQ(GroupSearcher::kEllipseNoBundle, compact());
}

TEST_F(EllipseTest, ForcedCompactionPurgesDeletedDocumentsAndShrinksTheFiles) {
  // Twelve words with distinct first letters give about 200 terms a
  // document: two data files of postings, the first sorted when it filled.
  std::string words;
  for (char c = 'a'; c < 'a' + 12; ++c) words += std::string(" ") + c + "bcdefghijklmnopq";
  gs_->setAutoSave(false);
  for (int i = 0; i < 1800; ++i) {
    std::string title = Tag(i, 0) + words, tag = Tag(i, 0);
    char* values[3] = {&title[0], &tag[0], const_cast<char*>("")};
    ASSERT_EQ(0, gs_->modifyDoc("idx", "db", "msg", Key(i).c_str(), 3, values));
    model_[Key(i)] = tag;
  }
  gs_->setAutoSave(true);
  gs_->save();
  ASSERT_EQ(2, gs_->getIndexMgr()->index_mgr->getStore()->blockNumber());
  unsigned int postings_before = gs_->getIndexMgr()->index_mgr->get_max_pos();
  unsigned long long bytes_before = get_dir_total_bytes(groupDir().c_str());

  for (int i = 0; i < 1800; i += 2) del(i);
  for (int i = 1; i < 100; i += 2) put(i, 1);  // the replaced versions go too
  ASSERT_EQ(GroupSearcher::kEllipseDone, compact());

  EXPECT_LT(gs_->getIndexMgr()->index_mgr->get_max_pos(), postings_before / 2);
  EXPECT_EQ(1, gs_->getIndexMgr()->index_mgr->getStore()->blockNumber());
  EXPECT_LT(get_dir_total_bytes(groupDir().c_str()), bytes_before);
  EXPECT_EQ(900u, gs_->getIndexMgr()->doc_mgr->getDocNumber());
  ExpectPostingsOnlyOfLive(gs_, model_);
  for (int i = 1; i < 1800; i += 98) {  // lookups for a sample
    EXPECT_EQ(std::multiset<std::string>{Key(i)}, LiveHolders(gs_, model_[Key(i)]));
  }
  EXPECT_TRUE(Postings(gs_, Tag(1, 0)).empty());
  EXPECT_FALSE(exists("-bak"));
  EXPECT_FALSE(exists("-cpy"));

  reopen();
  for (int i = 1; i < 40; i += 2) del(i);
  ASSERT_EQ(GroupSearcher::kEllipseDone, compact());
  ExpectPostingsOnlyOfLive(gs_, model_);
}

TEST_F(EllipseTest, ChangesMadeWhileTheCopyIsBuiltSurviveTheSwap) {
  fill(0, 60);
  del(10);
  put(11, 1);  // version 0 of 11 is a deleted record of the snapshot
  del(12);
  del(13);
  std::thread writer;
  staged_->on_stage = [&](int stage) {
    if (stage == StagedSearcher::kCopying) {
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
    put(101, 0);
    put(13, 0);
    del(22);
    put(23, 1);
    put(23, 0);  // and straight back to its snapshot version
    put(102, 0);
    del(102);
    put(30, 1);
    del(30);
  };
  ASSERT_EQ(GroupSearcher::kEllipseDone, compact());
  staged_->on_stage = nullptr;
  expectModel();
  EXPECT_EQ(0u, gs_->getIndexMgr()->log_mgr->getCount());  // a fresh log

  put(24, 1);  // updates after the swap reach the new bundle
  del(25);
  reopen();
  expectModel();
  ASSERT_EQ(GroupSearcher::kEllipseDone, compact());
  expectModel();
}

// The swap renames the group to "-cpy", then "-bak" (the copy) to the group.
TEST_F(EllipseTest, ReopeningAfterAnInterruptedSwapGivesACompleteGroup) {
  fill(0, 30);
  del(3);
  ASSERT_EQ(0, gs_->close());
  fs::copy(groupDir(), groupDir() + "-old", fs::copy_options::recursive);

  // Stopped between the renames: the old group comes back.
  fs::rename(groupDir(), groupDir() + "-cpy");
  fs::create_directories(groupDir() + "-bak/idx_0");
  ASSERT_TRUE(WriteFile(groupDir() + "-bak/id-0", "partial"));
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
}  // namespace ks_test
