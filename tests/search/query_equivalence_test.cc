// Query results pinned on a generated corpus: a few thousand chat messages
// and contacts (pinyin names, Chinese text with Latin words, names repeated
// in message texts so that one document holds a term in several fields),
// some rows changed or deleted, more than one postings file. Every query
// class runs with paging and field restrictions, and the JSON texts of each
// class are hashed; the hashes were taken before the query path was tuned,
// so any change in hits, their order, weights or counts shows up here. A
// deliberate change of results (tokens, weights, JSON) needs new hashes: the
// failure messages print them.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "foundation/dynamic_array.h"
#include "foundation/string_buffer.h"
#include "search/group_searcher.h"
#include "search/search_result.h"
#include "search/searcher.h"
#include "storage/index_manager.h"
#include "test_util.h"

namespace mobile_search {
namespace {

const char kIndex[] = "chat";
const char kDb[] = "main.db";

// Name characters with their pinyin, so that pinyin queries can be built.
const struct { const char* han; const char* pinyin; } kNameChars[] = {
    {"张", "zhang"}, {"王", "wang"}, {"李", "li"},     {"刘", "liu"},  {"陈", "chen"},
    {"杨", "yang"},  {"黄", "huang"}, {"赵", "zhao"},  {"伟", "wei"},  {"芳", "fang"},
    {"娜", "na"},    {"敏", "min"},  {"静", "jing"},   {"强", "qiang"}, {"磊", "lei"},
    {"军", "jun"},   {"洋", "yang"}, {"勇", "yong"},   {"杰", "jie"},  {"涛", "tao"},
    {"明", "ming"},  {"超", "chao"}, {"华", "hua"},    {"平", "ping"}};
const int kSurnames = 8;
const int kNameCharCount = sizeof(kNameChars) / sizeof(kNameChars[0]);

const char* const kTextChars[] = {
    "的", "一", "是", "不", "了", "人", "我", "在", "有", "他", "这", "中", "大", "来",
    "上", "个", "们", "到", "说", "时", "要", "就", "出", "会", "可", "也", "你", "对",
    "生", "能", "好", "天", "今", "吃", "饭", "没", "问", "题", "明", "见", "家", "走"};
const int kTextCharCount = sizeof(kTextChars) / sizeof(kTextChars[0]);

const char* const kWords[] = {"hello", "menu", "review", "meeting", "ok", "lunch",
                              "merge", "release", "help", "menus"};
const int kWordCount = sizeof(kWords) / sizeof(kWords[0]);

// Fixed-seed generator whose outputs do not depend on the standard library.
class Rng {
 public:
  explicit Rng(uint32_t seed) : state_(seed * 2654435761u + 1) {}
  uint32_t next() {
    state_ ^= state_ << 13;
    state_ ^= state_ >> 17;
    state_ ^= state_ << 5;
    return state_;
  }
  int below(int n) { return static_cast<int>(next() % static_cast<uint32_t>(n)); }
  // Skewed towards small values, like word frequencies.
  int skewed(int n) { return below(n) * below(n) / n; }

 private:
  uint32_t state_;
};

struct Name {
  std::string han, full, initials;
};

Name MakeName(Rng& rng) {
  Name n;
  int parts = 2 + rng.below(2);
  for (int i = 0; i < parts; ++i) {
    int c = i == 0 ? rng.below(kSurnames) : kSurnames + rng.below(kNameCharCount - kSurnames);
    n.han += kNameChars[c].han;
    n.full += kNameChars[c].pinyin;
    n.initials += kNameChars[c].pinyin[0];
  }
  return n;
}

std::string MakeText(Rng& rng, const std::vector<Name>& names) {
  std::string text;
  int len = 3 + rng.below(30);
  for (int i = 0; i < len; ++i) {
    int kind = rng.below(20);
    if (kind == 0) {
      text += std::string(" ") + kWords[rng.skewed(kWordCount)] + " ";
    } else if (kind == 1 && !names.empty()) {
      text += names[rng.below(static_cast<int>(names.size()))].han;
    } else {
      text += kTextChars[rng.skewed(kTextCharCount)];
    }
  }
  return text;
}

uint64_t Fnv(uint64_t h, const std::string& s) {
  for (unsigned char c : s) h = (h ^ c) * 1099511628211ull;
  return (h ^ 0xFF) * 1099511628211ull;
}

std::string Hex(uint64_t v) {
  char buf[17];
  snprintf(buf, sizeof buf, "%016llx", static_cast<unsigned long long>(v));
  return buf;
}

// Hash of every JSON text of each query class, in the order of kClasses.
const char* const kGolden[] = {
    "23ef03a742877e5b", "0b61956e0cc737a3", "e486c82c5761b2f8", "9550a145c95ac66a",
    "8d20d8c0d074593b", "b26cd752698e2002", "799db3b406e94510", "dfd608e638c67780",
    "4a6cf02f89e686e8", "85974f372c33135b",
};
const char* const kClasses[] = {"single", "chinese_2", "chinese_3", "chinese_4", "latin",
                                "name_han", "full_pinyin", "initials", "pinyin_prefix",
                                "mixed"};

class QueryEquivalenceTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(0, searcher_.open(dir_.path().c_str(), 0));
    ASSERT_EQ(0, searcher_.addIndex(kIndex, kDb, "message", "msg_id", "name,content,tag", "",
                                    "name", "extra", "tag", nullptr));
    ASSERT_EQ(0, searcher_.addIndex(kIndex, kDb, "contact", "uin", "name,content,tag", "",
                                    "name", "extra", "tag", nullptr));
  }

  void add(const char* table, const std::string& key, const std::string& name,
           const std::string& content, const std::string& tag) {
    const char* values[] = {name.c_str(), content.c_str(), tag.c_str(), "x"};
    ASSERT_EQ(0, searcher_.addDoc(kIndex, kDb, table, key.c_str(), 4,
                                  const_cast<char**>(values)));
  }

  // Plain, paged, one-field and each-field forms of one query.
  std::string run(const std::string& q) {
    std::string out;
    const struct { const char* field; int start, num; } forms[] = {
        {nullptr, 0, 20}, {nullptr, 7, 5}, {"content", 0, 20}, {"name", 2, 30}};
    for (const auto& f : forms) {
      char* json = searcher_.doSearch(kIndex, f.field, q.c_str(), f.start, f.num, false);
      out += json == nullptr ? "<null>" : json;
      out += "\n";
      free(json);
    }
    _DArray* fields = darray_create(nullptr, false);
    darray_append(fields, static_cast<const void*>("content"));
    darray_append(fields, static_cast<const void*>("name"));
    SearchResult result(true);
    EXPECT_EQ(0, searcher_.doSearchByMoreFields(kIndex, fields, true, q.c_str(), 0, 40,
                                                &result, false));
    darray_destroy(fields);
    StringBuffer* json = result.serialize();
    out += json == nullptr ? "<null>" : json->data;
    delete json;
    return out;
  }

  ks_test::TempDir dir_;
  Searcher searcher_;
};

TEST_F(QueryEquivalenceTest, EveryQueryClassGivesThePinnedResults) {
  Rng rng(20261122);
  std::vector<Name> contacts;
  std::vector<std::string> texts;
  searcher_.setAutoSave("default", false);
  for (int i = 0; i < 800; ++i) {
    contacts.push_back(MakeName(rng));
    add("contact", "c" + std::to_string(i), contacts.back().han,
        i % 3 == 0 ? MakeText(rng, contacts) : "", i % 5 == 0 ? "vip" : "");
  }
  // Enough postings to fill the first postings file, so that queries gather
  // from a sorted full file and from the active one.
  for (int i = 0; i < 5200; ++i) {
    std::string sender = rng.below(4) == 0 ? contacts[rng.below(800)].han : "";
    texts.push_back(MakeText(rng, contacts));
    add("message", "m" + std::to_string(i), sender, texts.back(), "");
    if (i % 50 == 49) searcher_.save();
  }
  // Changed rows get new documents; deleted ones keep their postings.
  for (int i = 0; i < 5200; i += 13) {
    texts[i] = MakeText(rng, contacts);
    add("message", "m" + std::to_string(i), "", texts[i], "");
  }
  for (int i = 5; i < 5200; i += 17) {
    searcher_.delDoc(kIndex, kDb, "message", ("m" + std::to_string(i)).c_str());
  }
  for (int i = 1; i < 800; i += 29) {
    searcher_.delDoc(kIndex, kDb, "contact", ("c" + std::to_string(i)).c_str());
  }
  searcher_.save();
  GroupSearcher* group = searcher_.getGroupSearcher("default");
  ASSERT_NE(nullptr, group);
  ASSERT_GE(group->getIndexMgr()->index_mgr->getStore()->blockNumber(), 2);

  std::vector<std::vector<std::string>> queries(10);
  for (int i = 0; i < kTextCharCount; ++i) queries[0].push_back(kTextChars[i]);
  for (int n = 2; n <= 4; ++n) {
    for (int i = 0; i < 30; ++i) {
      const std::string& t = texts[rng.below(static_cast<int>(texts.size()))];
      // Cut n whole characters (3 bytes each) where the text has them.
      size_t at = t.find_first_of("\xe4\xe5\xe6\xe7\xe8\xe9", rng.below(static_cast<int>(t.size())));
      std::string q = at == std::string::npos ? t.substr(0, 3 * n) : t.substr(at, 3 * n);
      queries[n - 1].push_back(q);
    }
  }
  for (int i = 0; i < kWordCount; ++i) {
    std::string w = kWords[i];
    for (size_t len = 2; len <= w.size(); len += 2) queries[4].push_back(w.substr(0, len));
  }
  for (int i = 0; i < 30; ++i) {
    const Name& n = contacts[rng.below(800)];
    queries[5].push_back(n.han);
    queries[6].push_back(n.full);
    queries[7].push_back(n.initials);
    queries[8].push_back(n.full.substr(0, 2 + rng.below(static_cast<int>(n.full.size()) - 1)));
    queries[9].push_back(n.han.substr(0, 3) + " " + kWords[rng.below(kWordCount)]);
  }
  queries[9].push_back("zz qq");
  queries[9].push_back("的的的");

  std::vector<std::string> got;
  for (const auto& list : queries) {
    uint64_t h = 14695981039346656037ull;
    for (const auto& q : list) h = Fnv(h, run(q));
    got.push_back(Hex(h));
  }
  for (size_t c = 0; c < got.size(); ++c) EXPECT_EQ(kGolden[c], got[c]) << kClasses[c];
}

}  // namespace
}  // namespace mobile_search
