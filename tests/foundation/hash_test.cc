#include "foundation/hash.h"

#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <memory>
#include <random>

#include "foundation/dynamic_array.h"
#include "foundation/hash_map.h"

namespace mobile_search {
namespace {

TEST(Hash, Crc32IsTheTableCrcWithoutInversions) {
  const char* digits = "123456789";
  // Standard CRC-32 check value once the caller adds both inversions, and the
  // CRC-32/JAMCRC one (initial inversion only).
  EXPECT_EQ(0xCBF43926u, crc32(digits, 9, 0xFFFFFFFFu) ^ 0xFFFFFFFFu);
  EXPECT_EQ(0x340BC6D9u, crc32(digits, 9, 0xFFFFFFFFu));
  // Chained pieces give the whole; a NUL is data, not an end.
  EXPECT_EQ(crc32(digits, 9, 0), crc32(digits + 4, 5, crc32(digits, 4, 0)));
  EXPECT_NE(crc32("a\0b", 3, 0), crc32("a\0c", 3, 0));
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
  // A term of exactly len bytes with no terminator after it (the tokenizers
  // sign heap copies of that size): no byte past it is read.
  std::unique_ptr<char[]> bare(new char[6]);
  memcpy(bare.get(), "abcdef", 6);
  EXPECT_EQ(idx_sign32("abcdef", 6), idx_sign32(bare.get(), 6));
}

TEST(HashMap, ProbesRehashesAndKeepsEveryKey) {
  hash_value_free(darray_create(nullptr, true));  // the release for array values
  // 32 keys sharing home slot 0 fill the whole probe run; the 33rd forces a
  // rehash although the map is far from half full. Absent keys read as 0.
  hashmap<int> run(128);
  for (int k = 0; k <= 32; ++k) ASSERT_EQ(0, run.put(k * 128u, k + 1));
  for (int k = 0; k <= 33; ++k) EXPECT_EQ(k <= 32 ? k + 1 : 0, run.get(k * 128u)) << k;

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
