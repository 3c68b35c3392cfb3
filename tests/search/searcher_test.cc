// The search engine end to end through Searcher, on a real root directory:
// an index "chat" over two tables with a pinyin name field, a text field, a
// no-token field and a profile field. JSON texts are compared whole; a
// random run is compared with a model of the live rows.
#include <algorithm>
#include <atomic>
#include <iterator>
#include <map>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "search/group_searcher.h"
#include "search/search_index_config.h"
#include "searcher_fixture.h"
#include "storage/doc_id_manager.h"
#include "storage/index_manager.h"

namespace mobile_search {
namespace {

// The whole JSON text of a search, written "table found hit hit ... | ...",
// each hit key:doc:field:weight[:group] (group "default" when left out);
// "<null>" for an empty text. Key field "msg_id" for table "message", else "uin".
std::string Json(const std::string& layout) {
  if (layout.empty()) return "<null>";
  std::string out = "{\"all_result\":[";
  std::istringstream tables(layout);
  for (std::string part; std::getline(tables, part, '|');) {
    std::istringstream in(part);
    std::string table, hit, cols[5];  // keys, docs, fields, weights, groups
    int found = 0, count = 0;
    in >> table >> found;
    for (; in >> hit; ++count) {
      std::replace(hit.begin(), hit.end(), ':', ' ');
      std::istringstream values(hit + " default");
      for (int c = 0; c < 5; ++c) {
        std::string v;
        values >> v;
        cols[c] += (count ? "," : "") + (c == 0 || c == 4 ? "\"" + v + "\"" : v);
      }
    }
    out += std::string(out.back() == '[' ? "" : ",") + "{\"table_name\":\"" + table +
           "\",\"db_name\":\"main.db\",\"key_field\":\"" +
           (table == "message" ? "msg_id" : "uin") + "\",\"docs_found\":" + std::to_string(found) +
           ",\"docs_return\":" + std::to_string(count) +
           ",\"field_num\":4,\"field_list\":\"name,content,tag,extra\"";
    if (count > 0) {
      out += ",\"pkey_arr\":[" + cols[0] + "],\"offset_arr\":[" + cols[1] + "],\"field_id_arr\":[" +
             cols[2] + "],\"weight_arr\":[" + cols[3] + "],\"group_arr\":[" + cols[4] + "]";
    }
    out += "}";
  }
  return out + "]}";
}

class SearcherTest : public SearcherFixture {
 protected:
  // The three documents most tests search.
  void AddBasicDocs() {
    ASSERT_EQ(0, Add("message", "m1", "张三", "hello kitty", "work", "e1"));
    ASSERT_EQ(0, Add("message", "m2", "王五", "张三"));
    ASSERT_EQ(0, Add("contact", "c1", "张三丰", "", "VIP", "p"));
  }

  unsigned int DocCount(const char* group = "default") {
    GroupSearcher* g = searcher_.getGroupSearcher(group);
    return g == nullptr ? 0 : g->getIndexMgr()->doc_mgr->getDocNumber();
  }
};

TEST_F(SearcherTest, ChinesePinyinInitialsLatinNoTokenAndProfileFields) {
  AddBasicDocs();
  const std::pair<const char*, const char*> cases[] = {
      // Whole name (180) before a name prefix (133) before a text hit (80);
      // the table holding the best hit comes first.
      {"张三", "message 2 m1:0:0:180 m2:1:1:80 | contact 1 c1:2:0:133"},
      {"zhangsan", "message 1 m1:0:0:140 | contact 1 c1:2:0:93"},  // full pinyin
      {"ZhangS", "message 1 m1:0:0:40 | contact 1 c1:2:0:33"},     // its prefix, any case
      {"zs", "message 1 m1:0:0:80 | contact 1 c1:2:0:33"},         // initials
      {"HEL", "message 1 m1:0:1:125"},                             // a text word's prefix
      {"vip", "contact 1 c1:2:2:80"}, {"vi", ""},  // no-token fields: whole words only
      {"e1", ""},         // profile fields are stored, never searched
      {"张三 zzzz", ""}};  // one absent term empties the search
  for (const auto& [query, expected] : cases) EXPECT_EQ(Json(expected), Search(query)) << query;
  // Rows found through text terms alone (the long-text tokens hold no
  // three-character term) follow the name hits newest first, not by weight.
  ASSERT_EQ(0, Add("message", "m5", "", "张三丰来"));
  ASSERT_EQ(0, Add("message", "m6", "", "他说张三丰今天不来了"));
  EXPECT_EQ(Json("contact 1 c1:2:0:180 | message 2 m6:4:1:22 m5:3:1:25"), Search("张三丰"));
}

TEST_F(SearcherTest, FieldRestrictions) {
  AddBasicDocs();
  ASSERT_EQ(0, Add("message", "m3", "vip", "vip lounge"));
  // Only the name field: m2's text hit is gone. Only the text field: no
  // contact, whose text is empty, and m2 found through its text terms alone.
  EXPECT_EQ(Json("message 1 m1:0:0:180 | contact 1 c1:2:0:133"), Search("张三", "name"));
  EXPECT_EQ(Json("message 1 m2:1:1:30"), Search("张三", "content"));
  // All fields: the name posting of m3 wins. Several fields, each hit in one
  // of them: m3's name posting is dropped, so it ranks by its text posting.
  EXPECT_EQ(Json("message 1 m3:3:0:180 | contact 1 c1:2:2:80"), Search("vip"));
  EXPECT_EQ(Json("message 1 m3:3:1:166 | contact 1 c1:2:2:80"),
            MoreFields({"content", "tag"}, "vip"));
  // A row holding the term in both listed fields is ranked by the field
  // listed first: the text posting (167) or the tag posting (80). Hits
  // found through text terms alone keep the newest document first.
  ASSERT_EQ(0, Add("message", "m4", "", "VIP club", "VIP"));
  EXPECT_EQ(Json("message 2 m4:4:1:167 m3:3:1:166 | contact 1 c1:2:2:80"),
            MoreFields({"content", "tag"}, "vip"));
  EXPECT_EQ(Json("message 2 m4:4:2:80 m3:3:1:166 | contact 1 c1:2:2:80"),
            MoreFields({"tag", "content"}, "vip"));
}

TEST_F(SearcherTest, OneSearchOverSeveralIndexesPagesEachIndexOnItsOwn) {
  AddBasicDocs();
  ASSERT_EQ(0, searcher_.addIndex("notes", kDb, "note", "uin", "name,content,tag", "", "name",
                                  "extra", "tag", nullptr));
  const char* body[] = {"", "张三的笔记", "", ""};
  ASSERT_EQ(0, searcher_.addDoc("notes", kDb, "note", "n1", 4, const_cast<char**>(body)));
  SearchIndexConfig config;
  config.createConfigItem(kIndex, 0, 1);  // only the best hit of "chat"
  config.createConfigItem("notes", 0, 10);
  SearchResult result(true);
  ASSERT_EQ(0, searcher_.doSearch("张三", &config, &result));
  std::unique_ptr<StringBuffer> json(result.serialize());
  EXPECT_EQ(Json("message 2 m1:0:0:180 | note 1 n1:3:1:28"), json ? json->data : "<null>");
}

TEST_F(SearcherTest, PagingRunsOverRankedHitsOfAllTables) {
  // Ten hits with distinct weights: "apple" alone in a text of 5..15
  // characters. Even ranks in message, odd ranks in contact.
  const int lengths[] = {5, 6, 7, 8, 9, 10, 11, 12, 13, 15};
  for (int i = 0; i < 10; ++i) {
    const std::string text = ("apple " + std::string(lengths[i], 'x')).substr(0, lengths[i]);
    ASSERT_EQ(0, Add(i % 2 ? "contact" : "message", "k" + std::to_string(i), "", text));
  }
  // Base weights 20,16,14,12,11,10,9,8,7,6 plus 160 for a first whole word.
  // start 2, num 3: ranks 3 to 5 (k2, k3, k4); found counts include all.
  EXPECT_EQ(Json("message 5 k2:2:1:174 k4:4:1:171 | contact 5 k3:3:1:172"),
            Search("apple", nullptr, 2, 3));
  EXPECT_EQ("<null>", Search("apple", nullptr, 10, 5));  // beyond the last hit
  // Without start and num: the first ten.
  EXPECT_EQ(Search("apple"), Take(searcher_.doSearch("index_name=chat&query=apple")));
}

TEST_F(SearcherTest, DeletesRevivalsChangesListingsAndClears) {
  AddBasicDocs();
  IndexManager* postings = searcher_.getGroupSearcher("default")->getIndexMgr()->index_mgr;
  const unsigned int postings_before = postings->get_max_pos();
  // The same content again changes nothing.
  EXPECT_EQ(0, Add("message", "m1", "张三", "hello kitty", "work", "e1"));
  EXPECT_EQ(3u, DocCount());

  EXPECT_EQ(0, searcher_.delDoc(kIndex, kDb, "message", "m1"));
  EXPECT_EQ(1, searcher_.getDelNum("default"));
  EXPECT_EQ(Json("contact 1 c1:2:0:133 | message 1 m2:1:1:80"), Search("张三"));

  // Re-added with its old content: the old id comes back, nothing tokenized.
  EXPECT_EQ(0, Add("message", "m1", "张三", "hello kitty", "work", "e1"));
  EXPECT_EQ(3u, DocCount());
  EXPECT_EQ(postings_before, postings->get_max_pos());
  EXPECT_EQ(0, searcher_.getDelNum("default"));
  EXPECT_EQ(Json("message 2 m1:0:0:180 m2:1:1:80 | contact 1 c1:2:0:133"), Search("张三"));

  // Changed content, a profile field included: a new id, the old one
  // deleted and never returned. Back to the first content, that version
  // lives again.
  EXPECT_EQ(0, Add("message", "m1", "张三", "hello kitty", "work", "e2"));
  EXPECT_EQ(0, Add("message", "m1", "李四", "hello kitty", "work", "e1"));
  EXPECT_EQ(5u, DocCount());
  EXPECT_EQ(Json("contact 1 c1:2:0:133 | message 1 m2:1:1:80"), Search("张三"));
  EXPECT_EQ(Json("message 1 m1:4:0:140"), Search("lisi"));
  EXPECT_EQ(0, Add("message", "m1", "张三", "hello kitty", "work", "e1"));
  EXPECT_EQ("<null>", Search("lisi"));
  EXPECT_EQ(Json("message 2 m1:0:0:180 m2:1:1:80 | contact 1 c1:2:0:133"), Search("张三"));
  // Database and table names are matched without regard to case.
  EXPECT_EQ("{\"all_result\":[{\"table_name\":\"message\",\"db_name\":\"main.db\","
            "\"key_field\":\"msg_id\",\"docs_found\":2,\"docs_return\":2,\"field_num\":4,"
            "\"field_list\":\"name,content,tag,extra\",\"pkey_arr\":[\"m1\",\"m2\"]}]}",
            Take(searcher_.getTableRecord(kIndex, "MAIN.DB", "Message")));

  // Clearing one table removes its rows; empty names clear every table. The
  // callback runs once per table cleared.
  std::vector<std::string> cleared;
  auto record = [](void* ctx, const char*, const char*, const char* table, int) {
    static_cast<std::vector<std::string>*>(ctx)->push_back(table);
    return 0;
  };
  EXPECT_EQ(0, searcher_.clearDoc(&cleared, kIndex, kDb, "MESSAGE", record));
  EXPECT_EQ(Json("contact 1 c1:2:0:133"), Search("张三"));
  EXPECT_EQ(0, searcher_.clearDoc(&cleared, kIndex, "", "", record));
  EXPECT_EQ((std::vector<std::string>{"message", "message", "contact"}), cleared);
  EXPECT_EQ("<null>", Search("张三"));
  EXPECT_EQ(5, searcher_.getDelNum("default"));
  EXPECT_TRUE(searcher_.isAutoSave("default"));
}

TEST_F(SearcherTest, SeveralGroupsCompactionAndReopening) {
  AddBasicDocs();
  // The message table moves to a new group; new rows go there.
  Register("message", "msg_id", "g2");
  ASSERT_EQ(0, Add("message", "m4", "张三", ""));
  EXPECT_EQ(3u, DocCount("default"));
  // m2 changes in g2 while its old row still lives in the default group:
  // both groups find it, and the better hit (the lower field) is kept.
  ASSERT_EQ(0, Add("message", "m2", "张三", "x"));
  EXPECT_EQ(Json("message 2 m4:0:0:180:g2 m2:1:0:180:g2 m1:0:0:180 | contact 1 c1:2:0:133"),
            Search("张三"));
  // A delete reaches every group.
  EXPECT_EQ(0, searcher_.delDoc(kIndex, kDb, "message", "m2"));
  EXPECT_EQ(1, searcher_.getDelNum("g2"));
  EXPECT_EQ(1, searcher_.getDelNum("default"));
  EXPECT_EQ(Json("message 2 m4:0:0:180:g2 m1:0:0:180 | contact 1 c1:2:0:133"), Search("张三"));
  // Unknown groups.
  EXPECT_EQ(-1, searcher_.save("nope"));
  EXPECT_EQ(-1, searcher_.getDelNum("nope"));
  EXPECT_EQ(-1, searcher_.ellipse_index("nope", true));
  EXPECT_EQ(nullptr, searcher_.getGroupSearcher("nope"));

  // Compacting all groups: two are compacted (0), the empty third has
  // nothing to do (10), and that first non-zero result is what comes back.
  Register("contact", "uin", "g3");
  EXPECT_EQ(10, searcher_.ellipse_index(true));
  EXPECT_EQ(0, searcher_.getDelNum("default"));
  // Survivors are renumbered densely per group: m1 0, c1 1; m4 0.
  const std::string compacted = Search("张三");
  EXPECT_EQ(Json("message 2 m4:0:0:180:g2 m1:0:0:180 | contact 1 c1:1:0:133"), compacted);

  ASSERT_EQ(0, searcher_.save());
  {
    // Binding a searcher to another root releases this root's manager and
    // with it every group searcher (searcher_ must not be used after this),
    // so the reopening below reads the disk.
    ks_test::TempDir other_root;
    Searcher other;
    ASSERT_EQ(0, other.open(other_root.path().c_str(), 0));
  }
  Searcher reopened;
  ASSERT_EQ(0, reopened.open(dir_.path().c_str(), 0));
  EXPECT_EQ(compacted, Take(reopened.doSearch(kIndex, nullptr, "张三", 0, 10, false)));
}

TEST_F(SearcherTest, BadInputAndQueryStringsGiveFailureValues) {
  AddBasicDocs();
  Searcher unopened;
  EXPECT_EQ(-1, unopened.open(nullptr, 0));
  EXPECT_EQ(-1, unopened.open("", 0));
  EXPECT_EQ(nullptr, unopened.doSearch(kIndex, nullptr, "张三", 0, 10, false));
  EXPECT_EQ(-1, unopened.addDoc(kIndex, kDb, "message", "m9", 0, nullptr));

  EXPECT_EQ(nullptr, searcher_.doSearch(nullptr, nullptr, "张三", 0, 10, false));
  EXPECT_EQ(nullptr, searcher_.doSearch(kIndex, "", nullptr, 0, 10, false));
  EXPECT_EQ(-1, searcher_.doSearch(kIndex, nullptr, "x", 0, 10, nullptr, false));
  EXPECT_EQ(-1, searcher_.doSearch("x", nullptr, nullptr));

  // Documents: unknown tables and indexes, wrong field counts, null keys.
  const char* values[] = {"a", "b", "c", "d"};
  char** v = const_cast<char**>(values);
  EXPECT_EQ(-1, searcher_.addDoc(kIndex, kDb, "nosuch", "k", 4, v));
  EXPECT_EQ(-1, searcher_.addDoc("nosuch", kDb, "message", "k", 4, v));
  EXPECT_EQ(-1, searcher_.addDoc(kIndex, kDb, "message", "k", 3, v));
  EXPECT_EQ(-1, searcher_.addDoc(kIndex, kDb, "message", nullptr, 4, v));
  EXPECT_EQ(-1, searcher_.addDoc(kIndex, kDb, "message", "k", 4, nullptr));
  EXPECT_EQ(-1, searcher_.delDoc(kIndex, kDb, "message", nullptr));
  EXPECT_EQ(-1, searcher_.delDoc("", kDb, "message", "m1"));
  EXPECT_EQ(0, searcher_.delDoc(kIndex, kDb, "message", ""));  // accepted
  EXPECT_EQ(-1, searcher_.clearDoc(nullptr, "", kDb, "message", nullptr));
  EXPECT_EQ(nullptr, searcher_.getTableRecord(kIndex, kDb, "nosuch"));
  EXPECT_EQ(nullptr, searcher_.getTableRecord(kIndex, kDb, "0message"));
  EXPECT_EQ(nullptr, searcher_.getTableRecord(nullptr, kDb, "message"));
  EXPECT_EQ(3u, DocCount());

  // The query-string language.
  const std::string expected = Search("张三");
  ASSERT_NE("<null>", expected);
  const char* same[] = {
      "index_name=chat&query=张三", "&&index_name=chat&&&query=张三&",
      "index_name=other&query=x&index_name=chat&query=张三",  // last one wins
      "junk&unknown=1&index_name=chat&query=张三",
      "query=张三&index_name=chat&start=zero",  // atoi("zero") is 0
      "query=张三&index_name=chat&start=0&num=10&field_name="};
  for (const char* q : same) EXPECT_EQ(expected, Take(searcher_.doSearch(q))) << q;
  // The second name hit alone; the message table, with no hit on this page,
  // is left out.
  EXPECT_EQ(Json("contact 1 c1:2:0:133"),
            Take(searcher_.doSearch("num=1&field_name=name&index_name=chat&query=张三&start=1")));
  // Missing or empty parts, unknown index or field, an empty page, and very
  // long queries of every character class.
  std::string han, mixed;
  for (int i = 0; i < 3334; ++i) han += "张";
  for (int i = 0; i < 1000; ++i) mixed += "张a1!~ ";
  const std::string none[] = {
      "", "query=张三", "index_name=chat", "index_name=chat&query=", "index_name=&query=张三",
      "=&==&&=", "Index_Name=chat&query=张三", "index_name chat&query=张三",
      "index_name=nosuch&query=张三", "index_name=chat&field_name=nofield&query=张三",
      "index_name=chat&query=张三&num=0",
      "index_name=chat&query=张三&num=ten",  // atoi gives 0: nothing returned
      "index_name=chat&query=张三&field_name=content=x",
      "index_name=chat&query=张三&start=-5&num=-1",
      "index_name=chat&query=a=b",  // the query is "a=b", which nothing matches
      "index_name=chat&query=" + std::string(10000, 'a'), "index_name=chat&query=" + han,
      "index_name=chat&query=" + mixed};
  for (const std::string& q : none) EXPECT_EQ("<null>", Take(searcher_.doSearch(q.c_str()))) << q;
  EXPECT_EQ(nullptr, searcher_.doSearch(static_cast<const char*>(nullptr)));
}

std::vector<std::string> Words(const std::string& text) {
  std::istringstream in(text);
  return {std::istream_iterator<std::string>(in), std::istream_iterator<std::string>()};
}

bool FieldHolds(const std::string& field, const std::vector<std::string>& prefixes) {
  const std::vector<std::string> words = Words(field);
  return std::all_of(prefixes.begin(), prefixes.end(), [&words](const std::string& p) {
    return std::any_of(words.begin(), words.end(),
                       [&p](const std::string& w) { return w.compare(0, p.size(), p) == 0; });
  });
}

std::string Lower(std::string s) {
  for (char& c : s) c = static_cast<char>(tolower(static_cast<unsigned char>(c)));
  return s;
}

// One thread makes random adds, changes, deletes and revivals, another
// compacts the group over and over, two more search: no key may come back
// twice for one word (a row never has two live documents), and a search
// returns every hit it counts. Then the rows are compared with a model,
// queried with Latin prefixes: a row is hit once per field holding, for every
// query word, a word that begins with it (ignoring case), a one-word query
// hits a row once, and profile fields are never searched.
using SearcherConcurrency = SearcherTest;

TEST_F(SearcherConcurrency, SearchesAndCompactionsBesideRandomChangesThenRowsMatchAModel) {
  searcher_.setAutoSave("default", false);
  std::mt19937 rng(2026);
  // Up to `max_words` words of one to four letters out of "abc", some upper case.
  auto random_text = [&rng](int max_words) {
    std::string text;
    for (int w = 1 + static_cast<int>(rng() % max_words); w > 0; --w) {
      for (int len = 1 + static_cast<int>(rng() % 4); len > 0; --len) {
        const char letter = static_cast<char>('a' + rng() % 3);
        text += rng() % 4 ? letter : static_cast<char>(toupper(letter));
      }
      text += ' ';
    }
    return text;
  };
  std::map<std::string, std::pair<std::string, std::string>> model;  // key -> name, content
  std::atomic<bool> done(false);
  std::atomic<int> compactions(0);
  std::thread writer([&] {
    for (int step = 0; step < 800; ++step) {
      const std::string key = "k" + std::to_string(rng() % 40);
      const char* table = key.size() % 2 ? "message" : "contact";  // fixed per key
      if (rng() % 5 == 0) {
        EXPECT_EQ(0, searcher_.delDoc(kIndex, kDb, table, key.c_str()));
        model.erase(key);
      } else {
        const std::string name = random_text(2);
        const std::string content = rng() % 3 ? random_text(4) : "";
        EXPECT_EQ(0, Add(table, key, name, content, "", random_text(2)));
        model[key] = {Lower(name), Lower(content)};
      }
      // Halfway, wait (a bounded time) for a compaction to have run beside.
      for (int spin = 0; step == 400 && compactions == 0 && spin < 1000000; ++spin) {
        std::this_thread::yield();
      }
    }
    done = true;
  });
  std::thread compactor([&] {
    while (!done) {
      const int rc = searcher_.ellipse_index("default", true);
      if (rc == GroupSearcher::kEllipseDone) ++compactions;
      EXPECT_TRUE(rc == GroupSearcher::kEllipseDone || rc == GroupSearcher::kEllipseNothing) << rc;
    }
  });
  std::vector<std::thread> readers;
  for (const char* query : {"a", "B"}) {
    readers.emplace_back([this, query, &done] {
      while (!done) {
        int found = 0;
        const std::vector<std::string> keys = Hits(query, &found);
        EXPECT_EQ(keys.size(), static_cast<size_t>(found)) << query;
        EXPECT_EQ(keys.end(), std::adjacent_find(keys.begin(), keys.end())) << query;
      }
    });
  }
  writer.join();
  compactor.join();
  for (std::thread& t : readers) t.join();
  EXPECT_GT(compactions.load(), 0);

  for (int q = 0; q < 100; ++q) {
    std::set<std::string> unique;
    for (const std::string& w : Words(Lower(random_text(2)))) {
      unique.insert(w.substr(0, 1 + rng() % w.size()));
    }
    const std::vector<std::string> prefixes(unique.begin(), unique.end());
    std::string query;
    for (const std::string& p : prefixes) query += p + " ";

    std::vector<std::string> expected;  // sorted, as the model is
    for (const auto& [key, row] : model) {
      const int fields = FieldHolds(row.first, prefixes) + FieldHolds(row.second, prefixes);
      expected.insert(expected.end(), prefixes.size() == 1 ? fields > 0 : fields, key);
    }
    int found = 0;
    ASSERT_EQ(expected, Hits(query, &found)) << query;
    ASSERT_EQ(static_cast<int>(expected.size()), found) << query;
  }
}

}  // namespace
}  // namespace mobile_search
