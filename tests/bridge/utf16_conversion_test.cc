// Engine text to Java characters: standard and modified UTF-8, and the
// malformed pieces a byte-limited cut or a foreign text can leave.
#include "bridge/utf16_conversion.h"

#include <gtest/gtest.h>

#include <vector>

namespace kestrinSearch {
namespace {

using Units = std::vector<unsigned short>;

TEST(Utf16ConversionTest, DecodesStandardAndModifiedForms) {
  struct Case {
    const char* text;
    Units units;
  } cases[] = {
      {"", {}},
      {"aZ~", {'a', 'Z', '~'}},
      {"\xC3\xA9", {0x00E9}},                          // é
      {"\xE4\xB8\xAD\xE6\x96\x87", {0x4E2D, 0x6587}},  // 中文
      {"\xF0\x9F\x98\x80", {0xD83D, 0xDE00}},          // U+1F600, four bytes
      {"\xF4\x8F\xBF\xBF", {0xDBFF, 0xDFFF}},          // U+10FFFF, the last
      {"\xED\xA0\xBD\xED\xB8\x80", {0xD83D, 0xDE00}},  // the same, as Java writes it
      {"a\xC0\x80"
       "b",
       {'a', 0x0000, 'b'}},  // Java's NUL
  };
  for (const Case& c : cases) EXPECT_EQ(c.units, utf8_to_utf16(c.text)) << c.text;
  EXPECT_EQ(Units(), utf8_to_utf16(nullptr));
}

TEST(Utf16ConversionTest, ReplacesEachMalformedPieceOnce) {
  struct Case {
    const char* text;
    Units units;
  } cases[] = {
      {"a\xE4\xB8", {'a', 0xFFFD}},  // cut after two of three bytes
      {"\xE4\xB8"
       "b",
       {0xFFFD, 'b'}},                 // cut, then the text goes on
      {"\x80\xBF", {0xFFFD, 0xFFFD}},  // stray continuation bytes
      {"\xF8\x88\x80\x80\x80", {0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD}},  // no such lead
      {"\xC1\xBF", {0xFFFD}},                                              // overlong two-byte form
      {"\xE0\x80\xAF", {0xFFFD}},      // overlong three-byte form
      {"\xF0\x8F\xBF\xBF", {0xFFFD}},  // overlong four-byte form
      {"\xF4\x90\x80\x80", {0xFFFD}},  // beyond U+10FFFF
      {"\xF0\x9F\x98"
       "x",
       {0xFFFD, 'x'}},  // four-byte form cut short
  };
  for (const Case& c : cases) EXPECT_EQ(c.units, utf8_to_utf16(c.text)) << c.text;
}

}  // namespace
}  // namespace kestrinSearch
