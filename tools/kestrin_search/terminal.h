// Terminal: what the tool needs to know about where its output goes (a
// terminal or a pipe, how wide, whether colour is wanted) and how wide UTF-8
// text appears there (Han characters and most emoji take two columns).
//
// Colour follows the usual conventions: "auto" colours only a terminal, and
// not when NO_COLOR is set or TERM is "dumb". Nothing here fails: unknown
// widths fall back to $COLUMNS, then to 100 columns.
#ifndef KS_TOOLS_KESTRIN_SEARCH_TERMINAL_H_
#define KS_TOOLS_KESTRIN_SEARCH_TERMINAL_H_

#include <cstdio>
#include <string>

namespace kestrin_tool {

enum class ColorMode { kAuto, kAlways, kNever };

bool isTerminal(std::FILE* stream);
// Columns of the terminal behind `stream`, else $COLUMNS, else 100.
int terminalWidth(std::FILE* stream);
bool useColor(ColorMode mode, std::FILE* stream);

// Columns taken by UTF-8 text (control characters count 0).
int displayWidth(const std::string& text);
// Cuts `text` to at most `width` columns (ending in "…" when cut), then pads
// it with blanks to exactly `width` columns when `pad` is set.
std::string fitWidth(const std::string& text, int width, bool pad);

// Escape sequences, or "" without colour.
struct Palette {
  explicit Palette(bool color) : on(color) {}
  const char* hit() const { return on ? "\033[1;31m" : ""; }    // matched text
  const char* dim() const { return on ? "\033[2m" : ""; }       // secondary text
  const char* bold() const { return on ? "\033[1m" : ""; }
  const char* reset() const { return on ? "\033[0m" : ""; }
  bool on;
};

}  // namespace kestrin_tool

#endif  // KS_TOOLS_KESTRIN_SEARCH_TERMINAL_H_
