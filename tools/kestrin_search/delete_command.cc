// kestrin_search delete: removes rows from an index by primary key, or every
// row of a table (--all), which also makes the next index run start the
// table's scan again from its first row.
#include <strings.h>

#include <cstdio>

#include "adapter/ks_search_data_adapter.h"
#include "commands.h"
#include "database.h"
#include "index_root.h"
#include "storage/doc_id_manager.h"

namespace kestrin_tool {
namespace {

using mobile_search::table_info_t;

bool matches(const mobile_search::_str_buffer_t* name, const std::string& wanted) {
  return wanted.empty() || strcasecmp(name->data, wanted.c_str()) == 0;
}

// The one table of the index that the options name (or the only one).
ToolError findTable(const IndexRoot& root, const DeleteOptions& options, table_info_t** found) {
  const mobile_search::index_info_t* index = root.config()->getIndexInfo(options.index.c_str());
  std::vector<table_info_t*> tables;
  std::vector<std::string> names;
  for (unsigned i = 0; i < mobile_search::darray_length(index->tables); ++i) {
    auto* table = mobile_search::slot_as<table_info_t>(
        mobile_search::darray_get_by_index(index->tables, i));
    names.push_back(std::string(table->db_name->data) + "/" + table->table_name->data);
    if (matches(table->table_name, options.table) && matches(table->db_name, options.db_name)) {
      tables.push_back(table);
    }
  }
  if (tables.size() == 1) {
    *found = tables[0];
    return ToolError();
  }
  return toolError(kUsage,
                   tables.empty() ? "index " + options.index + " has no such table"
                                  : "index " + options.index + " has several tables",
                   "name one with --table (and --db-name): " + joinNames(names));
}

// Whether a live document of the key exists in any group of the table.
bool isIndexed(IndexRoot& root, const table_info_t* table, const std::string& index,
               const std::string& key) {
  mobile_search::_DArray* groups = mobile_search::darray_create(nullptr, false);
  root.searcher().getGroupSearcher(groups, table->db_name->data, table->table_name->data,
                                   index.c_str());
  bool found = false;
  for (unsigned i = 0; i < mobile_search::darray_length(groups) && !found; ++i) {
    auto* group = mobile_search::slot_as<mobile_search::GroupSearcher>(
        mobile_search::darray_get_by_index(groups, i));
    mobile_search::index_mgr_t* stores = group->getIndexMgr();
    found = stores != nullptr && stores->doc_mgr->getDocid(table->table_id, key.c_str()) >= 0;
  }
  mobile_search::darray_destroy(groups);
  return found;
}

}  // namespace

ToolError runDelete(const DeleteOptions& options) {
  if (options.all == !options.keys.empty()) {
    return toolError(kUsage, "give either primary keys or --all", "see kestrin_search delete --help");
  }
  IndexRoot root;
  ToolError error = root.openExisting(options.root);
  if (error.ok()) error = root.requireIndex(options.index);
  table_info_t* table = nullptr;
  if (error.ok()) error = findTable(root, options, &table);
  if (!error.ok()) return error;
  const char* db = table->db_name->data;
  const char* name = table->table_name->data;
  if (options.all) {
    root.searcher().clearDoc(nullptr, options.index.c_str(), db, name,
                             &mobile_search::KSSearchDataAdapter::funSetScanMaxRowid);
    std::printf("removed every row of %s/%s from index %s; the next index run scans it again\n",
                db, name, options.index.c_str());
    return ToolError();
  }
  for (const std::string& key : options.keys) {
    if (!isIndexed(root, table, options.index, key)) {
      std::printf("%s: not in index %s\n", key.c_str(), options.index.c_str());
      continue;
    }
    root.searcher().delDoc(options.index.c_str(), db, name, key.c_str());
    std::printf("%s: removed from index %s\n", key.c_str(), options.index.c_str());
  }
  root.searcher().save();
  return ToolError();
}

}  // namespace kestrin_tool
