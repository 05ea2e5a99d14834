#pragma once
// A record's text built in a fixed buffer and handed to the stream (or string) in one piece, for
// the printers of the most frequent records: a formatted insertion per field takes the stream's
// sentry and locale every time, one write takes them once.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <ostream>
#include <string>

#include "util/Hex.h"

class MessageBase;

namespace vxtrace::detail {

class LineText {
 public:
  static constexpr std::size_t kCapacity = 512;

  // Appends past the capacity are dropped: callers size their texts well below it.
  void text(const char* s, std::size_t n) {
    if (n > kCapacity - size_) n = kCapacity - size_;
    std::memcpy(buf_ + size_, s, n);
    size_ += n;
  }
  void text(const char* s) { text(s, std::strlen(s)); }
  void ch(char c) {
    if (size_ < kCapacity) buf_[size_++] = c;
  }
  // Decimal, padded with fill to width on the left (or on the right when left is set).
  void dec(uint64_t v, unsigned width = 0, char fill = ' ', bool left = false) {
    char digits[20];
    std::size_t n = 0;
    do {
      digits[sizeof digits - ++n] = static_cast<char>('0' + v % 10);
      v /= 10;
    } while (v != 0);
    padded(digits + sizeof digits - n, n, width, fill, left);
  }
  // Hexadecimal, padded on the left with fill to width.
  void hex(uint64_t v, unsigned width, char fill, bool upper) {
    const char* d = hexDigits(upper);
    char digits[16];
    std::size_t n = 0;
    do {
      digits[sizeof digits - ++n] = d[v & 0xF];
      v >>= 4;
    } while (v != 0);
    padded(digits + sizeof digits - n, n, width, fill, false);
  }
  // Two digits a byte, one blank between bytes.
  void hexBytes(const uint8_t* p, std::size_t n, bool upper) {
    if (n == 0) return;
    if (n > (kCapacity - size_ + 1) / 3) n = (kCapacity - size_ + 1) / 3;
    char* out = buf_ + size_;
    for (std::size_t i = 0; i < n; ++i) {
      if (i != 0) *out++ = ' ';
      out = putHex2(out, p[i], upper);
    }
    size_ = static_cast<std::size_t>(out - buf_);
  }

  const char* data() const { return buf_; }
  std::size_t size() const { return size_; }

 private:
  void padded(const char* s, std::size_t n, unsigned width, char fill, bool left) {
    const std::size_t pad = width > n ? width - n : 0;
    if (!left) fillWith(fill, pad);
    text(s, n);
    if (left) fillWith(fill, pad);
  }
  void fillWith(char c, std::size_t n) {
    if (n > kCapacity - size_) n = kCapacity - size_;
    std::memset(buf_ + size_, c, n);
    size_ += n;
  }

  char buf_[kCapacity];
  std::size_t size_ = 0;
};

// The stream's upper-case flag, which decides the digit case where a text leaves it open.
inline bool upperHex(const std::ostream& os) { return (os.flags() & std::ios::uppercase) != 0; }

// The whole text of a record: its common prefix (label, time stamp) followed by body.
std::string recordText(const MessageBase& msg, const LineText& body);

}  // namespace vxtrace::detail
