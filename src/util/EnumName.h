#pragma once
// Name tables indexed by enumeration values that may come straight from a frame.
#include <cstddef>
#include <cstdint>
#include <ostream>

#include "vxtrace/PlatformUtil.h"

namespace vxtrace::detail {

// names[value] when the table has a name there, else the unknown-value marker.
template <std::size_t N>
std::ostream& printEnumName(std::ostream& os, uint32_t value, const char* const (&names)[N]) {
  if (value < N && names[value] != nullptr) return os << names[value];
  printUnknownEnum(os, static_cast<int>(value));
  return os;
}

}  // namespace vxtrace::detail
