// ConfigManager: the configuration of one index root directory.
//
// Files under the root (INI documents, written back on every change):
//   "/IndexVersion.cfg"  [config] index_version=0.1.0. Checked at every start;
//                        a missing or different stamp wipes the whole root.
//   "/IndexGroup.cfg"    one section per group: index_path, group_name.
//                        Rewritten whole when a group is added.
//   "/MobileSearch.cfg"  one section per registered (index, db, table), named
//                        index_db_table: index_name, sqlite_db, sqlite_table,
//                        table_key_field, table_index_field,
//                        table_profile_field, table_notoken_field,
//                        table_where_condition, table_pinyin_field. Loaded for
//                        the manager's life and replayed through addIndex at
//                        start.
//   "/Table.cfg"         one section per (db, table), named db_table: db_name,
//                        table_name, then per index name its group history
//                        ("default:0,g2:1534"). Rewritten whole after every
//                        row-id or history change.
//   "/TableRowid.cfg"    older row-id file ([default] db_table_index=rowid),
//                        migrated into "/Table.cfg" and removed at start.
//   "/Options.cfg"       engine options ([options] name=value), only once an
//                        option was set; see config/engine_options.h.
//
// Ownership: the manager owns its groups (and through them the groups'
// searchers), its table records and index definitions. Returned records,
// arrays and texts are borrowed and stay valid while the manager lives. The
// index definitions and the loaded "/MobileSearch.cfg" document outlive the
// manager on purpose: callers may still hold table or index pointers when a
// root switch deletes it.
//
// Registry: at most one manager per root path, obtained through
// getConfigManager; asking for another root deletes the idle managers of
// other roots.
//
// Threads: the registry lock serialises getConfigManager; the configuration
// lock serialises table registration and removal (addIndex, delTableOfIndex);
// the group lock guards appending groups (readers get a published copy of the
// list) and creating group searchers; the
// table lock guards the group histories of "/Table.cfg" (m_tableArr), which
// scans of several tables, the change hook, document routing and clearDoc
// read and change from different threads. Their readers copy what they need
// (group pointers, names, row ids) before the lock is released. Lock order:
// configuration, table, group.
//
// Failures: 0 / -1, null, or the value each function names; nothing throws.
// Log messages go through the levelled channel.
#ifndef KS_CONFIG_CONFIG_MANAGER_H_
#define KS_CONFIG_CONFIG_MANAGER_H_

#include <atomic>

#include "config/config_records.h"
#include "config/engine_options.h"
#include "config/table_config.h"
#include "foundation/dynamic_array.h"
#include "foundation/ini_file.h"
#include "foundation/string_buffer.h"
#include "foundation/thread_lock.h"

namespace mobile_search {

class GroupSearcher;

// The only engine-version stamp this build accepts.
extern const char* const kIndexVersion;  // "0.1.0"

class ConfigManager {
 public:
  // The manager of `root`, from the process-wide registry. Managers of other
  // roots with no compaction running are removed and deleted on the way. A
  // new manager joins the registry only when it set up correctly, but it is
  // returned in either case: check isOk(). Null for a null or empty root.
  static ConfigManager* getConfigManager(const char* root);

  // Checks the version stamp and loads the files; isOk() tells the result.
  explicit ConfigManager(const char* root);
  ~ConfigManager();
  ConfigManager(const ConfigManager&) = delete;
  ConfigManager& operator=(const ConfigManager&) = delete;

  bool isOk() const { return m_ok; }
  // Synchronous writes for this root: every configuration file and group
  // save is flushed to the device before the call returns (off by default:
  // writes then survive a killed process, not a power cut).
  void setSyncWrites(bool on) { m_syncWrites.store(on); }
  bool syncWrites() const { return m_syncWrites.load(); }
  // 1 when the root was newly initialised (or the stamp unreadable), 0 when an
  // existing index was found valid.
  int getVersionResult() const { return m_versionResult; }
  const char* getRootIndexPath();
  // The engine options of this root, read at start; never null.
  EngineOptions* getEngineOptions() { return m_options; }

  // ---- Start-up steps (run by the constructor) ----
  // Version check, group file, index file, then the old row-id file or, when
  // nothing was migrated, the table file. 0, or -1 when a file failed to load.
  int setupConfigManager();
  // 1 when the root was (re)initialised or the stamp file could not be
  // loaded, 0 when the stamp is valid or the root cannot be created.
  int checkIndexVersion();
  // Removes the root with everything below it and recreates it empty, every
  // engine option back to off; the result of recreating it (0 / -1).
  int clean();
  // Each: 0, or -1 when the file cannot be loaded. A missing file counts as
  // empty. readOldTableRowidConfigFile returns 0 only when it migrated.
  int readGroupConfigFile();
  int readMobileSearchConfigFile();
  int readOldTableRowidConfigFile();
  int readTableConfigFile();
  // Rewrite "/Table.cfg" / "/IndexGroup.cfg" from memory.
  void saveTableConfigFile();
  void saveGroupConfigFile();

  // ---- Indexes and tables ----
  // Registers one table of one index (the first five texts are required).
  // 0 when registered or already registered; -1 for a missing required text
  // or when the records cannot be made. Later tables of an index share the
  // field layout of its first table: their field arguments are ignored.
  int addIndex(const char* index_name, const char* db_name, const char* table_name,
               const char* key_field, const char* index_fields, const char* where_condition,
               const char* pinyin_fields, const char* profile_fields,
               const char* notoken_fields);
  // The same, then makes `group_name` ("default" when null) the table's
  // current group and links the group to the index.
  int addIndex(const char* index_name, const char* db_name, const char* table_name,
               const char* group_name, const char* key_field, const char* index_fields,
               const char* where_condition, const char* pinyin_fields,
               const char* profile_fields, const char* notoken_fields);
  // Takes a table out of an index. -1 for a null argument; 0 otherwise
  // (also when the table is not registered). Its history is kept.
  int delTableOfIndex(const char* index_name, const char* db_name, const char* table_name);

  _DArray* getAllIndexInfo() { return m_indexArr; }
  // Exact name; null if none or for a null name.
  index_info_t* getIndexInfo(const char* index_name);
  // Db and table names ignore case; null for null / empty arguments or none.
  table_info_t* getTableInfo(const char* index_name, const char* db_name,
                             const char* table_name);
  // First table (index order, then table order) with that table id; null if none.
  table_info_t* get_table_info_by_tab_md5(unsigned int id);
  // Position of the field in the index's field array (profile fields come
  // after all index fields); -1 for an unknown index or field or a null /
  // empty argument.
  int getFieldId(const char* index_name, const char* field_name);

  // Sections of the loaded "/MobileSearch.cfg".
  int getConfigSectionNum();
  // Values of section i (missing values are null; pinyin fields are not
  // returned). -1 when the index name, db, table, key field or index fields
  // are missing, else 0.
  int getConfigSection(int i, const char** index_name, const char** db,
                       const char** table, const char** key_field,
                       const char** index_fields, const char** where_condition,
                       const char** profile_fields, const char** notoken_fields);

  // ---- Groups ----
  // Adds a group (index path = name) and rewrites "/IndexGroup.cfg"; nothing
  // when a group of that name (ignoring case) exists or the name is empty.
  void addGroup(const char* name, EIndexState state);
  // The same with the manager's version result as state.
  void addGroup(const char* name);
  // Case-insensitive; null if none.
  SGroupConfig* getGroup(const char* name);
  // Every group, as published to readers: an array (not owning the groups)
  // that is never changed. Adding a group publishes a new one; the arrays it
  // replaces are kept until the manager goes, so a reader on another thread
  // may go on walking the one it got.
  _DArray* getAllGroupConfig() { return m_groupView.load(std::memory_order_acquire); }
  // The group of the table's current history record; the "default" group
  // when there is none or no group has that name (null if that is missing).
  SGroupConfig* getRecentGroup(const char* table_name, const char* db_name,
                               const char* index_name);
  // Appends every group named in the table's history, oldest first (unknown
  // names skipped), or the "default" group when there is no history.
  void getAllGroup(_DArray* out, const char* table_name, const char* db_name,
                   const char* index_name);
  // The group's searcher, created and opened on first use under the group
  // lock; null for a null group or when opening fails.
  // Defined with the group searcher (config/group_config_searcher.cc).
  GroupSearcher* group_config_get_searcher(SGroupConfig* group);
  // False while any group's searcher runs a compaction; creates the searchers
  // of all groups as a side effect.
  // Defined with the group searcher (config/group_config_searcher.cc). The
  // registry references it weakly and only calls it for a manager that has
  // searchers, which exist only when that file is linked.
  bool isEllipseComplete() __attribute__((weak));

  // ---- Scan progress ----
  // Makes group_name ("default" when null) the table's current group,
  // carrying over the current max row id (0 when there was none) so that
  // switching groups does not rescan. Creates the group when missing.
  void updateIndexGroup(const char* db_name, const char* table_name,
                        const char* index_name, const char* group_name);
  // Records `rowid` for the group, making it the current one (an earlier
  // record of that group moves to the end). Rewrites "/Table.cfg" unless
  // nothing changed.
  void setScanMaxRowid(const char* table_name, const char* db_name,
                       const char* index_name, const char* group_name, int rowid);
  // Copies the current group's name into group_out (the caller's buffer,
  // when non-null) and returns its max row id; "default" and 0 when there is
  // no history.
  int getScanMaxRowid(const char* table_name, const char* db_name,
                      const char* index_name, char* group_out);
  // Current record's row id to 0, older records dropped, "/Table.cfg"
  // rewritten. 0, or -1 when there is no table array.
  int resetScanMaxRowid(const char* table_name, const char* db_name, const char* index_name);

 private:
  // root + name; null on allocation failure.
  _str_buffer_t* rootFile(const char* name);
  // An empty document that saves to root + name.
  ini_ctx_t* freshDocument(const char* name);
  ini_ctx_t* loadRootFile(const char* name, const char* path_failed, const char* load_failed);
  int addIndexLocked(const char* index_name, const char* db_name, const char* table_name,
                     const char* key_field, const char* index_fields,
                     const char* where_condition, const char* pinyin_fields,
                     const char* profile_fields, const char* notoken_fields);
  void writeIndexSection(const char* const values[9]);
  int buildIndexFields(index_info_t* index, table_info_t* table, const char* index_fields,
                       const char* pinyin_fields, const char* profile_fields,
                       const char* notoken_fields);
  int appendFields(index_info_t* index, const _DArray* names, bool profile);
  void loadTableSection(int section_num, const ini_section_t* section);
  void loadTableHistory(table_config_t* record, const char* index_name, const char* value);
  void migrateOldRowids(const ini_ctx_t* old_file);
  // Publishes a copy of m_groupArr as the readers' group list. The caller
  // holds the group lock or is still constructing the manager.
  void publishGroups();
  // setScanMaxRowid with the table lock held.
  void setScanMaxRowidLocked(const char* table_name, const char* db_name,
                             const char* index_name, const char* group_name, int rowid);
  void retireIndexDefinitions();

  int m_versionResult;
  bool m_ok;
  _DArray* m_groupArr;     // SGroupConfig*, owned; changed and walked under the group lock
  std::atomic<_DArray*> m_groupView{nullptr};  // published copy, see getAllGroupConfig
  _DArray* m_oldGroupViews;                    // replaced copies, owned (group lock)
  _DArray* m_tableArr;     // table_config_t*, owned: the content of "/Table.cfg" (table lock)
  _DArray* m_indexArr;     // index_info_t*, owned
  ini_ctx_t* m_config;     // "/MobileSearch.cfg", loaded for the manager's life
  ThreadMutex* m_configLock;
  ThreadMutex* m_groupLock;
  ThreadMutex* m_tableLock;
  _str_buffer_t* m_rootPath;
  std::atomic<bool> m_syncWrites{false};
  EngineOptions* m_options;
};

}  // namespace mobile_search

#endif  // KS_CONFIG_CONFIG_MANAGER_H_
