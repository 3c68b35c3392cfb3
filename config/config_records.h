// Configuration records: what the engine knows about its indexes, the tables
// registered under them, their fields and the index groups.
//
//   index_info_t   one index: its fields (the position in `fields` is the
//                  field id), pinyin field names, tables and groups.
//   table_info_t   one (index, db, table) registration with its table id.
//   field_info_t   one field of an index with its pinyin / profile / no-token
//                  flags.
//   SGroupConfig   one index group: a separate on-disk index under the root,
//                  with its lazily created GroupSearcher.
//
// Ownership: an index owns its fields, pinyin names and tables; it only
// points at its groups, which the ConfigManager owns. A group owns its
// searcher (freeGroupConfig destroys it). Every text is an owned
// _str_buffer_t copy.
//
// Creation functions return null on bad arguments or allocation failure and
// free what they made. Each record has a typed free function and a void*
// overload for use as a _DArray release callback; null is ignored.
// Threads: no locking here; ConfigManager serialises changes.
#ifndef KS_CONFIG_CONFIG_RECORDS_H_
#define KS_CONFIG_CONFIG_RECORDS_H_

#include <atomic>

#include "foundation/dynamic_array.h"
#include "foundation/string_buffer.h"

namespace mobile_search {

class GroupSearcher;

// ---- table_info_t ----
struct table_info_t {
  // idx_sign32 of index_name + "_" + db_name + "_" + table_name. Documents
  // and search results name their table by it (some callers call it an MD5).
  unsigned int table_id;
  _str_buffer_t* index_name;
  _str_buffer_t* db_name;
  _str_buffer_t* table_name;
  int index_field_num;  // index fields of the index
  int field_num;        // index fields plus profile fields
  _str_buffer_t* key_field;
  // Columns selected by scans and the change hook: the index fields as
  // configured, then "," and the profile fields when there are any.
  _str_buffer_t* field_list;
};

// All four texts must be non-null and non-empty, else null. The field counts
// start at 0 and the field list empty.
table_info_t* table_info_create(const char* index_name, const char* db_name,
                                const char* table_name, const char* key_field);
void table_info_free(table_info_t* table);
void table_info_free(void* table);
// "<index>_<db>_<table>": the text a table id is hashed from and the name of
// the table's section in the index file. Null on allocation failure.
_str_buffer_t* table_info_key(const char* index_name, const char* db_name,
                              const char* table_name);
// The table id of (index, db, table); 0 for a null argument.
unsigned int table_info_make_id(const char* index_name, const char* db_name,
                                const char* table_name);

// ---- field_info_t ----
struct field_info_t {
  _str_buffer_t* name;
  bool is_pinyin;   // also indexed as pinyin
  bool is_profile;  // only stored, not tokenised for search
  bool is_notoken;  // indexed without tokenising
};

// Copies the name; all flags false. Null for a null name.
field_info_t* field_info_create(const _str_buffer_t* name);
void field_info_free(field_info_t* field);
void field_info_free(void* field);

// ---- SGroupConfig ----
// The index-version result of the manager that created a group.
enum EIndexState : int {
  INDEX_STATE_EXISTING = 0,  // an existing index was found valid
  INDEX_STATE_NEW = 1,       // the index root was newly initialised
};

struct SGroupConfig {
  _str_buffer_t* index_path;  // the group's directory name under the root
  _str_buffer_t* group_name;
  int reserved;               // always 0
  // Tuning values kept with the group: 1000, 200, 500 for groups made by
  // ConfigManager::addGroup, 0, 0, 0 for groups read back from the group file
  // (which does not carry them). Nothing reads them.
  int tuning[3];
  EIndexState state;          // 0 for groups read from the group file
  // Owned, created on first use under the manager's group lock; read
  // without it by threads that only look whether it exists.
  std::atomic<GroupSearcher*> searcher;
};

// Copies both texts (non-null, non-empty, else null); reserved 0, tuning
// values 0, no searcher.
SGroupConfig* group_config_create(const char* index_path, const char* group_name,
                                  EIndexState state);
// Frees both texts and destroys the searcher.
void freeGroupConfig(SGroupConfig* group);
void freeGroupConfig(void* group);
// _DArray comparator: key is a const char* name, slot an SGroupConfig*;
// case-insensitive (strcasecmp). A null name or group never matches.
int findGroupByName(unsigned long long key, unsigned long long slot);

// Closes and deletes the group's searcher and clears the pointer; nothing for
// a null group or searcher. It lives with the group searcher
// (config/group_config_searcher.cc), where that class is complete. The
// configuration code references it weakly: only that file creates searchers,
// so a program that does not link it has none to delete, and the
// configuration library links and is tested without the search engine.
void group_config_free_searcher(SGroupConfig* group) __attribute__((weak));

// ---- index_info_t ----
struct index_info_t {
  _str_buffer_t* name;
  _DArray* fields;         // field_info_t*, owned: index fields, then profile fields
  _DArray* pinyin_fields;  // _str_buffer_t*, owned
  _DArray* tables;         // table_info_t*, owned
  _DArray* groups;         // SGroupConfig*, not owned, no duplicates
};

// Empty index of that name; null for a null name.
index_info_t* index_info_create(const char* name);
void index_info_free(index_info_t* index);
void index_info_free(void* index);
// Appends the group unless the same pointer is present; nulls are ignored.
void index_info_add_group(index_info_t* index, SGroupConfig* group);

// ---- Lists in configuration values ----
// Splits a copy of `text` at `sep` into pieces trimmed of white space,
// dropping empty ones: " a, ,b " gives a, b. Returns a new array of owned
// _str_buffer_t* (empty for a null text); null on allocation failure.
_DArray* config_split_list(const char* text, char sep);
// Whether one of the _str_buffer_t* of `list` equals `name` exactly.
bool config_list_contains(const _DArray* list, const char* name);

}  // namespace mobile_search

#endif  // KS_CONFIG_CONFIG_RECORDS_H_
