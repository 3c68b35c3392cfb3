#include "config/table_config.h"

#include <stdlib.h>
#include <string.h>

#include "config/config_records.h"
#include "foundation/c_string.h"

namespace mobile_search {

namespace {

bool same(const _str_buffer_t* buf, const char* s) {
  return buf != nullptr && s != nullptr && strcmp(buf->data, s) == 0;
}

_DArray* history_create() { return darray_create(freeGroupRowid, true); }

// One "group:rowid" piece; null when it does not give exactly two halves.
// A blank half counts as missing, so that no record names an empty group or
// takes a row id from nothing.
group_rowid_t* parse_piece(const _str_buffer_t* piece) {
  _DArray* halves = config_split_list(piece->data, ':');
  group_rowid_t* record = nullptr;
  if (halves != nullptr && darray_length(halves) == 2) {
    const _str_buffer_t* name = slot_as<_str_buffer_t>(darray_get_by_index(halves, 0));
    const _str_buffer_t* rowid = slot_as<_str_buffer_t>(darray_get_by_index(halves, 1));
    record = group_rowid_create(name->data, atoi(rowid->data));
  }
  darray_destroy(halves);
  return record;
}

}  // namespace

// ---- group_rowid_t ----

group_rowid_t* group_rowid_create(const char* group_name, int max_rowid) {
  if (group_name == nullptr) return nullptr;
  group_rowid_t* record = static_cast<group_rowid_t*>(calloc(1, sizeof(group_rowid_t)));
  if (record == nullptr) return nullptr;
  record->group_name = str_buffer_create(group_name);
  if (record->group_name == nullptr) {
    free(record);
    return nullptr;
  }
  record->max_rowid = max_rowid;
  return record;
}

void freeGroupRowid(group_rowid_t* record) {
  if (record == nullptr) return;
  str_buffer_free(record->group_name);
  free(record);
}

void freeGroupRowid(void* record) { freeGroupRowid(static_cast<group_rowid_t*>(record)); }

// ---- table_config_t ----

table_config_t* table_config_create(const char* table_name, const char* db_name) {
  if (table_name == nullptr || db_name == nullptr) return nullptr;
  table_config_t* record = static_cast<table_config_t*>(calloc(1, sizeof(table_config_t)));
  if (record == nullptr) return nullptr;
  record->table_name = str_buffer_create(table_name);
  record->db_name = str_buffer_create(db_name);
  record->index_names = darray_create(str_buffer_free, true);
  record->group_histories = darray_create(darray_destroy, true);
  if (record->table_name == nullptr || record->db_name == nullptr ||
      record->index_names == nullptr || record->group_histories == nullptr) {
    freeTableConfig(record);
    return nullptr;
  }
  return record;
}

void freeTableConfig(table_config_t* record) {
  if (record == nullptr) return;
  str_buffer_free(record->table_name);
  str_buffer_free(record->db_name);
  darray_destroy(record->index_names);
  darray_destroy(record->group_histories);
  free(record);
}

void freeTableConfig(void* record) { freeTableConfig(static_cast<table_config_t*>(record)); }

int table_config_add_index(table_config_t* record, const char* index_name,
                           const char* group_name, int rowid) {
  if (record == nullptr || index_name == nullptr || group_name == nullptr) return -1;
  _DArray* history = history_create();
  group_rowid_t* first = group_rowid_create(group_name, rowid);
  if (history == nullptr || first == nullptr ||
      darray_append(history, static_cast<const void*>(first)) != RET_OK) {
    darray_destroy(history);
    freeGroupRowid(first);
    return -1;
  }
  return table_config_add_history(record, index_name, history);
}

int table_config_add_history(table_config_t* record, const char* index_name,
                             _DArray* history) {
  _str_buffer_t* name = str_buffer_create(index_name);
  if (name == nullptr || darray_append(record->index_names, static_cast<const void*>(name)) != RET_OK) {
    str_buffer_free(name);
    darray_destroy(history);
    return -1;
  }
  if (darray_append(record->group_histories, static_cast<const void*>(history)) != RET_OK) {
    darray_delete(record->index_names, darray_length(record->index_names) - 1);
    darray_destroy(history);
    return -1;
  }
  return 0;
}

int appendTableConfig(_DArray* array, const char* table_name, const char* db_name,
                      const char* index_name, const char* group_name, int rowid) {
  if (array == nullptr) return -1;
  table_config_t* record = table_config_create(table_name, db_name);
  if (record == nullptr) return -1;
  if (table_config_add_index(record, index_name, group_name, rowid) != 0 ||
      darray_append(array, static_cast<const void*>(record)) != RET_OK) {
    freeTableConfig(record);
    return -1;
  }
  return 0;
}

int indexNameCompare(unsigned long long key, unsigned long long slot) {
  const char* name = static_cast<const char*>(slot_to_ptr(key));
  const _str_buffer_t* buf = slot_as<_str_buffer_t>(slot);
  if (name == nullptr || buf == nullptr) return -1;
  return strcmp(name, buf->data);
}

// ---- Lookups ----

table_config_t* findTableConfig(_DArray* array, const char* table_name, const char* db_name) {
  if (table_name == nullptr || db_name == nullptr) return nullptr;
  for (unsigned int i = 0; i < darray_length(array); ++i) {
    table_config_t* record = slot_as<table_config_t>(darray_get_by_index(array, i));
    if (same(record->db_name, db_name) && same(record->table_name, table_name)) return record;
  }
  return nullptr;
}

_DArray* getAllGroupRowid(_DArray* array, const char* table_name, const char* db_name,
                          const char* index_name) {
  table_config_t* record = findTableConfig(array, table_name, db_name);
  if (record == nullptr || index_name == nullptr) return nullptr;
  int pos = darray_find(record->index_names, indexNameCompare, ptr_to_slot(index_name));
  if (pos < 0) return nullptr;
  return slot_as<_DArray>(darray_get_by_index(record->group_histories, pos));
}

group_rowid_t* getGroupRowid(_DArray* array, const char* table_name, const char* db_name,
                             const char* index_name, const char* group_name) {
  _DArray* history = getAllGroupRowid(array, table_name, db_name, index_name);
  if (history == nullptr || group_name == nullptr) return nullptr;
  for (unsigned int i = 0; i < darray_length(history); ++i) {
    group_rowid_t* record = slot_as<group_rowid_t>(darray_get_by_index(history, i));
    if (same(record->group_name, group_name)) return record;
  }
  return nullptr;
}

group_rowid_t* getRecentGroupRowid(_DArray* array, const char* table_name,
                                   const char* db_name, const char* index_name) {
  if (is_empty_str(table_name) || is_empty_str(db_name) || is_empty_str(index_name)) return nullptr;
  _DArray* history = getAllGroupRowid(array, table_name, db_name, index_name);
  unsigned int n = darray_length(history);
  if (n == 0) return nullptr;
  return slot_as<group_rowid_t>(darray_get_by_index(history, n - 1));
}

// ---- "/Table.cfg" values ----

void table_config_format_history(const _DArray* history, _str_buffer_t* out) {
  for (unsigned int i = 0; i < darray_length(history); ++i) {
    const group_rowid_t* record = slot_as<group_rowid_t>(darray_get_by_index(history, i));
    if (i > 0) str_buffer_append(out, ',');
    str_buffer_append(out, static_cast<const _str_buffer_t*>(record->group_name));
    str_buffer_append(out, ':');
    str_buffer_append(out, record->max_rowid);
  }
}

_DArray* table_config_parse_history(const char* text) {
  if (text == nullptr) return nullptr;
  _DArray* history = history_create();
  _DArray* pieces = config_split_list(text, ',');
  if (history == nullptr || pieces == nullptr) {
    darray_destroy(history);
    darray_destroy(pieces);
    return nullptr;
  }
  for (unsigned int i = 0; i < darray_length(pieces); ++i) {
    group_rowid_t* record = parse_piece(slot_as<_str_buffer_t>(darray_get_by_index(pieces, i)));
    if (record != nullptr && darray_append(history, static_cast<const void*>(record)) != RET_OK) {
      freeGroupRowid(record);
    }
  }
  darray_destroy(pieces);
  return history;
}

}  // namespace mobile_search
