// Per-table scan progress: for every (db, table) and every index the table is
// registered under, the history of groups the table was indexed into, each
// with the highest row id already indexed there. The last record of a history
// is the table's current group. ConfigManager keeps these records in its
// table array and persists them in "/Table.cfg".
//
// Ownership: a table record owns its names, its index names and its histories;
// a history owns its group row-id records. Every text is an owned copy.
// Lookups return borrowed pointers that live until the record is changed.
//
// Failures: lookups return null for null / empty arguments or no match;
// creation returns null (or -1) on allocation failure after freeing what it
// made. Threads: no locking; the owner serialises access.
#ifndef KS_CONFIG_TABLE_CONFIG_H_
#define KS_CONFIG_TABLE_CONFIG_H_

#include "foundation/dynamic_array.h"
#include "foundation/string_buffer.h"

namespace mobile_search {

// One step of a table's group history.
struct group_rowid_t {
  _str_buffer_t* group_name;
  int max_rowid;  // highest row id of the table already indexed into the group
};

// One (db, table) with its histories, one per index.
struct table_config_t {
  _str_buffer_t* table_name;
  _str_buffer_t* db_name;
  _DArray* index_names;      // _str_buffer_t*, owned
  _DArray* group_histories;  // parallel to index_names: _DArray* of group_rowid_t*, oldest first
};

// Null for a null group name or on allocation failure.
group_rowid_t* group_rowid_create(const char* group_name, int max_rowid);
void freeGroupRowid(group_rowid_t* record);
void freeGroupRowid(void* record);

// Empty record (no index); null for null names or on allocation failure.
table_config_t* table_config_create(const char* table_name, const char* db_name);
void freeTableConfig(table_config_t* record);
void freeTableConfig(void* record);
// Adds an index with the one-record history {group_name, rowid} to a table
// record. 0, or -1 for null arguments or allocation failure (record unchanged).
int table_config_add_index(table_config_t* record, const char* index_name,
                           const char* group_name, int rowid);
// Adds an index with the given history, which the record takes over. 0, or
// -1 on allocation failure: the history is freed and the record unchanged.
int table_config_add_history(table_config_t* record, const char* index_name,
                             _DArray* history);
// Appends a new table record holding one index with the one-record history
// {group_name, rowid}. 0, or -1 for null arguments or allocation failure.
int appendTableConfig(_DArray* array, const char* table_name, const char* db_name,
                      const char* index_name, const char* group_name, int rowid);

// _DArray comparator: key is a const char* index name, slot a _str_buffer_t*;
// exact (strcmp).
int indexNameCompare(unsigned long long key, unsigned long long slot);

// The table record of (db, table), exact names; null if none.
table_config_t* findTableConfig(_DArray* array, const char* table_name, const char* db_name);
// The history of one index of a table: the array itself; null if any level
// is missing or an argument is null.
_DArray* getAllGroupRowid(_DArray* array, const char* table_name, const char* db_name,
                          const char* index_name);
// The record of that group in the history (exact names); null if missing.
group_rowid_t* getGroupRowid(_DArray* array, const char* table_name, const char* db_name,
                             const char* index_name, const char* group_name);
// The last (current) record of the history; null for null or empty arguments
// or an empty or missing history.
group_rowid_t* getRecentGroupRowid(_DArray* array, const char* table_name,
                                   const char* db_name, const char* index_name);

// "/Table.cfg" text of a history: group + ":" + row id ("%d") per record,
// joined by ",", oldest first, e.g. "default:0,g2:1534". Appended to `out`.
void table_config_format_history(const _DArray* history, _str_buffer_t* out);
// Parses such a text: pieces split at ",", each split at ":" into a group name
// and a row id (atoi), both trimmed. Pieces that do not give exactly two
// non-empty halves are skipped. Returns a new history of the valid pieces, in
// order (possibly empty); null for a null text or on allocation failure.
_DArray* table_config_parse_history(const char* text);

}  // namespace mobile_search

#endif  // KS_CONFIG_TABLE_CONFIG_H_
