#include "bench/hooked_chat.h"

#include "foundation/file_util.h"
#include "bench/temp_dir.h"

namespace ks_bench {

namespace {
const char kKey[] = "bench-chat-key";
}  // namespace

HookedChat::HookedChat(mobile_search::Searcher* searcher, const char* index, const char* db,
                       const char* table)
    : dir_(MakeTempDir("kestrin-hooked")), table_(table) {
  const std::string path = dir_ + "/chat.db";
  if (dir_.empty() || sqlite3_open(path.c_str(), &conn_) != SQLITE_OK) return;
  const std::string schema = "CREATE TABLE " + table_ + "(msgId TEXT, content TEXT)";
  const std::string insert = "INSERT INTO " + table_ + "(msgId, content) VALUES(?, ?)";
  if (!Exec((std::string("PRAGMA key='") + kKey + "';").c_str()) ||
      !Exec("PRAGMA journal_mode=WAL;") || !Exec(schema.c_str()) ||
      sqlite3_prepare_v2(conn_, insert.c_str(), -1, &insert_, nullptr) != SQLITE_OK) {
    return;
  }
  adapter_.reset(new mobile_search::KSSearchDataAdapter(dir_.c_str()));
  ok_ = adapter_->setSearcher(searcher) == 0 &&
        adapter_->addDB(db, path.c_str(), kKey, true) == 0 &&
        adapter_->addTable(index, db, table, "msgId", "content", "", "", 0) == 0 &&
        adapter_->startHook(db, conn_) == 0;
}

HookedChat::~HookedChat() {
  adapter_.reset();  // unhooks the connection before it is closed
  sqlite3_finalize(insert_);
  sqlite3_close(conn_);
  if (!dir_.empty()) remove_dir(dir_.c_str());
}

bool HookedChat::Exec(const char* sql) {
  return sqlite3_exec(conn_, sql, nullptr, nullptr, nullptr) == SQLITE_OK;
}

bool HookedChat::Insert(const std::string& key, const std::string& text) {
  if (!ok_) return false;
  sqlite3_bind_text(insert_, 1, key.c_str(), -1, SQLITE_TRANSIENT);
  sqlite3_bind_text(insert_, 2, text.c_str(), -1, SQLITE_TRANSIENT);
  const bool done = sqlite3_step(insert_) == SQLITE_DONE;
  sqlite3_reset(insert_);
  return done;
}

}  // namespace ks_bench
