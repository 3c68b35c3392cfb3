#include "database.h"

#include <strings.h>
#include <unistd.h>

#include <cstdio>

namespace kestrin_tool {
namespace {

// Columns that every ordinary table has without declaring them.
bool isRowidAlias(const std::string& name) {
  return strcasecmp(name.c_str(), "rowid") == 0 || strcasecmp(name.c_str(), "oid") == 0 ||
         strcasecmp(name.c_str(), "_rowid_") == 0;
}

bool containsName(const std::vector<std::string>& names, const std::string& name) {
  for (const std::string& n : names) {
    if (strcasecmp(n.c_str(), name.c_str()) == 0) return true;
  }
  return false;
}

}  // namespace

std::vector<std::string> splitNames(const std::string& list) {
  std::vector<std::string> names;
  size_t start = 0;
  while (start <= list.size()) {
    size_t comma = list.find(',', start);
    if (comma == std::string::npos) comma = list.size();
    std::string name = list.substr(start, comma - start);
    size_t first = name.find_first_not_of(" \t");
    size_t last = name.find_last_not_of(" \t");
    if (first != std::string::npos) names.push_back(name.substr(first, last - first + 1));
    start = comma + 1;
  }
  return names;
}

std::string joinNames(const std::vector<std::string>& names) {
  std::string out;
  for (const std::string& name : names) out += (out.empty() ? "" : ", ") + name;
  return out;
}

Database::~Database() { close(); }

void Database::close() {
  if (db_ != nullptr) sqlite3_close(db_);
  db_ = nullptr;
}

ToolError Database::open(const DatabaseOptions& db, bool writable) {
  close();
  file_ = db.file;
  if (db.key.find('\'') != std::string::npos) {
    return toolError(kUsage, "the key of " + db.file + " contains a single quote",
                     "the engine hands keys to SQLCipher as PRAGMA key='...', which cannot hold one");
  }
  if (access(db.file.c_str(), F_OK) != 0) {
    return toolError(kNoSuchFile, "no such database file: " + db.file,
                     "check the path given with --db");
  }
  int flags = writable ? SQLITE_OPEN_READWRITE : SQLITE_OPEN_READONLY;
  if (sqlite3_open_v2(db.file.c_str(), &db_, flags, nullptr) != SQLITE_OK) {
    std::string why = db_ ? sqlite3_errmsg(db_) : "out of memory";
    close();
    return toolError(kNoSuchFile, "cannot open " + db.file + ": " + why);
  }
  if (!db.key.empty()) exec("PRAGMA key='" + db.key + "';");
  char* error = nullptr;
  int rc = sqlite3_exec(db_, "SELECT count(*) FROM sqlite_master;", nullptr, nullptr, &error);
  std::string why = error ? error : "";
  sqlite3_free(error);
  if (rc == SQLITE_OK) return ToolError();
  close();
  if (rc == SQLITE_NOTADB) {
    if (db.key.empty()) {
      return toolError(kNotADatabase, db.file + " is encrypted or is not a database",
                       "give its key with --key");
    }
    return toolError(kNotADatabase, "cannot read " + db.file + ": wrong key, or not a database",
                     "check the key given with --key (leave it out for a database that is "
                     "not encrypted)");
  }
  return toolError(kEngineFailed, "cannot read " + db.file + ": " + why);
}

ToolError Database::create(const std::string& file, const std::string& key) {
  close();
  file_ = file;
  std::remove(file.c_str());
  if (sqlite3_open_v2(file.c_str(), &db_, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr) !=
      SQLITE_OK) {
    std::string why = db_ ? sqlite3_errmsg(db_) : "out of memory";
    close();
    return toolError(kEngineFailed, "cannot create " + file + ": " + why);
  }
  std::string error = exec("PRAGMA key='" + key + "';");
  if (!error.empty()) return toolError(kEngineFailed, "cannot encrypt " + file + ": " + error);
  return ToolError();
}

std::string Database::exec(const std::string& sql) const {
  char* error = nullptr;
  if (sqlite3_exec(db_, sql.c_str(), nullptr, nullptr, &error) == SQLITE_OK) return "";
  std::string why = error ? error : sqlite3_errmsg(db_);
  sqlite3_free(error);
  return why;
}

std::vector<std::string> Database::queryColumn(const std::string& sql) const {
  std::vector<std::string> values;
  sqlite3_stmt* stmt = nullptr;
  if (sqlite3_prepare_v2(db_, sql.c_str(), -1, &stmt, nullptr) != SQLITE_OK) return values;
  while (sqlite3_step(stmt) == SQLITE_ROW) {
    const unsigned char* text = sqlite3_column_text(stmt, 0);
    values.push_back(text ? reinterpret_cast<const char*>(text) : "");
  }
  sqlite3_finalize(stmt);
  return values;
}

ToolError Database::checkTable(const std::string& table, const std::vector<std::string>& columns,
                               const std::string& where) const {
  std::vector<std::string> tables = queryColumn(
      "SELECT name FROM sqlite_master WHERE type IN ('table','view') ORDER BY name;");
  if (!containsName(tables, table)) {
    return toolError(kNoSuchTable, "no table " + table + " in " + file_,
                     tables.empty() ? "the database has no tables"
                                    : "its tables: " + joinNames(tables));
  }
  char* pragma = sqlite3_mprintf("PRAGMA table_info(\"%w\");", table.c_str());
  std::vector<std::string> names;
  sqlite3_stmt* stmt = nullptr;
  if (pragma && sqlite3_prepare_v2(db_, pragma, -1, &stmt, nullptr) == SQLITE_OK) {
    while (sqlite3_step(stmt) == SQLITE_ROW) {
      names.push_back(reinterpret_cast<const char*>(sqlite3_column_text(stmt, 1)));
    }
  }
  sqlite3_finalize(stmt);
  sqlite3_free(pragma);
  for (const std::string& column : columns) {
    if (!containsName(names, column) && !isRowidAlias(column)) {
      return toolError(kNoSuchTable, "no column " + column + " in table " + table,
                       "its columns: " + joinNames(names));
    }
  }
  if (where.empty()) return ToolError();
  std::string sql = "SELECT rowid FROM " + table + " WHERE (" + where + ") LIMIT 0";
  if (sqlite3_prepare_v2(db_, sql.c_str(), -1, &stmt, nullptr) != SQLITE_OK) {
    std::string why = sqlite3_errmsg(db_);
    return toolError(kNoSuchTable, "bad --where condition \"" + where + "\": " + why,
                     "write it as an SQL condition on the columns of " + table);
  }
  sqlite3_finalize(stmt);
  return ToolError();
}

long long Database::countRows(const std::string& table, const std::string& where,
                              long long after_rowid) const {
  std::string sql = "SELECT count(*) FROM " + table + " WHERE rowid > ?";
  if (!where.empty()) sql += " AND (" + where + ")";
  sqlite3_stmt* stmt = nullptr;
  long long count = -1;
  if (sqlite3_prepare_v2(db_, sql.c_str(), -1, &stmt, nullptr) == SQLITE_OK) {
    sqlite3_bind_int64(stmt, 1, after_rowid);
    if (sqlite3_step(stmt) == SQLITE_ROW) count = sqlite3_column_int64(stmt, 0);
  }
  sqlite3_finalize(stmt);
  return count;
}

bool Database::readRow(const std::string& table, const std::string& key_field,
                       const std::string& field_list, const std::string& pkey,
                       std::vector<std::string>* values) const {
  std::string sql = "SELECT " + field_list + " FROM " + table + " WHERE " + key_field + " = ?";
  sqlite3_stmt* stmt = nullptr;
  if (sqlite3_prepare_v2(db_, sql.c_str(), -1, &stmt, nullptr) != SQLITE_OK) return false;
  sqlite3_bind_text(stmt, 1, pkey.c_str(), -1, SQLITE_TRANSIENT);
  bool found = sqlite3_step(stmt) == SQLITE_ROW;
  values->clear();
  for (int i = 0; found && i < sqlite3_column_count(stmt); ++i) {
    const unsigned char* text = sqlite3_column_text(stmt, i);
    values->push_back(text ? reinterpret_cast<const char*>(text) : "");
  }
  sqlite3_finalize(stmt);
  return found;
}

}  // namespace kestrin_tool
