#pragma once
#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "vxtrace/MessageBase.h"

// A notification of the logger ("MSGID_NOTIFICATION"): a type, a text and a payload, each
// length at most 255 on the wire (one length byte, modulo 256).
class VXTRACE_API NotificationMessage : public MessageBase {
 public:
  uint8_t notificationType;
  std::string text;
  std::vector<uint8_t> payload;

  NotificationMessage(unsigned long long ts, uint8_t notificationType, const std::string& text,
                      const std::vector<uint8_t>& payload);
  // data starts at the size field; no reject path: text and payload are cut at the end of the
  // frame, missing bytes read as 0.
  NotificationMessage(const unsigned char* data, unsigned int length);

  // Type 9 yields a BusStatusNotificationMessage, every other type a NotificationMessage. The
  // caller owns the result.
  static MessageBase* readFromByteArray(const unsigned char* data, unsigned int length);

  MessageBase* clone() const override;
  // Returns getSize() when written, 0 (nothing written, out unchanged) when room is short.
  unsigned int writeToByteArray(unsigned char*& out, unsigned int room,
                                bool withSync) const override;
  // 15 + text length + payload length.
  unsigned int getSize() const override;
  // Same class, type, text and payload; time stamps are not compared.
  bool operator==(const MessageBase& other) const override;
  // " NOTIFICATION_MESSAGE | [type=<n>] <text, made printable>; payload: <hex bytes>".
  void print(std::ostream& os) const override;
  std::string toString() const override;

 protected:
  NotificationMessage(msgid_t id, unsigned long long ts);
};

VXTRACE_API std::ostream& operator<<(std::ostream& os, const NotificationMessage& msg);
