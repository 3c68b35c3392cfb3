// token_unit_t: one token or query term, packed in one 64-bit _DArray slot.
//
//   bits  0-31  term sign (idx_sign32 of the term's bytes)
//   bits 32-39  character count (pinyin terms: Han characters covered;
//               no-token terms: byte length; 0 in query lists)
//   bits 40-47  match bits (TokenRules: 1 all, 2 first, 4 pinyin, 8 accurate,
//               16 first-and-accurate; 0 in query lists)
//   bits 48-63  always 0; nothing reads them
//
// token_cmp orders slots by the sign alone, so a sort groups all tokens of one
// term together in no particular order. Pure functions: safe from any thread.
#ifndef KS_TEXT_TOKEN_UNIT_H_
#define KS_TEXT_TOKEN_UNIT_H_

namespace mobile_search {

struct token_unit_t {
  unsigned int sign;
  unsigned char count;
  unsigned char bits;
};

inline unsigned long long token_pack(unsigned int sign, unsigned char count, unsigned char bits) {
  return static_cast<unsigned long long>(sign) | (static_cast<unsigned long long>(count) << 32) |
         (static_cast<unsigned long long>(bits) << 40);
}

inline token_unit_t token_unpack(unsigned long long slot) {
  token_unit_t t;
  t.sign = static_cast<unsigned int>(slot);
  t.count = static_cast<unsigned char>(slot >> 32);
  t.bits = static_cast<unsigned char>(slot >> 40);
  return t;
}

// The count byte for a term of n characters (or bytes). A term longer than
// the byte holds, a whole run or no-token word of 256 or more, counts 255
// rather than its length modulo 256, so it never weighs as a short one.
inline unsigned char token_count(int n) {
  return static_cast<unsigned char>(n > 255 ? 255 : (n < 0 ? 0 : n));
}

// 0 when the signs are equal, 1 when a's is greater, -1 otherwise (unsigned).
int token_cmp(unsigned long long a, unsigned long long b);

}  // namespace mobile_search

#endif  // KS_TEXT_TOKEN_UNIT_H_
