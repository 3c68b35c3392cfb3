// Fuzzes the UTF-8 and string helpers and the pinyin conversion.
//
// Input: one parameter byte, a text, a zero byte and a second text (the
// needle of the substring search). Checked against plain models:
//   - stepping and counting agree: the byte length of the first k characters
//     grows with k, holds exactly k characters and ends at the terminator for
//     k = the character count; the class counters never exceed it; for valid
//     UTF-8 the count is the number of code points;
//   - trimming, bounded substring search, both splitting forms and the
//     bounded copy give what a std::string model gives; the other in-place
//     editors stay within the text;
//   - is_utf8_string accepts every valid text;
//   - utf8_to_pinyin stays within 31 bytes per input byte and, for initials
//     without spaces, writes each Han character's first letter, copies other
//     characters, and stops at the first character that is not 1 or 3 bytes;
//   - hz2py gives one lower-case reading for a Han character only, and
//     hz2pyConvertSingle the same; the syllable check agrees with a linear
//     scan of the syllable table.
#include <cstring>
#include <string>
#include <vector>

#include "foundation/dynamic_array.h"
#include "foundation/string_buffer.h"
#include "foundation/utf8_util.h"
#include "fuzz_check.h"
#include "text/pinyin.h"
#include "text/pinyin_tables.h"

using namespace mobile_search;

namespace {

void CheckCounting(const std::string& s) {
  const char* p = s.c_str();
  const int n = ac_utf8_len(p);
  int last = 0;
  for (int k = 1; k <= n; ++k) {
    const int bytes = ac_utf8_word_bytes(p, k);
    FUZZ_CHECK(bytes > last && bytes <= (int)s.size() && ac_utf8_len(p, bytes) == k,
               "character %d of \"%s\" ends at byte %d", k, ks_fuzz::Escaped(s).c_str(), bytes);
    last = bytes;
  }
  FUZZ_CHECK(last == (int)s.size() && ac_utf8_word_bytes(p, n + 1) == last,
             "%d characters of \"%s\" end at byte %d", n, ks_fuzz::Escaped(s).c_str(), last);
  const int cn = ac_utf8_cn_word_num(p), en = ac_utf8_en_word_num(p);
  const int digits = ac_utf8_numchar_num(p), others = ac_utf8_others_num(p);
  FUZZ_CHECK(digits <= others && cn + en + others - digits <= n, "counts %d %d %d %d of %d", cn, en,
             digits, others, n);
  if (ks_fuzz::IsValidUtf8(s)) {
    size_t high = 0;
    for (unsigned char c : s) high += c >= 0xC0;
    FUZZ_CHECK((size_t)n == ks_fuzz::CodePoints(s) && (size_t)cn == high,
               "\"%s\": %d characters, %d non-ASCII", ks_fuzz::Escaped(s).c_str(), n, cn);
    FUZZ_CHECK(is_utf8_string(p), "valid \"%s\" refused", ks_fuzz::Escaped(s).c_str());
  }
}

// Trimming as a model does it; the in-place editors within the text and its
// terminator (the sanitizers watch), the bounded copy within its buffer.
void CheckEditing(const std::string& s, int size) {
  std::string copy = s;
  ac_str_trim(&copy[0]);
  const size_t b = s.find_first_not_of(" \r\t\n");
  const std::string trimmed =
      b == std::string::npos ? "" : s.substr(b, s.find_last_not_of(" \r\t\n") - b + 1);
  FUZZ_CHECK(strcmp(copy.c_str(), trimmed.c_str()) == 0, "trim of \"%s\"", ks_fuzz::Escaped(s).c_str());
  copy = s;
  ac_decode_url(&copy[0]);
  copy = s;
  ac_gbk_toupper(&copy[0]);
  std::vector<char> dst((size_t)(size > 0 ? size : 1), 'x');
  ac_strlcpy(dst.data(), s.c_str(), size);
  FUZZ_CHECK(size < 1 || s.compare(0, (size_t)size - 1, dst.data()) == 0, "strlcpy into %d", size);
}

// The non-empty pieces between separators.
std::vector<std::string> Pieces(const std::string& s, char sep) {
  std::vector<std::string> pieces;
  std::string piece;
  for (char c : s) {
    if (c != sep) {
      piece += c;
    } else if (!piece.empty()) {
      pieces.push_back(piece);
      piece.clear();
    }
  }
  if (!piece.empty()) pieces.push_back(piece);
  return pieces;
}

void CheckSearchAndSplit(const std::string& hay, const std::string& needle, int n, char sep) {
  const char* found = ac_strstrn(hay.c_str(), needle.c_str(), n);
  const char* want = nullptr;
  if (!hay.empty() && !needle.empty() && n >= 1 && (size_t)n <= hay.size()) {
    const size_t at = hay.find(needle.substr(0, (size_t)n));
    if (at != std::string::npos) want = hay.c_str() + at;
  }
  FUZZ_CHECK(found == want, "strstrn(\"%s\", \"%s\", %d)", ks_fuzz::Escaped(hay).c_str(),
             ks_fuzz::Escaped(needle).c_str(), n);

  // The copying form over the first len bytes, the in-place form over the
  // whole text (its last piece runs to the terminator, whatever len says),
  // where it may add an empty first piece.
  const int len = n < (int)hay.size() ? n : (int)hay.size();
  const std::vector<std::string> model = Pieces(hay.substr(0, (size_t)len), sep);
  _DArray* copies = darray_create(str_buffer_free, true);
  const int copied = ac_str_splict(hay.c_str(), len, sep, copies);
  std::vector<std::string> got;
  for (unsigned int i = 0; i < darray_length(copies); ++i) {
    got.push_back(slot_as<_str_buffer_t>(darray_get_by_index(copies, i))->data);
  }
  FUZZ_CHECK(copied == (int)got.size() && got == model, "split of \"%s\" (%d bytes) at %02x",
             ks_fuzz::Escaped(hay).c_str(), len, (unsigned char)sep);
  darray_destroy(copies);

  std::string inPlace = hay;
  _DArray* pieces = darray_create(nullptr, false);
  const int cut = ac_str_splict(&inPlace[0], (int)hay.size(), sep, pieces);
  got.clear();
  for (int i = 0; i < cut; ++i) got.push_back(slot_as<char>(darray_get_by_index(pieces, (unsigned)i)));
  if (!got.empty() && got[0].empty()) got.erase(got.begin());
  FUZZ_CHECK(got == Pieces(hay, sep), "in-place split of \"%s\" at %02x", ks_fuzz::Escaped(hay).c_str(),
             (unsigned char)sep);
  darray_destroy(pieces);
}

std::string TableReading(unsigned int cp, bool initials) {
  std::string r = _pinyin_table_[cp - kPinyinFirstCode];
  r = r.substr(0, r.find('|'));
  return initials ? r.substr(0, 1) : r;
}

void CheckPinyin(const std::string& s, int flags) {
  const int initials = flags & 1, all = (flags >> 1) & 1, space = (flags >> 2) & 3;
  const int width = (flags >> 4) & 1;
  std::vector<char> out(31 * s.size() + 1, 0);
  char rest[2] = {0, 0};
  utf8_to_pinyin(s.c_str(), out.data(), initials, all, space, width, (flags & 32) ? rest : nullptr);
  if (flags & 32 || space != 0 || width != 0 || all != 0 || !ks_fuzz::IsValidUtf8(s)) return;

  // Initials or first readings, no spaces, no width folding, no rest.
  std::string want;
  for (size_t i = 0; i < s.size();) {
    const unsigned char c = (unsigned char)s[i];
    if (c < 0x80) {
      want += (char)c;
      ++i;
      continue;
    }
    if ((c & 0xF0) != 0xE0) {
      want += (char)c;
      break;
    }
    const unsigned int cp = ((c & 0x0Fu) << 12) | (((unsigned char)s[i + 1] & 0x3Fu) << 6) |
                            ((unsigned char)s[i + 2] & 0x3Fu);
    want += cp >= kPinyinFirstCode && cp <= kPinyinLastCode ? TableReading(cp, initials)
                                                             : s.substr(i, 3);
    i += 3;
  }
  FUZZ_CHECK(want == out.data(), "pinyin of \"%s\" (flags %d): \"%s\", want \"%s\"",
             ks_fuzz::Escaped(s).c_str(), flags, ks_fuzz::Escaped(out.data()).c_str(),
             ks_fuzz::Escaped(want).c_str());
}

void CheckReadings(const std::string& s) {
  int checked = 0;
  for (size_t i = 0; i + 3 <= s.size() && checked < 8; ++i) {
    const unsigned char c = (unsigned char)s[i];
    if ((c & 0xF0) != 0xE0 || ((unsigned char)s[i + 1] & 0xC0) != 0x80 ||
        ((unsigned char)s[i + 2] & 0xC0) != 0x80) {
      continue;
    }
    ++checked;
    const char* hz = s.c_str() + i;
    const unsigned int cp = ((c & 0x0Fu) << 12) | (((unsigned char)hz[1] & 0x3Fu) << 6) |
                            ((unsigned char)hz[2] & 0x3Fu);
    pinyin_t* p = hz2py(hz, 3);
    char* single = hz2pyConvertSingle(hz, 3);
    FUZZ_CHECK(hz2py(hz, 2) == nullptr && hz2py(hz, 4) == nullptr, "hz2py of a wrong length");
    FUZZ_CHECK((p == nullptr) == (single == nullptr), "hz2py and hz2pyConvertSingle disagree");
    if (p != nullptr) {
      const std::string reading = slot_as<char>(darray_get_by_index(p->list, 0));
      bool letters = !reading.empty() && reading.size() <= 9;
      for (char ch : reading) letters = letters && ch >= 'a' && ch <= 'z';
      FUZZ_CHECK(p->count == 1 && darray_length(p->list) == 1 && letters && reading == single &&
                     cp >= kPinyinFirstCode && cp <= kPinyinLastCode,
                 "hz2py(U+%04X) = \"%s\"", cp, reading.c_str());
    }
    pinyin_t_free(p);
    free(single);
  }
}

void CheckSyllables(const std::string& s, int n) {
  bool want = false;
  for (int i = 0; !s.empty() && n >= 1 && i < kPinyinSyllableCount; ++i) {
    want = want || strncmp(s.c_str(), kPinyinSyllables[i], (size_t)n) == 0;
  }
  FUZZ_CHECK(py2hzSingleCheck(s.c_str(), n) == want, "py2hzSingleCheck(\"%s\", %d)",
             ks_fuzz::Escaped(s).c_str(), n);
  // The longest accepted leading piece of 3..6 letters, or an initial.
  const int sub = py2hzSubCheck(s.c_str(), n);
  FUZZ_CHECK(sub == -1 || (sub == 2 && n == 2) ||
                 (sub >= 3 && sub <= 6 && sub <= n && py2hzSingleCheck(s.c_str(), sub)),
             "py2hzSubCheck(\"%s\", %d) = %d", ks_fuzz::Escaped(s).c_str(), n, sub);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const ks_fuzz::TwoTexts in = ks_fuzz::SplitInput(data, size);
  const int param = in.param;
  const std::string& s = in.first;
  const std::string& needle = in.second;
  const int n = param % 12;
  CheckCounting(s);
  CheckEditing(s, (param >> 2) % 24);
  CheckSearchAndSplit(s, needle, param == 255 ? (int)s.size() : n, needle.empty() ? ' ' : needle[0]);
  CheckPinyin(s, param);
  CheckReadings(s);
  CheckSyllables(s, n);
  return 0;
}
