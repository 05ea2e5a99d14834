#pragma once
#include <cstdint>
#include <ostream>
#include <string>
#include <type_traits>

#include "vxtrace/MessageBase.h"

// Closes a trace file. Body: the 32-bit checksum value the file's writer computed (big-endian);
// this record only carries it.
class VXTRACE_API EofMessage : public MessageBase {
 public:
  uint32_t crc;

  // ts: microseconds since the epoch, UTC.
  EofMessage(unsigned long long ts, uint32_t crc);
  // data starts at the size field. Bytes beyond length read as 0 (no reject path).
  EofMessage(const unsigned char* data, unsigned int length);
  // Lets a plain integer time stamp such as 0 pick the field constructor rather than the byte one.
  template <typename T, typename std::enable_if<std::is_integral<T>::value, int>::type = 0>
  EofMessage(T ts, uint32_t value) : EofMessage(static_cast<unsigned long long>(ts), value) {}

  // The caller owns the result.
  static MessageBase* readFromByteArray(const unsigned char* data, unsigned int length);

  MessageBase* clone() const override;
  // Returns getSize() (16) when written, 0 (nothing written, out unchanged) when room is short.
  unsigned int writeToByteArray(unsigned char*& out, unsigned int room,
                                bool withSync) const override;
  unsigned int getSize() const override;
  // Same class and crc; time stamps are not compared.
  bool operator==(const MessageBase& other) const override;
  void print(std::ostream& os) const override;
  std::string toString() const override;
};

VXTRACE_API std::ostream& operator<<(std::ostream& os, const EofMessage& msg);
