// GroupSearcher: one group of the index, that is one directory with its own
// document-id store, inverted index and operation log (the storage bundle),
// and everything done to it: opening (with repair of an interrupted
// compaction), adding, changing, deleting and listing documents, query
// evaluation, and compaction.
//
// Directory of a group: <root>/allin for the group "default", otherwise
// <root>/allin_<group name>. Compaction builds the fresh copy in the sibling
// "<dir>-bak" and parks the old group in "<dir>-cpy" while swapping.
//
// Ownership: the searcher owns its bundle, directory and name buffers, token
// parser, mutex and lock. The ConfigManager is borrowed (it owns the
// searcher through the group's configuration record and outlives it).
// Results handed out (TableResult) belong to the caller.
//
// Threads. The stores allow one writer and no concurrent reader, so:
//   - searches, table listings and the deleted count take the index lock
//     shared;
//   - updates (modifyDoc, delDoc, clearDoc) take the update mutex, change
//     memory under the index lock held exclusively, then write back to the
//     files holding it only shared, so searches of the group run while a
//     save of an update is under way;
//   - compaction takes the mutex and the lock exclusively to snapshot the
//     group, copies it holding only the mutex (searches go on, updates
//     wait), then releases the mutex so that waiting updates run (they are
//     recorded in the operation log) and retakes the lock exclusively to
//     replay them and swap the directories;
//   - save, close and setAutoSave take the mutex and the lock, so they are
//     safe at any time.
// Lock order: update mutex before index lock. The compacting flag is atomic
// so that a second compaction and ConfigManager::isEllipseComplete can read
// it without a lock.
//
// Failures: return values only (-1, null, or the compaction codes listed at
// ellipseIndex). Messages go to the plain and levelled log channels.
#ifndef KS_SEARCH_GROUP_SEARCHER_H_
#define KS_SEARCH_GROUP_SEARCHER_H_

#include <atomic>

#include "config/config_records.h"
#include "foundation/dynamic_array.h"
#include "foundation/ini_file.h"
#include "foundation/string_buffer.h"
#include "foundation/thread_lock.h"
#include "storage/index_manager.h"

namespace mobile_search {

class ConfigManager;
class DocIdManager;
class IndexManager;
class LogManager;
class SearchIndexConfig;
class SearchResult;
class TableResult;
class TokenParser;

// The storage bundle of one group.
struct index_mgr_t {
  _str_buffer_t* name;       // base name of the index files, "allin"
  DocIdManager* doc_mgr;     // primary keys, doc ids, deletion marks
  IndexManager* index_mgr;   // postings
  LogManager* log_mgr;       // operation log (compaction replay)
};

// Creates the bundle and opens its stores in `dir` (index, document ids,
// log, in this order). Null for an empty argument or when a store cannot be
// created or opened; whatever was made is destroyed then.
index_mgr_t* index_mgr_create(const char* dir, const char* name);
// Destroys the index, the document-id store and the log, closing their
// files (records not saved before are not written back), then the record.
// Null is ignored.
void index_mgr_free(index_mgr_t* mgr);
// Saves the index, the document-id store and the log. 1, or 0 for null.
int index_mgr_save(index_mgr_t* mgr);

class GroupSearcher {
 public:
  // Operation codes of the operation log.
  enum LogOperation { kLogDeleted = 1, kLogAdded = 2, kLogRestored = 3 };

  // Results of ellipseIndex.
  enum EllipseResult {
    kEllipseDone = 0,           // compacted and swapped in
    kEllipseRunning = 1,        // a compaction of this group is running
    kEllipseNothing = 10,       // no documents or no postings
    kEllipseTooFew = 11,        // not forced, fewer than 1000 deleted ids
    kEllipseNoBundle = -1,      // no bundle, or a store missing in it
    kEllipseBakBusy = -2,       // a leftover "-bak" could not be removed
    kEllipseCopyDocsFailed = -3,
    kEllipseCopyIndexFailed = -4,
    kEllipseLogFailed = -6,     // log unreadable: log reset, copy abandoned
  };

  // Called by clearDoc once per cleared table.
  typedef int (*clear_doc_callback)(void* ctx, const char* index_name,
                                    const char* db_name,
                                    const char* table_name, int);

  // Closed; auto-save on, no compaction.
  GroupSearcher();
  // Closes (saving first) and frees everything.
  virtual ~GroupSearcher();
  GroupSearcher(const GroupSearcher&) = delete;
  GroupSearcher& operator=(const GroupSearcher&) = delete;

  // ---- Lifecycle ----

  // Binds to `manager`, repairs an interrupted compaction of the group's
  // directory and opens the bundle. 0; -1 for a null manager or group name,
  // an empty root path, a failed repair or a bundle that cannot be opened.
  int open(ConfigManager* manager, const char* group_name);
  // Saves the group settings (if any) and the bundle; index_mgr_save's
  // result (0 when closed).
  int save();
  // Saves, then frees the bundle and the settings. Always 0.
  int close();
  // With a bundle: stores the flag and hands it to the index and the
  // document-id store (not to the log). Without one: nothing.
  void setAutoSave(bool on);
  bool isAutoSave() const { return m_autoSave.load(); }
  // Every group serves every index: always 1.
  int checkGroup(const index_info_t* index);

  // ---- Documents ----

  // Adds a row or changes it: unchanged content does nothing; a deleted row
  // re-added with its old content gets its old id back; otherwise the old id
  // is marked deleted and the row is indexed under a new id. `count` must
  // equal the table's configured field count (index then profile fields).
  // 0, or -1 for a bad argument, an unknown index or table, a closed group
  // or when no doc id can be allocated.
  int modifyDoc(const char* index_name, const char* db_name,
                const char* table_name, const char* pkey, int count,
                char** values);
  // Tokenizes the index fields of `values` into postings of `doc_id`.
  // A value that fails is logged and skipped. 0; -1 for null arguments.
  int addDocByDocId(int doc_id, table_info_t* table, const _DArray* fields,
                    char** values);
  // Records (doc_id, operation) in the operation log while a compaction
  // runs; otherwise nothing.
  void addToLog(int doc_id, int operation);
  // Marks the live document of the key deleted (postings stay until
  // compaction). 0 also when there is none; -1 for an empty argument, an
  // unknown index or table, or a closed group.
  int delDoc(const char* index_name, const char* db_name,
             const char* table_name, const char* pkey);
  // Deletes every document of the matching tables of the index (empty
  // db/table name: all). `callback` (may be null) is called once per
  // matching table. 0; -1 for an empty index name, an unknown index or a
  // closed group.
  int clearDoc(void* ctx, const char* index_name, const char* db_name,
               const char* table_name, clear_doc_callback callback);
  // The primary keys of every live document of the table, as a new
  // TableResult (the caller deletes it). Null for an empty argument, a
  // table name starting with "0", an unknown table or a closed group.
  TableResult* getTableRecord(const char* index_name, const char* db_name,
                              const char* table_name);
  // Number of deleted document ids; -1 when closed.
  int getIndexDeleteCount();
  // Number of document ids given out, deleted ones included; -1 when closed.
  int getDocCount();

  // ---- Query evaluation (group_searcher_query.cc) ----

  // Evaluates the term lists under the shared index lock; doSearchImpl's
  // result.
  int doSearchIndex(SearchResult* result, SearchIndexConfig* config,
                    _DArray** lists, int list_count);
  // Evaluates the term lists of every item of `config` against this group
  // and fills `result`. -1 for null lists or result or no manager, else 0.
  int doSearchImpl(SearchResult* result, SearchIndexConfig* config,
                   _DArray** lists, int list_count);
  // Intersects the IndexTerm cursors of `terms` and appends the hits to
  // `hits`; `field_filter` (may be null) restricts the fields. Always 0.
  int doAnd(_DArray* terms, _DArray* hits, _DArray* field_filter);
  // Distributes the ranked hits over the per-table results of `tables`
  // (search_table_info_t*), applying each item's paging window. 0.
  int fillTableResult(SearchResult* result, _DArray* tables, _DArray* hits);
  // Validity callback of every cursor: false keeps the posting, true drops
  // it (deleted document, or a table or field outside the search).
  static bool index_valify(void* doc_id_manager, unsigned int doc_id,
                           int field_id, void* tables);
  // index_valify's decision for a live document of table `table_id`.
  static bool tableDrops(const void* tables, unsigned int table_id,
                         int field_id);
  // _DArray release callback for IndexTerm* slots.
  static void term_free(void* term);
  // Debugging aid: prints a hit's doc id and weight to stdout.
  static void print_nid(doc_union_t hit);

  // ---- Compaction (index_ellipse.cc) ----

  // Rewrites the group without its deleted documents. Returns an
  // EllipseResult; `group_name` only names the run (the searcher's own
  // directory is compacted). Without `force`, fewer than 1000 deleted ids
  // give kEllipseTooFew.
  int ellipseIndex(const char* group_name, bool force);
  // True while ellipseIndex runs on this group.
  bool isEllipsing() const { return m_ellipsing.load() != 0; }

  // ---- Accessors ----

  // The bundle (null when closed). Walk it only under the index lock, for
  // instance through doSearchIndex; compaction replaces it.
  index_mgr_t* getIndexMgr() const { return m_indexMgr; }
  // The group's directory and name; null before open.
  const char* getIndexPath() const;
  const char* getGroupName() const;

 protected:
  // Stages of a compaction at which onEllipseStage is called.
  enum EllipseStage {
    // The copy is being built: this thread holds the update mutex (updates
    // wait), the index lock is free (searches run).
    kStageCopying = 1,
    // The copy is built and neither lock is held; updates made now are
    // logged and replayed before the swap.
    kStageCopied = 2,
  };
  // Instrumentation point for subclasses (progress reporting, tests). The
  // default does nothing. It must not take the update mutex during
  // kStageCopying.
  virtual void onEllipseStage(EllipseStage stage);

 private:
  struct EllipseRun;

  // Base name of the store files in a group directory.
  static constexpr char kBundleName[] = "allin";

  // Directory of a group under `root`; null when it cannot be made.
  static _str_buffer_t* makeGroupDir(const char* root, const char* group_name);
  // Repairs what an interrupted compaction left around the directory.
  // 0, or -1 when a rename or removal failed.
  int recoverInterruptedEllipse();
  // Update bodies, run under the mutex and the exclusive lock.
  // Changes memory only; *save tells whether the caller writes back.
  int modifyDocLocked(const char* index_name, const char* db_name,
                      const char* table_name, const char* pkey, int count,
                      char** values, bool* save);
  // Adds a document under a new id, in memory.
  int addNewDoc(table_info_t* table, const index_info_t* index,
                const char* pkey, unsigned int hash, unsigned int key_crc,
                char** values);
  int clearDocLocked(void* ctx, const index_info_t* index,
                     const char* index_name, const char* db_name,
                     const char* table_name, clear_doc_callback callback);
  // Opens the stores of `dir` into m_indexMgr, null when that fails. Fresh
  // stores start with auto-save on, so the group's setting is applied.
  void openStores(const char* dir);
  void setStoresAutoSave(bool on);
  // Gives the stores the configuration manager's synchronous-write setting.
  void applySyncPolicy();
  int saveLocked();
  void closeLocked();

  // Compaction steps (index_ellipse.cc).
  int ellipseSnapshot(EllipseRun* run, bool force);
  int ellipseCopy(EllipseRun* run);
  int ellipseReplay(EllipseRun* run);
  void collectChanged(EllipseRun* run);
  void mirrorDeletions(EllipseRun* run);
  int ellipseSwap(EllipseRun* run);
  // Replaces the operation log by an empty one.
  void resetLog();

  // Locks, always taken in this order: m_updateMutex, then m_indexLock.
  // Updates hold the mutex throughout, m_indexLock exclusively while they
  // change memory and shared while they write back; searches hold
  // m_indexLock shared; compaction holds the mutex while it copies and both
  // while it snapshots and swaps.
  std::atomic<unsigned char> m_ellipsing;  // compaction running (atomic)
  _str_buffer_t* m_indexPath;               // group directory; set by open (both locks)
  index_mgr_t* m_indexMgr;                  // null while closed; replaced under both locks,
                                            // its stores changed under the exclusive lock
  ini_ctx_t* m_groupCfg;                    // group settings, usually null (both locks)
  _str_buffer_t* m_groupName;               // set by open (both locks)
  TokenParser* m_tokenParser;               // stateless, used under the exclusive lock
  ConfigManager* m_configMgr;               // borrowed; set by open (both locks)
  ThreadMutex* m_updateMutex;
  ReadWriteLock* m_indexLock;
  std::atomic<bool> m_autoSave;             // changed under both locks
  bool m_logging;                           // changes go to the operation log (exclusive lock)
  bool m_durable = false;                   // stores flush saves to the device (update mutex)
};

}  // namespace mobile_search

#endif  // KS_SEARCH_GROUP_SEARCHER_H_
