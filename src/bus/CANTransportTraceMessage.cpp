#include "vxtrace/CANTransportTraceMessage.h"

#include "util/Record.h"

using namespace vxtrace::detail;

namespace {
constexpr uint32_t kExtendedBit = 0x80000000u;
}  // namespace

CANTransportTraceMessage::CANTransportTraceMessage(unsigned long long ts, uint32_t id_,
                                                   uint32_t extended_,
                                                   const std::vector<uint8_t>& payload_)
    : MessageBase(MSGID_CAN_TRANSPORT, ts), payload(payload_), id(id_), extended(extended_) {}

CANTransportTraceMessage::CANTransportTraceMessage(const unsigned char* data, unsigned int length)
    : MessageBase(MSGID_CAN_TRANSPORT, 0), id(0), extended(0) {
  ByteReader in(data, length);
  in.skip(4);
  headerWord = in.be16();
  // Long-standing reader quirk, kept for the files it wrote: the stored high word alone is the
  // time stamp and the low word is skipped.
  timeStamp = in.be32();
  in.skip(4);
  const uint32_t word = in.be32();
  extended = (word & kExtendedBit) != 0 ? 1 : 0;
  id = word & (extended != 0 ? 0x1FFFFFFFu : 0x7FFu);
  const std::size_t n = in.remaining();
  const uint8_t* bytes = in.bytes(n);
  if (bytes != nullptr) payload.assign(bytes, bytes + n);
}

VXTRACE_RECORD_MEMBERS(CANTransportTraceMessage)

unsigned int CANTransportTraceMessage::writeToByteArray(unsigned char*& out, unsigned int room,
                                                        bool withSync) const {
  if (getSize() > room) {
    VXException e;
    e << "CANTransportTraceMessage::writeToByteArray: buffer size to small."
      << " Size of message = " << getSize() << ", size of buffer = " << room;
    throw e;
  }
  const unsigned int written = writeRecord(*this, out, room, withSync, [&](ByteWriter& w) {
    w.be32((extended != 0 ? kExtendedBit : 0) | (id & ~kExtendedBit));
    w.bytes(payload.data(), payload.size());
  });
  return written == 0 ? 0 : getSize();
}

unsigned int CANTransportTraceMessage::getSize() const {
  return 16 + static_cast<unsigned int>(payload.size());
}

bool CANTransportTraceMessage::operator==(const MessageBase& other) const {
  auto* o = sameClass(*this, other);
  // Identity, not equality: two transport records are never the same message.
  return o != nullptr && o->id == id && o->extended == extended && o == this;
}

void CANTransportTraceMessage::print(std::ostream& os) const {
  RecordLine line(os, *this);
  os << "  CAN TRANSP  | ID = 0x" << std::hex << std::setfill('0') << std::setw(3) << id << " | "
     << (extended == 0   ? "STANDARD |"
         : extended == 1 ? "EXTENDED |"
                         : "UNKNOWN  |")
     << " len = " << std::dec << payload.size() << " - " << std::hex;
  for (uint8_t b : payload) os << std::setw(2) << static_cast<unsigned int>(b) << ' ';
}
