// TableUse: one counted reference to a table record, held by a change hook or
// a scan batch for as long as it reads the record outside the adapter lock.
// A table removed (delTable) or registered anew meanwhile is only unlinked
// from its database; the record this holder points at stays whole until the
// holder lets go, and the last reference frees it.
//
// The reference is taken while the caller holds the adapter lock and dropped
// by the destructor, which takes that lock itself: so a holder must not
// outlive the adapter, and must be destroyed with the lock released.
#ifndef KS_ADAPTER_TABLE_USE_H_
#define KS_ADAPTER_TABLE_USE_H_

#include "adapter/sqlite_table_config.h"
#include "foundation/thread_lock.h"

namespace mobile_search {

class TableUse {
 public:
  // The caller holds `adapter_lock`.
  TableUse(_sqlite_tab_cfg_t* table, ThreadMutex* adapter_lock)
      : table_(sqlite_tab_cfg_retain(table)), adapter_lock_(adapter_lock) {}
  ~TableUse() {
    if (table_ == nullptr) return;
    MutexLock guard(adapter_lock_);
    sqlite_tab_cfg_release(table_);
  }
  TableUse(TableUse&& other) noexcept
      : table_(other.table_), adapter_lock_(other.adapter_lock_) {
    other.table_ = nullptr;
  }
  TableUse(const TableUse&) = delete;
  TableUse& operator=(const TableUse&) = delete;
  TableUse& operator=(TableUse&&) = delete;

  _sqlite_tab_cfg_t* get() const { return table_; }

 private:
  _sqlite_tab_cfg_t* table_;
  ThreadMutex* adapter_lock_;
};

}  // namespace mobile_search

#endif  // KS_ADAPTER_TABLE_USE_H_
