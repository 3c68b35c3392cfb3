// The tool's column arithmetic: display widths of mixed text, cutting to a
// width, abstracts that fit their column, and counts for people.
#include <gtest/gtest.h>

#include "hit_table.h"
#include "database.h"
#include "progress.h"
#include "terminal.h"

namespace kestrin_tool {
namespace {

TEST(TerminalOutput, DisplayWidthCountsWideCharactersTwice) {
  EXPECT_EQ(displayWidth(""), 0);
  EXPECT_EQ(displayWidth("abc"), 3);
  EXPECT_EQ(displayWidth("张三丰"), 6);
  EXPECT_EQ(displayWidth("约翰·史密斯"), 11);  // the middle dot is narrow
  EXPECT_EQ(displayWidth("ok👍"), 4);
  EXPECT_EQ(displayWidth("\xE5\xBC"), 2);       // a cut character: two stray bytes
}

TEST(TerminalOutput, FitWidthCutsWholeCharactersAndPads) {
  EXPECT_EQ(fitWidth("张三丰", 6, false), "张三丰");
  EXPECT_EQ(fitWidth("张三丰说", 6, false), "张三…");    // 4 + the ellipsis
  EXPECT_EQ(fitWidth("张三丰说", 5, false), "张三…");
  EXPECT_EQ(fitWidth("abcdef", 4, false), "abc…");
  EXPECT_EQ(fitWidth("张", 3, true), "张 ");
  EXPECT_EQ(fitWidth("abc", 0, true), "");
  for (int width = 1; width < 12; ++width) {
    EXPECT_LE(displayWidth(fitWidth("我和张三丰说hello", width, false)), width) << width;
    EXPECT_EQ(displayWidth(fitWidth("我和张三丰说hello", width, true)), width) << width;
  }
}

TEST(TerminalOutput, AbstractFitsItsColumnAndMarksTheMatch) {
  const std::string text =
      "今天下午三点在公司楼下的星巴克见面，我们讨论一下张三丰的合同，别忘了带上笔记本电脑和充电器";
  Palette plain(false), color(true);
  for (int width : {16, 24, 40, 200}) {
    std::string abstract = highlightToWidth(text, "zsf", width, plain);
    EXPECT_LE(displayWidth(abstract), width) << abstract;
    EXPECT_NE(abstract.find("[张三丰]"), std::string::npos) << abstract;
  }
  EXPECT_NE(highlightToWidth(text, "张三丰", 40, color).find("\033[1;31m张三丰\033[0m"),
            std::string::npos);
  // No match: the text's beginning, without marks.
  EXPECT_EQ(highlightToWidth("hello world", "xyz", 40, plain), "hello world");
}

TEST(TerminalOutput, CountsAndNameLists) {
  EXPECT_EQ(withCommas(0), "0");
  EXPECT_EQ(withCommas(999), "999");
  EXPECT_EQ(withCommas(1000), "1,000");
  EXPECT_EQ(withCommas(1234567), "1,234,567");
  EXPECT_EQ(withCommas(-20000), "-20,000");
  EXPECT_EQ(splitNames(" name, ,note,phone "), (std::vector<std::string>{"name", "note", "phone"}));
  EXPECT_TRUE(splitNames("").empty());
  EXPECT_EQ(joinNames({"a", "b"}), "a, b");
}

}  // namespace
}  // namespace kestrin_tool
