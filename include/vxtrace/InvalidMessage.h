#pragma once
#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "vxtrace/MessageBase.h"

// Stands for a frame that could not be decoded; the vector part holds the frame's body.
class VXTRACE_API InvalidMessage : public MessageBase, public std::vector<uint8_t> {
 public:
  static const char* const INVALID_TXT;  // "Invalid Message"
  // Frames longer than this are cut and flagged as overflow.
  static const unsigned int MAX_FRAME_LENGTH = 0x1000E;

  uint16_t id;           // identifier found in bytes 2..3 of the frame
  uint16_t enumValue;    // offending value when cause is invalidEnumValue
  std::string enumName;  // its enumeration type's name
  std::string text;
  int cause;      // an invalidMessageCause_t value
  bool overflow;  // the frame was longer than MAX_FRAME_LENGTH and was cut

  InvalidMessage(const unsigned char* data, unsigned int length);

  static MessageBase* readFromByteArray(const unsigned char* data, unsigned int length);

  MessageBase* clone() const override;
  // Writes the header, then copies rawBytes (not the body) after it; see getSize().
  unsigned int writeToByteArray(unsigned char*& out, unsigned int room,
                                bool withSync) const override;
  // Body length + 14: two more than the usual rule, kept for compatibility with stored data.
  unsigned int getSize() const override;
  // Never equal, not even to itself.
  bool operator==(const MessageBase& other) const override;
  void print(std::ostream& os) const override;
  std::string toString() const override;
};

VXTRACE_API std::ostream& operator<<(std::ostream& os, const InvalidMessage& msg);
