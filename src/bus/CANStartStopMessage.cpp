#include "vxtrace/CANStartStopMessage.h"

#include <algorithm>
#include <iomanip>

#include "util/ByteOrder.h"
#include "util/Record.h"
#include "util/StreamStateGuard.h"

using namespace vxtrace::detail;

std::ostream& operator<<(std::ostream& os, const canInfo_t& info) {
  vxtrace::detail::StreamStateGuard guard(os);
  // mask and value read as one big-endian 64-bit number each.
  os << std::dec << std::right << "channel=" << static_cast<unsigned int>(info.channel)
     << ", canId=0x" << std::hex << info.canId << ", dlc=" << std::dec
     << static_cast<unsigned int>(info.dlc) << ", mask=" << std::hex << std::setfill('0')
     << std::setw(16) << vxtrace::detail::loadBE64(info.mask) << ", value=" << std::setw(16)
     << vxtrace::detail::loadBE64(info.value);
  return os;
}

CANStartStopMessage::CANStartStopMessage(unsigned long long ts, uint32_t type_,
                                         const std::vector<canInfo_t>& conditions_)
    : MessageBase(MSGID_CANSTARTSTOP, ts), type(type_), conditions(conditions_) {}

CANStartStopMessage::CANStartStopMessage(const unsigned char* data, unsigned int length)
    : MessageBase(MSGID_CANSTARTSTOP, 0), type(0) {
  ByteReader in(data, length);
  readFrameHeader(in, *this);
  type = in.u8();
  // An entry counts as soon as its first byte is inside the frame; a cut one keeps zeros. The
  // loop consumes at least one byte per entry, so the count is bounded by the frame.
  while (in.remaining() > 0) {
    canInfo_t info;
    info.channel = in.u8();
    info.canId = in.be16();
    info.dlc = in.u8();
    if (info.dlc > 8) info.dlc = 8;
    uint8_t mask[8], value[8];
    in.bytes(mask, 8);
    in.bytes(value, 8);
    std::copy(mask, mask + info.dlc, info.mask);
    std::copy(value, value + info.dlc, info.value);
    conditions.push_back(info);
  }
}

VXTRACE_RECORD_MEMBERS(CANStartStopMessage)

unsigned int CANStartStopMessage::writeToByteArray(unsigned char*& out, unsigned int room,
                                                   bool withSync) const {
  return writeRecord(*this, out, room, withSync, [&](ByteWriter& w) {
    w.u8(static_cast<uint8_t>(type));
    for (const canInfo_t& info : conditions) {
      w.u8(info.channel);
      w.be16(info.canId);
      w.u8(info.dlc);
      w.bytes(info.mask, 8);
      w.bytes(info.value, 8);
    }
  });
}

unsigned int CANStartStopMessage::getSize() const {
  return 13 + 20 * static_cast<unsigned int>(conditions.size());
}

bool CANStartStopMessage::operator==(const MessageBase&) const { return false; }

void CANStartStopMessage::print(std::ostream& os) const {
  RecordLine line(os, *this);
  os << "  CAN St/St   | type=" << (type == 0 ? "start" : "stop") << ", ";
  for (std::size_t i = 0; i < conditions.size(); ++i) os << i << ':' << conditions[i] << ' ';
}
