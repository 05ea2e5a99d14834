#pragma once
// Header-only helpers for record tests: bounded writes and decodes from exact-size blocks.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "vxtrace/MessageBase.h"

namespace vxtest {

// What writeToByteArray did to a room of exactly `room` bytes fenced by canaries (0xEE).
struct Written {
  unsigned int result;
  std::ptrdiff_t advanced;     // how far the output pointer moved
  std::vector<uint8_t> bytes;  // the room's bytes after the call (0xEE where untouched)
  bool canaryIntact;           // nothing written before or after the room
};

inline Written writeInto(const MessageBase& msg, unsigned int room, bool withSync) {
  std::vector<uint8_t> buf(room + 8, 0xEE);
  unsigned char* const start = buf.data() + 4;
  unsigned char* out = start;
  Written w;
  w.result = msg.writeToByteArray(out, room, withSync);
  w.advanced = out - start;
  w.bytes.assign(start, start + room);
  w.canaryIntact = std::count(buf.begin(), buf.begin() + 4, 0xEE) == 4 &&
                   std::count(buf.end() - 4, buf.end(), 0xEE) == 4;
  return w;
}

// Decodes the first n bytes from a heap copy of exactly n bytes, so that the sanitizers see any
// read past its end. The caller owns the result.
inline std::unique_ptr<MessageBase> decodeExact(const std::vector<uint8_t>& frame, std::size_t n) {
  std::unique_ptr<uint8_t[]> exact(new uint8_t[n == 0 ? 1 : n]);
  if (n != 0) std::memcpy(exact.get(), frame.data(), n);
  return std::unique_ptr<MessageBase>(
      MessageBase::readFromByteArray(exact.get(), static_cast<unsigned int>(n)));
}

}  // namespace vxtest
