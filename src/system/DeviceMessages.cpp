// Small status records of the device: shutdown, temperature, push button, ping, mobile service.
#include <algorithm>

#include "util/Record.h"
#include "vxtrace/MobileServiceMessage.h"
#include "vxtrace/PingMessage.h"
#include "vxtrace/PlatformUtil.h"
#include "vxtrace/PushButtonMessage.h"
#include "vxtrace/ShutDownMessage.h"
#include "vxtrace/TemperatureMessage.h"

using namespace vxtrace::detail;

// ---- ShutDownMessage -----------------------------------------------------------------------

ShutDownMessage::ShutDownMessage(unsigned long long ts, sd_type t, bool p, bool x, bool u)
    : MessageBase(MSGID_SHUTDOWN, ts), type(t), partial(p), xrlLink(x), urgent(u) {}

ShutDownMessage::ShutDownMessage(const unsigned char* data, unsigned int length)
    : ShutDownMessage(0, SD_NOW, false, false, false) {
  ByteReader in(data, length);
  readFrameHeader(in, *this);
  if (length > 14) {
    type = static_cast<sd_type>(in.u8());
    const uint8_t flags = in.u8();
    partial = (flags & BIT_PARTIAL) != 0;
    xrlLink = (flags & BIT_XRL_LINK) != 0;
    urgent = (flags & BIT_URGENCY) != 0;
    return;
  }
  // Older recordings: the eight bytes at offset 6 are an urgency word, not a time stamp. A
  // frame cut inside them counts only the bytes it holds; the type byte a 14-byte frame would
  // take from beyond its end counts as 0.
  urgent = std::any_of(data + std::min(6u, length), data + length,
                       [](unsigned char b) { return b != 0; });
  timeStamp = 0;
}

VXTRACE_RECORD_MEMBERS(ShutDownMessage)

unsigned int ShutDownMessage::writeToByteArray(unsigned char*& out, unsigned int room,
                                               bool withSync) const {
  return writeRecord(*this, out, room, withSync,
                     [&](ByteWriter& w) {
                       w.u8(static_cast<uint8_t>(type));
                       w.u8(static_cast<uint8_t>((partial ? BIT_PARTIAL : 0) |
                                                 (xrlLink ? BIT_XRL_LINK : 0) |
                                                 (urgent ? BIT_URGENCY : 0)));
                     }) == 0
             ? 0
             : getSize();
}

unsigned int ShutDownMessage::getSize() const { return 14; }

bool ShutDownMessage::operator==(const MessageBase& other) const {
  auto* o = sameClass(*this, other);
  return o != nullptr && o->type == type && o->partial == partial && o->xrlLink == xrlLink &&
         o->urgent == urgent;
}

void ShutDownMessage::print(std::ostream& os) const {
  RecordLine line(os, *this);
  os << " SHUTDOWN | " << type;
  if (urgent) os << " | urgent";
  if (xrlLink) os << " | XRL link up";
}

std::ostream& operator<<(std::ostream& os, ShutDownMessage::sd_type type) {
  switch (type) {
    case ShutDownMessage::SD_NOW:
      return os << "SD_NOW";
    case ShutDownMessage::SD_REQUEST:
      return os << "SD_REQUEST";
    case ShutDownMessage::SD_CANCEL:
      return os << "SD_CANCEL";
  }
  return os;
}

// ---- TemperatureMessage --------------------------------------------------------------------

TemperatureMessage::TemperatureMessage(unsigned long long ts, int16_t t)
    : MessageBase(MSGID_TEMPERATURE, ts), temperature(t) {}

TemperatureMessage::TemperatureMessage(const unsigned char* data, unsigned int length)
    : MessageBase(MSGID_TEMPERATURE, 0) {
  ByteReader in(data, length);
  readFrameHeader(in, *this);
  temperature = static_cast<int16_t>(in.be16());
}

VXTRACE_RECORD_MEMBERS(TemperatureMessage)

unsigned int TemperatureMessage::writeToByteArray(unsigned char*& out, unsigned int room,
                                                  bool withSync) const {
  return writeRecord(*this, out, room, withSync,
                     [&](ByteWriter& w) { w.be16(static_cast<uint16_t>(temperature)); }) == 0
             ? 0
             : getSize();
}

unsigned int TemperatureMessage::getSize() const { return 14; }

bool TemperatureMessage::operator==(const MessageBase& other) const {
  auto* o = sameClass(*this, other);
  return o != nullptr && o->temperature == temperature;
}

void TemperatureMessage::print(std::ostream& os) const {
  RecordLine line(os, *this);
  os << "  TEMPERATURE | " << temperature
     << " \xC2\xB0"
        "C ";
}

// ---- PushButtonMessage ---------------------------------------------------------------------

PushButtonMessage::PushButtonMessage(unsigned long long ts, uint64_t t)
    : MessageBase(MSGID_PUSHBUTTON, ts), pressTime(t) {}

PushButtonMessage::PushButtonMessage(const unsigned char* data, unsigned int length)
    : MessageBase(MSGID_PUSHBUTTON, 0) {
  ByteReader in(data, length);
  readFrameHeader(in, *this);
  pressTime = in.has(8) ? in.be64() : 0;
}

MessageBase* PushButtonMessage::readFromByteArray(const unsigned char* data, unsigned int length) {
  if (length != 14 && length < 22) return nullptr;
  return new PushButtonMessage(data, length);
}

VXTRACE_RECORD_CLONE(PushButtonMessage)
VXTRACE_RECORD_TEXT(PushButtonMessage)

unsigned int PushButtonMessage::writeToByteArray(unsigned char*& out, unsigned int room,
                                                 bool withSync) const {
  return writeRecord(*this, out, room, withSync, [&](ByteWriter& w) { w.be64(pressTime); }) == 0
             ? 0
             : getSize();
}

unsigned int PushButtonMessage::getSize() const { return 20; }

bool PushButtonMessage::operator==(const MessageBase& other) const {
  auto* o = sameClass(*this, other);
  return o != nullptr && o->pressTime == pressTime;
}

void PushButtonMessage::print(std::ostream& os) const {
  RecordLine line(os, *this);
  os << "  PUSHBUTTON";
  if (pressTime == 0) return;
  os << "  | ";
  MessageBase::printTimeStamp(os, pressTime, true, 6);
}

// ---- PingMessage ---------------------------------------------------------------------------

PingMessage::PingMessage(unsigned long long ts, uint16_t v, const std::string& name)
    : MessageBase(MSGID_PING, ts), std::string(name), value(v) {}

PingMessage::PingMessage(const unsigned char* data, unsigned int length)
    : MessageBase(MSGID_PING, 0), value(0) {
  ByteReader in(data, length);
  readFrameHeader(in, *this);
  if (length < 16) return;
  value = in.be16();
  if (length == 16) return;
  // The name length is not checked against the frame by the sender: cut at its end.
  const std::size_t announced = in.u8();
  const std::size_t n = std::min(announced, in.remaining());
  assign(reinterpret_cast<const char*>(in.bytes(n)), n);
}

VXTRACE_RECORD_MEMBERS(PingMessage)

unsigned int PingMessage::writeToByteArray(unsigned char*& out, unsigned int room,
                                           bool withSync) const {
  const std::string& name = *this;
  return writeRecord(*this, out, room, withSync,
                     [&](ByteWriter& w) {
                       w.be16(value);
                       if (name.empty()) return;
                       w.u8(static_cast<uint8_t>(name.size()));
                       w.bytes(name.data(), name.size());
                     }) == 0
             ? 0
             : getSize();
}

unsigned int PingMessage::getSize() const {
  return empty() ? 14 : 15 + static_cast<unsigned int>(std::string::size());
}

bool PingMessage::operator==(const MessageBase&) const { return false; }

void PingMessage::print(std::ostream& os) const {
  RecordLine line(os, *this);
  os << "  PING        | value = " << value;
  switch (value) {
    case PING_STANDARD:
      os << " [PING_STANDARD]";
      break;
    case PING_NETWORK:
      os << " [PING_NETWORK]";
      break;
    case PING_DISABLE:
      os << " [PING_DISABLE]";
      break;
    case PING_NOTIFY:
      os << " [PING_NOTIFY]";
      break;
    default:
      break;
  }
  if (!empty()) os << ", name = " << static_cast<const std::string&>(*this);
}

// ---- MobileServiceMessage ------------------------------------------------------------------

MobileServiceMessage::MobileServiceMessage(unsigned long long ts, const std::string& r,
                                           const std::string& m, service_t s)
    : MessageBase(MSGID_MOBILE_SERVICE, ts), receiver(r), message(m), serviceType(s) {}

MobileServiceMessage::MobileServiceMessage(const unsigned char* data, unsigned int length)
    : MobileServiceMessage(0, std::string(), std::string(), S_SMS) {
  static const char* const kShort = "MobileServiceMessage message too short";
  ByteReader in(data, length);
  in.require(15, kShort);
  readFrameHeader(in, *this);
  for (std::string* text : {&receiver, &message}) {
    in.require(1, kShort);
    const uint8_t n = in.u8();
    in.require(n, kShort);
    text->assign(reinterpret_cast<const char*>(in.bytes(n)), n);
  }
  in.require(1, kShort);
  serviceType = static_cast<service_t>(in.u8());
}

VXTRACE_RECORD_MEMBERS(MobileServiceMessage)

unsigned int MobileServiceMessage::writeToByteArray(unsigned char*& out, unsigned int room,
                                                    bool withSync) const {
  return writeRecord(*this, out, room, withSync,
                     [&](ByteWriter& w) {
                       w.u8(static_cast<uint8_t>(receiver.size()));
                       w.bytes(receiver.data(), receiver.size());
                       w.u8(static_cast<uint8_t>(message.size()));
                       w.bytes(message.data(), message.size());
                       w.u8(serviceType);
                     }) == 0
             ? 0
             : getSize();
}

unsigned int MobileServiceMessage::getSize() const {
  return 15 + static_cast<unsigned int>(receiver.size() + message.size());
}

bool MobileServiceMessage::operator==(const MessageBase& other) const {
  auto* o = sameClass(*this, other);
  return o != nullptr && o->receiver == receiver && o->message == message &&
         o->serviceType == serviceType;
}

void MobileServiceMessage::print(std::ostream& os) const {
  RecordLine line(os, *this);
  os << "  MobileService | receiver: " << receiver << "; message: " << message
     << "; serviceType: " << serviceType;
}

std::ostream& operator<<(std::ostream& os, MobileServiceMessage::service_t s) {
  switch (s) {
    case MobileServiceMessage::S_SMS:
      return os << "S_SMS";
    case MobileServiceMessage::S_EMAIL:
      return os << "S_EMAIL";
  }
  printUnknownEnum(os, s);
  return os;
}
