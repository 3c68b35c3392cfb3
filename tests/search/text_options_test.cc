// The engine options through Searcher on real roots: how an option is set,
// kept and refused, and what each text option finds and misses, compared with
// a root without options indexing the same rows. Abstracts are compared whole.
#include <string>
#include <thread>
#include <vector>

#include "config/engine_options.h"
#include "search/group_searcher.h"
#include "searcher_fixture.h"
#include "text/highlight.h"

namespace mobile_search {
namespace {

// Keys of the "message" table in rank order, "-" for none.
std::string Ranked(Searcher& s, const std::string& query) {
  SearchResult result(true);
  EXPECT_EQ(0, s.doSearch(kIndex, nullptr, query.c_str(), 0, 100, &result, false));
  std::string keys;
  for (int t = 0; t < result.getTableCount(); ++t) {
    const TableResult* table = result.getTableResult(t);
    for (int i = 0; i < table->getCount(); ++i) {
      keys += (keys.empty() ? "" : " ") + std::string(table->getPkey(i)->data);
    }
  }
  return keys.empty() ? "-" : keys;
}

class TextOptionsTest : public SearcherFixture {
 protected:
  // Indexes the rows as "message" m1, m2, ... with option=value, runs the
  // queries, then clears the table, sets the option off, indexes the same
  // rows again and runs them again. Each case: query, keys with the option,
  // keys without it.
  void Compare(const char* option, const char* value,
               const std::vector<std::pair<std::string, std::string>>& rows,
               const std::vector<std::vector<std::string>>& cases) {
    ASSERT_EQ(0, parseEngineOption(option, value, &values_));
    for (const char* v : {value, "off"}) {
      ASSERT_EQ(0, searcher_.setOption(option, v));
      for (size_t i = 0; i < rows.size(); ++i) {
        ASSERT_EQ(0, Add("message", "m" + std::to_string(i + 1), rows[i].first, rows[i].second));
      }
      const size_t column = v == value ? 1 : 2;
      for (const auto& c : cases) {
        EXPECT_EQ(c[column], Ranked(searcher_, c[0])) << option << "=" << v << ": " << c[0];
      }
      ASSERT_EQ(0, searcher_.clearDoc(nullptr, kIndex, kDb, "message", nullptr));
    }
  }

  std::string Abstract(const std::string& text, const std::string& query) {
    int hit = 0;
    return Take(highLight_Abstract(text.c_str(), query.c_str(), 30, hit, values_.text));
  }

  OptionValues values_;
};

TEST_F(TextOptionsTest, OptionsAreCheckedKeptAndChangeOnlyOnAnEmptyIndex) {
  const std::string file = dir_.file("Options.cfg");
  Searcher closed;
  EXPECT_EQ(-1, closed.setOption("utf8", "full"));
  EXPECT_EQ("<null>", Take(closed.getOption("utf8")));
  const std::vector<std::pair<const char*, const char*>> refused = {
      {"nosuch", "1"},       {"utf8", "on"},        {"infix_digits", "2"}, {"infix_digits", "21"},
      {"infix_digits", "4x"}, {"infix_digits", "-4"}, {"fold", "traditional"}, {"", "off"},
      {"name_readings", "all"}, {"syllable_mix", "yes"}, {"fuzzy", "z-zh,z-zh"}, {"fuzzy", ""}};
  for (const auto& bad : refused) {
    EXPECT_EQ(-1, searcher_.setOption(bad.first, bad.second)) << bad.first << "=" << bad.second;
  }
  EXPECT_FALSE(ks_test::FileExists(file)) << "created only when an option is set";
  EXPECT_EQ("off", Take(searcher_.getOption("fold")));

  ASSERT_EQ(0, searcher_.setOption("infix_digits", "04"));
  ASSERT_EQ(0, searcher_.setOption("fold", "simplified"));
  EXPECT_EQ("[options]\ninfix_digits=4\nfold=simplified\n", ks_test::ReadFile(file));
  ASSERT_EQ(0, Add("message", "m1", "", "愛 13812345678"));

  // A live document: indexing options keep their values, and say why.
  ks_test::LogCapture log;
  EXPECT_EQ(-1, searcher_.setOption("fold", "off"));
  EXPECT_EQ(-1, searcher_.setOption("utf8", "full"));
  EXPECT_EQ(0, searcher_.setOption("infix_digits", "4")) << "the value it has";
  EXPECT_EQ(-1, searcher_.setOption("name_readings", "surname"));
  // Query-side fuzzy spellings change no term: set at any time, kept whole.
  EXPECT_EQ(0, searcher_.setOption("fuzzy", "in-ing,en-eng,an-ang,f-h,l-r,n-l,s-sh,c-ch,z-zh"));
  EXPECT_EQ("z-zh,c-ch,s-sh,n-l,l-r,f-h,an-ang,en-eng,in-ing", Take(searcher_.getOption("fuzzy")));
  EXPECT_EQ(0, searcher_.setOption("fuzzy", "off"));
  EXPECT_NE(std::string::npos, log.plain().find("option fold cannot change")) << log.plain();
  EXPECT_EQ("[options]\ninfix_digits=4\nfold=simplified\nfuzzy=off\n", ks_test::ReadFile(file));

  // Another engine on the root sees them (the file is read at start, see
  // tests/config/engine_options_test.cc).
  {
    Searcher again;
    ASSERT_EQ(0, again.open(dir_.path().c_str(), 0));
    EXPECT_EQ("4", Take(again.getOption("infix_digits")));
    EXPECT_EQ("m1", Ranked(again, "5678"));
    EXPECT_EQ("m1", Ranked(again, "爱"));
  }

  // Cleared: the change compacts the deleted document away, so the rescan
  // indexes the same row anew instead of reviving its old terms.
  ASSERT_EQ(0, searcher_.clearDoc(nullptr, kIndex, kDb, "message", nullptr));
  ASSERT_EQ(0, searcher_.setOption("fold", "off"));
  EXPECT_EQ(0, searcher_.getGroupSearcher("default")->getDocCount());
  ASSERT_EQ(0, Add("message", "m1", "", "愛 13812345678"));
  EXPECT_EQ("-", Ranked(searcher_, "爱"));
  EXPECT_EQ("m1", Ranked(searcher_, "愛"));

  // Wiping the root takes the options back to off.
  searcher_.clean();
  EXPECT_EQ("off", Take(searcher_.getOption("infix_digits")));
}

TEST_F(TextOptionsTest, Utf8FullFindsTextAfterAccentsDotsAndBadBytes) {
  Compare("utf8", "full",
          {{"", "列夫·托尔斯泰的小说"}, {"José", "un café noir"},
           {"", "25°C 今天很热"},
           {"", std::string("x\xC3") + "y 尾巴"},
           {"", "👍好的 𠀀𠀁"}},
          {{"托尔斯泰", "m1", "-"}, {"小说", "m1", "-"},
           {"列夫", "m1", "m1"}, {"café", "m2", "m2"},
           {"noir", "m2", "-"}, {"jos", "m2", "m2"},
           {"今天", "m3", "-"}, {"尾巴", "m4", "-"},
           {"y", "m4", "-"}, {"𠀀𠀁", "m5", "m5"},
           {"好的", "m5", "m5"},
           // Symbols and emoji are separators now: they are no terms.
           {"👍", "-", "m5"},
           {"°", "-", "-"}});
  EXPECT_EQ("列夫·<red>托尔斯泰</red>的小说", Abstract("列夫·托尔斯泰的小说", "托尔斯泰"));
  EXPECT_EQ("un <red>café</red> noir", Abstract("un café noir", "café"));
  EXPECT_EQ("25°C <red>今天</red>很热", Abstract("25°C 今天很热", "°今天"));
}

TEST_F(TextOptionsTest, InfixDigitsFindPhoneNumberTailsBelowPrefixes) {
  Compare("infix_digits", "4",
          {{"", "call 13812345678"}, {"", "5678 is the code"},
           {"", "1358"}, {"", std::string(30, '9')},
           {"13912340000", "name"}},
          {{"5678", "m2 m1", "m2"},  // the prefix ranks above the tail
           {"345678", "m1", "-"}, {"12345678", "m1", "-"},
           {"1358", "m3", "m3"},  // prefixes and tails only, not any digits
           {"678", "-", "-"},     // tails shorter than 4 digits
           {"2345", "-", "-"},    // inside the number, not at its end
           {std::string(20, '9'), "m4", "m4"},
           {"0000", "m5", "-"}});  // in a name field too
  EXPECT_EQ("call 1381234<red>5678</red>", Abstract("call 13812345678", "5678"));
}

TEST_F(TextOptionsTest, FoldSimplifiedLetsBothScriptsFindEachOther) {
  Compare("fold", "simplified",
          {{"張三", "我爱你"}, {"张三", "愛國"}, {"", "ＡＢＣ１２３ 乾坤"}, {"", "干杯"}},
          {{"爱", "m2 m1", "m1"},  // text hits come newest first
           {"愛", "m2 m1", "m2"}, {"国", "m2", "-"},
           {"zhangsan", "m1 m2", "m1 m2"}, {"張三", "m1 m2", "m1"},
           {"abc", "m3", "-"}, {"ＡＢＣ", "m3", "m3"},
           {"123", "m3", "-"},
           {"乾", "m3", "m3"},  // also simplified in some uses: not folded
           {"干", "m4", "m4"}});
  EXPECT_EQ("我<red>爱</red>你", Abstract("我爱你", "愛"));
  EXPECT_EQ("<red>愛國</red>", Abstract("愛國", "爱国"));
  EXPECT_EQ("<red>ＡＢＣ</red>１２３", Abstract("ＡＢＣ１２３", "abc"));
}

// Documents added on one thread while another changes options and a third
// searches: changes are refused once a document exists, and nothing races.
using TextOptionsConcurrency = SearcherFixture;

TEST_F(TextOptionsConcurrency, OptionChangesBesideIndexingAndSearches) {
  std::thread writer([this] {
    for (int i = 0; i < 300; ++i) Add("message", std::to_string(i), "", "愛 13812345678");
  });
  std::thread reader([this] {
    for (int i = 0; i < 300; ++i) free(searcher_.doSearch(kIndex, "5678", 0, 10, false));
  });
  int accepted = 0;
  for (int i = 0; i < 300; ++i) {
    accepted += searcher_.setOption("infix_digits", i % 2 ? "4" : "off") == 0;
  }
  writer.join();
  reader.join();
  // Whatever value the documents got, they all got the same one.
  const bool tails = Take(searcher_.getOption("infix_digits")) == "4";
  int found = 0;
  Hits("5678", &found);
  EXPECT_EQ(tails ? 300 : 0, found) << accepted << " changes accepted";
}

}  // namespace
}  // namespace mobile_search
