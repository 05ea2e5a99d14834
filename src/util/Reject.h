#pragma once
// The one way a record rejects a frame. Each family keeps its defined result (the decoder's
// InvalidMessage or null, the MOST creator's own InvalidMessage, the remote-control valid flag),
// but the throw that leads there is made here.
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "vxtrace/Exceptions.h"

namespace vxtrace::detail {

// A wire value outside its enumeration, where the record's definition rejects it: the decoder
// keeps typeName and value in its InvalidMessage.
[[noreturn]] inline void throwBadEnum(const char* typeName, unsigned value) {
  InvalidMessageException e(invalidEnumValue, typeName);
  e.value = static_cast<uint16_t>(value);
  throw e;
}

// The short-frame reject, with the record's text.
[[noreturn]] inline void throwShortBody(const char* text) {
  throw InvalidMessageException(invalidLength, text);
}

// Throws the short-frame reject unless length holds at least n bytes. MOST records pass
// BufferMismatchException, which their creator turns into its own InvalidMessage.
template <typename Exception = InvalidMessageException>
void requireLength(std::size_t length, std::size_t n, const char* text) {
  if (length >= n) return;
  if constexpr (std::is_same_v<Exception, InvalidMessageException>) {
    throwShortBody(text);
  } else {
    throw Exception(text);
  }
}

// The 64-bit source-channel key of a bus record: sourceWord in the high half, then the bus kind
// and the zero-based channel.
constexpr uint64_t sourceChannelKey(uint32_t sourceWord, unsigned bus, unsigned channel) {
  return (static_cast<uint64_t>(sourceWord) << 32) | static_cast<uint32_t>(bus << 8 | channel);
}

}  // namespace vxtrace::detail
