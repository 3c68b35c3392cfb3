// Engine text (UTF-8) to Java characters (UTF-16).
//
// The engine hands the host texts that come from several places: SQLite rows
// in standard UTF-8 (with four-byte sequences for characters beyond U+FFFF),
// strings that came from Java in modified UTF-8 (U+0000 as C0 80, supplementary
// characters as two three-byte surrogates), and log lines cut at a byte limit,
// possibly inside a character. Java's NewStringUTF accepts only modified UTF-8,
// so the bridge decodes every text itself and builds strings from UTF-16:
//
//   bytes                         gives
//   00..7F                        the same unit
//   C0 80                         U+0000
//   two- and three-byte forms     their unit (surrogates pass through as they
//                                 are, so modified UTF-8 round-trips)
//   F0..F4 and three more bytes   a surrogate pair (U+10000..U+10FFFF)
//   anything else                 one U+FFFD per malformed piece (a lead byte
//                                 and the continuation bytes that followed it)
//
// Pure function; safe from any thread.
#ifndef KS_BRIDGE_UTF16_CONVERSION_H_
#define KS_BRIDGE_UTF16_CONVERSION_H_

#include <stddef.h>

#include <vector>

namespace kestrinSearch {

// Decodes the NUL-terminated `text` (null gives an empty result).
std::vector<unsigned short> utf8_to_utf16(const char* text);

}  // namespace kestrinSearch

#endif  // KS_BRIDGE_UTF16_CONVERSION_H_
