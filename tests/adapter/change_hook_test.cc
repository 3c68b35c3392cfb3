// The change hook on a real encrypted database: the host writes through its
// own keyed connection and the index follows each statement.
#include <gtest/gtest.h>

#include <string>

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

TEST_F(ChangeHookTest, InsertsUpdatesAndDeletesAreFollowed) {
  ASSERT_EQ(0, engine_->Register("idx", "app", "msgs", "body"));
  ASSERT_EQ(0, engine_->Register("live", "app", "msgs", "body", "status = 1"));
  ASSERT_EQ(0, adapter()->startHook("app", host_->conn()));
  Insert("k1", Word(1));
  Insert("out", Word(5), 0);
  EXPECT_TRUE(engine_->Finds("idx", Word(1), "k1"));
  // One success line per index that took the row.
  EXPECT_EQ(2u, LogCapture::Count(
                    "2|[sqlhook addDoc] insert to searcher from table:msgs pkey:k1  success"));
  host_->Exec("UPDATE msgs SET body='" + Word(2) + "' WHERE mid='k1'");
  EXPECT_TRUE(engine_->Finds("idx", Word(2), "k1"));
  EXPECT_FALSE(engine_->Finds("idx", Word(1), "k1"));

  // Updates move rows into and out of the where condition.
  EXPECT_EQ(Keys{"k1"}, engine_->TableKeys("live"));
  host_->Exec("UPDATE msgs SET status=0 WHERE mid='k1'");
  host_->Exec("UPDATE msgs SET status=1 WHERE mid='out'");
  EXPECT_FALSE(engine_->Finds("live", Word(2), "k1"));
  EXPECT_TRUE(engine_->Finds("live", Word(5), "out"));
  EXPECT_EQ(Keys{"out"}, engine_->TableKeys("live"));

  // Deletes are looked up through the adapter's second connection, also in
  // the middle of the host's transaction.
  Insert("k2", Word(3));
  host_->Exec("BEGIN");
  host_->Exec("DELETE FROM msgs WHERE mid='k1'");
  EXPECT_FALSE(engine_->Finds("idx", Word(2), "k1"));
  Insert("k3", Word(4));
  host_->Exec("COMMIT");
  EXPECT_EQ((Keys{"k2", "k3", "out"}), engine_->TableKeys("idx"));

  // Nothing written through the hook leaks into the file as plain text. (A
  // host closes its connection only after unhooking it.)
  EXPECT_EQ(0, adapter()->stopHook("app"));
  host_.reset();
  EXPECT_EQ(std::string::npos, ks_test::ReadFile(db_path_).find(Word(3)));
}

TEST_F(ChangeHookTest, HookModesIgnoreUpdatesOrInserts) {
  ASSERT_EQ(0, engine_->Register("noupd", "app", "msgs", "body", "", "", 1));
  ASSERT_EQ(0, engine_->Register("noins", "app", "msgs", "body", "", "", 2));
  ASSERT_EQ(0, adapter()->startHook("app", host_->conn()));
  Insert("k1", Word(1));
  EXPECT_TRUE(engine_->Finds("noupd", Word(1), "k1"));
  EXPECT_FALSE(engine_->Finds("noins", Word(1), "k1"));
  host_->Exec("UPDATE msgs SET body='" + Word(2) + "' WHERE mid='k1'");
  EXPECT_TRUE(engine_->Finds("noupd", Word(1), "k1"));
  EXPECT_FALSE(engine_->Finds("noupd", Word(2), "k1"));
  EXPECT_TRUE(engine_->Finds("noins", Word(2), "k1"));
  host_->Exec("DELETE FROM msgs WHERE mid='k1'");
  EXPECT_TRUE(engine_->TableKeys("noupd").empty());
  EXPECT_TRUE(engine_->TableKeys("noins").empty());
}

TEST_F(ChangeHookTest, StopAndRestart) {
  ASSERT_EQ(0, engine_->Register("idx", "app", "msgs", "body"));
  EXPECT_EQ(-1, adapter()->restartHook("app"));  // never hooked
  EXPECT_EQ(-1, adapter()->startHook("app", nullptr));
  ASSERT_EQ(0, adapter()->startHook("app", host_->conn()));
  EXPECT_EQ(-1, adapter()->startHook("app", host_->conn()));
  EXPECT_EQ(-1, adapter()->restartHook("app"));  // still hooked

  EXPECT_EQ(0, adapter()->stopHook("app"));
  Insert("k1", Word(1));
  EXPECT_FALSE(engine_->Finds("idx", Word(1), "k1"));
  EXPECT_EQ(0, adapter()->restartHook("app"));
  Insert("k2", Word(2));
  EXPECT_TRUE(engine_->Finds("idx", Word(2), "k2"));
  EXPECT_EQ(0, adapter()->stopAllHook());
  Insert("k3", Word(3));
  EXPECT_FALSE(engine_->Finds("idx", Word(3), "k3"));

  // Destroying the adapter unhooks the host's connection, which goes on working.
  EXPECT_EQ(0, adapter()->restartHook("app"));
  engine_->Stop();
  Insert("k4", Word(4));
  host_->Exec("DELETE FROM msgs WHERE mid='k2'");
}

TEST_F(ChangeHookTest, UnregisteredTablesAndBadRegistrationsOnlyLog) {
  ASSERT_EQ(0, engine_->Register("idx", "app", "msgs", "body,nosuch"));
  ASSERT_EQ(0, adapter()->startHook("app", host_->conn()));
  LogCapture::Clear();
  host_->Exec("INSERT INTO other VALUES('" + Word(1) + "')");
  EXPECT_EQ(1u, LogCapture::Count("2| sqlite_hooker 表不存在 2 other -- 1 -- 18"));
  EXPECT_EQ(1u, LogCapture::Count("2| sqlite_hooker 1 other -- 1 -- 18"));
  EXPECT_EQ(0u, LogCapture::Count("[sqlhook"));

  Insert("k1", Word(2));  // the host's write succeeds; the row is not indexed
  EXPECT_EQ(1u, LogCapture::Count("4|[sqlhook] sql:SELECT mid,body,nosuch FROM msgs WHERE "
                                  "rowid = 1 failed:(null)"));
  EXPECT_TRUE(engine_->TableKeys("idx").empty());
}

}  // namespace
}  // namespace adapter_test
