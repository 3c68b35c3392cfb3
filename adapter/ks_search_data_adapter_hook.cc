// Change hook: follows the host's own inserts, updates and deletes through
// sqlite3_update_hook. For every changed row of a registered table the row's
// key and indexed columns are read back and the document is added, modified
// or deleted in the searcher. Runs on the host's writing thread, inside its
// statement; failures are only logged, the host's write always proceeds.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>

#include <vector>

#include "adapter/ks_search_data_adapter.h"
#include "adapter/row_values.h"
#include "adapter/table_use.h"
#include "foundation/thread_lock.h"
#include "foundation/logging.h"
#include "search/searcher.h"

namespace mobile_search {

namespace {

const int kSqlBufferSize = 4096;

// Prepares under the SQLite lock; logs and returns null on failure.
sqlite3_stmt* prepare_hook_query(sqlite3* conn, const char* sql, ThreadMutex* sqlite_lock) {
  sqlite3_stmt* stmt = nullptr;
  int rc = 0;
  {
    MutexLock guard(sqlite_lock);
    rc = sqlite3_prepare_v2(conn, sql, -1, &stmt, nullptr);
    if (rc != SQLITE_OK) sqlite3_finalize(stmt);
  }
  if (rc == SQLITE_OK) return stmt;
  // The error text was never filled in; glibc prints a null %s as "(null)".
  log_level_printf(SEARCH_LOG_ERROR, "[sqlhook] sql:%s failed:%s", sql, "(null)");
  return nullptr;
}

void finalize_locked(sqlite3_stmt* stmt, ThreadMutex* sqlite_lock) {
  MutexLock guard(sqlite_lock);
  sqlite3_finalize(stmt);
}

// Copy of column 0 of the current row (the key), or null.
char* copy_key(sqlite3_stmt* stmt) {
  const unsigned char* key = sqlite3_column_text(stmt, 0);
  return key == nullptr ? nullptr : strdup(reinterpret_cast<const char*>(key));
}

// "SELECT key FROM table WHERE rowid = n": the key of a row whatever the where
// condition says. Null when there is no such row.
char* read_key_only(sqlite3* conn, const _sqlite_tab_cfg_t* table, sqlite3_int64 rowid,
                    ThreadMutex* sqlite_lock) {
  char sql[kSqlBufferSize] = {0};
  const int n = snprintf(sql, sizeof(sql), "SELECT %s FROM %s WHERE rowid = %lld",
                         table->key_field->data, table->table_name->data,
                         static_cast<long long>(rowid));
  if (n < 0 || n >= kSqlBufferSize) return nullptr;
  sqlite3_stmt* stmt = prepare_hook_query(conn, sql, sqlite_lock);
  if (stmt == nullptr) return nullptr;
  char* key = nullptr;
  {
    MutexLock guard(sqlite_lock);
    if (sqlite3_step(stmt) == SQLITE_ROW) key = copy_key(stmt);
    sqlite3_finalize(stmt);
  }
  return key;
}

// An update goes to modifyDoc, an insert to addDoc (the searcher treats both
// alike); the texts differ by one blank before "failed", as the host's log
// readers expect.
void send_row(Searcher* searcher, int op, const char* index_name, const char* db_name,
              const char* table_name, const char* key, int count, char** texts) {
  bool update = op == SQLITE_UPDATE;
  int result = update ? searcher->modifyDoc(index_name, db_name, table_name, key, count, texts)
                      : searcher->addDoc(index_name, db_name, table_name, key, count, texts);
  if (result == -1) {
    log_level_printf(
        SEARCH_LOG_ERROR,
        update ? "[sqlhook modifyDoc] insert to searcher from table:%s pkey:%s  failed"
               : "[sqlhook addDoc] insert to searcher from table:%s pkey:%s failed",
        table_name, key);
  } else {
    log_level_printf(
        SEARCH_LOG_WARN,
        update ? "[sqlhook modifyDoc] insert to searcher from table:%s pkey:%s  success"
               : "[sqlhook addDoc] insert to searcher from table:%s pkey:%s  success",
        table_name, key);
  }
}

}  // namespace

void* KSSearchDataAdapter::getAdapterHookCtx(const char* db_name, sqlite3* conn) {
  if (db_name == nullptr || conn == nullptr) return nullptr;
  MutexLock guard(adapter_lock_);
  if (closing_) return nullptr;
  _sqlite_db_cfg_t* db = findOrAddDB(db_name);
  if (db == nullptr || db->hook_ctx != nullptr) return nullptr;
  _sqlite_hook_ctx_t* ctx =
      static_cast<_sqlite_hook_ctx_t*>(calloc(1, sizeof(_sqlite_hook_ctx_t)));
  if (ctx == nullptr) return nullptr;
  ctx->db = db;
  ctx->adapter_lock = adapter_lock_;
  ctx->sqlite_lock = sqlite_lock_;
  ctx->adapter = this;
  db->hook_ctx = ctx;
  db->hooked_conn = conn;
  return ctx;
}

int KSSearchDataAdapter::startHook(const char* db_name, sqlite3* conn) {
  void* ctx = getAdapterHookCtx(db_name, conn);
  if (ctx == nullptr) return -1;
  sqlite3_update_hook(conn, sqlite_hooker, ctx);
  return 0;
}

int KSSearchDataAdapter::restartHook(const char* db_name) {
  sqlite3* conn = nullptr;
  {
    MutexLock guard(adapter_lock_);
    _sqlite_db_cfg_t* db = getDBConfig(db_name);
    if (db == nullptr || db->hooked_conn == nullptr) return -1;
    conn = db->hooked_conn;
  }
  return startHook(db_name, conn);
}

// Removes the hook of one database. sqlite3_update_hook waits for the
// connection's mutex, which the writing thread holds while a callback runs, so
// it is called without the adapter lock (the callback takes that lock) and,
// once it returns, no callback can still be using the context.
void KSSearchDataAdapter::releaseHook(_sqlite_db_cfg_t* db) {
  sqlite3* conn = nullptr;
  {
    MutexLock guard(adapter_lock_);
    conn = db->hooked_conn;
  }
  sqlite3_update_hook(conn, nullptr, nullptr);
  void* ctx = nullptr;
  {
    MutexLock guard(adapter_lock_);
    ctx = db->hook_ctx;
    db->hook_ctx = nullptr;
  }
  MutexLock guard(sqlite_lock_);
  free(ctx);
}

int KSSearchDataAdapter::stopHook(const char* db_name) {
  if (db_name == nullptr || stop_flag_) return -1;
  _sqlite_db_cfg_t* db = nullptr;
  {
    MutexLock guard(adapter_lock_);
    db = getDBConfig(db_name);
    if (db == nullptr || db->hooked_conn == nullptr) return -1;
    if (db->hook_ctx == nullptr) return 0;
  }
  releaseHook(db);
  return 0;
}

// Also runs while stopped: the destructor relies on it to unhook the host's
// connections before the contexts are freed.
int KSSearchDataAdapter::stopAllHook() {
  for (unsigned i = 0;; ++i) {
    _sqlite_db_cfg_t* db = nullptr;
    {
      MutexLock guard(adapter_lock_);
      if (i >= darray_length(databases_)) break;
      db = slot_as<_sqlite_db_cfg_t>(darray_get_by_index(databases_, i));
      if (db == nullptr || db->name == nullptr || db->hooked_conn == nullptr ||
          db->hook_ctx == nullptr) {
        continue;
      }
    }
    releaseHook(db);
  }
  return 0;
}

void KSSearchDataAdapter::sqlite_hooker(void* arg, int op, const char* db_name,
                                        const char* table_name, sqlite3_int64 rowid) {
  (void)db_name;  // SQLite's schema name ("main"); documents use the host's name
  // The hook runs inside SQLite's C frames, which must not be unwound.
  try {
    hookChange(arg, op, table_name, rowid);
  } catch (...) {
  }
}

void KSSearchDataAdapter::hookChange(void* arg, int op, const char* table_name,
                                     sqlite3_int64 rowid) {
  if (stop_flag_ || arg == nullptr || table_name == nullptr) return;
  log_level_printf(SEARCH_LOG_WARN, " sqlite_hooker 1 %s -- %lld -- %d", table_name,
                   static_cast<long long>(rowid), op);
  _sqlite_hook_ctx_t* ctx = static_cast<_sqlite_hook_ctx_t*>(arg);
  KSSearchDataAdapter* adapter = ctx->adapter;
  _sqlite_db_cfg_t* db = ctx->db;
  if (adapter == nullptr || db == nullptr || ctx->adapter_lock == nullptr ||
      ctx->sqlite_lock == nullptr) {
    return;
  }
  Searcher* searcher = adapter->searcher_;
  sqlite3* conn = nullptr;
  {
    MutexLock guard(ctx->adapter_lock);
    conn = db->hooked_conn;
    // A deleted row is gone for the writing connection but still committed
    // for any other one until the host's transaction ends.
    if (op == SQLITE_DELETE) {
      if (db->lookup_conn == nullptr) db->lookup_conn = sqlite_create_conn(db);
      conn = db->lookup_conn;
    }
  }
  if (conn == nullptr || searcher == nullptr || db->name == nullptr || stop_flag_) return;

  // The matching tables are held, not just pointed at: a delTable on another
  // thread meanwhile unlinks them but cannot free them under this row.
  std::vector<TableUse> matched;
  {
    MutexLock guard(ctx->adapter_lock);
    for (unsigned i = 0; i < darray_length(db->tables); ++i) {
      _sqlite_tab_cfg_t* tab = slot_as<_sqlite_tab_cfg_t>(darray_get_by_index(db->tables, i));
      if (tab != nullptr && strcasecmp(tab->table_name->data, table_name) == 0 &&
          tab->field_list->len > 0 && sqlite_tab_cfg_takes_op(tab, op)) {
        matched.emplace_back(tab, ctx->adapter_lock);
      }
    }
  }
  if (matched.empty()) {
    log_level_printf(SEARCH_LOG_WARN, " sqlite_hooker 表不存在 2 %s -- %lld -- %d", table_name,
                     static_cast<long long>(rowid), op);
  }
  for (const TableUse& use : matched) adapter->handleHookedRow(ctx, conn, use.get(), op, rowid);
}

void KSSearchDataAdapter::handleHookedRow(_sqlite_hook_ctx_t* ctx, sqlite3* conn,
                                          _sqlite_tab_cfg_t* table, int op,
                                          sqlite3_int64 rowid) {
  if (stop_flag_) return;
  char sql[kSqlBufferSize] = {0};
  int n = 0;
  if (table->where_condition->len == 0) {
    n = snprintf(sql, sizeof(sql), "SELECT %s,%s FROM %s WHERE rowid = %lld",
                 table->key_field->data, table->field_list->data, table->table_name->data,
                 static_cast<long long>(rowid));
  } else {
    n = snprintf(sql, sizeof(sql), "SELECT %s,%s FROM %s WHERE rowid = %lld and (%s)",
                 table->key_field->data, table->field_list->data, table->table_name->data,
                 static_cast<long long>(rowid), table->where_condition->data);
  }
  if (n < 0 || n >= kSqlBufferSize) return;
  sqlite3_stmt* stmt = prepare_hook_query(conn, sql, ctx->sqlite_lock);
  if (stmt == nullptr) return;

  const char* index_name = table->index_name->data;
  const char* db_name = ctx->db->name->data;
  const char* table_name = table->table_name->data;
  RowValues values(table->field_count);
  _index_data_cfg_t* data_proc = nullptr;  // set once the row goes to the searcher
  char* key = nullptr;
  bool have_row = false;
  {
    MutexLock guard(ctx->sqlite_lock);
    if (sqlite3_step(stmt) == SQLITE_ROW) {
      have_row = true;
      key = copy_key(stmt);
      if (op != SQLITE_DELETE && values.valid()) values.copyRow(stmt, 1);
    }
  }

  if (op == SQLITE_DELETE) {
    if (key != nullptr) searcher_->delDoc(index_name, db_name, table_name, key);
  } else if (!have_row && op == SQLITE_UPDATE) {
    // The row no longer satisfies the where condition: its document goes.
    finalize_locked(stmt, ctx->sqlite_lock);
    stmt = nullptr;
    key = read_key_only(conn, table, rowid, ctx->sqlite_lock);
    if (key != nullptr) searcher_->delDoc(index_name, db_name, table_name, key);
  } else if (have_row && values.valid()) {
    // A row without key still goes through the processing function, as in a
    // scan; only sending it needs the key.
    data_proc = getDataProcFunc(index_name);
    bool keep = index_data_cfg_process(data_proc, table->field_count, table->field_names,
                                       values.texts(), values.lengths(),
                                       values.capacities()) != -1;
    if (keep && !stop_flag_ && key != nullptr) {
      send_row(searcher_, op, index_name, db_name, table_name, key, table->field_count,
               values.texts());
    }
  }
  if (stmt != nullptr) finalize_locked(stmt, ctx->sqlite_lock);
  free(key);
  // Unlike a scan, a dropped row still gets its release call.
  index_data_cfg_release(data_proc, table->field_count, table->field_names, values.texts(),
                         values.lengths(), values.capacities());
}

}  // namespace mobile_search
