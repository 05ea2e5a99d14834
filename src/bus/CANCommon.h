#pragma once
// Pieces shared by the classic and the extended CAN record.
#include <cstdint>
#include <vector>

#include "vxtrace/CANStartStopMessage.h"
#include "util/LineText.h"
#include "vxtrace/CANTraceMessageBase.h"

namespace vxtrace::detail {

// State byte layout.
constexpr uint8_t kCanStateErrorMask = 0x0F;
constexpr uint8_t kCanStateReservedMask = 0x30;
constexpr uint8_t kCanStateBrs = 0x40;
constexpr uint8_t kCanStateEsi = 0x80;

// Data bytes of each DLC code: the record class's table and the tables built from it at
// compile time spell them once.
#define VXTRACE_CAN_DLC_BYTES 0, 1, 2, 3, 4, 5, 6, 7, 8, 12, 16, 20, 24, 32, 48, 64
constexpr uint8_t kCanDlcBytes[16] = {VXTRACE_CAN_DLC_BYTES};

// The byte-vector comparison of both CAN records against a serialised frame (no sync marker):
// identifier, time stamp, channel, frame, state, length, the identifier field of idWidth bytes
// at byte 18 as stored, then the data. False for a vector shorter than minimum or than the
// comparison reaches.
bool canFrameBytesMatch(const CANTraceMessageBase& msg, const std::vector<unsigned char>& bytes,
                        unsigned int idWidth, unsigned int minimum);

// Start/stop trigger test of both CAN records. A length above the filter's eight mask bytes
// never matches.
bool canInfoMatches(const CANTraceMessageBase& msg, const canInfo_t& filter);

// The names the enumeration inserters print, for the line builders.
const char* canTypeName(cantype_t type);
void appendCanStateErr(LineText& line, unsigned int err);

}  // namespace vxtrace::detail
