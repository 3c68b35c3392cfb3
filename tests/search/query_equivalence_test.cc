// Query results pinned on a generated corpus: a few thousand chat messages
// and contacts (pinyin names, Chinese text with Latin words, names repeated
// in message texts so that one document holds a term in several fields),
// some rows changed or deleted, more than one postings file. The JSON texts
// of every query class, with paging and field restrictions, are hashed; the
// hashes were taken before the query path was tuned, so any change in hits,
// their order, weights or counts shows up here. A deliberate change of
// results needs new hashes: the failure message prints them.
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "search/group_searcher.h"
#include "searcher_fixture.h"
#include "storage/index_manager.h"

namespace mobile_search {
namespace {

// Name characters, surnames first, with their pinyin; every Chinese
// character here is three bytes long.
const std::string kNameHan = "张王李刘陈杨黄赵伟芳娜敏静强磊军洋勇杰涛明超华平";
const char* const kPinyin[] = {"zhang", "wang", "li",   "liu",  "chen", "yang",  "huang", "zhao",
                               "wei",   "fang", "na",   "min",  "jing", "qiang", "lei",   "jun",
                               "yang",  "yong", "jie",  "tao",  "ming", "chao",  "hua",   "ping"};
const int kSurnames = 8, kNameCharCount = 24;
const std::string kTextChars =
    "的一是不了人我在有他这中大来上个们到说时要就出会可也你对生能好天今吃饭没问题明见家走";
const int kTextCharCount = 42;
const char* const kWords[] = {"hello", "menu", "review", "meeting", "ok", "lunch",
                              "merge", "release", "help", "menus"};
const int kWordCount = 10;

// Fixed-seed xorshift generator whose outputs do not depend on the
// standard library.
struct Rng {
  uint32_t state;
  int below(int n) {
    state ^= state << 13;
    state ^= state >> 17;
    state ^= state << 5;
    return static_cast<int>(state % static_cast<uint32_t>(n));
  }
  // Skewed towards small values, like word frequencies.
  int skewed(int n) { return below(n) * below(n) / n; }
};

struct Name {
  std::string han, full, initials;
};

Name MakeName(Rng& rng) {
  Name n;
  for (int i = 0, parts = 2 + rng.below(2); i < parts; ++i) {
    int c = i == 0 ? rng.below(kSurnames) : kSurnames + rng.below(kNameCharCount - kSurnames);
    n.han += kNameHan.substr(3 * c, 3);
    n.full += kPinyin[c];
    n.initials += kPinyin[c][0];
  }
  return n;
}

std::string MakeText(Rng& rng, const std::vector<Name>& names) {
  std::string text;
  for (int i = 0, len = 3 + rng.below(30); i < len; ++i) {
    int kind = rng.below(20);
    if (kind == 0) {
      text += std::string(" ") + kWords[rng.skewed(kWordCount)] + " ";
    } else if (kind == 1 && !names.empty()) {
      text += names[rng.below(static_cast<int>(names.size()))].han;
    } else {
      text += kTextChars.substr(3 * rng.skewed(kTextCharCount), 3);
    }
  }
  return text;
}

// Hash of every JSON text of each query class: single characters, 2, 3 and
// 4 characters, Latin prefixes, Chinese names, full pinyin, initials, pinyin
// prefixes, mixed.
const std::vector<std::string> kGolden = {
    "23ef03a742877e5b", "0b61956e0cc737a3", "e486c82c5761b2f8", "9550a145c95ac66a",
    "8d20d8c0d074593b", "b26cd752698e2002", "799db3b406e94510", "dfd608e638c67780",
    "4a6cf02f89e686e8", "85974f372c33135b",
};

class QueryEquivalenceTest : public SearcherFixture {
 protected:
  // Plain, paged, one-field and each-field forms of one query.
  std::string run(const std::string& q) {
    std::string out;
    const struct { const char* field; int start, num; } forms[] = {
        {nullptr, 0, 20}, {nullptr, 7, 5}, {"content", 0, 20}, {"name", 2, 30}};
    for (const auto& f : forms) out += Search(q, f.field, f.start, f.num) + "\n";
    return out + MoreFields({"content", "name"}, q, 40);
  }
};

TEST_F(QueryEquivalenceTest, EveryQueryClassGivesThePinnedResults) {
  Rng rng{20261122u * 2654435761u + 1};
  std::vector<Name> contacts;
  std::vector<std::string> texts;
  searcher_.setAutoSave("default", false);
  for (int i = 0; i < 800; ++i) {
    contacts.push_back(MakeName(rng));
    ASSERT_EQ(0, Add("contact", "c" + std::to_string(i), contacts.back().han,
                     i % 3 == 0 ? MakeText(rng, contacts) : "", i % 5 == 0 ? "vip" : "", "x"));
  }
  // Enough postings to fill the first postings file, so that queries gather
  // from a sorted full file and from the active one.
  for (int i = 0; i < 5200; ++i) {
    std::string sender = rng.below(4) == 0 ? contacts[rng.below(800)].han : "";
    texts.push_back(MakeText(rng, contacts));
    ASSERT_EQ(0, Add("message", "m" + std::to_string(i), sender, texts.back(), "", "x"));
    if (i % 50 == 49) searcher_.save();
  }
  // Changed rows get new documents; deleted ones keep their postings.
  for (int i = 0; i < 5200; i += 13) {
    texts[i] = MakeText(rng, contacts);
    ASSERT_EQ(0, Add("message", "m" + std::to_string(i), "", texts[i], "", "x"));
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
  for (int i = 0; i < kTextCharCount; ++i) queries[0].push_back(kTextChars.substr(3 * i, 3));
  for (int n = 2; n <= 4; ++n) {
    for (int i = 0; i < 30; ++i) {
      const std::string& t = texts[rng.below(static_cast<int>(texts.size()))];
      // Cut n whole characters (3 bytes each) where the text has them.
      size_t at = t.find_first_of("\xe4\xe5\xe6\xe7\xe8\xe9", rng.below(static_cast<int>(t.size())));
      queries[n - 1].push_back(at == std::string::npos ? t.substr(0, 3 * n) : t.substr(at, 3 * n));
    }
  }
  for (const std::string w : kWords) {
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
    uint64_t h = 14695981039346656037ull;  // FNV-1a over the texts, each closed by 0xFF
    for (const auto& q : list) {
      for (unsigned char c : run(q)) h = (h ^ c) * 1099511628211ull;
      h = (h ^ 0xFF) * 1099511628211ull;
    }
    char hex[17];
    snprintf(hex, sizeof hex, "%016llx", static_cast<unsigned long long>(h));
    got.push_back(hex);
  }
  EXPECT_EQ(kGolden, got);
}

}  // namespace
}  // namespace mobile_search
