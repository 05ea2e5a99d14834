#pragma once
// Bounds-checked cursor over a frame. A read past the end yields zeros and marks the reader
// failed; it never touches memory beyond length.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "util/ByteOrder.h"
#include "vxtrace/Exceptions.h"

namespace vxtrace::detail {

class ByteReader {
 public:
  ByteReader(const uint8_t* data, std::size_t length) : data_(data), length_(length) {}

  std::size_t position() const { return pos_; }
  std::size_t remaining() const { return length_ - pos_; }
  // Subtraction form: a huge n from the data cannot wrap the check.
  bool has(std::size_t n) const { return n <= length_ - pos_; }
  bool failed() const { return failed_; }
  // For records whose definition rejects a short frame: throws the short-frame exception with
  // the record's text unless n more bytes are there. Elsewhere missing bytes just read as 0.
  void require(std::size_t n, const char* text) const {
    if (!has(n)) throw InvalidMessageException(invalidLength, text);
  }
  const uint8_t* current() const { return data_ + pos_; }

  uint8_t u8() { return take(1) ? data_[pos_++] : 0; }
  uint16_t be16() {
    if (!take(2)) return 0;
    uint16_t v = loadBE16(data_ + pos_);
    pos_ += 2;
    return v;
  }
  uint32_t be32() {
    if (!take(4)) return 0;
    uint32_t v = loadBE32(data_ + pos_);
    pos_ += 4;
    return v;
  }
  uint64_t be64() {
    if (!take(8)) return 0;
    uint64_t v = loadBE64(data_ + pos_);
    pos_ += 8;
    return v;
  }
  // Copies n bytes to dst; zero-fills dst and fails when fewer remain.
  void bytes(void* dst, std::size_t n) {
    if (!take(n)) {
      std::memset(dst, 0, n);
      return;
    }
    if (n != 0) std::memcpy(dst, data_ + pos_, n);
    pos_ += n;
  }
  // Start of the next n bytes (and steps over them), or null when fewer remain.
  const uint8_t* bytes(std::size_t n) {
    if (!take(n)) return nullptr;
    const uint8_t* p = data_ + pos_;
    pos_ += n;
    return p;
  }
  void skip(std::size_t n) {
    if (take(n)) pos_ += n;
  }

 private:
  bool take(std::size_t n) {
    if (has(n)) return true;
    failed_ = true;
    pos_ = length_;
    return false;
  }

  const uint8_t* data_;
  std::size_t length_;
  std::size_t pos_ = 0;
  bool failed_ = false;
};

}  // namespace vxtrace::detail
