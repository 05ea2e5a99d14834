#pragma once
#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "vxtrace/MessageBase.h"

// Fills space in a trace file; the bytes carry no meaning. The vector part holds the body
// bytes as they stand in the frame.
class VXTRACE_API PaddingBytesMessage : public MessageBase, public std::vector<uint8_t> {
 public:
  // ts: microseconds since the epoch, UTC.
  explicit PaddingBytesMessage(unsigned long long ts, const std::vector<uint8_t>& bytes = {});
  // data starts at the size field; throws InvalidMessageException (invalidLength) when length
  // is below the 14-byte header.
  PaddingBytesMessage(const unsigned char* data, unsigned int length);

  // The caller owns the result.
  static MessageBase* readFromByteArray(const unsigned char* data, unsigned int length);

  MessageBase* clone() const override;
  // Returns getSize() (12 + bytes) when written, 0 (nothing written, out unchanged) when room is
  // short.
  unsigned int writeToByteArray(unsigned char*& out, unsigned int room,
                                bool withSync) const override;
  unsigned int getSize() const override;
  // Same class, same bytes; time stamps are not compared.
  bool operator==(const MessageBase& other) const override;
  void print(std::ostream& os) const override;
  std::string toString() const override;
};

VXTRACE_API std::ostream& operator<<(std::ostream& os, const PaddingBytesMessage& msg);
