#include "adapter/row_values.h"

#include <stdlib.h>

namespace mobile_search {

namespace {
const int kInitialCapacity = 256;
}  // namespace

RowValues::RowValues(int field_count)
    : count_(field_count > 0 ? field_count : 0),
      valid_(false),
      buffers_(static_cast<_str_buffer_t**>(calloc(count_ + 1, sizeof(_str_buffer_t*)))),
      texts_(static_cast<char**>(calloc(count_ + 1, sizeof(char*)))),
      lengths_(static_cast<int*>(calloc(count_ + 1, sizeof(int)))),
      capacities_(static_cast<int*>(calloc(count_ + 1, sizeof(int)))) {
  if (buffers_ == nullptr || texts_ == nullptr || lengths_ == nullptr || capacities_ == nullptr) {
    return;
  }
  for (int i = 0; i < count_; ++i) {
    buffers_[i] = str_buffer_create(kInitialCapacity);
    if (buffers_[i] == nullptr) return;
  }
  valid_ = true;
}

RowValues::~RowValues() {
  if (buffers_ != nullptr) {
    for (int i = 0; i < count_; ++i) str_buffer_free(buffers_[i]);
  }
  free(buffers_);
  free(texts_);
  free(lengths_);
  free(capacities_);
}

bool RowValues::copyRow(sqlite3_stmt* stmt, int first_column) {
  bool ok = true;
  for (int i = 0; i < count_; ++i) {
    _str_buffer_t* buf = buffers_[i];
    int column = first_column + i;
    const char* bytes = nullptr;
    if (sqlite3_column_type(stmt, column) == SQLITE_BLOB) {
      bytes = static_cast<const char*>(sqlite3_column_blob(stmt, column));
    } else {
      bytes = reinterpret_cast<const char*>(sqlite3_column_text(stmt, column));
    }
    int n = sqlite3_column_bytes(stmt, column);
    str_buffer_reset(buf);
    if (bytes != nullptr && n > 0 && str_buffer_append(buf, bytes, n) != 1) ok = false;
    texts_[i] = buf->data;
    lengths_[i] = buf->len;
    capacities_[i] = buf->size - 1;
  }
  return ok;
}

void RowValues::pointAtRow(sqlite3_stmt* stmt, int first_column) {
  for (int i = 0; i < count_; ++i) {
    const unsigned char* text = sqlite3_column_text(stmt, first_column + i);
    texts_[i] = const_cast<char*>(reinterpret_cast<const char*>(text));
    lengths_[i] = sqlite3_column_bytes(stmt, first_column + i);
    capacities_[i] = lengths_[i];
  }
}

}  // namespace mobile_search
