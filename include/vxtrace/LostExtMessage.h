#pragma once
#include <cstdint>
#include <ostream>
#include <string>

#include "vxtrace/BusId.h"
#include "vxtrace/MessageBase.h"

// Received bus messages that were dropped between two times ("MSGID_LOST_EXT").
class VXTRACE_API LostExtMessage : public MessageBase {
 public:
  busid_t bus;
  uint8_t channel;     // zero-based; printed one-based
  uint64_t startTime;  // microseconds since the epoch, UTC
  uint64_t stopTime;   // microseconds since the epoch, UTC
  uint32_t numLost;

  LostExtMessage(unsigned long long ts, busid_t bus, uint8_t channel, uint64_t startTime,
                 uint64_t stopTime, uint32_t numLost);
  // data starts at the size field; no reject path, bytes beyond length read as 0.
  LostExtMessage(const unsigned char* data, unsigned int length);

  // The caller owns the result.
  static MessageBase* readFromByteArray(const unsigned char* data, unsigned int length);

  MessageBase* clone() const override;
  // Returns 34 when written, 0 (nothing written, out unchanged) when room is short.
  unsigned int writeToByteArray(unsigned char*& out, unsigned int room,
                                bool withSync) const override;
  unsigned int getSize() const override;
  // Same class, bus, channel, both times and count; time stamps are not compared.
  bool operator==(const MessageBase& other) const override;
  void print(std::ostream& os) const override;
  std::string toString() const override;
};

VXTRACE_API std::ostream& operator<<(std::ostream& os, const LostExtMessage& msg);
