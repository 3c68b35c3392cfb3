// kestrin_search search: runs one query and prints the hits, as a table for
// people (on a terminal, or with --format human) or as the engine's JSON text
// unchanged (--json, and by default into a pipe).
#include <cstdio>
#include <memory>

#include "commands.h"
#include "database.h"
#include "hit_table.h"
#include "index_root.h"
#include "search/search_result.h"

namespace kestrin_tool {
namespace {

using mobile_search::SearchResult;
using mobile_search::StringBuffer;

// The engine's text, or "null" when it gives none (no table was searched).
void printJson(const SearchResult& result) {
  std::unique_ptr<StringBuffer> json(result.serialize());
  std::printf("%s\n", json && json->length() > 0 ? json->toString() : "null");
}

void printHuman(const IndexRoot& root, const SearchResult& result, const SearchOptions& options) {
  std::string note;
  std::vector<Hit> hits = collectHits(root, result, options.db, &note);
  Palette palette(useColor(options.color, stdout));
  int found = result.getDocsFound();
  std::printf("%s%d hit%s%s for \"%s\" in index %s", palette.bold(), found, found == 1 ? "" : "s",
              palette.reset(), options.query.c_str(), options.index.c_str());
  if (found > static_cast<int>(hits.size()) && !hits.empty()) {
    std::printf(" (showing %d-%d)", options.start + 1, options.start + static_cast<int>(hits.size()));
  }
  std::printf("\n");
  if (!hits.empty()) printHits(stdout, hits, options.query, palette, terminalWidth(stdout));
  if (!note.empty()) std::printf("  %s(%s)%s\n", palette.dim(), note.c_str(), palette.reset());
}

ToolError checkField(const IndexRoot& root, const SearchOptions& options) {
  if (options.field.empty() ||
      root.config()->getFieldId(options.index.c_str(), options.field.c_str()) >= 0) {
    return ToolError();
  }
  std::vector<std::string> fields;
  const mobile_search::index_info_t* index = root.config()->getIndexInfo(options.index.c_str());
  for (unsigned i = 0; i < mobile_search::darray_length(index->fields); ++i) {
    auto* field = mobile_search::slot_as<mobile_search::field_info_t>(
        mobile_search::darray_get_by_index(index->fields, i));
    if (field != nullptr) fields.push_back(field->name->data);
  }
  return toolError(kUsage, "index " + options.index + " has no field " + options.field,
                   "its fields: " + joinNames(fields));
}

}  // namespace

ToolError runSearch(const SearchOptions& options) {
  IndexRoot root;
  ToolError error = root.openExisting(options.root);
  if (error.ok()) error = root.requireIndex(options.index);
  if (error.ok()) error = checkField(root, options);
  if (error.ok()) error = root.applyEngineOptions(options.engine_options);
  if (!error.ok()) return error;

  SearchResult result(true);
  root.searcher().doSearch(options.index.c_str(),
                           options.field.empty() ? nullptr : options.field.c_str(),
                           options.query.c_str(), options.start, options.limit, &result, false);
  bool json = options.format == OutputFormat::kJson ||
              (options.format == OutputFormat::kAuto && !isTerminal(stdout));
  if (json) {
    printJson(result);
  } else {
    printHuman(root, result, options);
  }
  return ToolError();
}

}  // namespace kestrin_tool
