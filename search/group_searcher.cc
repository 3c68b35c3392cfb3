#include "search/group_searcher.h"

#include <stdio.h>
#include <string.h>
#include <strings.h>

#include <exception>
#include <new>

#include "config/config_manager.h"
#include "foundation/binary_set.h"
#include "foundation/c_string.h"
#include "foundation/fault_point.h"
#include "foundation/file_util.h"
#include "foundation/hash.h"
#include "foundation/logging.h"
#include "search/group_recovery.h"
#include "search/table_result.h"
#include "storage/doc_id_manager.h"
#include "storage/index_manager.h"
#include "storage/log_manager.h"
#include "text/token_parser.h"

namespace mobile_search {

namespace {

const char kDefaultGroup[] = "default";

const char* orEmpty(const char* s) { return s == nullptr ? "" : s; }

// CRC-32 chained over the non-empty values in field order, from 0.
unsigned int contentHash(char** values, int count) {
  unsigned int hash = 0;
  for (int i = 0; i < count; ++i) {
    const char* v = values[i];
    if (!is_empty_str(v)) hash = crc32(v, static_cast<unsigned int>(strlen(v)), hash);
  }
  return hash;
}

// An empty or null filter matches every name.
bool nameMatches(const char* filter, const _str_buffer_t* name) {
  if (is_empty_str(filter)) return true;
  return name != nullptr && strcasecmp(name->data, filter) == 0;
}

}  // namespace

// ---- Storage bundle ----

index_mgr_t* index_mgr_create(const char* dir, const char* name) {
  if (is_empty_str(dir) || is_empty_str(name)) return nullptr;
  index_mgr_t* mgr = new (std::nothrow) index_mgr_t();
  if (mgr == nullptr) return nullptr;
  mgr->name = str_buffer_create(name);
  mgr->index_mgr = new (std::nothrow) IndexManager();
  mgr->doc_mgr = new (std::nothrow) DocIdManager();
  mgr->log_mgr = new (std::nothrow) LogManager();
  if (mgr->name == nullptr || mgr->index_mgr == nullptr || mgr->doc_mgr == nullptr ||
      mgr->log_mgr == nullptr || mgr->index_mgr->open(dir, name) != 0 ||
      mgr->doc_mgr->open(dir) != 0 || mgr->log_mgr->open(dir) != 0) {
    index_mgr_free(mgr);
    return nullptr;
  }
  // What a stopped process left is mended before anyone reads the stores; a
  // repair that cannot be written leaves the group usable as it is.
  recover_group_stores(dir, mgr->doc_mgr, mgr->index_mgr);
  return mgr;
}

void index_mgr_free(index_mgr_t* mgr) {
  if (mgr == nullptr) return;
  delete mgr->index_mgr;
  delete mgr->doc_mgr;
  delete mgr->log_mgr;
  str_buffer_free(mgr->name);
  delete mgr;
}

int index_mgr_save(index_mgr_t* mgr) {
  if (mgr == nullptr) return 0;
  // Postings before the records that own them: a record on disk always has
  // its postings there. A failed postings save therefore keeps the records
  // where they were.
  if (mgr->index_mgr != nullptr && mgr->index_mgr->save() != 0) return -1;
  if (mgr->doc_mgr != nullptr && mgr->doc_mgr->save() != 0) return -1;
  if (mgr->log_mgr != nullptr) mgr->log_mgr->save();
  return 1;
}

// ---- Lifecycle ----

GroupSearcher::GroupSearcher()
    : m_ellipsing(0),
      m_indexPath(nullptr),
      m_indexMgr(nullptr),
      m_groupCfg(nullptr),
      m_groupName(nullptr),
      m_tokenParser(new TokenParser()),
      m_configMgr(nullptr),
      m_updateMutex(new ThreadMutex()),
      m_indexLock(new ReadWriteLock()),
      m_autoSave(true),
      m_logging(false) {}

GroupSearcher::~GroupSearcher() {
  {
    MutexLock update(m_updateMutex);
    WriteLock exclusive(m_indexLock);
    closeLocked();
    str_buffer_free(m_indexPath);
    str_buffer_free(m_groupName);
    m_indexPath = nullptr;
    m_groupName = nullptr;
  }
  delete m_updateMutex;
  delete m_indexLock;
  delete m_tokenParser;
  m_configMgr = nullptr;
}

_str_buffer_t* GroupSearcher::makeGroupDir(const char* root, const char* group_name) {
  _str_buffer_t* dir = str_buffer_create(root);
  if (dir == nullptr) return nullptr;
  int ok = str_buffer_append(dir, "/") && str_buffer_append(dir, kBundleName);
  if (ok && strcmp(group_name, kDefaultGroup) != 0) {
    ok = str_buffer_append(dir, "_") && str_buffer_append(dir, group_name);
  }
  if (!ok) {
    str_buffer_free(dir);
    return nullptr;
  }
  return dir;
}

int GroupSearcher::recoverInterruptedEllipse() {
  const char* dir = m_indexPath->data;
  _str_buffer_t* copy = str_buffer_create(dir);
  if (copy == nullptr || !str_buffer_append(copy, "-cpy")) {
    str_buffer_free(copy);
    return -1;
  }
  int ret = 0;
  bool has_dir = file_exist(dir) != 0;
  bool has_copy = file_exist(copy->data) != 0;
  // The swap parks the old group in "-cpy" before moving the copy in: with
  // no directory the old group is the complete one, with both the new one is.
  if (!has_dir && has_copy) {
    ret = rename(copy->data, dir) == 0 ? 0 : -1;
  } else if (has_dir && has_copy) {
    ret = remove_dir(copy->data);
  }
  str_buffer_free(copy);
  return ret;
}

int GroupSearcher::open(ConfigManager* manager, const char* group_name) {
  // An empty group name is a group like any other ("<root>/allin_").
  if (manager == nullptr || group_name == nullptr) return -1;
  MutexLock update(m_updateMutex);
  WriteLock exclusive(m_indexLock);
  m_configMgr = manager;
  int ret = -1;
  const char* root = manager->getRootIndexPath();
  _str_buffer_t* dir = nullptr;
  if (is_empty_str(root)) {
    log_level_printf(SEARCH_LOG_ERROR, "index_path is null %s \n", group_name);
  } else if ((dir = makeGroupDir(root, group_name)) == nullptr) {
    log_level_printf(SEARCH_LOG_ERROR, "buf is null %s \n", group_name);
  } else {
    closeLocked();
    str_buffer_free(m_indexPath);
    str_buffer_free(m_groupName);
    m_indexPath = dir;
    m_groupName = str_buffer_create(group_name);
    ret = recoverInterruptedEllipse();
    if (ret == -1) {
      log_level_printf(SEARCH_LOG_ERROR, "ELLIPSE dir rename failed. %s \n", group_name);
    } else {
      // A reopened group keeps the auto-save setting it was given.
      openStores(m_indexPath->data);
      ret = m_indexMgr == nullptr ? -1 : 0;
    }
  }
  return ret;
}

int GroupSearcher::saveLocked() {
  applySyncPolicy();
  if (m_groupCfg != nullptr) ini_ctx_save_durable(m_groupCfg, false, m_durable);
  return index_mgr_save(m_indexMgr);
}

int GroupSearcher::save() {
  // Shared is enough: saving writes files, not what searches read; the
  // mutex keeps updates and the compaction copy out.
  MutexLock update(m_updateMutex);
  ReadLock shared(m_indexLock);
  return saveLocked();
}

void GroupSearcher::closeLocked() {
  saveLocked();
  index_mgr_free(m_indexMgr);
  m_indexMgr = nullptr;
  ini_ctx_free(m_groupCfg);
  m_groupCfg = nullptr;
}

int GroupSearcher::close() {
  MutexLock update(m_updateMutex);
  WriteLock exclusive(m_indexLock);
  closeLocked();
  return 0;
}

void GroupSearcher::openStores(const char* dir) {
  m_indexMgr = index_mgr_create(dir, kBundleName);
  m_durable = false;
  if (m_indexMgr != nullptr && !m_autoSave) setStoresAutoSave(false);
  applySyncPolicy();
}

void GroupSearcher::applySyncPolicy() {
  bool want = m_configMgr != nullptr && m_configMgr->syncWrites();
  if (m_indexMgr == nullptr || want == m_durable) return;
  m_durable = want;
  m_indexMgr->index_mgr->setDurable(want);
  m_indexMgr->doc_mgr->setDurable(want);
}

void GroupSearcher::setStoresAutoSave(bool on) {
  m_indexMgr->index_mgr->setAutoSave(on);
  m_indexMgr->doc_mgr->setAutoSave(on);
}

void GroupSearcher::setAutoSave(bool on) {
  MutexLock update(m_updateMutex);
  WriteLock exclusive(m_indexLock);
  if (m_indexMgr != nullptr) {
    m_autoSave = on;
    setStoresAutoSave(on);
  }
}

int GroupSearcher::checkGroup(const index_info_t*) {
  // Every group serves every index, deliberately: callers treat all groups
  // as matching.
  return 1;
}

const char* GroupSearcher::getIndexPath() const {
  return m_indexPath == nullptr ? nullptr : m_indexPath->data;
}

const char* GroupSearcher::getGroupName() const {
  return m_groupName == nullptr ? nullptr : m_groupName->data;
}

void GroupSearcher::onEllipseStage(EllipseStage) {}

// ---- Documents ----

void GroupSearcher::addToLog(int doc_id, int operation) {
  if (m_indexMgr != nullptr && m_logging && m_indexMgr->log_mgr != nullptr) {
    m_indexMgr->log_mgr->add_log(static_cast<unsigned int>(doc_id),
                                 static_cast<unsigned int>(operation));
  }
}

int GroupSearcher::modifyDoc(const char* index_name, const char* db_name,
                             const char* table_name, const char* pkey, int count,
                             char** values) {
  int ret = -1;
  try {
    MutexLock update(m_updateMutex);
    bool save = false;
    {
      WriteLock exclusive(m_indexLock);
      ret = modifyDocLocked(index_name, db_name, table_name, pkey, count, values, &save);
    }
    // The change is in memory, seen by searches as a whole; writing it back
    // needs only the shared lock, so searches go on while the disk works.
    if (save) {
      ReadLock shared(m_indexLock);
      if (index_mgr_save(m_indexMgr) != 1) ret = -1;
    }
  } catch (const std::exception&) {
    ret = -1;  // out of memory: every lock is released on the way out
  }
  if (ret == -1) {
    log_printf("modify doc fail index_name:%s db_name:%s table_name:%s pkey:%s",
               orEmpty(index_name), orEmpty(db_name), orEmpty(table_name), orEmpty(pkey));
  }
  return ret;
}

int GroupSearcher::modifyDocLocked(const char* index_name, const char* db_name,
                                   const char* table_name, const char* pkey, int count,
                                   char** values, bool* save) {
  if (is_empty_str(index_name) || is_empty_str(table_name) || is_empty_str(db_name) || is_empty_str(pkey) ||
      values == nullptr || m_indexMgr == nullptr || m_indexMgr->doc_mgr == nullptr ||
      m_indexMgr->index_mgr == nullptr || m_configMgr == nullptr) {
    return -1;
  }
  index_info_t* index = m_configMgr->getIndexInfo(index_name);
  table_info_t* table = m_configMgr->getTableInfo(index_name, db_name, table_name);
  if (index == nullptr || table == nullptr || index->fields == nullptr ||
      count != table->field_num) {
    return -1;
  }
  unsigned int hash = contentHash(values, count);
  DocIdManager* docs = m_indexMgr->doc_mgr;
  int reusable_id = -1;
  unsigned int stored_hash = 0;
  unsigned int key_crc = 0;
  int live_id = docs->getDocid(table->table_id, pkey, reusable_id, hash, stored_hash, key_crc);
  ks_fault_point("group.update");
  if (live_id >= 0) {
    if (stored_hash == hash) return 0;
    addToLog(live_id, kLogDeleted);
  }
  applySyncPolicy();
  // The replaced document is retired only after its successor is in place,
  // so that a process stopped in between leaves one of the two searchable.
  if (reusable_id >= 0) {
    // Restoring retires every other document of the key, the live one too.
    docs->unDelDocid(static_cast<unsigned int>(reusable_id));
    if (live_id >= 0) docs->delDocid(static_cast<unsigned int>(live_id));
    // The log names the replaced id, not the restored one; compaction
    // therefore also looks at the live store (see index_ellipse.cc).
    addToLog(live_id, kLogRestored);
    return 0;
  }
  int ret = addNewDoc(table, index, pkey, hash, key_crc, values);
  // The old document's mark waits for the save, which writes the new
  // document's postings and record before it.
  if (live_id >= 0) docs->delDocid(static_cast<unsigned int>(live_id), false);
  *save = m_autoSave && ret == 0;
  return ret;
}

int GroupSearcher::addNewDoc(table_info_t* table, const index_info_t* index,
                             const char* pkey, unsigned int hash, unsigned int key_crc,
                             char** values) {
  bool auto_save = m_autoSave;
  LogManager* log = m_indexMgr->log_mgr;
  if (auto_save) {
    m_indexMgr->doc_mgr->setAutoSave(false);
    if (log != nullptr) log->setAutoSave(false);
    m_indexMgr->index_mgr->setAutoSave(false);
  }
  // On failure auto-save stays off in the stores until the next successful
  // add switches it back on: the stores are saved as a whole then.
  int doc_id = m_indexMgr->doc_mgr->addPKey(table->table_id, pkey, hash, key_crc);
  if (doc_id < 0) return -1;
  addToLog(doc_id, kLogAdded);
  int ret = addDocByDocId(doc_id, table, index->fields, values);
  if (auto_save) {
    m_indexMgr->index_mgr->setAutoSave(true);
    m_indexMgr->doc_mgr->setAutoSave(true);
    if (log != nullptr) log->setAutoSave(true);
  }
  return ret;
}

int GroupSearcher::addDocByDocId(int doc_id, table_info_t* table, const _DArray* fields,
                                 char** values) {
  if (table == nullptr || fields == nullptr || values == nullptr || m_indexMgr == nullptr) {
    return -1;
  }
  // One copy of the engine options for the whole document.
  const TextOptions options =
      m_configMgr != nullptr ? m_configMgr->getEngineOptions()->textOptions() : TextOptions();
  // Only index fields are tokenized; profile fields count for the content
  // hash alone.
  for (int i = 0; i < table->index_field_num; ++i) {
    const char* value = values[i];
    const field_info_t* field =
        slot_as<field_info_t>(darray_get_by_index(fields, static_cast<unsigned int>(i)));
    if (field == nullptr || is_empty_str(value)) continue;
    // Postings stay in memory here: with auto-save on, the caller writes them
    // back with the record, outside the exclusive lock (the same bytes).
    if (m_tokenParser->fieldTokenizer(doc_id, i, value, field->is_pinyin, field->is_notoken,
                                      false, m_indexMgr->index_mgr, options) == -1) {
      log_printf("token field value fail %s\n", value);
    }
  }
  return 0;
}

int GroupSearcher::delDoc(const char* index_name, const char* db_name,
                          const char* table_name, const char* pkey) {
  if (is_empty_str(index_name) || is_empty_str(db_name) || is_empty_str(table_name) || is_empty_str(pkey)) {
    return -1;
  }
  MutexLock update(m_updateMutex);
  int id = -1;
  {
    WriteLock exclusive(m_indexLock);
    table_info_t* table = nullptr;
    if (m_configMgr != nullptr && m_configMgr->getIndexInfo(index_name) != nullptr) {
      table = m_configMgr->getTableInfo(index_name, db_name, table_name);
    }
    if (table == nullptr || m_indexMgr == nullptr || m_indexMgr->doc_mgr == nullptr) return -1;
    applySyncPolicy();
    id = m_indexMgr->doc_mgr->getDocid(table->table_id, pkey);
    if (id >= 0) {
      m_indexMgr->doc_mgr->delDocid(static_cast<unsigned int>(id), false);
      addToLog(id, kLogDeleted);
    }
  }
  // The mark goes to the file at once, whatever auto-save says.
  if (id >= 0) {
    ReadLock shared(m_indexLock);
    m_indexMgr->doc_mgr->writeBackMark(static_cast<unsigned int>(id));
  }
  return 0;
}

int GroupSearcher::clearDoc(void* ctx, const char* index_name, const char* db_name,
                            const char* table_name, clear_doc_callback callback) {
  if (is_empty_str(index_name)) return -1;
  MutexLock update(m_updateMutex);
  {
    WriteLock exclusive(m_indexLock);
    const index_info_t* index =
        m_configMgr == nullptr ? nullptr : m_configMgr->getIndexInfo(index_name);
    if (index == nullptr || m_indexMgr == nullptr || m_indexMgr->doc_mgr == nullptr ||
        clearDocLocked(ctx, index, index_name, db_name, table_name, callback) != 0) {
      return -1;
    }
  }
  ReadLock shared(m_indexLock);
  m_indexMgr->doc_mgr->save();
  return 0;
}

int GroupSearcher::clearDocLocked(void* ctx, const index_info_t* index,
                                  const char* index_name, const char* db_name,
                                  const char* table_name, clear_doc_callback callback) {
  DocIdManager* docs = m_indexMgr->doc_mgr;
  // Made before auto-save is switched off, and clearDoc releases the locks
  // on failure, so an allocation failure leaves the group usable.
  _DArray* ids = darray_create(nullptr, false);
  if (ids == nullptr) return -1;
  for (unsigned int i = 0; i < darray_length(index->tables); ++i) {
    const table_info_t* t = slot_as<table_info_t>(darray_get_by_index(index->tables, i));
    if (t == nullptr || !nameMatches(db_name, t->db_name) ||
        !nameMatches(table_name, t->table_name)) {
      continue;
    }
    docs->getDocidByTable(ids, t->table_id);
    if (callback != nullptr) callback(ctx, index_name, t->db_name->data, t->table_name->data, 0);
  }
  for (unsigned int i = 0; i < darray_length(ids); ++i) {
    int id = static_cast<int>(darray_get_by_index(ids, i));
    if (id == -1) continue;
    docs->delDocid(static_cast<unsigned int>(id), false);  // written by the caller's save
    addToLog(id, kLogDeleted);
  }
  darray_destroy(ids);
  return 0;
}

TableResult* GroupSearcher::getTableRecord(const char* index_name, const char* db_name,
                                           const char* table_name) {
  // A table name starting with "0" is refused deliberately; callers rely on
  // it.
  if (is_empty_str(index_name) || is_empty_str(db_name) || is_empty_str(table_name) || table_name[0] == '0' ||
      m_configMgr == nullptr) {
    return nullptr;
  }
  table_info_t* table = m_configMgr->getTableInfo(index_name, db_name, table_name);
  if (table == nullptr) return nullptr;
  ReadLock shared(m_indexLock);
  if (m_indexMgr == nullptr || m_indexMgr->doc_mgr == nullptr) return nullptr;
  TableResult* result = new (std::nothrow) TableResult(true);
  if (result != nullptr) {
    result->readTableInfo(table);
    m_indexMgr->doc_mgr->getPKeyByTable(table->table_id, result->getPkeyArray());
    result->sumDocFound(static_cast<int>(result->getPkeyArray()->length()));
  }
  return result;
}

int GroupSearcher::getDocCount() {
  ReadLock shared(m_indexLock);
  if (m_indexMgr == nullptr || m_indexMgr->doc_mgr == nullptr) return -1;
  return static_cast<int>(m_indexMgr->doc_mgr->getDocNumber());
}

int GroupSearcher::getIndexDeleteCount() {
  ReadLock shared(m_indexLock);
  if (m_indexMgr == nullptr || m_indexMgr->doc_mgr == nullptr) return -1;
  return static_cast<int>(m_indexMgr->doc_mgr->getDeletedNumber());
}

}  // namespace mobile_search
