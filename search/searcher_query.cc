// Searcher: searching, the query-string language and table listings.
#include "search/searcher.h"

#include <cstdlib>
#include <cstring>
#include <string>

#include "config/config_manager.h"
#include "config/config_records.h"
#include "foundation/c_string.h"
#include "foundation/logging.h"
#include "foundation/string_buffer.h"
#include "search/group_searcher.h"
#include "search/search_index_config.h"
#include "search/search_result.h"
#include "text/token_parser.h"
#include "text/token_unit.h"

namespace mobile_search {

namespace {

constexpr int kDefaultNum = 10;
constexpr int kQueryListCount = 2;
// Fuzzy spellings of a query looked up at most (each is one more list).
constexpr int kMaxQueryAlternatives = 8;

SGroupConfig* GroupAt(_DArray* groups, unsigned int i) {
  return slot_as<SGroupConfig>(darray_get_by_index(groups, i));
}

// The serialized result as a malloc'd text owned by the caller; null when
// there is nothing to serialize or the text is empty.
char* TakeJson(const SearchResult* result) {
  StringBuffer* json = result->serialize();
  if (json == nullptr) return nullptr;
  char* text = nullptr;
  if (json->length() > 0) {
    // The buffer's storage is handed over; only the shell is deleted.
    text = json->data;
    json->data = nullptr;
    json->len = 0;
    json->size = 0;
  }
  delete json;
  return text;
}

bool ListHoldsName(const _DArray* names, const char* name) {
  const unsigned int n = darray_length(names);
  for (unsigned int i = 0; i < n; ++i) {
    const char* listed = slot_as<const char>(darray_get_by_index(names, i));
    if (listed != nullptr && strcmp(listed, name) == 0) return true;
  }
  return false;
}

// Which analyses the query needs: short-word terms when a searched field is
// a pinyin (name) field, long-text terms when any other field is searched.
// A field restriction narrows only the short-word fields; long-text fields
// are always analysed, so a restricted search still looks for text terms.
void NeededAnalyses(ConfigManager* manager, SearchIndexConfig* config,
                    bool* short_words, bool* tokens) {
  *short_words = false;
  *tokens = false;
  for (int i = 0; i < config->length(); ++i) {
    SearchIndexConfigItem* item = config->getConfigItem(i);
    if (item == nullptr) continue;
    index_info_t* info = manager->getIndexInfo(item->index_name);
    if (info == nullptr) continue;
    const unsigned int n = darray_length(info->fields);
    for (unsigned int f = 0; f < n; ++f) {
      const field_info_t* field =
          slot_as<const field_info_t>(darray_get_by_index(info->fields, f));
      if (field == nullptr) continue;
      if (!field->is_pinyin) {
        *tokens = true;
        continue;
      }
      if (darray_length(item->field_names) > 0 &&
          !ListHoldsName(item->field_names, field->name->data)) {
        continue;
      }
      *short_words = true;
    }
  }
}

// Parsed form of a query string.
struct QueryString {
  std::string index_name;
  std::string field_name;
  std::string query;
  bool has_index_name = false;
  bool has_field_name = false;
  bool has_query = false;
  int start = 0;
  int num = kDefaultNum;
};

void ApplyQueryPart(const std::string& part, QueryString* q) {
  const size_t eq = part.find('=');
  if (eq == std::string::npos) return;
  const std::string key = part.substr(0, eq);
  const std::string value = part.substr(eq + 1);
  if (key == "index_name") {
    q->index_name = value;
    q->has_index_name = true;
  } else if (key == "field_name") {
    q->field_name = value;
    q->has_field_name = true;
  } else if (key == "query") {
    q->query = value;
    q->has_query = true;
  } else if (key == "start") {
    q->start = atoi(value.c_str());
  } else if (key == "num") {
    q->num = atoi(value.c_str());
  }
}

QueryString ParseQueryString(const char* text) {
  QueryString q;
  const char* part = text;
  while (true) {
    const char* end = strchr(part, '&');
    const size_t len = end == nullptr ? strlen(part) : static_cast<size_t>(end - part);
    if (len > 0) ApplyQueryPart(std::string(part, len), &q);
    if (end == nullptr) break;
    part = end + 1;
  }
  return q;
}

}  // namespace

char* Searcher::doSearch(const char* query_string) {
  if (is_empty_str(query_string)) return nullptr;
  const QueryString q = ParseQueryString(query_string);
  if (!q.has_index_name || !q.has_query) return nullptr;
  const char* field = q.has_field_name ? q.field_name.c_str() : nullptr;
  return doSearch(q.index_name.c_str(), field, q.query.c_str(), q.start, q.num, false);
}

char* Searcher::doSearch(const char* index_name, const char* field_name,
                         const char* query, int start, int num, bool flag) {
  if (is_empty_str(index_name) || is_empty_str(query)) return nullptr;
  SearchResult result(true);
  if (doSearch(index_name, field_name, query, start, num, &result, flag) != 0) {
    return nullptr;
  }
  return TakeJson(&result);
}

char* Searcher::doSearch(const char* index_name, const char* query, int start,
                         int num, bool flag) {
  return doSearch(index_name, nullptr, query, start, num, flag);
}

int Searcher::doSearch(const char* index_name, const char* field_name,
                       const char* query, int start, int num,
                       SearchResult* result, bool) {
  if (is_empty_str(index_name) || is_empty_str(query) || result == nullptr) return -1;
  SearchIndexConfig config;
  config.createConfigItem(index_name, field_name, start, num);
  doSearch(query, &config, result);
  return 0;
}

int Searcher::doSearchByMoreFields(const char* index_name,
                                   _DArray* field_names, bool match_each_field,
                                   const char* query, int start, int num,
                                   SearchResult* result, bool) {
  if (is_empty_str(index_name) || is_empty_str(query) || result == nullptr) return -1;
  SearchIndexConfig config;
  config.createConfigItem(index_name, field_names, start, num, match_each_field);
  doSearch(query, &config, result);
  return 0;
}

int Searcher::doSearch(const char* query, SearchIndexConfig* config,
                       SearchResult* result) {
  if (result == nullptr || config == nullptr || is_empty_str(query)) return -1;
  _DArray* short_terms = darray_create(nullptr, false);
  _DArray* token_terms = darray_create(nullptr, false);
  if (short_terms == nullptr || token_terms == nullptr) {
    darray_destroy(short_terms);
    darray_destroy(token_terms);
    return -1;
  }
  bool need_short = false;
  bool need_tokens = false;
  if (config_manager_ != nullptr) {
    NeededAnalyses(config_manager_, config, &need_short, &need_tokens);
  }
  const TextOptions options = textOptions();
  if (need_short) parser_->fillQueryArray(query, short_terms, options);
  if (need_tokens) parser_->fillQueryTokenArray(query, token_terms, options);
  darray_shell_sort(short_terms, token_cmp);
  darray_uniq(short_terms, token_cmp);
  darray_shell_sort(token_terms, token_cmp);
  darray_uniq(token_terms, token_cmp);

  // Fuzzy spellings go between the query's own name terms and its text
  // terms; without fuzzy rules there are none.
  _DArray* lists[kQueryListCount + kMaxQueryAlternatives] = {short_terms};
  const int alternatives =
      need_short ? parser_->fillQueryAlternatives(query, short_terms, lists + 1,
                                                  kMaxQueryAlternatives, options)
                 : 0;
  lists[alternatives + 1] = token_terms;
  config->setAlternativeLists(alternatives);
  if (doSearch_Impl(result, config, lists, kQueryListCount + alternatives) == -1) {
    log_printf("query %s fail", query);
  }
  for (int i = 1; i <= alternatives; ++i) darray_destroy(lists[i]);
  darray_destroy(short_terms);
  darray_destroy(token_terms);
  return 0;
}

int Searcher::doSearch_Impl(SearchResult* result, SearchIndexConfig* config,
                            _DArray** term_lists, int list_count) {
  if (config_manager_ == nullptr || config == nullptr) return -1;
  _DArray* groups = nullptr;
  if (config->length() == 1) {
    index_info_t* info =
        config_manager_->getIndexInfo(config->getConfigItem(0)->index_name);
    if (info == nullptr) return -1;
    groups = info->groups;
  } else {
    groups = config_manager_->getAllGroupConfig();
  }
  if (groups == nullptr) return -1;
  const int n = static_cast<int>(darray_length(groups));
  for (int g = n - 1; g >= 0; --g) {
    GroupSearcher* searcher = config_manager_->group_config_get_searcher(
        GroupAt(groups, static_cast<unsigned int>(g)));
    if (searcher == nullptr) continue;
    // The newest group is searched straight into the result, every older one
    // into a part that is merged in. Which group is "newest" goes by
    // position: if the last group cannot be opened, all others are merged.
    if (g == n - 1) {
      searcher->doSearchIndex(result, config, term_lists, list_count);
      continue;
    }
    SearchResult part(false);
    searcher->doSearchIndex(&part, config, term_lists, list_count);
    result->mergeResult(&part);
  }
  return 0;
}

char* Searcher::getTableRecord(const char* index_name, const char* db_name,
                               const char* table_name) {
  SearchResult result(true);
  getTableRecordImpl(index_name, db_name, table_name, &result);
  return TakeJson(&result);
}

int Searcher::getTableRecordImpl(const char* index_name, const char* db_name,
                                 const char* table_name,
                                 SearchResult* result) {
  if (result == nullptr || is_empty_str(index_name) || is_empty_str(db_name) ||
      is_empty_str(table_name)) {
    return -1;
  }
  GroupSearcher* searcher = getRecentGroupSearcher(db_name, table_name, index_name);
  if (searcher == nullptr) return -1;
  TableResult* table = searcher->getTableRecord(index_name, db_name, table_name);
  if (table == nullptr) return -1;
  return result->addTableResult(table);
}

}  // namespace mobile_search
