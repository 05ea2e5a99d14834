#include "vxtrace/MarkerMessage.h"

#include "util/Record.h"
#include "util/Reject.h"

using namespace vxtrace::detail;

MarkerMessage::MarkerMessage(unsigned long long ts, uint16_t number, unsigned long long time)
    : MessageBase(MSGID_MARKER, ts), markerNumber(number), markerTime(time) {}

MarkerMessage::MarkerMessage(const unsigned char* data, unsigned int length)
    : MessageBase(MSGID_MARKER, 0), markerNumber(0), markerTime(0) {
  if (length != 14 && length != 16 && length < 24)
    throwShortBody("Invalid MarkerMessage length");
  ByteReader in(data, length);
  readFrameHeader(in, *this);
  markerNumber = in.be16();  // 0 from a header-only frame
  if (length >= 24) markerTime = in.be64();
}

VXTRACE_RECORD_MEMBERS(MarkerMessage)

unsigned int MarkerMessage::writeToByteArray(unsigned char*& out, unsigned int room,
                                             bool withSync) const {
  return writeRecord(*this, out, room, withSync, [&](ByteWriter& w) {
    w.be16(markerNumber);
    w.be64(markerTime);
  });
}

unsigned int MarkerMessage::getSize() const { return 22; }

bool MarkerMessage::operator==(const MessageBase& other) const {
  auto* o = sameClass(*this, other);
  return o != nullptr && o->markerNumber == markerNumber;
}

void MarkerMessage::print(std::ostream& os) const {
  RecordLine line(os, *this);
  os << "  MARKER";
  if (markerNumber == 0) return;
  os << "      | #" << markerNumber << "  ";
  MessageBase::printTimeStamp(os, markerTime, true, 6);
}
