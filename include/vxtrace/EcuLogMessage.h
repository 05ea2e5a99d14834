#pragma once
#include <cstdint>
#include <ostream>
#include <string>

#include "vxtrace/MessageBase.h"

// One line logged by the ECU-communication functions or the logger itself ("MSGID_ECU_LOG").
// Body: msgType, protocol, channel (one byte each), then the text without terminator.
class VXTRACE_API EcuLogMessage : public MessageBase {
 public:
  enum ecuLogMsg_t : uint32_t { INFO = 0, ERROR = 1, WARNING = 2, TX = 3, RX = 4 };
  enum protocolType_t : uint32_t { UNKNOWN = 0, CCP = 1, XCP = 2, UDS = 3, OBD = 4, KWP = 5 };

  std::string text;
  ecuLogMsg_t msgType;
  protocolType_t protocol;
  uint8_t channel;  // zero-based channel of the protocol connection

  // timeStamp in microseconds.
  EcuLogMessage(unsigned long long timeStamp, ecuLogMsg_t msgType, protocolType_t protocol,
                uint8_t channel, const std::string& text);
  // data starts at the size field. Throws InvalidMessageException: invalidLength below 17 bytes
  // ("EcuLogMessage too short"), invalidEnumValue for a type above 4 ("ecuLogMsg_t") or a
  // protocol of 6 or more ("protocolType_t"). The text ends at the frame or its first NUL.
  EcuLogMessage(const unsigned char* data, unsigned int length);

  // The caller owns the result.
  static MessageBase* readFromByteArray(const unsigned char* data, unsigned int length);

  MessageBase* clone() const override;
  unsigned int writeToByteArray(unsigned char*& out, unsigned int room,
                                bool withSync) const override;
  // 15 + text length.
  unsigned int getSize() const override;
  // Never true, not even against a copy.
  bool operator==(const MessageBase& other) const override;
  void print(std::ostream& os) const override;
  std::string toString() const override;
  // "CCP_XCP #" and the zero-based channel for CCP and XCP, else "LOGGER_INTERN".
  std::string getSourceChannel() const override;
  // CCP and XCP: low word 0xB00 | channel, high word sourceWord; else all ones.
  uint64_t getSourceChannelID() const override;
  // CCP and XCP only: adds the low 8 bits of offset to the channel, modulo 256.
  void cascadeChannel(unsigned short offset) override;
};

// "INFO", "ERROR", "WARNING", "TX", "RX"; others through printUnknownEnum.
VXTRACE_API std::ostream& operator<<(std::ostream& os, EcuLogMessage::ecuLogMsg_t type);
// "UNKNOWN", "CCP", "XCP", "UDS", "OBD", "KWP"; others through printUnknownEnum.
VXTRACE_API std::ostream& operator<<(std::ostream& os, EcuLogMessage::protocolType_t protocol);
VXTRACE_API std::ostream& operator<<(std::ostream& os, const EcuLogMessage& msg);
