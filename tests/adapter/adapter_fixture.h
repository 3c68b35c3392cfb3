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
  HostDb(const HostDb&) = delete;
  HostDb& operator=(const HostDb&) = delete;

  sqlite3* conn() const { return conn_; }
  int ExecRc(const std::string& sql) {
    return sqlite3_exec(conn_, sql.c_str(), nullptr, nullptr, nullptr);
  }
  void Exec(const std::string& sql) {
    int rc = ExecRc(sql);
    EXPECT_EQ(SQLITE_OK, rc) << sql << ": " << sqlite3_errmsg(conn_);
  }

 private:
  sqlite3* conn_ = nullptr;
};

// Both log channels, captured process-wide. Install() once; Clear() per test.
class LogCapture {
 public:
  static void Install() {
    static std::once_flag once;
    std::call_once(once, [] {
      mobile_search::set_log_cb_func(&Plain);
      mobile_search::set_log_level_func(&Levelled);
    });
    Clear();
  }
  static void Clear() {
    std::lock_guard<std::mutex> lock(mutex());
    lines().clear();
  }
  // Lines containing `text`; levelled lines carry "<level>|" in front.
  static std::vector<std::string> Matching(const std::string& text) {
    std::lock_guard<std::mutex> lock(mutex());
    std::vector<std::string> out;
    for (const std::string& line : lines()) {
      if (line.find(text) != std::string::npos) out.push_back(line);
    }
    return out;
  }

 private:
  static std::mutex& mutex() {
    static std::mutex m;
    return m;
  }
  static std::vector<std::string>& lines() {
    static std::vector<std::string> l;
    return l;
  }
  static int Plain(const char* text) {
    std::lock_guard<std::mutex> lock(mutex());
    lines().push_back(std::string("plain|") + text);
    return 0;
  }
  static void Levelled(mobile_search::SEARCH_LOG_LEVEL level, const char* text) {
    std::lock_guard<std::mutex> lock(mutex());
    lines().push_back(std::to_string(static_cast<int>(level)) + "|" + text);
  }
};

// Primary keys listed in every "pkey_arr" of a JSON result text.
inline std::set<std::string> PkeysOf(const char* json) {
  std::set<std::string> keys;
  if (json == nullptr) return keys;
  std::string text(json);
  const std::string tag = "\"pkey_arr\":[";
  for (size_t at = text.find(tag); at != std::string::npos; at = text.find(tag, at)) {
    at += tag.size();
    while (at < text.size() && text[at] == '"') {
      size_t end = text.find('"', at + 1);
      if (end == std::string::npos) break;
      keys.insert(text.substr(at + 1, end - at - 1));
      at = end + 1;
      if (at < text.size() && text[at] == ',') ++at;
    }
  }
  return keys;
}

// A fixed-width, letters-only word per number: no word is a prefix of
// another, so a search for one finds only its own row.
inline std::string Word(int i) {
  std::string w = "zq";
  w += static_cast<char>('a' + (i / 676) % 26);
  w += static_cast<char>('a' + (i / 26) % 26);
  w += static_cast<char>('a' + i % 26);
  return w;
}

// A Searcher and an adapter on one root, as the host bridge sets them up.
class Engine {
 public:
  explicit Engine(const std::string& root) : root_(root) { Start(); }
  ~Engine() { Stop(); }
  Engine(const Engine&) = delete;
  Engine& operator=(const Engine&) = delete;

  void Start() {
    searcher_ = new mobile_search::Searcher();
    EXPECT_EQ(0, searcher_->open(root_.c_str(), 0));
    adapter_ = new mobile_search::KSSearchDataAdapter(root_.c_str());
    EXPECT_EQ(0, adapter_->setSearcher(searcher_));
  }
  void Stop() {
    delete adapter_;
    delete searcher_;
    adapter_ = nullptr;
    searcher_ = nullptr;
  }

  mobile_search::Searcher* searcher() { return searcher_; }
  mobile_search::KSSearchDataAdapter* adapter() { return adapter_; }

  // Registers the table with the searcher and the adapter; the adapter's
  // result.
  int Register(const char* index, const char* db, const char* table, const char* key,
               const char* fields, const char* where = "", const char* profile = "",
               int hook_mode = 0) {
    searcher_->addIndex(index, db, table, key, fields, where, "", profile, "", nullptr);
    return adapter_->addTable(index, db, table, key, fields, where, profile, hook_mode);
  }

  // Calls scanTable until it reports no progress (or fails); all results.
  std::vector<int> ScanAll(const char* db, const char* table, const char* index) {
    std::vector<int> results;
    for (int guard = 0; guard < 1000; ++guard) {
      int r = adapter_->scanTable(db, table, index);
      results.push_back(r);
      if (r <= 0) break;
    }
    return results;
  }

  std::set<std::string> Search(const char* index, const std::string& query) {
    char* json = searcher_->doSearch(index, nullptr, query.c_str(), 0, 1000, false);
    std::set<std::string> keys = PkeysOf(json);
    free(json);
    return keys;
  }
  bool Finds(const char* index, const std::string& query, const std::string& key) {
    return Search(index, query).count(key) == 1;
  }
  // Keys of every live document of the table.
  std::set<std::string> TableKeys(const char* index, const char* db, const char* table) {
    char* json = searcher_->getTableRecord(index, db, table);
    std::set<std::string> keys = PkeysOf(json);
    free(json);
    return keys;
  }
  int MaxRowid(const char* db, const char* table, const char* index,
               std::string* group = nullptr) {
    char buf[1024] = {0};
    int rowid = adapter_->getScanMaxRowid(db, table, index, buf);
    if (group != nullptr) *group = buf;
    return rowid;
  }

 private:
  std::string root_;
  mobile_search::Searcher* searcher_ = nullptr;
  mobile_search::KSSearchDataAdapter* adapter_ = nullptr;
};

// An encrypted host database "app" beside an engine that has it registered.
class HostedEngineTest : public ::testing::Test {
 protected:
  // Creates the database with the statements of `schema`, then the engine.
  void SetUpHosted(const char* key, const std::vector<std::string>& schema) {
    LogCapture::Install();
    db_path_ = dir_.file("app.db");
    host_.reset(new HostDb(db_path_, key));
    for (const std::string& sql : schema) host_->Exec(sql);
    engine_.reset(new Engine(dir_.file("root")));
    ASSERT_EQ(0, adapter()->addDB("app", db_path_.c_str(), key, false));
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
