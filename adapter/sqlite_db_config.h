// One database registered with the adapter: the host's name for it, its file,
// its key and journal choice, its indexed tables and the SQLite connections
// the adapter uses on it.
//
// Ownership: the record owns its strings, a reference to each of its tables
// (an array of _sqlite_tab_cfg_t*), the scan connection and the lookup connection (both
// opened by the adapter and closed by sqlite_db_cfg_free) and the hook
// context. The hooked connection belongs to the host and is never closed here.
//
// No locking inside: the adapter's lock guards the record, its table list and
// the lazy opening of its connections.
#ifndef KS_ADAPTER_SQLITE_DB_CONFIG_H_
#define KS_ADAPTER_SQLITE_DB_CONFIG_H_

#include <sqlcipher/sqlite3.h>

#include "foundation/dynamic_array.h"
#include "foundation/string_buffer.h"

namespace mobile_search {

struct _sqlite_db_cfg_t {
  _str_buffer_t* name;     // the host's name for the database
  sqlite3* scan_conn;      // opened on the first scan
  _DArray* tables;         // _sqlite_tab_cfg_t*, one reference each
  _str_buffer_t* path;     // the database file; empty until addDB gives one
  _str_buffer_t* password; // empty for a plain database
  bool wal;                // put the adapter's connections in WAL mode
  sqlite3* hooked_conn;    // the host's connection given to startHook
  sqlite3* lookup_conn;    // opened on the first delete the hook sees
  void* hook_ctx;          // non-null while the update hook is installed
};

// An empty record for `name` (empty path and password, no tables); null for a
// null name or when allocation fails.
_sqlite_db_cfg_t* sqlite_db_cfg_create(const char* name);
// Frees the strings, closes the scan and lookup connections, destroys the
// tables and frees the hook context. Null is ignored.
void sqlite_db_cfg_free(_sqlite_db_cfg_t* db);
// Same, as a _DArray release callback.
void sqlite_db_cfg_free(void* db);

// Replaces a string field with a copy of `text` (a null text leaves it
// empty). False, with the field unchanged, when the copy cannot be made.
bool sqlite_db_cfg_set_text(_str_buffer_t** field, const char* text);

// Opens a connection of the adapter's own on the database: the key statement
// "PRAGMA key='...';" when a password is set, then "PRAGMA journal_mode=WAL;"
// when the WAL flag is. Null when the record or its path is missing, the file
// cannot be opened, the key does not open the database or WAL mode cannot be
// set; a connection that fails half-way is closed.
sqlite3* sqlite_create_conn(const _sqlite_db_cfg_t* db);

}  // namespace mobile_search

#endif  // KS_ADAPTER_SQLITE_DB_CONFIG_H_
