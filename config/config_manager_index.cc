// Index definitions of a ConfigManager: registering and removing tables,
// "/MobileSearch.cfg", and the index, table and field lookups.
#include <string.h>
#include <strings.h>

#include "config/config_manager.h"
#include "foundation/c_string.h"
#include "foundation/logging.h"

namespace mobile_search {

namespace {

const char* or_null(const char* s) { return s != nullptr ? s : "(null)"; }

// index_name + "_" + db_name + "_" + table_name: the section of a table in
// "/MobileSearch.cfg".
bool same_table(const table_info_t* table, const char* db_name, const char* table_name) {
  return strcasecmp(table->db_name->data, db_name) == 0 &&
         strcasecmp(table->table_name->data, table_name) == 0;
}

field_info_t* field_at(const index_info_t* index, unsigned int i) {
  return slot_as<field_info_t>(darray_get_by_index(index->fields, i));
}

// Field list of a table of an index whose first table is gone: the field
// names, index fields first, as the first registration listed them.
void rebuild_field_list(const index_info_t* index, table_info_t* table) {
  table->field_num = static_cast<int>(darray_length(index->fields));
  table->index_field_num = 0;
  for (unsigned int i = 0; i < darray_length(index->fields); ++i) {
    const field_info_t* field = field_at(index, i);
    if (!field->is_profile) table->index_field_num++;
    if (i > 0) str_buffer_append(table->field_list, ',');
    str_buffer_append(table->field_list, static_cast<const _str_buffer_t*>(field->name));
  }
}

}  // namespace

int ConfigManager::addIndex(const char* index_name, const char* db_name, const char* table_name,
                            const char* key_field, const char* index_fields,
                            const char* where_condition, const char* pinyin_fields,
                            const char* profile_fields, const char* notoken_fields) {
  MutexLock guard(m_configLock);
  return addIndexLocked(index_name, db_name, table_name, key_field, index_fields, where_condition,
                        pinyin_fields, profile_fields, notoken_fields);
}

int ConfigManager::addIndex(const char* index_name, const char* db_name, const char* table_name,
                            const char* group_name, const char* key_field,
                            const char* index_fields, const char* where_condition,
                            const char* pinyin_fields, const char* profile_fields,
                            const char* notoken_fields) {
  log_level_printf(SEARCH_LOG_WARN,
                   "注册索引: index_name:%s group_name:%s db_name:%s table_name:%s key_field:%s "
                   "index_fields:%s where_condition:%s tab_pinyin_field:%s profile_fields:%s "
                   "notoken_fields:%s   \n",
                   or_null(index_name), or_null(group_name), or_null(db_name), or_null(table_name),
                   or_null(key_field), or_null(index_fields), or_null(where_condition),
                   or_null(pinyin_fields), or_null(profile_fields), or_null(notoken_fields));
  const char* group = group_name != nullptr ? group_name : "default";
  // The whole registration, group move included, runs under the
  // configuration lock so that concurrent registrations do not interleave
  // their table records and file writes.
  MutexLock guard(m_configLock);
  int result = addIndexLocked(index_name, db_name, table_name, key_field, index_fields,
                              where_condition, pinyin_fields, profile_fields, notoken_fields);
  if (result == 0) {
    updateIndexGroup(db_name, table_name, index_name, group);
    index_info_add_group(getIndexInfo(index_name), getGroup(group));
  }
  return result;
}

int ConfigManager::addIndexLocked(const char* index_name, const char* db_name,
                                  const char* table_name, const char* key_field,
                                  const char* index_fields, const char* where_condition,
                                  const char* pinyin_fields, const char* profile_fields,
                                  const char* notoken_fields) {
  if (index_name == nullptr || db_name == nullptr || table_name == nullptr ||
      key_field == nullptr || index_fields == nullptr) {
    return -1;
  }
  if (m_indexArr == nullptr || m_config == nullptr) return -1;
  if (getTableInfo(index_name, db_name, table_name) != nullptr) return 0;
  // The record is made before the section is written, so that a registration
  // refused for an empty name leaves no unusable section in the file.
  table_info_t* table = table_info_create(index_name, db_name, table_name, key_field);
  if (table == nullptr) return -1;
  const char* const values[9] = {index_name,     db_name,        table_name,
                                 key_field,      index_fields,   profile_fields,
                                 notoken_fields, where_condition, pinyin_fields};
  writeIndexSection(values);
  index_info_t* index = getIndexInfo(index_name);
  if (index == nullptr) {
    index = index_info_create(index_name);
    if (index == nullptr || darray_append(m_indexArr, static_cast<const void*>(index)) != RET_OK) {
      index_info_free(index);
      table_info_free(table);
      return -1;
    }
    if (buildIndexFields(index, table, index_fields, pinyin_fields, profile_fields,
                         notoken_fields) != 0) {
      darray_delete(m_indexArr, darray_length(m_indexArr) - 1);
      table_info_free(table);
      return -1;
    }
  } else if (darray_length(index->tables) > 0) {
    // Every table of an index shares the field layout of its first table;
    // the field arguments of later registrations are ignored.
    const table_info_t* first = slot_as<table_info_t>(darray_get_by_index(index->tables, 0));
    table->index_field_num = first->index_field_num;
    table->field_num = first->field_num;
    str_buffer_append(table->field_list, static_cast<const _str_buffer_t*>(first->field_list));
  } else {
    rebuild_field_list(index, table);
  }
  if (darray_append(index->tables, static_cast<const void*>(table)) != RET_OK) {
    table_info_free(table);
    return -1;
  }
  return 0;
}

void ConfigManager::writeIndexSection(const char* const values[9]) {
  static const char* const kKeys[9] = {
      "index_name",          "sqlite_db",           "sqlite_table",
      "table_key_field",     "table_index_field",   "table_profile_field",
      "table_notoken_field", "table_where_condition", "table_pinyin_field"};
  _str_buffer_t* section = table_info_key(values[0], values[1], values[2]);
  if (section == nullptr) return;
  if (ini_ctx_get_val(m_config, section->data, "index_name") == nullptr) {
    for (int k = 0; k < 9; ++k) {
      if (values[k] != nullptr) ini_ctx_section_add_item(m_config, section->data, kKeys[k], values[k]);
    }
    ini_ctx_save_durable(m_config, false, syncWrites());
  }
  str_buffer_free(section);
}

int ConfigManager::buildIndexFields(index_info_t* index, table_info_t* table,
                                    const char* index_fields, const char* pinyin_fields,
                                    const char* profile_fields, const char* notoken_fields) {
  _DArray* names = config_split_list(index_fields, ',');
  _DArray* pinyin = config_split_list(pinyin_fields, ',');
  _DArray* notoken = config_split_list(notoken_fields, ',');
  _DArray* profile = config_split_list(profile_fields, ',');
  int result = -1;
  if (names != nullptr && pinyin != nullptr && notoken != nullptr && profile != nullptr) {
    darray_destroy(index->pinyin_fields);
    index->pinyin_fields = pinyin;
    pinyin = nullptr;
    result = appendFields(index, names, false) == 0 && appendFields(index, profile, true) == 0 ? 0 : -1;
    for (unsigned int i = 0; i < darray_length(names); ++i) {
      field_info_t* field = field_at(index, i);
      field->is_pinyin = config_list_contains(index->pinyin_fields, field->name->data);
      field->is_notoken = config_list_contains(notoken, field->name->data);
    }
    str_buffer_append(table->field_list, index_fields);
    if (darray_length(profile) > 0) {
      str_buffer_append(table->field_list, ',');
      str_buffer_append(table->field_list, profile_fields);
    }
    table->index_field_num = static_cast<int>(darray_length(names));
    table->field_num = static_cast<int>(darray_length(names) + darray_length(profile));
  }
  darray_destroy(names);
  darray_destroy(pinyin);
  darray_destroy(notoken);
  darray_destroy(profile);
  return result;
}

int ConfigManager::appendFields(index_info_t* index, const _DArray* names, bool profile) {
  for (unsigned int i = 0; i < darray_length(names); ++i) {
    field_info_t* field = field_info_create(slot_as<_str_buffer_t>(darray_get_by_index(names, i)));
    if (field == nullptr) return -1;
    field->is_profile = profile;
    if (darray_append(index->fields, static_cast<const void*>(field)) != RET_OK) {
      field_info_free(field);
      return -1;
    }
  }
  return 0;
}

int ConfigManager::delTableOfIndex(const char* index_name, const char* db_name,
                                   const char* table_name) {
  if (index_name == nullptr || db_name == nullptr || table_name == nullptr) return -1;
  if (m_indexArr == nullptr || m_config == nullptr) return -1;
  MutexLock guard(m_configLock);
  index_info_t* index = getIndexInfo(index_name);
  _str_buffer_t* section = table_info_key(index_name, db_name, table_name);
  if (getTableInfo(index_name, db_name, table_name) != nullptr && section != nullptr) {
    // Removing a section does not mark the document modified, so this save
    // writes only if something else changed it earlier in this process.
    ini_ctx_remove_section(m_config, section->data);
    ini_ctx_save_durable(m_config, false, syncWrites());
    for (unsigned int i = darray_length(index->tables); i > 0; --i) {
      if (same_table(slot_as<table_info_t>(darray_get_by_index(index->tables, i - 1)), db_name,
                     table_name)) {
        darray_delete(index->tables, i - 1);
      }
    }
  }
  str_buffer_free(section);
  return 0;
}

// ---- Lookups ----

index_info_t* ConfigManager::getIndexInfo(const char* index_name) {
  if (index_name == nullptr) return nullptr;
  for (unsigned int i = 0; i < darray_length(m_indexArr); ++i) {
    index_info_t* index = slot_as<index_info_t>(darray_get_by_index(m_indexArr, i));
    if (strcmp(index->name->data, index_name) == 0) return index;
  }
  return nullptr;
}

table_info_t* ConfigManager::getTableInfo(const char* index_name, const char* db_name,
                                          const char* table_name) {
  if (is_empty_str(index_name) || is_empty_str(db_name) || is_empty_str(table_name)) return nullptr;
  index_info_t* index = getIndexInfo(index_name);
  if (index == nullptr) return nullptr;
  for (unsigned int i = 0; i < darray_length(index->tables); ++i) {
    table_info_t* table = slot_as<table_info_t>(darray_get_by_index(index->tables, i));
    if (same_table(table, db_name, table_name)) return table;
  }
  return nullptr;
}

table_info_t* ConfigManager::get_table_info_by_tab_md5(unsigned int id) {
  for (unsigned int i = 0; i < darray_length(m_indexArr); ++i) {
    index_info_t* index = slot_as<index_info_t>(darray_get_by_index(m_indexArr, i));
    for (unsigned int t = 0; t < darray_length(index->tables); ++t) {
      table_info_t* table = slot_as<table_info_t>(darray_get_by_index(index->tables, t));
      if (table->table_id == id) return table;
    }
  }
  return nullptr;
}

int ConfigManager::getFieldId(const char* index_name, const char* field_name) {
  if (is_empty_str(index_name) || is_empty_str(field_name)) return -1;
  index_info_t* index = getIndexInfo(index_name);
  if (index == nullptr) return -1;
  for (unsigned int i = 0; i < darray_length(index->fields); ++i) {
    if (strcmp(field_at(index, i)->name->data, field_name) == 0) return static_cast<int>(i);
  }
  return -1;
}

int ConfigManager::getConfigSectionNum() { return ini_ctx_section_num(m_config); }

int ConfigManager::getConfigSection(int i, const char** index_name, const char** db,
                                    const char** table, const char** key_field,
                                    const char** index_fields, const char** where_condition,
                                    const char** profile_fields, const char** notoken_fields) {
  const char** out[8] = {index_name,   db,          table,          key_field,
                         index_fields, where_condition, profile_fields, notoken_fields};
  static const char* const kKeys[8] = {
      "index_name",        "sqlite_db",             "sqlite_table",        "table_key_field",
      "table_index_field", "table_where_condition", "table_profile_field", "table_notoken_field"};
  const char* value[8];
  for (int k = 0; k < 8; ++k) {
    value[k] = ini_ctx_get_val(m_config, i, kKeys[k]);
    if (out[k] != nullptr) *out[k] = value[k];
  }
  for (int k = 0; k < 5; ++k) {
    if (value[k] == nullptr) return -1;
  }
  return 0;
}

}  // namespace mobile_search
