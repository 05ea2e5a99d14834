#pragma once
#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "vxtrace/MessageBase.h"

// A list of absolute times ("MSGID_TIME"), each microseconds since the epoch, UTC, 8 bytes
// big-endian.
class VXTRACE_API TimeMessage : public MessageBase {
 public:
  std::vector<uint64_t> times;

  // ts and every time: microseconds since the epoch, UTC.
  TimeMessage(unsigned long long ts, const std::vector<uint64_t>& times);
  // data starts at the size field; (length - 10) / 8 times are read, a time cut short by the end
  // of the frame reads as 0. Frames of 4 to 9 bytes are rejected ("TimeMessage too short").
  TimeMessage(const unsigned char* data, unsigned int length);

  // Null (no record, no exception) for frames of 10 to 17 bytes, which hold no time. The caller
  // owns the result.
  static MessageBase* readFromByteArray(const unsigned char* data, unsigned int length);

  MessageBase* clone() const override;
  // Returns getSize() when written, 0 (nothing written, out unchanged) when room is short.
  unsigned int writeToByteArray(unsigned char*& out, unsigned int room,
                                bool withSync) const override;
  // 12 + 8 per time.
  unsigned int getSize() const override;
  // Same class and the same times in the same order; time stamps are not compared.
  bool operator==(const MessageBase& other) const override;
  void print(std::ostream& os) const override;
  std::string toString() const override;
};

VXTRACE_API std::ostream& operator<<(std::ostream& os, const TimeMessage& msg);
