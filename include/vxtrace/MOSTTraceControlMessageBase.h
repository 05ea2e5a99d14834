#pragma once
#include <cstdint>
#include <ostream>
#include <string>

#include "vxtrace/MOSTTraceMessageBase.h"

// A 32-byte MOST control frame kept exactly as received: bytes 0-3 arbitration, 4-5 target
// address, 6-7 source address (both big-endian), 8 message type, 9.. data.
class VXTRACE_API MOSTTraceControlMessageBase : public MOSTTraceMessageBase {
 public:
  uint8_t frame[32];

  // frameBytes: 32 bytes, copied.
  MOSTTraceControlMessageBase(unsigned long long timeStamp, mostmsgType_t type, uint8_t flags,
                              const uint8_t* frameBytes);
  // Rejects a frame shorter than 48 bytes with BufferMismatchException.
  MOSTTraceControlMessageBase(const unsigned char* data, unsigned int length);
  ~MOSTTraceControlMessageBase() override;

  MessageBase* clone() const override;
  // Needs a room of 48 bytes whether or not the marker is asked for; returns 46.
  unsigned int writeToByteArray(unsigned char*& out, unsigned int room,
                                bool withSync) const override;
  unsigned int getSize() const override;
  bool operator==(const MessageBase& other) const override;
  void print(std::ostream& os) const override;
  std::string toString() const override;

  unsigned short getTargetAddress() const;
  unsigned short getSourceAddress() const;
  void setTargetAddress(unsigned short address);
  void setSourceAddress(unsigned short address);
};

VXTRACE_API std::ostream& operator<<(std::ostream& os, const MOSTTraceControlMessageBase& msg);
