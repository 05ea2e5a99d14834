#pragma once
#include <cstdint>
#include <ostream>
#include <string>

#include "vxtrace/MessageBase.h"

// Keep-alive record ("MSGID_PING"): a 16-bit mode and, as the string part, an optional sender
// name (one length byte, modulo 256, then the bytes; absent when the name is empty).
class VXTRACE_API PingMessage : public MessageBase, public std::string {
 public:
  static constexpr uint16_t PING_STANDARD = 0;
  static constexpr uint16_t PING_NETWORK = 1;
  static constexpr uint16_t PING_DISABLE = 2;
  static constexpr uint16_t PING_NOTIFY = 4;

  uint16_t value;

  // ts: microseconds since the epoch, UTC.
  PingMessage(unsigned long long ts, uint16_t value, const std::string& name = std::string());
  // data starts at the size field; no reject path. Below 16 bytes: mode 0 and no name; 16
  // bytes: no name; longer: the name, cut at the end of the frame.
  PingMessage(const unsigned char* data, unsigned int length);

  // The caller owns the result.
  static MessageBase* readFromByteArray(const unsigned char* data, unsigned int length);

  MessageBase* clone() const override;
  // Returns getSize() when written, 0 (nothing written, out unchanged) when room is short.
  unsigned int writeToByteArray(unsigned char*& out, unsigned int room,
                                bool withSync) const override;
  // 14 without a name, else 15 + name length.
  unsigned int getSize() const override;
  // Always false, also against itself: every ping counts.
  bool operator==(const MessageBase& other) const override;
  void print(std::ostream& os) const override;
  std::string toString() const override;
};

VXTRACE_API std::ostream& operator<<(std::ostream& os, const PingMessage& msg);
