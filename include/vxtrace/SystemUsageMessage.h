#pragma once
#include <cstdint>
#include <ostream>
#include <string>

#include "vxtrace/SystemMessage.h"

// Usage of five devices of the logger (type 2, "USAGE"). The text, always rebuilt from the
// array, is what travels: per device "<first>%/<second>%;", with "-" for a value of 255
// (unknown) and "-/-;" when the first value is unknown.
class VXTRACE_API SystemUsageMessage : public SystemMessage {
 public:
  struct VXTRACE_API devUsage_t {
    uint8_t first = 255;   // percent, 255: unknown
    uint8_t second = 255;  // percent, 255: unknown
    bool operator==(const devUsage_t& other) const {
      return first == other.first && second == other.second;
    }
  };
  static constexpr unsigned int DEVICES = 5;

  devUsage_t devUsage[DEVICES];

  // Every value unknown: text "-/-;-/-;-/-;-/-;-/-;".
  explicit SystemUsageMessage(unsigned long long ts);
  SystemUsageMessage(unsigned long long ts, const devUsage_t (&usage)[DEVICES]);
  // Parses the text: exactly five ';'-terminated groups of two '/'-separated halves; a half
  // with '%' is the decimal number before it (kept modulo 256), one without is 255. Any other
  // shape leaves every value 255. The text is then rebuilt from the values. A half like "%" or
  // "x%" throws std::invalid_argument, a number beyond int std::out_of_range (from std::stoi).
  SystemUsageMessage(unsigned long long ts, const char* text, unsigned int length);

  MessageBase* clone() const override;

  // Rebuilds the text from devUsage.
  void updateString();
};
