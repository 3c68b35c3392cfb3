// Shared pieces of the adapter tests: a host database written through its own
// keyed connection, and a fixture running an
// engine (Searcher + KSSearchDataAdapter, as the host bridge sets them up)
// beside an encrypted host database "app", with helpers to register tables,
// scan them and look documents up by searching, and its log lines in log_.
#ifndef KS_TESTS_ADAPTER_ADAPTER_FIXTURE_H_
#define KS_TESTS_ADAPTER_ADAPTER_FIXTURE_H_

#include <gtest/gtest.h>
#include <sqlcipher/sqlite3.h>
#include <stdlib.h>

#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "adapter/ks_search_data_adapter.h"
#include "search/searcher.h"
#include "test_util.h"

namespace adapter_test {

using mobile_search::KSSearchDataAdapter;

// The host's side of a database: its own connection, keyed when a key is given.
struct HostDb {
  HostDb(const std::string& path, const std::string& key) {
    if (sqlite3_open(path.c_str(), &conn) != SQLITE_OK) ADD_FAILURE() << "open " << path;
    if (!key.empty()) Exec("PRAGMA key='" + key + "';");
    sqlite3_busy_timeout(conn, 10000);
  }
  ~HostDb() { sqlite3_close(conn); }
  void Exec(const std::string& sql) {
    EXPECT_EQ(SQLITE_OK, sqlite3_exec(conn, sql.c_str(), nullptr, nullptr, nullptr))
        << sql << ": " << sqlite3_errmsg(conn);
  }

  sqlite3* conn = nullptr;
};

// Primary keys listed in every "pkey_arr" of a JSON result text, which it
// frees. (Keys in these tests hold no quotes, commas or brackets.)
inline std::set<std::string> PkeysOf(char* json) {
  std::set<std::string> keys;
  const std::string text = json != nullptr ? json : "";
  free(json);
  const std::string tag = "\"pkey_arr\":[";
  for (size_t at = text.find(tag); at != std::string::npos; at = text.find(tag, at)) {
    at += tag.size();
    std::istringstream list(text.substr(at, text.find(']', at) - at));
    for (std::string key; std::getline(list, key, ',');) keys.insert(key.substr(1, key.size() - 2));
  }
  return keys;
}

// A fixed-width, letters-only word per number: no word is a prefix of
// another, so a search for one finds only its own row.
inline std::string Word(int i) {
  return std::string("zq") + static_cast<char>('a' + (i / 676) % 26) +
         static_cast<char>('a' + (i / 26) % 26) + static_cast<char>('a' + i % 26);
}

// An encrypted host database "app" beside an engine that has it registered.
// The helpers below work on its table "msgs".
class HostedEngineTest : public ::testing::Test {
 protected:
  // Creates the database with the statements of `schema`, then the engine
  // (which opens it in WAL mode when `wal` is set).
  void SetUpHosted(const char* key, const std::vector<std::string>& schema, bool wal = false) {
    host_ = std::make_unique<HostDb>(db_path_, key);
    for (const std::string& sql : schema) host_->Exec(sql);
    StartEngine();
    ASSERT_EQ(0, adapter_->addDB("app", db_path_.c_str(), key, wal));
  }
  void StartEngine() {
    searcher_ = std::make_unique<mobile_search::Searcher>();
    EXPECT_EQ(0, searcher_->open(root_.c_str(), 0));
    adapter_ = std::make_unique<KSSearchDataAdapter>(root_.c_str());
    EXPECT_EQ(0, adapter_->setSearcher(searcher_.get()));
  }
  void StopEngine() {
    adapter_.reset();
    searcher_.reset();
  }

  // Registers the table with the searcher and the adapter; the adapter's result.
  int Register(const char* index, const char* db, const char* table, const char* fields,
               const char* where = "", const char* profile = "", int hook_mode = 0) {
    searcher_->addIndex(index, db, table, "mid", fields, where, "", profile, "", nullptr);
    return adapter_->addTable(index, db, table, "mid", fields, where, profile, hook_mode);
  }
  int Scan(const char* index) { return adapter_->scanTable("app", "msgs", index); }
  // Calls scanTable until it reports no progress (or fails); all results.
  std::vector<int> ScanAll(const char* index) {
    std::vector<int> results;
    for (int r = 1; r > 0 && results.size() < 1000;) results.push_back(r = Scan(index));
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
  int MaxRowid(const char* index) {
    char group[1024] = {0};
    return adapter_->getScanMaxRowid("app", "msgs", index, group);
  }

  // Destroyed in reverse order: the adapter unhooks the host's connection
  // before it is closed.
  ks_test::LogCapture log_;
  ks_test::TempDir dir_;
  const std::string root_ = dir_.file("root");
  const std::string db_path_ = dir_.file("app.db");
  std::unique_ptr<HostDb> host_;
  std::unique_ptr<mobile_search::Searcher> searcher_;
  std::unique_ptr<KSSearchDataAdapter> adapter_;
};

}  // namespace adapter_test

#endif  // KS_TESTS_ADAPTER_ADAPTER_FIXTURE_H_
