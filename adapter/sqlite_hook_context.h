// The context the adapter registers with sqlite3_update_hook for one hooked
// database. Allocated zeroed with calloc and released with free: it points at
// things it does not own (the database record, the adapter's two locks and
// the adapter). The database record holds it while the hook is installed; a
// non-null hook_ctx there means "hooked".
#ifndef KS_ADAPTER_SQLITE_HOOK_CONTEXT_H_
#define KS_ADAPTER_SQLITE_HOOK_CONTEXT_H_

#include "adapter/sqlite_db_config.h"
#include "foundation/thread_lock.h"

namespace mobile_search {

class KSSearchDataAdapter;

struct _sqlite_hook_ctx_t {
  long reserved;  // always 0
  _sqlite_db_cfg_t* db;
  ThreadMutex* adapter_lock;
  ThreadMutex* sqlite_lock;
  KSSearchDataAdapter* adapter;
};

}  // namespace mobile_search

#endif  // KS_ADAPTER_SQLITE_HOOK_CONTEXT_H_
