#pragma once
// Pieces shared by the classic and the extended CAN record.
#include <cstdint>
#include <vector>

#include "vxtrace/CANStartStopMessage.h"
#include "vxtrace/CANTraceMessageBase.h"

namespace vxtrace::detail {

// State byte layout.
constexpr uint8_t kCanStateErrorMask = 0x0F;
constexpr uint8_t kCanStateReservedMask = 0x30;
constexpr uint8_t kCanStateBrs = 0x40;
constexpr uint8_t kCanStateEsi = 0x80;

// Header check of the byte-vector comparisons: identifier (bytes 2..3) and time stamp
// (bytes 6..13). The caller has made sure the vector holds at least 14 bytes.
bool canHeaderMatches(const CANTraceMessageBase& msg, const std::vector<unsigned char>& bytes);

// Start/stop trigger test of both CAN records. A length above the filter's eight mask bytes
// never matches.
bool canInfoMatches(const CANTraceMessageBase& msg, const canInfo_t& filter);

}  // namespace vxtrace::detail
