// Searcher: lifecycle, administration, groups and documents. Searching and
// the query-string language are in searcher_query.cc.
#include "search/searcher.h"

#include "config/config_manager.h"
#include "config/config_records.h"
#include "foundation/c_string.h"
#include "foundation/file_util.h"
#include "foundation/logging.h"
#include "search/group_searcher.h"
#include "text/token_parser.h"

namespace mobile_search {

namespace {

constexpr int kOpenAttempts = 3;

SGroupConfig* GroupAt(_DArray* groups, unsigned int i) {
  return slot_as<SGroupConfig>(darray_get_by_index(groups, i));
}

const char* GroupName(const SGroupConfig* group) {
  return group->group_name->data;
}

// Calls `op` on every group whose searcher is already open; groups not yet
// opened are left alone.
void ForEachOpenGroup(ConfigManager* manager, int (GroupSearcher::*op)()) {
  if (manager == nullptr) return;
  _DArray* groups = manager->getAllGroupConfig();
  const unsigned int n = darray_length(groups);
  for (unsigned int i = 0; i < n; ++i) {
    SGroupConfig* group = GroupAt(groups, i);
    GroupSearcher* searcher = group != nullptr ? group->searcher.load() : nullptr;
    if (searcher != nullptr) (searcher->*op)();
  }
}

}  // namespace

Searcher::Searcher()
    : config_manager_(nullptr),
      mutex_(new ThreadMutex()),
      parser_(new TokenParser()) {}

Searcher::~Searcher() {
  delete mutex_;
  delete parser_;
}

int Searcher::open(const char* root_path, int) {
  if (is_empty_str(root_path)) return -1;
  for (int attempt = 0; attempt < kOpenAttempts; ++attempt) {
    if (config_manager_ == nullptr) {
      ConfigManager* manager = ConfigManager::getConfigManager(root_path);
      if (manager == nullptr) continue;
      // A manager that could not load its root is not registered anywhere,
      // so it is ours to drop before the next attempt.
      if (!manager->isOk()) {
        delete manager;
        continue;
      }
      config_manager_ = manager;
    }
    _DArray* groups = config_manager_->getAllGroupConfig();
    const unsigned int n = darray_length(groups);
    bool all_open = true;
    for (unsigned int i = 0; i < n && all_open; ++i) {
      SGroupConfig* group = GroupAt(groups, i);
      if (config_manager_->group_config_get_searcher(group) != nullptr) continue;
      log_level_printf(SEARCH_LOG_ERROR, "searcher init failed. %s",
                       group != nullptr ? GroupName(group) : "");
      all_open = false;
    }
    if (all_open) return 0;
  }
  return -1;
}

int Searcher::addIndex(const char* index_name, const char* db_name,
                       const char* table_name, const char* key_field,
                       const char* index_fields, const char* where_condition,
                       const char* tab_pinyin_field,
                       const char* profile_fields,
                       const char* notoken_fields, const char* group_name) {
  if (config_manager_ == nullptr) return -1;
  return config_manager_->addIndex(index_name, db_name, table_name, group_name,
                                   key_field, index_fields, where_condition,
                                   tab_pinyin_field, profile_fields,
                                   notoken_fields);
}

int Searcher::delTableOfIndex(const char* index_name, const char* db_name,
                              const char* table_name) {
  if (config_manager_ == nullptr) return -1;
  return config_manager_->delTableOfIndex(index_name, db_name, table_name);
}

int Searcher::clean() {
  if (config_manager_ != nullptr) config_manager_->clean();
  return 0;
}

unsigned long long Searcher::getTotalBytes() {
  if (config_manager_ == nullptr) return 0;
  return get_dir_total_bytes(config_manager_->getRootIndexPath());
}

int Searcher::getConfigSectionNum() {
  if (config_manager_ == nullptr) return 0;
  return config_manager_->getConfigSectionNum();
}

int Searcher::getConfigSection(int i, const char** index_name,
                               const char** db_name, const char** table_name,
                               const char** key_field,
                               const char** index_fields,
                               const char** where_condition,
                               const char** profile_fields,
                               const char** notoken_fields) {
  if (config_manager_ == nullptr) return -1;
  return config_manager_->getConfigSection(i, index_name, db_name, table_name,
                                           key_field, index_fields,
                                           where_condition, profile_fields,
                                           notoken_fields);
}

const char* Searcher::indexVersion() { return kIndexVersion; }

GroupSearcher* Searcher::getGroupSearcher(const char* group) {
  if (config_manager_ == nullptr || group == nullptr) return nullptr;
  SGroupConfig* config = config_manager_->getGroup(group);
  if (config == nullptr) return nullptr;
  return config_manager_->group_config_get_searcher(config);
}

int Searcher::save(const char* group) {
  GroupSearcher* searcher = getGroupSearcher(group);
  return searcher == nullptr ? -1 : searcher->save();
}

int Searcher::close(const char* group) {
  GroupSearcher* searcher = getGroupSearcher(group);
  return searcher == nullptr ? -1 : searcher->close();
}

void Searcher::setAutoSave(const char* group, bool on) {
  GroupSearcher* searcher = getGroupSearcher(group);
  if (searcher != nullptr) searcher->setAutoSave(on);
}

bool Searcher::isAutoSave(const char* group) {
  GroupSearcher* searcher = getGroupSearcher(group);
  return searcher == nullptr ? true : searcher->isAutoSave();
}

int Searcher::setSyncWrites(bool on) {
  if (config_manager_ == nullptr) return -1;
  config_manager_->setSyncWrites(on);
  return 0;
}

bool Searcher::isSyncWrites() const {
  return config_manager_ != nullptr && config_manager_->syncWrites();
}

int Searcher::getDelNum(const char* group) {
  GroupSearcher* searcher = getGroupSearcher(group);
  return searcher == nullptr ? -1 : searcher->getIndexDeleteCount();
}

int Searcher::ellipse_index(const char* group, bool force) {
  GroupSearcher* searcher = getGroupSearcher(group);
  return searcher == nullptr ? -1 : searcher->ellipseIndex(group, force);
}

int Searcher::save() {
  ForEachOpenGroup(config_manager_, &GroupSearcher::save);
  return 0;
}

int Searcher::close() {
  ForEachOpenGroup(config_manager_, &GroupSearcher::close);
  return 0;
}

int Searcher::ellipse_index(bool force) {
  if (config_manager_ == nullptr) return -1;
  int result = 0;
  _DArray* groups = config_manager_->getAllGroupConfig();
  const unsigned int n = darray_length(groups);
  for (unsigned int i = 0; i < n; ++i) {
    SGroupConfig* group = GroupAt(groups, i);
    GroupSearcher* searcher = config_manager_->group_config_get_searcher(group);
    if (searcher == nullptr) continue;
    const int r = searcher->ellipseIndex(GroupName(group), force);
    if (result == 0) result = r;
  }
  checkEllipse();
  return result;
}

void Searcher::checkEllipse() {
  // Asking the registry again releases managers of other roots that have
  // finished compacting; the answer itself is not needed.
  if (config_manager_ != nullptr) {
    ConfigManager::getConfigManager(config_manager_->getRootIndexPath());
  }
}

_DArray* Searcher::getGroupSearcher(_DArray* out, const char* db_name,
                                    const char* table_name,
                                    const char* index_name) {
  if (out == nullptr || config_manager_ == nullptr) return out;
  _DArray* groups = darray_create(nullptr, false);
  if (groups == nullptr) return out;
  config_manager_->getAllGroup(groups, table_name, db_name, index_name);
  const unsigned int n = darray_length(groups);
  for (unsigned int i = 0; i < n; ++i) {
    GroupSearcher* searcher =
        config_manager_->group_config_get_searcher(GroupAt(groups, i));
    if (searcher != nullptr) darray_append(out, static_cast<const void*>(searcher));
  }
  darray_destroy(groups);
  return out;
}

GroupSearcher* Searcher::getRecentGroupSearcher(const char* db_name,
                                                const char* table_name,
                                                const char* index_name) {
  if (config_manager_ == nullptr) return nullptr;
  SGroupConfig* group =
      config_manager_->getRecentGroup(table_name, db_name, index_name);
  if (group == nullptr) return nullptr;
  return config_manager_->group_config_get_searcher(group);
}

int Searcher::modifyDoc(const char* index_name, const char* db_name,
                        const char* table_name, const char* pkey, int count,
                        char** values) {
  // Held shared while the document is indexed, so that an option changing
  // what is indexed cannot change half way (see setOption).
  ReadWriteLock* gate =
      config_manager_ != nullptr ? config_manager_->getEngineOptions()->indexGate() : nullptr;
  if (gate != nullptr) gate->read_lock();
  GroupSearcher* searcher = getRecentGroupSearcher(db_name, table_name, index_name);
  const int ret = searcher == nullptr
                      ? -1
                      : searcher->modifyDoc(index_name, db_name, table_name, pkey, count, values);
  if (gate != nullptr) gate->unlock();
  return ret;
}

int Searcher::addDoc(const char* index_name, const char* db_name,
                     const char* table_name, const char* pkey, int count,
                     char** values) {
  return modifyDoc(index_name, db_name, table_name, pkey, count, values);
}

int Searcher::delDoc(const char* index_name, const char* db_name,
                     const char* table_name, const char* pkey) {
  if (is_empty_str(index_name) || is_empty_str(db_name) || is_empty_str(table_name) ||
      pkey == nullptr) {
    return -1;
  }
  _DArray* searchers = darray_create(nullptr, false);
  if (searchers == nullptr) return -1;
  getGroupSearcher(searchers, db_name, table_name, index_name);
  // Older groups may still hold the row, so every group is asked; a group
  // that does not know it is no failure.
  for (unsigned int i = 0; i < darray_length(searchers); ++i) {
    slot_as<GroupSearcher>(darray_get_by_index(searchers, i))
        ->delDoc(index_name, db_name, table_name, pkey);
  }
  darray_destroy(searchers);
  return 0;
}

int Searcher::clearDoc(void* ctx, const char* index_name, const char* db_name,
                       const char* table_name, clear_doc_callback callback) {
  if (is_empty_str(index_name) || config_manager_ == nullptr) return -1;
  _DArray* searchers = darray_create(nullptr, false);
  if (searchers == nullptr) return -1;
  getGroupSearcher(searchers, db_name, table_name, index_name);
  for (unsigned int i = 0; i < darray_length(searchers); ++i) {
    slot_as<GroupSearcher>(darray_get_by_index(searchers, i))
        ->clearDoc(ctx, index_name, db_name, table_name, callback);
  }
  darray_destroy(searchers);
  // The next table scan starts from the first row again.
  config_manager_->resetScanMaxRowid(table_name, db_name, index_name);
  return 0;
}

}  // namespace mobile_search
