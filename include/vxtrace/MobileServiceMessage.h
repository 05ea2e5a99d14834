#pragma once
#include <cstdint>
#include <ostream>
#include <string>

#include "vxtrace/MessageBase.h"

// A message the logger sends, or is asked to send, through a mobile service
// ("MSGID_MOBILE_SERVICE"). Texts go out as one length byte (modulo 256) and their bytes.
class VXTRACE_API MobileServiceMessage : public MessageBase {
 public:
  enum service_t : uint8_t { S_SMS = 0, S_EMAIL = 1 };

  std::string receiver;
  std::string message;
  service_t serviceType;

  // ts: microseconds since the epoch, UTC.
  MobileServiceMessage(unsigned long long ts, const std::string& receiver,
                       const std::string& message, service_t serviceType);
  // data starts at the size field. A frame whose texts or service byte run past its end is
  // rejected ("MobileServiceMessage message too short").
  MobileServiceMessage(const unsigned char* data, unsigned int length);

  // The caller owns the result.
  static MessageBase* readFromByteArray(const unsigned char* data, unsigned int length);

  MessageBase* clone() const override;
  // Returns getSize() when written, 0 (nothing written, out unchanged) when room is short.
  unsigned int writeToByteArray(unsigned char*& out, unsigned int room,
                                bool withSync) const override;
  // 15 + receiver length + message length.
  unsigned int getSize() const override;
  // Same class, receiver, message and service type; time stamps are not compared.
  bool operator==(const MessageBase& other) const override;
  void print(std::ostream& os) const override;
  std::string toString() const override;
};

VXTRACE_API std::ostream& operator<<(std::ostream& os, const MobileServiceMessage& msg);
// The service's name, or "<unknown:N>".
VXTRACE_API std::ostream& operator<<(std::ostream& os, MobileServiceMessage::service_t s);
