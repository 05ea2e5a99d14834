#pragma once
// Pieces shared by the writer's append and the time seek.
#include <cstddef>
#include <cstdint>
#include <string>

#include "vxtrace/ContainerMessage.h"
#include "vxtrace/MessageBase.h"
#include "vxtrace/io/Diagnostics.h"

namespace vxtrace::detail {

// The latest time stamp a record vouches for: a container's last record may be later than its
// own time stamp (that of its first). Microseconds since the epoch, UTC.
inline uint64_t latestTime(const MessageBase& msg) {
  if (msg.msgId != MSGID_CONTAINER) return msg.timeStamp;
  const auto& c = static_cast<const ContainerMessage&>(msg);
  return c.lastMsgTime > c.timeStamp ? c.lastMsgTime : c.timeStamp;
}

// Probing decodes frames that are not records; what decoders say about them is nobody's
// business, so the calling thread's diagnostic lines are dropped while one of these lives.
class QuietDiagnostics {
 public:
  QuietDiagnostics() : sink_([](DiagnosticLevel, const std::string&) {}) {}

 private:
  DiagnosticSink sink_;
};

// CRC-32 (IEEE 802.3, reflected) continued from crc; start with 0.
uint32_t crc32(uint32_t crc, const uint8_t* data, std::size_t length);

}  // namespace vxtrace::detail
