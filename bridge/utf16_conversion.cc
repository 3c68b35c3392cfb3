#include "bridge/utf16_conversion.h"

#include <string.h>

namespace kestrinSearch {

namespace {

const unsigned short kReplacement = 0xFFFD;

bool is_continuation(unsigned char byte) { return (byte & 0xC0) == 0x80; }

// Number of bytes a lead byte announces and the smallest code point that may
// use that many (anything smaller is an overlong form); 0 for a byte that
// cannot start a sequence.
int sequence_length(unsigned char lead, unsigned long* min_code) {
  if (lead >= 0xC0 && lead <= 0xDF) {
    *min_code = 0x80;
    return 2;
  }
  if (lead >= 0xE0 && lead <= 0xEF) {
    *min_code = 0x800;
    return 3;
  }
  if (lead >= 0xF0 && lead <= 0xF4) {
    *min_code = 0x10000;
    return 4;
  }
  return 0;
}

}  // namespace

std::vector<unsigned short> utf8_to_utf16(const char* text) {
  std::vector<unsigned short> out;
  if (text == nullptr) return out;
  // A result's JSON is megabytes of mostly ASCII: the units (never more than
  // the bytes) are written into storage sized once, ASCII runs in a tight loop.
  out.reserve(strlen(text));
  const unsigned char* p = reinterpret_cast<const unsigned char*>(text);
  while (*p != 0) {
    const unsigned char lead = *p;
    if (lead < 0x80) {
      const unsigned char* run = p;
      while (*p != 0 && *p < 0x80) ++p;
      out.insert(out.end(), run, p);
      continue;
    }
    unsigned long min_code = 0;
    const int length = sequence_length(lead, &min_code);
    if (length == 0) {
      out.push_back(kReplacement);
      ++p;
      continue;
    }
    unsigned long code = lead & (0x7F >> length);
    int taken = 1;
    while (taken < length && is_continuation(p[taken])) {
      code = (code << 6) | (p[taken] & 0x3F);
      ++taken;
    }
    const bool java_nul = length == 2 && lead == 0xC0 && p[1] == 0x80;
    p += taken;
    if (taken < length || ((code < min_code || code > 0x10FFFF) && !java_nul)) {
      out.push_back(kReplacement);
    } else if (code >= 0x10000) {
      code -= 0x10000;
      out.push_back(static_cast<unsigned short>(0xD800 + (code >> 10)));
      out.push_back(static_cast<unsigned short>(0xDC00 + (code & 0x3FF)));
    } else {
      out.push_back(static_cast<unsigned short>(code));
    }
  }
  return out;
}

}  // namespace kestrinSearch
