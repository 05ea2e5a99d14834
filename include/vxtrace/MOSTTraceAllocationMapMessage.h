#pragma once
#include <cstdint>
#include <ostream>
#include <string>

#include "vxtrace/MOSTTraceMessageBase.h"

// The MOST channel allocation map (type 241), 64 bytes as received.
class VXTRACE_API MOSTTraceAllocationMapMessage : public MOSTTraceMessageBase {
 public:
  uint8_t map[64];

  // mapBytes: 64 bytes, copied.
  MOSTTraceAllocationMapMessage(unsigned long long timeStamp, uint8_t flags,
                                const uint8_t* mapBytes);
  // Rejects a frame shorter than 80 bytes with BufferMismatchException.
  MOSTTraceAllocationMapMessage(const unsigned char* data, unsigned int length);
  ~MOSTTraceAllocationMapMessage() override;

  static MessageBase* readFromByteArray(const unsigned char* data, unsigned int length);

  MessageBase* clone() const override;
  // Needs a room of 80 bytes; returns 78.
  unsigned int writeToByteArray(unsigned char*& out, unsigned int room,
                                bool withSync) const override;
  unsigned int getSize() const override;
  bool operator==(const MessageBase& other) const override;
  void print(std::ostream& os) const override;
  std::string toString() const override;
};

VXTRACE_API std::ostream& operator<<(std::ostream& os, const MOSTTraceAllocationMapMessage& msg);
