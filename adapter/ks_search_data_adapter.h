// KSSearchDataAdapter: connects the engine to the host's SQLite databases.
//
// It knows each registered database (name, file, key, journal mode), each
// indexed table of each index (key column, field list, where condition, hook
// mode) and, per index, an optional pair of host functions that rewrite row
// values before they are indexed. It fills the index of a table from the rows
// already in it (scanTable, in batches of at most 50 rows, resuming from the
// row id recorded in the configuration) and follows the host's later inserts,
// updates and deletes through SQLite's update hook (startHook).
//
// Ownership: the adapter owns its database records (and through them the table
// records and the connections it opened itself) and the data-processing
// entries. The Searcher is borrowed; through it the adapter reaches the
// configuration manager that records scan progress. Host connections handed to
// startHook stay the host's.
//
// Threads: the host calls in from several threads; the update hook runs on the
// host's writing thread inside its statement, a scan on a worker thread. Two
// plain mutexes, taken one at a time: the adapter lock guards the database and
// table lists, the mutable fields of their records (scan progress flags,
// reference counts), the count of running scans and the lazy opening of
// connections; the SQLite lock is held around every statement call of the
// adapter and the data-processing list.
//
// Lifetimes: database records and data-processing entries live as long as the
// adapter. Table records are reference-counted (see table_use.h): a hooked row
// or a scan batch holds its table, so delTable and a new registration never
// free what they read. Batches of one table run one after the other (a second
// caller waits for the first to end); batches of different tables run at
// once. stopScan() and the destructor wait, on a condition variable, until
// every scanTable call of this adapter has returned (see scan_run.h); the destructor first removes every
// hook, and SQLite's connection mutex makes that wait for a callback under way.
//
// A process-wide stop flag, set by stopScan() and the destructor and cleared by
// constructing an adapter with a non-empty root, makes table registration,
// scans, hook handling, delTable and stopHook refuse to work: it is meant for
// shutdown.
//
// Failures are return values: -1 in general, -5 (unknown database) and -7
// (statement cannot be prepared) from scans, null from lookups.
#ifndef KS_ADAPTER_KS_SEARCH_DATA_ADAPTER_H_
#define KS_ADAPTER_KS_SEARCH_DATA_ADAPTER_H_

#include <sqlcipher/sqlite3.h>

#include <atomic>

#include "adapter/index_data_config.h"
#include "adapter/sqlite_db_config.h"
#include "adapter/sqlite_hook_context.h"
#include "adapter/sqlite_table_config.h"
#include "foundation/dynamic_array.h"
#include "foundation/ini_file.h"
#include "foundation/string_buffer.h"
#include "foundation/thread_lock.h"

namespace mobile_search {

class ConfigManager;
class Searcher;

class KSSearchDataAdapter {
 public:
  // Clears the process-wide stop flag when root is non-empty.
  explicit KSSearchDataAdapter(const char* root);
  // Sets the stop flag, refuses new hooks and scans, removes every hook, waits
  // for running scan batches, then releases databases, connections and
  // processing entries.
  ~KSSearchDataAdapter();
  KSSearchDataAdapter(const KSSearchDataAdapter&) = delete;
  KSSearchDataAdapter& operator=(const KSSearchDataAdapter&) = delete;

  // -1 for null, else 0.
  int setSearcher(Searcher* searcher);

  // ---- Databases and tables ----
  // Registers the database or, when known, replaces its path and password
  // (null leaves them empty) and sets its WAL flag. -1 for a null name or
  // when the record cannot be made; else 0.
  int addDB(const char* name, const char* path, const char* password, bool wal);
  // Exact lookup; null for a null name or no match. The caller holds the
  // adapter lock if other threads may change the list.
  _sqlite_db_cfg_t* getDBConfig(const char* name);
  // Registers one table of one index (registering an unknown database without
  // path). -1 unless table, index fields, database, index and key field are
  // given and the stop flag is clear, or when the record cannot be made; 0 when
  // registered (also when it was already). The table counts as scanned when the
  // configuration already records progress for it.
  int addTable(const char* index_name, const char* db_name, const char* table_name,
               const char* key_field, const char* index_fields, const char* where_condition,
               const char* profile_fields, int hook_mode);
  // The database's table with exactly this table and index name; null if none.
  // Same locking note as getDBConfig.
  _sqlite_tab_cfg_t* getTabConfig(const char* db_name, const char* table_name,
                                  const char* index_name);
  // -1 for a null argument or while stopped; 0 otherwise (also when the
  // database or table is unknown).
  int delTable(const char* index_name, const char* db_name, const char* table_name);

  // ---- Data processing ----
  // Installs the functions for an index. -1 for an empty name, a null
  // processing function or a missing list; 0 (unchanged) when the index has an
  // entry already, or when installed.
  int addDataProcFunc(const char* index_name, data_proc_func_t proc, data_release_func_t release,
                      void* user_data);
  int addDataProcFunc(const char* index_name, data_proc_func_t proc, void* user_data);
  // The index's entry, or null.
  _index_data_cfg_t* getDataProcFunc(const char* index_name);

  // Removes every document of the table(s) from the searcher. The recorded
  // scan progress is left alone by the adapter (the searcher resets it).
  // Returns Searcher::clearDoc's result; -1 without searcher.
  int clearDoc(const char* index_name, const char* db_name, const char* table_name);

  // ---- Table scan ----
  // Indexes one batch of at most 50 rows of the table, from the recorded row
  // id on, after any batch of the same table running on another thread.
  // Returns the rows sent to the searcher (0 once the table is done), -1 for a
  // null argument, an unknown table, a missing connection, while stopped, or
  // when this thread is already scanning the table (from a processing
  // function), -5 for an unknown database, -7 when the statement cannot be
  // prepared (wrong columns, bad where condition, no such table).
  int scanTable(const char* db_name, const char* table_name, const char* index_name);
  // The batch itself, on the given connection; same results as scanTable.
  int buildTableIndex(const char* db_name, _sqlite_tab_cfg_t* table, sqlite3* conn);
  // Sets the stop flag for good and waits until every running batch of this
  // adapter has ended (except one this very thread is inside of, when called
  // from a processing function). Returns 0.
  int stopScan();
  // Size of the group_out buffer that getScanMaxRowid fills.
  static constexpr int kGroupNameBytes = 1024;
  // The table's recorded progress: copies its current group's name into
  // group_out (a buffer of kGroupNameBytes) and returns the max row id;
  // "default" and 0 when nothing is recorded, 0 for a null argument or
  // without searcher.
  int getScanMaxRowid(const char* db_name, const char* table_name, const char* index_name,
                      char* group_out);
  // Records progress in the configuration ("/Table.cfg"). -1 for a null
  // argument or without searcher, else 0.
  int setScanMaxRowid(const char* db_name, const char* table_name, const char* index_name,
                      const char* group_name, int rowid);
  // Row-id setter handed to Searcher::clearDoc: does nothing and returns 0, so
  // clearing documents does not move the scan progress by itself.
  static int funSetScanMaxRowid(void* adapter, const char* db_name, const char* table_name,
                                const char* index_name, int rowid);

  // ---- Change hook ----
  // Creates the hook context of a database (registering an unknown one) and
  // stores it with the connection. Null for null arguments or when a hook is
  // installed already.
  void* getAdapterHookCtx(const char* db_name, sqlite3* conn);
  // Installs the update hook on the host's connection. -1 when no context can
  // be made (already hooked, null arguments), else 0.
  int startHook(const char* db_name, sqlite3* conn);
  // Installs the hook again on the connection stored for the database; -1 for
  // an unknown database, one never hooked, or one still hooked.
  int restartHook(const char* db_name);
  // Removes the hook. -1 for a null name, while stopped, for an unknown
  // database or one without connection; 0 otherwise (also when not hooked).
  int stopHook(const char* db_name);
  // Removes every installed hook, also while stopped. Returns 0.
  int stopAllHook();
  // The update hook: reads the changed row of every registered table of that
  // name back and adds, modifies or deletes its document. Nothing unwinds out
  // of it into SQLite: an exception from below (memory exhaustion) drops the
  // change.
  static void sqlite_hooker(void* ctx, int op, const char* db_name, const char* table_name,
                            sqlite3_int64 rowid);

 private:
  static void hookChange(void* ctx, int op, const char* table_name, sqlite3_int64 rowid);
  ConfigManager* configManager() const;
  _sqlite_db_cfg_t* findOrAddDB(const char* db_name);
  void releaseHook(_sqlite_db_cfg_t* db);
  void handleHookedRow(_sqlite_hook_ctx_t* ctx, sqlite3* conn, _sqlite_tab_cfg_t* table, int op,
                       sqlite3_int64 rowid);
  int runScanBatch(const char* db_name, _sqlite_tab_cfg_t* table, sqlite3_stmt* stmt,
                   const char* group, int max_rowid);

  static std::atomic<bool> stop_flag_;

  Searcher* searcher_;
  ini_ctx_t* reserved_doc_;       // unused, always null
  _DArray* databases_;            // _sqlite_db_cfg_t*, owned
  ThreadMutex* sqlite_lock_;
  ThreadMutex* adapter_lock_;
  // Guarded by adapter_lock_:
  bool closing_;                 // the destructor runs: no new hook or scan
  int scan_calls_;               // scanTable calls under way, waiting ones too
  ThreadCondition* scan_ended_;  // signalled when such a call ends
  _DArray* data_procs_;           // _index_data_cfg_t*, owned
  _str_buffer_t* root_path_;
};

}  // namespace mobile_search

#endif  // KS_ADAPTER_KS_SEARCH_DATA_ADAPTER_H_
