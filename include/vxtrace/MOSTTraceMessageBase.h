#pragma once
#include <cstdint>
#include <ostream>
#include <string>

#include "vxtrace/MessageBase.h"

// Common part of every MOST record (identifier MSGID_MOST): a type byte that selects the
// concrete class and a flag byte. Time stamps are in microseconds.
class VXTRACE_API MOSTTraceMessageBase : public MessageBase {
 public:
  enum mostmsgType_t : uint8_t {
    MOST_TYPE_CONTROL = 0,
    MOST_TYPE_REMOTE_READ = 1,
    MOST_TYPE_REMOTE_WRITE = 2,
    MOST_TYPE_ALLOC = 3,
    MOST_TYPE_DEALLOC = 4,
    MOST_TYPE_REMOTE_GET_SOURCE = 5,
    MOST_TYPE_ASYNCH = 128,
    MOST_TYPE_STATUS = 240,
    MOST_TYPE_ALLOCATION_MAP = 241,
    MOST_TYPE_SYNCH = 242
  };

  // Flag bits; light and lock mean something for status records only.
  static const uint8_t FLAG_LIGHT = 0x01;
  static const uint8_t FLAG_LOCK = 0x02;
  static const uint8_t FLAG_INVALID_ARBITRATION = 0x10;
  static const uint8_t FLAG_WRONG_PARITY = 0x20;
  static const uint8_t FLAG_CRC_ERROR = 0x40;

  mostmsgType_t type;
  uint8_t flags;

  MOSTTraceMessageBase(unsigned long long timeStamp, mostmsgType_t type, uint8_t flags);
  ~MOSTTraceMessageBase() override;

  // The creator of MSGID_MOST: a new record of the class the type byte selects (caller owns
  // it), an InvalidMessage for an unknown type or a short frame (null instead when
  // invalidHandling is not 1), or null for a frame shorter than 16 bytes. Never throws for
  // malformed input; its diagnostics go to the standard error stream.
  static MessageBase* readFromByteArray(const unsigned char* data, unsigned int length);

  MessageBase* clone() const override;
  // Header, type and flags only (14).
  unsigned int writeToByteArray(unsigned char*& out, unsigned int room,
                                bool withSync) const override;
  unsigned int getSize() const override;
  bool operator==(const MessageBase& other) const override;
  // Prefix, label of the type and the error markers.
  void print(std::ostream& os) const override;
  std::string toString() const override;
  // The record carries no channel number: always "MOST25 #0".
  std::string getSourceChannel() const override;
  // Low word 0x300 (bus MOST25, channel 0), high word sourceWord.
  uint64_t getSourceChannelID() const override;

  // Name of the class a type value selects, as decoding diagnostics print it; null when the
  // type selects none (242 names its class through the sub-type).
  static const char* typeClassName(uint8_t type);

 protected:
  // The first part of every MOST line: prefix, label and error markers.
  void printLead(std::ostream& os) const;
};

VXTRACE_API std::ostream& operator<<(std::ostream& os, const MOSTTraceMessageBase& msg);
