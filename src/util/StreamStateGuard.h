#pragma once
// Gives a printer a stream in a known state and hands the caller's state back afterwards.
#include <ios>

namespace vxtrace::detail {

// On entry: decimal, right-aligned, no showbase or showpos, width 0, fill blank, precision 6;
// the caller's upper-case flag stays, since most texts leave the digit case to the caller. On
// exit: the caller's flags, fill and precision, and width 0 as after any formatted insertion.
class StreamStateGuard {
 public:
  explicit StreamStateGuard(std::ios& s)
      : s_(s), flags_(s.flags()), fill_(s.fill()), precision_(s.precision()) {
    s.flags((flags_ & (std::ios::uppercase | std::ios::skipws | std::ios::unitbuf)) |
            std::ios::dec | std::ios::right);
    s.fill(' ');
    s.width(0);
    s.precision(6);
  }
  ~StreamStateGuard() {
    s_.flags(flags_);
    s_.fill(fill_);
    s_.width(0);
    s_.precision(precision_);
  }
  StreamStateGuard(const StreamStateGuard&) = delete;
  StreamStateGuard& operator=(const StreamStateGuard&) = delete;

 private:
  std::ios& s_;
  std::ios::fmtflags flags_;
  char fill_;
  std::streamsize precision_;
};

}  // namespace vxtrace::detail
