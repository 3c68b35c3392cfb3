#include "adapter/ks_search_data_adapter.h"

#include <string.h>

#include "foundation/thread_lock.h"
#include "config/config_manager.h"
#include "search/searcher.h"

namespace mobile_search {

std::atomic<bool> KSSearchDataAdapter::stop_flag_(false);

KSSearchDataAdapter::KSSearchDataAdapter(const char* root)
    : searcher_(nullptr),
      reserved_doc_(nullptr),
      databases_(darray_create(static_cast<void (*)(void*)>(sqlite_db_cfg_free), true)),
      sqlite_lock_(new ThreadMutex()),
      adapter_lock_(new ThreadMutex()),
      closing_(false),
      scan_calls_(0),
      scan_ended_(new ThreadCondition()),
      data_procs_(darray_create(static_cast<void (*)(void*)>(index_data_cfg_free), true)),
      root_path_(str_buffer_create(root)) {
  // An adapter made without a root (a placeholder) must not undo a shutdown.
  if (root != nullptr && root[0] != '\0') stop_flag_ = false;
}

KSSearchDataAdapter::~KSSearchDataAdapter() {
  stop_flag_ = true;
  {
    MutexLock guard(adapter_lock_);
    closing_ = true;
  }
  stopAllHook();
  stopScan();
  {
    MutexLock guard(sqlite_lock_);
    darray_destroy(databases_);
    darray_destroy(data_procs_);
    if (reserved_doc_ != nullptr) ini_ctx_free(reserved_doc_);
    str_buffer_free(root_path_);
  }
  delete scan_ended_;
  delete adapter_lock_;
  delete sqlite_lock_;
}

int KSSearchDataAdapter::setSearcher(Searcher* searcher) {
  if (searcher == nullptr) return -1;
  searcher_ = searcher;
  return 0;
}

ConfigManager* KSSearchDataAdapter::configManager() const {
  return searcher_ == nullptr ? nullptr : searcher_->getConfigManager();
}

_sqlite_db_cfg_t* KSSearchDataAdapter::getDBConfig(const char* name) {
  if (name == nullptr || databases_ == nullptr) return nullptr;
  for (unsigned i = 0; i < darray_length(databases_); ++i) {
    _sqlite_db_cfg_t* db = slot_as<_sqlite_db_cfg_t>(darray_get_by_index(databases_, i));
    if (db != nullptr && strcmp(db->name->data, name) == 0) return db;
  }
  return nullptr;
}

// Called with the adapter lock held.
_sqlite_db_cfg_t* KSSearchDataAdapter::findOrAddDB(const char* db_name) {
  _sqlite_db_cfg_t* db = getDBConfig(db_name);
  if (db != nullptr) return db;
  db = sqlite_db_cfg_create(db_name);
  if (db == nullptr) return nullptr;
  if (darray_append(databases_, db) != RET_OK) {
    sqlite_db_cfg_free(db);
    return nullptr;
  }
  return db;
}

int KSSearchDataAdapter::addDB(const char* name, const char* path, const char* password,
                               bool wal) {
  if (name == nullptr) return -1;
  MutexLock guard(adapter_lock_);
  _sqlite_db_cfg_t* db = findOrAddDB(name);
  if (db == nullptr) return -1;
  sqlite_db_cfg_set_text(&db->path, path);
  sqlite_db_cfg_set_text(&db->password, password);
  db->wal = wal;
  return 0;
}

_sqlite_tab_cfg_t* KSSearchDataAdapter::getTabConfig(const char* db_name, const char* table_name,
                                                     const char* index_name) {
  _sqlite_db_cfg_t* db = getDBConfig(db_name);
  if (db == nullptr || table_name == nullptr || index_name == nullptr) return nullptr;
  for (unsigned i = 0; i < darray_length(db->tables); ++i) {
    _sqlite_tab_cfg_t* tab = slot_as<_sqlite_tab_cfg_t>(darray_get_by_index(db->tables, i));
    if (tab != nullptr && strcmp(tab->table_name->data, table_name) == 0 &&
        strcmp(tab->index_name->data, index_name) == 0) {
      return tab;
    }
  }
  return nullptr;
}

int KSSearchDataAdapter::addTable(const char* index_name, const char* db_name,
                                  const char* table_name, const char* key_field,
                                  const char* index_fields, const char* where_condition,
                                  const char* profile_fields, int hook_mode) {
  if (table_name == nullptr || index_fields == nullptr || db_name == nullptr ||
      index_name == nullptr || key_field == nullptr || stop_flag_) {
    return -1;
  }
  MutexLock guard(adapter_lock_);
  _sqlite_db_cfg_t* db = findOrAddDB(db_name);
  if (db == nullptr) return -1;
  if (getTabConfig(db_name, table_name, index_name) != nullptr) return 0;
  _sqlite_tab_cfg_t* tab = sqlite_tab_cfg_create(table_name, index_fields, profile_fields,
                                                 where_condition, key_field, index_name);
  if (tab == nullptr) return -1;
  tab->hook_mode = hook_mode;
  if (darray_append(db->tables, tab) != RET_OK) {
    sqlite_tab_cfg_free(tab);
    return -1;
  }
  ConfigManager* manager = configManager();
  if (manager != nullptr) {
    tab->scanned = manager->getScanMaxRowid(table_name, db_name, index_name, nullptr) >= 1;
  }
  return 0;
}

int KSSearchDataAdapter::delTable(const char* index_name, const char* db_name,
                                  const char* table_name) {
  if (index_name == nullptr || db_name == nullptr || table_name == nullptr || stop_flag_) {
    return -1;
  }
  MutexLock guard(adapter_lock_);
  _sqlite_db_cfg_t* db = getDBConfig(db_name);
  _sqlite_tab_cfg_t* tab = getTabConfig(db_name, table_name, index_name);
  if (db == nullptr || tab == nullptr) return 0;
  // Unlinks the record; a hooked row or scan batch reading it keeps it alive.
  for (unsigned i = 0; i < darray_length(db->tables); ++i) {
    if (slot_as<_sqlite_tab_cfg_t>(darray_get_by_index(db->tables, i)) == tab) {
      darray_delete(db->tables, i);
      break;
    }
  }
  return 0;
}

namespace {

_index_data_cfg_t* find_data_proc(_DArray* procs, const char* index_name) {
  for (unsigned i = 0; i < darray_length(procs); ++i) {
    _index_data_cfg_t* cfg = slot_as<_index_data_cfg_t>(darray_get_by_index(procs, i));
    if (cfg != nullptr && cfg->proc != nullptr &&
        str_buffer_compare(cfg->index_name, index_name) == 0) {
      return cfg;
    }
  }
  return nullptr;
}

}  // namespace

int KSSearchDataAdapter::addDataProcFunc(const char* index_name, data_proc_func_t proc,
                                         data_release_func_t release, void* user_data) {
  if (index_name == nullptr || index_name[0] == '\0' || proc == nullptr ||
      data_procs_ == nullptr) {
    return -1;
  }
  MutexLock guard(sqlite_lock_);
  if (find_data_proc(data_procs_, index_name) != nullptr) return 0;
  _index_data_cfg_t* cfg = index_data_cfg_create(index_name, proc, user_data);
  if (cfg == nullptr) return -1;
  cfg->release = release;
  if (darray_append(data_procs_, cfg) != RET_OK) {
    index_data_cfg_free(cfg);
    return -1;
  }
  return 0;
}

int KSSearchDataAdapter::addDataProcFunc(const char* index_name, data_proc_func_t proc,
                                         void* user_data) {
  return addDataProcFunc(index_name, proc, nullptr, user_data);
}

_index_data_cfg_t* KSSearchDataAdapter::getDataProcFunc(const char* index_name) {
  if (index_name == nullptr) return nullptr;
  MutexLock guard(sqlite_lock_);
  return find_data_proc(data_procs_, index_name);
}

int KSSearchDataAdapter::clearDoc(const char* index_name, const char* db_name,
                                  const char* table_name) {
  if (searcher_ == nullptr) return -1;
  return searcher_->clearDoc(this, index_name, db_name, table_name, funSetScanMaxRowid);
}

}  // namespace mobile_search
