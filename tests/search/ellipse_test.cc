// Compaction of a group: result codes, purging, changes made while the copy
// is built, reopening after a stop in the middle of the swap, and compactions
// beside searches and updates.
#include <atomic>
#include <chrono>
#include <filesystem>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "foundation/file_util.h"
#include "group_searcher_fixture.h"
#include "search/group_searcher.h"
#include "search/table_result.h"
#include "storage/log_manager.h"

namespace ks_test {
namespace {

namespace fs = std::filesystem;

class EllipseTest : public GroupFixture {
 protected:
  int compact() { return gs_->ellipseIndex("default", true); }
  bool exists(const std::string& suffix) { return FileExists(groupDir() + suffix); }
};

TEST_F(EllipseTest, ForcedCompactionPurgesDeletedDocumentsAndShrinksTheFiles) {
  // Twelve words with distinct first letters give about 200 terms a
  // document: two data files of postings, the first sorted when it filled.
  for (char c = 'a'; c < 'a' + 12; ++c) words_ += std::string(" ") + c + "bcdefghijklmnopq";
  fill(0, 1500);
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
  fill(0, 60);
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

  put(24, 1);  // updates after the swap reach the new bundle
  del(25);
  reopen();
  ASSERT_EQ(GroupSearcher::kEllipseDone, compact());
  expectModel(true);
  gs_->close();
  EXPECT_EQ(GroupSearcher::kEllipseNoBundle, compact());
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

// The searchers check what holds at every moment (a content is found at
// most once and only under its own key; no key has two live documents); the
// final group must equal what the updates said.
class EllipseConcurrency : public GroupFixture {};

TEST_F(EllipseConcurrency, SearchesUpdatesAndCompactionsTogether) {
  const int kKeys = 120, kUpdates = 1200;
  fill(0, kKeys);
  // A pause after each copy lets the updates it held off run before the
  // replay, so that they are carried over from the log.
  staged_->on_stage = [](int stage) {
    if (stage == StagedSearcher::kCopied) {
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
  };
  std::atomic<bool> done(false), compacting(false);
  std::atomic<int> failures(0), compactions(0);

  std::thread updater([&] {
    std::mt19937 rng(7);
    std::vector<int> version(kKeys, 0);
    while (!compacting) std::this_thread::yield();
    for (int n = 0; n < kUpdates; ++n) {
      int i = static_cast<int>(rng() % kKeys);
      unsigned int what = rng() % 10;
      // Delete, new content, back to the first content (a revival), or the
      // current content again (nothing to do).
      if (what < 3) {
        del(i);
      } else {
        put(i, what < 6 ? ++version[i] : what < 8 ? 0 : version[i]);
      }
    }
    done = true;
  });
  std::thread compactor([&] {
    compacting = true;
    do {
      int rc = gs_->ellipseIndex("default", true);
      if (rc == GroupSearcher::kEllipseDone) ++compactions;
      if (rc != GroupSearcher::kEllipseDone && rc != GroupSearcher::kEllipseNothing) ++failures;
    } while (!done);
  });
  auto searcher = [&](unsigned int seed) {
    std::mt19937 rng(seed);
    while (!done) {
      int i = static_cast<int>(rng() % kKeys);
      std::vector<std::string> found = Found(gs_, Tag(i, 0));
      if (found.size() > 1 || (found.size() == 1 && found[0] != Key(i))) ++failures;
      mobile_search::TableResult* listing = gs_->getTableRecord("idx", "db", "msg");
      std::set<std::string> keys;
      for (int k = 0; listing != nullptr && k < listing->getCount(); ++k) {
        if (!keys.insert(listing->getPkey(k)->data).second) ++failures;
      }
      delete listing;
    }
  };
  std::thread s1(searcher, 1u), s2(searcher, 2u);
  for (std::thread* t : {&updater, &compactor, &s1, &s2}) t->join();
  EXPECT_EQ(0, failures.load());
  EXPECT_GT(compactions.load(), 0);
  ASSERT_EQ(GroupSearcher::kEllipseDone, gs_->ellipseIndex("default", true));
  reopen();
  expectModel(true);
}

}  // namespace
}  // namespace ks_test
