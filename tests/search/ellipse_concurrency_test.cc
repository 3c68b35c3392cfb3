// Searches, updates and compactions of one group running at once. Searchers
// check invariants that hold at every moment (a content is found at most
// once, and only under its own key; no key has two live documents); the
// final group must equal what the updates say.
#include <atomic>
#include <chrono>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "foundation/dynamic_array.h"
#include "foundation/hash.h"
#include "group_searcher_fixture.h"
#include "search/group_searcher.h"
#include "search/search_index_config.h"
#include "search/search_result.h"
#include "search/table_result.h"

namespace ks_test {
namespace {

using mobile_search::SearchIndexConfig;
using mobile_search::SearchResult;
using mobile_search::TableResult;
using mobile_search::_DArray;

const int kKeys = 120;
const int kUpdates = 1200;

std::string Key(int i) { return "k" + std::to_string(i); }
std::string Tag(int i, int version) {
  return "t" + std::to_string(i) + "x" + std::to_string(version);
}

// Keys of the documents that hold `word`, found through query evaluation.
std::vector<std::string> Search(GroupSearcher* gs, const std::string& word) {
  SearchIndexConfig config;
  config.createConfigItem("idx", 0, 100);
  _DArray* names = mobile_search::darray_create(nullptr, false);
  _DArray* tokens = mobile_search::darray_create(nullptr, false);
  mobile_search::darray_append(
      tokens, static_cast<unsigned long long>(mobile_search::idx_sign32(
                  word.c_str(), static_cast<unsigned int>(word.size()))));
  _DArray* lists[2] = {names, tokens};
  SearchResult result(true);
  gs->doSearchIndex(&result, &config, lists, 2);
  std::vector<std::string> keys;
  for (int t = 0; t < result.getTableCount(); ++t) {
    TableResult* table = result.getTableResult(t);
    for (int i = 0; i < table->getCount(); ++i) keys.push_back(table->getPkey(i)->data);
  }
  mobile_search::darray_destroy(names);
  mobile_search::darray_destroy(tokens);
  return keys;
}

class EllipseConcurrency : public GroupFixture {
 protected:
  // Pauses after each copy so that the updates held off by it run before
  // the replay and are carried over from the log.
  GroupSearcher* makeSearcher() override {
    StagedSearcher* gs = new StagedSearcher();
    gs->on_stage = [](int stage) {
      if (stage == StagedSearcher::kCopied) {
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
      }
    };
    return gs;
  }
};

TEST_F(EllipseConcurrency, SearchesUpdatesAndCompactionsTogether) {
  DocModel model;
  std::set<std::string> gone;
  for (int i = 0; i < kKeys; ++i) {
    ASSERT_EQ(0, PutDoc(gs_, Key(i), Tag(i, 0)));
    model[Key(i)] = Tag(i, 0);
  }

  std::atomic<bool> done(false);
  std::atomic<int> failures(0);
  std::atomic<int> compactions(0);

  std::thread updater([&] {
    std::mt19937 rng(7);
    std::vector<int> version(kKeys, 0);
    for (int n = 0; n < kUpdates; ++n) {
      int i = static_cast<int>(rng() % kKeys);
      unsigned int what = rng() % 10;
      int rc;
      if (what < 3) {
        rc = DelDoc(gs_, Key(i));
        if (model.count(Key(i))) gone.insert(model[Key(i)]);
        model.erase(Key(i));
      } else {
        // New content, or back to the first content (reviving it), or the
        // current content again (nothing to do).
        int v = what < 6 ? ++version[i] : what < 8 ? 0 : version[i];
        rc = PutDoc(gs_, Key(i), Tag(i, v));
        if (model.count(Key(i))) gone.insert(model[Key(i)]);
        model[Key(i)] = Tag(i, v);
      }
      if (rc != 0) ++failures;
    }
    done = true;
  });

  std::thread compactor([&] {
    while (!done) {
      int rc = gs_->ellipseIndex("default", true);
      if (rc == GroupSearcher::kEllipseDone) {
        ++compactions;
      } else if (rc != GroupSearcher::kEllipseNothing) {
        ++failures;
      }
    }
  });

  auto searcher = [&](unsigned int seed) {
    std::mt19937 rng(seed);
    while (!done) {
      int i = static_cast<int>(rng() % kKeys);
      for (const std::string& key : Search(gs_, Tag(i, 0))) {
        if (key != Key(i)) ++failures;
      }
      if (Search(gs_, Tag(i, 0)).size() > 1) ++failures;
      TableResult* listing = gs_->getTableRecord("idx", "db", "msg");
      std::set<std::string> keys;
      for (int k = 0; listing != nullptr && k < listing->getCount(); ++k) {
        if (!keys.insert(listing->getPkey(k)->data).second) ++failures;
      }
      delete listing;
      if (gs_->getIndexDeleteCount() < 0) ++failures;
    }
  };
  std::thread s1(searcher, 1u);
  std::thread s2(searcher, 2u);

  updater.join();
  compactor.join();
  s1.join();
  s2.join();
  EXPECT_EQ(0, failures.load());
  EXPECT_GT(compactions.load(), 0);

  for (const auto& kv : model) gone.erase(kv.second);
  ExpectGroupMatches(gs_, model, gone);
  for (const auto& kv : model) {
    EXPECT_EQ(std::vector<std::string>{kv.first}, Search(gs_, kv.second)) << kv.second;
  }
  ASSERT_EQ(GroupSearcher::kEllipseDone, gs_->ellipseIndex("default", true));
  EXPECT_EQ(0, gs_->getIndexDeleteCount());
  ExpectGroupMatches(gs_, model, gone);
  ASSERT_EQ(0, gs_->close());
  ASSERT_EQ(0, gs_->open(mgr_, "default"));
  ExpectGroupMatches(gs_, model, gone);
}

}  // namespace
}  // namespace ks_test
