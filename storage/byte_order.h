// Little-endian field access for the packed records of the index files
// (document records, postings, log records, content lengths). Records sit at
// arbitrary byte offsets in mapped memory, so fields are always assembled
// byte by byte, never read through a cast pointer.
#ifndef KS_STORAGE_BYTE_ORDER_H_
#define KS_STORAGE_BYTE_ORDER_H_

#include <cstdint>

namespace mobile_search {

inline void EncodeFixed16(unsigned char* p, uint16_t v) {
  p[0] = static_cast<unsigned char>(v);
  p[1] = static_cast<unsigned char>(v >> 8);
}

inline void EncodeFixed32(unsigned char* p, uint32_t v) {
  p[0] = static_cast<unsigned char>(v);
  p[1] = static_cast<unsigned char>(v >> 8);
  p[2] = static_cast<unsigned char>(v >> 16);
  p[3] = static_cast<unsigned char>(v >> 24);
}

inline uint16_t DecodeFixed16(const unsigned char* p) {
  return static_cast<uint16_t>(p[0] | (p[1] << 8));
}

inline uint32_t DecodeFixed32(const unsigned char* p) {
  return static_cast<uint32_t>(p[0]) | (static_cast<uint32_t>(p[1]) << 8) |
         (static_cast<uint32_t>(p[2]) << 16) | (static_cast<uint32_t>(p[3]) << 24);
}

}  // namespace mobile_search

#endif  // KS_STORAGE_BYTE_ORDER_H_
