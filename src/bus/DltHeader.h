#pragma once
// Reader of the header that starts the payload of a DLT Ethernet record: the four-byte
// standard header, its optional ECU, session and time-stamp fields, and the optional extended
// header. A payload too short for what the header type announces raises VXException with code
// 22 and the text naming the missing part.
#include <cstdint>
#include <string>

#include "util/ByteReader.h"
#include "vxtrace/Exceptions.h"

namespace vxtrace::detail {

struct DltHeader {
  // Header type bits.
  static constexpr uint8_t kUseExtended = 0x01;
  static constexpr uint8_t kMsbFirst = 0x02;
  static constexpr uint8_t kWithEcuId = 0x04;
  static constexpr uint8_t kWithSessionId = 0x08;
  static constexpr uint8_t kWithTimestamp = 0x10;
  static constexpr int kErrorCode = 22;

  uint8_t headerType = 0;
  uint8_t counter = 0;
  uint16_t length = 0;  // of the whole DLT message, header included
  std::string ecuId;    // empty unless present
  uint32_t sessionId = 0;
  uint32_t timestamp = 0;  // in 0.1 ms
  bool extended = false;
  uint8_t messageInfo = 0;
  uint8_t argumentCount = 0;
  std::string appId;
  std::string contextId;
  std::size_t headerSize = 0;  // bytes the header took; the message's arguments follow

  uint8_t version() const { return headerType >> 5; }
};

inline std::string dltId(ByteReader& in) {
  char id[4];
  in.bytes(id, sizeof id);
  std::size_t n = 0;
  while (n < sizeof id && id[n] != '\0') ++n;
  return std::string(id, n);
}

// Reads the header at p; never reads past p + n.
inline DltHeader readDltHeader(const uint8_t* p, std::size_t n) {
  auto need = [](const ByteReader& in, std::size_t bytes, const char* text) {
    if (!in.has(bytes)) throw VXException(DltHeader::kErrorCode, text);
  };
  ByteReader in(p, n);
  DltHeader h;
  need(in, 4, "DLT too short");
  h.headerType = in.u8();
  h.counter = in.u8();
  h.length = in.be16();
  if (h.headerType & DltHeader::kWithEcuId) {
    need(in, 4, "ECU: DLT too short");
    h.ecuId = dltId(in);
  }
  if (h.headerType & DltHeader::kWithSessionId) {
    need(in, 4, "SEID: DLT too short");
    h.sessionId = in.be32();
  }
  if (h.headerType & DltHeader::kWithTimestamp) {
    need(in, 4, "TMSP: DLT too short");
    h.timestamp = in.be32();
  }
  if (h.headerType & DltHeader::kUseExtended) {
    need(in, 10, "EXT: DLT too short");
    h.extended = true;
    h.messageInfo = in.u8();
    h.argumentCount = in.u8();
    h.appId = dltId(in);
    h.contextId = dltId(in);
  }
  h.headerSize = in.position();
  return h;
}

}  // namespace vxtrace::detail
