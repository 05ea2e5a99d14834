#pragma once
#include <cstdint>
#include <ostream>
#include <string>

#include "vxtrace/MessageBase.h"

// One decoded signal value as the logger shows it ("MSGID_SIGNAL"). Texts go out as one length
// byte (modulo 256) and their bytes, so a text over 255 bytes does not decode back.
class VXTRACE_API SignalMessage : public MessageBase {
 public:
  std::string name;
  std::string webappName;
  std::string unit;
  std::string value;  // as displayed
  uint16_t window;
  uint16_t pos;
  uint64_t raw;
  double phys;  // IEEE 754 double on the wire, big-endian
  std::string descr;

  // ts: microseconds since the epoch, UTC.
  SignalMessage(unsigned long long ts, const std::string& name, const std::string& webappName,
                const std::string& unit, const std::string& value, uint16_t window, uint16_t pos,
                uint64_t raw, double phys, const std::string& descr);
  // data starts at the size field; no reject path: the first field that does not lie wholly
  // inside the frame, and every field after it, stays empty or 0.
  SignalMessage(const unsigned char* data, unsigned int length);

  // The caller owns the result.
  static MessageBase* readFromByteArray(const unsigned char* data, unsigned int length);

  MessageBase* clone() const override;
  // Returns getSize() when written, 0 (nothing written, out unchanged) when room is short.
  unsigned int writeToByteArray(unsigned char*& out, unsigned int room,
                                bool withSync) const override;
  // 37 + the lengths of the five texts.
  unsigned int getSize() const override;
  // Identifier, time stamp (unlike most records) and every field; phys compares as a floating-
  // point number, so a NaN never equals anything.
  bool operator==(const MessageBase& other) const override;
  void print(std::ostream& os) const override;
  std::string toString() const override;
};

VXTRACE_API std::ostream& operator<<(std::ostream& os, const SignalMessage& msg);
