#include "adapter/sqlite_table_config.h"

#include <sqlcipher/sqlite3.h>
#include <stdlib.h>
#include <string.h>

#include "foundation/utf8_util.h"

namespace mobile_search {

namespace {

_str_buffer_t* make_field_list(const char* index_fields, const char* profile_fields) {
  _str_buffer_t* list = str_buffer_create(index_fields);
  if (list == nullptr) return nullptr;
  if (profile_fields != nullptr && profile_fields[0] != '\0') {
    str_buffer_append(list, ',');
    str_buffer_append(list, profile_fields);
  }
  return list;
}

// Splits the field list into trimmed names and builds the null-terminated
// array of pointers into them.
bool split_field_names(_sqlite_tab_cfg_t* tab) {
  tab->split_names = darray_create(static_cast<void (*)(void*)>(str_buffer_free), true);
  if (tab->split_names == nullptr) return false;
  const char* list = tab->field_list->data;
  ac_str_splict(list, tab->field_list->len, ',', tab->split_names);
  darray_foreach(tab->split_names, static_cast<_Ret (*)(unsigned long long, unsigned long long)>(
                                       str_buffer_trim),
                 0);
  tab->field_count = static_cast<int>(darray_length(tab->split_names));
  tab->field_names = static_cast<const char**>(calloc(tab->field_count + 1, sizeof(char*)));
  if (tab->field_names == nullptr) return false;
  for (int i = 0; i < tab->field_count; ++i) {
    tab->field_names[i] = slot_as<_str_buffer_t>(darray_get_by_index(tab->split_names, i))->data;
  }
  return true;
}

}  // namespace

_sqlite_tab_cfg_t* sqlite_tab_cfg_create(const char* table_name, const char* index_fields,
                                         const char* profile_fields,
                                         const char* where_condition, const char* key_field,
                                         const char* index_name) {
  _sqlite_tab_cfg_t* tab = static_cast<_sqlite_tab_cfg_t*>(calloc(1, sizeof(_sqlite_tab_cfg_t)));
  if (tab == nullptr) return nullptr;
  tab->refs = 1;
  tab->table_name = str_buffer_create(table_name);
  tab->field_list = make_field_list(index_fields, profile_fields);
  tab->where_condition = str_buffer_create(where_condition);
  tab->key_field = str_buffer_create(key_field);
  tab->index_name = str_buffer_create(index_name);
  if (tab->table_name == nullptr || tab->field_list == nullptr ||
      tab->where_condition == nullptr || tab->key_field == nullptr ||
      tab->index_name == nullptr || !split_field_names(tab)) {
    sqlite_tab_cfg_free(tab);
    return nullptr;
  }
  return tab;
}

void sqlite_tab_cfg_free(_sqlite_tab_cfg_t* tab) {
  if (tab == nullptr) return;
  str_buffer_free(tab->table_name);
  str_buffer_free(tab->field_list);
  str_buffer_free(tab->where_condition);
  str_buffer_free(tab->key_field);
  str_buffer_free(tab->index_name);
  free(tab->field_names);
  darray_destroy(tab->split_names);
  free(tab);
}

_sqlite_tab_cfg_t* sqlite_tab_cfg_retain(_sqlite_tab_cfg_t* tab) {
  ++tab->refs;
  return tab;
}

void sqlite_tab_cfg_release(void* record) {
  _sqlite_tab_cfg_t* tab = static_cast<_sqlite_tab_cfg_t*>(record);
  if (tab != nullptr && --tab->refs <= 0) sqlite_tab_cfg_free(tab);
}

bool sqlite_tab_cfg_takes_op(const _sqlite_tab_cfg_t* tab, int op) {
  if (tab->hook_mode == HOOK_MODE_IGNORE_UPDATE) return op != SQLITE_UPDATE;
  if (tab->hook_mode == HOOK_MODE_IGNORE_INSERT) return op != SQLITE_INSERT;
  return true;
}

}  // namespace mobile_search
