// The engine behind the native methods is initialised and released while
// other host threads search, write and scan through it: a release waits for
// every call holding the engine, calls made meanwhile see no engine, and a
// release asked for from inside a call is refused.
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "adapter/adapter_fixture.h"
#include "bridge/engine.h"

namespace kestrinSearch {
namespace {

const char kKey[] = "lifecycle-key";

// An encrypted database with one table of `rows` messages.
void MakeDatabase(const std::string& path, int rows) {
  adapter_test::HostDb host(path, kKey);
  host.Exec("CREATE TABLE msgs(mid TEXT, body TEXT)");
  host.Exec("BEGIN");
  for (int i = 1; i <= rows; ++i) {
    host.Exec("INSERT INTO msgs VALUES('m" + std::to_string(i) + "', 'scanned row " +
              std::to_string(i) + "')");
  }
  host.Exec("COMMIT");
}

TEST(EngineLifecycleConcurrency, ReleaseAndInitWhileCallsRun) {
  ks_test::TempDir dir;
  const std::string root = dir.file("root"), db = dir.file("app.db");
  MakeDatabase(db, 2000);
  ASSERT_EQ(0, init_engine_impl(root.c_str(), 0));
  {
    EngineUse engine;
    ASSERT_NE(nullptr, engine.searcher());
    ASSERT_EQ(0, engine.searcher()->addIndex("idx", "app", "msgs", "mid", "body", "", "", "", "",
                                             nullptr));
    // Asked for from inside a call, a release or init would wait for itself.
    release_engine_impl();
    EXPECT_EQ(-1, init_engine_impl(root.c_str(), 0));
    EXPECT_NE(nullptr, EngineUse().searcher());
  }

  std::atomic<bool> done{false};
  std::atomic<int> served{0}, turned_away{0};
  auto worker = [&](int id) {
    for (int i = 0; !done; ++i) {
      EngineUse engine;
      mobile_search::Searcher* searcher = engine.searcher();
      if (searcher == nullptr) {
        ++turned_away;
        continue;
      }
      const std::string key = "w" + std::to_string(id) + "-" + std::to_string(i % 50);
      char text[] = "written row";
      char* values[] = {text};
      searcher->addDoc("idx", "app", "msgs", key.c_str(), 1, values);
      free(searcher->doSearch("idx", nullptr, "row", 0, 20, false));
      ++served;
    }
  };
  auto scanner = [&] {
    while (!done) {
      EngineUse engine;
      mobile_search::KSSearchDataAdapter* adapter = engine.adapter();
      if (adapter == nullptr) continue;
      adapter->addDB("app", db.c_str(), kKey, false);
      adapter->scanTable("app", "msgs", "idx");
    }
  };
  std::vector<std::thread> threads;
  threads.emplace_back(worker, 1);
  threads.emplace_back(worker, 2);
  threads.emplace_back(scanner);
  for (int round = 0; round < 8; ++round) {
    while (served < (round + 1) * 20) std::this_thread::yield();
    release_engine_impl();
    EXPECT_EQ(nullptr, EngineUse().searcher());
    ASSERT_EQ(0, init_engine_impl(root.c_str(), 0));
  }
  done = true;
  for (std::thread& t : threads) t.join();
  EXPECT_GT(turned_away + served, 0);
  // The configuration written by the first engine registered the index again
  // at every init.
  {
    EngineUse engine;
    ASSERT_NE(nullptr, engine.searcher());
    EXPECT_EQ(1, engine.searcher()->getConfigSectionNum());
  }
  release_engine_impl();
  EXPECT_EQ(nullptr, EngineUse().adapter());
}

}  // namespace
}  // namespace kestrinSearch
