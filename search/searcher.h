// Searcher: the one object through which the host bridge and the database
// adapter reach the index: searching, adding, changing and removing
// documents, registering indexes, saving and compaction.
//
// The index is split into groups, one GroupSearcher each, which the
// ConfigManager of the root directory keeps with the configuration records.
// The Searcher finds the right group or groups for each call and fans the
// call out; it owns no index data.
//
// Ownership: the ConfigManager is shared per root path and not owned (null
// until open succeeds). The TokenParser that cuts queries into terms is
// owned. The destructor neither saves nor closes the groups: call save() /
// close() first if the data are to reach the disk.
//
// Threads: the Searcher takes no lock of its own (its mutex has no user and
// is kept only for the object's lifetime) beyond its root's index gate
// (config/engine_options.h), held shared by modifyDoc / addDoc and
// exclusively by setOption of an option that changes what is indexed. Its
// operations may be called from several threads at once; the ConfigManager
// and each GroupSearcher hold the locks. Re-initialising or destroying it
// while other calls run is the owner's to prevent: the host bridge does so
// with bridge/engine.h's EngineUse.
//
// Failures: -1 (or null for pointer and text results) for a missing or empty
// required argument, an unknown index or group, or groups that cannot be
// opened. Every JSON text returned is malloc'd and NUL-terminated; the caller
// frees it with free().
//
// Query-string language of doSearch(const char*): parts separated by "&",
// each key=value (the first "=" splits; later ones belong to the value):
//   index_name  required
//   field_name  optional, one field; absent means all fields
//   query       required, the text searched for
//   start       decimal (atoi), default 0
//   num         decimal (atoi), default 10
// Keys are case-sensitive; a repeated key takes its last value; unknown keys
// and parts without "=" are ignored; nothing is unescaped, so a value cannot
// hold "&".
#ifndef KS_SEARCH_SEARCHER_H_
#define KS_SEARCH_SEARCHER_H_

#include "foundation/dynamic_array.h"
#include "foundation/thread_lock.h"
#include "text/text_options.h"

namespace mobile_search {

class ConfigManager;
class GroupSearcher;
class SearchIndexConfig;
class SearchResult;
class TokenParser;

class Searcher {
 public:
  // Callback of clearDoc, called once per cleared table.
  typedef int (*clear_doc_callback)(void* ctx, const char* index_name,
                                    const char* db_name,
                                    const char* table_name, int);

  Searcher();
  ~Searcher();

  Searcher(const Searcher&) = delete;
  Searcher& operator=(const Searcher&) = delete;

  // ---- Lifecycle and administration ----

  // Binds to `root_path` and opens every configured group; up to three
  // attempts. -1 for a null or empty path or when the groups cannot be
  // opened. The int is not used.
  int open(const char* root_path, int);
  // Registers a table for an index in a group (null group: "default").
  // The ConfigManager's result; -1 before open.
  int addIndex(const char* index_name, const char* db_name,
               const char* table_name, const char* key_field,
               const char* index_fields, const char* where_condition,
               const char* tab_pinyin_field, const char* profile_fields,
               const char* notoken_fields, const char* group_name);
  int delTableOfIndex(const char* index_name, const char* db_name,
                      const char* table_name);
  // Wipes the root directory when bound; always 0.
  int clean();
  // Bytes of all files under the root; 0 before open.
  unsigned long long getTotalBytes();
  int getConfigSectionNum();
  // The registered table section `i`; -1 when incomplete or before open.
  int getConfigSection(int i, const char** index_name, const char** db_name,
                       const char** table_name, const char** key_field,
                       const char** index_fields,
                       const char** where_condition,
                       const char** profile_fields,
                       const char** notoken_fields);
  // The constant "0.1.0".
  const char* indexVersion();

  // The configuration manager of the bound root (borrowed), or null before
  // open. The database adapter records scan progress through it.
  ConfigManager* getConfigManager() const { return config_manager_; }

  // ---- Engine options (config/engine_options.h; searcher_options.cc) ----

  // Sets an option of the bound root and writes "/Options.cfg". 0; -1 with
  // a log line before open, for an unknown name, a value the option does not
  // take, a file that cannot be written, or an option that changes what is
  // indexed while a group holds live documents. Setting an option to the
  // value it has always succeeds. When every document was deleted (the host
  // cleared its tables), the groups are compacted first so that no deleted
  // document can come back with terms made under the old value; the host
  // then rescans.
  int setOption(const char* name, const char* value);
  // The option's value text as a malloc'd string ("off" style while unset);
  // null before open or for an unknown name.
  char* getOption(const char* name);
  // The text-analysis options in force; all off before open.
  TextOptions textOptions() const;

  // ---- Per-group operations (unknown group: the value given) ----

  GroupSearcher* getGroupSearcher(const char* group);  // null
  int save(const char* group);                         // -1
  int close(const char* group);                        // -1
  void setAutoSave(const char* group, bool on);        // nothing
  bool isAutoSave(const char* group);                  // true
  int getDelNum(const char* group);                    // -1
  int ellipse_index(const char* group, bool force);    // -1

  // Synchronous writes for the whole engine, off by default. Off, whatever a
  // call wrote survives the process being killed; on, saves, deletion marks
  // and configuration files are also flushed to the device before the call
  // returns, so they survive a power cut. 0, or -1 when not open.
  int setSyncWrites(bool on);
  bool isSyncWrites() const;

  // ---- All-group operations ----

  // save / close every group whose searcher is already open; 0.
  int save();
  int close();
  // Compacts every group (opening it if needed); the first non-zero result,
  // or 0.
  int ellipse_index(bool force);
  void checkEllipse();

  // ---- Group lookup ----

  // Appends to `out` the searchers of every group holding this table of the
  // index, oldest first; groups that cannot be opened are skipped. Returns
  // `out` (null for a null `out`).
  _DArray* getGroupSearcher(_DArray* out, const char* db_name,
                            const char* table_name, const char* index_name);
  // The searcher of the newest group of this table of the index, or null.
  GroupSearcher* getRecentGroupSearcher(const char* db_name,
                                        const char* table_name,
                                        const char* index_name);

  // ---- Documents ----

  // Adds or changes one row in the newest group; -1 when there is none.
  int modifyDoc(const char* index_name, const char* db_name,
                const char* table_name, const char* pkey, int count,
                char** values);
  int addDoc(const char* index_name, const char* db_name,
             const char* table_name, const char* pkey, int count,
             char** values);
  // Deletes the row from every group; 0, or -1 for missing arguments (an
  // empty pkey is accepted).
  int delDoc(const char* index_name, const char* db_name,
             const char* table_name, const char* pkey);
  // Removes every row of the table (or of every table for empty names) from
  // every group and restarts its scan; 0, or -1 for an empty index name.
  int clearDoc(void* ctx, const char* index_name, const char* db_name,
               const char* table_name, clear_doc_callback callback);

  // ---- Searching ----

  // JSON text of a query-string search, or null.
  char* doSearch(const char* query_string);
  // JSON text, or null (missing arguments, nothing found). The bool is
  // accepted and has no effect.
  char* doSearch(const char* index_name, const char* field_name,
                 const char* query, int start, int num, bool);
  char* doSearch(const char* index_name, const char* query, int start,
                 int num, bool);
  // Fills `result`; -1 for missing arguments, else 0.
  int doSearch(const char* index_name, const char* field_name,
               const char* query, int start, int num, SearchResult* result,
               bool);
  int doSearchByMoreFields(const char* index_name, _DArray* field_names,
                           bool match_each_field, const char* query,
                           int start, int num, SearchResult* result, bool);
  // The core: cuts `query` into terms and searches the groups. -1 only for
  // missing arguments; a failed search is logged and gives 0.
  int doSearch(const char* query, SearchIndexConfig* config,
               SearchResult* result);
  // Searches the groups newest first and merges their results. -1 for an
  // unknown index or before open, else 0.
  int doSearch_Impl(SearchResult* result, SearchIndexConfig* config,
                    _DArray** term_lists, int list_count);

  // JSON listing of the primary keys of every live row of the table (its
  // newest group), or null.
  char* getTableRecord(const char* index_name, const char* db_name,
                       const char* table_name);
  // -1 (nothing added) when there is no group or no record, else 0.
  int getTableRecordImpl(const char* index_name, const char* db_name,
                         const char* table_name, SearchResult* result);

 private:
  ConfigManager* config_manager_;
  ThreadMutex* mutex_;
  TokenParser* parser_;
};

}  // namespace mobile_search

#endif  // KS_SEARCH_SEARCHER_H_
