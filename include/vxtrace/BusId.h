#pragma once
#include <cstdint>
#include <iosfwd>

#include "vxtrace/Export.h"

// Bus kind, one byte on the wire.
enum busid_t : uint8_t {
  BUSID_UNKNOWN = 0,
  BUSID_CAN = 1,
  BUSID_SERIAL = 2,
  BUSID_MOST25 = 3,
  BUSID_FLEXRAY = 4,
  BUSID_LIN = 5,
  BUSID_ETHERNET = 6,
  BUSID_CAMERA = 7,
  BUSID_MOST150 = 8,
  BUSID_MOST50 = 9,
  BUSID_ANALOG = 10,
  BUSID_CCP_XCP = 11,
  BUSID_GPIO = 12,
  BUSID_GPS = 13,
  BUSID_ECL = 14,
  BUSID_COMPLEXFILTER = 15,
  BUSID_TTY = 16,
  BUSID_TSA = 17,
  BUSID_LOGGERINTERN = 18,
  BUSID_MII = 19,
  BUSID_WAKEUPLINE = 20,
  BUSID_COUNT = 21
};

// Values of BUSID_COUNT or more give the name of row 0, "Unknown bus".
VXTRACE_API const char* getBusIdName(busid_t id);
VXTRACE_API std::ostream& operator<<(std::ostream& os, busid_t id);
