#include "vxtrace/CANExtTraceMessage.h"

#include <algorithm>
#include <cstring>

#include "bus/CANCommon.h"
#include "util/Record.h"
#include "util/Reject.h"

using namespace vxtrace::detail;

namespace {

// Identifier word: bit 31 extended identifier, bit 30 CAN FD, bit 29 always 0.
constexpr uint32_t kWordExtended = 0x80000000u;
constexpr uint32_t kWordFd = 0x40000000u;
constexpr uint32_t kWordBit29 = 0x20000000u;
constexpr uint32_t kWordIdBits = 0x3FFFFFFFu;

uint32_t typeBits(cantype_t type) {
  switch (type) {
    case CAN_TYPE_EXTENDED:
      return kWordExtended;
    case CAN_TYPE_FD_STD:
      return kWordFd;
    case CAN_TYPE_FD_EXT:
      return kWordExtended | kWordFd;
    default:
      return 0;
  }
}

}  // namespace

CANExtTraceMessage::CANExtTraceMessage(unsigned long long ts)
    : CANTraceMessageBase(MSGID_CAN_EXT, ts) {}

CANExtTraceMessage::CANExtTraceMessage(unsigned long long ts, uint8_t channel_, canframe_t frame_,
                                       uint8_t state_, cantype_t type_, uint32_t id_,
                                       const std::vector<uint8_t>& bytes)
    : CANExtTraceMessage(ts, channel_, frame_, state_, type_, id_, bytes.data(),
                         static_cast<unsigned int>(std::min<std::size_t>(bytes.size(), 64))) {}

CANExtTraceMessage::CANExtTraceMessage(unsigned long long ts, uint8_t channel_, canframe_t frame_,
                                       uint8_t state_, cantype_t type_, uint32_t id_,
                                       const uint8_t* bytes, unsigned int count)
    : CANTraceMessageBase(MSGID_CAN_EXT, ts) {
  channel = channel_;
  frame = frame_;
  state = state_;
  type = type_;
  id = id_;
  setData(bytes, count);
}

CANExtTraceMessage::CANExtTraceMessage(const unsigned char* frameBytes, unsigned int frameLength)
    : CANTraceMessageBase(MSGID_CAN_EXT, 0) {
  auto decode = [this](auto& r) {
    readFrameHeader(r, *this);
    channel = r.u8();
    const uint8_t frameByte = r.u8();
    state = r.u8();
    length = r.u8();
    if (frameByte > CAN_FRAME_TXREQUEST) throwBadEnum("canframe_t", frameByte);
    // The value reported is the frame byte, not the state byte; long-standing behaviour, kept.
    if ((state & kCanStateReservedMask) != 0) throwBadEnum("canstaterr_t", frameByte);
    frame = static_cast<canframe_t>(frameByte);
    if (!carriesIdentifier()) return;  // length stays as read, id 0, type as constructed
    const uint32_t word = r.be32();
    if ((word & kWordBit29) != 0) throwBadEnum("CAN-ID bit 29 set", 0);
    type = getCANTypeFromFrame(word);
    id = (type == CAN_TYPE_EXTENDED || type == CAN_TYPE_FD_EXT) ? (word & 0x1FFFFFFFu)
                                                                : (word & 0x7FFu);
    if (length > sizeof data) length = sizeof data;
    r.bytes(data, std::min<std::size_t>(length, r.remaining()));
  };
  readFrame(frameBytes, frameLength, 22, decode);  // header, fields and identifier word
}

cantype_t CANExtTraceMessage::getCANTypeFromFrame(unsigned int word) {
  static const cantype_t kTypes[4] = {CAN_TYPE_STANDARD, CAN_TYPE_FD_STD, CAN_TYPE_EXTENDED,
                                      CAN_TYPE_FD_EXT};
  return kTypes[(word >> 30) & 3u];
}

VXTRACE_RECORD_CREATOR(CANExtTraceMessage)
VXTRACE_RECORD_CLONE(CANExtTraceMessage)

bool CANExtTraceMessage::carriesIdentifier() const {
  // An ACK error frame keeps the identifier and data of the frame nobody acknowledged.
  return frame != CAN_FRAME_ERROR || (state & kCanStateErrorMask) == CAN_ERR_ACK;
}

unsigned int CANExtTraceMessage::writeToByteArray(unsigned char*& out, unsigned int room,
                                                  bool withSync) const {
  // A non-ACK error frame declares two bytes more than it writes (getSize()).
  const unsigned int excess = carriesIdentifier() ? 0 : 2;
  const unsigned int written = writeRecord(
      *this, out, room, withSync,
      [&](ByteWriter& w) {
        w.u8(channel);
        w.u8(static_cast<uint8_t>(frame));
        w.u8(state);
        if (!carriesIdentifier()) {
          w.u8(length);
        } else {
          const unsigned int n = dataLength();
          w.u8(static_cast<uint8_t>(n));
          w.be32(typeBits(type) | (id & kWordIdBits));
          w.bytes(data, n);
        }
      },
      excess);
  return written == 0 ? 0 : getSize();
}

unsigned int CANExtTraceMessage::getSize() const {
  // 18 for a non-ACK error frame although only 16 bytes follow the size field.
  return carriesIdentifier() ? 20 + dataLength() : 18;
}

bool CANExtTraceMessage::operator==(const std::vector<unsigned char>& bytes) const {
  // id against the stored word as it stands: type bits make it differ.
  return canFrameBytesMatch(*this, bytes, 4, getSize());
}

bool CANExtTraceMessage::operator==(const canInfo_t& filter) const {
  return canInfoMatches(*this, filter);
}

namespace {

// The text after the common prefix; upper: the digit case of identifier and data.
void appendBody(const CANExtTraceMessage& m, LineText& t, bool upper) {
  t.text("  CAN #");
  t.dec(static_cast<unsigned int>(m.channel) + 1, 7, ' ', true);
  t.text("| ");
  t.text(canTypeName(m.type));
  const unsigned int err = m.state & kCanStateErrorMask;
  switch (m.frame) {
    case CAN_FRAME_STANDARD:
      t.text(" Rx   ");
      break;
    case CAN_FRAME_TXMESSAGE:
      t.text(" Tx   ");
      break;
    case CAN_FRAME_TXREQUEST:
      t.text(" TxRq ");
      break;
    case CAN_FRAME_ERROR:
      t.text(" Error Frame [error=");
      appendCanStateErr(t, err);
      t.ch(']');
      if (err != CAN_ERR_ACK) return;
      t.ch(' ');
      break;
    default:
      t.text("[Unknown CAN message type ");
      t.dec(static_cast<uint32_t>(m.frame));
      t.ch(']');
      return;
  }
  if (m.frame != CAN_FRAME_ERROR) {
    if (err != CAN_ERR_NO) {
      t.text("[error=");
      appendCanStateErr(t, err);
      t.text("] ");
    }
    if ((m.state & (kCanStateEsi | kCanStateBrs)) != 0) {
      t.text(" [ ");
      if ((m.state & kCanStateEsi) != 0) t.text("ESI ");
      if ((m.state & kCanStateBrs) != 0) t.text("BRS ");
      t.ch(']');
    }
  }
  t.hex(m.id, 8, '0', upper);
  t.text("  ");
  t.dec(m.length, 2, ' ');
  t.ch(' ');
  t.hexBytes(m.data, std::min<std::size_t>(m.length, sizeof m.data), upper);
}

}  // namespace

void CANExtTraceMessage::print(std::ostream& os) const {
  RecordLine line(os, *this);
  LineText t;
  appendBody(*this, t, upperHex(os));
  os.write(t.data(), static_cast<std::streamsize>(t.size()));
}

std::string CANExtTraceMessage::toString() const {
  // A subclass of an application may print otherwise: its print() decides then.
  if (typeid(*this) != typeid(CANExtTraceMessage)) return printedText(*this);
  LineText t;
  appendBody(*this, t, false);
  return recordText(*this, t);
}

std::ostream& operator<<(std::ostream& os, const CANExtTraceMessage& msg) {
  msg.print(os);
  return os;
}

void CANExtTraceMessage::cascadeChannel(unsigned short offset) {
  channel = static_cast<uint8_t>(channel + (offset & 0xFF));
}
