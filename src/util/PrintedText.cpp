#include "util/PrintedText.h"

#include <sstream>

#include "vxtrace/MessageBase.h"

namespace vxtrace::detail {

std::string printedText(const MessageBase& msg) {
  thread_local std::ostringstream os;
  thread_local bool busy = false;
  if (busy) {  // a printer asked for another record's text while printing: use a fresh stream
    std::ostringstream fresh;
    msg.print(fresh);
    return fresh.str();
  }
  struct Release {
    ~Release() { busy = false; }
  } release;
  busy = true;
  os.str(std::string());
  os.clear();
  os.flags(std::ios::dec | std::ios::skipws);
  os.fill(' ');
  os.width(0);
  os.precision(6);
  msg.print(os);
  return os.str();
}

}  // namespace vxtrace::detail
