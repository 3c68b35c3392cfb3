// HookedChat: the host's side of the live benchmark. An encrypted chat
// database in a directory of its own, with one table the adapter indexes into
// a searcher's index and follows through the change hook, exactly as the app
// runs the engine: every Insert is a host statement whose update hook reads
// the row back and adds the document (with the group's auto-save setting).
//
// Failures: ok() is false when the database, the registration or the hook
// could not be set up; Insert then returns false.
#ifndef KESTRIN_BENCH_HOOKED_CHAT_H_
#define KESTRIN_BENCH_HOOKED_CHAT_H_

#include <sqlcipher/sqlite3.h>

#include <memory>
#include <string>

#include "adapter/ks_search_data_adapter.h"
#include "search/searcher.h"

namespace ks_bench {

class HookedChat {
 public:
  // Registers table `table` of database `db` (key column "msgId", text
  // column "content") for `index` of the searcher, which must know it.
  HookedChat(mobile_search::Searcher* searcher, const char* index, const char* db,
             const char* table);
  ~HookedChat();
  HookedChat(const HookedChat&) = delete;
  HookedChat& operator=(const HookedChat&) = delete;

  bool ok() const { return ok_; }
  // One host insert of a new row (and so one hooked add).
  bool Insert(const std::string& key, const std::string& text);

 private:
  bool Exec(const char* sql);

  std::string dir_;
  std::string table_;
  sqlite3* conn_ = nullptr;
  sqlite3_stmt* insert_ = nullptr;
  std::unique_ptr<mobile_search::KSSearchDataAdapter> adapter_;
  bool ok_ = false;
};

}  // namespace ks_bench

#endif  // KESTRIN_BENCH_HOOKED_CHAT_H_
