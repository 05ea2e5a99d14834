#pragma once
#include <cstdint>
#include <ostream>
#include <vector>

#include "vxtrace/CANTraceMessage.h"

// A classic CAN frame relayed under its own identifier ("MSGID_CAN_PROXY"): the body, size and
// printed form of CANTraceMessage. The inherited comparison wants identifier 1 or 11 on the
// other side, so a proxy record never equals another proxy record, not even itself.
class VXTRACE_API CANProxyTraceMessage : public CANTraceMessage {
 public:
  explicit CANProxyTraceMessage(unsigned long long timeStamp = 0);
  // timeStamp in microseconds; at most 64 data bytes are kept.
  CANProxyTraceMessage(unsigned long long timeStamp, uint8_t channel, canframe_t frame,
                       uint8_t state, uint32_t id, const std::vector<uint8_t>& data);
  // data starts at the size field. Never rejects; the identifier is cut to 11 bits, the length
  // to 64, and bytes beyond length read as 0.
  CANProxyTraceMessage(const unsigned char* data, unsigned int length);

  // The caller owns the result.
  static MessageBase* readFromByteArray(const unsigned char* data, unsigned int length);

  MessageBase* clone() const override;
};
