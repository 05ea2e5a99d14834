#include "vxtrace/io/CanFrame.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "bus/CANCommon.h"
#include "util/ByteOrder.h"
#include "vxtrace/CANTraceMessageBase.h"

namespace vxtrace {

namespace {

using detail::loadBE16;
using detail::loadBE32;
using detail::loadBE64;

// The longest header of the three CAN records (the extended one's), size field included.
constexpr std::size_t kCanHeaderBytes = 22;

using detail::kCanDlcBytes;

// The DLC code of each length (the next larger where none fits): built by the compiler, as the
// column readers look it up for every frame.
constexpr std::array<uint8_t, 65> kDlcOf = [] {
  std::array<uint8_t, 65> t{};
  uint8_t code = 0;
  for (unsigned n = 0; n <= 64; ++n) {
    while (n > kCanDlcBytes[code]) ++code;
    t[n] = code;
  }
  return t;
}();

// The one reading of a CAN record's fields; data holds available bytes (zero beyond).
const char* fromFields(msgid_t msgId, uint64_t timeUs, uint8_t channel, canframe_t frame,
                       uint8_t state, cantype_t recordType, uint32_t id, unsigned length,
                       const uint8_t* data, std::size_t available, CanFrame& f) {
  // Field by field: assigning a fresh CanFrame compiles to a string store, which costs more
  // than the rest of the reading for the column readers that call this by the million.
  f.timeUs = timeUs;
  f.channel = channel;
  f.id = 0;
  f.extended = f.fd = f.brs = f.esi = f.remote = f.error = f.tx = false;
  f.errorCode = f.dlc = f.length = 0;
  std::memset(f.data, 0, sizeof f.data);
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
    if (length > 64 || kCanDlcBytes[f.dlc] != length)
      return "CAN FD length not codable as a DLC";
    f.brs = (state & detail::kCanStateBrs) != 0;
    f.esi = (state & detail::kCanStateEsi) != 0;
  } else if (length > 8) {
    return "classic CAN frame longer than 8 bytes";
  }
  f.length = static_cast<uint8_t>(length);
  std::memcpy(f.data, data, std::min<std::size_t>(length, available));
  return nullptr;
}

}  // namespace

uint8_t canDlcOf(unsigned length) { return length <= 64 ? kDlcOf[length] : 15; }

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
  // The header at fixed offsets; a frame shorter than the longest header reads as its bytes
  // followed by zeros, as the decoders read it.
  uint8_t padded[kCanHeaderBytes] = {};
  const uint8_t* h = bytes;
  const std::size_t header = size >= 4 && loadBE16(bytes + 2) == MSGID_CAN_EXT ? 22 : 20;
  if (size < header) {
    std::memcpy(padded, bytes, size);
    h = padded;
  }
  const auto msgId = static_cast<msgid_t>(loadBE16(h + 2));
  if (msgId != MSGID_CAN && msgId != MSGID_CAN_EXT && msgId != MSGID_CAN_PROXY)
    return "not a CAN frame record";
  const uint64_t timeUs = loadBE64(h + 6);
  const uint8_t channel = h[14];
  const uint8_t frameByte = h[15];
  const uint8_t state = h[16];
  const auto frame = static_cast<canframe_t>(frameByte);
  cantype_t type = CAN_TYPE_EXTENDED;
  unsigned length = 0;
  uint32_t id = 0;
  std::size_t at = 17;  // where the data bytes begin
  if (msgId == MSGID_CAN_EXT) {
    length = h[at++];
    if (frameByte > CAN_FRAME_TXREQUEST || (state & detail::kCanStateReservedMask) != 0)
      return kUndecodableCanFrame;
    if (frame != CAN_FRAME_ERROR || (state & detail::kCanStateErrorMask) == CAN_ERR_ACK) {
      const uint32_t word = loadBE32(h + at);
      at += 4;
      if ((word & 0x20000000u) != 0) return kUndecodableCanFrame;
      static const cantype_t kTypes[4] = {CAN_TYPE_STANDARD, CAN_TYPE_FD_STD, CAN_TYPE_EXTENDED,
                                          CAN_TYPE_FD_EXT};
      type = kTypes[(word >> 30) & 3u];
      id = (type == CAN_TYPE_EXTENDED || type == CAN_TYPE_FD_EXT) ? (word & 0x1FFFFFFFu)
                                                                  : (word & 0x7FFu);
    }
  } else if (frame != CAN_FRAME_ERROR) {
    length = h[at];
    id = loadBE16(h + at + 1);
    at += 3;
    if (msgId == MSGID_CAN_PROXY) id &= 0x7FFu;
  }
  length = std::min(length, 64u);
  const std::size_t available = size > at ? size - at : 0;
  return fromFields(msgId, timeUs, channel, frame, state, type, id, length,
                    available != 0 ? bytes + at : bytes, available, f);
}

const char* const kUndecodableCanFrame = "CAN frame does not decode";

}  // namespace vxtrace
