#pragma once
// The records a reading verb takes, as its filter options give them (vxtrace::Filter), and
// --count on top.
#include <cstdint>
#include <optional>
#include <string>

#include "Cli.h"
#include "vxtrace/MessageBase.h"
#include "vxtrace/io/Filter.h"

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
  bool counted() const { return count_.has_value(); }
  // Takes over which values a copy of this selection, used on a part of the input, matched.
  void merge(const Selection& part) { filter_.merge(part.filter_); }
  // Names on standard error each value that matched no record of a wholly read input.
  void warnUnmatched(const std::string& inputName) const;

 private:
  vxtrace::Filter filter_;
  std::optional<uint64_t> count_;
  uint64_t taken_ = 0;
};

// The text as a terminal may show it: control characters as \xNN, the rest as it is.
std::string escapeControls(const std::string& text);

}  // namespace vxtrace::cli
