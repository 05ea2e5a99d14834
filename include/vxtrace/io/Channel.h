#pragma once
// The label of a record's source as dump prints it and users type it: channels counted from 1
// ("CAN #1" for the library's "CAN #0"), other sources by their own name.
#include <string>

#include "vxtrace/Export.h"
#include "vxtrace/MessageBase.h"

namespace vxtrace {

// The label of a source name as getSourceChannel() gives it.
VXTRACE_API std::string channelLabel(const std::string& sourceName);
VXTRACE_API std::string channelLabel(const MessageBase& record);

}  // namespace vxtrace
