#pragma once
#include <cstdint>
#include <ostream>
#include <string>

#include "vxtrace/MessageBase.h"

// A numbered point in time set while recording. Body: markerNumber (2), markerTime (8).
// Three generations of the frame decode: 14 bytes (header only: number and time 0), 16 (number
// only) and 24 or more; every other length is rejected ("Invalid MarkerMessage length").
class VXTRACE_API MarkerMessage : public MessageBase {
 public:
  uint16_t markerNumber;          // 0: no number
  unsigned long long markerTime;  // microseconds since the epoch, UTC

  // ts, markerTime: microseconds since the epoch, UTC.
  MarkerMessage(unsigned long long ts, uint16_t markerNumber, unsigned long long markerTime);
  // data starts at the size field; throws InvalidMessageException (invalidLength) for a length
  // other than 14, 16 or 24 and more.
  MarkerMessage(const unsigned char* data, unsigned int length);

  // The caller owns the result.
  static MessageBase* readFromByteArray(const unsigned char* data, unsigned int length);

  MessageBase* clone() const override;
  // Returns the bytes written, or 0 (out unchanged) when room is short.
  unsigned int writeToByteArray(unsigned char*& out, unsigned int room,
                                bool withSync) const override;
  // Always 22: every record is written in the newest generation.
  unsigned int getSize() const override;
  // Same class and markerNumber; markerTime and the time stamp are not compared.
  bool operator==(const MessageBase& other) const override;
  void print(std::ostream& os) const override;
  std::string toString() const override;
};

VXTRACE_API std::ostream& operator<<(std::ostream& os, const MarkerMessage& msg);
