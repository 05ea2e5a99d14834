// The logger's time list and its reports of lost send and receive messages.
#include "util/Record.h"
#include "util/Reject.h"
#include "vxtrace/LostExtMessage.h"
#include "vxtrace/LostMessage.h"
#include "vxtrace/PlatformUtil.h"
#include "vxtrace/TimeMessage.h"

using namespace vxtrace::detail;

// ---- TimeMessage ---------------------------------------------------------------------------

TimeMessage::TimeMessage(unsigned long long ts, const std::vector<uint64_t>& t)
    : MessageBase(MSGID_TIME, ts), times(t) {}

TimeMessage::TimeMessage(const unsigned char* data, unsigned int length)
    : MessageBase(MSGID_TIME, 0) {
  // The count rule takes the frame as header plus 8-byte times minus 4; below 10 bytes it
  // would wrap to billions.
  requireLength(length, 10, "TimeMessage too short");
  ByteReader in(data, length);
  readFrameHeader(in, *this);
  const unsigned int n = (length - 10) / 8;  // at most length / 8: no count from the data
  times.reserve(n);
  for (unsigned int i = 0; i < n; ++i) times.push_back(in.be64());
}

MessageBase* TimeMessage::readFromByteArray(const unsigned char* data, unsigned int length) {
  if (length >= 10 && length < 18) return nullptr;
  return new TimeMessage(data, length);
}

VXTRACE_RECORD_CLONE(TimeMessage)
VXTRACE_RECORD_TEXT(TimeMessage)

unsigned int TimeMessage::writeToByteArray(unsigned char*& out, unsigned int room,
                                           bool withSync) const {
  return writeRecord(*this, out, room, withSync,
                     [&](ByteWriter& w) {
                       for (uint64_t t : times) w.be64(t);
                     }) == 0
             ? 0
             : getSize();
}

unsigned int TimeMessage::getSize() const {
  return 12 + 8 * static_cast<unsigned int>(times.size());
}

bool TimeMessage::operator==(const MessageBase& other) const {
  auto* o = sameClass(*this, other);
  return o != nullptr && o->times == times;
}

void TimeMessage::print(std::ostream& os) const {
  RecordLine line(os, *this);
  os << "  TIME MSG    | Time = ";
  for (uint64_t t : times) {
    // Always lower case: the text says so.
    os << "0x" << std::hex << std::nouppercase << std::setfill('0') << std::setw(8) << t << std::dec
       << std::setfill(' ') << " (" << t << ") = ";
    MessageBase::printTimeStamp(os, t, true, 6);
    os << " / ";
  }
}

// ---- LostMessage ---------------------------------------------------------------------------

LostMessage::LostMessage(unsigned long long ts, failedMsg_t f, failedMsgSub_t sub, uint64_t start,
                         uint64_t stop, uint32_t n)
    : MessageBase(MSGID_LOST, ts),
      failedMsg(f),
      failedMsgSub(sub),
      startTime(start),
      stopTime(stop),
      numFailed(n) {}

LostMessage::LostMessage(const unsigned char* data, unsigned int length)
    : MessageBase(MSGID_LOST, 0) {
  ByteReader in(data, length);
  readFrameHeader(in, *this);
  failedMsg = static_cast<failedMsg_t>(in.u8());
  failedMsgSub = static_cast<failedMsgSub_t>(in.u8());
  in.skip(2);
  startTime = in.be64();
  stopTime = in.be64();
  numFailed = in.be32();
}

VXTRACE_RECORD_MEMBERS(LostMessage)

unsigned int LostMessage::writeToByteArray(unsigned char*& out, unsigned int room,
                                           bool withSync) const {
  return writeRecord(*this, out, room, withSync,
                     [&](ByteWriter& w) {
                       w.u8(failedMsg);
                       w.u8(failedMsgSub);
                       w.zeros(2);
                       w.be64(startTime);
                       w.be64(stopTime);
                       w.be32(numFailed);
                     }) == 0
             ? 0
             : getSize();
}

unsigned int LostMessage::getSize() const { return 36; }

bool LostMessage::operator==(const MessageBase&) const { return false; }

void LostMessage::print(std::ostream& os) const {
  RecordLine line(os, *this);
  os << "  LOST SEND   | [" << failedMsg << "] [" << failedMsgSub << "] Start time: ";
  MessageBase::printTimeStamp(os, startTime, true, 4);
  os << " Stop time: ";
  MessageBase::printTimeStamp(os, stopTime, true, 4);
  os << " Number of failed Send-Msg: " << numFailed;
}

std::ostream& operator<<(std::ostream& os, LostMessage::failedMsg_t v) {
  switch (v) {
    case LostMessage::FAILED_MOST150:
      return os << "MOST150";
    case LostMessage::FAILED_MOST50:
      return os << "MOST50";
    case LostMessage::FAILED_MOST25:
      return os << "MOST25";
    case LostMessage::FAILED_FLEX:
      return os << "FLEX";
  }
  printUnknownEnum(os, v);
  return os;
}

std::ostream& operator<<(std::ostream& os, LostMessage::failedMsgSub_t v) {
  switch (v) {
    case LostMessage::FAILED_SUB_CTRL:
      return os << "CTRL";
    case LostMessage::FAILED_SUB_NET:
      return os << "NET";
    case LostMessage::FAILED_SUB_MDP:
      return os << "MDP";
    case LostMessage::FAILED_SUB_MEP:
      return os << "MEP";
    case LostMessage::FAILED_SUB_FLEX:
      return os << "FLEX";
  }
  printUnknownEnum(os, v);
  return os;
}

// ---- LostExtMessage ------------------------------------------------------------------------

LostExtMessage::LostExtMessage(unsigned long long ts, busid_t b, uint8_t ch, uint64_t start,
                               uint64_t stop, uint32_t n)
    : MessageBase(MSGID_LOST_EXT, ts),
      bus(b),
      channel(ch),
      startTime(start),
      stopTime(stop),
      numLost(n) {}

LostExtMessage::LostExtMessage(const unsigned char* data, unsigned int length)
    : MessageBase(MSGID_LOST_EXT, 0) {
  ByteReader in(data, length);
  readFrameHeader(in, *this);
  bus = static_cast<busid_t>(in.u8());
  channel = in.u8();
  startTime = in.be64();
  stopTime = in.be64();
  numLost = in.be32();
}

VXTRACE_RECORD_MEMBERS(LostExtMessage)

unsigned int LostExtMessage::writeToByteArray(unsigned char*& out, unsigned int room,
                                              bool withSync) const {
  return writeRecord(*this, out, room, withSync,
                     [&](ByteWriter& w) {
                       w.u8(bus);
                       w.u8(channel);
                       w.be64(startTime);
                       w.be64(stopTime);
                       w.be32(numLost);
                     }) == 0
             ? 0
             : getSize();
}

unsigned int LostExtMessage::getSize() const { return 34; }

bool LostExtMessage::operator==(const MessageBase& other) const {
  auto* o = sameClass(*this, other);
  return o != nullptr && o->bus == bus && o->channel == channel && o->startTime == startTime &&
         o->stopTime == stopTime && o->numLost == numLost;
}

void LostExtMessage::print(std::ostream& os) const {
  RecordLine line(os, *this);
  os << "  LOST MSGS   | [" << bus << "] [" << channel + 1 << "] Start time: ";
  MessageBase::printTimeStamp(os, startTime, true, 6);
  os << " Stop time: ";
  MessageBase::printTimeStamp(os, stopTime, true, 6);
  os << " Lost messages: " << numLost;
}
