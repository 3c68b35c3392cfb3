#include "adapter/sqlite_db_config.h"

#include <stdio.h>
#include <stdlib.h>

#include "adapter/sqlite_table_config.h"

namespace mobile_search {

_sqlite_db_cfg_t* sqlite_db_cfg_create(const char* name) {
  if (name == nullptr) return nullptr;
  _sqlite_db_cfg_t* db = static_cast<_sqlite_db_cfg_t*>(calloc(1, sizeof(_sqlite_db_cfg_t)));
  if (db == nullptr) return nullptr;
  db->name = str_buffer_create(name);
  db->path = str_buffer_create(static_cast<const char*>(nullptr));
  db->password = str_buffer_create(static_cast<const char*>(nullptr));
  db->tables = darray_create(sqlite_tab_cfg_release, true);
  if (db->name == nullptr || db->path == nullptr || db->password == nullptr ||
      db->tables == nullptr) {
    sqlite_db_cfg_free(db);
    return nullptr;
  }
  return db;
}

void sqlite_db_cfg_free(_sqlite_db_cfg_t* db) {
  if (db == nullptr) return;
  str_buffer_free(db->name);
  str_buffer_free(db->path);
  str_buffer_free(db->password);
  if (db->scan_conn != nullptr) sqlite3_close(db->scan_conn);
  if (db->lookup_conn != nullptr) sqlite3_close(db->lookup_conn);
  darray_destroy(db->tables);
  free(db->hook_ctx);
  free(db);
}

void sqlite_db_cfg_free(void* db) { sqlite_db_cfg_free(static_cast<_sqlite_db_cfg_t*>(db)); }

bool sqlite_db_cfg_set_text(_str_buffer_t** field, const char* text) {
  _str_buffer_t* copy = str_buffer_create(text);
  if (copy == nullptr) return false;
  str_buffer_free(*field);
  *field = copy;
  return true;
}

namespace {

// The key statement succeeds whatever the key is; only reading the database
// shows whether it opens it. Reading the schema is the cheapest such read.
bool apply_key(sqlite3* conn, const char* password) {
  char sql[1024] = {0};
  snprintf(sql, sizeof(sql), "PRAGMA key='%s';", password);
  if (sqlite3_exec(conn, sql, nullptr, nullptr, nullptr) != SQLITE_OK) return false;
  return sqlite3_exec(conn, "SELECT count(*) FROM sqlite_master;", nullptr, nullptr, nullptr) ==
         SQLITE_OK;
}

bool apply_wal(sqlite3* conn) {
  char* err = nullptr;
  int rc = sqlite3_exec(conn, "PRAGMA journal_mode=WAL;", nullptr, nullptr, &err);
  sqlite3_free(err);
  return rc == SQLITE_OK;
}

}  // namespace

sqlite3* sqlite_create_conn(const _sqlite_db_cfg_t* db) {
  if (db == nullptr || db->path == nullptr || db->path->len == 0) return nullptr;
  sqlite3* conn = nullptr;
  if (sqlite3_open(db->path->data, &conn) != SQLITE_OK) {
    sqlite3_close(conn);
    return nullptr;
  }
  bool keyed = db->password == nullptr || db->password->len == 0 ||
               apply_key(conn, db->password->data);
  if (keyed && (!db->wal || apply_wal(conn))) return conn;
  // Nobody else holds the handle: leaving it open would leak it (and its file).
  sqlite3_close(conn);
  return nullptr;
}

}  // namespace mobile_search
