#include "export/SocketCan.h"

#include <cstring>

#include "vxtrace/CANTraceMessageBase.h"

namespace vxtrace::detail {

namespace {

// Error classes and details (linux/can/error.h).
constexpr uint32_t kErrCrtl = 0x00000004u;
constexpr uint32_t kErrProt = 0x00000008u;
constexpr uint32_t kErrAck = 0x00000020u;
constexpr uint32_t kErrBusError = 0x00000080u;
constexpr uint8_t kCrtlRxOverflow = 0x01;
constexpr uint8_t kProtForm = 0x02;
constexpr uint8_t kProtStuff = 0x04;
constexpr uint8_t kProtBit0 = 0x08;
constexpr uint8_t kProtBit1 = 0x10;
constexpr uint8_t kProtLocCrcSeq = 0x08;
constexpr uint8_t kProtLocAck = 0x19;

bool mapError(unsigned code, SocketCanFrame& f) {
  f.length = 8;
  uint32_t cls = kErrProt | kErrBusError;
  switch (code) {
    case CAN_ERR_STUFF:
      f.data[2] = kProtStuff;
      break;
    case CAN_ERR_FORMAT:
      f.data[2] = kProtForm;
      break;
    case CAN_ERR_ACK:
      cls = kErrAck | kErrBusError | kErrProt;
      f.data[3] = kProtLocAck;
      break;
    case CAN_ERR_BIT1:
      f.data[2] = kProtBit1;
      break;
    case CAN_ERR_BIT0:
      f.data[2] = kProtBit0;
      break;
    case CAN_ERR_CRC:
      f.data[3] = kProtLocCrcSeq;
      break;
    case CAN_ERR_OVERRUN:
      cls = kErrCrtl;
      f.data[1] = kCrtlRxOverflow;
      break;
    default:
      return false;
  }
  f.canId = kCanErrFlag | cls;
  return true;
}

}  // namespace

const char* toSocketCan(const CanFrame& frame, SocketCanFrame& f) {
  f = SocketCanFrame();
  if (frame.error)
    return mapError(frame.errorCode, f) ? nullptr : "error frame without an error class";
  f.canId = frame.id | (frame.extended ? kCanEffFlag : 0) | (frame.remote ? kCanRtrFlag : 0);
  f.fd = frame.fd;
  if (frame.brs) f.fdFlags |= kCanFdBrs;
  if (frame.esi) f.fdFlags |= kCanFdEsi;
  f.length = frame.length;
  std::memcpy(f.data, frame.data, frame.length);
  return nullptr;
}

}  // namespace vxtrace::detail
