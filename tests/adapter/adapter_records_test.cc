// Records and connections: the table record's field list, the hook-mode
// filter, and keyed connections on real SQLCipher files.
#include <gtest/gtest.h>
#include <sqlcipher/sqlite3.h>
#include <string.h>

#include <string>

#include "adapter/sqlite_db_config.h"
#include "adapter/sqlite_table_config.h"
#include "adapter_fixture.h"
#include "test_util.h"

namespace mobile_search {
namespace {

using adapter_test::HostDb;

TEST(AdapterRecordsTest, TableRecordSplitsTrimsAndFiltersOperations) {
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

  const struct {
    int mode;
    bool insert, update, del;
  } cases[] = {{0, true, true, true}, {1, true, false, true}, {2, false, true, true},
               {7, true, true, true}};
  for (const auto& c : cases) {
    tab->hook_mode = c.mode;
    EXPECT_EQ(c.insert, sqlite_tab_cfg_takes_op(tab, SQLITE_INSERT)) << c.mode;
    EXPECT_EQ(c.update, sqlite_tab_cfg_takes_op(tab, SQLITE_UPDATE)) << c.mode;
    EXPECT_EQ(c.del, sqlite_tab_cfg_takes_op(tab, SQLITE_DELETE)) << c.mode;
  }
  sqlite_tab_cfg_free(tab);

  // Without profile fields the list is the index fields alone.
  tab = sqlite_tab_cfg_create("t", "a", "", "x > 1", "k", "i");
  ASSERT_NE(nullptr, tab);
  EXPECT_STREQ("a", tab->field_list->data);
  EXPECT_STREQ("x > 1", tab->where_condition->data);
  EXPECT_EQ(1, tab->field_count);
  sqlite_tab_cfg_free(tab);
}

int CountRows(sqlite3* conn) {
  sqlite3_stmt* stmt = nullptr;
  if (sqlite3_prepare_v2(conn, "SELECT count(*) FROM msgs", -1, &stmt, nullptr) != SQLITE_OK) {
    return -1;
  }
  int n = sqlite3_step(stmt) == SQLITE_ROW ? sqlite3_column_int(stmt, 0) : -1;
  sqlite3_finalize(stmt);
  return n;
}

TEST(AdapterRecordsTest, KeyedConnectionsOpenOnlyWithTheRightKey) {
  ks_test::TempDir dir;
  const std::string path = dir.file("app.db");
  {
    HostDb host(path, "s3cret");
    host.Exec("CREATE TABLE msgs(mid TEXT, body TEXT)");
    for (int i = 0; i < 20; ++i) {
      host.Exec("INSERT INTO msgs VALUES('k" + std::to_string(i) + "','visible plaintext " +
                adapter_test::Word(i) + "')");
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
  EXPECT_EQ(20, CountRows(conn));
  sqlite3_stmt* stmt = nullptr;
  ASSERT_EQ(SQLITE_OK, sqlite3_prepare_v2(conn, "PRAGMA journal_mode;", -1, &stmt, nullptr));
  ASSERT_EQ(SQLITE_ROW, sqlite3_step(stmt));
  EXPECT_STREQ("wal", reinterpret_cast<const char*>(sqlite3_column_text(stmt, 0)));
  sqlite3_finalize(stmt);
  sqlite3_close(conn);

  ASSERT_TRUE(sqlite_db_cfg_set_text(&db->path, dir.file("missing/dir/app.db").c_str()));
  EXPECT_EQ(nullptr, sqlite_create_conn(db));
  EXPECT_EQ(nullptr, sqlite_create_conn(nullptr));
  EXPECT_EQ(nullptr, sqlite_db_cfg_create(nullptr));
  sqlite_db_cfg_free(db);
}

}  // namespace
}  // namespace mobile_search
