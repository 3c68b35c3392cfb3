#include "search/search_result.h"

#include <limits.h>

namespace mobile_search {

SearchResult::SearchResult(bool owning)
    : owning_(owning),
      tables_(new ArrayList(nullptr)),
      docs_found_(0),
      docs_found_merged_(0) {}

SearchResult::~SearchResult() {
  const int n = getTableCount();
  for (int i = 0; i < n; ++i) delete getTableResult(i);
  delete tables_;
}

TableResult* SearchResult::createTableResult() {
  TableResult* table = new TableResult(owning_);
  if (addTableResult(table) != 0) {
    delete table;
    return nullptr;
  }
  return table;
}

int SearchResult::addTableResult(TableResult* table) {
  if (table == nullptr) return -1;
  return tables_->add(static_cast<void*>(table)) == RET_OK ? 0 : -1;
}

void SearchResult::sumDocsFound(int n) {
  docs_found_ += n;
  docs_found_merged_ += n;
}

int SearchResult::getTableCount() const {
  return static_cast<int>(tables_->length());
}

TableResult* SearchResult::getTableResult(int i) const {
  if (i < 0 || i >= getTableCount()) return nullptr;
  return static_cast<TableResult*>(
      slot_to_ptr(tables_->get(static_cast<unsigned int>(i))));
}

int SearchResult::mergeResult(SearchResult* other) {
  if (other == nullptr || other->docs_found_ == 0) return 0;
  docs_found_ += other->docs_found_;
  docs_found_merged_ += other->docs_found_merged_;
  // The scan position is carried from one table of `other` to the next:
  // both results list their tables in the index's table order.
  int pos = 0;
  const int theirs = other->getTableCount();
  for (int t = 0; t < theirs; ++t) {
    TableResult* table = other->getTableResult(t);
    if (table == nullptr) continue;
    while (pos < getTableCount() &&
           getTableResult(pos)->getTableMD5() != table->getTableMD5()) {
      ++pos;
    }
    if (pos == getTableCount()) {
      if (addTableResult(table) == 0) {
        // Moved: `other` must not destroy it.
        other->tables_->set(static_cast<unsigned int>(t), static_cast<void*>(nullptr));
      }
      continue;
    }
    TableResult* mine = getTableResult(pos);
    const int dup = mine->filterSamePkeyInTableResult(table);
    mine->sumDocFound(table->getCount() - dup);
    docs_found_ -= dup;
    docs_found_merged_ -= dup;
    mine->mergeAndSortTableResult(table);
  }
  return 0;
}

StringBuffer* SearchResult::serialize() const {
  const int n = getTableCount();
  if (n == 0) return nullptr;
  StringBuffer* out = new StringBuffer();
  // Sized once: a result of many hits would otherwise be copied into a
  // buffer twice as large again and again.
  size_t bound = 32;
  for (int i = 0; i < n; ++i) {
    const TableResult* table = getTableResult(i);
    if (table != nullptr) bound += table->serializedBound() + 1;
  }
  if (bound < static_cast<size_t>(INT_MAX / 2) && static_cast<int>(bound) > out->size) {
    out->expand(static_cast<int>(bound) - out->size);
  }
  out->append("{\"all_result\":[");
  bool first = true;
  for (int i = 0; i < n; ++i) {
    const TableResult* table = getTableResult(i);
    if (table == nullptr) continue;
    if (!first) out->append(',');
    table->serialize(out);
    first = false;
  }
  out->append("]}");
  return out;
}

}  // namespace mobile_search
