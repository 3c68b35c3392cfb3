// Registration of databases, tables and data-processing functions, keyed
// connections on real SQLCipher files, and the process-wide stop flag.
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
  EXPECT_STREQ("mid", tab->key_field->data);
  EXPECT_STREQ("body, note ,extra", tab->field_list->data);
  ASSERT_EQ(3, tab->field_count);  // names trimmed
  EXPECT_STREQ("note", tab->field_names[1]);
  EXPECT_STREQ("extra", tab->field_names[2]);
  // A table of an unknown database registers the database, without a path.
  EXPECT_EQ(0, adapter.addTable("idx", "other", "t", "k", "v", "", "", 0));
  ASSERT_NE(nullptr, adapter.getDBConfig("other"));
  EXPECT_STREQ("", adapter.getDBConfig("other")->path->data);

  EXPECT_EQ(0, adapter.delTable("idx", "nodb", "msgs"));
  EXPECT_EQ(0, adapter.delTable("idx", "app", "msgs"));
  EXPECT_EQ(nullptr, adapter.getTabConfig("app", "msgs", "idx"));
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

TEST(AdapterRegistrationTest, KeyedConnectionsOpenOnlyWithTheRightKey) {
  ks_test::TempDir dir;
  const std::string path = dir.file("app.db");
  {
    adapter_test::HostDb host(path, "s3cret");
    host.Exec("CREATE TABLE msgs(mid TEXT, body TEXT)");
    for (int i = 0; i < 20; ++i) host.Exec("INSERT INTO msgs VALUES('k','visible plaintext')");
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
  ASSERT_TRUE(sqlite_db_cfg_set_text(&db->password, "s3cret"));
  sqlite3* conn = sqlite_create_conn(db);
  ASSERT_NE(nullptr, conn);
  EXPECT_EQ(SQLITE_OK, sqlite3_exec(conn, "SELECT * FROM msgs", nullptr, nullptr, nullptr));
  sqlite3_close(conn);
  ASSERT_TRUE(sqlite_db_cfg_set_text(&db->path, dir.file("missing/dir/app.db").c_str()));
  EXPECT_EQ(nullptr, sqlite_create_conn(db));
  sqlite_db_cfg_free(db);
}

TEST(AdapterRegistrationTest, StopFlagRefusesWorkUntilANewAdapter) {
  ks_test::TempDir dir;
  {
    KSSearchDataAdapter adapter(dir.path().c_str());
    EXPECT_EQ(0, adapter.addTable("idx", "app", "msgs", "mid", "body", "", "", 0));
    EXPECT_EQ(0, adapter.stopScan());
    EXPECT_EQ(-1, adapter.addTable("idx", "app", "t2", "mid", "body", "", "", 0));
    EXPECT_EQ(-1, adapter.scanTable("app", "msgs", "idx"));
    EXPECT_EQ(-1, adapter.delTable("idx", "app", "msgs"));
  }
  {
    // An adapter without root does not lift the stop.
    KSSearchDataAdapter placeholder("");
    EXPECT_EQ(-1, placeholder.addTable("idx", "app", "msgs", "mid", "body", "", "", 0));
  }
  KSSearchDataAdapter adapter(dir.path().c_str());
  EXPECT_EQ(0, adapter.addTable("idx", "app", "msgs", "mid", "body", "", "", 0));
}

}  // namespace
}  // namespace mobile_search
