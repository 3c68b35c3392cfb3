// The change hook on a real encrypted database: the host writes through its
// own keyed connection and the index follows each statement, also while a
// worker thread scans the same table (run under ThreadSanitizer in CI).
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

using Keys = std::set<std::string>;

class ChangeHookTest : public HostedEngineTest {
 protected:
  void SetUp() override {
    SetUpHosted("hook-key", {"CREATE TABLE msgs(mid TEXT, body TEXT, status INTEGER)",
                             "CREATE TABLE other(x TEXT)"});
  }
  void Insert(const std::string& key, const std::string& body, int status = 1) {
    host_->Exec("INSERT INTO msgs VALUES('" + key + "','" + body + "'," + std::to_string(status) +
                ")");
  }
};

TEST_F(ChangeHookTest, InsertsUpdatesAndDeletesAreFollowedInEachHookMode) {
  ASSERT_EQ(0, Register("idx", "app", "msgs", "body"));
  ASSERT_EQ(0, Register("live", "app", "msgs", "body", "status = 1"));
  ASSERT_EQ(0, Register("noupd", "app", "msgs", "body", "", "", 1));
  ASSERT_EQ(0, Register("noins", "app", "msgs", "body", "", "", 2));
  ASSERT_EQ(0, adapter_->startHook("app", host_->conn));
  Insert("k1", Word(1));
  Insert("out", Word(5), 0);
  EXPECT_TRUE(Finds("idx", Word(1), "k1"));
  EXPECT_TRUE(Finds("noupd", Word(1), "k1"));
  EXPECT_FALSE(Finds("noins", Word(1), "k1"));
  // One success line per index that took the row.
  EXPECT_EQ(3u, log_.count(
                    "2|[sqlhook addDoc] insert to searcher from table:msgs pkey:k1  success"));
  host_->Exec("UPDATE msgs SET body='" + Word(2) + "' WHERE mid='k1'");
  EXPECT_TRUE(Finds("idx", Word(2), "k1"));
  EXPECT_FALSE(Finds("idx", Word(1), "k1"));
  EXPECT_TRUE(Finds("noupd", Word(1), "k1"));
  EXPECT_FALSE(Finds("noupd", Word(2), "k1"));
  EXPECT_TRUE(Finds("noins", Word(2), "k1"));

  // Updates move rows into and out of the where condition.
  EXPECT_EQ(Keys{"k1"}, TableKeys("live"));
  host_->Exec("UPDATE msgs SET status=0 WHERE mid='k1'");
  host_->Exec("UPDATE msgs SET status=1 WHERE mid='out'");
  EXPECT_FALSE(Finds("live", Word(2), "k1"));
  EXPECT_TRUE(Finds("live", Word(5), "out"));
  EXPECT_EQ(Keys{"out"}, TableKeys("live"));

  // Deletes are looked up through the adapter's second connection, also in
  // the middle of the host's transaction.
  Insert("k2", Word(3));
  host_->Exec("BEGIN");
  host_->Exec("DELETE FROM msgs WHERE mid='k1'");
  EXPECT_FALSE(Finds("idx", Word(2), "k1"));
  Insert("k3", Word(4));
  host_->Exec("COMMIT");
  EXPECT_EQ((Keys{"k2", "k3", "out"}), TableKeys("idx"));
  EXPECT_EQ((Keys{"k2", "k3", "out"}), TableKeys("noupd"));
  EXPECT_EQ(Keys{"out"}, TableKeys("noins"));
}

TEST_F(ChangeHookTest, StopAndRestart) {
  ASSERT_EQ(0, Register("idx", "app", "msgs", "body"));
  EXPECT_EQ(-1, adapter_->restartHook("app"));  // never hooked
  EXPECT_EQ(-1, adapter_->startHook("app", nullptr));
  ASSERT_EQ(0, adapter_->startHook("app", host_->conn));
  EXPECT_EQ(-1, adapter_->startHook("app", host_->conn));
  EXPECT_EQ(-1, adapter_->restartHook("app"));  // still hooked

  EXPECT_EQ(0, adapter_->stopHook("app"));
  Insert("k1", Word(1));
  EXPECT_FALSE(Finds("idx", Word(1), "k1"));
  EXPECT_EQ(0, adapter_->restartHook("app"));
  Insert("k2", Word(2));
  EXPECT_TRUE(Finds("idx", Word(2), "k2"));
  EXPECT_EQ(0, adapter_->stopAllHook());
  Insert("k3", Word(3));
  EXPECT_FALSE(Finds("idx", Word(3), "k3"));

  // Destroying the adapter unhooks the host's connection, which goes on working.
  EXPECT_EQ(0, adapter_->restartHook("app"));
  StopEngine();
  Insert("k4", Word(4));
  host_->Exec("DELETE FROM msgs WHERE mid='k2'");
}

TEST_F(ChangeHookTest, UnregisteredTablesAndBadRegistrationsOnlyLog) {
  ASSERT_EQ(0, Register("idx", "app", "msgs", "body,nosuch"));
  ASSERT_EQ(0, adapter_->startHook("app", host_->conn));
  host_->Exec("INSERT INTO other VALUES('" + Word(1) + "')");
  EXPECT_EQ(1u, log_.count("2| sqlite_hooker 表不存在 2 other -- 1 -- 18"));
  EXPECT_EQ(1u, log_.count("2| sqlite_hooker 1 other -- 1 -- 18"));
  EXPECT_EQ(0u, log_.count("[sqlhook"));

  Insert("k1", Word(2));  // the host's write succeeds; the row is not indexed
  EXPECT_EQ(1u, log_.count("4|[sqlhook] sql:SELECT mid,body,nosuch FROM msgs WHERE "
                                  "rowid = 1 failed:(null)"));
  EXPECT_TRUE(TableKeys("idx").empty());
}

// Inserts row id i with key and body Word(i).
std::string InsertSql(int i) {
  return "INSERT INTO msgs(rowid, mid, body) VALUES(" + std::to_string(i) + ",'" + Word(i) + "','" +
         Word(i) + "')";
}

class AdapterConcurrency : public HostedEngineTest {};

TEST_F(AdapterConcurrency, WriterAndScannerOnTheSameTable) {
  const int kInitialRows = 1000, kWrites = 200;
  SetUpHosted("concurrency-key",
              {"PRAGMA journal_mode=WAL;", "PRAGMA synchronous=NORMAL;",
               "CREATE TABLE msgs(mid TEXT, body TEXT)"}, true);
  host_->Exec("BEGIN");
  for (int i = 1; i <= kInitialRows; ++i) host_->Exec(InsertSql(i));
  host_->Exec("COMMIT");
  ASSERT_EQ(0, Register("idx", "app", "msgs", "body"));
  ASSERT_EQ(0, adapter_->startHook("app", host_->conn));

  // Rows below the published progress are never read by the scan again, so
  // the writer changes and deletes only those; it inserts anywhere above.
  std::atomic<int> progress{0};
  std::atomic<bool> scan_done{false};
  int last_result = 1;
  std::thread scanner([&] {
    for (int guard = 0; last_result > 0 && guard < 1000; ++guard) {
      last_result = Scan("idx");
      progress = MaxRowid("idx");
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
      host_->Exec(InsertSql(r));
      live.insert(r);
    } else if (choice == 1) {
      host_->Exec("UPDATE msgs SET body='" + Word(r) + " pv" + static_cast<char>('a' + n % 26) +
                  "' WHERE rowid=" + std::to_string(r));
    } else {
      host_->Exec("DELETE FROM msgs WHERE rowid=" + std::to_string(r));
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
  EXPECT_EQ(expected, TableKeys("idx"));  // deleted rows are not live documents
  for (int r : live) EXPECT_TRUE(Finds("idx", Word(r), Word(r))) << r;
}

}  // namespace
}  // namespace adapter_test
