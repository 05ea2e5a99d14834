#pragma once
#include <cstdint>
#include <ostream>
#include <string>

#include "vxtrace/MessageBase.h"

// Frame counts and data-byte sums of standard and extended CAN frames on channels 0 and 1 over
// one measuring interval ("MSGID_CANLOAD"). The wire interleaves counts and sums:
// stdMsgCount0, stdDlcSum0, stdMsgCount1, stdDlcSum1, then the same for extended frames.
class VXTRACE_API CANLoadMessage : public MessageBase {
 public:
  uint16_t stdMsgCount0 = 0;
  uint16_t stdMsgCount1 = 0;
  uint16_t stdDlcSum0 = 0;
  uint16_t stdDlcSum1 = 0;
  uint16_t extMsgCount0 = 0;
  uint16_t extMsgCount1 = 0;
  uint16_t extDlcSum0 = 0;
  uint16_t extDlcSum1 = 0;

  // timeStamp in microseconds; the counters start at 0.
  explicit CANLoadMessage(unsigned long long timeStamp = 0);
  // data starts at the size field; bytes beyond length read as 0.
  CANLoadMessage(const unsigned char* data, unsigned int length);

  // Null for a length below 20 (not an InvalidMessage); otherwise a new record the caller owns.
  static MessageBase* readFromByteArray(const unsigned char* data, unsigned int length);

  MessageBase* clone() const override;
  unsigned int writeToByteArray(unsigned char*& out, unsigned int room,
                                bool withSync) const override;
  // Always 28.
  unsigned int getSize() const override;
  // Never true, not even against a copy.
  bool operator==(const MessageBase& other) const override;
  void print(std::ostream& os) const override;
  std::string toString() const override;
};

VXTRACE_API std::ostream& operator<<(std::ostream& os, const CANLoadMessage& msg);
