#include "foundation/hash.h"

#include <stdint.h>

namespace mobile_search {

namespace {

struct CrcTable {
  uint32_t entry[256];
};

// The standard table of the reflected IEEE 802.3 polynomial.
constexpr CrcTable make_crc_table() {
  CrcTable t{};
  for (uint32_t i = 0; i < 256; ++i) {
    uint32_t c = i;
    for (int k = 0; k < 8; ++k) c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
    t.entry[i] = c;
  }
  return t;
}

const int kCryptRows = 5;

struct CryptTable {
  uint32_t entry[kCryptRows * 256];
};

// The published crypt-table recurrence; entry 0 is 0x55C636E2.
constexpr CryptTable make_crypt_table() {
  CryptTable t{};
  uint32_t seed = 0x00100001;
  for (uint32_t i = 0; i < 256; ++i) {
    for (uint32_t row = 0; row < kCryptRows; ++row) {
      seed = (seed * 125 + 3) % 0x2AAAAB;
      uint32_t hi = seed & 0xFFFF;
      seed = (seed * 125 + 3) % 0x2AAAAB;
      uint32_t lo = seed & 0xFFFF;
      t.entry[row * 256 + i] = (hi << 16) | lo;
    }
  }
  return t;
}

constexpr CrcTable kCrcTable = make_crc_table();
constexpr CryptTable kCryptTable = make_crypt_table();

unsigned char ascii_upper(unsigned char c) { return (c >= 'a' && c <= 'z') ? (unsigned char)(c - 32) : c; }

// Little-endian word of the first len bytes, the rest zero.
unsigned long long raw_bytes(const char* s, unsigned int len) {
  unsigned long long v = 0;
  for (unsigned int i = 0; i < len; ++i) v |= (unsigned long long)(unsigned char)s[i] << (8 * i);
  return v;
}

}  // namespace

unsigned int crc32(const char* buf, unsigned int len, unsigned int seed) {
  // No initial or final inversion: chains start from 0 and results are
  // stored as they come out.
  uint32_t c = seed;
  if (buf == nullptr) return c;
  const unsigned char* p = reinterpret_cast<const unsigned char*>(buf);
  for (unsigned int i = 0; i < len; ++i) c = kCrcTable.entry[(p[i] ^ c) & 0xFF] ^ (c >> 8);
  return c;
}

unsigned long long hash_string(const char* s, int len, unsigned long type, unsigned long seed1,
                               unsigned long seed2) {
  if (s == nullptr || s[0] == '\0' || type >= (unsigned long)kCryptRows) return 0;
  uint32_t s1 = (uint32_t)seed1;
  uint32_t s2 = (uint32_t)seed2;
  const uint32_t* row = kCryptTable.entry + (type << 8);
  // The length is tested first: a term of exactly len bytes need not be
  // terminated.
  for (int i = 0; (len <= 0 || i < len) && s[i] != '\0'; ++i) {
    uint32_t c = ascii_upper((unsigned char)s[i]);
    s1 = row[c] ^ (s1 + s2);
    s2 = c + s1 + s2 + (s2 << 5) + 3;
  }
  return s1;
}

unsigned long long hash_string(const char* s, int len, unsigned long type) {
  return hash_string(s, len, type, 0x7FED7FEDul, 0xEEEEEEEEul);
}

unsigned int idx_sign32(const char* s, unsigned int len) {
  if (s == nullptr || s[0] == '\0' || len == 0) return 0;
  // Long terms are hashed (case-blind), short ones are their own bytes
  // (case-sensitive); the tokenizers fold case before signing.
  if (len > 4) {
    unsigned long long h = hash_string(s, (int)len, 0);
    return (unsigned int)((h >> 32) + (h & 0xFFFFFFFFu));
  }
  return (unsigned int)raw_bytes(s, len);
}

unsigned long long idx_sign64(const char* s, unsigned int len) {
  if (s == nullptr || len == 0) return 0;
  if (len > 8) return hash_string(s, (int)len, 0);
  return raw_bytes(s, len);
}

unsigned int crypt_table_entry(unsigned int i) {
  return i < (unsigned int)(kCryptRows * 256) ? kCryptTable.entry[i] : 0;
}

}  // namespace mobile_search
