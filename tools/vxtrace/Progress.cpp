#include "Progress.h"

#include <unistd.h>

#include <cstdio>

namespace vxtrace::cli {

Progress::Progress(bool enabled, uint64_t total, std::string unit)
    : enabled_(enabled),
      total_(total),
      unit_(std::move(unit)),
      start_(std::chrono::steady_clock::now()),
      lastDraw_(start_) {}

Progress::~Progress() { hide(); }

bool Progress::wanted(bool writesToStdout) {
  return isatty(STDERR_FILENO) && !(writesToStdout && isatty(STDOUT_FILENO));
}

void Progress::update(uint64_t done) {
  if (!enabled_) return;
  const auto now = std::chrono::steady_clock::now();
  if (now - start_ < std::chrono::seconds(1)) return;
  if (shown_ && now - lastDraw_ < std::chrono::milliseconds(200)) return;
  lastDraw_ = now;
  const double seconds = std::chrono::duration<double>(now - start_).count();
  char line[160];
  const bool bytes = unit_ == "B";
  // Megabytes with a decimal; records are counted, so whole numbers.
  const double amount = bytes ? done / 1e6 : static_cast<double>(done);
  const char* unit = bytes ? "MB" : unit_.c_str();
  const int decimals = bytes ? 1 : 0;
  if (total_ > 0) {
    const double fraction = done >= total_ ? 1.0 : static_cast<double>(done) / total_;
    char bar[31];
    const int filled = static_cast<int>(fraction * 30);
    for (int i = 0; i < 30; ++i) bar[i] = i < filled ? '#' : '.';
    bar[30] = '\0';
    std::snprintf(line, sizeof line, "\r[%s] %3d%%  %.*f %s  %.*f %s/s ", bar,
                  static_cast<int>(fraction * 100), decimals, amount, unit, decimals,
                  amount / seconds, unit);
  } else {
    std::snprintf(line, sizeof line, "\r%.*f %s  %.*f %s/s ", decimals, amount, unit, decimals,
                  amount / seconds, unit);
  }
  std::fputs(line, stderr);
  std::fflush(stderr);
  shown_ = true;
}

void Progress::hide() {
  if (!shown_) return;
  std::fputs("\r\033[K", stderr);
  std::fflush(stderr);
  shown_ = false;
}

}  // namespace vxtrace::cli
