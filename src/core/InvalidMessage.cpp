#include "vxtrace/InvalidMessage.h"

#include <algorithm>
#include <cstring>
#include <sstream>

#include "util/ByteOrder.h"
#include "util/Record.h"

using vxtrace::detail::loadBE16;
using vxtrace::detail::loadBE64;

const char* const InvalidMessage::INVALID_TXT = "Invalid Message";

InvalidMessage::InvalidMessage(const unsigned char* data, unsigned int length)
    : MessageBase(MSGID_INVALID, 0),
      id(0),
      enumValue(0),
      text(INVALID_TXT),
      cause(invalidId),
      overflow(false) {
  // Identifier and time stamp come from the header even when the frame is shorter than it;
  // bytes beyond length read as zero.
  unsigned char header[14] = {};
  if (data != nullptr) std::memcpy(header, data, std::min<unsigned int>(length, sizeof header));
  id = loadBE16(header + 2);
  timeStamp = loadBE64(header + 6);
  if (length < 14) return;
  if (length > MAX_FRAME_LENGTH) {
    overflow = true;
    length = MAX_FRAME_LENGTH;
  }
  assign(data + 14, data + length);
}

VXTRACE_RECORD_MEMBERS(InvalidMessage)

unsigned int InvalidMessage::writeToByteArray(unsigned char*& out, unsigned int room,
                                              bool withSync) const {
  unsigned char* start = out;
  unsigned int written = MessageBase::writeToByteArray(out, room, withSync);
  if (written == 0) return 0;  // never copy rawBytes into room the header did not have
  // rawBytes (not the body) follow the header, without advancing out past them; only what
  // fits in room is copied.
  std::size_t used = static_cast<std::size_t>(out - start);
  std::size_t n = std::min<std::size_t>(rawBytes.size(), room - used);
  if (n != 0) std::memcpy(out, rawBytes.data(), n);
  return getSize();
}

unsigned int InvalidMessage::getSize() const {
  return static_cast<unsigned int>(std::vector<uint8_t>::size()) + 14;
}

bool InvalidMessage::operator==(const MessageBase&) const { return false; }

void InvalidMessage::print(std::ostream& os) const {
  vxtrace::detail::RecordLine line(os, *this);
  os << "  " << text << ": Id=0x" << std::hex << std::setfill('0') << std::setw(2) << id;
  if (cause == invalidEnumValue) {
    os << ", Invalid enum value '" << enumName << "'=0x" << std::setw(2) << enumValue;
  } else if (cause == invalidLength) {
    os << "Invalid message length";
  }
  os << ", n=" << std::dec << std::vector<uint8_t>::size() << ' ' << std::hex;
  MessageBase::dumpData(os, data(), data() + std::vector<uint8_t>::size());
  if (overflow) os << " *** OVERRFLOW";
}
