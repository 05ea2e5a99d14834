#pragma once
#include <cstdint>
#include <ostream>
#include <string>
#include <type_traits>

#include "vxtrace/MessageBase.h"

// The logger's push button was pressed ("MSGID_PUSHBUTTON").
class VXTRACE_API PushButtonMessage : public MessageBase {
 public:
  uint64_t pressTime;  // microseconds since the epoch, UTC; 0: not given

  // ts: microseconds since the epoch, UTC.
  PushButtonMessage(unsigned long long ts, uint64_t pressTime);
  // data starts at the size field; pressTime is read when 8 bytes follow the header, else 0.
  PushButtonMessage(const unsigned char* data, unsigned int length);
  // Lets a plain integer time stamp such as 0 pick the field constructor rather than the byte one.
  template <typename T, typename std::enable_if<std::is_integral<T>::value, int>::type = 0>
  PushButtonMessage(T ts, uint64_t value)
      : PushButtonMessage(static_cast<unsigned long long>(ts), value) {}

  // Accepts the short form of 14 bytes (pressTime 0) and frames of 22 bytes or more; any other
  // length yields null, no exception. The caller owns the result.
  static MessageBase* readFromByteArray(const unsigned char* data, unsigned int length);

  MessageBase* clone() const override;
  // Always the long form, also for pressTime 0. Returns 20 when written, 0 (nothing written,
  // out unchanged) when room is short.
  unsigned int writeToByteArray(unsigned char*& out, unsigned int room,
                                bool withSync) const override;
  unsigned int getSize() const override;
  // Same class and pressTime; time stamps are not compared.
  bool operator==(const MessageBase& other) const override;
  void print(std::ostream& os) const override;
  std::string toString() const override;
};

VXTRACE_API std::ostream& operator<<(std::ostream& os, const PushButtonMessage& msg);
