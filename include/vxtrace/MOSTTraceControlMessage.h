#pragma once
#include <cstdint>
#include <ostream>
#include <string>

#include "vxtrace/MOSTTraceControlMessageBase.h"

// A normal MOST control message (type 0) and its application fields.
class VXTRACE_API MOSTTraceControlMessage : public MOSTTraceControlMessageBase {
 public:
  // frameBytes: 32 bytes, copied.
  MOSTTraceControlMessage(unsigned long long timeStamp, uint8_t flags, const uint8_t* frameBytes);
  MOSTTraceControlMessage(const unsigned char* data, unsigned int length);
  ~MOSTTraceControlMessage() override;

  // A new record built from the frame (caller owns it); throws BufferMismatchException for a
  // frame shorter than 48 bytes.
  static MessageBase* readFromByteArray(const unsigned char* data, unsigned int length);

  MessageBase* clone() const override;
  bool operator==(const MessageBase& other) const override;
  void print(std::ostream& os) const override;
  std::string toString() const override;

  uint8_t getFBlockID() const;
  uint8_t getInstID() const;
  uint16_t getFktID() const;  // 12 bits
  uint8_t getOPType() const;  // 4 bits
  uint8_t getTelID() const;   // 4 bits
  uint8_t getTelLen() const;  // 4 bits: telegram bytes from frame byte 14
  const uint8_t* getTelData() const;
};

VXTRACE_API std::ostream& operator<<(std::ostream& os, const MOSTTraceControlMessage& msg);
