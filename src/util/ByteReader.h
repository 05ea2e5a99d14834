#pragma once
// Bounds-checked cursor over a frame. A read past the end yields zeros for the missing bytes and
// marks the reader failed; it never touches memory beyond length.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>

#include "util/ByteOrder.h"
#include "util/Reject.h"
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
    requireLength(remaining(), n, text);
  }
  const uint8_t* current() const { return data_ + pos_; }

  uint8_t u8() { return take(1) ? data_[pos_++] : 0; }
  // A field cut by the end of the frame reads as its present bytes followed by zero bytes (a
  // lone 0x01 of a 16-bit field is 0x0100), and the reader is failed and at the end.
  uint16_t be16() { return loadBE16(field(2)); }
  uint32_t be32() { return loadBE32(field(4)); }
  uint64_t be64() { return loadBE64(field(8)); }
  // Copies n bytes to dst; when fewer remain, copies those, zero-fills the rest and fails.
  void bytes(void* dst, std::size_t n) {
    const std::size_t present = has(n) ? n : remaining();
    if (present != 0) std::memcpy(dst, data_ + pos_, present);
    if (present != n) std::memset(static_cast<uint8_t*>(dst) + present, 0, n - present);
    skip(n);
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

  // The next n (at most 8) bytes: in place when all are there, else the present ones and zeros.
  const uint8_t* field(std::size_t n) {
    const uint8_t* p = data_ + pos_;
    if (take(n)) {
      pos_ += n;
      return p;
    }
    std::memset(cut_, 0, sizeof cut_);
    const std::size_t present = static_cast<std::size_t>(data_ + length_ - p);
    if (present != 0) std::memcpy(cut_, p, present);
    return cut_;
  }

  const uint8_t* data_;
  std::size_t length_;
  uint8_t cut_[8];
  std::size_t pos_ = 0;
  bool failed_ = false;
};

// Big-endian 16-bit words in place, as a random-access iterator: a vector assigned a range of
// them is filled in one pass, without the zero-fill of resize() first.
class Be16Iterator {
 public:
  using iterator_category = std::random_access_iterator_tag;
  using value_type = uint16_t;
  using difference_type = std::ptrdiff_t;
  using pointer = const uint16_t*;
  using reference = uint16_t;

  explicit Be16Iterator(const uint8_t* p) : p_(p) {}
  uint16_t operator*() const { return loadBE16(p_); }
  Be16Iterator& operator++() {
    p_ += 2;
    return *this;
  }
  Be16Iterator& operator--() {
    p_ -= 2;
    return *this;
  }
  Be16Iterator& operator+=(difference_type n) {
    p_ += 2 * n;
    return *this;
  }
  difference_type operator-(const Be16Iterator& other) const { return (p_ - other.p_) / 2; }
  bool operator==(const Be16Iterator& other) const { return p_ == other.p_; }
  bool operator!=(const Be16Iterator& other) const { return p_ != other.p_; }

 private:
  const uint8_t* p_;
};

// Copies n bytes (dst and src apart) in pieces of 16, 8, 4 or single bytes, the last piece
// overlapping the one before: for the few to a few dozen bytes a decoder copies, cheaper than a
// call into the C library or a compiler's byte loop.
inline void copyShort(uint8_t* dst, const uint8_t* src, std::size_t n) {
  if (n >= 16) {
    for (std::size_t i = 0; i + 16 < n; i += 16) std::memcpy(dst + i, src + i, 16);
    std::memcpy(dst + n - 16, src + n - 16, 16);
  } else if (n >= 8) {
    std::memcpy(dst, src, 8);
    std::memcpy(dst + n - 8, src + n - 8, 8);
  } else if (n >= 4) {
    std::memcpy(dst, src, 4);
    std::memcpy(dst + n - 4, src + n - 4, 4);
  } else if (n != 0) {
    dst[0] = src[0];
    dst[n / 2] = src[n / 2];
    dst[n - 1] = src[n - 1];
  }
}

// ByteReader's reads without their bounds checks, for the fixed part of a frame after one check
// that all of it is there (length >= the fixed part's size, which the caller guarantees). Only
// the reads of the fixed part may go unchecked: a count taken from the data goes through
// remaining() first.
class FixedReader {
 public:
  FixedReader(const uint8_t* data, std::size_t length) : p_(data), end_(data + length) {}

  std::size_t remaining() const { return static_cast<std::size_t>(end_ - p_); }
  uint8_t u8() { return *p_++; }
  uint16_t be16() { return loadBE16(take(2)); }
  uint32_t be32() { return loadBE32(take(4)); }
  uint64_t be64() { return loadBE64(take(8)); }
  // n at most remaining().
  void bytes(void* dst, std::size_t n) { copyShort(static_cast<uint8_t*>(dst), take(n), n); }
  void skip(std::size_t n) { p_ += n; }

 private:
  const uint8_t* take(std::size_t n) {
    const uint8_t* p = p_;
    p_ += n;
    return p;
  }

  const uint8_t* p_;
  const uint8_t* end_;
};

// Calls decode(reader) with a FixedReader when the frame holds its fixed part of fixedPart bytes
// (the usual case: one bounds check for all of it), else with a checked ByteReader.
template <typename Decode>
void readFrame(const uint8_t* data, std::size_t length, std::size_t fixedPart, Decode&& decode) {
  if (length >= fixedPart) {
    FixedReader r(data, length);
    decode(r);
  } else {
    ByteReader r(data, length);
    decode(r);
  }
}

}  // namespace vxtrace::detail
