#pragma once
// Cursor that writes big-endian fields at an advancing output pointer, never past its end.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "util/ByteOrder.h"

namespace vxtrace::detail {

class ByteWriter {
 public:
  // end: first byte the writer must not touch. A field that would cross it is dropped and the
  // writer marked failed; out stays where the last whole field ended.
  ByteWriter(unsigned char*& out, unsigned char* end) : out_(out), end_(end) {}

  bool failed() const { return failed_; }
  std::size_t remaining() const { return static_cast<std::size_t>(end_ - out_); }

  void u8(uint8_t v) {
    if (take(1)) *out_++ = v;
  }
  void be16(uint16_t v) {
    if (!take(2)) return;
    storeBE16(out_, v);
    out_ += 2;
  }
  void be32(uint32_t v) {
    if (!take(4)) return;
    storeBE32(out_, v);
    out_ += 4;
  }
  void be64(uint64_t v) {
    if (!take(8)) return;
    storeBE64(out_, v);
    out_ += 8;
  }
  void bytes(const void* src, std::size_t n) {
    if (!take(n)) return;
    if (n != 0) std::memcpy(out_, src, n);
    out_ += n;
  }
  void zeros(std::size_t n) {
    if (!take(n)) return;
    if (n != 0) std::memset(out_, 0, n);
    out_ += n;
  }

 private:
  bool take(std::size_t n) {
    if (n <= static_cast<std::size_t>(end_ - out_)) return true;
    failed_ = true;
    return false;
  }

  unsigned char*& out_;
  unsigned char* end_;
  bool failed_ = false;
};

}  // namespace vxtrace::detail
