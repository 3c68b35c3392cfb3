// Engine text to Java characters: standard and modified UTF-8, and the
// malformed pieces a byte-limited cut or a foreign text can leave (each
// replaced by one U+FFFD).
#include "bridge/utf16_conversion.h"

#include <gtest/gtest.h>

#include <vector>

namespace kestrinSearch {
namespace {

using Units = std::vector<unsigned short>;

TEST(Utf16ConversionTest, DecodesWellFormedAndReplacesMalformedPieces) {
  const unsigned short R = 0xFFFD;
  const struct {
    const char* text;
    Units units;
  } cases[] = {
      {"", {}},
      {"\xF4\x8F\xBF\xBF", {0xDBFF, 0xDFFF}},          // U+10FFFF, the last
      {"\xED\xA0\xBD\xED\xB8\x80", {0xD83D, 0xDE00}},  // U+1F600 as Java writes it
      {"a\xC0\x80" "b", {'a', 0x0000, 'b'}},           // Java's NUL
      {"\xE4\xB8" "b", {R, 'b'}},                      // cut, then the text goes on
      {"\x80\xBF", {R, R}},                            // stray continuation bytes
      {"\xF8\x88\x80\x80\x80", {R, R, R, R, R}},       // no such lead
      {"\xC1\xBF", {R}},                               // overlong two-byte form
      {"\xE0\x80\xAF", {R}},                           // overlong three-byte form
      {"\xF0\x8F\xBF\xBF", {R}},                       // overlong four-byte form
      {"\xF4\x90\x80\x80", {R}},                       // beyond U+10FFFF
      {"\xF0\x9F\x98" "x", {R, 'x'}},                  // four-byte form cut short
  };
  for (const auto& c : cases) EXPECT_EQ(c.units, utf8_to_utf16(c.text)) << c.text;
  EXPECT_EQ(Units(), utf8_to_utf16(nullptr));
}

}  // namespace
}  // namespace kestrinSearch
