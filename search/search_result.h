// SearchResult: everything one search (or one table listing) returns, as one
// TableResult per table, and its JSON text.
//
// Ownership: the result owns its table list and every TableResult in it;
// addTableResult and mergeResult move TableResults into it.
//
// JSON: {"all_result":[<table>,<table>,...]} with the exact keys and order
// written by TableResult::serialize, no spaces and no escaping.
//
// Threads: none inside; one thread fills and reads a result.
//
// Failures: return values only (null, 0 or -1 as stated).
#ifndef KS_SEARCH_SEARCH_RESULT_H_
#define KS_SEARCH_SEARCH_RESULT_H_

#include "foundation/dynamic_array.h"
#include "foundation/string_buffer.h"
#include "search/table_result.h"

namespace mobile_search {

class SearchResult {
 public:
  // `owning` is handed to every TableResult this result creates.
  explicit SearchResult(bool owning);
  // Destroys every TableResult and the list.
  ~SearchResult();

  SearchResult(const SearchResult&) = delete;
  SearchResult& operator=(const SearchResult&) = delete;

  // Creates a TableResult with this result's owning flag and appends it.
  // Null when it cannot be appended.
  TableResult* createTableResult();
  // Appends `table` (ownership passes to the result). 0, or -1 for null.
  int addTableResult(TableResult* table);

  void sumDocsFound(int n);
  int getDocsFound() const { return docs_found_; }
  int getTableCount() const;
  // Table `i` in list order; null when out of range.
  TableResult* getTableResult(int i) const;

  // Adds another group's result to this one: tables with the same id are
  // merged (a key found in both keeps its better hit), other tables are
  // moved over. `other` keeps only what was not moved and may then be
  // destroyed. A result whose total is 0 is not merged at all. Returns 0.
  int mergeResult(SearchResult* other);

  // A new StringBuffer with the JSON text (the caller deletes it), or null
  // when the result holds no TableResult.
  StringBuffer* serialize() const;

 private:
  bool owning_;
  ArrayList* tables_;
  int docs_found_;
  // Moves together with docs_found_; nothing reads it.
  int docs_found_merged_;
};

}  // namespace mobile_search

#endif  // KS_SEARCH_SEARCH_RESULT_H_
