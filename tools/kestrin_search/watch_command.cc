// kestrin_search watch: follows the changes made to a database through the
// engine's update hook and prints each one as the index takes it in.
//
// SQLite reports changes only to a hook on the connection that makes them,
// so watch makes them itself: it reads SQL statements from standard input
// (typed, or piped in), runs them on its hooked connection, and after each
// statement prints the rows it changed and the index that followed. It stops
// at the end of input or on Ctrl-C.
#include <strings.h>

#include <cstdio>
#include <string>
#include <vector>

#include "adapter/ks_search_data_adapter.h"
#include "commands.h"
#include "database.h"
#include "index_root.h"
#include "interrupt.h"

namespace kestrin_tool {
namespace {

using mobile_search::KSSearchDataAdapter;

struct WatchedTable {
  std::string table, index;
};

struct Change {
  int op;
  std::string table;
  sqlite3_int64 rowid;
};

// Hook state: the engine's hook context and the changes of the running
// statement.
struct WatchState {
  void* engine_ctx;
  std::vector<Change> changes;
};

void onChange(void* arg, int op, const char* db_name, const char* table, sqlite3_int64 rowid) {
  auto* state = static_cast<WatchState*>(arg);
  KSSearchDataAdapter::sqlite_hooker(state->engine_ctx, op, db_name, table, rowid);
  state->changes.push_back(Change{op, table, rowid});
}

// Registers with the adapter every table of the root indexed from this
// database, as the engine does at start-up.
std::vector<WatchedTable> registerTables(IndexRoot& root, KSSearchDataAdapter& adapter,
                                         const std::string& db_name) {
  std::vector<WatchedTable> tables;
  mobile_search::Searcher& searcher = root.searcher();
  for (int i = 0; i < searcher.getConfigSectionNum(); ++i) {
    const char *index, *db, *table, *key, *fields, *where, *profile, *notoken;
    if (searcher.getConfigSection(i, &index, &db, &table, &key, &fields, &where, &profile,
                                  &notoken) != 0 ||
        db_name != db) {
      continue;
    }
    if (adapter.addTable(index, db, table, key, fields, where, profile, 0) == 0) {
      tables.push_back(WatchedTable{table, index});
    }
  }
  return tables;
}

void printChanges(const std::vector<Change>& changes, const std::vector<WatchedTable>& tables) {
  for (const Change& change : changes) {
    const char* op = change.op == SQLITE_INSERT ? "insert" : change.op == SQLITE_DELETE ? "delete"
                                                                                        : "update";
    std::string indexes;
    for (const WatchedTable& t : tables) {
      if (strcasecmp(t.table.c_str(), change.table.c_str()) == 0) {
        indexes += (indexes.empty() ? "" : ", ") + t.index;
      }
    }
    std::printf("%s %s row %lld: %s\n", op, change.table.c_str(),
                static_cast<long long>(change.rowid),
                indexes.empty() ? "not indexed" : ("index " + indexes + " updated").c_str());
  }
  std::fflush(stdout);
}

// Reads the next complete statement; false at the end of input or on Ctrl-C.
bool readStatement(std::string* sql, bool prompt) {
  sql->clear();
  char line[4096];
  for (;;) {
    if (prompt) std::fputs(sql->empty() ? "sql> " : "...> ", stdout), std::fflush(stdout);
    if (std::fgets(line, sizeof line, stdin) == nullptr) return false;
    *sql += line;
    if (sqlite3_complete(sql->c_str())) return true;
  }
}

}  // namespace

ToolError runWatch(const WatchOptions& options) {
  DatabaseOptions db_options = options.db;
  if (db_options.name.empty()) db_options.name = baseName(db_options.file);
  IndexRoot root;
  ToolError error = root.openExisting(options.root);
  if (error.ok()) error = root.applyEngineOptions(options.engine_options);
  Database db;
  if (error.ok()) error = db.open(db_options, true);
  if (!error.ok()) return error;

  KSSearchDataAdapter adapter(root.path().c_str());
  adapter.setSearcher(&root.searcher());
  adapter.addDB(db_options.name.c_str(), db_options.file.c_str(), db_options.key.c_str(), false);
  std::vector<WatchedTable> tables = registerTables(root, adapter, db_options.name);
  if (tables.empty()) {
    return toolError(kUnknownIndex, "no index in " + options.root + " covers database " +
                                        db_options.name,
                     "index one of its tables first, or name it with --db-name");
  }
  WatchState state{adapter.getAdapterHookCtx(db_options.name.c_str(), db.handle()), {}};
  if (state.engine_ctx == nullptr) return toolError(kEngineFailed, "cannot hook the database");
  sqlite3_update_hook(db.handle(), onChange, &state);

  bool prompt = isTerminal(stdin);
  std::fprintf(stderr, "watching %s (%zu indexed table%s); enter SQL statements, Ctrl-C or end of "
               "input stops\n", db_options.file.c_str(), tables.size(), tables.size() == 1 ? "" : "s");
  InterruptGuard interrupt;
  std::string sql;
  int statements = 0;
  while (!InterruptGuard::interrupted() && readStatement(&sql, prompt)) {
    state.changes.clear();
    std::string why = db.exec(sql);
    if (!why.empty()) std::printf("error: %s\n", why.c_str());
    printChanges(state.changes, tables);
    ++statements;
  }
  adapter.stopHook(db_options.name.c_str());
  root.searcher().save();
  std::fprintf(stderr, "%sstopped after %d statement%s\n", prompt ? "\n" : "", statements,
               statements == 1 ? "" : "s");
  return ToolError();
}

}  // namespace kestrin_tool
