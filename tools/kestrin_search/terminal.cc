#include "terminal.h"

#include <locale.h>
#include <sys/ioctl.h>
#include <unistd.h>
#include <wchar.h>

#include <cstdlib>
#include <cstring>

namespace kestrin_tool {
namespace {

// Decodes one UTF-8 character at text[i]; returns its byte length (1 for a
// stray byte, which is taken as U+FFFD).
int decodeUtf8(const std::string& text, size_t i, char32_t* cp) {
  unsigned char c = static_cast<unsigned char>(text[i]);
  int len = c < 0x80 ? 1 : (c >> 5) == 6 ? 2 : (c >> 4) == 14 ? 3 : (c >> 3) == 30 ? 4 : 0;
  if (len == 0 || i + len > text.size()) {
    *cp = 0xFFFD;
    return 1;
  }
  char32_t value = len == 1 ? c : c & (0x7F >> len);
  for (int k = 1; k < len; ++k) {
    unsigned char next = static_cast<unsigned char>(text[i + k]);
    if ((next & 0xC0) != 0x80) {
      *cp = 0xFFFD;
      return 1;
    }
    value = (value << 6) | (next & 0x3F);
  }
  *cp = value;
  return len;
}

// wcwidth under a UTF-8 locale, used only on this thread for the call, so
// the program's own locale (and the engine's byte-wise case rules) stay as
// they are.
int charWidth(char32_t cp) {
  static locale_t utf8 = newlocale(LC_CTYPE_MASK, "C.UTF-8", static_cast<locale_t>(0));
  if (utf8 != static_cast<locale_t>(0)) {
    locale_t previous = uselocale(utf8);
    int width = wcwidth(static_cast<wchar_t>(cp));
    uselocale(previous);
    return width < 0 ? 0 : width;
  }
  if (cp < 0x20) return 0;
  return cp >= 0x1100 && cp != 0x00B7 ? 2 : 1;  // rough: wide from Hangul Jamo on
}

}  // namespace

bool isTerminal(std::FILE* stream) { return isatty(fileno(stream)) == 1; }

int terminalWidth(std::FILE* stream) {
  struct winsize size;
  if (isTerminal(stream) && ioctl(fileno(stream), TIOCGWINSZ, &size) == 0 && size.ws_col > 0) {
    return size.ws_col;
  }
  const char* columns = std::getenv("COLUMNS");
  int width = columns ? std::atoi(columns) : 0;
  return width > 0 ? width : 100;
}

bool useColor(ColorMode mode, std::FILE* stream) {
  if (mode != ColorMode::kAuto) return mode == ColorMode::kAlways;
  const char* no_color = std::getenv("NO_COLOR");
  const char* term = std::getenv("TERM");
  if (no_color != nullptr && no_color[0] != '\0') return false;
  if (term != nullptr && std::strcmp(term, "dumb") == 0) return false;
  return isTerminal(stream);
}

int displayWidth(const std::string& text) {
  int width = 0;
  for (size_t i = 0; i < text.size();) {
    char32_t cp;
    i += decodeUtf8(text, i, &cp);
    width += charWidth(cp);
  }
  return width;
}

std::string fitWidth(const std::string& text, int width, bool pad) {
  std::string out;
  int used = 0;
  bool cut = false;
  for (size_t i = 0; i < text.size();) {
    char32_t cp;
    int len = decodeUtf8(text, i, &cp);
    int w = charWidth(cp);
    if (used + w > width) {
      cut = true;
      break;
    }
    out.append(text, i, len);
    used += w;
    i += len;
  }
  if (cut) {
    // Make room for the ellipsis, one column wide.
    while (!out.empty() && used + 1 > width) {
      size_t start = out.size() - 1;
      while (start > 0 && (static_cast<unsigned char>(out[start]) & 0xC0) == 0x80) --start;
      char32_t cp;
      decodeUtf8(out, start, &cp);
      used -= charWidth(cp);
      out.erase(start);
    }
    if (width > 0) {
      out += "\u2026";
      ++used;
    }
  }
  if (pad && used < width) out.append(width - used, ' ');
  return out;
}

}  // namespace kestrin_tool
