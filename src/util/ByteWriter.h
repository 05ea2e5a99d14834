#pragma once
// Cursor that writes big-endian fields at an advancing output pointer. The caller has checked
// the room (MessageBase::writeToByteArray did) before the body is written.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "util/ByteOrder.h"

namespace vxtrace::detail {

class ByteWriter {
 public:
  explicit ByteWriter(unsigned char*& out) : out_(out) {}

  void u8(uint8_t v) { *out_++ = v; }
  void be16(uint16_t v) {
    storeBE16(out_, v);
    out_ += 2;
  }
  void be32(uint32_t v) {
    storeBE32(out_, v);
    out_ += 4;
  }
  void be64(uint64_t v) {
    storeBE64(out_, v);
    out_ += 8;
  }
  void bytes(const void* src, std::size_t n) {
    if (n != 0) std::memcpy(out_, src, n);
    out_ += n;
  }
  void zeros(std::size_t n) {
    if (n != 0) std::memset(out_, 0, n);
    out_ += n;
  }

 private:
  unsigned char*& out_;
};

}  // namespace vxtrace::detail
