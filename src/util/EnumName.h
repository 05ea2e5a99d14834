#pragma once
// Name tables indexed by enumeration values that may come straight from a frame. Every printer
// of an enumeration goes through these: a table (of pointers or of fixed char arrays), bounds-
// checked, with the unknown-value marker or a fixed text as fallback.
#include <cstddef>
#include <cstdint>
#include <ostream>

#include "vxtrace/PlatformUtil.h"

namespace vxtrace::detail {

// names[value] when the table has a name there, else fallback.
template <typename Name, std::size_t N>
const char* enumName(uint64_t value, const Name (&names)[N], const char* fallback = nullptr) {
  if (value >= N) return fallback;
  const char* name = names[value];
  return name != nullptr ? name : fallback;
}

// names[value], else the unknown-value marker.
template <typename Name, std::size_t N>
std::ostream& printEnumName(std::ostream& os, uint64_t value, const Name (&names)[N]) {
  if (const char* name = enumName(value, names)) return os << name;
  printUnknownEnum(os, static_cast<int>(value));
  return os;
}

// names[value], else the fixed fallback text.
template <typename Name, std::size_t N>
std::ostream& printEnumName(std::ostream& os, uint64_t value, const Name (&names)[N],
                            const char* fallback) {
  return os << enumName(value, names, fallback);
}

}  // namespace vxtrace::detail
