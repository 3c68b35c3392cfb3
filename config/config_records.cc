#include "config/config_records.h"

#include <stdlib.h>
#include <string.h>
#include <strings.h>

#include "foundation/c_string.h"
#include "foundation/hash.h"
#include "foundation/utf8_util.h"

namespace mobile_search {

// ---- table_info_t ----

_str_buffer_t* table_info_key(const char* index_name, const char* db_name,
                              const char* table_name) {
  _str_buffer_t* key = str_buffer_create(index_name);
  if (key == nullptr) return nullptr;
  str_buffer_append(key, '_');
  str_buffer_append(key, db_name);
  str_buffer_append(key, '_');
  str_buffer_append(key, table_name);
  return key;
}

unsigned int table_info_make_id(const char* index_name, const char* db_name,
                                const char* table_name) {
  if (index_name == nullptr || db_name == nullptr || table_name == nullptr) return 0;
  _str_buffer_t* key = table_info_key(index_name, db_name, table_name);
  if (key == nullptr) return 0;
  unsigned int id = idx_sign32(key->data, static_cast<unsigned int>(key->len));
  str_buffer_free(key);
  return id;
}

table_info_t* table_info_create(const char* index_name, const char* db_name,
                                const char* table_name, const char* key_field) {
  if (is_empty_str(index_name) || is_empty_str(db_name) || is_empty_str(table_name) ||
      is_empty_str(key_field)) {
    return nullptr;
  }
  table_info_t* table = static_cast<table_info_t*>(calloc(1, sizeof(table_info_t)));
  if (table == nullptr) return nullptr;
  table->index_name = str_buffer_create(index_name);
  table->db_name = str_buffer_create(db_name);
  table->table_name = str_buffer_create(table_name);
  table->key_field = str_buffer_create(key_field);
  table->field_list = str_buffer_create(1);
  if (table->index_name == nullptr || table->db_name == nullptr ||
      table->table_name == nullptr || table->key_field == nullptr ||
      table->field_list == nullptr) {
    table_info_free(table);
    return nullptr;
  }
  table->table_id = table_info_make_id(index_name, db_name, table_name);
  return table;
}

void table_info_free(table_info_t* table) {
  if (table == nullptr) return;
  str_buffer_free(table->index_name);
  str_buffer_free(table->db_name);
  str_buffer_free(table->table_name);
  str_buffer_free(table->key_field);
  str_buffer_free(table->field_list);
  free(table);
}

void table_info_free(void* table) { table_info_free(static_cast<table_info_t*>(table)); }

// ---- field_info_t ----

field_info_t* field_info_create(const _str_buffer_t* name) {
  if (name == nullptr) return nullptr;
  field_info_t* field = static_cast<field_info_t*>(calloc(1, sizeof(field_info_t)));
  if (field == nullptr) return nullptr;
  // An empty name still gets a buffer so that `name` is never null.
  field->name = name->len > 0 ? str_buffer_create(name) : str_buffer_create(1);
  if (field->name == nullptr) {
    free(field);
    return nullptr;
  }
  return field;
}

void field_info_free(field_info_t* field) {
  if (field == nullptr) return;
  str_buffer_free(field->name);
  free(field);
}

void field_info_free(void* field) { field_info_free(static_cast<field_info_t*>(field)); }

// ---- SGroupConfig ----

SGroupConfig* group_config_create(const char* index_path, const char* group_name,
                                  EIndexState state) {
  if (is_empty_str(index_path) || is_empty_str(group_name)) return nullptr;
  SGroupConfig* group = static_cast<SGroupConfig*>(calloc(1, sizeof(SGroupConfig)));
  if (group == nullptr) return nullptr;
  group->index_path = str_buffer_create(index_path);
  group->group_name = str_buffer_create(group_name);
  if (group->index_path == nullptr || group->group_name == nullptr) {
    freeGroupConfig(group);
    return nullptr;
  }
  group->state = state;
  return group;
}

void freeGroupConfig(SGroupConfig* group) {
  if (group == nullptr) return;
  // Only group_config_searcher.cc creates searchers, and it defines the
  // function: a searcher never exists without it.
  if (group->searcher != nullptr && group_config_free_searcher != nullptr) {
    group_config_free_searcher(group);
  }
  str_buffer_free(group->index_path);
  str_buffer_free(group->group_name);
  free(group);
}

void freeGroupConfig(void* group) { freeGroupConfig(static_cast<SGroupConfig*>(group)); }

int findGroupByName(unsigned long long key, unsigned long long slot) {
  const char* name = static_cast<const char*>(slot_to_ptr(key));
  const SGroupConfig* group = slot_as<SGroupConfig>(slot);
  if (name == nullptr || group == nullptr || group->group_name == nullptr) return -1;
  return strcasecmp(name, group->group_name->data);
}

// ---- index_info_t ----

index_info_t* index_info_create(const char* name) {
  if (name == nullptr) return nullptr;
  index_info_t* index = static_cast<index_info_t*>(calloc(1, sizeof(index_info_t)));
  if (index == nullptr) return nullptr;
  index->name = str_buffer_create(name);
  index->fields = darray_create(field_info_free, true);
  index->pinyin_fields = darray_create(str_buffer_free, true);
  index->tables = darray_create(table_info_free, true);
  index->groups = darray_create(nullptr, false);
  if (index->name == nullptr || index->fields == nullptr || index->pinyin_fields == nullptr ||
      index->tables == nullptr || index->groups == nullptr) {
    index_info_free(index);
    return nullptr;
  }
  return index;
}

void index_info_free(index_info_t* index) {
  if (index == nullptr) return;
  str_buffer_free(index->name);
  darray_destroy(index->fields);
  darray_destroy(index->pinyin_fields);
  darray_destroy(index->tables);
  darray_destroy(index->groups);
  free(index);
}

void index_info_free(void* index) { index_info_free(static_cast<index_info_t*>(index)); }

void index_info_add_group(index_info_t* index, SGroupConfig* group) {
  if (index == nullptr || group == nullptr || index->groups == nullptr) return;
  for (unsigned int i = 0; i < darray_length(index->groups); ++i) {
    if (slot_as<SGroupConfig>(darray_get_by_index(index->groups, i)) == group) return;
  }
  darray_append(index->groups, static_cast<const void*>(group));
}

// ---- Lists ----

_DArray* config_split_list(const char* text, char sep) {
  _DArray* pieces = darray_create(str_buffer_free, true);
  if (pieces == nullptr || text == nullptr) return pieces;
  ac_str_splict(text, static_cast<int>(strlen(text)), sep, pieces);
  darray_foreach(pieces, str_buffer_trim, 0);
  for (unsigned int i = darray_length(pieces); i > 0; --i) {
    if (slot_as<_str_buffer_t>(darray_get_by_index(pieces, i - 1))->len == 0) darray_delete(pieces, i - 1);
  }
  return pieces;
}

bool config_list_contains(const _DArray* list, const char* name) {
  for (unsigned int i = 0; i < darray_length(list); ++i) {
    if (strcmp(slot_as<_str_buffer_t>(darray_get_by_index(list, i))->data, name) == 0) return true;
  }
  return false;
}

}  // namespace mobile_search
