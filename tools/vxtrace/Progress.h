#pragma once
// A one-line progress bar on standard error, shown only when standard error is a terminal and
// the run lasts longer than a second.
#include <chrono>
#include <cstdint>
#include <string>

namespace vxtrace::cli {

class Progress {
 public:
  // total: expected amount of work (bytes or records), 0 when unknown. unit: "B" for bytes
  // (shown in MB) or a word such as "records".
  Progress(bool enabled, uint64_t total, std::string unit);
  ~Progress();

  void update(uint64_t done);
  // Erases the bar so that other text can be written to the terminal; it reappears on the next
  // update.
  void hide();

  // Whether a bar may be drawn: standard error is a terminal and, when the command writes its
  // result to standard output, that is not the same terminal.
  static bool wanted(bool writesToStdout);

 private:
  bool enabled_;
  uint64_t total_;
  std::string unit_;
  bool shown_ = false;
  std::chrono::steady_clock::time_point start_;
  std::chrono::steady_clock::time_point lastDraw_;
};

}  // namespace vxtrace::cli
