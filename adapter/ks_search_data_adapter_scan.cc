// Table scan: indexes the rows already in a table, in batches of at most 50
// rows ordered by row id, recording after each batch the highest row id
// reached so that the work resumes there (also after a restart).
#include <stdio.h>
#include <string.h>

#include <memory>

#include "adapter/ks_search_data_adapter.h"
#include "adapter/row_values.h"
#include "adapter/scan_run.h"
#include "foundation/thread_lock.h"
#include "config/config_manager.h"
#include "foundation/logging.h"
#include "search/searcher.h"

namespace mobile_search {

namespace {

const int kSqlBufferSize = 4096;

// Restores the group's auto-save setting when the batch ends, however it ends.
class AutoSavePause {
 public:
  AutoSavePause(Searcher* searcher, const char* group)
      : searcher_(searcher), group_(group), was_on_(searcher->isAutoSave(group)) {
    searcher_->setAutoSave(group_, false);
  }
  ~AutoSavePause() { searcher_->setAutoSave(group_, was_on_); }
  AutoSavePause(const AutoSavePause&) = delete;
  AutoSavePause& operator=(const AutoSavePause&) = delete;
  bool wasOn() const { return was_on_; }

 private:
  Searcher* searcher_;
  const char* group_;
  bool was_on_;
};

}  // namespace

int KSSearchDataAdapter::scanTable(const char* db_name, const char* table_name,
                                   const char* index_name) {
  if (db_name == nullptr || table_name == nullptr || index_name == nullptr || stop_flag_) {
    return -1;
  }
  std::unique_ptr<ScanRun> run;  // outlives the guard below: ends unlocked
  sqlite3* conn = nullptr;
  {
    MutexLock guard(adapter_lock_);
    _sqlite_db_cfg_t* db = getDBConfig(db_name);
    if (db == nullptr) return -5;
    _sqlite_tab_cfg_t* table = getTabConfig(db_name, table_name, index_name);
    if (table == nullptr) {
      log_level_printf(SEARCH_LOG_ERROR, "getTabConfig is null  %s -- %s -- %s", index_name,
                       table_name, db_name);
      return -1;
    }
    if (closing_ || ScanRun::isScanning(table)) return -1;
    run.reset(new ScanRun(this, table, adapter_lock_, scan_ended_, &scan_calls_));
    // Two batches of one table would read the same rows from the same
    // recorded row id: the later caller waits for the earlier batch.
    while (table->scan_active && !stop_flag_ && !closing_) scan_ended_->wait(adapter_lock_);
    if (stop_flag_ || closing_) return -1;
    run->begin();
    if (db->scan_conn == nullptr) db->scan_conn = sqlite_create_conn(db);
    conn = db->scan_conn;
  }
  return buildTableIndex(db_name, run->table(), conn);
}

int KSSearchDataAdapter::buildTableIndex(const char* db_name, _sqlite_tab_cfg_t* table,
                                         sqlite3* conn) {
  if (stop_flag_ || table == nullptr || searcher_ == nullptr || conn == nullptr) return -1;
  const char* table_name = table->table_name->data;
  const char* index_name = table->index_name->data;
  char group[kGroupNameBytes] = {0};
  strcpy(group, "default");
  int max_rowid = getScanMaxRowid(db_name, table_name, index_name, group);

  char sql[kSqlBufferSize] = {0};
  int n = 0;
  // The record's SQL pieces are fixed once it is made: no lock needed.
  if (table->where_condition->len == 0) {
    n = snprintf(sql, sizeof(sql), "SELECT rowid,%s,%s FROM %s WHERE rowid >= %d limit 50",
                 table->key_field->data, table->field_list->data, table_name, max_rowid);
  } else {
    n = snprintf(sql, sizeof(sql), "SELECT rowid,%s,%s FROM %s WHERE rowid >= %d and (%s) limit 50",
                 table->key_field->data, table->field_list->data, table_name, max_rowid,
                 table->where_condition->data);
  }
  if (n < 0 || n >= kSqlBufferSize) return -1;

  sqlite3_stmt* stmt = nullptr;
  int rc = 0;
  {
    MutexLock guard(sqlite_lock_);
    rc = sqlite3_prepare_v2(conn, sql, -1, &stmt, nullptr);
  }
  if (rc != SQLITE_OK) {
    log_printf("sqlite prepare fail result:%d\n", rc);
    log_level_printf(SEARCH_LOG_ERROR, "[buildTableIndex] sqlite prepare fail result:%d\n", rc);
    MutexLock guard(sqlite_lock_);
    sqlite3_finalize(stmt);
    return -7;
  }
  int result = runScanBatch(db_name, table, stmt, group, max_rowid);
  MutexLock guard(sqlite_lock_);
  sqlite3_finalize(stmt);
  return result;
}

// Steps through one prepared batch; the caller finalizes the statement.
int KSSearchDataAdapter::runScanBatch(const char* db_name, _sqlite_tab_cfg_t* table,
                                      sqlite3_stmt* stmt, const char* group, int max_rowid) {
  const char* table_name = table->table_name->data;
  const char* index_name = table->index_name->data;
  _index_data_cfg_t* data_proc = getDataProcFunc(index_name);
  RowValues values(table->field_count);
  if (!values.valid()) return -1;
  AutoSavePause pause(searcher_, group);

  int sent = 0;
  int last_rowid = max_rowid;
  for (;;) {
    int rc = 0;
    const char* key = nullptr;
    {
      MutexLock guard(sqlite_lock_);
      rc = sqlite3_step(stmt);
      if (rc == SQLITE_ROW) {
        // Row ids are read as 32-bit ints, as the recorded progress is.
        last_rowid = sqlite3_column_int(stmt, 0);
        key = reinterpret_cast<const char*>(sqlite3_column_text(stmt, 1));
        if (data_proc != nullptr) {
          values.copyRow(stmt, 2);
        } else {
          values.pointAtRow(stmt, 2);
        }
      }
    }
    // A database locked by a writer ends the batch like its last row does;
    // the next call goes on from the recorded row id.
    if (rc == SQLITE_DONE || rc == SQLITE_BUSY || rc == SQLITE_LOCKED) break;
    if (rc != SQLITE_ROW || stop_flag_) return -1;

    if (data_proc != nullptr &&
        index_data_cfg_process(data_proc, table->field_count, table->field_names,
                               values.texts(), values.lengths(), values.capacities()) == -1) {
      continue;  // dropped: not sent, not counted, but its row id was read
    }
    if (stop_flag_) {
      index_data_cfg_release(data_proc, table->field_count, table->field_names, values.texts(),
                             values.lengths(), values.capacities());
      return -1;
    }
    if (key != nullptr) {
      ++sent;
      if (searcher_->addDoc(index_name, db_name, table_name, key, table->field_count,
                            values.texts()) == -1) {
        log_printf("addDoc failed index_name:%s db_name:%s table_name:%s pkey:%s\n", index_name,
                   db_name, table_name, key);
        log_level_printf(SEARCH_LOG_ERROR,
                         "[buildTableIndex] addDoc failed index_name:%s db_name:%s "
                         "table_name:%s pkey:%s\n",
                         index_name, db_name, table_name, key);
      }
    }
    index_data_cfg_release(data_proc, table->field_count, table->field_names, values.texts(),
                           values.lengths(), values.capacities());
  }

  // The batch starts at the recorded row id itself, so a batch that only read
  // that row again made no progress: the table is done.
  if (sent > 0 && last_rowid > max_rowid) {
    // The batch's documents reach the disk before the progress that skips
    // their rows: a process stopped in between reads the rows again, and a
    // save that failed (full disk) records no progress.
    if (!pause.wasOn() || searcher_->save(group) == 1) {
      setScanMaxRowid(db_name, table_name, index_name, group, last_rowid);
    }
  } else if (last_rowid <= max_rowid) {
    sent = 0;
  }
  return sent;
}

int KSSearchDataAdapter::stopScan() {
  stop_flag_ = true;
  MutexLock guard(adapter_lock_);
  const int own = ScanRun::runsOnThisThread(this);
  while (scan_calls_ > own) scan_ended_->wait(adapter_lock_);
  return 0;
}

// Both accessors take the adapter lock themselves rather than relying on the
// caller: the bridge calls them directly, and a scan batch must not hold the
// adapter lock across its SQLite work.
int KSSearchDataAdapter::getScanMaxRowid(const char* db_name, const char* table_name,
                                         const char* index_name, char* group_out) {
  ConfigManager* manager = configManager();
  if (db_name == nullptr || table_name == nullptr || index_name == nullptr ||
      group_out == nullptr || manager == nullptr) {
    return 0;
  }
  MutexLock guard(adapter_lock_);
  return manager->getScanMaxRowid(table_name, db_name, index_name, group_out);
}

int KSSearchDataAdapter::setScanMaxRowid(const char* db_name, const char* table_name,
                                         const char* index_name, const char* group_name,
                                         int rowid) {
  ConfigManager* manager = configManager();
  if (db_name == nullptr || table_name == nullptr || index_name == nullptr ||
      group_name == nullptr || manager == nullptr) {
    return -1;
  }
  MutexLock guard(adapter_lock_);
  manager->setScanMaxRowid(table_name, db_name, index_name, group_name, rowid);
  return 0;
}

int KSSearchDataAdapter::funSetScanMaxRowid(void*, const char*, const char*, const char*, int) {
  return 0;
}

}  // namespace mobile_search
