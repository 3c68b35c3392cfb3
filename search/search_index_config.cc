#include "search/search_index_config.h"

#include <new>

namespace mobile_search {

namespace {

void FreeItem(SearchIndexConfigItem* item) {
  if (item == nullptr) return;
  darray_destroy(item->field_names);
  darray_destroy(item->field_ids);
  delete item;
}

}  // namespace

SearchIndexConfig::SearchIndexConfig() : items_(darray_create(nullptr, false)) {}

SearchIndexConfig::~SearchIndexConfig() {
  const int n = length();
  for (int i = 0; i < n; ++i) FreeItem(getConfigItem(i));
  darray_destroy(items_);
  items_ = nullptr;
}

int SearchIndexConfig::length() const {
  return static_cast<int>(darray_length(items_));
}

SearchIndexConfigItem* SearchIndexConfig::getConfigItem(int i) const {
  if (i < 0 || i >= length()) return nullptr;
  return static_cast<SearchIndexConfigItem*>(
      slot_to_ptr(darray_get_by_index(items_, static_cast<unsigned int>(i))));
}

SearchIndexConfigItem* SearchIndexConfig::createConfigItem(
    const char* index_name, int start, int num) {
  if (items_ == nullptr) return nullptr;
  SearchIndexConfigItem* item = new (std::nothrow) SearchIndexConfigItem();
  if (item == nullptr) return nullptr;
  item->index_name = index_name;
  item->field_names = darray_create(nullptr, false);
  item->field_ids = darray_create(nullptr, false);
  item->start = start;
  item->num = num > kMaxSearchNum ? kMaxSearchNum : num;
  item->counter = 0;
  item->match_each_field = false;
  if (item->field_names == nullptr || item->field_ids == nullptr ||
      darray_append(items_, static_cast<void*>(item)) != RET_OK) {
    FreeItem(item);
    return nullptr;
  }
  return item;
}

SearchIndexConfigItem* SearchIndexConfig::createConfigItem(
    const char* index_name, const char* field_name, int start, int num) {
  SearchIndexConfigItem* item = createConfigItem(index_name, start, num);
  if (item != nullptr && field_name != nullptr && field_name[0] != '\0') {
    darray_append(item->field_names,
                  static_cast<void*>(const_cast<char*>(field_name)));
  }
  return item;
}

SearchIndexConfigItem* SearchIndexConfig::createConfigItem(
    const char* index_name, _DArray* field_names, int start, int num,
    bool match_each_field) {
  SearchIndexConfigItem* item = createConfigItem(index_name, start, num);
  if (item == nullptr) return nullptr;
  item->match_each_field = match_each_field;
  const unsigned int n = darray_length(field_names);
  for (unsigned int i = 0; i < n; ++i) {
    darray_append(item->field_names, darray_get_by_index(field_names, i));
  }
  return item;
}

search_table_info_t* search_table_info_create(table_info_t* table,
                                              SearchIndexConfigItem* item) {
  search_table_info_t* info = new (std::nothrow) search_table_info_t();
  if (info == nullptr) return nullptr;
  info->table = table;
  info->item = item;
  info->result = nullptr;
  info->found = 0;
  return info;
}

void search_table_info_destroy(search_table_info_t* info) { delete info; }

void search_table_info_destroy(void* info) {
  search_table_info_destroy(static_cast<search_table_info_t*>(info));
}

}  // namespace mobile_search
