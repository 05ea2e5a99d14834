#include "vxtrace/CascadeMessage.h"

#include "util/EnumName.h"
#include "util/Record.h"

using namespace vxtrace::detail;

namespace {
const char* const kModeNames[] = {"off", "master", "slave"};
const char* const kRoleNames[] = {"MASTER only", "Master", "Slave"};
}  // namespace

std::ostream& operator<<(std::ostream& os, CascadeMessage::cascade_t mode) {
  return printEnumName(os, mode, kModeNames);
}

CascadeMessage::CascadeMessage(unsigned long long ts, uint32_t type_, unsigned long long syncTime_,
                               uint8_t spare_)
    : MessageBase(MSGID_CASCADE, ts), type(type_), spare(spare_), syncTime(syncTime_) {}

CascadeMessage::CascadeMessage(const unsigned char* data, unsigned int length)
    : MessageBase(MSGID_CASCADE, 0), type(0), spare(0), syncTime(0) {
  ByteReader in(data, length);
  readFrameHeader(in, *this);
  type = in.u8();
  // The spare byte is never taken over, and syncTime only from a frame that holds it whole.
  in.skip(1);
  if (in.has(8)) syncTime = in.be64();
}

MessageBase* CascadeMessage::readFromByteArray(const unsigned char* data, unsigned int length) {
  return length < 16 ? nullptr : new CascadeMessage(data, length);
}

VXTRACE_RECORD_CLONE(CascadeMessage)
VXTRACE_RECORD_TEXT(CascadeMessage)

unsigned int CascadeMessage::writeToByteArray(unsigned char*& out, unsigned int room,
                                              bool withSync) const {
  return writeRecord(*this, out, room, withSync, [&](ByteWriter& w) {
    w.u8(static_cast<uint8_t>(type));
    w.u8(spare);
    w.be64(syncTime);
  });
}

unsigned int CascadeMessage::getSize() const { return 22; }

bool CascadeMessage::operator==(const MessageBase& other) const {
  auto* o = sameClass(*this, other);
  return o != nullptr && o->type == type;
}

void CascadeMessage::print(std::ostream& os) const {
  RecordLine line(os, *this);
  os << "  CASCADE     | Type = " << (type < 3 ? kRoleNames[type] : "UNKNOWN") << ", syncTime = ";
  printTimeStamp(os, syncTime, true, 6);
}
