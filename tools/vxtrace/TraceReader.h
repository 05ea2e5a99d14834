#pragma once
// Reads a trace from a descriptor through the library's Reader, in constant memory, reports
// what could not be read (undecodable frames, garbage between frames, a truncated last frame)
// and the library's diagnostic lines, one line per event.
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "vxtrace/MessageBase.h"
#include "vxtrace/io/Reader.h"
#include "vxtrace/io/Stats.h"

namespace vxtrace::cli {

class Progress;

struct ReadOptions {
  bool v2 = false;              // second framing ('Z', type, length, frame)
  bool expectSync = true;       // frames are preceded by their sync marker
  bool forced = false;          // the framing above was given; otherwise it is detected
  bool keepRawData = false;     // records get their frame bytes (with the marker) in rawBytes
  bool invalidRecords = false;  // undecodable frames come back as InvalidMessage records
  bool decodeDiagnostics = false;  // KWP2000 and UDS records are decoded
  bool expandContainers = false;   // containers are followed by the records inside them
  bool showReports = true;      // per-event reports reach standard error
  bool verbose = false;         // also name the framing read
  bool quiet = false;           // nothing on standard error but the caller's summary
};

struct ReadCounts {
  uint64_t bytesRead = 0;
  uint64_t records = 0;       // records handed to the sink, InvalidMessage included
  uint64_t undecodable = 0;   // frames that did not decode (reported or as InvalidMessage)
  uint64_t undecodableBytes = 0;
  uint64_t garbageBytes = 0;  // bytes skipped between frames (zeros count unless padding)
  uint64_t garbageRuns = 0;
  uint64_t truncatedBytes = 0;  // an incomplete frame at the end of the input

  bool clean() const { return undecodable == 0 && garbageBytes == 0 && truncatedBytes == 0; }
};

// Writes one line to standard error, erasing the progress bar first.
void report(Progress* progress, const std::string& line);

class TraceReader {
 public:
  // Receives each record in stream order; returns false to stop reading.
  using Sink = std::function<bool(std::unique_ptr<MessageBase>)>;

  // fd stays owned by the caller; name labels reports ("x.vxt", "standard input").
  TraceReader(int fd, std::string name, const ReadOptions& options, Progress* progress);

  // Reads to the end of the input (or until the sink stops). False on a read error or an input
  // that is no trace: then error() holds the one-line reason. Standard output is flushed
  // whenever the reader waits.
  bool run(const Sink& sink);

  // During a sink's call: 0 for a record read from the input, more for one from a container.
  unsigned depth() const { return depth_; }

  const ReadCounts& counts() const { return counts_; }
  // The framing read (known once the first record reached the sink): 0 V1, 1 V1 without
  // markers, 2 V2, 3 V2 without markers.
  int framing() const { return framing_; }
  const std::string& error() const { return error_; }

 private:
  int fd_;
  std::string name_;
  ReadOptions options_;
  Progress* progress_;
  ReadCounts counts_;
  std::string error_;
  unsigned depth_ = 0;
  int framing_ = 0;
};

// "V1 framing (55 AA markers)" and the like, for a framing() value.
const char* framingText(int framing);

// The policy a read with these options follows.
ReadPolicy readPolicy(const ReadOptions& options);
// A loss as one standard-error line, with the head of its bytes in hex.
std::string lossLine(const std::string& name, const Reader::Loss& loss);
// The library's lines of one record as one line: the decoders' notes, then the bytes of their
// hex dumps, capped.
std::string notesLine(const std::vector<std::string>& lines);
// The reader's counts in the tool's terms.
ReadCounts readCounts(const Reader::Counts& counts, uint64_t undecodableBytes);

// Reports the counts of a whole read and gives the exit status: an empty input gets a note and
// 0; one with bytes but no record a warning and 1; losses their one-line summary and 1.
int finishCounts(const ReadCounts& counts, const std::string& name);
int finishRead(const TraceReader& reader, const std::string& name);

class Selection;

// A whole input read into vxtrace::Stats.
struct StatsScan {
  vxtrace::Stats stats;
  ReadCounts counts;
  int framing = 0;
};

// Reads the input on threads (one for a pipe, or when the selection counts records) into Stats
// with the given gap: each record, those inside containers too, that the selection takes. The
// library's lines and the losses are left to the caller's summary. Throws Failure for an input
// that is no trace or cannot be read.
StatsScan scanStats(int fd, const std::string& name, const ReadOptions& options,
                    Selection& selection, unsigned threads, uint64_t gapUs, Progress* progress);

}  // namespace vxtrace::cli
