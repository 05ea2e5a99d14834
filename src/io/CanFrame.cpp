#include "vxtrace/io/CanFrame.h"

#include "io/CanFrameDecode.h"

namespace vxtrace {

using detail::fromFields;

uint8_t canDlcOf(unsigned length) { return length <= 64 ? detail::kDlcOf[length] : 15; }

const char* toCanFrame(const MessageBase& record, CanFrame& f) {
  const auto* can = dynamic_cast<const CANTraceMessageBase*>(&record);
  if (can == nullptr || (record.msgId != MSGID_CAN && record.msgId != MSGID_CAN_EXT &&
                         record.msgId != MSGID_CAN_PROXY))
    return "not a CAN frame record";
  // Only the extended record carries a type; classic and proxy records are 11-bit classic.
  return fromFields(record.timeStamp, can->channel, can->frame, can->state,
                    record.msgId == MSGID_CAN_EXT ? can->type : CAN_TYPE_STANDARD, can->id,
                    can->length, can->data, sizeof can->data, f);
}

const char* toCanFrame(const uint8_t* bytes, std::size_t size, CanFrame& f) {
  return detail::decodeCanFrame(bytes, size, f);
}

const char* const kUndecodableCanFrame = "CAN frame does not decode";

}  // namespace vxtrace
