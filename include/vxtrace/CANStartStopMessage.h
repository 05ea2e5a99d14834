#pragma once
#include <cstdint>
#include <ostream>

#include "vxtrace/Export.h"

// One CAN start/stop trigger condition: a frame matches when its channel, identifier and length
// equal channel, canId and dlc and every data byte masked with mask equals value.
struct VXTRACE_API canInfo_t {
  uint8_t channel = 0;
  uint16_t canId = 0;
  uint8_t dlc = 0;  // at most 8
  uint8_t mask[8] = {};
  uint8_t value[8] = {};
};

// "channel=N, canId=0x.., dlc=N, mask=<16 hex digits>, value=<16 hex digits>".
VXTRACE_API std::ostream& operator<<(std::ostream& os, const canInfo_t& info);
