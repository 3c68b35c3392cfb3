// ScanRun: the bookkeeping of one scanTable call. Made under the adapter lock,
// it holds a reference to the table record (see table_use.h) and counts the
// call among the adapter's running scans; begin() then marks the table's batch
// as running. Its destructor, in one hold of the adapter lock, ends the batch
// (the table counts as scanned), drops the reference, uncounts the call and
// wakes every thread waiting for a scan to end (stopScan, the destructor, a
// second scan of the same table). That is the call's last touch of the
// adapter, so a destructor woken by it may free everything. Being a scoped
// object, all of this happens however the call returns.
//
// It also keeps, per thread, the chain of calls that thread is inside of: a
// processing function called by a batch may call back into the adapter, and
// such a call must neither wait for its own batch nor start the same table
// again.
#ifndef KS_ADAPTER_SCAN_RUN_H_
#define KS_ADAPTER_SCAN_RUN_H_

#include "adapter/sqlite_table_config.h"
#include "foundation/thread_lock.h"

namespace mobile_search {

class ScanRun {
 public:
  // The caller holds `adapter_lock`; `calls` is guarded by it.
  ScanRun(const void* adapter, _sqlite_tab_cfg_t* table, ThreadMutex* adapter_lock,
          ThreadCondition* ended, int* calls)
      : adapter_(adapter), table_(sqlite_tab_cfg_retain(table)), lock_(adapter_lock),
        ended_(ended), calls_(calls), outer_(innermost_) {
    ++*calls_;
    innermost_ = this;
  }
  ~ScanRun() {
    innermost_ = outer_;
    MutexLock guard(lock_);
    if (began_) {
      table_->scan_active = false;
      table_->scanned = true;
    }
    sqlite_tab_cfg_release(table_);
    --*calls_;
    ended_->notifyAll();
  }
  ScanRun(const ScanRun&) = delete;
  ScanRun& operator=(const ScanRun&) = delete;

  // The caller holds the adapter lock and has waited until no other batch of
  // the table runs.
  void begin() {
    began_ = true;
    table_->scan_active = true;
  }
  _sqlite_tab_cfg_t* table() const { return table_; }

  // True when the calling thread is inside a scan of `table`.
  static bool isScanning(const _sqlite_tab_cfg_t* table) {
    for (const ScanRun* run = innermost_; run != nullptr; run = run->outer_) {
      if (run->table_ == table) return true;
    }
    return false;
  }
  // How many scans of `adapter` the calling thread is inside of.
  static int runsOnThisThread(const void* adapter) {
    int n = 0;
    for (const ScanRun* run = innermost_; run != nullptr; run = run->outer_) {
      n += run->adapter_ == adapter;
    }
    return n;
  }

 private:
  static inline thread_local const ScanRun* innermost_ = nullptr;

  const void* adapter_;
  _sqlite_tab_cfg_t* table_;
  ThreadMutex* lock_;
  ThreadCondition* ended_;
  int* calls_;
  const ScanRun* outer_;
  bool began_ = false;
};

}  // namespace mobile_search

#endif  // KS_ADAPTER_SCAN_RUN_H_
