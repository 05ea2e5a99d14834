#include "vxtrace/CANTraceMessageBase.h"

#include <cstring>

#include "bus/CANCommon.h"
#include "util/EnumName.h"
#include "util/Reject.h"
#include "vxtrace/BusId.h"
#include "vxtrace/PlatformUtil.h"

namespace {

const char* const kFrameNames[] = {"STANDARD", "ERROR", "TXMESSAGE", "TXREQUEST"};
const char* const kTypeNames[] = {"STANDARD", "EXTENDED", "FD_STD", "FD_EXT"};
const char* const kStateErrNames[] = {"NO",   "STUFF", "FORMAT", "ACK",
                                      "BIT1", "BIT0",  "CRC",    "OVERRUN"};

}  // namespace

std::ostream& operator<<(std::ostream& os, canframe_t frame) {
  return vxtrace::detail::printEnumName(os, frame, kFrameNames, "<UNKNOWN>");
}

std::ostream& operator<<(std::ostream& os, cantype_t type) {
  return vxtrace::detail::printEnumName(os, type, kTypeNames, "UNKNOWN");
}

std::ostream& operator<<(std::ostream& os, canstaterr_t err) {
  return vxtrace::detail::printEnumName(os, err, kStateErrNames);
}

namespace vxtrace::detail {

const char* canTypeName(cantype_t type) { return enumName(type, kTypeNames, "UNKNOWN"); }

void appendCanStateErr(LineText& line, unsigned int err) {
  if (const char* name = enumName(err, kStateErrNames)) {
    line.text(name);
    return;
  }
  line.text("<unknown:");
  line.dec(err);
  line.ch('>');
}

}  // namespace vxtrace::detail

const uint8_t CANTraceMessageBase::numDlcBytes[16] = {VXTRACE_CAN_DLC_BYTES};

CANTraceMessageBase::CANTraceMessageBase(msgid_t msgid, unsigned long long ts)
    : MessageBase(msgid, ts),
      channel(0),
      frame(CAN_FRAME_STANDARD),
      state(0),
      type(CAN_TYPE_EXTENDED),
      length(0),
      id(0),
      data{} {}

CANTraceMessageBase::~CANTraceMessageBase() = default;

unsigned int CANTraceMessageBase::getSize() const { return 12; }

bool CANTraceMessageBase::operator==(const MessageBase& other) const {
  if (other.msgId != MSGID_CAN && other.msgId != MSGID_CAN_EXT) return false;
  // The identifier is a public field; only trust it together with the class.
  const auto* o = dynamic_cast<const CANTraceMessageBase*>(&other);
  if (o == nullptr) return false;
  return id == o->id && channel == o->channel && length == o->length &&
         std::memcmp(data, o->data, dataLength()) == 0 && frame == o->frame && state == o->state &&
         timeStamp == o->timeStamp;
}

std::string CANTraceMessageBase::getSourceChannel() const {
  return "CAN #" + std::to_string(static_cast<unsigned int>(channel));
}

uint64_t CANTraceMessageBase::getSourceChannelID() const {
  return vxtrace::detail::sourceChannelKey(sourceWord, BUSID_CAN, channel);
}

bool CANTraceMessageBase::equal(const CANTraceMessageBase& other) const {
  return channel == other.channel && id == other.id && length == other.length &&
         std::memcmp(data, other.data, dataLength()) == 0 && frame == other.frame &&
         state == other.state;
}

bool CANTraceMessageBase::equal(const CANTraceMessageBase& other,
                                const CANTraceMessageBase* mask) const {
  if (mask == nullptr || mask->length != length) return equal(other);
  // Only other is masked; this record's fields are taken as they stand.
  if (channel != (mask->channel & other.channel) || id != (mask->id & other.id) ||
      other.length != length || frame != other.frame || state != other.state) {
    return false;
  }
  for (unsigned int i = 0, n = dataLength(); i < n; ++i) {
    if (data[i] != (other.data[i] & mask->data[i])) return false;
  }
  return true;
}

void CANTraceMessageBase::setData(const uint8_t* bytes, unsigned int count) {
  if (count > sizeof data) count = sizeof data;
  if (count != 0) std::memcpy(data, bytes, count);
  length = static_cast<uint8_t>(count);
}
