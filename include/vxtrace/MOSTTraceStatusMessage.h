#pragma once
#include <cstdint>
#include <ostream>
#include <string>

#include "vxtrace/MOSTTraceMessageBase.h"

// MOST ring status (type 240). Frame bytes 8..12 are SBC, MPR, MDR, NPR, NDR: bit 7 valid,
// bits 0..6 the value. Light and lock states are flag bits 0 and 1, valid per mask bits 0, 1.
class VXTRACE_API MOSTTraceStatusMessage : public MOSTTraceMessageBase {
 public:
  uint8_t frame[32];
  uint32_t status;    // frame bytes 0-3, big-endian
  uint32_t validity;  // frame bytes 4-7, big-endian

  // frameBytes: 32 bytes, copied; status and validity are taken from them.
  MOSTTraceStatusMessage(unsigned long long timeStamp, uint8_t flags, const uint8_t* frameBytes);
  // Rejects a frame shorter than 48 bytes with BufferMismatchException.
  MOSTTraceStatusMessage(const unsigned char* data, unsigned int length);
  ~MOSTTraceStatusMessage() override;

  static MessageBase* readFromByteArray(const unsigned char* data, unsigned int length);

  MessageBase* clone() const override;
  // Needs a room of 48 bytes; returns 46.
  unsigned int writeToByteArray(unsigned char*& out, unsigned int room,
                                bool withSync) const override;
  unsigned int getSize() const override;
  bool operator==(const MessageBase& other) const override;
  void print(std::ostream& os) const override;
  std::string toString() const override;
};

VXTRACE_API std::ostream& operator<<(std::ostream& os, const MOSTTraceStatusMessage& msg);
