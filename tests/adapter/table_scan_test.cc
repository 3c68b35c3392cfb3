// Table scans on real encrypted databases: batches and recorded progress,
// resumption after a restart, where conditions, data-processing functions,
// BLOB columns, stopping from another thread and bad input.
#include <gtest/gtest.h>
#include <string.h>
#include <unistd.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "adapter_fixture.h"

namespace adapter_test {
namespace {

const char kKey[] = "scan-key";
using Results = std::vector<int>;

class TableScanTest : public HostedEngineTest {
 protected:
  void SetUp() override {
    SetUpHosted(kKey, {"CREATE TABLE msgs(mid TEXT, body TEXT, flag INTEGER, data BLOB)"});
  }
  static std::string Key(int i) { return "k" + std::to_string(i); }
  // Rows 1..n with row ids 1..n; flag is i % 2; data holds Word(500 + i) as a BLOB.
  void InsertRows(int n) {
    host_->Exec("BEGIN");
    for (int i = 1; i <= n; ++i) {
      host_->Exec("INSERT INTO msgs(rowid, mid, body, flag, data) VALUES(" + std::to_string(i) +
                  ",'" + Key(i) + "','" + Word(i) + "'," + std::to_string(i % 2) + ", CAST('" +
                  Word(500 + i) + "' AS BLOB))");
    }
    host_->Exec("COMMIT");
  }
};

TEST_F(TableScanTest, BatchesResumeAfterARestartAndRestartAfterAClear) {
  ASSERT_EQ(0, Register("idx", "app", "msgs", "body"));
  InsertRows(120);
  // Each batch after the first re-reads the row it ended on.
  EXPECT_EQ(50, Scan("idx"));
  EXPECT_EQ(50, MaxRowid("idx"));
  EXPECT_EQ(50, Scan("idx"));
  char group[64] = {0};
  EXPECT_EQ(99, adapter_->getScanMaxRowid("app", "msgs", "idx", group));
  EXPECT_STREQ("default", group);
  EXPECT_TRUE(searcher_->isAutoSave("default"));  // restored after each batch

  StopEngine();
  {
    // Another root evicts the first root's configuration manager, so the
    // restart reads the progress back from its files.
    ks_test::TempDir other;
    mobile_search::Searcher elsewhere;
    EXPECT_EQ(0, elsewhere.open(other.path().c_str(), 0));
  }
  EXPECT_NE(std::string::npos, ks_test::ReadFile(dir_.file("root/Table.cfg")).find("default:99"));
  StartEngine();
  ASSERT_EQ(0, adapter_->addDB("app", db_path_.c_str(), kKey, false));
  ASSERT_EQ(0, Register("idx", "app", "msgs", "body"));
  EXPECT_EQ(99, MaxRowid("idx"));
  EXPECT_EQ(22, Scan("idx"));
  EXPECT_EQ(0, Scan("idx"));
  EXPECT_EQ(120, MaxRowid("idx"));
  for (int i = 1; i <= 120; ++i) {
    EXPECT_EQ(std::set<std::string>{Key(i)}, Search("idx", Word(i))) << i;
  }

  // Clearing the table's documents also sends its scan back to the start.
  EXPECT_EQ(0, adapter_->clearDoc("idx", "app", "msgs"));
  EXPECT_TRUE(TableKeys("idx").empty());
  EXPECT_EQ((Results{50, 50, 22, 0}), ScanAll("idx"));
  EXPECT_EQ(120u, TableKeys("idx").size());
}

// A processing function counts its calls and releases in the user data.
struct ProcLog {
  std::atomic<int> processed{0}, released{0}, blob_ok{0};
};
std::string Rewritten(int i) { return "zqy" + Word(i).substr(3); }
// Drops the rows of odd Word(i) and rewrites the others to Rewritten(i) in
// place (same length, inside the capacity); checks the BLOB value.
int RewriteEvenDropOdd(const char*, int count, const char** names, char** texts,
                       const int* lengths, const int* capacities, void* user) {
  ProcLog* log = static_cast<ProcLog*>(user);
  ++log->processed;
  log->blob_ok += count == 2 && strcmp(names[1], "data") == 0 && lengths[1] == 5 &&
                  strncmp(texts[1], "zq", 2) == 0;
  if ((texts[0][4] - 'a') % 2 == 1) return -1;
  if (capacities[0] >= lengths[0] && lengths[0] == 5) texts[0][2] = 'y';
  return 0;
}
void CountRelease(const char*, int, const char**, char* const*, const int*, const int*,
                  void* user) {
  ++static_cast<ProcLog*>(user)->released;
}

TEST_F(TableScanTest, WhereConditionBlobColumnsAndProcessingFunctions) {
  InsertRows(20);
  ASSERT_EQ(0, Register("odd", "app", "msgs", "body", "flag = 1"));
  EXPECT_EQ((Results{10, 0}), ScanAll("odd"));
  for (int i = 1; i <= 20; ++i) EXPECT_EQ(i % 2 == 1, Finds("odd", Word(i), Key(i))) << i;

  ProcLog log;
  ASSERT_EQ(0, Register("proc", "app", "msgs", "body,data"));
  ASSERT_EQ(0, adapter_->addDataProcFunc("proc", RewriteEvenDropOdd, CountRelease, &log));
  // Dropped rows are neither sent nor counted nor released; the boundary row
  // is read twice.
  EXPECT_EQ((Results{10, 0}), ScanAll("proc"));
  EXPECT_EQ(21, log.processed);
  EXPECT_EQ(21, log.blob_ok);
  EXPECT_EQ(11, log.released);
  for (int i = 1; i <= 20; ++i) {
    EXPECT_EQ(i % 2 == 0, Finds("proc", Rewritten(i), Key(i))) << i;
    EXPECT_FALSE(Finds("proc", Word(i), Key(i))) << i;
  }
  EXPECT_TRUE(Finds("proc", Word(508), Key(8)));  // the BLOB column

  // Hooked rows go through the same function; there dropped rows and rows
  // without a key (processed, never sent) are released too.
  ASSERT_EQ(0, adapter_->startHook("app", host_->conn));
  const std::pair<const char*, int> rows[] = {{"'k21'", 21}, {"'k22'", 22}, {"NULL", 24}};
  for (const auto& [key, i] : rows) {
    host_->Exec(std::string("INSERT INTO msgs(mid, body) VALUES(") + key + ",'" + Word(i) + "')");
  }
  EXPECT_FALSE(Finds("proc", Word(21), "k21"));
  EXPECT_TRUE(Finds("proc", Rewritten(22), "k22"));
  EXPECT_TRUE(Search("proc", Rewritten(24)).empty());
  EXPECT_EQ(14, log.released);
}

int SlowRow(const char*, int, const char**, char**, const int*, const int*, void* user) {
  ++*static_cast<std::atomic<int>*>(user);
  usleep(2000);
  return 0;
}

TEST_F(TableScanTest, StopScanFromAnotherThreadEndsTheBatch) {
  InsertRows(50);
  std::atomic<int> rows{0};
  ASSERT_EQ(0, Register("idx", "app", "msgs", "body"));
  ASSERT_EQ(0, adapter_->addDataProcFunc("idx", SlowRow, &rows));
  int result = 0;
  std::thread scanner([&] { result = Scan("idx"); });
  while (rows == 0) usleep(100);
  EXPECT_EQ(0, adapter_->stopScan());
  scanner.join();
  EXPECT_EQ(-1, result);
  EXPECT_LT(rows, 50);
  EXPECT_EQ(0, MaxRowid("idx"));
  // The stop holds until a new adapter with a root is made.
  EXPECT_EQ(-1, Scan("idx"));
  EXPECT_EQ(-1, adapter_->addTable("idx2", "app", "msgs", "mid", "body", "", "", 0));
  EXPECT_EQ(-1, adapter_->delTable("idx", "app", "msgs"));
  {
    KSSearchDataAdapter placeholder("");
    EXPECT_EQ(-1, placeholder.addTable("idx2", "app", "msgs", "mid", "body", "", "", 0));
  }
  KSSearchDataAdapter fresh(dir_.file("other").c_str());
  EXPECT_EQ(0, fresh.addTable("idx2", "app", "msgs", "mid", "body", "", "", 0));
}

TEST_F(TableScanTest, BadInputGivesCodesAndMessages) {
  InsertRows(3);
  ASSERT_EQ(0, Register("idx", "app", "msgs", "body"));
  EXPECT_EQ(-1, adapter_->scanTable(nullptr, "msgs", "idx"));
  EXPECT_EQ(-5, adapter_->scanTable("nodb", "msgs", "idx"));
  EXPECT_EQ(-1, adapter_->scanTable("app", "nosuch", "idx"));
  EXPECT_EQ(1u, log_.count("4|getTabConfig is null  idx -- nosuch -- app"));

  ASSERT_EQ(0, Register("cols", "app", "msgs", "body,nosuch"));
  EXPECT_EQ(-7, Scan("cols"));
  EXPECT_EQ(1u, log_.count("plain|sqlite prepare fail result:1\n"));
  EXPECT_EQ(1u, log_.count("4|[buildTableIndex] sqlite prepare fail result:1\n"));
  ASSERT_EQ(0, Register("where", "app", "msgs", "body", "flag = = 1"));
  EXPECT_EQ(-7, Scan("where"));

  // A missing file opens empty, so its table is missing; a file in a missing
  // directory cannot be opened at all.
  const struct {
    const char* db;
    std::string path;
    const char* key;
    int code;
  } dbs[] = {{"gone", dir_.file("gone.db"), "", -7},
             {"nodir", dir_.file("no/dir.db"), "", -1}};
  for (const auto& d : dbs) {
    ASSERT_EQ(0, adapter_->addDB(d.db, d.path.c_str(), d.key, false));
    ASSERT_EQ(0, Register("idx", d.db, "msgs", "body"));
    EXPECT_EQ(d.code, adapter_->scanTable(d.db, "msgs", "idx")) << d.db;
  }
}

}  // namespace
}  // namespace adapter_test
