#include "PartScan.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <set>

#include "Cli.h"
#include "Progress.h"
#include "util/Hex.h"
#include "vxtrace/io/Diagnostics.h"
#include "vxtrace/io/ParallelScan.h"

namespace vxtrace::cli {

namespace {

// Bytes per part: the parts read ahead hold their output in memory, so a part stays small
// whatever the input's size, and a small input still gives every thread some parts.
constexpr uint64_t kMinPartBytes = 64u << 10, kMaxPartBytes = 4u << 20;

struct Stop {
  uint64_t offset;
};

void tally(ReadCounts& c, const PartResult::Event& e) {
  switch (e.loss) {
    case Reader::Loss::SKIPPED:
      c.garbageBytes += e.length;
      ++c.garbageRuns;
      break;
    case Reader::Loss::UNDECODABLE:
      c.undecodableBytes += e.length;
      ++c.undecodable;
      break;
    case Reader::Loss::TRUNCATED:
      c.truncatedBytes += e.length;
      break;
  }
}

}  // namespace

PartScan::PartScan(const Input& in, const ReadOptions& options, unsigned threads,
                   Progress* progress)
    : in_(in), options_(options), threads_(threads), progress_(progress) {}

bool PartScan::run(const Make& make, const Visit& visit, const Consume& consume) {
  if (in_.size == 0 || threads_ == 1) {
    // One reader (a pipe as it arrives), each record passed on at once: nothing waits for the
    // end, and nothing is held but the record.
    TraceReader reader(in_.fd, in_.name, options_, progress_);
    std::unique_ptr<PartResult> result = make();
    const bool ok = reader.run([&](std::unique_ptr<MessageBase> msg) {
      framing_ = reader.framing();
      visit(*result, msg, 0);
      result->events.clear();
      return consume(*result) == UINT64_MAX;
    });
    counts_ = reader.counts();
    framing_ = reader.framing();
    error_ = reader.error();
    return ok;
  }

  const Framing given = options_.v2 ? (options_.expectSync ? Framing::V2 : Framing::V2NoMarker)
                                    : (options_.expectSync ? Framing::V1 : Framing::V1NoMarker);
  ReadPolicy policy;
  policy.decodeDiagnostics = options_.decodeDiagnostics;
  if (options_.forced) policy.framing = given;
  ScanOptions scan;
  scan.threads = threads_;
  scan.partBytes =
      std::clamp<uint64_t>(in_.size / (uint64_t{threads_} * 8), kMinPartBytes, kMaxPartBytes);

  auto work = [&](Part& part) -> std::shared_ptr<void> {
    std::shared_ptr<PartResult> result = make();
    std::vector<std::string> lines;
    bool lost = false;  // in this step; the library's notes then belong to the loss
    auto keep = [&lines](DiagnosticLevel, const std::string& line) { lines.push_back(line); };
    part.setDiagnosticHandler(
        [&keep](uint64_t, DiagnosticLevel level, const std::string& line) { keep(level, line); });
    DiagnosticSink sinkLines(keep);
    part.setLossHandler([&](const Reader::Loss& loss) {
      lost = true;
      result->events.push_back({loss.offset, options_.showReports ? lossLine(in_.name, loss) : "",
                                static_cast<int>(loss.kind), loss.length});
    });
    for (;;) {
      lost = false;
      lines.clear();
      std::unique_ptr<MessageBase> msg = part.next();
      const uint64_t offset = part.recordOffset();
      const bool more = msg != nullptr;
      if (more) visit(*result, msg, offset);
      sinkLines.flush();
      const std::string notes = notesLine(lines);
      if (!notes.empty() && !lost && options_.showReports)
        result->events.push_back(
            {offset, in_.name + ": at offset " + std::to_string(offset) + ": " + notes});
      if (!more) break;
    }
    return result;
  };

  std::optional<Framing> detected;
  FramingChoice choice = FramingChoice::Given;
  bool first = true;
  auto take = [&](std::shared_ptr<void> erased, Part& part) {
    PartResult& result = *std::static_pointer_cast<PartResult>(erased);
    if (first) {
      first = false;
      framing_ = static_cast<int>(part.reader().framing());
      choice = part.reader().framingChoice();
      detected = part.reader().detectedFraming();
    }
    const uint64_t stop = consume(result);
    for (const PartResult::Event& e : result.events) {
      if (e.offset > stop) break;
      if (!e.line.empty()) report(progress_, e.line);
      if (stop != UINT64_MAX) tally(counts_, e);
    }
    if (stop != UINT64_MAX) {
      // Stopped after a record was taken: what ends the run is the losses before it, and the
      // input is neither empty nor without a record.
      counts_.bytesRead = std::max<uint64_t>(counts_.bytesRead, stop + 1);
      counts_.records = std::max<uint64_t>(counts_.records, 1);
      throw Stop{stop};
    }
    const Reader::Counts& c = part.counts();
    counts_.bytesRead += c.bytesRead;
    counts_.records += c.records;
    counts_.undecodable += c.undecodable;
    counts_.undecodableBytes += part.undecodableBytes();
    counts_.garbageBytes += c.skippedBytes;
    counts_.garbageRuns += c.skippedRuns;
    counts_.truncatedBytes += c.truncatedBytes;
    if (progress_) progress_->update(part.end());
  };

  auto named = [&](Framing framing, FramingChoice how) {
    if (options_.verbose)
      report(progress_, in_.name + ": " + framingName(framing) +
                            (how == FramingChoice::Given      ? " (as given)"
                             : how == FramingChoice::Detected ? " (detected)"
                                                              : " (assumed)"));
  };
  ScanSummary summary;
  try {
    summary = scanParts(Source::descriptor(in_.fd, in_.name), policy, scan, work, take);
  } catch (const Stop&) {
    named(static_cast<Framing>(framing_), choice);
    return true;
  }
  framing_ = static_cast<int>(summary.framing);
  if (!summary.notATrace.empty()) {
    error_ = in_.name + ": " + summary.notATrace;
    return false;
  }
  named(summary.framing, summary.framingChoice);
  if (summary.error != 0) {
    error_ = "cannot read '" + in_.name + "': " + std::strerror(summary.error);
    return false;
  }
  const Reader::Counts& c = summary.counts;
  if (options_.forced && c.records == c.undecodable && c.bytesRead > 0 && detected &&
      *detected != given && !options_.quiet)
    report(progress_, in_.name + ": nothing decodable in " + framingName(given) +
                          "; the data looks like " + framingName(*detected) + " (" +
                          (*detected == Framing::V1           ? "no framing option"
                           : *detected == Framing::V2         ? "--v2"
                           : *detected == Framing::V1NoMarker ? "--no-sync"
                                                              : "--v2 --no-sync") +
                          ")");
  return true;
}

}  // namespace vxtrace::cli
