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
  int Scan(const char* index) { return adapter()->scanTable("app", "msgs", index); }
};

TEST_F(TableScanTest, BatchesResumeAfterARestartAndRestartAfterAClear) {
  ASSERT_EQ(0, engine_->Register("idx", "app", "msgs", "body"));
  EXPECT_EQ(0, Scan("idx"));  // empty table
  EXPECT_EQ(0, engine_->MaxRowid("idx"));
  InsertRows(120);
  // Each batch after the first re-reads the row it ended on.
  EXPECT_EQ(50, Scan("idx"));
  EXPECT_EQ(50, engine_->MaxRowid("idx"));
  EXPECT_EQ(50, Scan("idx"));
  std::string group;
  EXPECT_EQ(99, engine_->MaxRowid("idx", &group));
  EXPECT_EQ("default", group);
  EXPECT_TRUE(engine_->searcher()->isAutoSave("default"));  // restored after each batch

  engine_->Stop();
  {
    // Another root evicts the first root's configuration manager, so the
    // restart reads the progress back from its files.
    ks_test::TempDir other;
    Engine elsewhere(other.path());
  }
  EXPECT_NE(std::string::npos, ks_test::ReadFile(dir_.file("root/Table.cfg")).find("default:99"));
  engine_->Start();
  ASSERT_EQ(0, adapter()->addDB("app", db_path_.c_str(), kKey, false));
  ASSERT_EQ(0, engine_->Register("idx", "app", "msgs", "body"));
  EXPECT_TRUE(adapter()->getTabConfig("app", "msgs", "idx")->scanned);
  EXPECT_EQ(99, engine_->MaxRowid("idx"));
  EXPECT_EQ(22, Scan("idx"));
  EXPECT_EQ(120, engine_->MaxRowid("idx"));
  EXPECT_EQ(0, Scan("idx"));
  EXPECT_EQ(120, engine_->MaxRowid("idx"));
  EXPECT_EQ(120u, engine_->TableKeys("idx").size());
  for (int i = 1; i <= 120; ++i) {
    EXPECT_EQ(std::set<std::string>{Key(i)}, engine_->Search("idx", Word(i))) << i;
  }

  // Clearing the table's documents also sends its scan back to the start.
  EXPECT_EQ(0, adapter()->clearDoc("idx", "app", "msgs"));
  EXPECT_TRUE(engine_->TableKeys("idx").empty());
  EXPECT_EQ(0, engine_->MaxRowid("idx"));
  EXPECT_EQ((Results{50, 50, 22, 0}), engine_->ScanAll("idx"));
  EXPECT_EQ(120u, engine_->TableKeys("idx").size());
}

TEST_F(TableScanTest, WhereConditionAndBlobColumns) {
  InsertRows(30);
  ASSERT_EQ(0, engine_->Register("odd", "app", "msgs", "body", "flag = 1"));
  ASSERT_EQ(0, engine_->Register("blob", "app", "msgs", "data"));
  EXPECT_EQ((Results{15, 0}), engine_->ScanAll("odd"));
  for (int i = 1; i <= 30; ++i) EXPECT_EQ(i % 2 == 1, engine_->Finds("odd", Word(i), Key(i))) << i;
  EXPECT_EQ((Results{30, 0}), engine_->ScanAll("blob"));
  EXPECT_TRUE(engine_->Finds("blob", Word(507), Key(7)));
  EXPECT_TRUE(engine_->Finds("blob", Word(530), Key(30)));
}

// Processing functions count their calls and releases in the user data.
struct ProcLog {
  std::atomic<int> processed{0}, released{0}, blob_ok{0};
};
// "zqxxx" -> "zqyxx": same length, inside the capacity; checks the BLOB value.
int RewriteRow(const char*, int count, const char** names, char** texts, const int* lengths,
               const int* capacities, void* user) {
  ProcLog* log = static_cast<ProcLog*>(user);
  ++log->processed;
  log->blob_ok += count == 2 && strcmp(names[1], "data") == 0 && lengths[1] == 5 &&
                  strncmp(texts[1], "zq", 2) == 0;
  if (capacities[0] >= lengths[0] && lengths[0] == 5) texts[0][2] = 'y';
  return 0;
}
int DropOddKeys(const char*, int, const char**, char** texts, const int*, const int*, void* user) {
  ++static_cast<ProcLog*>(user)->processed;
  return (texts[0][4] - 'a') % 2 == 1 ? -1 : 0;
}
int DropAll(const char*, int, const char**, char**, const int*, const int*, void*) { return -1; }
void CountRelease(const char*, int, const char**, char* const*, const int*, const int*,
                  void* user) {
  ++static_cast<ProcLog*>(user)->released;
}

TEST_F(TableScanTest, ProcessingFunctionsRewriteAndDropRows) {
  InsertRows(20);
  ProcLog rewrite, drop;
  ASSERT_EQ(0, engine_->Register("rewrite", "app", "msgs", "body", "", "data"));
  ASSERT_EQ(0, engine_->Register("drop", "app", "msgs", "body"));
  ASSERT_EQ(0, engine_->Register("none", "app", "msgs", "body"));
  ASSERT_EQ(0, adapter()->addDataProcFunc("rewrite", RewriteRow, CountRelease, &rewrite));
  ASSERT_EQ(0, adapter()->addDataProcFunc("drop", DropOddKeys, CountRelease, &drop));
  ASSERT_EQ(0, adapter()->addDataProcFunc("none", DropAll, nullptr));

  EXPECT_EQ((Results{20, 0}), engine_->ScanAll("rewrite"));
  EXPECT_EQ(21, rewrite.processed);  // the boundary row is read twice
  EXPECT_EQ(21, rewrite.blob_ok);
  EXPECT_EQ(21, rewrite.released);
  std::string rewritten = Word(3);
  rewritten[2] = 'y';
  EXPECT_TRUE(engine_->Finds("rewrite", rewritten, Key(3)));
  EXPECT_FALSE(engine_->Finds("rewrite", Word(3), Key(3)));

  // Dropped rows are neither sent nor counted nor released.
  EXPECT_EQ((Results{10, 0}), engine_->ScanAll("drop"));
  EXPECT_EQ(21, drop.processed);
  EXPECT_EQ(11, drop.released);
  for (int i = 1; i <= 20; ++i) EXPECT_EQ(i % 2 == 0, engine_->Finds("drop", Word(i), Key(i))) << i;
  EXPECT_EQ(0, Scan("none"));
  EXPECT_EQ(0, engine_->MaxRowid("none"));

  // Hooked rows go through the same functions; there dropped rows and rows
  // without a key (processed, never sent) are released too.
  ASSERT_EQ(0, adapter()->startHook("app", host_->conn()));
  host_->Exec("INSERT INTO msgs(mid, body) VALUES('k21', '" + Word(21) + "')");
  host_->Exec("INSERT INTO msgs(mid, body) VALUES(NULL, '" + Word(22) + "')");
  rewritten = Word(21);
  rewritten[2] = 'y';
  EXPECT_TRUE(engine_->Finds("rewrite", rewritten, "k21"));
  EXPECT_FALSE(engine_->Finds("drop", Word(21), "k21"));
  EXPECT_TRUE(engine_->Search("rewrite", Word(22)).empty());
  EXPECT_EQ(23, rewrite.released);
  EXPECT_EQ(13, drop.released);
}

int SlowRow(const char*, int, const char**, char**, const int*, const int*, void* user) {
  ++*static_cast<std::atomic<int>*>(user);
  usleep(2000);
  return 0;
}

TEST_F(TableScanTest, StopScanFromAnotherThreadEndsTheBatch) {
  InsertRows(50);
  std::atomic<int> rows{0};
  ASSERT_EQ(0, engine_->Register("idx", "app", "msgs", "body"));
  ASSERT_EQ(0, adapter()->addDataProcFunc("idx", SlowRow, &rows));
  int result = 0;
  std::thread scanner([&] { result = Scan("idx"); });
  while (rows == 0) usleep(100);
  EXPECT_EQ(0, adapter()->stopScan());
  scanner.join();
  EXPECT_EQ(-1, result);
  EXPECT_LT(rows, 50);
  EXPECT_EQ(0, engine_->MaxRowid("idx"));
  // The stop holds until a new adapter is made.
  EXPECT_EQ(-1, Scan("idx"));
  EXPECT_EQ(-1, adapter()->addTable("idx2", "app", "msgs", "mid", "body", "", "", 0));
}

TEST_F(TableScanTest, BadInputGivesCodesAndMessages) {
  InsertRows(3);
  ASSERT_EQ(0, engine_->Register("idx", "app", "msgs", "body"));
  EXPECT_EQ(-1, adapter()->scanTable(nullptr, "msgs", "idx"));
  EXPECT_EQ(-5, adapter()->scanTable("nodb", "msgs", "idx"));
  EXPECT_EQ(-1, adapter()->scanTable("app", "nosuch", "idx"));
  EXPECT_EQ(1u, LogCapture::Count("4|getTabConfig is null  idx -- nosuch -- app"));

  LogCapture::Clear();
  ASSERT_EQ(0, engine_->Register("cols", "app", "msgs", "body,nosuch"));
  EXPECT_EQ(-7, Scan("cols"));
  EXPECT_EQ(1u, LogCapture::Count("plain|sqlite prepare fail result:1\n"));
  EXPECT_EQ(1u, LogCapture::Count("4|[buildTableIndex] sqlite prepare fail result:1\n"));
  ASSERT_EQ(0, engine_->Register("where", "app", "msgs", "body", "flag = = 1"));
  EXPECT_EQ(-7, Scan("where"));

  // A missing file opens empty, so its table is missing; a file in a missing
  // directory, or one read with a wrong key, cannot be opened at all.
  const struct {
    const char* db;
    std::string path;
    const char* key;
    int code;
  } dbs[] = {{"gone", dir_.file("gone.db"), "", -7},
             {"nodir", dir_.file("no/dir.db"), "", -1},
             {"badkey", db_path_, "bad-key", -1}};
  for (const auto& d : dbs) {
    ASSERT_EQ(0, adapter()->addDB(d.db, d.path.c_str(), d.key, false));
    ASSERT_EQ(0, engine_->Register("idx", d.db, "msgs", "body"));
    EXPECT_EQ(d.code, adapter()->scanTable(d.db, "msgs", "idx")) << d.db;
  }
}

}  // namespace
}  // namespace adapter_test
