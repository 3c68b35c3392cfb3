// Database: the tool's own connection to an SQLite (SQLCipher) database, used
// to check what the user named before the engine is given it, to count rows
// for progress and to read hit rows back for display.
//
// The engine opens its own connections (creating a missing file, reporting a
// wrong key only as a failed scan); the checks here turn those cases into
// messages with their cause: no such file, wrong key or not a database, no
// such table or column, a bad where condition.
//
// The key is handed over as "PRAGMA key='KEY';", exactly as the engine does,
// so a key holding a single quote is refused. Names of tables and columns are
// used as they are given (the engine does the same).
#ifndef KS_TOOLS_KESTRIN_SEARCH_DATABASE_H_
#define KS_TOOLS_KESTRIN_SEARCH_DATABASE_H_

#include <sqlcipher/sqlite3.h>

#include <string>
#include <vector>

#include "commands.h"
#include "tool_error.h"

namespace kestrin_tool {

class Database {
 public:
  Database() = default;
  ~Database();
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  // Opens an existing database file and checks that it can be read with the
  // key. kNoSuchFile, kNotADatabase, kUsage (a key with a quote) or
  // kEngineFailed; the object stays closed then.
  ToolError open(const DatabaseOptions& db, bool writable);
  // Creates (or truncates) an encrypted database file.
  ToolError create(const std::string& file, const std::string& key);
  sqlite3* handle() const { return db_; }
  const std::string& file() const { return file_; }

  // Checks that the table exists and has every column of `columns`, and that
  // `where` (may be empty) is a valid condition on it. kNoSuchTable with the
  // table or column names that exist as a hint.
  ToolError checkTable(const std::string& table, const std::vector<std::string>& columns,
                       const std::string& where) const;
  // Rows of the table with a row id above `after_rowid` that satisfy
  // `where`; -1 when the count fails.
  long long countRows(const std::string& table, const std::string& where,
                      long long after_rowid) const;
  // The values of `field_list` (comma-separated columns) of the row whose
  // `key_field` equals `pkey`; false when there is no such row or the
  // statement fails.
  bool readRow(const std::string& table, const std::string& key_field,
               const std::string& field_list, const std::string& pkey,
               std::vector<std::string>* values) const;
  // Runs SQL, returning SQLite's error text, or "" on success.
  std::string exec(const std::string& sql) const;

 private:
  void close();
  std::vector<std::string> queryColumn(const std::string& sql) const;

  sqlite3* db_ = nullptr;
  std::string file_;
};

// Splits "a, b,c" into trimmed, non-empty names.
std::vector<std::string> splitNames(const std::string& list);
std::string joinNames(const std::vector<std::string>& names);

}  // namespace kestrin_tool

#endif  // KS_TOOLS_KESTRIN_SEARCH_DATABASE_H_
