#include "vxtrace/io/CanFrame.h"

#include <cstring>

#include "vxtrace/CANTraceMessageBase.h"

namespace vxtrace {

uint8_t canDlcOf(unsigned length) {
  for (uint8_t code = 0; code < 16; ++code)
    if (length <= CANTraceMessageBase::numDlcBytes[code]) return code;
  return 15;
}

const char* toCanFrame(const MessageBase& record, CanFrame& f) {
  const auto* can = dynamic_cast<const CANTraceMessageBase*>(&record);
  if (can == nullptr || (record.msgId != MSGID_CAN && record.msgId != MSGID_CAN_EXT &&
                         record.msgId != MSGID_CAN_PROXY))
    return "not a CAN frame record";
  f = CanFrame();
  f.channel = can->channel;
  f.timeUs = record.timeStamp;
  switch (can->frame) {
    case CAN_FRAME_ERROR:
      f.error = true;
      f.errorCode = can->state & 0x0F;
      return nullptr;
    case CAN_FRAME_TXREQUEST:
      return "transmit request (not a bus frame)";
    case CAN_FRAME_TXMESSAGE:
      f.tx = true;
      break;
    case CAN_FRAME_STANDARD:
      break;
    default:
      return "unknown CAN frame kind";
  }
  // Only the extended record carries a type; classic and proxy records are 11-bit classic.
  const cantype_t type = record.msgId == MSGID_CAN_EXT ? can->type : CAN_TYPE_STANDARD;
  switch (type) {
    case CAN_TYPE_STANDARD:
    case CAN_TYPE_FD_STD:
      if (can->id > 0x7FF) return "11-bit identifier out of range";
      break;
    case CAN_TYPE_EXTENDED:
    case CAN_TYPE_FD_EXT:
      if (can->id > 0x1FFFFFFF) return "29-bit identifier out of range";
      f.extended = true;
      break;
    default:
      return "unknown CAN type";
  }
  f.id = can->id;
  f.fd = type == CAN_TYPE_FD_STD || type == CAN_TYPE_FD_EXT;
  f.dlc = canDlcOf(can->length);
  if (f.fd) {
    if (can->length > 64 || CANTraceMessageBase::numDlcBytes[f.dlc] != can->length)
      return "CAN FD length not codable as a DLC";
    f.brs = (can->state & 0x40) != 0;
    f.esi = (can->state & 0x80) != 0;
  } else if (can->length > 8) {
    return "classic CAN frame longer than 8 bytes";
  }
  f.length = can->length;
  std::memcpy(f.data, can->data, f.length);
  return nullptr;
}

}  // namespace vxtrace
