#include "table_indexer.h"

#include <climits>

#include "adapter/ks_search_data_adapter.h"
#include "database.h"
#include "interrupt.h"
#include "progress.h"

namespace kestrin_tool {
namespace {

using mobile_search::KSSearchDataAdapter;

const char* orNull(const std::string& text) { return text.empty() ? nullptr : text.c_str(); }

// Every column the index will read, for the existence check.
std::vector<std::string> columnsOf(const TableSpec& spec) {
  std::vector<std::string> columns = {spec.pkey};
  for (const std::string* list : {&spec.fields, &spec.profile, &spec.notoken, &spec.pinyin}) {
    for (const std::string& name : splitNames(*list)) columns.push_back(name);
  }
  return columns;
}

ToolError registerTable(IndexRoot& root, KSSearchDataAdapter& adapter, const TableSpec& s) {
  if (root.searcher().addIndex(s.index.c_str(), s.db.name.c_str(), s.table.c_str(),
                               s.pkey.c_str(), s.fields.c_str(), orNull(s.where),
                               orNull(s.pinyin), orNull(s.profile), orNull(s.notoken),
                               orNull(s.group)) < 0) {
    return toolError(kEngineFailed, "the engine refused index " + s.index + " on table " + s.table);
  }
  if (adapter.setSearcher(&root.searcher()) != 0 ||
      adapter.addDB(s.db.name.c_str(), s.db.file.c_str(), s.db.key.c_str(), false) != 0 ||
      adapter.addTable(s.index.c_str(), s.db.name.c_str(), s.table.c_str(), s.pkey.c_str(),
                       s.fields.c_str(), orNull(s.where), orNull(s.profile), 0) != 0) {
    return toolError(kEngineFailed, "the engine refused database " + s.db.file);
  }
  return ToolError();
}

// Scans batch after batch until a batch makes no progress or Ctrl-C comes.
ToolError scanToEnd(KSSearchDataAdapter& adapter, const TableSpec& s, ScanProgress* progress) {
  InterruptGuard interrupt;
  char group[KSSearchDataAdapter::kGroupNameBytes];
  for (;;) {
    // Each batch starts at the row recorded last, which was counted before.
    int max_before = adapter.getScanMaxRowid(s.db.name.c_str(), s.table.c_str(),
                                             s.index.c_str(), group);
    int rows = adapter.scanTable(s.db.name.c_str(), s.table.c_str(), s.index.c_str());
    if (rows < 0) {
      progress->finish("failed");
      return toolError(kEngineFailed, "the engine could not scan table " + s.table +
                                          " (code " + std::to_string(rows) + ")");
    }
    if (rows == 0) {
      progress->update(progress->total());
      progress->finish("");
      return ToolError();
    }
    progress->update(progress->done() + rows - (max_before > 0 ? 1 : 0));
    if (InterruptGuard::interrupted()) {
      progress->finish("interrupted");
      return toolError(kInterrupted,
                       "interrupted: " + withCommas(progress->done()) + " of " +
                           withCommas(progress->total()) + " rows of " + s.table + " are indexed",
                       "run the same command again to go on from there");
    }
  }
}

}  // namespace

TableSpec withDefaults(TableSpec spec) {
  if (spec.db.name.empty()) spec.db.name = baseName(spec.db.file);
  if (spec.index.empty()) spec.index = spec.table;
  return spec;
}

ToolError checkSource(const TableSpec& spec) {
  Database db;
  ToolError error = db.open(spec.db, false);
  if (error.ok()) error = db.checkTable(spec.table, columnsOf(spec), spec.where);
  return error;
}

ToolError indexTable(IndexRoot& root, const TableSpec& spec, std::FILE* progress_out,
                     IndexSummary* summary) {
  ToolError error = checkSource(spec);
  Database db;
  if (error.ok()) error = db.open(spec.db, false);
  if (!error.ok()) return error;

  KSSearchDataAdapter adapter(root.path().c_str());
  error = registerTable(root, adapter, spec);
  if (!error.ok()) return error;
  root.rememberDatabase(spec.db);

  char group[KSSearchDataAdapter::kGroupNameBytes];
  int recorded = adapter.getScanMaxRowid(spec.db.name.c_str(), spec.table.c_str(),
                                         spec.index.c_str(), group);
  long long total = db.countRows(spec.table, spec.where, LLONG_MIN);
  long long remaining = db.countRows(spec.table, spec.where, recorded);
  ScanProgress progress(progress_out, spec.index, total, total - remaining);
  error = scanToEnd(adapter, spec, &progress);
  root.searcher().save();
  summary->total_rows = total;
  summary->new_rows = progress.done() - (total - remaining);
  summary->seconds = progress.seconds();
  return error;
}

}  // namespace kestrin_tool
