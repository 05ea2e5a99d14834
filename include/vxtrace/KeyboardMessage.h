#pragma once
#include <cstdint>
#include <ostream>
#include <string>
#include <type_traits>

#include "vxtrace/MessageBase.h"

// A front-panel key. One byte on the wire; 0 has no name but is accepted.
enum VXTRACE_API keyCode_t : uint32_t {
  KEY_F1 = 1,
  KEY_F2 = 2,
  KEY_F3 = 3,
  KEY_F4 = 4,
  KEY_F5 = 5,
  KEY_F6 = 6,
  KEY_F7 = 7,
  KEY_F8 = 8,
  KEY_F9 = 9,
  KEY_F10 = 10,
  KEY_UP = 11,
  KEY_DOWN = 12,
  KEY_ACCEPT = 13,
  KEY_CANCEL = 14,
  KEY_STATUS = 15,
  KEY_TRIGGER = 16,
  KEY_RECORD = 17,
  KEY_PLAY = 18,
  KEY_STOP = 19
};

// What happened to the key. One byte on the wire.
enum VXTRACE_API keyState_t : uint32_t {
  KEY_RELEASED = 0,
  KEY_PRESSED = 1,
  KEY_LONG_PRESSED = 2,
  KEY_TOGGLED = 3
};

// "F1".."STOP"; 0 and values from 20 through printUnknownEnum.
VXTRACE_API std::ostream& operator<<(std::ostream& os, keyCode_t code);
// "released", "pressed", "long pressed", "toggled"; others through printUnknownEnum.
VXTRACE_API std::ostream& operator<<(std::ostream& os, keyState_t state);

// One event of the front-panel keys ("MSGID_KEYBOARD"). Body: code, state (one byte each).
class VXTRACE_API KeyboardMessage : public MessageBase {
 public:
  keyCode_t code;
  keyState_t state;

  // timeStamp in microseconds.
  KeyboardMessage(unsigned long long timeStamp, keyCode_t code, keyState_t state);
  // data starts at the size field. Throws InvalidMessageException: invalidLength below 16 bytes
  // ("KeyboardMessage too short"), invalidEnumValue for a code above 19 ("keyCode_t") or a
  // state above 3 ("keyState_t"), value = the byte.
  KeyboardMessage(const unsigned char* data, unsigned int length);

  // The caller owns the result.
  static MessageBase* readFromByteArray(const unsigned char* data, unsigned int length);

  MessageBase* clone() const override;
  unsigned int writeToByteArray(unsigned char*& out, unsigned int room,
                                bool withSync) const override;
  // Always 14.
  unsigned int getSize() const override;
  // Same class, code and state; time stamps are not compared.
  bool operator==(const MessageBase& other) const override;
  void print(std::ostream& os) const override;
  std::string toString() const override;
};

VXTRACE_API std::ostream& operator<<(std::ostream& os, const KeyboardMessage& msg);
