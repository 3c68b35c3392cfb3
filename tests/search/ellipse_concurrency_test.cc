// Searches, updates and compactions of one group at once. The searchers
// check what holds at every moment (a content is found at most once and only
// under its own key; no key has two live documents); the final group must
// equal what the updates said.
#include <atomic>
#include <chrono>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "group_searcher_fixture.h"
#include "search/group_searcher.h"
#include "search/table_result.h"

namespace ks_test {
namespace {

using mobile_search::TableResult;

const int kKeys = 120;
const int kUpdates = 1200;

class EllipseConcurrency : public GroupFixture {};

TEST_F(EllipseConcurrency, SearchesUpdatesAndCompactionsTogether) {
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
      TableResult* listing = gs_->getTableRecord("idx", "db", "msg");
      std::set<std::string> keys;
      for (int k = 0; listing != nullptr && k < listing->getCount(); ++k) {
        if (!keys.insert(listing->getPkey(k)->data).second) ++failures;
      }
      delete listing;
    }
  };
  std::thread s1(searcher, 1u), s2(searcher, 2u);
  updater.join();
  compactor.join();
  s1.join();
  s2.join();
  EXPECT_EQ(0, failures.load());
  EXPECT_GT(compactions.load(), 0);

  expectModel();
  ASSERT_EQ(GroupSearcher::kEllipseDone, gs_->ellipseIndex("default", true));
  reopen();
  expectModel(true);
}

}  // namespace
}  // namespace ks_test
