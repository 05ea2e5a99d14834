#include "vxtrace/TraceFileMetaInfoMessage.h"

#include "util/EnumName.h"
#include "util/Record.h"
#include "util/Reject.h"
#include "vxtrace/PlatformUtil.h"

using namespace vxtrace::detail;

using Meta = TraceFileMetaInfoMessage;

namespace {

const char* const kTypeNames[] = {"TIME SPAN", "TIME ZONE", "MAINBOARD", "CFG_BCKP",
                                  "CASCADING", "CHANNEL",   "EVENT",     "DATA_MIX_MODE"};
const char* const kCascadingNames[] = {"NONE", "MASTER", "SLAVE", "MERGED"};

std::string readText(ByteReader& in) {
  const std::size_t n = in.u8();
  const std::size_t present = in.has(n) ? n : in.remaining();
  const uint8_t* p = in.bytes(present);
  return std::string(reinterpret_cast<const char*>(p), present);
}

void writeText(ByteWriter& w, const std::string& text) {
  w.u8(static_cast<uint8_t>(text.size()));
  w.bytes(text.data(), text.size());
}

bool isMost(busid_t bus) {
  return bus == BUSID_MOST25 || bus == BUSID_MOST150 || bus == BUSID_MOST50;
}

}  // namespace

std::ostream& operator<<(std::ostream& os, Meta::metatype_t t) {
  return printEnumName(os, t, kTypeNames);
}

std::ostream& operator<<(std::ostream& os, Meta::cascading_t c) {
  return printEnumName(os, c, kCascadingNames);
}

std::ostream& operator<<(std::ostream& os, Meta::DataMixMode m) {
  if (m == Meta::ALL_DATA) return os << "ALL_DATA";
  if (m == Meta::FILTERED_DATA) return os << "FILTERED_DATA";
  return os << "UNDEF (" << unsigned(m) << ")";
}

Meta::TraceFileMetaInfoMessage(unsigned long long ts, metatype_t type)
    : MessageBase(MSGID_METAINFO, ts),
      metatype(type),
      startTime(0),
      endTime(0),
      mainboard(0),
      cascading(NONE),
      offset(0),
      busId(BUSID_UNKNOWN),
      channel(0),
      value(0),
      flags(0),
      eventKind(0),
      eventTime(0),
      eventNumber(0),
      dataMixMode(ALL_DATA) {}

Meta::TraceFileMetaInfoMessage(const unsigned char* data, unsigned int length)
    : TraceFileMetaInfoMessage(0, META_TIME_SPAN) {
  ByteReader in(data, length);
  readFrameHeader(in, *this);
  metatype = static_cast<metatype_t>(in.u8());
  switch (metatype) {
    case META_TIME_SPAN:
      startTime = in.be64();
      endTime = in.be64();
      break;
    case META_TIME_ZONE:
    case META_CFG_BCKP:
      text = readText(in);
      break;
    case META_MAINBOARD:
      mainboard = in.be32();
      break;
    case META_CASCADING:
      cascading = static_cast<cascading_t>(in.u8());
      offset = in.be64();
      break;
    case META_CHANNEL:
      busId = static_cast<busid_t>(in.u8());
      channel = in.u8();
      value = in.u8();
      flags = in.u8();
      text = readText(in);
      break;
    case META_EVENT:
      eventKind = in.u8();
      eventTime = in.be64();
      eventNumber = in.be32();
      text = readText(in);
      break;
    case META_DATA_MIX_MODE:
      dataMixMode = static_cast<DataMixMode>(in.u8());
      break;
    default: {
      throwBadEnum("metatype_t", metatype);
    }
  }
}

VXTRACE_RECORD_MEMBERS(TraceFileMetaInfoMessage)

unsigned int Meta::writeToByteArray(unsigned char*& out, unsigned int room, bool withSync) const {
  const unsigned int written = writeRecord(*this, out, room, withSync, [&](ByteWriter& w) {
    w.u8(metatype);
    switch (metatype) {
      case META_TIME_SPAN:
        w.be64(startTime);
        w.be64(endTime);
        break;
      case META_TIME_ZONE:
      case META_CFG_BCKP:
        writeText(w, text);
        break;
      case META_MAINBOARD:
        w.be32(mainboard);
        break;
      case META_CASCADING:
        w.u8(cascading);
        w.be64(offset);
        break;
      case META_CHANNEL:
        w.u8(busId);
        w.u8(channel);
        w.u8(value);
        w.u8(flags);
        writeText(w, text);
        break;
      case META_EVENT:
        w.u8(eventKind);
        w.be64(eventTime);
        w.be32(eventNumber);
        writeText(w, text);
        break;
      case META_DATA_MIX_MODE:
        w.u8(dataMixMode);
        break;
      default:
        break;  // an unknown type is written as its type byte alone
    }
  });
  return written == 0 ? 0 : getSize();
}

unsigned int Meta::getSize() const {
  const unsigned int n = static_cast<unsigned int>(text.size());
  switch (metatype) {
    case META_TIME_SPAN:
      return 29;
    case META_TIME_ZONE:
    case META_CFG_BCKP:
      return 14 + n;
    case META_MAINBOARD:
      return 17;
    case META_CASCADING:
      return 22;
    case META_CHANNEL:
      return 18 + n;
    case META_EVENT:
      return 27 + n;
    case META_DATA_MIX_MODE:
      return 14;
    default:
      return 13;
  }
}

bool Meta::operator==(const MessageBase& other) const {
  auto* o = sameClass(*this, other);
  if (o == nullptr || o->metatype != metatype) return false;
  switch (metatype) {
    case META_TIME_SPAN:
      return o->startTime == startTime && o->endTime == endTime;
    case META_TIME_ZONE:
    case META_CFG_BCKP:
      return o->text == text;
    case META_MAINBOARD:
      return o->mainboard == mainboard;
    case META_CASCADING:
      return o->cascading == cascading && o->offset == offset;
    case META_CHANNEL:
      return o->busId == busId && o->channel == channel && o->value == value && o->flags == flags &&
             o->text == text;
    case META_EVENT:
      return o->eventKind == eventKind && o->eventTime == eventTime &&
             o->eventNumber == eventNumber && o->text == text;
    case META_DATA_MIX_MODE:
      return o->dataMixMode == dataMixMode;
    default:
      return true;
  }
}

void Meta::print(std::ostream& os) const {
  RecordLine line(os, *this);
  os << "  META INFO   | [" << metatype << "] ";
  switch (metatype) {
    case META_TIME_SPAN:
      os << "start time = ";
      MessageBase::printTimeStamp(os, startTime, true, 6);
      os << ", end time = ";
      MessageBase::printTimeStamp(os, endTime, true, 6);
      break;
    case META_TIME_ZONE:
    case META_CFG_BCKP:
      os << text;
      break;
    case META_MAINBOARD:
      os << mainboard;
      break;
    case META_CASCADING:
      os << "type = " << cascading << ", offset = " << offset;
      break;
    case META_CHANNEL:
      os << busId << " #" << channel + 1;
      if (isMost(busId)) os << " value " << unsigned(value);
      os << " (" << text << ") : flags = " << unsigned(flags);
      break;
    case META_EVENT:
      os << "kind = " << unsigned(eventKind);
      if (eventKind == 3) os << " #" << eventNumber;
      os << ", time = ";
      MessageBase::printTimeStamp(os, eventTime, true, 6);
      os << ", " << text;
      break;
    case META_DATA_MIX_MODE:
      os << "data mix mode: " << dataMixMode;
      break;
    default:
      break;
  }
}
