#pragma once
#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "vxtrace/MOSTTraceMessageBase.h"

// A MOST asynchronous packet (type 128): byte 0 arbitration, 1-2 target address, 3 length in
// quadlets (L), 4-5 source address (addresses big-endian), data from byte 6.
class VXTRACE_API MOSTTraceAsynchMessage : public MOSTTraceMessageBase {
 public:
  std::vector<uint8_t> packet;
  uint16_t dataLength;  // 4·L − 2, or 0 when 4·L is at most 1

  // Copies length packet bytes. Fewer than 6, or fewer than 4·L + 6, write a diagnostic line
  // to the standard error stream and throw BufferMismatchException.
  MOSTTraceAsynchMessage(unsigned long long timeStamp, unsigned char flags,
                         const unsigned char* packet, unsigned int length);
  // The packet is everything after the flag byte; same checks.
  MOSTTraceAsynchMessage(const unsigned char* data, unsigned int length);
  ~MOSTTraceAsynchMessage() override;

  static MessageBase* readFromByteArray(const unsigned char* data, unsigned int length);

  MessageBase* clone() const override;
  // Writes the first getSize() − 14 packet bytes (packet bytes beyond 4·L + 6 are not kept) and
  // returns getSize(), with or without the marker; 0 when room lacks the frame.
  unsigned int writeToByteArray(unsigned char*& out, unsigned int room,
                                bool withSync) const override;
  // dataLength + 22 when dataLength >= 2, else dataLength + 20.
  unsigned int getSize() const override;
  bool operator==(const MessageBase& other) const override;
  void print(std::ostream& os) const override;
  std::string toString() const override;

  unsigned char getArbitrationByte() const;
  void setArbitrationByte(unsigned char value);
  unsigned short getTargetAddress() const;
  void setTargetAddress(unsigned short address);
  unsigned short getSourceAddress() const;
  void setSourceAddress(unsigned short address);
};

VXTRACE_API std::ostream& operator<<(std::ostream& os, const MOSTTraceAsynchMessage& msg);
