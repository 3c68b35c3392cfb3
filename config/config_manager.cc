#include "config/config_manager.h"

#include <string.h>

#include "foundation/file_util.h"
#include "foundation/logging.h"

namespace mobile_search {

const char* const kIndexVersion = "0.1.0";

namespace {

// Release callback of the list of replaced group lists.
void free_group_view(void* view) { darray_destroy(static_cast<_DArray*>(view)); }

// The registry lock and array are created on first use and never freed.
ThreadMutex* registry_lock() {
  static ThreadMutex* lock = new ThreadMutex();
  return lock;
}

_DArray* registry() {
  static _DArray* managers = darray_create(nullptr, false);
  return managers;
}

// Index definitions and "/MobileSearch.cfg" documents of deleted managers.
// Tables and indexes handed out may still be in use when a root switch
// deletes their manager, so they are never freed; keeping them here also
// keeps them reachable.
struct Retired {
  ThreadMutex lock;
  _DArray* items = darray_create(nullptr, false);
};

Retired* retired() {
  static Retired* r = new Retired();
  return r;
}

// A manager without searchers has no compaction running. Checking this first
// avoids opening every group of a root only to drop it, and lets programs
// without the search engine use the registry.
bool is_idle(ConfigManager* manager) {
  _DArray* groups = manager->getAllGroupConfig();
  for (unsigned int i = 0; i < darray_length(groups); ++i) {
    if (slot_as<SGroupConfig>(darray_get_by_index(groups, i))->searcher != nullptr) {
      return manager->isEllipseComplete();
    }
  }
  return true;
}

}  // namespace

ConfigManager* ConfigManager::getConfigManager(const char* root) {
  if (root == nullptr || *root == '\0') return nullptr;
  MutexLock guard(registry_lock());
  _DArray* managers = registry();
  ConfigManager* found = nullptr;
  unsigned int i = 0;
  while (i < darray_length(managers)) {
    ConfigManager* manager = slot_as<ConfigManager>(darray_get_by_index(managers, i));
    if (found == nullptr && strcmp(manager->getRootIndexPath(), root) == 0) {
      found = manager;
    } else if (manager != found && is_idle(manager)) {
      darray_delete(managers, i);
      delete manager;
      continue;
    }
    ++i;
  }
  if (found == nullptr) {
    found = new ConfigManager(root);
    if (found->isOk()) darray_append(managers, static_cast<const void*>(found));
  }
  return found;
}

ConfigManager::ConfigManager(const char* root)
    : m_versionResult(0),
      m_ok(false),
      m_groupArr(darray_create(freeGroupConfig, true)),
      m_oldGroupViews(darray_create(free_group_view, true)),
      m_tableArr(darray_create(freeTableConfig, true)),
      m_indexArr(darray_create(index_info_free, true)),
      m_config(nullptr),
      m_configLock(new ThreadMutex()),
      m_groupLock(new ThreadMutex()),
      m_tableLock(new ThreadMutex()),
      m_rootPath(str_buffer_create(root)),
      m_options(new EngineOptions(root != nullptr ? root : "")) {
  log_level_printf(SEARCH_LOG_WARN, "配置对象初始化路径为 %s \n", root != nullptr ? root : "(null)");
  m_ok = m_rootPath != nullptr && setupConfigManager() == 0;
  // Read after the version check, which may have wiped the root.
  if (m_ok) m_ok = m_options->load(this) == 0;
}

ConfigManager::~ConfigManager() {
  str_buffer_free(m_rootPath);
  darray_destroy(m_groupView.load());
  darray_destroy(m_oldGroupViews);
  darray_destroy(m_groupArr);
  darray_destroy(m_tableArr);
  retireIndexDefinitions();
  delete m_configLock;
  delete m_groupLock;
  delete m_tableLock;
  delete m_options;
}

void ConfigManager::retireIndexDefinitions() {
  Retired* r = retired();
  MutexLock guard(&r->lock);
  darray_append(r->items, static_cast<const void*>(m_indexArr));
  darray_append(r->items, static_cast<const void*>(m_config));
}

const char* ConfigManager::getRootIndexPath() {
  return m_rootPath != nullptr ? m_rootPath->data : "";
}

_str_buffer_t* ConfigManager::rootFile(const char* name) {
  _str_buffer_t* path = str_buffer_create(getRootIndexPath());
  if (path != nullptr) str_buffer_append(path, name);
  return path;
}

ini_ctx_t* ConfigManager::freshDocument(const char* name) {
  _str_buffer_t* path = rootFile(name);
  ini_ctx_t* doc = path != nullptr ? ini_ctx_create() : nullptr;
  if (doc != nullptr) str_buffer_append(doc->path, static_cast<const _str_buffer_t*>(path));
  str_buffer_free(path);
  return doc;
}

int ConfigManager::setupConfigManager() {
  m_versionResult = checkIndexVersion();
  if (readGroupConfigFile() != 0 || readMobileSearchConfigFile() != 0) return -1;
  if (readOldTableRowidConfigFile() == 0) return 0;
  return readTableConfigFile() == 0 ? 0 : -1;
}

int ConfigManager::clean() {
  remove_dir(getRootIndexPath());
  m_options->reset();
  return make_dir(getRootIndexPath(), 0755);
}

int ConfigManager::checkIndexVersion() {
  log_level_printf(SEARCH_LOG_INFO, "%s \n", "检查引擎版本是否变更");
  const char* root = getRootIndexPath();
  if (!is_dir(root) && make_dir(root, 0755) != 0) return 0;
  _str_buffer_t* path = rootFile("/IndexVersion.cfg");
  if (path == nullptr) {
    log_level_printf(SEARCH_LOG_ERROR, "%s \n", "引擎版本路径字符串初始化失败");
    return 0;
  }
  ini_ctx_t* doc = ini_load_from_file(path->data);
  if (doc == nullptr) {
    log_level_printf(SEARCH_LOG_ERROR, "%s \n", "引擎版本文件初始化失败");
    str_buffer_free(path);
    return 1;
  }
  const char* version = ini_ctx_get_val(doc, 0, "index_version");
  if (version != nullptr && strcmp(version, kIndexVersion) == 0) {
    log_level_printf(SEARCH_LOG_INFO, "%s \n", "引擎版本未变更");
    ini_ctx_free(doc);
    str_buffer_free(path);
    return 0;
  }
  log_level_printf(SEARCH_LOG_WARN, "%s \n", "引擎版本变更，删除所有索引根目录");
  ini_ctx_free(doc);
  clean();
  // Reloaded after the wipe so that the new file holds the stamp alone, not
  // the sections of the stale one.
  doc = ini_load_from_file(path->data);
  if (doc != nullptr) {
    ini_ctx_section_add_item(doc, "config", "index_version", kIndexVersion);
    ini_ctx_save_durable(doc, false, syncWrites());
    ini_ctx_free(doc);
  }
  str_buffer_free(path);
  return 1;
}

}  // namespace mobile_search
