#pragma once
// The one hexadecimal byte formatter of the library and the tool.
#include <cstddef>
#include <cstdint>
#include <string>

namespace vxtrace::detail {

inline const char* hexDigits(bool upper) {
  return upper ? "0123456789ABCDEF" : "0123456789abcdef";
}

// Two digits at dst; returns the position after them.
inline char* putHex2(char* dst, uint8_t b, bool upper = false) {
  const char* digits = hexDigits(upper);
  dst[0] = digits[b >> 4];
  dst[1] = digits[b & 0x0F];
  return dst + 2;
}

// Appends n bytes as digit pairs, separated by sep unless sep is '\0'.
inline void appendHex(std::string& out, const uint8_t* p, std::size_t n, char sep = ' ',
                      bool upper = false) {
  const std::size_t start = out.size();
  const std::size_t step = sep != '\0' ? 3 : 2;
  if (n == 0) return;
  out.resize(start + n * step - (step - 2));
  char* dst = &out[start];
  for (std::size_t i = 0; i < n; ++i) {
    if (i != 0 && sep != '\0') *dst++ = sep;
    dst = putHex2(dst, p[i], upper);
  }
}

}  // namespace vxtrace::detail
