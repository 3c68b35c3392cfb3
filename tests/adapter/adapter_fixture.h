// Shared pieces of the adapter tests: a host database written through its own
// keyed connection, a capture of both log channels, and an engine (Searcher +
// KSSearchDataAdapter) on a temporary root with helpers to register tables,
// scan them and look documents up by searching.
#ifndef KS_TESTS_ADAPTER_ADAPTER_FIXTURE_H_
#define KS_TESTS_ADAPTER_ADAPTER_FIXTURE_H_

#include <gtest/gtest.h>
#include <sqlcipher/sqlite3.h>
#include <stdlib.h>

#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "adapter/ks_search_data_adapter.h"
#include "foundation/logging.h"
#include "search/searcher.h"
#include "test_util.h"

namespace adapter_test {

using mobile_search::KSSearchDataAdapter;

// The host's side of a database: its own connection, keyed when a key is given.
class HostDb {
 public:
  HostDb(const std::string& path, const std::string& key, bool wal = false) {
    if (sqlite3_open(path.c_str(), &conn_) != SQLITE_OK) ADD_FAILURE() << "open " << path;
    if (!key.empty()) Exec("PRAGMA key='" + key + "';");
    if (wal) Exec("PRAGMA journal_mode=WAL;");
    sqlite3_busy_timeout(conn_, 10000);
  }
  ~HostDb() { sqlite3_close(conn_); }
  sqlite3* conn() const { return conn_; }
  void Exec(const std::string& sql) {
    EXPECT_EQ(SQLITE_OK, sqlite3_exec(conn_, sql.c_str(), nullptr, nullptr, nullptr))
        << sql << ": " << sqlite3_errmsg(conn_);
  }

 private:
  sqlite3* conn_ = nullptr;
};

// Both log channels, captured process-wide: plain lines as "plain|text",
// levelled ones as "<level>|text". Install() once per test.
class LogCapture {
 public:
  static void Install() {
    mobile_search::set_log_cb_func(+[](const char* text) {
      Add(std::string("plain|") + text);
      return 0;
    });
    mobile_search::set_log_level_func(+[](mobile_search::SEARCH_LOG_LEVEL level, const char* text) {
      Add(std::to_string(static_cast<int>(level)) + "|" + text);
    });
    Clear();
  }
  static void Clear() {
    std::lock_guard<std::mutex> lock(mutex_);
    lines_.clear();
  }
  // How many lines contain `text`.
  static size_t Count(const std::string& text) {
    std::lock_guard<std::mutex> lock(mutex_);
    size_t n = 0;
    for (const std::string& line : lines_) n += line.find(text) != std::string::npos;
    return n;
  }

 private:
  static void Add(const std::string& line) {
    std::lock_guard<std::mutex> lock(mutex_);
    lines_.push_back(line);
  }
  static inline std::mutex mutex_;
  static inline std::vector<std::string> lines_;
};

// Primary keys listed in every "pkey_arr" of a JSON result text, which it
// frees. (Keys in these tests hold no quotes or brackets.)
inline std::set<std::string> PkeysOf(char* json) {
  std::set<std::string> keys;
  const std::string text = json != nullptr ? json : "";
  free(json);
  const std::string tag = "\"pkey_arr\":[";
  for (size_t at = text.find(tag); at != std::string::npos; at = text.find(tag, at)) {
    const size_t end = text.find(']', at);
    for (size_t open = text.find('"', at + tag.size()); open < end;) {
      const size_t close = text.find('"', open + 1);
      if (close == std::string::npos) break;
      keys.insert(text.substr(open + 1, close - open - 1));
      open = text.find('"', close + 1);
    }
    at = end;
  }
  return keys;
}

// A fixed-width, letters-only word per number: no word is a prefix of
// another, so a search for one finds only its own row.
inline std::string Word(int i) {
  return std::string("zq") + static_cast<char>('a' + (i / 676) % 26) +
         static_cast<char>('a' + (i / 26) % 26) + static_cast<char>('a' + i % 26);
}

// A Searcher and an adapter on one root, as the host bridge sets them up.
class Engine {
 public:
  explicit Engine(const std::string& root) : root_(root) { Start(); }
  ~Engine() { Stop(); }

  void Start() {
    searcher_ = std::make_unique<mobile_search::Searcher>();
    EXPECT_EQ(0, searcher_->open(root_.c_str(), 0));
    adapter_ = std::make_unique<KSSearchDataAdapter>(root_.c_str());
    EXPECT_EQ(0, adapter_->setSearcher(searcher_.get()));
  }
  void Stop() {
    adapter_.reset();
    searcher_.reset();
  }
  mobile_search::Searcher* searcher() { return searcher_.get(); }
  KSSearchDataAdapter* adapter() { return adapter_.get(); }

  // Registers the table with the searcher and the adapter; the adapter's result.
  int Register(const char* index, const char* db, const char* table, const char* fields,
               const char* where = "", const char* profile = "", int hook_mode = 0) {
    searcher_->addIndex(index, db, table, "mid", fields, where, "", profile, "", nullptr);
    return adapter_->addTable(index, db, table, "mid", fields, where, profile, hook_mode);
  }
  // The helpers below work on table "msgs" of database "app".
  // Calls scanTable until it reports no progress (or fails); all results.
  std::vector<int> ScanAll(const char* index) {
    std::vector<int> results;
    for (int r = 1; r > 0 && results.size() < 1000;) {
      results.push_back(r = adapter_->scanTable("app", "msgs", index));
    }
    return results;
  }
  std::set<std::string> Search(const char* index, const std::string& query) {
    return PkeysOf(searcher_->doSearch(index, nullptr, query.c_str(), 0, 1000, false));
  }
  bool Finds(const char* index, const std::string& query, const std::string& key) {
    return Search(index, query).count(key) == 1;
  }
  // Keys of every live document of the table.
  std::set<std::string> TableKeys(const char* index) {
    return PkeysOf(searcher_->getTableRecord(index, "app", "msgs"));
  }
  int MaxRowid(const char* index, std::string* group = nullptr) {
    char buf[1024] = {0};
    int rowid = adapter_->getScanMaxRowid("app", "msgs", index, buf);
    if (group != nullptr) *group = buf;
    return rowid;
  }

 private:
  std::string root_;
  std::unique_ptr<mobile_search::Searcher> searcher_;
  std::unique_ptr<KSSearchDataAdapter> adapter_;
};

// An encrypted host database "app" beside an engine that has it registered.
class HostedEngineTest : public ::testing::Test {
 protected:
  // Creates the database with the statements of `schema`, then the engine.
  void SetUpHosted(const char* key, const std::vector<std::string>& schema, bool wal = false) {
    LogCapture::Install();
    db_path_ = dir_.file("app.db");
    host_ = std::make_unique<HostDb>(db_path_, key, wal);
    for (const std::string& sql : schema) host_->Exec(sql);
    engine_ = std::make_unique<Engine>(dir_.file("root"));
    ASSERT_EQ(0, adapter()->addDB("app", db_path_.c_str(), key, wal));
  }
  void TearDown() override {
    engine_.reset();
    host_.reset();
  }
  KSSearchDataAdapter* adapter() { return engine_->adapter(); }

  ks_test::TempDir dir_;
  std::string db_path_;
  std::unique_ptr<HostDb> host_;
  std::unique_ptr<Engine> engine_;
};

}  // namespace adapter_test

#endif  // KS_TESTS_ADAPTER_ADAPTER_FIXTURE_H_
