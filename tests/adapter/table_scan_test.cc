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
#include "test_util.h"

namespace adapter_test {
namespace {


const char kKey[] = "scan-key";

class TableScanTest : public HostedEngineTest {
 protected:
  void SetUp() override {
    SetUpHosted(kKey, {"CREATE TABLE msgs(mid TEXT, body TEXT, flag INTEGER, data BLOB)"});
  }

  static std::string Key(int i) { return "k" + std::to_string(i); }
  // Rows 1..n with row ids 1..n; flag is i % 2; data holds Word(500 + i).
  void InsertRows(int n) {
    host_->Exec("BEGIN");
    for (int i = 1; i <= n; ++i) {
      std::string blob;
      for (char c : Word(500 + i)) {
        char hex[3];
        snprintf(hex, sizeof(hex), "%02x", static_cast<unsigned char>(c));
        blob += hex;
      }
      host_->Exec("INSERT INTO msgs(rowid, mid, body, flag, data) VALUES(" + std::to_string(i) +
                  ",'" + Key(i) + "','" + Word(i) + "'," + std::to_string(i % 2) + ",X'" + blob +
                  "')");
    }
    host_->Exec("COMMIT");
  }
};

TEST_F(TableScanTest, BatchesOfFiftyRereadTheBoundaryRow) {
  ASSERT_EQ(0, engine_->Register("idx", "app", "msgs", "mid", "body"));
  EXPECT_EQ(0, adapter()->scanTable("app", "msgs", "idx"));  // empty table
  EXPECT_EQ(0, engine_->MaxRowid("app", "msgs", "idx"));

  InsertRows(120);
  const int expected_sent[] = {50, 50, 22, 0};
  const int expected_rowid[] = {50, 99, 120, 120};
  for (int batch = 0; batch < 4; ++batch) {
    EXPECT_EQ(expected_sent[batch], adapter()->scanTable("app", "msgs", "idx")) << batch;
    std::string group;
    EXPECT_EQ(expected_rowid[batch], engine_->MaxRowid("app", "msgs", "idx", &group)) << batch;
    EXPECT_EQ("default", group);
  }
  EXPECT_TRUE(adapter()->getTabConfig("app", "msgs", "idx")->scanned);
  EXPECT_TRUE(engine_->searcher()->isAutoSave("default"));  // restored after each batch
  EXPECT_NE(std::string::npos,
            ks_test::ReadFile(dir_.file("root") + "/Table.cfg").find("default:120"));
  EXPECT_EQ(120u, engine_->TableKeys("idx", "app", "msgs").size());
  for (int i = 1; i <= 120; ++i) {
    EXPECT_EQ(std::set<std::string>{Key(i)}, engine_->Search("idx", Word(i))) << i;
  }
}

TEST_F(TableScanTest, ResumesFromTheRecordedRowidAfterARestart) {
  InsertRows(120);
  ASSERT_EQ(0, engine_->Register("idx", "app", "msgs", "mid", "body"));
  EXPECT_EQ(50, adapter()->scanTable("app", "msgs", "idx"));
  EXPECT_EQ(50, adapter()->scanTable("app", "msgs", "idx"));
  engine_->Stop();
  {
    // Another root evicts the first root's configuration manager, so the
    // restart reads the progress back from its files.
    ks_test::TempDir other;
    Engine elsewhere(other.path());
  }
  engine_->Start();
  ASSERT_EQ(0, adapter()->addDB("app", db_path_.c_str(), kKey, false));
  ASSERT_EQ(0, engine_->Register("idx", "app", "msgs", "mid", "body"));
  EXPECT_TRUE(adapter()->getTabConfig("app", "msgs", "idx")->scanned);
  EXPECT_EQ(99, engine_->MaxRowid("app", "msgs", "idx"));
  EXPECT_EQ((std::vector<int>{22, 0}), engine_->ScanAll("app", "msgs", "idx"));
  EXPECT_EQ(120u, engine_->TableKeys("idx", "app", "msgs").size());
  EXPECT_TRUE(engine_->Finds("idx", Word(1), Key(1)));
  EXPECT_TRUE(engine_->Finds("idx", Word(120), Key(120)));

  // Clearing the table's documents also sends its scan back to the start.
  EXPECT_EQ(0, adapter()->clearDoc("idx", "app", "msgs"));
  EXPECT_TRUE(engine_->TableKeys("idx", "app", "msgs").empty());
  EXPECT_EQ(0, engine_->MaxRowid("app", "msgs", "idx"));
  EXPECT_EQ((std::vector<int>{50, 50, 22, 0}), engine_->ScanAll("app", "msgs", "idx"));
  EXPECT_EQ(120u, engine_->TableKeys("idx", "app", "msgs").size());
}

TEST_F(TableScanTest, WhereConditionAndBlobColumns) {
  InsertRows(30);
  ASSERT_EQ(0, engine_->Register("odd", "app", "msgs", "mid", "body", "flag = 1"));
  ASSERT_EQ(0, engine_->Register("blob", "app", "msgs", "mid", "data"));
  EXPECT_EQ((std::vector<int>{15, 0}), engine_->ScanAll("app", "msgs", "odd"));
  for (int i = 1; i <= 30; ++i) {
    EXPECT_EQ(i % 2 == 1, engine_->Finds("odd", Word(i), Key(i))) << i;
  }
  EXPECT_EQ((std::vector<int>{30, 0}), engine_->ScanAll("app", "msgs", "blob"));
  EXPECT_TRUE(engine_->Finds("blob", Word(507), Key(7)));
  EXPECT_TRUE(engine_->Finds("blob", Word(530), Key(30)));
}

// Processing functions: one rewrites every value, one drops odd keys, one
// drops everything. They count their release calls in the user data.
struct ProcLog {
  std::atomic<int> processed{0};
  std::atomic<int> released{0};
  std::atomic<int> blob_lengths_ok{0};
};

int RewriteRow(const char*, int count, const char** names, char** texts, const int* lengths,
               const int* capacities, void* user) {
  ProcLog* log = static_cast<ProcLog*>(user);
  ++log->processed;
  if (count == 2 && strcmp(names[1], "data") == 0 && lengths[1] == 5 &&
      strncmp(texts[1], "zq", 2) == 0) {
    ++log->blob_lengths_ok;
  }
  // "zqxxx" -> "zqyxx": same length, inside the capacity.
  if (capacities[0] >= lengths[0] && lengths[0] == 5) texts[0][2] = 'y';
  return 0;
}
int DropOddKeys(const char*, int, const char**, char** texts, const int*, const int*,
                void* user) {
  ++static_cast<ProcLog*>(user)->processed;
  return (texts[0][4] - 'a') % 2 == 1 ? -1 : 0;
}
int DropAll(const char*, int, const char**, char**, const int*, const int*, void*) {
  return -1;
}
void CountRelease(const char*, int, const char**, char* const*, const int*, const int*,
                  void* user) {
  ++static_cast<ProcLog*>(user)->released;
}

TEST_F(TableScanTest, ProcessingFunctionsRewriteAndDropRows) {
  InsertRows(20);
  ProcLog rewrite, drop;
  ASSERT_EQ(0, engine_->Register("rewrite", "app", "msgs", "mid", "body", "", "data"));
  ASSERT_EQ(0, engine_->Register("drop", "app", "msgs", "mid", "body"));
  ASSERT_EQ(0, engine_->Register("none", "app", "msgs", "mid", "body"));
  ASSERT_EQ(0, adapter()->addDataProcFunc("rewrite", RewriteRow, CountRelease, &rewrite));
  ASSERT_EQ(0, adapter()->addDataProcFunc("drop", DropOddKeys, CountRelease, &drop));
  ASSERT_EQ(0, adapter()->addDataProcFunc("none", DropAll, nullptr));

  EXPECT_EQ((std::vector<int>{20, 0}), engine_->ScanAll("app", "msgs", "rewrite"));
  EXPECT_EQ(21, rewrite.processed);  // the boundary row is read twice
  EXPECT_EQ(21, rewrite.blob_lengths_ok);
  EXPECT_EQ(21, rewrite.released);
  std::string rewritten = Word(3);
  rewritten[2] = 'y';
  EXPECT_TRUE(engine_->Finds("rewrite", rewritten, Key(3)));
  EXPECT_FALSE(engine_->Finds("rewrite", Word(3), Key(3)));

  // Dropped rows are neither sent nor counted nor released.
  EXPECT_EQ((std::vector<int>{10, 0}), engine_->ScanAll("app", "msgs", "drop"));
  EXPECT_EQ(21, drop.processed);
  EXPECT_EQ(11, drop.released);
  for (int i = 1; i <= 20; ++i) {
    EXPECT_EQ(i % 2 == 0, engine_->Finds("drop", Word(i), Key(i))) << i;
  }

  EXPECT_EQ(0, adapter()->scanTable("app", "msgs", "none"));
  EXPECT_EQ(0, engine_->MaxRowid("app", "msgs", "none"));
}

int SlowRow(const char*, int, const char**, char**, const int*, const int*, void* user) {
  ++*static_cast<std::atomic<int>*>(user);
  usleep(2000);
  return 0;
}

TEST_F(TableScanTest, StopScanFromAnotherThreadEndsTheBatch) {
  InsertRows(50);
  std::atomic<int> rows{0};
  ASSERT_EQ(0, engine_->Register("idx", "app", "msgs", "mid", "body"));
  ASSERT_EQ(0, adapter()->addDataProcFunc("idx", SlowRow, &rows));
  int result = 0;
  std::thread scanner([&] { result = adapter()->scanTable("app", "msgs", "idx"); });
  while (rows == 0) usleep(100);
  EXPECT_EQ(0, adapter()->stopScan());
  scanner.join();
  EXPECT_EQ(-1, result);
  EXPECT_LT(rows, 50);
  EXPECT_EQ(0, engine_->MaxRowid("app", "msgs", "idx"));
  EXPECT_EQ(-1, adapter()->scanTable("app", "msgs", "idx"));
  EXPECT_EQ(-1, adapter()->addTable("idx2", "app", "msgs", "mid", "body", "", "", 0));
}

TEST_F(TableScanTest, BadInputGivesCodesAndMessages) {
  InsertRows(3);
  ASSERT_EQ(0, engine_->Register("idx", "app", "msgs", "mid", "body"));
  EXPECT_EQ(-1, adapter()->scanTable(nullptr, "msgs", "idx"));
  EXPECT_EQ(-5, adapter()->scanTable("nodb", "msgs", "idx"));
  EXPECT_EQ(-1, adapter()->scanTable("app", "nosuch", "idx"));
  EXPECT_EQ(1u, LogCapture::Matching("4|getTabConfig is null  idx -- nosuch -- app").size());

  LogCapture::Clear();
  ASSERT_EQ(0, engine_->Register("cols", "app", "msgs", "mid", "body,nosuch"));
  EXPECT_EQ(-7, adapter()->scanTable("app", "msgs", "cols"));
  EXPECT_EQ(1u, LogCapture::Matching("plain|sqlite prepare fail result:1\n").size());
  EXPECT_EQ(1u, LogCapture::Matching("4|[buildTableIndex] sqlite prepare fail result:1\n").size());
  ASSERT_EQ(0, engine_->Register("where", "app", "msgs", "mid", "body", "flag = = 1"));
  EXPECT_EQ(-7, adapter()->scanTable("app", "msgs", "where"));
  // A statement that does not fit its 4096-byte buffer is not run at all.
  const std::string long_where = "flag IN (" + std::string(4100, '1') + ")";
  ASSERT_EQ(0, adapter()->addTable("long", "app", "msgs", "mid", "body", long_where.c_str(), "",
                                   0));
  EXPECT_EQ(-1, adapter()->scanTable("app", "msgs", "long"));

  // Rows the searcher refuses (its field list differs) are counted and logged.
  LogCapture::Clear();
  engine_->searcher()->addIndex("mis", "app", "msgs", "mid", "body", "", "", "", "", nullptr);
  ASSERT_EQ(0, adapter()->addTable("mis", "app", "msgs", "mid", "body,flag", "", "", 0));
  EXPECT_EQ(3, adapter()->scanTable("app", "msgs", "mis"));
  EXPECT_EQ(1u, LogCapture::Matching("plain|addDoc failed index_name:mis db_name:app "
                                     "table_name:msgs pkey:k2\n")
                    .size());
  EXPECT_EQ(1u, LogCapture::Matching("4|[buildTableIndex] addDoc failed index_name:mis "
                                     "db_name:app table_name:msgs pkey:k3\n")
                    .size());
  EXPECT_TRUE(engine_->TableKeys("mis", "app", "msgs").empty());

  // A database file that does not exist opens empty: the table is missing.
  ASSERT_EQ(0, adapter()->addDB("gone", dir_.file("gone.db").c_str(), "", false));
  ASSERT_EQ(0, engine_->Register("idx", "gone", "msgs", "mid", "body"));
  EXPECT_EQ(-7, adapter()->scanTable("gone", "msgs", "idx"));
  // One in a missing directory cannot be opened at all.
  ASSERT_EQ(0, adapter()->addDB("nodir", dir_.file("no/dir.db").c_str(), "", false));
  ASSERT_EQ(0, engine_->Register("idx", "nodir", "msgs", "mid", "body"));
  EXPECT_EQ(-1, adapter()->scanTable("nodir", "msgs", "idx"));
  // A wrong key cannot read the table either.
  ASSERT_EQ(0, adapter()->addDB("badkey", db_path_.c_str(), "bad-key", false));
  ASSERT_EQ(0, engine_->Register("idx", "badkey", "msgs", "mid", "body"));
  EXPECT_EQ(-1, adapter()->scanTable("badkey", "msgs", "idx"));
  EXPECT_EQ(0u, engine_->TableKeys("idx", "badkey", "msgs").size());
}

}  // namespace
}  // namespace adapter_test
