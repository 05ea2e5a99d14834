#pragma once
#include <cstdint>
#include <ostream>
#include <string>

#include "vxtrace/MessageBase.h"

// One event of the ECL input line ("MSGID_ECL"). Body: type, then for types 0..5 value
// (big-endian 16-bit); for 6 and above a zero byte, value and value32 (big-endian 32-bit).
class VXTRACE_API ECLMessage : public MessageBase {
 public:
  enum eclMsg_t : uint32_t {
    ECL_WAKEUP = 0,
    ECL_START = 1,
    ECL_ERROR = 2,
    ECL_STOP = 3,
    ECL_TRIGGER = 4,
    ECL_RESULT = 5,
    ECL_EWU = 6,
    ECL_STWU = 7,
    ECL_STP = 8,  // coded pulse: parameter number in value (5 bits)
    ECL_STR = 9,  // coded pulse: node word in value (bits 6..2 node, 1 "E", 0 "O")
    ECL_UNDEF_PULSE = 10
  };

  eclMsg_t type;
  uint16_t value;
  uint32_t value32;  // types 6 and above only

  // timeStamp in microseconds.
  ECLMessage(unsigned long long timeStamp, eclMsg_t type, uint16_t value, uint32_t value32 = 0);
  // data starts at the size field. Throws InvalidMessageException: invalidLength below 15 bytes
  // ("ECLMessage too short"), invalidEnumValue for a type byte of 11 or more ("eclMsg_t").
  // Value bytes beyond length read as 0. ECL_STP keeps 5 bits of value, ECL_STR 7.
  ECLMessage(const unsigned char* data, unsigned int length);

  // The caller owns the result.
  static MessageBase* readFromByteArray(const unsigned char* data, unsigned int length);

  MessageBase* clone() const override;
  unsigned int writeToByteArray(unsigned char*& out, unsigned int room,
                                bool withSync) const override;
  // 15 for types 0..5, 20 otherwise.
  unsigned int getSize() const override;
  // Same class, type, value and value32; time stamps are not compared.
  bool operator==(const MessageBase& other) const override;
  void print(std::ostream& os) const override;
  std::string toString() const override;
  // "ECL".
  std::string getSourceChannel() const override;
  // Low word 0xE00 (bus ECL, channel 0), high word sourceWord.
  uint64_t getSourceChannelID() const override;
};

// "ECL_WAKEUP".."ECL_UNDEF_PULSE"; values from 11 through printUnknownEnum.
VXTRACE_API std::ostream& operator<<(std::ostream& os, ECLMessage::eclMsg_t type);
VXTRACE_API std::ostream& operator<<(std::ostream& os, const ECLMessage& msg);
