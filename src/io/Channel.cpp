#include "vxtrace/io/Channel.h"

namespace vxtrace {

std::string channelLabel(const std::string& name) {
  const std::size_t hash = name.rfind(" #");
  // Past ten digits the number is not a channel the logger has: keep the name as it is.
  if (hash == std::string::npos || hash + 2 == name.size() ||
      name.find_first_not_of("0123456789", hash + 2) != std::string::npos ||
      name.size() - hash > 11)
    return name;
  return name.substr(0, hash + 2) + std::to_string(std::stoull(name.substr(hash + 2)) + 1);
}

std::string channelLabel(const MessageBase& record) {
  return channelLabel(record.getSourceChannel());
}

}  // namespace vxtrace
