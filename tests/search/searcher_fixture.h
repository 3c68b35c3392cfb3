// A Searcher opened on a fresh root with index "chat" over tables "message"
// (key "msg_id") and "contact" (key "uin") of "main.db": fields "name"
// (pinyin names), "content" (text), "tag" (no-token) and profile field
// "extra". Searches come back as whole JSON texts, "<null>" for none. The
// free functions set up the same "message" table on searchers of other roots
// and other processes.
#ifndef KS_TESTS_SEARCH_SEARCHER_FIXTURE_H_
#define KS_TESTS_SEARCH_SEARCHER_FIXTURE_H_

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "gtest/gtest.h"
#include "search/search_result.h"
#include "search/searcher.h"
#include "search/table_result.h"
#include "test_util.h"

namespace mobile_search {

inline constexpr char kIndex[] = "chat";
inline constexpr char kDb[] = "main.db";

using ks_test::Take;

// Sorted keys of every returned hit; with `found`, also the sum of the
// tables' found counts.
inline std::vector<std::string> ResultKeys(const SearchResult& result, int* found = nullptr) {
  std::vector<std::string> keys;
  if (found != nullptr) *found = 0;
  for (int t = 0; t < result.getTableCount(); ++t) {
    const TableResult* table = result.getTableResult(t);
    if (found != nullptr) *found += table->getDocsFound();
    for (int i = 0; i < table->getCount(); ++i) keys.push_back(table->getPkey(i)->data);
  }
  std::sort(keys.begin(), keys.end());
  return keys;
}

// Registers table "message" with the fixture's layout; the searcher's result.
inline int RegisterMessages(Searcher* s) {
  return s->addIndex(kIndex, kDb, "message", "msg_id", "name,content,tag", "", "name", "extra",
                     "tag", nullptr);
}

// Adds or changes message `key` with `content` as its text and the other
// fields empty.
inline int PutMessage(Searcher* s, const std::string& key, const std::string& content) {
  const char* values[] = {"", content.c_str(), "", ""};
  return s->addDoc(kIndex, kDb, "message", key.c_str(), 4, const_cast<char**>(values));
}

// `n` Han characters of the common range drawn from `rng`: many postings.
inline std::string HanText(std::mt19937& rng, int n) {
  std::string s;
  for (int i = 0; i < n; ++i) {
    const unsigned int cp = 0x4E00 + rng() % 3000;
    s += static_cast<char>(0xE0 | (cp >> 12));
    s += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    s += static_cast<char>(0x80 | (cp & 0x3F));
  }
  return s;
}

class SearcherFixture : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(0, searcher_.open(dir_.path().c_str(), 0));
    Register("message", "msg_id", nullptr);
    Register("contact", "uin", nullptr);
  }

  void Register(const char* table, const char* key, const char* group) {
    ASSERT_EQ(0, searcher_.addIndex(kIndex, kDb, table, key, "name,content,tag", "", "name",
                                    "extra", "tag", group));
  }

  int Add(const char* table, const std::string& key, const std::string& name,
          const std::string& content, const std::string& tag = "",
          const std::string& extra = "") {
    const char* values[] = {name.c_str(), content.c_str(), tag.c_str(), extra.c_str()};
    return searcher_.addDoc(kIndex, kDb, table, key.c_str(), 4, const_cast<char**>(values));
  }

  std::string Search(const std::string& query, const char* field = nullptr, int start = 0,
                     int num = 10) {
    return Take(searcher_.doSearch(kIndex, field, query.c_str(), start, num, false));
  }

  // Sorted keys of all hits (a key fixes its table), and the sum of the
  // tables' found counts.
  std::vector<std::string> Hits(const std::string& query, int* found) {
    SearchResult result(true);
    EXPECT_EQ(0, searcher_.doSearch(kIndex, nullptr, query.c_str(), 0, 65535, &result, false));
    return ResultKeys(result, found);
  }

  // Search over a list of fields, each hit in one of them.
  std::string MoreFields(const std::vector<const char*>& names, const std::string& query,
                         int num = 10) {
    _DArray* fields = darray_create(nullptr, false);
    for (const char* name : names) darray_append(fields, static_cast<const void*>(name));
    SearchResult result(true);
    EXPECT_EQ(0, searcher_.doSearchByMoreFields(kIndex, fields, true, query.c_str(), 0, num,
                                                &result, false));
    darray_destroy(fields);
    std::unique_ptr<StringBuffer> json(result.serialize());
    return json ? std::string(json->data) : "<null>";
  }

  ks_test::TempDir dir_;
  Searcher searcher_;
};

}  // namespace mobile_search

#endif  // KS_TESTS_SEARCH_SEARCHER_FIXTURE_H_
