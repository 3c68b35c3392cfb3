// kestrin_search index: indexes one table, resuming where the last run
// stopped, and prints what was done.
#include <cstdio>

#include "commands.h"
#include "index_root.h"
#include "progress.h"
#include "table_indexer.h"

namespace kestrin_tool {

ToolError runIndex(const IndexOptions& options) {
  TableSpec spec = withDefaults(options.spec);
  // The source is checked first so that a mistake leaves no empty index behind.
  ToolError error = checkSource(spec);
  IndexRoot root;
  if (error.ok()) error = root.openForIndexing(options.root);
  if (error.ok()) error = root.applyEngineOptions(options.engine_options);
  IndexSummary summary;
  if (error.ok()) error = indexTable(root, spec, stderr, &summary);
  if (!error.ok()) return error;
  std::printf("indexed %s/%s as index %s in %s: %s new rows, %s rows in the table, %.1f s\n",
              spec.db.name.c_str(), spec.table.c_str(), spec.index.c_str(), options.root.c_str(),
              withCommas(summary.new_rows).c_str(), withCommas(summary.total_rows).c_str(),
              summary.seconds);
  return ToolError();
}

}  // namespace kestrin_tool
