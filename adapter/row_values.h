// One row's field values in the form the searcher and the data-processing
// function take: parallel arrays of texts, lengths and capacities.
//
// A RowValues owns one writable string buffer per field (initial capacity 256,
// reused for every row it holds) and the three arrays. copyRow() copies a
// statement's columns into the buffers; pointAtRow() instead points the texts
// straight at the statement's column texts (no copy; valid until the statement
// is stepped or finalized, and not writable).
//
// Capacities are the bytes a processing function may write into a buffer,
// the terminating NUL not counted.
//
// Not thread-safe; the caller holds the SQLite lock around the column reads.
#ifndef KS_ADAPTER_ROW_VALUES_H_
#define KS_ADAPTER_ROW_VALUES_H_

#include <sqlcipher/sqlite3.h>

#include "foundation/string_buffer.h"

namespace mobile_search {

class RowValues {
 public:
  explicit RowValues(int field_count);
  ~RowValues();
  RowValues(const RowValues&) = delete;
  RowValues& operator=(const RowValues&) = delete;

  // False when an allocation of the constructor failed; nothing else may then
  // be called.
  bool valid() const { return valid_; }
  int count() const { return count_; }

  // Copies the columns first_column .. first_column + count() - 1 of the
  // statement's current row. A BLOB is copied with its byte length, any other
  // column as text; a NULL column, or one the statement does not have, gives
  // an empty text. False when a buffer cannot grow.
  bool copyRow(sqlite3_stmt* stmt, int first_column);
  // Points the texts at the same columns' own texts, without copying.
  void pointAtRow(sqlite3_stmt* stmt, int first_column);

  char** texts() { return texts_; }
  const int* lengths() const { return lengths_; }
  const int* capacities() const { return capacities_; }

 private:
  int count_;
  bool valid_;
  _str_buffer_t** buffers_;
  char** texts_;
  int* lengths_;
  int* capacities_;
};

}  // namespace mobile_search

#endif  // KS_ADAPTER_ROW_VALUES_H_
