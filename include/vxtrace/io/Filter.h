#pragma once
// Record filters as users type them, shared by every consumer (the tool, the Python package):
// record kind, CAN identifier, channel label and time range. Values of one field are
// alternatives; the fields together must all hold.
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "vxtrace/Export.h"
#include "vxtrace/MessageBase.h"

namespace vxtrace {

// A record kind by name ("MSGID_CAN", "CAN", "can") or number ("11", "0x0B"). Returns "" and
// sets id, or the reason the text names no kind.
VXTRACE_API std::string parseKind(const std::string& text, uint16_t& id);
// The identifier's name ("MSGID_CAN"), or "0x%04X" for one without a name.
VXTRACE_API std::string kindName(uint16_t id);

// A time as users type it: "YYYY-MM-DD HH:MM:SS[.ffffff]" ('T' may separate date and time),
// read as UTC or as local time, or whole microseconds since the epoch. Returns "" and sets us
// (microseconds since the epoch), or the reason the text is no time.
VXTRACE_API std::string parseTime(const std::string& text, bool localTime, uint64_t& us);

class VXTRACE_API Filter {
 public:
  enum class Field { Kind, CanId, Channel };

  // Each add returns "" when the value was taken, otherwise the reason it was not (one line,
  // naming the value, for the user); the filter is then unchanged.

  // A record kind as parseKind reads it. An InvalidMessage matches by the identifier of its
  // frame.
  std::string addKind(const std::string& text);
  // A CAN identifier, hexadecimal with "0x" or else decimal ("0x123", "291"), alone or as
  // ID/MASK, each up to 0x1FFFFFFF: a record matches when (its identifier & MASK) == (ID & MASK);
  // without a mask every bit counts. An ID or MASK wider than 11 bits matches extended (29-bit)
  // identifiers only, any other value standard and extended ones. Applies to every record that
  // carries a CAN frame (toCanFrame: CAN, CAN FD, extended CAN, proxy); error frames and records
  // without a frame never match.
  std::string addCanId(const std::string& text);
  // A channel label as dump prints it ("CAN #1", counted from 1) or as users type it: case,
  // blanks and '#' do not matter ("CAN1", "can 1", "CAN 1", "can#1" are "CAN #1"; "logger
  // intern" is "LOGGER INTERN"). The one exception is a lower-case "can" followed directly by
  // digits: that is the interface name of the candump export, counted from 0, so "can0" is
  // "CAN #1" and "can1" is "CAN #2" (write "CAN1" or "can 1" for the label). A name that ends in
  // digits needs the blank or '#' before the number ("MOST25 1").
  std::string addChannel(const std::string& text);
  // Records whose time stamp t (microseconds since the epoch) lies in [from, to); either end
  // may be open. Returns the reason when from is later than to.
  std::string setTimeRange(std::optional<uint64_t> from, std::optional<uint64_t> to);

  // Marks as matched the values a copy of this filter (same values, same order) has matched:
  // a trace read in parts, each with its own copy.
  void merge(const Filter& part);

  // Whether the record passes. Each field is matched on its own, so a value is marked as
  // matched when a record matches it even if another field rejects that record.
  bool matches(const MessageBase& record);
  // Whether any value or time bound is set.
  bool empty() const;

  struct Value {
    Field field;
    std::string text;  // as given to add
  };
  // The values no record has matched yet: kinds, CAN identifiers, channels, each in the order
  // they were added.
  std::vector<Value> unmatched() const;

 private:
  struct KindValue {
    uint16_t id;
    std::string text;
    bool seen;
  };
  struct CanIdValue {
    uint32_t id, mask;
    bool extendedOnly;
    std::string text;
    bool seen;
  };
  struct ChannelValue {
    std::string key;
    std::string text;
    bool seen;
  };
  std::vector<KindValue> kinds_;
  std::vector<CanIdValue> canIds_;
  std::vector<ChannelValue> channels_;
  std::optional<uint64_t> from_, to_;
};

}  // namespace vxtrace
