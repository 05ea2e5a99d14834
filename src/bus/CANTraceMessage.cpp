#include "vxtrace/CANTraceMessage.h"

#include <algorithm>
#include <cstring>

#include "bus/CANCommon.h"
#include "util/Record.h"
#include "vxtrace/CANProxyTraceMessage.h"

using namespace vxtrace::detail;

CANTraceMessage::CANTraceMessage(unsigned long long ts) : CANTraceMessage(MSGID_CAN, ts) {}

CANTraceMessage::CANTraceMessage(msgid_t msgid, unsigned long long ts)
    : CANTraceMessageBase(msgid, ts) {
  type = CAN_TYPE_STANDARD;
}

CANTraceMessage::CANTraceMessage(unsigned long long ts, uint8_t channel_, canframe_t frame_,
                                 uint8_t state_, uint32_t id_, const std::vector<uint8_t>& bytes)
    : CANTraceMessage(ts, channel_, frame_, state_, id_, bytes.data(),
                      static_cast<unsigned int>(std::min<std::size_t>(bytes.size(), 64))) {}

CANTraceMessage::CANTraceMessage(unsigned long long ts, uint8_t channel_, canframe_t frame_,
                                 uint8_t state_, uint32_t id_, const uint8_t* bytes,
                                 unsigned int count)
    : CANTraceMessage(MSGID_CAN, ts) {
  channel = channel_;
  frame = frame_;
  state = state_;
  id = id_;
  setData(bytes, count);
}

CANTraceMessage::CANTraceMessage(const unsigned char* frameBytes, unsigned int frameLength)
    : CANTraceMessage(MSGID_CAN, 0) {
  // The classic record checks nothing: a short frame decodes with its missing bytes as 0.
  auto decode = [this](auto& r) {
    readFrameHeader(r, *this);
    channel = r.u8();
    frame = static_cast<canframe_t>(r.u8());
    state = r.u8();
    length = r.u8();
    if (frame == CAN_FRAME_ERROR) {
      length = 0;  // an error frame carries no identifier and no data, whatever its length byte
      return;
    }
    id = r.be16();
    if (length > sizeof data) length = sizeof data;
    r.bytes(data, std::min<std::size_t>(length, r.remaining()));
  };
  readFrame(frameBytes, frameLength, 20, decode);  // header, fields and identifier
}

VXTRACE_RECORD_CREATOR(CANTraceMessage)
VXTRACE_RECORD_CLONE(CANTraceMessage)

unsigned int CANTraceMessage::writeToByteArray(unsigned char*& out, unsigned int room,
                                               bool withSync) const {
  const unsigned int written = writeRecord(*this, out, room, withSync, [&](ByteWriter& w) {
    w.u8(channel);
    w.u8(static_cast<uint8_t>(frame));
    w.u8(state);
    if (frame == CAN_FRAME_ERROR) {
      w.u8(length);
    } else {
      const unsigned int n = dataLength();
      w.u8(static_cast<uint8_t>(n));
      w.be16(static_cast<uint16_t>(id));
      w.bytes(data, n);
    }
  });
  return written == 0 ? 0 : getSize();
}

unsigned int CANTraceMessage::getSize() const {
  return frame == CAN_FRAME_ERROR ? 16 : 18 + dataLength();
}

bool CANTraceMessage::operator==(const std::vector<unsigned char>& bytes) const {
  // Reaches byte 20 + length, two beyond a frame of getSize(): a serialised error frame is
  // refused rather than read past.
  return canFrameBytesMatch(*this, bytes, 2, getSize());
}

bool CANTraceMessage::operator==(const canInfo_t& filter) const {
  return canInfoMatches(*this, filter);
}

namespace {

// The text after the common prefix; upper: the digit case of identifier and data.
void appendBody(const CANTraceMessage& m, LineText& t, bool upper) {
  t.text("  CAN #");
  t.dec(static_cast<unsigned int>(m.channel) + 1);
  if (m.channel < 9) t.ch(' ');  // lines up one- and two-digit channel numbers
  t.text("     | ");
  switch (m.frame) {
    case CAN_FRAME_ERROR:
      // The state byte goes out as a raw character, not as a number; long-standing, kept.
      t.text("Error Frame [error= ");
      t.ch(static_cast<char>(m.state));
      t.ch(']');
      return;
    case CAN_FRAME_STANDARD:
      t.text("Rx   ");
      break;
    case CAN_FRAME_TXMESSAGE:
      t.text("Tx   ");
      break;
    case CAN_FRAME_TXREQUEST:
      t.text("TxRq ");
      break;
    default:
      t.text("[Unknown CAN message type ");
      t.dec(static_cast<uint32_t>(m.frame));
      t.ch(']');
      return;
  }
  if (m.length > 8) {
    t.text("[Incorrect NUMBYTES=");
    t.dec(m.length);
    t.ch(']');
    return;
  }
  t.hex(m.id, 3, '0', upper);
  t.text("  ");
  t.dec(m.length);
  t.ch(' ');
  t.hexBytes(m.data, m.length, upper);
}

}  // namespace

void CANTraceMessage::print(std::ostream& os) const {
  RecordLine line(os, *this);
  LineText t;
  appendBody(*this, t, upperHex(os));
  os.write(t.data(), static_cast<std::streamsize>(t.size()));
}

std::string CANTraceMessage::toString() const {
  // A subclass of an application may print otherwise: its print() decides then.
  if (typeid(*this) != typeid(CANTraceMessage) && typeid(*this) != typeid(CANProxyTraceMessage)) return printedText(*this);
  LineText t;
  appendBody(*this, t, false);
  return recordText(*this, t);
}

std::ostream& operator<<(std::ostream& os, const CANTraceMessage& msg) {
  msg.print(os);
  return os;
}

void CANTraceMessage::cascadeChannel(unsigned short offset) {
  channel = static_cast<uint8_t>(channel + (offset & 0xFF));
}
