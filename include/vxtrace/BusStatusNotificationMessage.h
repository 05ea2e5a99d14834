#pragma once
#include <cstdint>
#include <ostream>
#include <string>

#include "vxtrace/BusId.h"
#include "vxtrace/NotificationMessage.h"

// A bus channel changed its state: notification type 9, empty text, 4-byte payload (bus,
// channel 16-bit big-endian, state).
class VXTRACE_API BusStatusNotificationMessage : public NotificationMessage {
 public:
  enum notificationBusStatus_t : uint8_t {
    BS_OK = 0,
    BS_NO_TRAFFIC = 1,
    BS_NOT_CONNECTED = 2,
    BS_ERROR = 3,
    BS_NONE = 4,
    BS_DEACTIVATED = 5
  };
  static constexpr uint8_t NOTIFICATION_TYPE = 9;

  // timeStamp: microseconds since the epoch, UTC.
  BusStatusNotificationMessage(busid_t bus, unsigned short channel, notificationBusStatus_t state,
                               unsigned long long timeStamp);
  // data starts at the size field. Reads bus, channel and state at body offsets 3, 4 and 6
  // whatever the text length says. The time stamp is the 16-bit word at frame offset 6 alone
  // (the top of the stored stamp) and the header word stays 0: the logger's readers have always
  // read these records so.
  BusStatusNotificationMessage(const unsigned char* data, unsigned int length);

  // The caller owns the result.
  static MessageBase* readFromByteArray(const unsigned char* data, unsigned int length);

  MessageBase* clone() const override;
  void print(std::ostream& os) const override;
  std::string toString() const override;

  busid_t getBus() const;
  unsigned short getChannel() const;
  notificationBusStatus_t getState() const;
};

VXTRACE_API std::ostream& operator<<(std::ostream& os, const BusStatusNotificationMessage& msg);
// The state's text, or "<unknown:N>" beyond the table.
VXTRACE_API std::ostream& operator<<(std::ostream& os,
                                     BusStatusNotificationMessage::notificationBusStatus_t s);
