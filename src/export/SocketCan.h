#pragma once
// A CAN frame as the Linux CAN stack hands it out: what the candump log and pcapng's SocketCAN
// link type hold.
#include <cstdint>

#include "vxtrace/io/CanFrame.h"

namespace vxtrace::detail {

// SocketCAN identifier flags (linux/can.h).
constexpr uint32_t kCanEffFlag = 0x80000000u;
constexpr uint32_t kCanRtrFlag = 0x40000000u;
constexpr uint32_t kCanErrFlag = 0x20000000u;
constexpr uint8_t kCanFdBrs = 0x01;
constexpr uint8_t kCanFdEsi = 0x02;

struct SocketCanFrame {
  uint32_t canId = 0;  // identifier with the EFF, RTR and ERR flags
  bool fd = false;
  uint8_t fdFlags = 0;  // kCanFdBrs, kCanFdEsi
  uint8_t length = 0;
  uint8_t data[64] = {};
};

// The SocketCAN form of a frame and null, or why it has none. An error frame becomes the error
// class and data bytes a SocketCAN driver reports for its error code.
const char* toSocketCan(const CanFrame& frame, SocketCanFrame& out);

}  // namespace vxtrace::detail
