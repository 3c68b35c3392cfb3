// indexTable: registers one table of a database with the engine and scans it
// to the end in the engine's batches of 50 rows, showing progress.
//
// Before the engine sees the database, the file, key, table, columns and
// where condition are checked, so that each mistake gets its own message
// (the engine would create a missing file and report every other case as a
// failed statement). The scan resumes from the row id the engine recorded
// in the root; Ctrl-C stops it after the running batch, with the progress
// recorded, and the next run goes on from there.
#ifndef KS_TOOLS_KESTRIN_SEARCH_TABLE_INDEXER_H_
#define KS_TOOLS_KESTRIN_SEARCH_TABLE_INDEXER_H_

#include <cstdio>

#include "commands.h"
#include "index_root.h"
#include "tool_error.h"

namespace kestrin_tool {

struct IndexSummary {
  long long total_rows = 0;   // rows of the table (under the where condition)
  long long new_rows = 0;     // rows indexed by this run (an estimate)
  double seconds = 0;
};

// Fills in the defaults of `spec`: the database name is the file's base
// name, the index is named after the table.
TableSpec withDefaults(TableSpec spec);

// Checks the database, table, columns and where condition of `spec` (with
// its defaults filled in) without touching any index.
ToolError checkSource(const TableSpec& spec);

// Indexes the table into `root` (opened for indexing), reporting progress to
// `progress`. kInterrupted after Ctrl-C; the checks' errors; kEngineFailed
// when the engine refuses the index or a scan fails.
ToolError indexTable(IndexRoot& root, const TableSpec& spec, std::FILE* progress,
                     IndexSummary* summary);

}  // namespace kestrin_tool

#endif  // KS_TOOLS_KESTRIN_SEARCH_TABLE_INDEXER_H_
