// kestrin_search stats: what an index root holds: its indexes with their
// tables and scan progress, and per group the documents, deleted documents
// and bytes on disk.
#include <cstdio>

#include "commands.h"
#include "database.h"
#include "index_root.h"
#include "progress.h"

namespace kestrin_tool {
namespace {

using mobile_search::darray_get_by_index;
using mobile_search::darray_length;
using mobile_search::slot_as;

std::string fieldNames(const mobile_search::index_info_t* index, bool pinyin_only) {
  std::vector<std::string> names;
  for (unsigned i = 0; i < darray_length(index->fields); ++i) {
    auto* field = slot_as<mobile_search::field_info_t>(darray_get_by_index(index->fields, i));
    if (field == nullptr || (pinyin_only && !field->is_pinyin)) continue;
    names.push_back(std::string(field->name->data) + (field->is_profile && !pinyin_only ? " (stored)" : ""));
  }
  return joinNames(names);
}

void printIndexes(const IndexRoot& root) {
  mobile_search::ConfigManager* config = root.config();
  for (const std::string& name : root.indexNames()) {
    const mobile_search::index_info_t* index = config->getIndexInfo(name.c_str());
    std::printf("index %s\n  fields: %s\n", name.c_str(), fieldNames(index, false).c_str());
    std::string pinyin = fieldNames(index, true);
    if (!pinyin.empty()) std::printf("  pinyin: %s\n", pinyin.c_str());
    for (unsigned i = 0; i < darray_length(index->tables); ++i) {
      auto* table = slot_as<mobile_search::table_info_t>(darray_get_by_index(index->tables, i));
      char group[1024] = "";
      int rowid = config->getScanMaxRowid(table->table_name->data, table->db_name->data,
                                          name.c_str(), group);
      std::printf("  table %s/%s, key %s, group %s, scanned up to row id %d\n",
                  table->db_name->data, table->table_name->data, table->key_field->data, group,
                  rowid);
    }
  }
}

}  // namespace

ToolError runStats(const StatsOptions& options) {
  IndexRoot root;
  ToolError error = root.openExisting(options.root);
  if (!error.ok()) return error;
  std::printf("root %s: engine %s, %s on disk\n", options.root.c_str(),
              root.searcher().indexVersion(), humanBytes(root.searcher().getTotalBytes()).c_str());
  printIndexes(root);
  std::printf("%-16s %12s %10s %12s\n", "group", "documents", "deleted", "on disk");
  for (const GroupStats& group : groupStats(root)) {
    std::printf("%-16s %12s %10s %12s\n", group.name.c_str(), withCommas(group.documents).c_str(),
                withCommas(group.deleted).c_str(), humanBytes(group.bytes).c_str());
  }
  return ToolError();
}

}  // namespace kestrin_tool
