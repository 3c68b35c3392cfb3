// Helpers for the tokenizer tests: expected terms written as text, compared
// with token slots as readable strings ("ZH(1,6)"; an unexpected sign shows as
// its hex value).
#ifndef KS_TESTS_TEXT_TOKEN_EXPECT_H_
#define KS_TESTS_TEXT_TOKEN_EXPECT_H_

#include <stdio.h>
#include <string.h>

#include <string>
#include <vector>

#include "foundation/dynamic_array.h"
#include "foundation/hash.h"
#include "text/token_unit.h"

namespace ks_test {

struct Term {
  const char* text;
  int count;
  int bits;
};

inline unsigned int SignOf(const char* text) {
  return mobile_search::idx_sign32(text, static_cast<unsigned int>(strlen(text)));
}

inline std::string Show(const char* text, int count, int bits) {
  return std::string(text) + "(" + std::to_string(count) + "," + std::to_string(bits) + ")";
}

inline std::vector<std::string> Expected(const std::vector<Term>& terms) {
  std::vector<std::string> out;
  for (const Term& t : terms) out.push_back(Show(t.text, t.count, t.bits));
  return out;
}

// Names each slot after the expected term with the same sign.
inline std::vector<std::string> Actual(const mobile_search::_DArray* tokens,
                                       const std::vector<Term>& names) {
  std::vector<std::string> out;
  for (unsigned int i = 0; i < mobile_search::darray_length(tokens); ++i) {
    const unsigned long long slot = mobile_search::darray_get_by_index(tokens, i);
    const mobile_search::token_unit_t t = mobile_search::token_unpack(slot);
    std::string name;
    for (const Term& n : names) {
      if (SignOf(n.text) == t.sign) name = n.text;
    }
    if (name.empty()) {
      char hex[16];
      snprintf(hex, sizeof(hex), "#%08x", t.sign);
      name = hex;
    }
    if ((slot >> 48) != 0) name += "+high";
    out.push_back(Show(name.c_str(), t.count, t.bits));
  }
  return out;
}

// An owned token list.
struct TokenList {
  TokenList() : arr(mobile_search::darray_create(nullptr, false)) {}
  ~TokenList() { mobile_search::darray_destroy(arr); }
  TokenList(const TokenList&) = delete;
  TokenList& operator=(const TokenList&) = delete;
  unsigned int size() const { return mobile_search::darray_length(arr); }
  std::vector<unsigned long long> slots() const {
    std::vector<unsigned long long> out;
    for (unsigned int i = 0; i < size(); ++i) out.push_back(mobile_search::darray_get_by_index(arr, i));
    return out;
  }
  std::vector<unsigned int> signs() const {
    std::vector<unsigned int> out;
    for (unsigned long long slot : slots()) out.push_back(static_cast<unsigned int>(slot));
    return out;
  }
  mobile_search::_DArray* arr;
};

}  // namespace ks_test

#endif  // KS_TESTS_TEXT_TOKEN_EXPECT_H_
