// Random adds, changes and deletes through Searcher against a plain model of
// the live rows, queried with Latin prefixes whose matches are easy to state:
// a row is hit once per field holding, for every query word, a word that
// begins with it (ignoring case); profile fields are never searched.
#include <algorithm>
#include <cstdlib>
#include <map>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "search/searcher.h"
#include "test_util.h"

namespace mobile_search {
namespace {

struct Row {
  std::string table;
  std::string name;
  std::string content;
  std::string extra;
};

std::vector<std::string> Words(const std::string& text) {
  std::vector<std::string> out;
  size_t at = 0;
  while (at < text.size()) {
    const size_t end = std::min(text.find(' ', at), text.size());
    if (end > at) out.push_back(text.substr(at, end - at));
    at = end + 1;
  }
  return out;
}

bool FieldHolds(const std::string& field, const std::vector<std::string>& prefixes) {
  const std::vector<std::string> words = Words(field);
  for (const std::string& p : prefixes) {
    bool found = false;
    for (const std::string& w : words) found |= w.compare(0, p.size(), p) == 0;
    if (!found) return false;
  }
  return true;
}

// Sorted "table/key" of every expected hit.
std::vector<std::string> Expected(const std::map<std::string, Row>& rows,
                                  const std::vector<std::string>& prefixes) {
  std::vector<std::string> out;
  for (const auto& [key, row] : rows) {
    const int fields = FieldHolds(row.name, prefixes) + FieldHolds(row.content, prefixes);
    // One word is one term (one hit per row); several terms give one hit per
    // field that holds them all.
    const int hits = prefixes.size() == 1 ? (fields > 0) : fields;
    for (int i = 0; i < hits; ++i) out.push_back(row.table + "/" + key);
  }
  std::sort(out.begin(), out.end());
  return out;
}

// Sorted "table/key" of every returned key, and the sum of found counts.
std::vector<std::string> Returned(const std::string& json, int* found) {
  std::vector<std::string> out;
  *found = 0;
  size_t at = 0;
  while ((at = json.find("{\"table_name\":\"", at)) != std::string::npos) {
    at += 15;
    const std::string table = json.substr(at, json.find('"', at) - at);
    const size_t docs = json.find("\"docs_found\":", at);
    *found += atoi(json.c_str() + docs + 13);
    const size_t next = json.find("{\"table_name\":\"", at);
    size_t keys = json.find("\"pkey_arr\":[", at);
    if (keys == std::string::npos || keys > next) continue;
    keys += 12;
    const size_t end = json.find(']', keys);
    std::string list = json.substr(keys, end - keys);
    std::replace(list.begin(), list.end(), ',', ' ');
    for (const std::string& quoted : Words(list)) {
      out.push_back(table + "/" + quoted.substr(1, quoted.size() - 2));
    }
  }
  std::sort(out.begin(), out.end());
  return out;
}

std::string RandomText(std::mt19937& rng, int max_words) {
  static const char kLetters[] = "abc";
  std::string text;
  const int words = 1 + static_cast<int>(rng() % max_words);
  for (int w = 0; w < words; ++w) {
    if (w) text += ' ';
    const int len = 1 + static_cast<int>(rng() % 4);
    for (int i = 0; i < len; ++i) {
      char c = kLetters[rng() % 3];
      if (rng() % 4 == 0) c = static_cast<char>(c - 'a' + 'A');  // case-blind
      text += c;
    }
  }
  return text;
}

std::string Lower(std::string s) {
  for (char& c : s) c = static_cast<char>(tolower(static_cast<unsigned char>(c)));
  return s;
}

TEST(SearcherModel, RandomChangesMatchAModelOfTheLiveRows) {
  ks_test::TempDir dir;
  Searcher searcher;
  ASSERT_EQ(0, searcher.open(dir.path().c_str(), 0));
  for (const char* table : {"message", "contact"}) {
    ASSERT_EQ(0, searcher.addIndex("chat", "main.db", table, "id", "name,content,tag", "",
                                   "name", "extra", "tag", nullptr));
  }
  searcher.setAutoSave("default", false);
  std::mt19937 rng(2026);
  std::map<std::string, Row> model;  // key -> live row, lower-cased texts
  for (int step = 0; step < 400; ++step) {
    const std::string key = "k" + std::to_string(rng() % 40);
    const char* table = key.size() % 2 ? "message" : "contact";  // fixed per key
    if (rng() % 5 == 0) {
      ASSERT_EQ(0, searcher.delDoc("chat", "main.db", table, key.c_str()));
      model.erase(key);
    } else {
      // Re-adding an earlier text sometimes revives a deleted row.
      const std::string name = RandomText(rng, 2);
      const std::string content = rng() % 3 ? RandomText(rng, 4) : "";
      const std::string extra = RandomText(rng, 2);
      const char* values[] = {name.c_str(), content.c_str(), "", extra.c_str()};
      ASSERT_EQ(0, searcher.addDoc("chat", "main.db", table, key.c_str(), 4,
                                   const_cast<char**>(values)));
      model[key] = {table, Lower(name), Lower(content), Lower(extra)};
    }
    if (step % 20 != 19) continue;
    for (int q = 0; q < 10; ++q) {
      std::vector<std::string> prefixes = Words(Lower(RandomText(rng, 2)));
      for (std::string& p : prefixes) p = p.substr(0, 1 + rng() % p.size());
      std::sort(prefixes.begin(), prefixes.end());
      prefixes.erase(std::unique(prefixes.begin(), prefixes.end()), prefixes.end());
      std::string query;
      for (const std::string& p : prefixes) query += (query.empty() ? "" : " ") + p;

      const std::vector<std::string> expected = Expected(model, prefixes);
      char* text = searcher.doSearch("chat", nullptr, query.c_str(), 0, 65535, false);
      const std::string json = text == nullptr ? "" : text;
      free(text);
      int found = 0;
      ASSERT_EQ(expected, Returned(json, &found)) << "step " << step << " query " << query;
      ASSERT_EQ(static_cast<int>(expected.size()), found) << query;

      // A page returns its share of the hits; found counts still cover the
      // tables that appear.
      const int start = static_cast<int>(rng() % 6), num = 1 + static_cast<int>(rng() % 4);
      text = searcher.doSearch("chat", nullptr, query.c_str(), start, num, false);
      const std::string page = text == nullptr ? "" : text;
      free(text);
      const int total = static_cast<int>(expected.size());
      const std::vector<std::string> paged = Returned(page, &found);
      ASSERT_EQ(std::min(num, std::max(0, total - start)), static_cast<int>(paged.size()))
          << query << " start " << start << " num " << num;
      ASSERT_TRUE(std::includes(expected.begin(), expected.end(), paged.begin(), paged.end()));
    }
  }
}

}  // namespace
}  // namespace mobile_search
