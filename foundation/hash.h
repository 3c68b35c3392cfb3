// Checksums and term signs.
//
//   crc32        table CRC-32 (reflected IEEE polynomial 0xEDB88320) WITHOUT the
//                usual initial and final inversions; chain by passing the
//                previous result as the seed (chains start at 0). Used for
//                primary keys and row-content checksums.
//   hash_string  table-driven string hash over a 5 x 256 crypt table; ASCII
//                case-blind.
//   idx_sign32   the 32-bit sign of every indexed term: terms of up to 4 bytes
//                are their own little-endian bytes (case-sensitive), longer
//                ones are hashed (case-blind). The two branches differ on
//                purpose; tokenizers fold case before signing.
//   idx_sign64   the same idea with 8 bytes.
//
// All arithmetic is modulo 2^32 whatever the width of `unsigned long`. Pure
// functions over constant tables: safe from any thread. Null or empty input
// gives 0 (crc32 of zero bytes gives the seed).
#ifndef KS_FOUNDATION_HASH_H_
#define KS_FOUNDATION_HASH_H_

namespace mobile_search {

unsigned int crc32(const char* buf, unsigned int len, unsigned int seed);

// Walks at most len bytes when len > 0 (stopping early at a NUL), else up to
// the NUL. `type` selects the table row (0..4; other rows give 0). The
// result's high half is 0.
unsigned long long hash_string(const char* s, int len, unsigned long type,
                               unsigned long seed1, unsigned long seed2);
// seed1 = 0x7FED7FED, seed2 = 0xEEEEEEEE.
unsigned long long hash_string(const char* s, int len, unsigned long type);

unsigned int idx_sign32(const char* s, unsigned int len);
unsigned long long idx_sign64(const char* s, unsigned int len);

// Entry i of the crypt table (1280 entries); exposed for verification.
unsigned int crypt_table_entry(unsigned int i);

}  // namespace mobile_search

#endif  // KS_FOUNDATION_HASH_H_
