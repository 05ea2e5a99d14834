#pragma once
#include <cstdint>
#include <ostream>
#include <string>

#include "vxtrace/BusId.h"
#include "vxtrace/MessageBase.h"

// One item of information about a trace file; the first body byte says which. Texts are one
// length byte (length mod 256) and the bytes. Only the members of the record's type are written.
//
// Printed forms of the items left open elsewhere:
//   CHANNEL: "<bus name> #<channel + 1>", for the MOST kinds followed by " value <value>", then
//            " (<name>) : flags = <flags>", e.g. "CAN #2 (Body) : flags = 0" or
//            "MOST150 #1 value 3 (Ring) : flags = 1".
//   EVENT:   "kind = <eventKind>", for kind 3 followed by " #<eventNumber>", then ", time = "
//            and eventTime as UTC date and time, then ", " and the text.
class VXTRACE_API TraceFileMetaInfoMessage : public MessageBase {
 public:
  enum metatype_t : uint8_t {
    META_TIME_SPAN = 0,
    META_TIME_ZONE = 1,
    META_MAINBOARD = 2,
    META_CFG_BCKP = 3,
    META_CASCADING = 4,
    META_CHANNEL = 5,
    META_EVENT = 6,
    META_DATA_MIX_MODE = 7
  };
  enum cascading_t : uint8_t { NONE = 0, MASTER = 1, SLAVE = 2, MERGED = 3 };
  enum DataMixMode : uint8_t { ALL_DATA = 0, FILTERED_DATA = 1 };

  metatype_t metatype;
  unsigned long long startTime;  // TIME SPAN; microseconds since the epoch, UTC
  unsigned long long endTime;    // TIME SPAN; microseconds since the epoch, UTC
  // TIME ZONE and CFG_BCKP: the item; CHANNEL: the channel's name; EVENT: the event's text.
  std::string text;
  uint32_t mainboard;            // MAINBOARD
  cascading_t cascading;         // CASCADING
  unsigned long long offset;     // CASCADING; microseconds
  busid_t busId;                 // CHANNEL
  uint8_t channel;               // CHANNEL: zero-based channel number
  uint8_t value;                 // CHANNEL: a further value for the MOST kinds
  uint8_t flags;                 // CHANNEL: channel flags
  uint8_t eventKind;             // EVENT
  unsigned long long eventTime;  // EVENT; microseconds since the epoch, UTC
  uint32_t eventNumber;          // EVENT: for kind 3 the marker number
  DataMixMode dataMixMode;       // DATA_MIX_MODE

  // ts: microseconds since the epoch, UTC. Every item member starts at 0 or empty.
  TraceFileMetaInfoMessage(unsigned long long ts, metatype_t type);
  // data starts at the size field. Missing bytes read as 0; a type of 8 or more throws
  // InvalidMessageException (invalidEnumValue, "metatype_t"), although such a type is written.
  TraceFileMetaInfoMessage(const unsigned char* data, unsigned int length);

  // The caller owns the result.
  static MessageBase* readFromByteArray(const unsigned char* data, unsigned int length);

  MessageBase* clone() const override;
  // Returns getSize() when written, 0 (out unchanged) when room is short.
  unsigned int writeToByteArray(unsigned char*& out, unsigned int room,
                                bool withSync) const override;
  unsigned int getSize() const override;
  // Same class, type and the type's members; the time stamp is not compared.
  bool operator==(const MessageBase& other) const override;
  void print(std::ostream& os) const override;
  std::string toString() const override;
};

VXTRACE_API std::ostream& operator<<(std::ostream& os, const TraceFileMetaInfoMessage& msg);
VXTRACE_API std::ostream& operator<<(std::ostream& os, TraceFileMetaInfoMessage::metatype_t t);
VXTRACE_API std::ostream& operator<<(std::ostream& os, TraceFileMetaInfoMessage::cascading_t c);
VXTRACE_API std::ostream& operator<<(std::ostream& os, TraceFileMetaInfoMessage::DataMixMode m);
