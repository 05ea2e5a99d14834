#include "io/TraceScan.h"

#include <array>

namespace vxtrace::detail {

namespace {
constexpr std::array<uint32_t, 256> makeCrcTable() {
  std::array<uint32_t, 256> table{};
  for (uint32_t n = 0; n < 256; ++n) {
    uint32_t c = n;
    for (int k = 0; k < 8; ++k) c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
    table[n] = c;
  }
  return table;
}
constexpr std::array<uint32_t, 256> kCrcTable = makeCrcTable();
}  // namespace

uint32_t crc32(uint32_t crc, const uint8_t* data, std::size_t length) {
  crc = ~crc;
  for (std::size_t i = 0; i < length; ++i) crc = kCrcTable[(crc ^ data[i]) & 0xFF] ^ (crc >> 8);
  return ~crc;
}

}  // namespace vxtrace::detail
