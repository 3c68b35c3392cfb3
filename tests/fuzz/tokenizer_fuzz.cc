// Fuzzes document values through the tokenizers and into a real index.
//
// Input: one flag byte (bit 0 pinyin field, bit 1 no-token field, bit 2
// auto-save; the next bits pick the field index), then the value. Checked:
//   - both tokenizers succeed; tokens carry only the five match bits and
//     nothing above them; the long tokenizer never marks pinyin or
//     first-letter terms; a first-letter mark comes only with pinyin;
//   - Latin matching is case-blind: the value upper-cased or lower-cased
//     (ASCII) gives the very same tokens;
//   - a text finds itself: when its Latin, digit and punctuation runs have at
//     most 20 characters (longer ones are indexed by their 20-character
//     prefixes), every query term of the text is among its own index terms,
//     for name fields and for text fields alike;
//   - the name options (other readings, mixed syllables) keep every plain
//     name token and add only well-formed ones;
//   - fieldTokenizer adds, for a fresh document, one posting per distinct
//     term of the cut value in sign order, with the weight and bits that
//     summing counts and merging bits over the term's sorted tokens gives.
#include <cstring>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "foundation/dynamic_array.h"
#include "foundation/hash.h"
#include "foundation/utf8_util.h"
#include "fuzz_check.h"
#include "storage/index_manager.h"
#include "test_util.h"
#include "text/token_parser.h"
#include "text/token_rules.h"
#include "text/token_unit.h"

using namespace mobile_search;

namespace {

typedef std::vector<unsigned long long> Slots;

struct Posting {
  unsigned int sign;
  unsigned char weight, bits;
};

Slots Tokens(TokenParser& parser, const std::string& text, TokenStyle style,
             const TextOptions& options = TextOptions()) {
  _DArray* out = darray_create(nullptr, false);
  FUZZ_CHECK(parser.wordTokenizer(text.c_str(), out, style, options) == 0,
             "tokenizer %d failed on \"%s\"", style, ks_fuzz::Escaped(text).c_str());
  Slots v = ks_test::Slots(out);
  darray_destroy(out);
  return v;
}

std::set<unsigned int> QuerySigns(TokenParser& parser, const std::string& text, bool names) {
  _DArray* out = darray_create(nullptr, false);
  const int rc = names ? parser.fillQueryArray(text.c_str(), out)
                       : parser.fillQueryTokenArray(text.c_str(), out);
  FUZZ_CHECK(rc == 0, "query terms of \"%s\" failed", ks_fuzz::Escaped(text).c_str());
  std::set<unsigned int> signs;
  for (unsigned long long slot : ks_test::Slots(out)) signs.insert(token_unpack(slot).sign);
  darray_destroy(out);
  return signs;
}

std::string AsciiCase(std::string s, bool upper) {
  for (char& c : s) {
    if (upper && c >= 'a' && c <= 'z') c = (char)(c - 32);
    if (!upper && c >= 'A' && c <= 'Z') c = (char)(c + 32);
  }
  return s;
}

// Longest run of Latin letters, of digits or of kept punctuation.
int LongestAsciiRun(const std::string& s) {
  int longest = 0, run = 0, last = 0;
  for (unsigned char c : s) {
    const int kind = TokenRules::isZiMu(c) ? 1 : TokenRules::isNumber(c) ? 2
                     : ac_is_in_white((char)c) ? 3 : 0;
    run = kind != 0 && kind == last ? run + 1 : (kind != 0 ? 1 : 0);
    last = kind;
    longest = std::max(longest, run);
  }
  return longest;
}

void CheckTokens(const Slots& tokens, TokenStyle style, const std::string& text) {
  for (unsigned long long slot : tokens) {
    const token_unit_t t = token_unpack(slot);
    const bool ok = (slot >> 48) == 0 && (t.bits & ~0x1F) == 0 &&
                    (style == TOKEN_STYLE_SHORT ? (!(t.bits & kMatchFirst) || (t.bits & kMatchPinYin))
                                                : (t.bits & (kMatchFirst | kMatchPinYin)) == 0 &&
                                                      t.count >= 1);
    FUZZ_CHECK(ok, "style %d token %llx of \"%s\"", style, slot, ks_fuzz::Escaped(text).c_str());
  }
}

// The name options only add terms to a name: every plain token is kept, and
// the added ones are as well-formed. Fuzzy spellings of the text's words as a
// query come back without failing.
void CheckNameOptions(TokenParser& parser, const std::string& text, const Slots& plain) {
  TextOptions names;
  names.nameReadings = kNameReadingsAllCommon;
  names.syllableMix = true;
  names.fuzzy = ~0u;
  const Slots tokens = Tokens(parser, text, TOKEN_STYLE_SHORT, names);
  CheckTokens(tokens, TOKEN_STYLE_SHORT, text);
  const std::set<unsigned long long> all(tokens.begin(), tokens.end());
  for (unsigned long long slot : plain) {
    FUZZ_CHECK(all.count(slot) == 1, "name options drop token %llx of \"%s\"", slot,
               ks_fuzz::Escaped(text).c_str());
  }
  _DArray* out = darray_create(nullptr, false);
  FUZZ_CHECK(parser.fillQueryArray(text.c_str(), out, names) == 0,
             "query terms of \"%s\" failed under the name options", ks_fuzz::Escaped(text).c_str());
  darray_destroy(out);
}

void CheckTokenizers(TokenParser& parser, const std::string& text) {
  const bool selfFinding = LongestAsciiRun(text) <= 20;
  CheckNameOptions(parser, text, Tokens(parser, text, TOKEN_STYLE_SHORT));
  for (TokenStyle style : {TOKEN_STYLE_SHORT, TOKEN_STYLE_LONG}) {
    const Slots tokens = Tokens(parser, text, style);
    CheckTokens(tokens, style, text);
    for (bool upper : {true, false}) {
      FUZZ_CHECK(Tokens(parser, AsciiCase(text, upper), style) == tokens,
                 "style %d: \"%s\" tokenizes differently %s-cased", style,
                 ks_fuzz::Escaped(text).c_str(), upper ? "upper" : "lower");
    }
    if (!selfFinding) continue;
    std::set<unsigned int> indexed;
    for (unsigned long long slot : tokens) indexed.insert(token_unpack(slot).sign);
    for (unsigned int sign : QuerySigns(parser, text, style == TOKEN_STYLE_SHORT)) {
      FUZZ_CHECK(indexed.count(sign) == 1, "style %d: query term %08x of \"%s\" is not indexed",
                 style, sign, ks_fuzz::Escaped(text).c_str());
    }
  }
}

// ---- fieldTokenizer against the postings it should write ----

struct Index {
  ks_test::TempDir dir;
  IndexManager* manager = nullptr;
  int generation = 0;
  unsigned int nextDoc = 1;

  IndexManager* get() {
    // A fresh store well before its first data file fills: the postings
    // then stay in file 0, in append order.
    if (manager != nullptr && manager->get_max_pos() < 100000) return manager;
    if (manager != nullptr) {
      manager->close();
      delete manager;
      std::filesystem::remove_all(dir.file(std::to_string(generation)));
      ++generation;
    }
    manager = new IndexManager;
    FUZZ_CHECK(manager->open(dir.file(std::to_string(generation)).c_str(), "fuzz") == 0,
               "cannot open an index");
    // Nothing reads the files back: no write-back per posting.
    manager->setAutoSave(false);
    return manager;
  }
};

// The tokens fieldTokenizer works on: separators turned into spaces, the
// first 1,500 characters.
Slots FieldTokens(TokenParser& parser, const std::string& value, bool pinyin, bool noToken) {
  std::string copy = value.substr(0, (size_t)ac_utf8_word_bytes(value.c_str(), TokenParser::kMaxFieldChars));
  for (char& c : copy) {
    if (TokenRules::isStopWord(c)) c = ' ';
  }
  if (!noToken) return Tokens(parser, copy, pinyin ? TOKEN_STYLE_SHORT : TOKEN_STYLE_LONG);
  Slots tokens;
  size_t from = 0;
  while (from < copy.size()) {
    size_t end = copy.find(' ', from);
    if (end == std::string::npos) end = copy.size();
    if (end > from) {
      tokens.push_back(token_pack(idx_sign32(copy.data() + from, (unsigned int)(end - from)),
                                  token_count((int)(end - from)), kMatchAll));
    }
    from = end + 1;
  }
  return tokens;
}

// One posting per distinct sign, in the order the tokens sort: counts summed
// in a byte and weighed against the value's length, bits merged pairwise
// along the sorted run of each term.
std::vector<Posting> ExpectedPostings(Slots tokens, int chars) {
  _DArray* arr = darray_create(nullptr, false);
  for (unsigned long long t : tokens) darray_append(arr, t);
  darray_shell_sort(arr, token_cmp);
  tokens = ks_test::Slots(arr);
  darray_destroy(arr);
  std::vector<Posting> postings;
  for (size_t i = 0; i < tokens.size();) {
    size_t j = i;
    unsigned char w = 0, bits = 0;
    const unsigned int sign = token_unpack(tokens[i]).sign;
    for (; j < tokens.size() && token_unpack(tokens[j]).sign == sign; ++j) {
      const token_unit_t t = token_unpack(tokens[j]);
      w = (unsigned char)(w + t.count);
      const bool more = j + 1 < tokens.size() && token_unpack(tokens[j + 1]).sign == sign;
      TokenRules::mergeWeigthExt(bits, t.bits, more ? token_unpack(tokens[j + 1]).bits : t.bits);
    }
    TokenRules::mathBaseWeight(w, chars);
    postings.push_back({sign, w, bits});
    i = j;
  }
  return postings;
}

void CheckFieldTokenizer(TokenParser& parser, Index& index, const std::string& value, int flags) {
  const bool pinyin = flags & 1, noToken = flags & 2, autoSave = flags & 4;
  const int field = flags >> 3;
  IndexManager* manager = index.get();
  const unsigned int docId = index.nextDoc++;
  const unsigned int before = manager->get_max_pos();
  const int rc = parser.fieldTokenizer((int)docId, field, value.c_str(), pinyin, noToken, autoSave,
                                       manager);
  const unsigned int after = manager->get_max_pos();
  if (value.empty()) {
    FUZZ_CHECK(rc == -1 && after == before, "an empty value was indexed");
    return;
  }
  FUZZ_CHECK(rc == 0, "fieldTokenizer failed on \"%s\"", ks_fuzz::Escaped(value).c_str());
  const std::vector<Posting> want =
      ExpectedPostings(FieldTokens(parser, value, pinyin, noToken), ac_utf8_len(value.c_str()));
  FUZZ_CHECK(after - before == want.size(), "\"%s\" (flags %d): %u postings, want %zu",
             ks_fuzz::Escaped(value).c_str(), flags, after - before, want.size());
  if (want.empty()) return;
  unsigned int len = 0;
  const unsigned char* base =
      static_cast<const unsigned char*>(manager->getStore()->getBlockAddress(0, len));
  FUZZ_CHECK(base != nullptr && len >= after * _idx2_unit_t::kSize, "postings out of file 0");
  for (size_t i = 0; i < want.size(); ++i) {
    _idx2_unit_t rec;
    memcpy(rec.bytes, base + (before + i) * _idx2_unit_t::kSize, _idx2_unit_t::kSize);
    FUZZ_CHECK(rec.sign() == want[i].sign && rec.docid() == docId && rec.field() == field &&
                   rec.weight() == want[i].weight && rec.bits() == want[i].bits &&
                   rec.weight() >= 1 && rec.weight() <= 20,
               "\"%s\" (flags %d) posting %zu: sign %08x doc %u field %u weight %u bits %u, want "
               "sign %08x doc %u field %d weight %u bits %u",
               ks_fuzz::Escaped(value).c_str(), flags, i, rec.sign(), rec.docid(), rec.field(),
               rec.weight(), rec.bits(), want[i].sign, docId, field, want[i].weight, want[i].bits);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static TokenParser parser;
  static Index index;
  const ks_fuzz::TwoTexts in = ks_fuzz::SplitInput(data, size);
  CheckTokenizers(parser, in.first);
  CheckFieldTokenizer(parser, index, in.first, in.param);
  return 0;
}
