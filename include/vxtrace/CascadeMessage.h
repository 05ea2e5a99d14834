#pragma once
#include <cstdint>
#include <ostream>
#include <string>

#include "vxtrace/MessageBase.h"

// The logger's role in a cascade of loggers and the time the cascade was synchronised
// ("MSGID_CASCADE"). Body: type (1 byte), spare (1 byte), syncTime (big-endian 64-bit).
class VXTRACE_API CascadeMessage : public MessageBase {
 public:
  // Cascading mode of a logger: "off", "master", "slave"; others through printUnknownEnum.
  enum cascade_t : uint32_t { CASCADE_OFF = 0, CASCADE_MASTER = 1, CASCADE_SLAVE = 2 };

  uint32_t type;                // 0 "MASTER only", 1 "Master", 2 "Slave"; one byte on the wire
  uint8_t spare;                // written, never decoded: a decoded record has 0 here
  unsigned long long syncTime;  // microseconds since the epoch, UTC

  // timeStamp and syncTime in microseconds.
  CascadeMessage(unsigned long long timeStamp, uint32_t type, unsigned long long syncTime,
                 uint8_t spare = 0);
  // data starts at the size field. From 24 bytes on type and syncTime are read; from 16, the
  // type alone (syncTime 0).
  CascadeMessage(const unsigned char* data, unsigned int length);

  // Null below 16 bytes (not an InvalidMessage); otherwise a new record the caller owns.
  static MessageBase* readFromByteArray(const unsigned char* data, unsigned int length);

  MessageBase* clone() const override;
  unsigned int writeToByteArray(unsigned char*& out, unsigned int room,
                                bool withSync) const override;
  // Always 22.
  unsigned int getSize() const override;
  // Same class and type; nothing else is compared.
  bool operator==(const MessageBase& other) const override;
  void print(std::ostream& os) const override;
  std::string toString() const override;
};

VXTRACE_API std::ostream& operator<<(std::ostream& os, CascadeMessage::cascade_t mode);
VXTRACE_API std::ostream& operator<<(std::ostream& os, const CascadeMessage& msg);
