#include "vxtrace/io/Seek.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <string>
#include <system_error>

#include "io/TraceScan.h"

using namespace vxtrace::detail;

namespace vxtrace {

namespace {

constexpr std::size_t kProbeRead = 4096;     // a probe decodes a few records, not a buffer
constexpr uint64_t kScanSpan = 64 * 1024;    // below this a scan costs less than a probe
constexpr unsigned kChain = 4;               // records in a row that prove an alignment
constexpr unsigned kSamples = 16;            // probes spread over the file to check its order
constexpr uint64_t kSmallFile = 128 * 1024;  // read whole rather than probed
// A probe reads no further than this beyond its stretch: in garbage it would read to the end.
// A chain cut there only makes the stretch look empty; the last scan is not bounded.
constexpr uint64_t kProbeMargin = 64 * 1024;

[[noreturn]] void fail(const char* what, int error = errno) {
  throw std::system_error(error, std::generic_category(), std::string("seekTime: ") + what);
}

struct Probe {
  bool found = false;
  bool ordered = true;
  uint64_t offset = 0;  // first record of the chain
  uint64_t key = 0;     // its time
};

struct Scan {
  uint64_t offset = 0;
  bool ordered = true;
};

class Seeker {
 public:
  Seeker(int fd, TraceFileReader::framing_t framing, uint64_t tolerance, uint64_t size)
      : fd_(fd), framing_(framing), tolerance_(tolerance), size_(size) {}

  // a is earlier than b by more than the tolerance.
  bool earlier(uint64_t a, uint64_t b) const { return a < b && b - a > tolerance_; }

  // The first chain of records that starts at or after from and before limit.
  Probe probe(uint64_t from, uint64_t limit) {
    TraceFileReader reader(fd_, framing_);
    start(reader, from, kProbeRead);
    reader.setReadLimit(limit - from + std::min(limit - from, kProbeMargin));
    bool broken = false;
    reader.setLossHandler([&](const TraceFileReader::loss_t&) { broken = true; });
    Probe p;
    unsigned chain = 0;
    uint64_t latest = 0;
    bool ended = true;
    while (std::unique_ptr<MessageBase> msg{reader.next()}) {
      if (msg->msgId == MSGID_INVALID) continue;  // the loss handler saw it
      if (broken) chain = 0, broken = false;
      const uint64_t key = latestTime(*msg);
      if (chain == 0) {
        if (reader.recordOffset() >= limit) {
          ended = false;
          break;
        }
        p.offset = reader.recordOffset();
        p.key = latest = key;
      } else if (earlier(key, latest)) {
        p.ordered = false;
        ended = false;
        break;
      }
      latest = std::max(latest, key);
      if (++chain == kChain) {
        ended = false;
        break;
      }
    }
    finish(reader);
    // A shorter chain counts where the file ends after it.
    p.found = p.ordered && (chain == kChain || (ended && chain > 0 && !broken));
    return p;
  }

  // The first record at or after from whose time is at or after target; with checkOrder, stops
  // (ordered false) at a record earlier than one before it by more than the tolerance.
  Scan scan(uint64_t from, uint64_t target, bool checkOrder) {
    TraceFileReader reader(fd_, framing_);
    start(reader, from, checkOrder ? kProbeRead : 0);
    Scan s;
    s.offset = size_;
    uint64_t latest = 0;
    bool any = false;
    while (std::unique_ptr<MessageBase> msg{reader.next()}) {
      if (msg->msgId == MSGID_INVALID) continue;
      const uint64_t key = latestTime(*msg);
      if (checkOrder && any && earlier(key, latest)) {
        s.ordered = false;
        break;
      }
      if (key >= target) {
        s.offset = reader.recordOffset();
        break;
      }
      latest = std::max(latest, key);
      any = true;
    }
    finish(reader);
    return s;
  }

  uint64_t bytesRead = 0;

 private:
  void start(TraceFileReader& reader, uint64_t from, std::size_t readSize) {
    if (::lseek(fd_, static_cast<off_t>(from), SEEK_SET) < 0) fail("cannot seek");
    reader.setStreamOffset(from);
    if (readSize != 0) reader.setReadSize(readSize);
  }
  void finish(const TraceFileReader& reader) {
    bytesRead += reader.counts().bytesRead;
    if (reader.error() != 0) fail("cannot read", reader.error());
  }

  int fd_;
  TraceFileReader::framing_t framing_;
  uint64_t tolerance_;
  uint64_t size_;
};

}  // namespace

SeekResult seekTime(int fd, TraceFileReader::framing_t framing, uint64_t timeUs,
                    uint64_t toleranceUs) {
  SeekResult result;
  const off_t end = ::lseek(fd, 0, SEEK_END);
  if (end < 0) {
    if (errno != ESPIPE) fail("cannot seek");
    result.seekable = false;
    return result;
  }
  result.fileSize = static_cast<uint64_t>(end);
  QuietDiagnostics quiet;
  Seeker seeker(fd, framing, toleranceUs, result.fileSize);
  // Bisection looks for the time less the tolerance: a record before a probe's record may be
  // that much later than it.
  const uint64_t target = timeUs > toleranceUs ? timeUs - toleranceUs : 0;

  bool ordered = true;
  uint64_t lo = 0, hi = 0, loKey = 0, hiKey = 0;
  bool haveHi = false;
  if (result.fileSize > kSmallFile) {
    // Samples spread over the file must rise in time (within the tolerance); they also narrow
    // the stretch to bisect.
    hi = result.fileSize;
    uint64_t latest = 0;
    bool any = false;
    for (unsigned i = 0; i < kSamples && ordered; ++i) {
      const uint64_t at = result.fileSize / kSamples * i;
      const uint64_t next = i + 1 == kSamples ? result.fileSize : at + result.fileSize / kSamples;
      const Probe p = seeker.probe(at, next);
      ++result.probes;
      if (!p.ordered || (p.found && any && seeker.earlier(p.key, latest))) ordered = false;
      if (!p.found) continue;
      latest = std::max(latest, p.key);
      any = true;
      if (haveHi) continue;
      if (p.key < target) {
        lo = p.offset;
        loKey = p.key;
      } else {
        hi = at;
        hiKey = p.key;
        haveHi = true;
      }
    }
    if (!any) ordered = false;  // no chain anywhere: only a scan can tell
  }
  while (ordered && hi > lo && hi - lo > kScanSpan) {
    const uint64_t mid = lo + (hi - lo) / 2;
    const Probe p = seeker.probe(mid, hi);
    ++result.probes;
    if (!p.ordered ||
        (p.found && (seeker.earlier(p.key, loKey) || (haveHi && seeker.earlier(hiKey, p.key))))) {
      ordered = false;
    } else if (!p.found || p.key >= target) {
      // The first record at or after the target starts before mid, or is the one found.
      hi = mid;
      if (p.found) hiKey = p.key, haveHi = true;
    } else {
      lo = p.offset;
      loKey = p.key;
    }
  }
  Scan s;
  if (ordered) s = seeker.scan(lo, timeUs, true);
  result.bisected = ordered && s.ordered && result.fileSize > kSmallFile;
  if (!ordered || !s.ordered) {
    result.ordered = false;
    s = seeker.scan(0, timeUs, false);
  }
  result.offset = s.offset;
  result.bytesRead = seeker.bytesRead;
  if (::lseek(fd, static_cast<off_t>(result.offset), SEEK_SET) < 0) fail("cannot seek");
  return result;
}

}  // namespace vxtrace
