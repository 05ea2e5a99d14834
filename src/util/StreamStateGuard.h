#pragma once
// Restores a stream's flags, fill, width and precision when the printer is done with it.
#include <ios>

namespace vxtrace::detail {

class StreamStateGuard {
 public:
  explicit StreamStateGuard(std::ios& s)
      : s_(s), flags_(s.flags()), fill_(s.fill()), width_(s.width()), precision_(s.precision()) {}
  ~StreamStateGuard() {
    s_.flags(flags_);
    s_.fill(fill_);
    s_.width(width_);
    s_.precision(precision_);
  }
  StreamStateGuard(const StreamStateGuard&) = delete;
  StreamStateGuard& operator=(const StreamStateGuard&) = delete;

 private:
  std::ios& s_;
  std::ios::fmtflags flags_;
  char fill_;
  std::streamsize width_;
  std::streamsize precision_;
};

}  // namespace vxtrace::detail
