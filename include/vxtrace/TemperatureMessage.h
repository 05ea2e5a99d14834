#pragma once
#include <cstdint>
#include <ostream>
#include <string>
#include <type_traits>

#include "vxtrace/MessageBase.h"

// One temperature reading of the device ("MSGID_TEMPERATURE").
class VXTRACE_API TemperatureMessage : public MessageBase {
 public:
  int16_t temperature;  // whole degrees Celsius

  // ts: microseconds since the epoch, UTC.
  TemperatureMessage(unsigned long long ts, int16_t temperature);
  // data starts at the size field; no reject path, bytes beyond length read as 0.
  TemperatureMessage(const unsigned char* data, unsigned int length);
  // Lets a plain integer time stamp such as 0 pick the field constructor rather than the byte one.
  template <typename T, typename std::enable_if<std::is_integral<T>::value, int>::type = 0>
  TemperatureMessage(T ts, int16_t value)
      : TemperatureMessage(static_cast<unsigned long long>(ts), value) {}

  // The caller owns the result.
  static MessageBase* readFromByteArray(const unsigned char* data, unsigned int length);

  MessageBase* clone() const override;
  // Returns 14 when written, 0 (nothing written, out unchanged) when room is short.
  unsigned int writeToByteArray(unsigned char*& out, unsigned int room,
                                bool withSync) const override;
  unsigned int getSize() const override;
  // Same class and temperature; time stamps are not compared.
  bool operator==(const MessageBase& other) const override;
  // "  TEMPERATURE | <t> °C " (UTF-8 degree sign, trailing blank).
  void print(std::ostream& os) const override;
  std::string toString() const override;
};

VXTRACE_API std::ostream& operator<<(std::ostream& os, const TemperatureMessage& msg);
