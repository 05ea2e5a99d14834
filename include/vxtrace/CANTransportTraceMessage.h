#pragma once
#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "vxtrace/MessageBase.h"

// One reassembled transport-layer payload with the CAN identifier it came on
// ("MSGID_CAN_TRANSPORT"). Body: the identifier word (bit 31 extended, bits 30..0 the
// identifier), then the payload.
class VXTRACE_API CANTransportTraceMessage : public MessageBase {
 public:
  std::vector<uint8_t> payload;
  uint32_t id;        // CAN identifier without the flag bit
  uint32_t extended;  // 0 standard, 1 extended; other values print as UNKNOWN

  // timeStamp in microseconds.
  CANTransportTraceMessage(unsigned long long timeStamp, uint32_t id, uint32_t extended,
                           const std::vector<uint8_t>& payload);
  // data starts at the size field. The time stamp is taken from header bytes 6..9 alone (the
  // stored high word, as the whole value); bytes 10..13 are not read. id keeps 29 bits when
  // bit 31 is set, else 11. The payload is the rest of the frame.
  CANTransportTraceMessage(const unsigned char* data, unsigned int length);

  // The caller owns the result.
  static MessageBase* readFromByteArray(const unsigned char* data, unsigned int length);

  MessageBase* clone() const override;
  // Throws VXException when getSize() exceeds room; returns getSize() when written, 0 when the
  // whole frame (marker included) does not fit.
  unsigned int writeToByteArray(unsigned char*& out, unsigned int room,
                                bool withSync) const override;
  // 16 + payload length.
  unsigned int getSize() const override;
  // True only for this very object: another transport record with the same id and extended
  // flag, even a copy, is not equal.
  bool operator==(const MessageBase& other) const override;
  void print(std::ostream& os) const override;
  std::string toString() const override;
};

VXTRACE_API std::ostream& operator<<(std::ostream& os, const CANTransportTraceMessage& msg);
