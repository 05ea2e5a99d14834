#pragma once
// Prints a record on a stream a caller left in an awkward state: left-aligned, showbase, a
// pending width, a fill character and, when asked, upper case. Shared by the tests and the
// decode fuzz target.
#include <algorithm>
#include <cctype>
#include <iomanip>
#include <sstream>
#include <string>

#include "vxtrace/MessageBase.h"

namespace vxtest {

struct DirtyPrint {
  std::string text;
  bool restored;  // flags, fill and precision as the caller set them, width 0
};

inline DirtyPrint printDirty(const MessageBase& msg, bool upper) {
  std::ostringstream os;
  os << std::hex << std::showbase << std::left << std::setfill('*') << std::setprecision(3);
  if (upper) os << std::uppercase;
  const std::ios::fmtflags flags = os.flags();
  os.width(30);
  msg.print(os);
  DirtyPrint r{os.str(), os.flags() == flags && os.fill() == '*' && os.precision() == 3 &&
                             os.width() == 0};
  return r;
}

inline bool equalIgnoringCase(const std::string& a, const std::string& b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
           return std::tolower(static_cast<unsigned char>(x)) ==
                  std::tolower(static_cast<unsigned char>(y));
         });
}

}  // namespace vxtest
