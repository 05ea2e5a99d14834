#pragma once
// The records a reading verb takes, as its filter options give them; each value remembers whether
// it matched anything so that one that never did can be named.
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Cli.h"
#include "vxtrace/MessageBase.h"

namespace vxtrace::cli {

class Selection {
 public:
  // Throws Failure on a value that cannot be read.
  explicit Selection(const FilterFlags& flags);

  // Whether the record passes every filter; counts it against --count when it does.
  bool take(const MessageBase& record);
  // --count records have been taken.
  bool full() const { return count_ && taken_ >= *count_; }
  bool empty() const { return count_ && *count_ == 0; }
  // Names on standard error each value that matched no record of a wholly read input.
  void warnUnmatched(const std::string& inputName) const;

 private:
  struct Wanted {
    std::string typed;
    bool seen = false;
  };
  struct CanId {
    std::string typed;
    uint32_t value, mask;
    bool extendedOnly;  // a value or mask wider than 11 bits names 29-bit identifiers only
    bool seen = false;
  };
  std::map<uint16_t, Wanted> ids_;
  std::vector<CanId> canIds_;
  std::map<std::string, Wanted> channels_;  // by label key
  std::optional<uint64_t> from_, to_, count_;
  uint64_t taken_ = 0;
};

// A time for --from or --to: "YYYY-MM-DD HH:MM:SS[.ffffff]" ('T' may separate date and time)
// in UTC or, with local set, in the local time zone; or microseconds since the epoch.
std::optional<uint64_t> parseTime(const std::string& text, bool local);

// A record kind by name ("MSGID_CAN", "can") or number (11, 0x0B); throws Failure.
uint16_t kindOption(const std::string& text);
// A record kind's name, or its number in hex when it has none.
std::string kindName(uint16_t id);

// The text as a terminal may show it: control characters as \xNN, the rest as it is.
std::string escapeControls(const std::string& text);

}  // namespace vxtrace::cli
