#include "vxtrace/ApixShellMessage.h"

#include <algorithm>
#include <cstring>

#include "util/Record.h"

using namespace vxtrace::detail;

const char* const ApixShellMessage::STATUS_TXT[19] = {
    "RX_OPERATIONAL", "RX_INBOUND_HANDSHAKE", "RX_CRC_TIMEOUT", "RX_PROTOCOL_ERROR",
    "RX_TA_SYN_ACK",  "RX_TA_SYN_START",      "RX_FATAL_ERROR", "RX_CRC_ERROR",
    "RX_DOWN_READY",  "RX_PX_ALIGNED",        "TX_OPERATIONAL", "TX_INBOUND_HANDSHAKE",
    "TX_CRC_TIMEOUT", "TX_PROTOCOL_ERROR",    "TX_TA_SYN_ACK",  "TX_TA_SYN_START",
    "TX_FATAL_ERROR", "TX_CRC_ERROR",         "TX_UP_READY"};

ApixShellMessage::ApixShellMessage(unsigned long long ts, uint32_t kind, uint32_t status)
    : MessageBase(MSGID_APIX_ASHELL, ts) {
  // The kind is the one little-endian field of the trace.
  storeLE32(body, kind);
  storeBE32(body + 4, status);
}

ApixShellMessage::ApixShellMessage(const unsigned char* data, unsigned int length)
    : MessageBase(MSGID_APIX_ASHELL, 0) {
  ByteReader in(data, length);
  readFrameHeader(in, *this);
  for (uint8_t& b : body) b = in.u8();
}

VXTRACE_RECORD_MEMBERS(ApixShellMessage)

unsigned int ApixShellMessage::writeToByteArray(unsigned char*& out, unsigned int room,
                                                bool withSync) const {
  return writeRecord(*this, out, room, withSync,
                     [&](ByteWriter& w) { w.bytes(body, sizeof body); });
}

unsigned int ApixShellMessage::getSize() const { return 20; }

bool ApixShellMessage::operator==(const MessageBase& other) const {
  if (other.msgId != MSGID_APIX_ASHELL) return false;
  const auto* o = dynamic_cast<const ApixShellMessage*>(&other);
  return o != nullptr && std::memcmp(o->body, body, sizeof body) == 0;
}

void ApixShellMessage::inc() {
  // Bytes 1..7 only: byte 0 belongs to the kind and is never carried into.
  for (int i = 7; i >= 1; --i) {
    if (++body[i] != 0) break;
  }
}

uint32_t ApixShellMessage::getKind() const { return loadLE32(body); }

uint32_t ApixShellMessage::getStatus() const { return loadBE32(body + 4); }

void ApixShellMessage::dumpStatus(std::ostream& os) const {
  const uint32_t status = getStatus();
  if (getKind() != KIND_STATUS || status == 0) {
    os << "<none>";
    return;
  }
  // A status with only bits 19..31 set writes no name at all, not "<none>".
  bool first = true;
  for (unsigned int bit = 0; bit < 19; ++bit) {
    if ((status & (1u << bit)) == 0) continue;
    if (!first) os << '|';
    os << STATUS_TXT[bit];
    first = false;
  }
}

void ApixShellMessage::print(std::ostream& os) const {
  RecordLine line(os, *this);
  const uint32_t kind = getKind();
  os << "  A-Shell "
     << (kind == KIND_UP       ? "UP  "
         : kind == KIND_DOWN   ? "DOWN"
         : kind == KIND_STATUS ? "STAT"
                               : "INV ")
     << "| " << std::hex << std::setfill('0');
  if (kind == KIND_STATUS) {
    os << "0x" << std::setw(6) << getStatus() << ':';
    dumpStatus(os);
  } else {
    dumpData(os, body, body + sizeof body);
  }
}
