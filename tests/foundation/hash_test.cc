#include "foundation/hash.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <vector>

#include "foundation/dynamic_array.h"
#include "foundation/hash_map.h"

namespace mobile_search {
namespace {

// Bit-by-bit CRC of the reflected polynomial, independent of the table.
unsigned int bitwise_crc(const std::string& s, unsigned int c) {
  for (unsigned char b : s) {
    c ^= b;
    for (int k = 0; k < 8; ++k) c = (c & 1) ? (c >> 1) ^ 0xEDB88320u : c >> 1;
  }
  return c;
}

TEST(Hash, Crc32IsTheTableCrcWithoutInversions) {
  const char* digits = "123456789";
  // Standard CRC-32 check value once the caller adds both inversions, and the
  // CRC-32/JAMCRC one (initial inversion only).
  EXPECT_EQ(0xCBF43926u, crc32(digits, 9, 0xFFFFFFFFu) ^ 0xFFFFFFFFu);
  EXPECT_EQ(0x340BC6D9u, crc32(digits, 9, 0xFFFFFFFFu));
  // Every byte value, NUL first, fed in two chained pieces.
  std::string all;
  for (int b = 0; b < 256; ++b) all += (char)b;
  EXPECT_EQ(bitwise_crc(all, 0), crc32(all.data() + 100, 156, crc32(all.data(), 100, 0)));
}

TEST(Hash, HashStringAndTermSigns) {
  // Published keys of the archive format that defined this table and hash.
  EXPECT_EQ(0xC3AF3770ull, hash_string("(hash table)", 0, 3));
  EXPECT_EQ(0xEC83B3A3ull, hash_string("(block table)", 0, 3));
  // Case-blind, bounded by len and by the NUL, high half zero, no row 5.
  EXPECT_EQ(hash_string("(HASH TABLE)", 0, 3), hash_string("(hash table)", 0, 3));
  EXPECT_EQ(hash_string("abc", 0, 0), hash_string("abcdef", 3, 0));
  EXPECT_EQ(hash_string("abc", 0, 0), hash_string("abc", 10, 0));
  EXPECT_EQ(0u, hash_string("anything", 0, 0) >> 32);
  EXPECT_EQ(0u, hash_string("abc", 0, 5) | hash_string("", 0, 0));

  // Up to 4 (32-bit) or 8 (64-bit) bytes the sign is the raw little-endian
  // bytes, so case counts; longer terms hash case-blind.
  EXPECT_EQ(0x00006261u, idx_sign32("ab", 2));
  EXPECT_EQ(0x00636261u, idx_sign32("abcdef", 3));
  EXPECT_EQ(0x64636261u, idx_sign32("abcd", 4));
  EXPECT_NE(idx_sign32("ab", 2), idx_sign32("AB", 2));
  EXPECT_EQ((unsigned int)hash_string("abcde", 5, 0), idx_sign32("abcde", 5));
  EXPECT_EQ(idx_sign32("abcdef", 6), idx_sign32("ABCDEF", 6));
  EXPECT_EQ(0x6867666564636261ull, idx_sign64("abcdefgh", 8));
  EXPECT_EQ(hash_string("abcdefghi", 9, 0), idx_sign64("abcdefghi", 9));
  EXPECT_EQ(idx_sign64("abcdefghi", 9), idx_sign64("ABCDEFGHI", 9));
}

TEST(HashMap, ProbesRehashesAndKeepsEveryKey) {
  hashmap<int> small(4);
  EXPECT_EQ(0, small.put(1, 10));
  EXPECT_EQ(0, small.put(5, 50));  // same home slot as 1
  EXPECT_EQ(4, small.capacity);
  EXPECT_EQ(0, small.put(9, 90));  // third put: size 2 >= 4 / 2
  EXPECT_EQ(8, small.capacity);
  EXPECT_EQ(3, small.size);  // the two moved entries are put again
  EXPECT_EQ(0, small.put(5, 55));  // an overwrite still counts as a put
  EXPECT_EQ(4, small.size);
  EXPECT_EQ((std::vector<int>{10, 55, 90, 0}),
            (std::vector<int>{small.get(1), small.get(5), small.get(9), small.get(13)}));
  EXPECT_EQ(1, small.home_slot(0xFFFFFFFFu));  // read as -1
  hash_value_free(darray_create(nullptr, true));  // the release for array values

  // 32 keys sharing home slot 0 fill the whole probe run; the 33rd forces a
  // rehash although the map is far from half full.
  hashmap<int> run(128);
  for (int k = 0; k < 32; ++k) ASSERT_EQ(0, run.put(k * 128u, k + 1));
  EXPECT_EQ(128, run.capacity);
  EXPECT_EQ(0, run.put(32 * 128u, 33));
  EXPECT_EQ(256, run.capacity);
  for (int k = 0; k <= 32; ++k) EXPECT_EQ(k + 1, run.get(k * 128u)) << k;

  // Random keys against a model, across many rehashes.
  hashmap<int> map(2048);
  std::map<unsigned int, int> model;
  std::mt19937 rng(11);
  for (int i = 1; i <= 20000; ++i) {
    unsigned int key = rng() % 50000 * 2654435761u;
    ASSERT_EQ(0, map.put(key, i));
    model[key] = i;
  }
  for (const auto& kv : model) ASSERT_EQ(kv.second, map.get(kv.first)) << kv.first;
}

}  // namespace
}  // namespace mobile_search
