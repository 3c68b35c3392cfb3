// One indexed table of one index, as the adapter knows it: the names and SQL
// pieces it needs to read the table's rows (key column, field list, where
// condition) and how the change hook treats the table.
//
// The record owns all of its strings and the split field names; field_names
// points into them and is null-terminated. Everything but `scanned`,
// `scan_active` and `refs` is fixed once the record is made, so a holder of a
// reference may read it without a lock.
//
// Lifetime: the record is reference-counted. The adapter's database record
// keeps its tables in an array holding one reference each
// (sqlite_tab_cfg_release is the array's release callback); a change hook or a
// scan batch that reads the record outside the adapter lock holds another, so
// removing the table from the list never frees what they read. No locking
// inside: the adapter's lock guards the counts and the mutable fields.
#ifndef KS_ADAPTER_SQLITE_TABLE_CONFIG_H_
#define KS_ADAPTER_SQLITE_TABLE_CONFIG_H_

#include "foundation/dynamic_array.h"
#include "foundation/string_buffer.h"

namespace mobile_search {

// How the change hook treats the table's writes. Any other value takes all.
enum {
  HOOK_MODE_ALL = 0,
  HOOK_MODE_IGNORE_UPDATE = 1,
  HOOK_MODE_IGNORE_INSERT = 2,
};

struct _sqlite_tab_cfg_t {
  _str_buffer_t* table_name;
  // Index fields, then "," and the profile fields when there are any; the
  // column list that scans and the change hook select.
  _str_buffer_t* field_list;
  _str_buffer_t* where_condition;  // empty when the whole table is indexed
  _str_buffer_t* key_field;
  _str_buffer_t* index_name;
  int field_count;
  const char** field_names;  // field_count + 1 entries, the last null
  _DArray* split_names;      // _str_buffer_t*, field_list split at "," and trimmed
  int hook_mode;
  // Guarded by the adapter lock:
  bool scanned;      // a scan has run, or progress was already recorded
  bool scan_active;  // a scan batch of this table is running
  int refs;          // the table list's reference plus one per running reader
};

// Null when a string cannot be made (everything made so far is released). A
// null where condition or profile list counts as empty; null table name,
// index fields, key field or index name are the caller's to refuse.
_sqlite_tab_cfg_t* sqlite_tab_cfg_create(const char* table_name, const char* index_fields,
                                         const char* profile_fields,
                                         const char* where_condition, const char* key_field,
                                         const char* index_name);
// Frees the record whatever its count (a record never shared). Null is ignored.
void sqlite_tab_cfg_free(_sqlite_tab_cfg_t* tab);
// Takes one more reference; returns `tab`.
_sqlite_tab_cfg_t* sqlite_tab_cfg_retain(_sqlite_tab_cfg_t* tab);
// Drops one reference and frees the record with the last one. Null is
// ignored. Takes void* to serve as the table array's release callback.
void sqlite_tab_cfg_release(void* tab);

// True when the hook mode lets the change hook act on this SQLite operation
// (SQLITE_INSERT, SQLITE_UPDATE or SQLITE_DELETE).
bool sqlite_tab_cfg_takes_op(const _sqlite_tab_cfg_t* tab, int op);

}  // namespace mobile_search

#endif  // KS_ADAPTER_SQLITE_TABLE_CONFIG_H_
