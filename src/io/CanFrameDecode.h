#pragma once
// Reading a CAN frame from a CAN record or straight from its bytes, inline for the column
// readers that call it by the million (toCanFrame and the parallel scan's fast path).
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "bus/CANCommon.h"
#include "util/ByteOrder.h"
#include "vxtrace/CANTraceMessageBase.h"
#include "vxtrace/io/CanFrame.h"

namespace vxtrace {
namespace detail {

// The longest header of the three CAN records (the extended one's), size field included.
inline constexpr std::size_t kCanHeaderBytes = 22;

// The DLC code of each length (the next larger where none fits): built by the compiler, as the
// column readers look it up for every frame.
inline constexpr std::array<uint8_t, 65> kDlcOf = [] {
  std::array<uint8_t, 65> t{};
  uint8_t code = 0;
  for (unsigned n = 0; n <= 64; ++n) {
    while (n > kCanDlcBytes[code]) ++code;
    t[n] = code;
  }
  return t;
}();

// The one reading of a CAN record's fields; data holds available bytes (zero beyond). The
// column readers call it by the million: it stores each field once and branches little.
inline const char* fromFields(uint64_t timeUs, uint8_t channel, uint32_t frame, uint8_t state,
                              uint32_t type, uint32_t id, unsigned length, const uint8_t* data,
                              std::size_t available, CanFrame& f) {
  f.timeUs = timeUs;
  f.channel = channel;
  std::memset(f.data, 0, sizeof f.data);
  if (frame == CAN_FRAME_ERROR) {
    f.id = 0;
    f.extended = f.fd = f.brs = f.esi = f.remote = f.tx = false;
    f.error = true;
    f.errorCode = state & kCanStateErrorMask;
    f.dlc = f.length = 0;
    return nullptr;
  }
  if (frame == CAN_FRAME_TXREQUEST) return "transmit request (not a bus frame)";
  if (frame != CAN_FRAME_STANDARD && frame != CAN_FRAME_TXMESSAGE) return "unknown CAN frame kind";
  if (type > CAN_TYPE_FD_EXT) return "unknown CAN type";
  const bool extended = (type & 1) != 0, fd = (type & 2) != 0;  // the types' codes
  static_assert(CAN_TYPE_EXTENDED == 1 && CAN_TYPE_FD_STD == 2 && CAN_TYPE_FD_EXT == 3);
  if (!extended && id > 0x7FF) return "11-bit identifier out of range";
  if (id > 0x1FFFFFFF) return "29-bit identifier out of range";
  const uint8_t dlc = length <= 64 ? kDlcOf[length] : 15;
  if (fd ? length > 64 || kCanDlcBytes[dlc] != length : length > 8)
    return fd ? "CAN FD length not codable as a DLC" : "classic CAN frame longer than 8 bytes";
  f.id = id;
  f.extended = extended;
  f.fd = fd;
  f.brs = fd && (state & kCanStateBrs) != 0;
  f.esi = fd && (state & kCanStateEsi) != 0;
  f.remote = f.error = false;
  f.tx = frame == CAN_FRAME_TXMESSAGE;
  f.errorCode = 0;
  f.dlc = dlc;
  f.length = static_cast<uint8_t>(length);
  std::memcpy(f.data, data, std::min<std::size_t>(length, available));
  return nullptr;
}

// The byte constructors of the three record classes, field by field, without the record: from
// the header h, which holds at least kCanHeaderBytes bytes (the frame's own, or a copy padded
// with zeros, as the decoders read a short frame), and the frame's own bytes.
inline const char* fromBytes(const uint8_t* h, const uint8_t* bytes, std::size_t size,
                             CanFrame& f) {
  const auto msgId = static_cast<msgid_t>(loadBE16(h + 2));
  const uint8_t frame = h[15], state = h[16];
  unsigned length = 0;
  uint32_t id = 0, type = CAN_TYPE_STANDARD;  // classic and proxy records are 11-bit classic
  std::size_t at = 17;  // where the data bytes begin
  if (msgId == MSGID_CAN_EXT) {
    length = h[at++];
    if (frame > CAN_FRAME_TXREQUEST || (state & kCanStateReservedMask) != 0)
      return kUndecodableCanFrame;
    if (frame != CAN_FRAME_ERROR || (state & kCanStateErrorMask) == CAN_ERR_ACK) {
      const uint32_t word = loadBE32(h + at);
      at += 4;
      if ((word & 0x20000000u) != 0) return kUndecodableCanFrame;
      // Bit 31: a 29-bit identifier; bit 30: CAN FD.
      type = ((word >> 31) != 0 ? CAN_TYPE_EXTENDED : 0u) | ((word >> 30) & 1u ? CAN_TYPE_FD_STD : 0u);
      id = word & ((word >> 31) != 0 ? 0x1FFFFFFFu : 0x7FFu);
    }
  } else if (msgId == MSGID_CAN || msgId == MSGID_CAN_PROXY) {
    if (frame != CAN_FRAME_ERROR) {
      length = h[at];
      id = loadBE16(h + at + 1);
      at += 3;
      if (msgId == MSGID_CAN_PROXY) id &= 0x7FFu;
    }
  } else {
    return "not a CAN frame record";
  }
  length = std::min(length, 64u);
  const std::size_t available = size > at ? size - at : 0;
  return fromFields(loadBE64(h + 6), h[14], frame, state, type, id, length,
                    available != 0 ? bytes + at : bytes, available, f);
}

// toCanFrame on bytes.
inline const char* decodeCanFrame(const uint8_t* bytes, std::size_t size, CanFrame& f) {
  if (size >= kCanHeaderBytes) return fromBytes(bytes, bytes, size, f);
  uint8_t padded[kCanHeaderBytes] = {};
  std::memcpy(padded, bytes, size);
  return fromBytes(padded, bytes, size, f);
}

}  // namespace detail
}  // namespace vxtrace
