// Fuzzes the query-string form of a search and the query text, on a real
// engine: an index "chat" over two tables of a few dozen documents, built once
// in a temporary root.
//
// Input: a query string ("index_name=chat&query=zs&start=1&num=3"). Checked:
//   - it answers exactly what the explicit search with the parts a plain
//     parser of the query-string language finds answers (null when
//     index_name or query is missing);
//   - paging: the hits returned are those ranked start+1 .. start+num of the
//     same search with everything returned (num capped at 65535): as many,
//     each table's in its rank order, with the same found counts;
//   - the query text's term lists (name fields and text fields) return 0 and
//     are sorted signs without count or match bits.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "foundation/dynamic_array.h"
#include "fuzz_check.h"
#include "search/searcher.h"
#include "test_util.h"
#include "text/token_parser.h"
#include "text/token_unit.h"

using namespace mobile_search;

namespace {

const char kIndex[] = "chat";
const char kDb[] = "main.db";
const int kMaxNum = 65535;

struct Engine {
  ks_test::TempDir dir;  // outlives the searcher, destroyed last
  Searcher searcher;
  TokenParser parser;
};

void AddDoc(Searcher& s, const char* table, const std::string& key, const std::string& name,
            const std::string& content, const std::string& tag) {
  const char* values[] = {name.c_str(), content.c_str(), tag.c_str()};
  FUZZ_CHECK(s.addDoc(kIndex, kDb, table, key.c_str(), 3, const_cast<char**>(values)) == 0,
             "cannot add %s", key.c_str());
}

Engine* Build() {
  Engine* e = new Engine;
  Searcher& s = e->searcher;
  FUZZ_CHECK(s.open(e->dir.path().c_str(), 0) == 0, "cannot open the engine");
  for (const char* table : {"message", "contact"}) {
    FUZZ_CHECK(s.addIndex(kIndex, kDb, table, "id", "name,content,tag", "", "name", "", "tag",
                          nullptr) == 0,
               "cannot register %s", table);
  }
  const char* names[] = {"张三", "张三丰", "李四", "王五", "Zhang Wei", "zs", "赵六", "张伟",
                         "Lily", "小明"};
  const char* contents[] = {"明天下午三点开会", "hello world 123", "张三说他明天来",
                            "会议改到周五", "see you at 5pm!", "zhangsan@example.com",
                            "价格 99.5 元", "中华人民共和国", "good morning 早上好", "ok"};
  const char* tags[] = {"work", "family", "Work", "vip", "", "friends"};
  for (int i = 0; i < 40; ++i) {
    AddDoc(s, i % 3 == 0 ? "contact" : "message", (i % 3 == 0 ? "c" : "m") + std::to_string(i),
           names[i % 10], contents[(i * 7) % 10], tags[i % 6]);
  }
  return e;
}

Engine& GetEngine() {
  // Kept for the life of the process; the directory goes with it at exit.
  static Engine* engine = Build();
  return *engine;
}

struct QueryString {
  std::string index_name, field_name, query;
  bool has_index = false, has_field = false, has_query = false;
  int start = 0, num = 10;
};

// The query-string language: "&"-separated parts, the first "=" of a part
// splits key from value, the last of a repeated key wins, other parts ignored.
QueryString Parse(const std::string& text) {
  QueryString q;
  size_t from = 0;
  while (from <= text.size()) {
    size_t amp = text.find('&', from);
    if (amp == std::string::npos) amp = text.size();
    const std::string part = text.substr(from, amp - from);
    from = amp + 1;
    const size_t eq = part.find('=');
    if (eq == std::string::npos) continue;
    const std::string key = part.substr(0, eq), value = part.substr(eq + 1);
    if (key == "index_name") {
      q.index_name = value;
      q.has_index = true;
    } else if (key == "field_name") {
      q.field_name = value;
      q.has_field = true;
    } else if (key == "query") {
      q.query = value;
      q.has_query = true;
    } else if (key == "start") {
      q.start = atoi(value.c_str());
    } else if (key == "num") {
      q.num = atoi(value.c_str());
    }
  }
  return q;
}

std::string Take(char* text, bool* null) {
  *null = text == nullptr;
  if (text == nullptr) return "";
  std::string s(text);
  free(text);
  return s;
}

// One table of a JSON result, read from the text.
struct Table {
  std::string name;
  long long found = 0, returned = 0;
  std::vector<std::string> keys;
};

long long NumberAfter(const std::string& json, size_t from, const char* key) {
  const size_t at = json.find(key, from);
  FUZZ_CHECK(at != std::string::npos, "no %s in %s", key, json.c_str());
  return atoll(json.c_str() + at + strlen(key));
}

// The engine's keys and names hold no quotes, so the text splits plainly.
std::vector<Table> ReadTables(const std::string& json) {
  const std::string head = "{\"all_result\":[";
  FUZZ_CHECK(json.compare(0, head.size(), head) == 0 && json.size() >= head.size() + 2 &&
                 json.compare(json.size() - 2, 2, "]}") == 0,
             "not a result frame: %s", json.c_str());
  std::vector<Table> tables;
  const std::string name_key = "{\"table_name\":\"";
  for (size_t at = json.find(name_key); at != std::string::npos; at = json.find(name_key, at + 1)) {
    Table t;
    const size_t name_at = at + name_key.size();
    t.name = json.substr(name_at, json.find('"', name_at) - name_at);
    t.found = NumberAfter(json, at, "\"docs_found\":");
    t.returned = NumberAfter(json, at, "\"docs_return\":");
    const size_t end = json.find('}', at);
    const size_t keys_at = json.find("\"pkey_arr\":[", at);
    if (keys_at != std::string::npos && keys_at < end) {
      size_t p = keys_at + strlen("\"pkey_arr\":[");
      while (json[p] == '"') {
        const size_t close = json.find('"', p + 1);
        t.keys.push_back(json.substr(p + 1, close - p - 1));
        p = close + 1;
        if (json[p] == ',') ++p;
      }
    }
    FUZZ_CHECK((long long)t.keys.size() == t.returned && t.returned <= t.found,
               "table %s: %zu keys, docs_return %lld, docs_found %lld", t.name.c_str(),
               t.keys.size(), t.returned, t.found);
    tables.push_back(t);
  }
  return tables;
}

// `part` must be `all` cut to the hits ranked start+1 .. start+num.
void CheckPage(const std::string& part, const std::string& all, int start, int num) {
  const std::vector<Table> got = ReadTables(part);
  const std::vector<Table> every = ReadTables(all);
  long long found = 0, returned = 0;
  for (const Table& t : every) {
    FUZZ_CHECK(t.returned == t.found, "everything asked for, not returned: %s", all.c_str());
    found += t.found;
  }
  for (const Table& t : got) {
    // A page lists its tables in the order of their first hit on it.
    size_t j = 0;
    while (j < every.size() && every[j].name != t.name) ++j;
    FUZZ_CHECK(j < every.size() && every[j].found == t.found,
               "table %s of the page is not in the whole result\n  page: %s\n  all: %s",
               t.name.c_str(), part.c_str(), all.c_str());
    // The page's keys are a subsequence of the table's ranked keys.
    size_t k = 0;
    for (const std::string& key : t.keys) {
      while (k < every[j].keys.size() && every[j].keys[k] != key) ++k;
      FUZZ_CHECK(k < every[j].keys.size(), "key %s out of rank order\n  page: %s\n  all: %s",
                 key.c_str(), part.c_str(), all.c_str());
      ++k;
    }
    returned += t.returned;
  }
  const long long last = (long long)start + (num > kMaxNum ? kMaxNum : num);
  const long long want = std::max(0LL, std::min(found, last) - std::max(0LL, (long long)start));
  FUZZ_CHECK(returned == want, "start %d num %d over %lld hits returned %lld, want %lld", start,
             num, found, returned, want);
}

void CheckTerms(TokenParser& parser, const std::string& query) {
  for (int list = 0; list < 2; ++list) {
    _DArray* terms = darray_create(nullptr, false);
    const int rc = list == 0 ? parser.fillQueryArray(query.c_str(), terms)
                             : parser.fillQueryTokenArray(query.c_str(), terms);
    FUZZ_CHECK(rc == 0, "query terms of \"%s\" failed", ks_fuzz::Escaped(query).c_str());
    for (unsigned int i = 0; i < darray_length(terms); ++i) {
      const unsigned long long slot = darray_get_by_index(terms, i);
      FUZZ_CHECK((slot >> 32) == 0, "term %u of \"%s\" carries %llx", i,
                 ks_fuzz::Escaped(query).c_str(), slot);
      FUZZ_CHECK(i == 0 || token_cmp(darray_get_by_index(terms, i - 1), slot) <= 0,
                 "terms of \"%s\" not sorted", ks_fuzz::Escaped(query).c_str());
    }
    darray_destroy(terms);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Engine& e = GetEngine();
  // The engine reads C strings: the input up to its first zero byte.
  const std::string text(reinterpret_cast<const char*>(data), strnlen((const char*)data, size));
  const QueryString q = Parse(text);
  CheckTerms(e.parser, q.has_query ? q.query : text);

  bool got_null = false, want_null = true;
  const std::string got = Take(e.searcher.doSearch(text.c_str()), &got_null);
  std::string want;
  if (q.has_index && q.has_query) {
    want = Take(e.searcher.doSearch(q.index_name.c_str(), q.has_field ? q.field_name.c_str() : nullptr,
                                    q.query.c_str(), q.start, q.num, false),
                &want_null);
  }
  FUZZ_CHECK(got_null == want_null && got == want,
             "query string \"%s\"\n  gave %s\n  want %s", ks_fuzz::Escaped(text).c_str(),
             got_null ? "null" : got.c_str(), want_null ? "null" : want.c_str());

  if (!got_null && q.index_name == kIndex) {
    bool all_null = false;
    const std::string all =
        Take(e.searcher.doSearch(kIndex, q.has_field ? q.field_name.c_str() : nullptr,
                                 q.query.c_str(), 0, kMaxNum, false),
             &all_null);
    FUZZ_CHECK(!all_null, "a page was found but the whole result is null");
    CheckPage(got, all, q.start, q.num);
  }
  return 0;
}
