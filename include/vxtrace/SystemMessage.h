#pragma once
#include <cstdint>
#include <ostream>
#include <string>

#include "vxtrace/MessageBase.h"

// The logger's general report ("MSGID_SYSTEMMESSAGE"): a type byte and a text. The string part
// is the text; on the wire it follows the type byte unterminated and runs to the end of the frame.
class VXTRACE_API SystemMessage : public MessageBase, public std::string {
 public:
  enum systemMsg_t : uint8_t {
    SM_INFO = 0,
    SM_VERSION = 1,
    SM_USAGE = 2,
    SM_DEBUG = 3,
    SM_ACTION = 4,
    SM_COUNTER = 5,
    SM_SUCCESS = 6,
    SM_EVENT = 7,
    SM_TERMINAL = 8,
    SM_ETHERNET = 9,
    SM_ERROR_LOG = 10,
    SM_ERROR_SEND = 11,
    SM_ECU = 12,
    SM_FILE = 13,
    SM_SEPARATOR = 14,
    SM_NG_EVENT = 15,
    SM_LOGGER_STATUS = 16,
    SM_NETWORK = 17,
    SM_TRIGGER = 18,
    SM_REGISTER_RX = 19,
    SM_LOG_TX = 20,
    SM_LOG_RX = 21,
    SM_KEYBOARD = 22,
    SM_REGISTER_XRL = 23,
    SM_RCTEXT = 24,
    SM_RCMON = 25,
    SM_REGISTER_VXPBUS = 26,
    SM_UNREGISTER_VXPBUS = 27,
    SM_SET_STATE_VXPBUS = 28,
    SM_USAGE_EXT = 29,
    SM_LOGGER_START = 30,
    SM_LOGGER_TIMER = 31,
    SM_XRL_NETWORK = 32,
    SM_RCTEXT2 = 33,
    SM_TSA_OUT = 34,
    SM_CLOUD = 35,
    SM_RECOVERED_FILE = 36,
    SM_FPGA = 37,
    SM_NML = 40,
    SM_ROUTING_ERROR = 112,
    SM_WARNING = 128,
    SM_ERROR = 144
  };

  systemMsg_t type;

  // ts: microseconds since the epoch, UTC.
  SystemMessage(unsigned long long ts, systemMsg_t type, const std::string& text);

  // The decoder's creator: frames shorter than 15 bytes are rejected ("SystemMessage message too
  // short"). Type 2 yields a SystemUsageMessage (whose parse lets std::invalid_argument and
  // std::out_of_range through to the caller), type 112 a SystemRoutingErrorMessage, every other
  // type a SystemMessage. Except for type 2 the text is cut at its first NUL. The caller owns
  // the result.
  static MessageBase* readFromByteArray(const unsigned char* data, unsigned int length);

  MessageBase* clone() const override;
  // Returns getSize() when written, 0 (nothing written, out unchanged) when room is short.
  unsigned int writeToByteArray(unsigned char*& out, unsigned int room,
                                bool withSync) const override;
  // 13 + text length.
  unsigned int getSize() const override;
  // Any SystemMessage (subclasses too) with the same text; type and time stamp are not compared.
  bool operator==(const MessageBase& other) const override;
  // "  SYSTEM MSG  | [<type>] " and the text, made printable. Type 28 prints the text read as
  // "process:state" ("process: <p>; state: <s>"; without ':' the whole text is both). Type 16
  // prints the text read as "status;errors" ("[status=<s>] [errors=<e>]"; without ';' the whole
  // text is the status and the error count is empty). Type 112: see SystemRoutingErrorMessage.
  void print(std::ostream& os) const override;
  std::string toString() const override;

  // Cuts the text at its first NUL character, if any.
  void stripNullChar();
};

VXTRACE_API std::ostream& operator<<(std::ostream& os, const SystemMessage& msg);
// The type's name, or "<unknown:N>" for a value without one.
VXTRACE_API std::ostream& operator<<(std::ostream& os, SystemMessage::systemMsg_t type);
