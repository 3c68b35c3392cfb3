// Groups of a ConfigManager and the per-table group histories with their
// max row ids ("/Table.cfg").
#include <string.h>

#include "config/config_manager.h"
#include "foundation/logging.h"

namespace mobile_search {

namespace {

const char* const kDefaultGroup = "default";

group_rowid_t* rowid_at(const _DArray* history, unsigned int i) {
  return slot_as<group_rowid_t>(darray_get_by_index(history, i));
}

}  // namespace

// ---- Groups ----

void ConfigManager::addGroup(const char* name, EIndexState state) {
  if (name == nullptr || *name == '\0' || m_groupArr == nullptr) return;
  MutexLock guard(m_groupLock);
  if (darray_find(m_groupArr, findGroupByName, ptr_to_slot(name)) < 0) {
    log_level_printf(SEARCH_LOG_INFO, "添加分组 %s, %d", name, static_cast<int>(state));
    SGroupConfig* group = group_config_create(name, name, state);
    if (group != nullptr) {
      group->tuning[0] = 1000;
      group->tuning[1] = 200;
      group->tuning[2] = 500;
      if (darray_append(m_groupArr, static_cast<const void*>(group)) != RET_OK) {
        freeGroupConfig(group);
      } else {
        publishGroups();
      }
    }
    // Saved under the group lock: two threads adding groups must not write
    // the file at the same time.
    saveGroupConfigFile();
  }
}

void ConfigManager::addGroup(const char* name) {
  addGroup(name, static_cast<EIndexState>(m_versionResult));
}

SGroupConfig* ConfigManager::getGroup(const char* name) {
  _DArray* groups = getAllGroupConfig();
  if (name == nullptr || groups == nullptr) return nullptr;
  int pos = darray_find(groups, findGroupByName, ptr_to_slot(name));
  return pos < 0 ? nullptr : slot_as<SGroupConfig>(darray_get_by_index(groups, pos));
}

void ConfigManager::publishGroups() {
  _DArray* view = darray_create(nullptr, false);
  if (view == nullptr) return;
  for (unsigned int i = 0; i < darray_length(m_groupArr); ++i) {
    if (darray_append(view, darray_get_by_index(m_groupArr, i)) != RET_OK) {
      darray_destroy(view);
      return;
    }
  }
  _DArray* old = m_groupView.exchange(view, std::memory_order_acq_rel);
  // Should keeping it fail, the old list leaks rather than being freed under
  // a reader.
  if (old != nullptr) darray_append(m_oldGroupViews, static_cast<const void*>(old));
}

SGroupConfig* ConfigManager::getRecentGroup(const char* table_name, const char* db_name,
                                            const char* index_name) {
  MutexLock guard(m_tableLock);
  const group_rowid_t* recent = getRecentGroupRowid(m_tableArr, table_name, db_name, index_name);
  SGroupConfig* group = recent != nullptr ? getGroup(recent->group_name->data) : nullptr;
  return group != nullptr ? group : getGroup(kDefaultGroup);
}

void ConfigManager::getAllGroup(_DArray* out, const char* table_name, const char* db_name,
                                const char* index_name) {
  if (out == nullptr) return;
  MutexLock guard(m_tableLock);
  const _DArray* history = getAllGroupRowid(m_tableArr, table_name, db_name, index_name);
  if (darray_length(history) == 0) {
    SGroupConfig* group = getGroup(kDefaultGroup);
    if (group != nullptr) darray_append(out, static_cast<const void*>(group));
    return;
  }
  for (unsigned int i = 0; i < darray_length(history); ++i) {
    SGroupConfig* group = getGroup(rowid_at(history, i)->group_name->data);
    if (group != nullptr) darray_append(out, static_cast<const void*>(group));
  }
}

// ---- Scan progress ----

void ConfigManager::updateIndexGroup(const char* db_name, const char* table_name,
                                     const char* index_name, const char* group_name) {
  const char* group = group_name != nullptr ? group_name : kDefaultGroup;
  MutexLock guard(m_tableLock);
  const group_rowid_t* recent = getRecentGroupRowid(m_tableArr, table_name, db_name, index_name);
  if (recent != nullptr && strcmp(recent->group_name->data, group) == 0) return;
  int rowid = recent != nullptr ? recent->max_rowid : 0;
  if (getGroup(group) == nullptr) addGroup(group);
  setScanMaxRowidLocked(table_name, db_name, index_name, group, rowid);
}

void ConfigManager::setScanMaxRowid(const char* table_name, const char* db_name,
                                    const char* index_name, const char* group_name, int rowid) {
  MutexLock guard(m_tableLock);
  setScanMaxRowidLocked(table_name, db_name, index_name, group_name, rowid);
}

void ConfigManager::setScanMaxRowidLocked(const char* table_name, const char* db_name,
                                          const char* index_name, const char* group_name,
                                          int rowid) {
  if (m_tableArr == nullptr || table_name == nullptr || db_name == nullptr ||
      index_name == nullptr || group_name == nullptr) {
    return;
  }
  table_config_t* record = findTableConfig(m_tableArr, table_name, db_name);
  if (record == nullptr) {
    appendTableConfig(m_tableArr, table_name, db_name, index_name, group_name, rowid);
    saveTableConfigFile();
    return;
  }
  int pos = darray_find(record->index_names, indexNameCompare, ptr_to_slot(index_name));
  if (pos < 0) {
    table_config_add_index(record, index_name, group_name, rowid);
    saveTableConfigFile();
    return;
  }
  _DArray* history = slot_as<_DArray>(darray_get_by_index(record->group_histories, pos));
  unsigned int n = darray_length(history);
  int found = -1;
  for (unsigned int i = n; i > 0 && found < 0; --i) {
    if (strcmp(rowid_at(history, i - 1)->group_name->data, group_name) == 0) {
      found = static_cast<int>(i - 1);
    }
  }
  if (found >= 0 && static_cast<unsigned int>(found) == n - 1) {
    group_rowid_t* current = rowid_at(history, n - 1);
    if (current->max_rowid == rowid) return;
    current->max_rowid = rowid;
  } else {
    group_rowid_t* moved = group_rowid_create(group_name, rowid);
    if (moved == nullptr) return;
    if (darray_append(history, static_cast<const void*>(moved)) != RET_OK) {
      freeGroupRowid(moved);
      return;
    }
    if (found >= 0) darray_delete(history, static_cast<unsigned int>(found));
  }
  saveTableConfigFile();
}

int ConfigManager::getScanMaxRowid(const char* table_name, const char* db_name,
                                   const char* index_name, char* group_out) {
  MutexLock guard(m_tableLock);
  const group_rowid_t* recent = getRecentGroupRowid(m_tableArr, table_name, db_name, index_name);
  const char* group = recent != nullptr ? recent->group_name->data : kDefaultGroup;
  if (group_out != nullptr) strcpy(group_out, group);
  return recent != nullptr ? recent->max_rowid : 0;
}

int ConfigManager::resetScanMaxRowid(const char* table_name, const char* db_name,
                                     const char* index_name) {
  if (m_tableArr == nullptr) return -1;
  MutexLock guard(m_tableLock);
  _DArray* history = getAllGroupRowid(m_tableArr, table_name, db_name, index_name);
  if (darray_length(history) > 0) {
    rowid_at(history, darray_length(history) - 1)->max_rowid = 0;
    while (darray_length(history) > 1) darray_delete(history, 0);
  }
  saveTableConfigFile();
  return 0;
}

}  // namespace mobile_search
