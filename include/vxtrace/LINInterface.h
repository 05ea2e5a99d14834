#pragma once
#include <cstdint>
#include <ostream>
#include <string>

#include "vxtrace/Export.h"

// LIN protocol version configured for a channel. Values from 4 print as "<unknown:N>".
enum VXTRACE_API linVersion_t : uint32_t {
  LIN_VERSION_DONTCARE = 0,  // "dontcare"
  LIN_VERSION_1_3 = 1,       // "1.3"
  LIN_VERSION_2_0 = 2,       // "2.0"
  LIN_VERSION_2_1 = 3        // "2.1"
};

VXTRACE_API std::ostream& operator<<(std::ostream& os, const linVersion_t& version);

// Configuration of one LIN channel of the logger. Rates in bits per second.
struct VXTRACE_API linInterface_t {
  static const std::string LIN_DEFAULT_NAME;  // "LIN"

  uint8_t reserved;  // cleared by the defaults, never printed
  std::string name;
  uint8_t channel;
  bool active;
  uint32_t baudrate;
  linVersion_t version;
  uint32_t containerId;  // 0xFFFFFFFF: none
  uint32_t bitSample;

  // A new interface carries the defaults.
  linInterface_t();
  // "LIN", channel 0, active, 19200 bit/s, "dontcare", no container, bitSample 8.
  void setDefaults();
};

VXTRACE_API std::ostream& operator<<(std::ostream& os, const linInterface_t& iface);
