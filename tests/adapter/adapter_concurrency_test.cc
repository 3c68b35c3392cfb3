// A host thread writing through a hooked connection while a worker thread
// scans the same table: no deadlock, and afterwards the index holds exactly
// the table's live rows. Run under ThreadSanitizer in CI.
#include <gtest/gtest.h>

#include <atomic>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "adapter_fixture.h"

namespace adapter_test {
namespace {

// Inserts row id i with key and body Word(i).
std::string Insert(int i) {
  return "INSERT INTO msgs(rowid, mid, body) VALUES(" + std::to_string(i) + ",'" + Word(i) + "','" +
         Word(i) + "')";
}

class AdapterConcurrency : public HostedEngineTest {};

TEST_F(AdapterConcurrency, WriterAndScannerOnTheSameTable) {
  const int kInitialRows = 1000, kWrites = 200;
  SetUpHosted("concurrency-key",
              {"PRAGMA synchronous=NORMAL;", "CREATE TABLE msgs(mid TEXT, body TEXT)"}, true);
  HostDb& writer = *host_;
  Engine& engine = *engine_;
  writer.Exec("BEGIN");
  for (int i = 1; i <= kInitialRows; ++i) writer.Exec(Insert(i));
  writer.Exec("COMMIT");
  ASSERT_EQ(0, engine.Register("idx", "app", "msgs", "body"));
  ASSERT_EQ(0, adapter()->startHook("app", writer.conn()));

  // Rows below the published progress are never read by the scan again, so
  // the writer changes and deletes only those; it inserts anywhere above.
  std::atomic<int> progress{0};
  std::atomic<bool> scan_done{false};
  int last_result = 1;
  std::thread scanner([&] {
    for (int guard = 0; last_result > 0 && guard < 1000; ++guard) {
      last_result = adapter()->scanTable("app", "msgs", "idx");
      progress = engine.MaxRowid("idx");
    }
    scan_done = true;
  });

  std::set<int> live, deleted;
  for (int i = 1; i <= kInitialRows; ++i) live.insert(i);
  std::mt19937 rng(7);
  int next_rowid = kInitialRows + 1, writes_during_scan = 0;
  // Keeps writing for as long as the scan runs, and kWrites times at least.
  for (int n = 0; n < kWrites || (!scan_done && n < 100 * kWrites); ++n) {
    writes_during_scan += !scan_done;
    std::vector<int> eligible(live.begin(), live.lower_bound(progress));
    const int choice = eligible.empty() ? 0 : static_cast<int>(rng() % 3);
    const int r = choice == 0 ? next_rowid++ : eligible[rng() % eligible.size()];
    if (choice == 0) {
      writer.Exec(Insert(r));
      live.insert(r);
    } else if (choice == 1) {
      writer.Exec("UPDATE msgs SET body='" + Word(r) + " pv" + static_cast<char>('a' + n % 26) +
                  "' WHERE rowid=" + std::to_string(r));
    } else {
      writer.Exec("DELETE FROM msgs WHERE rowid=" + std::to_string(r));
      live.erase(r);
      deleted.insert(r);
    }
  }
  scanner.join();
  EXPECT_EQ(0, last_result);
  EXPECT_FALSE(deleted.empty());
  EXPECT_GT(writes_during_scan, 0);

  std::set<std::string> expected;
  for (int r : live) expected.insert(Word(r));
  EXPECT_EQ(expected, engine.TableKeys("idx"));
  for (int r : live) EXPECT_TRUE(engine.Finds("idx", Word(r), Word(r))) << r;
  for (int r : deleted) EXPECT_FALSE(engine.Finds("idx", Word(r), Word(r))) << r;
}

}  // namespace
}  // namespace adapter_test
