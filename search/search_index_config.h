// SearchIndexConfig: the plan of one search, one item per searched index
// with its field restriction and paging window; and search_table_info_t, the
// per-table bookkeeping of one group's evaluation.
//
// Ownership: the config owns its items and each item's two lists; the index
// name and the field names in an item are borrowed from the caller and must
// outlive the config. A search_table_info_t borrows its table record and
// item; its TableResult belongs to the SearchResult that created it.
//
// Threads: evaluation writes `counter` and `field_ids`, so a config is used
// by one search at a time (the Searcher makes a fresh one per call).
//
// Failures: creation returns null when memory runs out; lookups return null
// for an index out of range.
#ifndef KS_SEARCH_SEARCH_INDEX_CONFIG_H_
#define KS_SEARCH_SEARCH_INDEX_CONFIG_H_

#include "config/config_records.h"
#include "foundation/dynamic_array.h"

namespace mobile_search {

class TableResult;

// Largest page a search returns; larger requests are cut to it.
constexpr int kMaxSearchNum = 65535;

struct SearchIndexConfigItem {
  const char* index_name;  // borrowed
  _DArray* field_names;    // borrowed `const char*`; empty means all fields
  _DArray* field_ids;      // filled from field_names while evaluating
  int start;               // leading hits to skip
  int num;                 // hits to return, at most kMaxSearchNum
  int counter;             // hits of this item seen in the current group
  bool match_each_field;   // the hit's field must be one of field_ids
};

class SearchIndexConfig {
 public:
  SearchIndexConfig();
  ~SearchIndexConfig();

  SearchIndexConfig(const SearchIndexConfig&) = delete;
  SearchIndexConfig& operator=(const SearchIndexConfig&) = delete;

  int length() const;
  // Item `i`, or null when `i` is out of range.
  SearchIndexConfigItem* getConfigItem(int i) const;

  // Each appends a new item and returns it, or null (nothing appended) when
  // memory runs out. The first searches all fields; the second only
  // `field_name` when it is non-empty; the third the listed fields, with
  // `match_each_field` stored in the item.
  SearchIndexConfigItem* createConfigItem(const char* index_name, int start,
                                          int num);
  SearchIndexConfigItem* createConfigItem(const char* index_name,
                                          const char* field_name, int start,
                                          int num);
  SearchIndexConfigItem* createConfigItem(const char* index_name,
                                          _DArray* field_names, int start,
                                          int num, bool match_each_field);

  // How many query lists after the first are alternatives of it (fuzzy
  // spellings): their new hits are ranked among themselves and placed
  // after the first list's (search/alternative_hits.h). 0 unless set.
  int alternativeLists() const { return alternative_lists_; }
  void setAlternativeLists(int n) { alternative_lists_ = n; }

 private:
  _DArray* items_;
  int alternative_lists_ = 0;
};

// One table of a searched index during one group's evaluation.
struct search_table_info_t {
  table_info_t* table;          // borrowed from the configuration
  SearchIndexConfigItem* item;  // borrowed from the config
  TableResult* result;          // null until the table's first returned hit
  int found;                    // hits of this table, returned or not
};

// Zeroed record with `table` and `item` set; null when out of memory.
search_table_info_t* search_table_info_create(table_info_t* table,
                                              SearchIndexConfigItem* item);
void search_table_info_destroy(search_table_info_t* info);
// Release-callback form for a _DArray of records.
void search_table_info_destroy(void* info);

}  // namespace mobile_search

#endif  // KS_SEARCH_SEARCH_INDEX_CONFIG_H_
