#include "vxtrace/io/CanFrame.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "bus/CANCommon.h"
#include "util/ByteReader.h"
#include "vxtrace/CANTraceMessageBase.h"

namespace vxtrace {

namespace {

// The one reading of a CAN record's fields; data holds available bytes (zero beyond).
const char* fromFields(msgid_t msgId, uint64_t timeUs, uint8_t channel, canframe_t frame,
                       uint8_t state, cantype_t recordType, uint32_t id, unsigned length,
                       const uint8_t* data, std::size_t available, CanFrame& f) {
  f = CanFrame();
  f.channel = channel;
  f.timeUs = timeUs;
  switch (frame) {
    case CAN_FRAME_ERROR:
      f.error = true;
      f.errorCode = state & 0x0F;
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
  const cantype_t type = msgId == MSGID_CAN_EXT ? recordType : CAN_TYPE_STANDARD;
  switch (type) {
    case CAN_TYPE_STANDARD:
    case CAN_TYPE_FD_STD:
      if (id > 0x7FF) return "11-bit identifier out of range";
      break;
    case CAN_TYPE_EXTENDED:
    case CAN_TYPE_FD_EXT:
      if (id > 0x1FFFFFFF) return "29-bit identifier out of range";
      f.extended = true;
      break;
    default:
      return "unknown CAN type";
  }
  f.id = id;
  f.fd = type == CAN_TYPE_FD_STD || type == CAN_TYPE_FD_EXT;
  f.dlc = canDlcOf(length);
  if (f.fd) {
    if (length > 64 || CANTraceMessageBase::numDlcBytes[f.dlc] != length)
      return "CAN FD length not codable as a DLC";
    f.brs = (state & 0x40) != 0;
    f.esi = (state & 0x80) != 0;
  } else if (length > 8) {
    return "classic CAN frame longer than 8 bytes";
  }
  f.length = static_cast<uint8_t>(length);
  std::memcpy(f.data, data, std::min<std::size_t>(length, available));
  return nullptr;
}

}  // namespace

uint8_t canDlcOf(unsigned length) {
  // Looked up once per frame by the column readers: a table, not a search.
  static const auto table = [] {
    std::array<uint8_t, 65> t{};
    uint8_t code = 0;
    for (unsigned n = 0; n <= 64; ++n) {
      while (n > CANTraceMessageBase::numDlcBytes[code]) ++code;
      t[n] = code;
    }
    return t;
  }();
  return length <= 64 ? table[length] : 15;
}

const char* toCanFrame(const MessageBase& record, CanFrame& f) {
  const auto* can = dynamic_cast<const CANTraceMessageBase*>(&record);
  if (can == nullptr || (record.msgId != MSGID_CAN && record.msgId != MSGID_CAN_EXT &&
                         record.msgId != MSGID_CAN_PROXY))
    return "not a CAN frame record";
  return fromFields(record.msgId, record.timeStamp, can->channel, can->frame, can->state, can->type,
                    can->id, can->length, can->data, sizeof can->data, f);
}

// The byte constructors of the three record classes, field by field, without the record.
const char* toCanFrame(const uint8_t* bytes, std::size_t size, CanFrame& f) {
  detail::ByteReader r(bytes, size);
  r.skip(2);
  const auto msgId = static_cast<msgid_t>(r.be16());
  if (msgId != MSGID_CAN && msgId != MSGID_CAN_EXT && msgId != MSGID_CAN_PROXY)
    return "not a CAN frame record";
  r.skip(2);
  const uint64_t timeUs = r.be64();
  const uint8_t channel = r.u8();
  const uint8_t frameByte = r.u8();
  const uint8_t state = r.u8();
  const auto frame = static_cast<canframe_t>(frameByte);
  cantype_t type = CAN_TYPE_EXTENDED;
  unsigned length = 0;
  uint32_t id = 0;
  if (msgId == MSGID_CAN_EXT) {
    length = r.u8();
    if (frameByte > CAN_FRAME_TXREQUEST || (state & detail::kCanStateReservedMask) != 0)
      return kUndecodableCanFrame;
    if (frame != CAN_FRAME_ERROR || (state & detail::kCanStateErrorMask) == CAN_ERR_ACK) {
      const uint32_t word = r.be32();
      if ((word & 0x20000000u) != 0) return kUndecodableCanFrame;
      static const cantype_t kTypes[4] = {CAN_TYPE_STANDARD, CAN_TYPE_FD_STD, CAN_TYPE_EXTENDED,
                                          CAN_TYPE_FD_EXT};
      type = kTypes[(word >> 30) & 3u];
      id = (type == CAN_TYPE_EXTENDED || type == CAN_TYPE_FD_EXT) ? (word & 0x1FFFFFFFu)
                                                                  : (word & 0x7FFu);
    }
  } else if (frame != CAN_FRAME_ERROR) {
    length = r.u8();
    id = r.be16();
    if (msgId == MSGID_CAN_PROXY) id &= 0x7FFu;
  }
  length = std::min(length, 64u);
  return fromFields(msgId, timeUs, channel, frame, state, type, id, length,
                    bytes + (size - r.remaining()), r.remaining(), f);
}

const char* const kUndecodableCanFrame = "CAN frame does not decode";

}  // namespace vxtrace
