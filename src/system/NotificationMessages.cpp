// Notifications of the logger and the bus-status notification read from them.
#include <algorithm>

#include "util/EnumName.h"
#include "util/Record.h"
#include "vxtrace/BusStatusNotificationMessage.h"
#include "vxtrace/NotificationMessage.h"
#include "vxtrace/PlatformUtil.h"

using namespace vxtrace::detail;

// ---- NotificationMessage -------------------------------------------------------------------

NotificationMessage::NotificationMessage(msgid_t id, unsigned long long ts)
    : MessageBase(id, ts), notificationType(0) {}

NotificationMessage::NotificationMessage(unsigned long long ts, uint8_t t, const std::string& txt,
                                         const std::vector<uint8_t>& p)
    : MessageBase(MSGID_NOTIFICATION, ts), notificationType(t), text(txt), payload(p) {}

NotificationMessage::NotificationMessage(const unsigned char* data, unsigned int length)
    : NotificationMessage(MSGID_NOTIFICATION, 0) {
  ByteReader in(data, length);
  readFrameHeader(in, *this);
  notificationType = in.u8();
  // Lengths from the data: only the bytes the frame holds are taken.
  std::size_t n = in.u8();
  n = std::min(n, in.remaining());
  const uint8_t* p = in.bytes(n);
  text.assign(reinterpret_cast<const char*>(p), n);
  n = in.u8();
  n = std::min(n, in.remaining());
  p = in.bytes(n);
  payload.assign(p, p + n);
}

MessageBase* NotificationMessage::readFromByteArray(const unsigned char* data,
                                                    unsigned int length) {
  if (length > 14 && data[14] == BusStatusNotificationMessage::NOTIFICATION_TYPE)
    return BusStatusNotificationMessage::readFromByteArray(data, length);
  return new NotificationMessage(data, length);
}

VXTRACE_RECORD_CLONE(NotificationMessage)
VXTRACE_RECORD_TEXT(NotificationMessage)

unsigned int NotificationMessage::writeToByteArray(unsigned char*& out, unsigned int room,
                                                   bool withSync) const {
  return writeRecord(*this, out, room, withSync,
                     [&](ByteWriter& w) {
                       w.u8(notificationType);
                       w.u8(static_cast<uint8_t>(text.size()));
                       w.bytes(text.data(), text.size());
                       w.u8(static_cast<uint8_t>(payload.size()));
                       w.bytes(payload.data(), payload.size());
                     }) == 0
             ? 0
             : getSize();
}

unsigned int NotificationMessage::getSize() const {
  return 15 + static_cast<unsigned int>(text.size() + payload.size());
}

bool NotificationMessage::operator==(const MessageBase& other) const {
  if (typeid(other) != typeid(*this)) return false;
  auto& o = static_cast<const NotificationMessage&>(other);
  return o.notificationType == notificationType && o.text == text && o.payload == payload;
}

void NotificationMessage::print(std::ostream& os) const {
  RecordLine line(os, *this);
  os << " NOTIFICATION_MESSAGE | [type=" << static_cast<unsigned int>(notificationType) << "] ";
  printPrintable(os, text);
  os << "; payload: " << std::hex << std::setfill('0');
  dumpData(os, payload.data(), payload.data() + payload.size());
}

// ---- BusStatusNotificationMessage ----------------------------------------------------------

BusStatusNotificationMessage::BusStatusNotificationMessage(busid_t bus, unsigned short channel,
                                                           notificationBusStatus_t state,
                                                           unsigned long long ts)
    : NotificationMessage(MSGID_NOTIFICATION, ts) {
  notificationType = NOTIFICATION_TYPE;
  payload = {bus, static_cast<uint8_t>(channel >> 8), static_cast<uint8_t>(channel), state};
}

BusStatusNotificationMessage::BusStatusNotificationMessage(const unsigned char* data,
                                                           unsigned int length)
    : NotificationMessage(MSGID_NOTIFICATION, 0) {
  ByteReader in(data, length);
  in.skip(6);
  timeStamp = in.be16();
  in.skip(6 + 3);  // rest of the header; type, text length, payload length of an empty text
  notificationType = NOTIFICATION_TYPE;
  const uint8_t bus = in.u8();
  const uint16_t channel = in.be16();
  payload = {bus, static_cast<uint8_t>(channel >> 8), static_cast<uint8_t>(channel), in.u8()};
}

VXTRACE_RECORD_MEMBERS(BusStatusNotificationMessage)

void BusStatusNotificationMessage::print(std::ostream& os) const {
  RecordLine line(os, *this);
  os << " NOTIFICATION_MESSAGE | [\"BusStatusNotificationMessage\"] ; Bus: " << getBus()
     << "; Channel: " << getChannel() << "; State: " << getState();
}

busid_t BusStatusNotificationMessage::getBus() const {
  return static_cast<busid_t>(payload.size() > 0 ? payload[0] : 0);
}

unsigned short BusStatusNotificationMessage::getChannel() const {
  return payload.size() > 2 ? static_cast<unsigned short>(loadBE16(payload.data() + 1)) : 0;
}

BusStatusNotificationMessage::notificationBusStatus_t BusStatusNotificationMessage::getState()
    const {
  return static_cast<notificationBusStatus_t>(payload.size() > 3 ? payload[3] : 0);
}

std::ostream& operator<<(std::ostream& os,
                         BusStatusNotificationMessage::notificationBusStatus_t s) {
  static const char* const names[] = {"OK",    "no traffic", "not connected",
                                      "error", "-",          "deactivated"};
  return vxtrace::detail::printEnumName(os, s, names);
}
