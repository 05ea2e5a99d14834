#pragma once
// Big-endian loads and stores, byte by byte so they are right on any host; the few
// little-endian fields of the wire use the LE pair.
#include <cstdint>

namespace vxtrace::detail {

inline uint16_t loadBE16(const uint8_t* p) {
  return static_cast<uint16_t>((static_cast<uint16_t>(p[0]) << 8) | p[1]);
}
inline uint32_t loadBE32(const uint8_t* p) {
  return (static_cast<uint32_t>(p[0]) << 24) | (static_cast<uint32_t>(p[1]) << 16) |
         (static_cast<uint32_t>(p[2]) << 8) | static_cast<uint32_t>(p[3]);
}
inline uint64_t loadBE64(const uint8_t* p) {
  return (static_cast<uint64_t>(loadBE32(p)) << 32) | loadBE32(p + 4);
}
inline void storeBE16(uint8_t* p, uint16_t v) {
  p[0] = static_cast<uint8_t>(v >> 8);
  p[1] = static_cast<uint8_t>(v);
}
inline void storeBE32(uint8_t* p, uint32_t v) {
  p[0] = static_cast<uint8_t>(v >> 24);
  p[1] = static_cast<uint8_t>(v >> 16);
  p[2] = static_cast<uint8_t>(v >> 8);
  p[3] = static_cast<uint8_t>(v);
}
inline void storeBE64(uint8_t* p, uint64_t v) {
  storeBE32(p, static_cast<uint32_t>(v >> 32));
  storeBE32(p + 4, static_cast<uint32_t>(v));
}

// Little-endian, for the few transport fields that are (XCP on Ethernet).
inline uint16_t loadLE16(const uint8_t* p) { return static_cast<uint16_t>(p[0] | p[1] << 8); }
inline void storeLE16(uint8_t* p, uint16_t v) {
  p[0] = static_cast<uint8_t>(v);
  p[1] = static_cast<uint8_t>(v >> 8);
}
inline uint32_t loadLE32(const uint8_t* p) {
  return static_cast<uint32_t>(p[0]) | (static_cast<uint32_t>(p[1]) << 8) |
         (static_cast<uint32_t>(p[2]) << 16) | (static_cast<uint32_t>(p[3]) << 24);
}
inline void storeLE32(uint8_t* p, uint32_t v) {
  p[0] = static_cast<uint8_t>(v);
  p[1] = static_cast<uint8_t>(v >> 8);
  p[2] = static_cast<uint8_t>(v >> 16);
  p[3] = static_cast<uint8_t>(v >> 24);
}

}  // namespace vxtrace::detail
