// Registration of databases, tables and data-processing functions, and the
// adapter's keyed connections to a real SQLCipher file.
#include <gtest/gtest.h>

#include "adapter/sqlite_db_config.h"
#include "adapter_fixture.h"

namespace mobile_search {
namespace {

int KeepRow(const char*, int, const char**, char**, const int*, const int*, void*) { return 0; }
void ReleaseRow(const char*, int, const char**, char* const*, const int*, const int*, void*) {}

TEST(AdapterRegistrationTest, DatabasesTablesAndProcessingFunctions) {
  ks_test::TempDir dir;
  KSSearchDataAdapter adapter(dir.path().c_str());
  EXPECT_EQ(-1, adapter.addDB(nullptr, "p", "k", false));
  EXPECT_EQ(0, adapter.addDB("app", "/first.db", "k1", false));
  EXPECT_EQ(0, adapter.addDB("app", "/second.db", nullptr, true));  // replaces the first
  _sqlite_db_cfg_t* db = adapter.getDBConfig("app");
  ASSERT_NE(nullptr, db);
  EXPECT_STREQ("/second.db", db->path->data);
  EXPECT_STREQ("", db->password->data);

  for (int missing = 0; missing < 5; ++missing) {
    const char* a[5] = {"idx", "app", "msgs", "mid", "body"};
    a[missing] = nullptr;
    EXPECT_EQ(-1, adapter.addTable(a[0], a[1], a[2], a[3], a[4], "", "", 0)) << missing;
  }
  EXPECT_EQ(0, adapter.addTable("idx", "app", "msgs", "mid", "body, note ", "", "extra", 2));
  EXPECT_EQ(0, adapter.addTable("idx", "app", "msgs", "other", "x", "", "", 0));  // ignored
  EXPECT_EQ(1u, darray_length(db->tables));
  _sqlite_tab_cfg_t* tab = adapter.getTabConfig("app", "msgs", "idx");
  ASSERT_NE(nullptr, tab);
  EXPECT_STREQ("body, note ,extra", tab->field_list->data);
  ASSERT_EQ(3, tab->field_count);  // names trimmed
  EXPECT_STREQ("note", tab->field_names[1]);
  EXPECT_STREQ("extra", tab->field_names[2]);

  EXPECT_EQ(0, adapter.delTable("idx", "nodb", "msgs"));
  EXPECT_EQ(0, adapter.delTable("idx", "app", "msgs"));
  EXPECT_EQ(0u, darray_length(db->tables));

  EXPECT_EQ(-1, adapter.addDataProcFunc("idx", nullptr, nullptr));
  int user = 0;
  EXPECT_EQ(0, adapter.addDataProcFunc("idx", KeepRow, &user));
  // A second installation for the same index changes nothing.
  EXPECT_EQ(0, adapter.addDataProcFunc("idx", KeepRow, ReleaseRow, nullptr));
  ASSERT_NE(nullptr, adapter.getDataProcFunc("idx"));
  EXPECT_EQ(&user, adapter.getDataProcFunc("idx")->user_data);
  EXPECT_EQ(nullptr, adapter.getDataProcFunc("idx")->release);
}

// Rows written through the host's keyed connection leave no plain text in the
// file; the adapter's own connection opens it only with the right key.
class KeyedConnectionTest : public adapter_test::HostedEngineTest {};

TEST_F(KeyedConnectionTest, OpensOnlyWithTheRightKey) {
  SetUpHosted("s3cret", {"CREATE TABLE msgs(mid TEXT, body TEXT)"});
  for (int i = 0; i < 20; ++i) host_->Exec("INSERT INTO msgs VALUES('k','visible plaintext')");
  const std::string bytes = ks_test::ReadFile(db_path_);
  ASSERT_FALSE(bytes.empty());
  EXPECT_EQ(std::string::npos, bytes.find("plaintext"));
  EXPECT_EQ(std::string::npos, bytes.find("SQLite format 3"));

  _sqlite_db_cfg_t* db = adapter_->getDBConfig("app");
  sqlite3* conn = sqlite_create_conn(db);
  ASSERT_NE(nullptr, conn);
  EXPECT_EQ(SQLITE_OK, sqlite3_exec(conn, "SELECT * FROM msgs", nullptr, nullptr, nullptr));
  sqlite3_close(conn);
  ASSERT_TRUE(sqlite_db_cfg_set_text(&db->password, "wrong"));
  EXPECT_EQ(nullptr, sqlite_create_conn(db));
}

}  // namespace
}  // namespace mobile_search
