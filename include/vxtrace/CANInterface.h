#pragma once
#include <cstdint>
#include <ostream>
#include <string>

#include "vxtrace/Export.h"

// Configuration of one CAN channel of the logger. Rates in bits per second.
struct VXTRACE_API canInterface_t {
  // Bit rates offered for a high-speed channel.
  static const uint32_t HS_CAN_DEFAULT_BAUDRATES[8];
  static const uint32_t CAN_DEFAULT_MAX_ERROR_FRAMES;  // 50

  uint8_t channel;
  bool active;
  std::string name;
  uint32_t baudrate;
  bool highSpeed;  // printed "HS" / "LS"
  uint8_t logchannel;
  bool ack;      // the channel acknowledges frames
  bool btrMode;  // bit timing from btr0/btr1 instead of baudrate
  uint32_t btr0;
  uint32_t btr1;
  bool FDactive;
  uint32_t FDbaudrate;  // data-phase rate of CAN FD
  bool reserved;        // cleared by the defaults, never printed
  bool tsa;
  uint8_t maxErrorFrames;
  uint32_t clock;
  uint32_t containerId;  // 0xFFFFFFFF: none

  // A new interface carries the high-speed defaults.
  canInterface_t();

  // Name, rate and speed of the channel kind, then setDefaultsCommon().
  void setDefaultsHS();  // "HSCAN", 500000, HS
  void setDefaultsLS();  // "LSCAN", 100000, LS
  void setDefaultsMT();  // "MTCAN", 100000, LS
  void setDefaultsCommon();
};

VXTRACE_API std::ostream& operator<<(std::ostream& os, const canInterface_t& iface);
