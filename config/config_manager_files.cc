// Loading and saving the group, index and table files of a ConfigManager,
// and the migration of the old row-id file.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "config/config_manager.h"
#include "foundation/logging.h"

namespace mobile_search {

namespace {

void info(const char* text) { log_level_printf(SEARCH_LOG_INFO, "%s \n", text); }
void error(const char* text) { log_level_printf(SEARCH_LOG_ERROR, "%s \n", text); }

// Creates the array when missing; false (after logging) when that fails.
bool ensure_array(_DArray** arr, darray_free_fn free_func, const char* failure) {
  if (*arr == nullptr) *arr = darray_create(free_func, true);
  if (*arr == nullptr) error(failure);
  return *arr != nullptr;
}

}  // namespace

// Loads a file under the root; null after logging when that fails.
ini_ctx_t* ConfigManager::loadRootFile(const char* name, const char* path_failed,
                                       const char* load_failed) {
  _str_buffer_t* path = rootFile(name);
  if (path == nullptr) {
    error(path_failed);
    return nullptr;
  }
  ini_ctx_t* doc = ini_load_from_file(path->data);
  str_buffer_free(path);
  if (doc == nullptr) error(load_failed);
  return doc;
}

// ---- "/IndexGroup.cfg" ----

int ConfigManager::readGroupConfigFile() {
  info("读取分组配置文件");
  if (!ensure_array(&m_groupArr, freeGroupConfig, "创建group_config_arr失败")) return -1;
  ini_ctx_t* doc = loadRootFile("/IndexGroup.cfg", "初始化分组配置文件路径失败", "分组配置文件初始化失败");
  if (doc == nullptr) return -1;
  int n = ini_ctx_section_num(doc);
  if (n == 0) info("分组配置文件不存在或者无任何配置");
  for (int i = 0; i < n; ++i) {
    // The by-position lookup reports empty values as missing too.
    const char* path = ini_ctx_get_val(doc, i, "index_path");
    const char* name = ini_ctx_get_val(doc, i, "group_name");
    if (path == nullptr || name == nullptr) {
      log_level_printf(SEARCH_LOG_INFO,
                       "分组配置文件配置项（section:%d）格式不正确: index_path为空或者group_name为空 \n", i);
      continue;
    }
    // Groups read back carry neither tuning values nor a state: kept at 0.
    SGroupConfig* group = group_config_create(path, name, INDEX_STATE_EXISTING);
    if (group != nullptr && darray_append(m_groupArr, static_cast<const void*>(group)) != RET_OK) {
      freeGroupConfig(group);
    }
  }
  ini_ctx_free(doc);
  publishGroups();
  return 0;
}

void ConfigManager::saveGroupConfigFile() {
  if (m_groupArr == nullptr) return;
  ini_ctx_t* doc = freshDocument("/IndexGroup.cfg");
  if (doc == nullptr) return;
  for (unsigned int i = 0; i < darray_length(m_groupArr); ++i) {
    const SGroupConfig* group = slot_as<SGroupConfig>(darray_get_by_index(m_groupArr, i));
    const char* name = group->group_name->data;
    ini_ctx_section_add_item(doc, name, "index_path", group->index_path->data);
    ini_ctx_section_add_item(doc, name, "group_name", name);
  }
  ini_ctx_save_durable(doc, false, syncWrites());
  ini_ctx_free(doc);
}

// ---- "/MobileSearch.cfg" ----

int ConfigManager::readMobileSearchConfigFile() {
  info("读取MobileSearch配置文件");
  if (!ensure_array(&m_indexArr, index_info_free, "初始化m_indexCfg_arr失败")) return -1;
  m_config = loadRootFile("/MobileSearch.cfg", "初始化MobileSearch配置文件路径失败",
                          "初始化MobileSearch配置文件失败");
  if (m_config == nullptr) return -1;
  int n = ini_ctx_section_num(m_config);
  if (n == 0) info("MobileSearch配置文件或者无任何配置");
  for (int i = 0; i < n; ++i) {
    const char* value[9];
    static const char* const kKeys[9] = {
        "index_name",          "sqlite_db",           "sqlite_table",
        "table_key_field",     "table_index_field",   "table_where_condition",
        "table_pinyin_field",  "table_profile_field", "table_notoken_field"};
    for (int k = 0; k < 9; ++k) value[k] = ini_ctx_get_val(m_config, i, kKeys[k]);
    addIndex(value[0], value[1], value[2], value[3], value[4], value[5], value[6], value[7],
             value[8]);
  }
  return 0;
}

// ---- "/TableRowid.cfg" ----

int ConfigManager::readOldTableRowidConfigFile() {
  info("读取老rowid配置文件");
  _str_buffer_t* path = rootFile("/TableRowid.cfg");
  if (path == nullptr) {
    error("初始化老rowid文件路径失败");
    return -1;
  }
  ini_ctx_t* doc = ini_load_from_file(path->data);
  int result = -1;
  if (doc == nullptr) {
    error("初始化老rowid文件失败");
  } else if (ini_ctx_section_num(doc) == 0) {
    info("老rowid文件不存在或者无任何配置");
  } else if (ini_ctx_section_num(doc) == 1 && strcmp(ini_ctx_section_name(doc, 0), "default") == 0) {
    info("读到了老rowid文件，转存为新的rowid文件");
    migrateOldRowids(doc);
    remove(path->data);
    result = 0;
  }
  ini_ctx_free(doc);
  str_buffer_free(path);
  return result;
}

void ConfigManager::migrateOldRowids(const ini_ctx_t* old_file) {
  if (getGroup("default") == nullptr) addGroup("default");
  SGroupConfig* group = getGroup("default");
  for (unsigned int i = 0; i < darray_length(m_indexArr); ++i) {
    index_info_t* index = slot_as<index_info_t>(darray_get_by_index(m_indexArr, i));
    bool migrated = false;
    for (unsigned int t = 0; t < darray_length(index->tables); ++t) {
      const table_info_t* table = slot_as<table_info_t>(darray_get_by_index(index->tables, t));
      _str_buffer_t* key = str_buffer_create(static_cast<const _str_buffer_t*>(table->db_name));
      str_buffer_append(key, '_');
      str_buffer_append(key, static_cast<const _str_buffer_t*>(table->table_name));
      str_buffer_append(key, '_');
      str_buffer_append(key, static_cast<const _str_buffer_t*>(index->name));
      const char* rowid = key != nullptr ? ini_ctx_get_val(old_file, "default", key->data) : nullptr;
      if (rowid != nullptr) {
        // A table registered under several indexes gets one record holding
        // all of them, as "/Table.cfg" has one section per table.
        table_config_t* record = findTableConfig(m_tableArr, table->table_name->data, table->db_name->data);
        if (record == nullptr) {
          appendTableConfig(m_tableArr, table->table_name->data, table->db_name->data,
                            index->name->data, "default", atoi(rowid));
        } else {
          table_config_add_index(record, index->name->data, "default", atoi(rowid));
        }
        migrated = true;
      }
      str_buffer_free(key);
    }
    if (migrated) index_info_add_group(index, group);
  }
  saveTableConfigFile();
}

// ---- "/Table.cfg" ----

int ConfigManager::readTableConfigFile() {
  info("读取新rowid配置文件");
  if (!ensure_array(&m_tableArr, freeTableConfig, "创建table_config_arr失败")) return -1;
  ini_ctx_t* doc = loadRootFile("/Table.cfg", "初始化新rowid文件路径失败", "初始化新rowid文件失败");
  if (doc == nullptr) return -1;
  int n = ini_ctx_section_num(doc);
  if (n == 0) info("新rowid文件不存在或者无任何配置");
  for (int i = 0; i < n; ++i) loadTableSection(i, ini_ctx_get_section(doc, i));
  ini_ctx_free(doc);
  return 0;
}

void ConfigManager::loadTableSection(int section_num, const ini_section_t* section) {
  table_config_t* record = table_config_create("", "");
  if (record == nullptr) return;
  for (unsigned int j = 0; j < darray_length(section->items); ++j) {
    const ini_item_t* item = slot_as<ini_item_t>(darray_get_by_index(section->items, j));
    const char* key = item->key->data;
    const char* value = item->value->data;
    if (*key == '\0' || *value == '\0') {
      log_level_printf(SEARCH_LOG_INFO, "新rowid文件项配置不正确(sectionNum:%d, itemNum:%d) \n",
                       section_num, static_cast<int>(j));
    } else if (strcmp(key, "table_name") == 0) {
      str_buffer_reset(record->table_name);
      str_buffer_append(record->table_name, value);
    } else if (strcmp(key, "db_name") == 0) {
      str_buffer_reset(record->db_name);
      str_buffer_append(record->db_name, value);
    } else {
      loadTableHistory(record, key, value);
    }
  }
  if (record->db_name->len == 0 || record->table_name->len == 0 ||
      darray_length(record->index_names) == 0 ||
      darray_append(m_tableArr, static_cast<const void*>(record)) != RET_OK) {
    freeTableConfig(record);
  }
}

void ConfigManager::loadTableHistory(table_config_t* record, const char* index_name,
                                     const char* value) {
  // A key repeated in the file: the first one wins, as for every INI lookup.
  if (darray_find(record->index_names, indexNameCompare, ptr_to_slot(index_name)) >= 0) return;
  _DArray* history = table_config_parse_history(value);
  if (history == nullptr) return;
  index_info_t* index = getIndexInfo(index_name);
  for (unsigned int i = 0; i < darray_length(history); ++i) {
    const char* name = slot_as<group_rowid_t>(darray_get_by_index(history, i))->group_name->data;
    SGroupConfig* group = getGroup(name);
    if (group == nullptr) addGroup(name);
    // A group created just now is not linked in this pass (group is still
    // null here); the table's registration links it later.
    if (index != nullptr) index_info_add_group(index, group);
  }
  if (darray_length(history) == 0) {
    darray_destroy(history);
    return;
  }
  table_config_add_history(record, index_name, history);
}

void ConfigManager::saveTableConfigFile() {
  if (m_tableArr == nullptr) return;
  ini_ctx_t* doc = freshDocument("/Table.cfg");
  if (doc == nullptr) return;
  _str_buffer_t* section = str_buffer_create(64);
  _str_buffer_t* value = str_buffer_create(64);
  for (unsigned int i = 0; section != nullptr && value != nullptr && i < darray_length(m_tableArr); ++i) {
    const table_config_t* record = slot_as<table_config_t>(darray_get_by_index(m_tableArr, i));
    str_buffer_reset(section);
    str_buffer_append(section, static_cast<const _str_buffer_t*>(record->db_name));
    str_buffer_append(section, '_');
    str_buffer_append(section, static_cast<const _str_buffer_t*>(record->table_name));
    ini_ctx_section_add_item(doc, section->data, "db_name", record->db_name->data);
    ini_ctx_section_add_item(doc, section->data, "table_name", record->table_name->data);
    for (unsigned int k = 0; k < darray_length(record->index_names); ++k) {
      str_buffer_reset(value);
      table_config_format_history(slot_as<_DArray>(darray_get_by_index(record->group_histories, k)),
                                  value);
      ini_ctx_section_add_item(doc, section->data,
                               slot_as<_str_buffer_t>(darray_get_by_index(record->index_names, k))->data,
                               value->data);
    }
  }
  ini_ctx_save_durable(doc, false, syncWrites());
  str_buffer_free(section);
  str_buffer_free(value);
  ini_ctx_free(doc);
}

}  // namespace mobile_search
