// Records and connections: the table record's field list, and keyed
// connections on real SQLCipher files.
#include <gtest/gtest.h>
#include <sqlcipher/sqlite3.h>

#include <string>

#include "adapter/sqlite_db_config.h"
#include "adapter/sqlite_table_config.h"
#include "adapter_fixture.h"

namespace mobile_search {
namespace {

TEST(AdapterRecordsTest, TableRecordJoinsAndTrimsFieldNames) {
  _sqlite_tab_cfg_t* tab = sqlite_tab_cfg_create("msgs", "name, note ", "extra", nullptr, "mid",
                                                 "idx");
  ASSERT_NE(nullptr, tab);
  EXPECT_STREQ("name, note ,extra", tab->field_list->data);
  EXPECT_STREQ("", tab->where_condition->data);
  ASSERT_EQ(3, tab->field_count);
  EXPECT_STREQ("name", tab->field_names[0]);
  EXPECT_STREQ("note", tab->field_names[1]);
  EXPECT_STREQ("extra", tab->field_names[2]);
  EXPECT_EQ(nullptr, tab->field_names[3]);
  sqlite_tab_cfg_free(tab);
}

// The first column of the first row of `sql`, or "" when it fails.
std::string QueryText(sqlite3* conn, const char* sql) {
  sqlite3_stmt* stmt = nullptr;
  std::string out;
  if (sqlite3_prepare_v2(conn, sql, -1, &stmt, nullptr) == SQLITE_OK &&
      sqlite3_step(stmt) == SQLITE_ROW) {
    out = reinterpret_cast<const char*>(sqlite3_column_text(stmt, 0));
  }
  sqlite3_finalize(stmt);
  return out;
}

TEST(AdapterRecordsTest, KeyedConnectionsOpenOnlyWithTheRightKey) {
  ks_test::TempDir dir;
  const std::string path = dir.file("app.db");
  {
    adapter_test::HostDb host(path, "s3cret");
    host.Exec("CREATE TABLE msgs(mid TEXT, body TEXT)");
    for (int i = 0; i < 20; ++i) {
      host.Exec("INSERT INTO msgs VALUES('k" + std::to_string(i) + "','visible plaintext')");
    }
  }
  const std::string bytes = ks_test::ReadFile(path);
  ASSERT_FALSE(bytes.empty());
  EXPECT_EQ(std::string::npos, bytes.find("plaintext"));
  EXPECT_EQ(std::string::npos, bytes.find("SQLite format 3"));

  _sqlite_db_cfg_t* db = sqlite_db_cfg_create("app");
  ASSERT_NE(nullptr, db);
  EXPECT_EQ(nullptr, sqlite_create_conn(db));  // no path yet
  ASSERT_TRUE(sqlite_db_cfg_set_text(&db->path, path.c_str()));
  ASSERT_TRUE(sqlite_db_cfg_set_text(&db->password, "wrong"));
  EXPECT_EQ(nullptr, sqlite_create_conn(db));
  db->wal = true;
  EXPECT_EQ(nullptr, sqlite_create_conn(db));

  ASSERT_TRUE(sqlite_db_cfg_set_text(&db->password, "s3cret"));
  sqlite3* conn = sqlite_create_conn(db);
  ASSERT_NE(nullptr, conn);
  EXPECT_EQ("20", QueryText(conn, "SELECT count(*) FROM msgs"));
  EXPECT_EQ("wal", QueryText(conn, "PRAGMA journal_mode;"));
  sqlite3_close(conn);

  ASSERT_TRUE(sqlite_db_cfg_set_text(&db->path, dir.file("missing/dir/app.db").c_str()));
  EXPECT_EQ(nullptr, sqlite_create_conn(db));
  EXPECT_EQ(nullptr, sqlite_create_conn(nullptr));
  sqlite_db_cfg_free(db);
}

}  // namespace
}  // namespace mobile_search
