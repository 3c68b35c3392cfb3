// A host thread writing through a hooked connection while a worker thread
// scans the same table: no deadlock, and afterwards the index holds exactly
// the table's live rows. Run under ThreadSanitizer in CI.
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "adapter_fixture.h"
#include "test_util.h"

namespace adapter_test {
namespace {


const char kKey[] = "concurrency-key";

std::string Row(int i, int version) {
  return "(" + std::to_string(i) + ",'" + Word(i) + "','" + Word(i) + " pv" +
         static_cast<char>('a' + version % 26) + "')";
}

TEST(AdapterConcurrency, WriterAndScannerOnTheSameTable) {
  LogCapture::Install();
  ks_test::TempDir dir;
  const std::string path = dir.file("app.db");
  const int kInitialRows = 1000;
  const int kWrites = 200;
  HostDb writer(path, kKey, /*wal=*/true);
  writer.Exec("PRAGMA synchronous=NORMAL;");
  writer.Exec("CREATE TABLE msgs(mid TEXT, body TEXT)");
  writer.Exec("BEGIN");
  for (int i = 1; i <= kInitialRows; ++i) {
    writer.Exec("INSERT INTO msgs(rowid, mid, body) VALUES" + Row(i, 0));
  }
  writer.Exec("COMMIT");

  Engine engine(dir.file("root"));
  KSSearchDataAdapter* adapter = engine.adapter();
  ASSERT_EQ(0, adapter->addDB("app", path.c_str(), kKey, true));
  ASSERT_EQ(0, engine.Register("idx", "app", "msgs", "mid", "body"));
  ASSERT_EQ(0, adapter->startHook("app", writer.conn()));

  // Rows below the published progress are never read by the scan again, so
  // the writer changes and deletes only those; it inserts anywhere above.
  std::atomic<int> progress{0};
  std::atomic<bool> scan_done{false};
  std::vector<int> scan_results;
  std::thread scanner([&] {
    for (int guard = 0; guard < 1000; ++guard) {
      int r = adapter->scanTable("app", "msgs", "idx");
      scan_results.push_back(r);
      progress = engine.MaxRowid("app", "msgs", "idx");
      if (r <= 0) break;
    }
    scan_done = true;
  });

  std::set<int> live;
  for (int i = 1; i <= kInitialRows; ++i) live.insert(i);
  std::set<int> deleted;
  std::mt19937 rng(7);
  int next_rowid = kInitialRows + 1;
  int writes_during_scan = 0;
  // Keeps writing for as long as the scan runs, and kWrites times at least.
  for (int n = 0; n < kWrites || (!scan_done && n < 100 * kWrites); ++n) {
    if (!scan_done) ++writes_during_scan;
    int below = progress;
    std::vector<int> eligible;
    for (int r : live) {
      if (r < below) eligible.push_back(r);
    }
    int choice = static_cast<int>(rng() % 3);
    if (choice == 0 || eligible.empty()) {
      writer.Exec("INSERT INTO msgs(rowid, mid, body) VALUES" + Row(next_rowid, 0));
      live.insert(next_rowid++);
    } else {
      int r = eligible[rng() % eligible.size()];
      if (choice == 1) {
        writer.Exec("UPDATE msgs SET body='" + Word(r) + " pv" +
                    static_cast<char>('a' + n % 26) + "' WHERE rowid=" + std::to_string(r));
      } else {
        writer.Exec("DELETE FROM msgs WHERE rowid=" + std::to_string(r));
        live.erase(r);
        deleted.insert(r);
      }
    }
  }
  scanner.join();
  ASSERT_TRUE(scan_done);
  ASSERT_FALSE(scan_results.empty());
  EXPECT_EQ(0, scan_results.back());
  EXPECT_FALSE(deleted.empty());
  EXPECT_GT(writes_during_scan, 0);

  std::set<std::string> expected;
  for (int r : live) expected.insert(Word(r));
  EXPECT_EQ(expected, engine.TableKeys("idx", "app", "msgs"));
  for (int r : live) EXPECT_TRUE(engine.Finds("idx", Word(r), Word(r))) << r;
  for (int r : deleted) EXPECT_FALSE(engine.Finds("idx", Word(r), Word(r))) << r;
}

}  // namespace
}  // namespace adapter_test
