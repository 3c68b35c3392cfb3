// Compaction of one group: GroupSearcher::ellipseIndex and its steps.
//
// Doc ids of the copy: a document live at the snapshot keeps its position
// among the survivors (old id minus the deleted ids below it); documents the
// snapshot did not cover (added later, or restored from the deleted set) are
// appended after them in ascending old-id order.
#include <stdio.h>

#include <algorithm>
#include <exception>
#include <new>
#include <string>
#include <vector>

#include "foundation/binary_set.h"
#include "foundation/durable_file.h"
#include "foundation/fault_point.h"
#include "foundation/file_util.h"
#include "foundation/logging.h"
#include "search/group_searcher.h"
#include "storage/doc_id_manager.h"
#include "storage/index_manager.h"
#include "storage/log_manager.h"

namespace mobile_search {

namespace {

const int kMinDeletedUnforced = 1000;
const size_t kMaxPathChars = 4094;

std::string cutPath(std::string path) {
  if (path.size() > kMaxPathChars) path.resize(kMaxPathChars);
  return path;
}

// Makes the copy's deletion mark of `id` equal to `deleted`.
void mirrorMark(DocIdManager* copy, unsigned int id, int deleted) {
  if (copy->isDocidDel(id) == deleted) return;
  if (deleted) {
    copy->delDocid(id);
  } else {
    copy->unDelDocid(id);
  }
}

}  // namespace

struct GroupSearcher::EllipseRun {
  std::string dir;  // the live group
  std::string bak;  // the copy being built
  std::string cpy;  // the old group during the swap
  BinarySet deleted;               // ids deleted at the snapshot, ascending
  BinarySet changed;               // ids appended after the survivors, ascending
  _DArray* pairs = nullptr;        // (doc id, operation) pairs read from the log
  unsigned int doc_count = 0;      // documents at the snapshot
  unsigned int max_pos = 0;        // postings at the snapshot
  unsigned int copy_base = 0;      // documents in the copy after the bulk copy
  DocIdManager* copy_docs = nullptr;
  IndexManager* copy_index = nullptr;

  ~EllipseRun() {
    delete copy_docs;
    delete copy_index;
    darray_destroy(pairs);
  }
};

int GroupSearcher::ellipseIndex(const char*, bool force) {
  int ret;
  unsigned char idle = 0;
  if (!m_ellipsing.compare_exchange_strong(idle, 1)) {
    ret = kEllipseRunning;
  } else {
    try {
      EllipseRun run;
      {
        // The copy reads the stores while searches go on; updates wait.
        MutexLock update(m_updateMutex);
        {
          WriteLock exclusive(m_indexLock);
          ret = ellipseSnapshot(&run, force);
        }
        if (ret == kEllipseDone) ret = ellipseCopy(&run);
      }
      if (ret == kEllipseDone) {
        onEllipseStage(kStageCopied);
        // The replay swaps the bundle: no update may be between its change
        // in memory and its write-back, hence the mutex too.
        MutexLock update(m_updateMutex);
        WriteLock exclusive(m_indexLock);
        ret = ellipseReplay(&run);
      }
    } catch (const std::exception&) {
      // Out of memory before the swap: the group stays as it was.
      ret = kEllipseCopyIndexFailed;
    }
    m_ellipsing.store(0);
  }
  log_printf("Out Ellipse --> the error code is %d", ret);
  return ret;
}

// Under the update mutex and the exclusive lock.
int GroupSearcher::ellipseSnapshot(EllipseRun* run, bool force) {
  int ret = kEllipseDone;
  index_mgr_t* live = m_indexMgr;
  if (m_indexPath == nullptr || live == nullptr || live->doc_mgr == nullptr ||
      live->index_mgr == nullptr || live->log_mgr == nullptr) {
    ret = kEllipseNoBundle;
  } else {
    run->dir = cutPath(m_indexPath->data);
    run->bak = cutPath(run->dir + "-bak");
    run->cpy = cutPath(run->dir + "-cpy");
    if (file_exist(run->bak.c_str()) && remove_dir(run->bak.c_str()) != 0) ret = kEllipseBakBusy;
  }
  if (ret == kEllipseDone) {
    live->doc_mgr->getAllDelDocid(&run->deleted);
    run->max_pos = live->index_mgr->get_max_pos();
    run->doc_count = live->doc_mgr->getDocNumber();
    // Logging starts now and stays on even when there is nothing to do;
    // only a compaction that reaches its replay switches it off.
    m_logging = true;
    if (run->doc_count == 0 || run->max_pos < 1) {
      ret = kEllipseNothing;
    } else if (!force && run->deleted.get_size() < kMinDeletedUnforced) {
      ret = kEllipseTooFew;
    }
  }
  return ret;
}

// Runs under the update mutex alone: the stores take no concurrent writer
// while they are read, so updates wait for the copy while searches go on.
int GroupSearcher::ellipseCopy(EllipseRun* run) {
  onEllipseStage(kStageCopying);
  DocIdManager* live_docs = m_indexMgr->doc_mgr;
  IndexManager* live_index = m_indexMgr->index_mgr;
  const char* bak = run->bak.c_str();
  int ret = kEllipseDone;
  run->copy_docs = new (std::nothrow) DocIdManager();
  if (run->copy_docs == nullptr || run->copy_docs->open(bak) != 0) {
    ret = kEllipseCopyDocsFailed;
  } else {
    run->copy_docs->setAutoSave(false);
    if (live_docs->copyBlock(run->copy_docs, run->doc_count, live_docs) != 0) {
      ret = kEllipseCopyDocsFailed;
    }
  }
  if (ret == kEllipseDone) {
    run->copy_index = new (std::nothrow) IndexManager();
    if (run->copy_index == nullptr || run->copy_index->open(bak, kBundleName) != 0) {
      ret = kEllipseCopyDocsFailed;
    }
  }
  if (ret == kEllipseDone) {
    run->copy_index->setAutoSave(false);
    if (live_index->copy_block(run->copy_index, static_cast<int>(run->max_pos),
                               static_cast<int>(run->doc_count), &run->deleted,
                               live_docs) != 0) {
      ret = kEllipseCopyIndexFailed;
    }
    run->copy_base = run->copy_docs->getDocNumber();
  }
  ks_fault_point("group.compaction");
  return ret;
}

// Brings the copy up to date and swaps it in, under the exclusive lock.
int GroupSearcher::ellipseReplay(EllipseRun* run) {
  m_logging = false;
  int ret = kEllipseDone;
  index_mgr_t* live = m_indexMgr;
  if (live == nullptr || live->doc_mgr == nullptr || live->index_mgr == nullptr ||
      live->log_mgr == nullptr) {
    // The group was closed while the copy was built.
    ret = kEllipseNoBundle;
  } else {
    run->pairs = darray_create(nullptr, false);
    if (run->pairs == nullptr ||
        live->log_mgr->log_pretreat(run->pairs, static_cast<int>(run->doc_count),
                                    &run->deleted) != 0) {
      resetLog();
      ret = kEllipseLogFailed;
    }
  }
  if (ret == kEllipseDone) {
    collectChanged(run);
    if (run->copy_docs->composeByLog(live->doc_mgr, run->doc_count, run->pairs, &run->changed,
                                     &run->deleted) != 0) {
      ret = kEllipseCopyDocsFailed;
    } else if (run->copy_index->compose_rest_by_log(live->index_mgr, static_cast<int>(run->doc_count),
                                                    static_cast<int>(run->max_pos), &run->changed,
                                                    static_cast<int>(run->copy_base)) != 0) {
      ret = kEllipseCopyIndexFailed;
    }
  }
  if (ret == kEllipseDone) {
    mirrorDeletions(run);
    ret = ellipseSwap(run);
  }
  return ret;
}

void GroupSearcher::resetLog() {
  LogManager* log = m_indexMgr->log_mgr;
  if (log != nullptr) {
    log->close();
    delete log;
  }
  log = new (std::nothrow) LogManager();
  if (log != nullptr && log->open(m_indexPath->data) != 0) {
    delete log;
    log = nullptr;
  }
  m_indexMgr->log_mgr = log;
}

// The documents to append after the survivors: those live now that the
// snapshot did not carry over (added since, or restored from the deleted
// set). The log's additions are among them; a restore is logged under the id
// it replaced, so the live marks, not the log, name the restored documents.
void GroupSearcher::collectChanged(EllipseRun* run) {
  DocIdManager* live = m_indexMgr->doc_mgr;
  std::vector<int> ids;
  for (int i = 0; i < run->deleted.get_size(); ++i) {
    int d = run->deleted.get_value_index(static_cast<unsigned int>(i));
    if (d >= 0 && live->isDocidDel(static_cast<unsigned int>(d)) == 0) ids.push_back(d);
  }
  for (unsigned int d = run->doc_count; d < live->getDocNumber(); ++d) {
    if (live->isDocidDel(d) == 0) ids.push_back(static_cast<int>(d));
  }
  // Ascending and unique, so that the set's positions are the new ids.
  std::sort(ids.begin(), ids.end());
  ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
  for (int d : ids) run->changed.add(d);
}

// Gives every document of the copy the deletion mark of its original. The
// log replay carries only part of the deletions made since the snapshot (and
// may mark a wrong id for a document deleted, restored and deleted again),
// so the marks of the live store, which are complete, decide.
void GroupSearcher::mirrorDeletions(EllipseRun* run) {
  DocIdManager* live = m_indexMgr->doc_mgr;
  DocIdManager* copy = run->copy_docs;
  auto at = [](const BinarySet& set, int i) {
    return static_cast<unsigned int>(set.get_value_index(static_cast<unsigned int>(i)));
  };
  int deleted_below = 0;
  int deleted_count = run->deleted.get_size();
  for (unsigned int d = 0; d < run->doc_count; ++d) {
    while (deleted_below < deleted_count && at(run->deleted, deleted_below) < d) ++deleted_below;
    if (deleted_below < deleted_count && at(run->deleted, deleted_below) == d) continue;
    mirrorMark(copy, d - static_cast<unsigned int>(deleted_below), live->isDocidDel(d));
  }
  for (int i = 0; i < run->changed.get_size(); ++i) {
    mirrorMark(copy, run->copy_base + static_cast<unsigned int>(i),
               live->isDocidDel(at(run->changed, i)));
  }
}

// Closes the copy; it replaces the group only when every byte of it was
// written (and, with synchronous writes, flushed), else it is thrown away
// and the group stays as it was. Then swaps the directories and reopens.
int GroupSearcher::ellipseSwap(EllipseRun* run) {
  int ret = kEllipseDone;
  if (run->copy_docs->save() != 0) {
    ret = kEllipseCopyDocsFailed;
  } else if (run->copy_index->save() != 0) {
    ret = kEllipseCopyIndexFailed;
  }
  run->copy_docs->close();
  run->copy_index->close();
  delete run->copy_docs;
  delete run->copy_index;
  run->copy_docs = nullptr;
  run->copy_index = nullptr;
  const char* dir = run->dir.c_str();
  const char* bak = run->bak.c_str();
  const char* cpy = run->cpy.c_str();
  if (ret == kEllipseDone && m_durable && fs_sync_tree(bak) != 0) ret = kEllipseCopyIndexFailed;
  if (ret != kEllipseDone) {
    remove_dir(bak);
    return ret;
  }
  // Saved so that the old group is whole should the swap fail and keep it.
  index_mgr_save(m_indexMgr);
  index_mgr_free(m_indexMgr);
  m_indexMgr = nullptr;

  if (file_exist(cpy)) remove_dir(cpy);
  // Between the two renames only "-cpy" holds a complete group; open()
  // moves it back if the process stops there.
  if (rename(dir, cpy) == 0) {
    if (rename(bak, dir) != 0) {
      rename(cpy, dir);
      remove_dir(bak);
    } else {
      if (m_durable) fs_sync_parent(dir);
      remove_dir(cpy);
    }
  } else {
    remove_dir(cpy);
  }
  openStores(dir);
  return ret;
}

}  // namespace mobile_search
