#pragma once
#include <cstdint>
#include <ostream>
#include <string>
#include <type_traits>

#include "vxtrace/MessageBase.h"

// One 64-bit time value of a trace file. Body: fileTime, high 32 bits first.
class VXTRACE_API FileTimeMessage : public MessageBase {
 public:
  uint64_t fileTime;  // microseconds since the epoch, UTC

  // ts: microseconds since the epoch, UTC.
  FileTimeMessage(unsigned long long ts, uint64_t fileTime);
  // data starts at the size field. Bytes beyond length read as 0 (no reject path).
  FileTimeMessage(const unsigned char* data, unsigned int length);
  // Lets a plain integer time stamp such as 0 pick the field constructor rather than the byte one.
  template <typename T, typename std::enable_if<std::is_integral<T>::value, int>::type = 0>
  FileTimeMessage(T ts, uint64_t value) : FileTimeMessage(static_cast<unsigned long long>(ts), value) {}

  // The caller owns the result.
  static MessageBase* readFromByteArray(const unsigned char* data, unsigned int length);

  MessageBase* clone() const override;
  // Returns getSize() (20) when written, 0 (nothing written, out unchanged) when room is short.
  unsigned int writeToByteArray(unsigned char*& out, unsigned int room,
                                bool withSync) const override;
  unsigned int getSize() const override;
  // Same class and fileTime; time stamps are not compared.
  bool operator==(const MessageBase& other) const override;
  void print(std::ostream& os) const override;
  std::string toString() const override;
};

VXTRACE_API std::ostream& operator<<(std::ostream& os, const FileTimeMessage& msg);
