#pragma once
// What the io layer's Reader needs of TraceFileReader beyond its public face: other inputs than
// a descriptor, the decode lines of each record with its offset, and framing detection that
// insists on plausible time stamps.
#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "util/Diagnostics.h"
#include "vxtrace/TraceFileReader.h"

namespace vxtrace::detail {

class Input {
 public:
  virtual ~Input() = default;
  // As ::read: bytes read, 0 at the end, -1 with errno set (EAGAIN: nothing there yet).
  virtual ssize_t read(uint8_t* into, std::size_t room) = 0;
  // Whether a read now would wait for data.
  virtual bool idle() = 0;
  // Blocks until data may have arrived.
  virtual void wait() = 0;
};

std::unique_ptr<Input> descriptorInput(int fd);
// The bytes stay the caller's.
std::unique_ptr<Input> memoryInput(const uint8_t* data, std::size_t length);

using OffsetLineHandler =
    std::function<void(uint64_t offset, DiagnosticLevel level, const std::string& line)>;

// The reader's doors for the lines the decoders write: trial decodes go to the mute, the decode
// of the candidate record to held, which is handed on once the candidate is taken.
struct ReaderDiagnostics {
  LineCollector mute{nullptr};
  std::vector<std::pair<DiagnosticLevel, std::string>> held;
  LineCollector holder{
      [this](DiagnosticLevel level, const std::string& line) { held.emplace_back(level, line); }};
  OffsetLineHandler handler;  // null: the thread's own door
};

struct TraceFileReaderAccess {
  static std::unique_ptr<TraceFileReader> make(std::unique_ptr<Input> input,
                                               TraceFileReader::framing_t framing) {
    return std::unique_ptr<TraceFileReader>(new TraceFileReader(std::move(input), framing));
  }
  static void setDiagnosticHandler(TraceFileReader& r, OffsetLineHandler handler) {
    r.diag_->handler = std::move(handler);
  }
  // probeFraming, but a framing counts only records whose time stamps lie between 1990 and 2100
  // and step by at most a day from their predecessor.
  static TraceFileReader::framing_t probePlausible(TraceFileReader& r, bool* found) {
    r.plausibleOnly_ = true;
    const TraceFileReader::framing_t f = r.probeFraming(found);
    r.plausibleOnly_ = false;
    return f;
  }
  // The bytes buffered ahead of the next record (after a probe: the front of the input).
  static std::pair<const uint8_t*, std::size_t> front(const TraceFileReader& r) {
    return {r.at(0), r.available()};
  }
};

}  // namespace vxtrace::detail
