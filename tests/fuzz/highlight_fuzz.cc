// Fuzzes the highlighted abstracts.
//
// Input: one byte, the abstract's length in characters, then the hit text, a
// zero byte and the query. Checked:
//   - null exactly for an empty text or query or a length below 1; hit is 0
//     or 1;
//   - for a text without "<" (so that tags can be told from text): tags
//     come in "<red>" "</red>" pairs around non-empty matches, at least one
//     pair when hit is 1, none when 0, and the abstract without tags is the
//     tagged one with its tags taken out;
//   - the untagged abstract is a piece of the text with "..." before it
//     exactly when it does not begin the text and after it exactly when it
//     does not end it; for valid UTF-8 (text and query), cut on character
//     boundaries: a text of at most that many characters comes back whole,
//     a longer one as exactly that many characters, and the abstract is
//     valid UTF-8;
//   - the same shape holds with the name options all set (other readings,
//     mixed syllables, fuzzy spellings);
//   - a query of letters only that occurs in the text (case-blind) is a hit,
//     and so is one spelled from the text: the readings, or the initials, of
//     a few of its Han characters in text order.
// Also feeds position lists made from the input to only_highlight_abs, which
// must stay within the text whatever the offsets.
#include <cstring>
#include <string>
#include <vector>

#include "foundation/dynamic_array.h"
#include "foundation/string_buffer.h"
#include "foundation/utf8_util.h"
#include "fuzz_check.h"
#include "text/highlight.h"
#include "text/pinyin.h"

using namespace mobile_search;

using ks_test::Take;

namespace {

const std::string kOpen = "<red>", kClose = "</red>", kDots = "...";

std::string Lower(std::string s) {
  for (char& c : s) {
    if (c >= 'A' && c <= 'Z') c = (char)(c + 32);
  }
  return s;
}

bool StartsWith(const std::string& s, const std::string& p) { return s.compare(0, p.size(), p) == 0; }
bool EndsWith(const std::string& s, const std::string& p) {
  return s.size() >= p.size() && s.compare(s.size() - p.size(), p.size(), p) == 0;
}

// The tags alternate, open first, each pair around something; returns pairs.
int CheckTags(const std::string& tagged, const std::string& context) {
  int pairs = 0;
  bool open = false;
  size_t from = 0;
  while (true) {
    const size_t at = tagged.find('<', from);
    if (at == std::string::npos) break;
    const std::string& tag = open ? kClose : kOpen;
    FUZZ_CHECK(tagged.compare(at, tag.size(), tag) == 0 && (!open || at > from),
               "tags out of order at %zu in %s (%s)", at, ks_fuzz::Escaped(tagged).c_str(),
               context.c_str());
    pairs += open ? 1 : 0;
    open = !open;
    from = at + tag.size();
  }
  FUZZ_CHECK(!open, "unclosed tag in %s (%s)", ks_fuzz::Escaped(tagged).c_str(), context.c_str());
  return pairs;
}

// `abs` is [...] window [...] of `text` as described above.
void CheckWindow(const std::string& abs, const std::string& text, int maxChars, bool valid,
                 const std::string& context) {
  // Characters are only well defined in valid text: there the window must
  // start and end on boundaries and hold maxChars of them, or be the text.
  const int chars = ac_utf8_len(text.c_str());
  if (valid && chars <= maxChars) {
    FUZZ_CHECK(abs == text, "a short text is not whole: %s (%s)", ks_fuzz::Escaped(abs).c_str(),
               context.c_str());
    return;
  }
  for (int lead = 0; lead < 2; ++lead) {
    for (int tail = 0; tail < 2; ++tail) {
      if ((lead && !StartsWith(abs, kDots)) || (tail && !EndsWith(abs, kDots))) continue;
      const size_t cut = (lead + tail) * kDots.size();
      if (abs.size() < cut) continue;
      const std::string window = abs.substr(lead * kDots.size(), abs.size() - cut);
      for (size_t at = text.find(window); at != std::string::npos; at = text.find(window, at + 1)) {
        const size_t end = at + window.size();
        if ((at > 0) != (lead == 1) || (end < text.size()) != (tail == 1)) continue;
        if (!valid) return;
        const int before = ac_utf8_len(text.c_str(), (int)at);
        const int upTo = ac_utf8_len(text.c_str(), (int)end);
        if (ac_utf8_word_bytes(text.c_str(), before) == (int)at &&
            ac_utf8_word_bytes(text.c_str(), upTo) == (int)end && upTo - before == maxChars) {
          return;
        }
      }
    }
  }
  FUZZ_CHECK(false, "%s is no %d-character window of the text (%s)", ks_fuzz::Escaped(abs).c_str(),
             maxChars, context.c_str());
}

bool OnlyLetters(const std::string& s) {
  for (char c : s) {
    if (!((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'))) return false;
  }
  return !s.empty();
}

// The readings of up to three characters of the text, from the one the
// parameter picks on, as one word: in full, or their first letters.
std::string SpelledQuery(const std::string& text, int param) {
  std::vector<std::string> readings;
  for (const char* p = text.c_str(); *p != '\0';) {
    const char* next = (unsigned char)*p < 0x80 ? p + 1 : ac_utf8_next(p);
    char* reading = next - p == 3 ? hz2pyConvertSingle(p, 3) : nullptr;
    if (reading != nullptr) readings.push_back(reading);
    free(reading);
    p = next;
  }
  std::string word;
  if (readings.empty()) return word;
  const size_t from = (size_t)param % readings.size();
  for (size_t i = from; i < readings.size() && i < from + 1 + (size_t)(param >> 6); ++i) {
    word += (param & 32) ? readings[i].substr(0, 1) : readings[i];
  }
  return word;
}

// Position lists from the input's bytes, possibly reversed, out of the text
// or inside characters: the abstract may only hold the text's own bytes.
void CheckRawPositions(const std::string& text, const std::string& query, int maxChars) {
  _DArray* positions = darray_create(nullptr, false);
  for (size_t i = 0; i + 1 < query.size() && i < 16; i += 2) {
    pushPosToArr(positions, (unsigned char)query[i] % (text.size() + 8),
                 (unsigned char)query[i + 1] % (text.size() + 8));
  }
  _str_buffer_t* out = str_buffer_create(16);
  if (only_highlight_abs(text.c_str(), positions, maxChars, out, false) == 0) {
    std::string abs(out->data, (size_t)out->len);
    if (StartsWith(abs, kDots)) abs.erase(0, kDots.size());
    if (EndsWith(abs, kDots)) abs.erase(abs.size() - kDots.size());
    FUZZ_CHECK(text.find(abs) != std::string::npos, "raw positions gave %s",
               ks_fuzz::Escaped(abs).c_str());
  }
  str_buffer_free(out);
  darray_destroy(positions);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const ks_fuzz::TwoTexts in = ks_fuzz::SplitInput(data, size);
  const int maxChars = in.param;
  const std::string& text = in.first;
  const std::string& query = in.second;
  const std::string context = "text " + ks_fuzz::Escaped(text) + ", query " +
                              ks_fuzz::Escaped(query) + ", " + std::to_string(maxChars) + " chars";

  int hit = -1;
  char* tagged = highLight_Abstract(text.c_str(), query.c_str(), maxChars, hit);
  char* plain = abstract_hlNoTag(text.c_str(), query.c_str(), maxChars);
  const bool none = text.empty() || query.empty() || maxChars < 1;
  FUZZ_CHECK((tagged == nullptr) == none && (plain == nullptr) == none, "null result (%s)",
             context.c_str());
  FUZZ_CHECK(hit == 0 || hit == 1, "hit %d", hit);
  if (none) return 0;
  const std::string withTags = Take(tagged), noTags = Take(plain);
  if (text.find('<') == std::string::npos) {
    const int pairs = CheckTags(withTags, context);
    FUZZ_CHECK(hit == 1 ? pairs > 0 : pairs == 0, "hit %d with %d tagged matches (%s)", hit,
               pairs, context.c_str());
    FUZZ_CHECK(ks_test::Untagged(withTags) == noTags, "untagged abstract %s (%s)", ks_fuzz::Escaped(noTags).c_str(),
               context.c_str());
    // A malformed query may match part of a character: a lead byte and
    // fewer continuation bytes than it announces pass for a shorter
    // character when the query is cut into words.
    const bool valid = ks_fuzz::IsValidUtf8(text) && ks_fuzz::IsValidUtf8(query);
    CheckWindow(noTags, text, maxChars, valid, context);
    FUZZ_CHECK(!valid || ks_fuzz::IsValidUtf8(withTags), "invalid UTF-8 abstract %s (%s)",
               ks_fuzz::Escaped(withTags).c_str(), context.c_str());
  }
  TextOptions names;
  names.nameReadings = kNameReadingsAllCommon;
  names.syllableMix = true;
  names.fuzzy = ~0u;
  int nameHit = -1;
  const std::string named =
      Take(highLight_Abstract(text.c_str(), query.c_str(), maxChars, nameHit, names));
  if (text.find('<') == std::string::npos) {
    const int pairs = CheckTags(named, context);
    FUZZ_CHECK(nameHit == 1 ? pairs > 0 : pairs == 0, "name options: hit %d with %d tagged matches (%s)",
               nameHit, pairs, context.c_str());
    CheckWindow(ks_test::Untagged(named), text, maxChars,
                ks_fuzz::IsValidUtf8(text) && ks_fuzz::IsValidUtf8(query), context);
  }
  if (OnlyLetters(query) && Lower(text).find(Lower(query)) != std::string::npos) {
    FUZZ_CHECK(hit == 1, "a literal occurrence is not a hit (%s)", context.c_str());
  }
  const std::string spelled = SpelledQuery(text, maxChars);
  if (!spelled.empty()) {
    free(highLight_Abstract(text.c_str(), spelled.c_str(), 20, hit));
    FUZZ_CHECK(hit == 1, "\"%s\", spelled from the text, is no hit (%s)", spelled.c_str(),
               context.c_str());
  }
  CheckRawPositions(text, query, maxChars);
  return 0;
}
