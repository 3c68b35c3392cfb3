// Names as users type them, on real roots: each option set of the table
// indexes the same contacts, and every query of its rows is run against the
// index and, for every contact, through the highlighter with the same
// options. A contact the search returns must be marked exactly as the row
// says; any other must come back unmarked. Then the rankings the options
// promise.
#include <map>
#include <string>
#include <vector>

#include "config/engine_options.h"
#include "searcher_fixture.h"
#include "text/highlight.h"

namespace mobile_search {
namespace {

// clang-format off
const char* const kContacts[] = {
    "张三", "张三丰", "曾小贤", "单田芳", "李四", "王五", "超超", "三张", "万俟雅", "南风",
    "乐嘉", "李乐"};
// clang-format on
const int kContactCount = sizeof(kContacts) / sizeof(kContacts[0]);

struct Row {
  const char* query;
  std::vector<const char*> marked;  // the abstracts of the contacts found, any order
};

struct OptionSet {
  std::vector<std::pair<const char*, const char*>> options;
  std::vector<Row> rows;
};

class NameOptionsTest : public ::testing::Test {
 protected:
  // A fresh root with the options set and the contacts indexed as c0, c1, ...
  void Open(const std::vector<std::pair<const char*, const char*>>& options,
            const std::vector<const char*>& more = {}) {
    names_.assign(kContacts, kContacts + kContactCount);
    names_.insert(names_.end(), more.begin(), more.end());
    searcher_.reset(new Searcher());
    dir_.reset(new ks_test::TempDir());
    values_ = OptionValues();
    ASSERT_EQ(0, searcher_->open(dir_->path().c_str(), 0));
    ASSERT_EQ(0, searcher_->addIndex(kIndex, kDb, "contact", "uin", "name", "", "name", nullptr,
                                     nullptr, nullptr));
    for (const auto& o : options) {
      ASSERT_EQ(0, searcher_->setOption(o.first, o.second)) << o.first;
      ASSERT_EQ(0, parseEngineOption(o.first, o.second, &values_));
    }
    for (size_t i = 0; i < names_.size(); ++i) {
      const char* values[] = {names_[i]};
      const std::string key = "c" + std::to_string(i);
      ASSERT_EQ(0, searcher_->addDoc(kIndex, kDb, "contact", key.c_str(), 1,
                                     const_cast<char**>(values)));
    }
  }

  // Contact names in rank order, with their weights.
  std::vector<std::pair<std::string, int>> Hits(const std::string& query) {
    SearchResult result(true);
    EXPECT_EQ(0, searcher_->doSearch(kIndex, nullptr, query.c_str(), 0, 100, &result, false));
    std::vector<std::pair<std::string, int>> hits;
    for (int t = 0; t < result.getTableCount(); ++t) {
      const TableResult* table = result.getTableResult(t);
      for (int i = 0; i < table->getCount(); ++i) {
        hits.emplace_back(names_[atoi(table->getPkey(i)->data + 1)], table->getWeight(i));
      }
    }
    return hits;
  }

  // The abstract and whether anything was marked.
  std::pair<std::string, int> Highlight(const char* text, const char* query) {
    int hit = 0;
    const std::string abs = Take(highLight_Abstract(text, query, 30, hit, values_.text));
    return {abs, hit};
  }

  void Check(const OptionSet& set, bool highlightMisses) {
    Open(set.options);
    std::string label;
    for (const auto& o : set.options) label += std::string(o.first) + "=" + o.second + " ";
    for (const Row& row : set.rows) {
      std::map<std::string, std::string> expected;
      for (const char* m : row.marked) expected[ks_test::Untagged(m)] = m;
      std::map<std::string, std::string> found;
      for (const auto& h : Hits(row.query)) found[h.first] = h.first;
      for (int i = 0; i < kContactCount; ++i) {
        const std::string name = kContacts[i];
        const auto want = expected.find(name);
        const bool hit = found.count(name) > 0;
        EXPECT_EQ(want != expected.end(), hit) << label << row.query << " / " << name;
        const auto abs = Highlight(kContacts[i], row.query);
        if (want != expected.end()) {
          EXPECT_EQ(want->second, abs.first) << label << row.query << " / " << name;
        } else if (highlightMisses) {
          EXPECT_EQ(0, abs.second) << label << row.query << " / " << name << ": " << abs.first;
        }
      }
    }
  }

  std::vector<const char*> names_;
  std::unique_ptr<ks_test::TempDir> dir_;
  std::unique_ptr<Searcher> searcher_;
  OptionValues values_;
};

TEST_F(NameOptionsTest, QueriesTimesNamesWithTheHighlighterOnEveryCell) {
  const std::vector<Row> everywhere = {
      {"zhangsan", {"<red>张三</red>", "<red>张三</red>丰"}},
      {"zs", {"<red>张三</red>", "<red>张三</red>丰"}},
      {"sz", {"<red>三张</red>"}},  // 三张 is not 张三
      {"cxx", {"<red>曾小贤</red>"}},
      {"tt", {}},
      {"chaochao", {"<red>超超</red>"}},
  };
  // No option: the plain highlighter is looser than the index ("zsan" marks
  // 张三 by its letters) and stays so; only the hits are compared.
  OptionSet none = {{}, everywhere};
  for (const char* miss : {"zengxiaoxian", "zxx", "shantianfang", "stf", "zsan", "zhs",
                           "zhangsf", "moqiya", "zangsan", "lanfeng", "liyue"}) {
    none.rows.push_back({miss, {}});
  }
  Check(none, false);

  OptionSet surname = {{{"name_readings", "surname"}}, everywhere};
  surname.rows.insert(surname.rows.end(),
                      {{"zengxiaoxian", {"<red>曾小贤</red>"}},
                       {"zxx", {"<red>曾小贤</red>"}},
                       {"cengxiaoxian", {"<red>曾小贤</red>"}},
                       {"xiaoxian", {"曾<red>小贤</red>"}},
                       {"shantianfang", {"<red>单田芳</red>"}},
                       {"stf", {"<red>单田芳</red>"}},
                       {"moqiya", {"<red>万俟雅</red>"}},
                       {"mqy", {"<red>万俟雅</red>"}},
                       {"yuejia", {"<red>乐嘉</red>"}},
                       {"liyue", {}},  // not a surname: 乐 only reads le there
                       {"zsan", {}}});
  Check(surname, true);

  OptionSet common = {{{"name_readings", "all_common"}}, everywhere};
  common.rows.insert(common.rows.end(),
                     {{"zengxiaoxian", {"<red>曾小贤</red>"}},
                      {"shantianfang", {"<red>单田芳</red>"}},
                      {"liyue", {"<red>李乐</red>"}},
                      {"yuejia", {"<red>乐嘉</red>"}},
                      {"tiao", {}}});  // 超's classical reading is not a common one
  Check(common, true);

  OptionSet mix = {{{"syllable_mix", "on"}}, everywhere};
  mix.rows.insert(mix.rows.end(),
                  {{"zsan", {"<red>张三</red>", "<red>张三</red>丰"}},
                   {"zhangs", {"<red>张三</red>", "<red>张三</red>丰"}},
                   {"zhs", {"<red>张三</red>", "<red>张三</red>丰"}},
                   {"zhsan", {"<red>张三</red>", "<red>张三</red>丰"}},
                   {"zhangsf", {"<red>张三丰</red>"}},
                   {"zsfeng", {"<red>张三丰</red>"}},
                   {"szh", {"<red>三张</red>"}},
                   {"zhsz", {}},  // no jump across names
                   {"zengxiaoxian", {}}});
  Check(mix, true);

  OptionSet fuzzy = {{{"fuzzy", "z-zh,n-l,an-ang"}}, everywhere};
  fuzzy.rows.insert(fuzzy.rows.end(),
                    {{"zangsan", {"<red>张三</red>", "<red>张三</red>丰"}},
                     {"lanfeng", {"<red>南风</red>"}},
                     {"nisi", {"<red>李四</red>"}},
                     {"wangwu", {"<red>王五</red>"}},
                     {"sangsan", {}}});  // s-sh is not among the rules
  Check(fuzzy, true);

  OptionSet all = {{{"name_readings", "all_common"}, {"syllable_mix", "on"},
                    {"fuzzy", "z-zh,c-ch,s-sh,n-l,l-r,f-h,an-ang,en-eng,in-ing"}},
                   everywhere};
  all.rows.insert(all.rows.end(),
                  {{"zengxx", {"<red>曾小贤</red>"}},
                   {"zsan", {"<red>张三</red>", "<red>张三</red>丰"}},
                   {"zangsf", {"<red>张三丰</red>"}},
                   {"stfang", {"<red>单田芳</red>"}}});
  Check(all, true);
}

TEST_F(NameOptionsTest, RankingsOfTheOptions) {
  // A surname reading weighs what the plain reading weighs.
  ASSERT_NO_FATAL_FAILURE(Open({{"name_readings", "surname"}}));
  EXPECT_EQ(Hits("cengxiaoxian"), Hits("zengxiaoxian"));
  EXPECT_EQ(1u, Hits("zengxiaoxian").size());

  ASSERT_NO_FATAL_FAILURE(Open({{"syllable_mix", "on"}, {"fuzzy", "z-zh"}}, {"张桑", "臧三"}));
  std::map<std::string, int> weight;
  for (const auto& h : Hits("zsan")) weight[h.first] = h.second;
  // A whole last syllable (三 san) before a cut one (桑 sang), a name
  // spelled whole before a longer one.
  EXPECT_EQ(4u, weight.size());
  EXPECT_GT(weight["张三"], weight["张三丰"]);
  EXPECT_GT(weight["张三丰"], weight["张桑"]);
  EXPECT_EQ(weight["张三"], weight["臧三"]);
  // The spelling as typed (臧三 zangsan) before its fuzzy variant zhangsan,
  // whose hits keep their order at half their weight.
  const auto fuzzy = Hits("zangsan");
  ASSERT_EQ(4u, fuzzy.size());
  EXPECT_EQ("臧三", fuzzy[0].first);
  EXPECT_EQ("张三", fuzzy[1].first);
  EXPECT_EQ("张三丰", fuzzy[2].first);
  EXPECT_EQ("张桑", fuzzy[3].first);  // zhangsan is a prefix of zhangsang
  EXPECT_GT(fuzzy[0].second, fuzzy[1].second);
  EXPECT_GT(fuzzy[1].second, fuzzy[2].second);
  EXPECT_GT(fuzzy[2].second, fuzzy[3].second);
}

}  // namespace
}  // namespace mobile_search
