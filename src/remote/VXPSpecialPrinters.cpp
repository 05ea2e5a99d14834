// The instances whose text replaces the generic brackets.
#include <ctime>

#include "util/Record.h"
#include "vxtrace/PlatformUtil.h"
#include "vxtrace/VXPSimpleMessages.h"

namespace {
const char* boolText(uint8_t v) { return v != 0 ? "true" : "false"; }
}  // namespace

template <>
void Simple1MessageRequest<VXPID_SETTIME, uint64_t>::printFields(std::ostream& os) const {
  const uint32_t seconds = static_cast<uint32_t>(value);
  const time_t t = static_cast<time_t>(seconds);
  struct tm broken {};
  gmtime_r(&t, &broken);
  os << '[' << seconds << " = " << broken << ']';
}

template <>
void SimpleVectorMessageRequest<VXPID_FWUPDATE, uint8_t>::printFields(std::ostream& os) const {
  if (values.size() > 0) os << "[rm=" << boolText(values[0]) << ']';
  if (values.size() > 1) os << " [force=" << boolText(values[1]) << ']';
  if (values.size() > 2) os << " [wait=" << static_cast<unsigned>(values[2]) << " s]";
  if (values.size() > 3) os << " [supressReboot=" << boolText(values[3]) << ']';
}

template <>
void Simple2SMessageRequest<VXPID_SETEVENT, uint8_t>::printFields(std::ostream& os) const {
  os << "[eventId=" << static_cast<unsigned>(value) << "] [" << text << ']';
}

template <>
void Simple1MessageRequest<VXPID_SET_ORIENTATION, uint8_t>::printFields(std::ostream& os) const {
  os << (value == 0 ? "[0\xC2\xB0]" : "[180\xC2\xB0]");
}

template <>
void Simple2MessageRequest<VXPID_SET_DEVICE_LED, uint8_t, uint8_t>::printFields(
    std::ostream& os) const {
  static const char* const leds[] = {"[active LED] ", "[memory LED] ", "[error LED] "};
  static const char* const states[] = {"[on]", "[off]", "[on/off]"};
  os << (value < 3 ? leds[value] : "[unknown LED] ") << (value2 < 3 ? states[value2] : "[unknown]");
}

template <>
void Simple1MessageRequest<VXPID_SET_CALIBRATION_MODE, uint8_t>::printFields(
    std::ostream& os) const {
  os << '[' << static_cast<calibmode_t>(value) << ']';
}
