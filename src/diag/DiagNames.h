#pragma once
// Name tables of the diagnostic and measurement protocol codes: sparse code/name rows searched
// by value, so any wire value is safe to look up.
#include <cstddef>
#include <ostream>

#include "vxtrace/PlatformUtil.h"

namespace vxtrace::detail {

struct CodeName {
  int code;
  const char* name;
};

template <std::size_t N>
const char* findName(const CodeName (&table)[N], int code) {
  for (const CodeName& row : table)
    if (row.code == code) return row.name;
  return nullptr;
}

// The row's name, or fallback (a fixed text) when the code has none.
template <std::size_t N>
std::ostream& printName(std::ostream& os, const CodeName (&table)[N], int code,
                        const char* fallback) {
  const char* name = findName(table, code);
  return os << (name != nullptr ? name : fallback);
}

// The row's name, or the library's unknown-value mark.
template <std::size_t N>
std::ostream& printNameOrUnknown(std::ostream& os, const CodeName (&table)[N], int code) {
  if (const char* name = findName(table, code)) return os << name;
  printUnknownEnum(os, code);
  return os;
}

}  // namespace vxtrace::detail
