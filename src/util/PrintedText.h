#pragma once
#include <string>

class MessageBase;

namespace vxtrace::detail {

// The text msg.print() writes. Reuses one string stream per thread, since building a stream
// (and its locale) costs more than printing most records.
std::string printedText(const MessageBase& msg);

}  // namespace vxtrace::detail
