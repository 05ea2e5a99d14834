#include "TraceReader.h"

#include <cstdio>
#include <cstring>
#include <set>

#include "Cli.h"
#include "Progress.h"
#include "Selection.h"
#include "util/Hex.h"
#include "vxtrace/io/Diagnostics.h"
#include "vxtrace/io/ParallelScan.h"
#include "vxtrace/io/Reader.h"

namespace vxtrace::cli {

namespace {

const char* framingFlags(Framing f) {
  switch (f) {
    case Framing::V1:
      return "no framing option";
    case Framing::V1NoMarker:
      return "--no-sync";
    case Framing::V2:
      return "--v2";
    case Framing::V2NoMarker:
      return "--v2 --no-sync";
  }
  return "";
}

Framing givenFraming(const ReadOptions& o) {
  return o.v2 ? (o.expectSync ? Framing::V2 : Framing::V2NoMarker)
              : (o.expectSync ? Framing::V1 : Framing::V1NoMarker);
}

void reportFraming(Progress* progress, const std::string& name, Framing framing,
                   FramingChoice choice) {
  report(progress, name + ": " + framingName(framing) +
                       (choice == FramingChoice::Given      ? " (as given)"
                        : choice == FramingChoice::Detected ? " (detected)"
                                                            : " (assumed)"));
}

// A framing given by hand that finds nothing: say what the data looks like instead.
void reportWrongFraming(Progress* progress, const std::string& name, const ReadOptions& options,
                        const ReadCounts& c, std::optional<Framing> detected) {
  const Framing given = givenFraming(options);
  if (options.forced && c.records == c.undecodable && c.bytesRead > 0 && detected &&
      *detected != given && !options.quiet)
    report(progress, name + ": nothing decodable in " + framingName(given) +
                         "; the data looks like " + framingName(*detected) + " (" +
                         framingFlags(*detected) + ")");
}

}  // namespace

// The library's lines of one step as one line: the decoders' notes and their multi-line hex
// dumps, capped.
std::string notesLine(const std::vector<std::string>& lines) {
  std::string notes, hex;
  std::size_t hexBytes = 0, moreBytes = 0;
  std::set<std::string> seen;
  for (std::string line : lines) {
    for (const char* tag : {"[ERROR] ", "[WARNING] "})
      while (line.compare(0, std::strlen(tag), tag) == 0) line.erase(0, std::strlen(tag));
    if (line.empty() || !seen.insert(line).second) continue;
    // A dump line: "0010: 01 02 ..."; only its bytes are kept.
    if (line.size() > 6 && line[4] == ':' && line[5] == ' ' &&
        line.find_first_not_of("0123456789abcdef") == 4) {
      const std::size_t bytes = (line.size() - 6 + 1) / 3;
      if (hexBytes + bytes > TraceFileReader::kMaxHead) {
        moreBytes += bytes;
        continue;
      }
      hex += (hex.empty() ? "" : " ") + line.substr(6);
      hexBytes += bytes;
      continue;
    }
    notes += (notes.empty() ? "" : "; ") + line;
  }
  if (!hex.empty()) notes += (notes.empty() ? "" : ": ") + hex + (moreBytes ? " ..." : "");
  return notes;
}

std::string lossLine(const std::string& name, const Reader::Loss& loss) {
  std::string line = name + ": ";
  switch (loss.kind) {
    case Reader::Loss::SKIPPED:
      line += "invalid data (" + std::to_string(loss.length) + " bytes) skipped at offset " +
              std::to_string(loss.offset);
      break;
    case Reader::Loss::UNDECODABLE:
      line += "undecodable frame at offset " + std::to_string(loss.offset) + " (" +
              std::to_string(loss.length) + " bytes)";
      break;
    case Reader::Loss::TRUNCATED:
      line += "truncated frame at end of input (" + std::to_string(loss.length) +
              " bytes at offset " + std::to_string(loss.offset) + ")";
      break;
  }
  line += ':';
  if (loss.headLength != 0) line += ' ';
  vxtrace::detail::appendHex(line, loss.head, loss.headLength);
  if (loss.headLength < loss.length) line += " ...";
  return line;
}

ReadPolicy readPolicy(const ReadOptions& options) {
  ReadPolicy policy;
  policy.invalidRecords = options.invalidRecords;
  policy.decodeDiagnostics = options.decodeDiagnostics;
  policy.expandContainers = options.expandContainers;
  policy.keepRawData = options.keepRawData;
  if (options.forced) policy.framing = givenFraming(options);
  return policy;
}

ReadCounts readCounts(const Reader::Counts& c, uint64_t undecodableBytes) {
  ReadCounts counts;
  counts.bytesRead = c.bytesRead;
  counts.records = c.records;
  counts.undecodable = c.undecodable;
  counts.undecodableBytes = undecodableBytes;
  counts.garbageBytes = c.skippedBytes;
  counts.garbageRuns = c.skippedRuns;
  counts.truncatedBytes = c.truncatedBytes;
  return counts;
}

int finishRead(const TraceReader& reader, const std::string& name) {
  return finishCounts(reader.counts(), name);
}

int finishCounts(const ReadCounts& c, const std::string& name) {
  if (c.bytesRead == 0) {
    report(nullptr, "note: " + name + " is empty");
    return kExitOk;
  }
  if (c.records == 0) {
    report(nullptr,
           "warning: no record in " + name + " (" + std::to_string(c.bytesRead) + " bytes)");
    return kExitDataErrors;
  }
  if (c.clean()) return kExitOk;
  std::string line = name + ": " +
                     std::to_string(c.garbageBytes + c.undecodableBytes + c.truncatedBytes) +
                     " bytes dropped: " + std::to_string(c.undecodable) + " undecodable frame" +
                     (c.undecodable == 1 ? "" : "s") + ", " + std::to_string(c.garbageBytes) +
                     " bytes of invalid data in " + std::to_string(c.garbageRuns) + " run" +
                     (c.garbageRuns == 1 ? "" : "s");
  if (c.truncatedBytes)
    line += ", truncated last frame (" + std::to_string(c.truncatedBytes) + " bytes)";
  report(nullptr, line);
  return kExitDataErrors;
}

StatsScan scanStats(int fd, const std::string& name, const ReadOptions& options,
                    Selection& selection, unsigned threads, uint64_t gapUs, Progress* progress) {
  ReadPolicy policy = readPolicy(options);
  policy.invalidRecords = false;  // counted by the reader
  policy.expandContainers = true;
  Source source = Source::descriptor(fd, name);
  const bool seekable = source.seekable();
  ScanOptions scan;
  // Records counted against --count are the first in the stream: one reader, one part.
  scan.threads = selection.counted() ? 1 : threads;
  StatsScan out{vxtrace::Stats(gapUs), {}, 0};
  std::optional<Framing> detected;
  auto read = [&](Part& part, Selection& taking) {
    part.setDiagnosticHandler([](uint64_t, DiagnosticLevel, const std::string&) {});
    if (!seekable && options.forced) detected = part.reader().detectedFraming();
    vxtrace::Stats stats(gapUs);
    while (std::unique_ptr<MessageBase> msg = part.next()) {
      if (!taking.take(*msg)) continue;
      stats.add(*msg, part.depth() > 0);
      if (taking.full()) break;
    }
    stats.setReaderCounts(part.counts());  // for the progress; the summary's replace them
    return stats;
  };
  ScanSummary summary;
  try {
    if (scan.threads == 1) {
      summary = parallelScan(
          std::move(source), policy, scan, [&](Part& part) { return read(part, selection); },
          [&](vxtrace::Stats&& part) {
            out.stats.merge(part);
            if (progress) progress->update(out.stats.readerCounts().bytesRead);
          });
    } else {
      // Each part takes with its own copy; the copies' matches are merged in file order.
      const Selection fresh = selection;
      summary = parallelScan(
          std::move(source), policy, scan,
          [&](Part& part) {
            Selection taking = fresh;
            vxtrace::Stats stats = read(part, taking);
            return std::make_pair(std::move(stats), std::move(taking));
          },
          [&](std::pair<vxtrace::Stats, Selection>&& part) {
            out.stats.merge(part.first);
            selection.merge(part.second);
            if (progress) progress->update(out.stats.readerCounts().bytesRead);
          });
    }
  } catch (const std::system_error& e) {
    throw Failure{"cannot read '" + name + "': " + e.code().message()};
  }
  if (!summary.notATrace.empty()) throw Failure{name + ": " + summary.notATrace};
  if (summary.error != 0)
    throw Failure{std::string("cannot read '") + name + "': " + std::strerror(summary.error)};
  out.stats.setReaderCounts(summary.counts, summary.undecodableBytes);
  out.counts = readCounts(summary.counts, summary.undecodableBytes);
  out.framing = static_cast<int>(summary.framing);
  if (options.verbose) reportFraming(progress, name, summary.framing, summary.framingChoice);
  if (seekable && options.forced && out.counts.records == out.counts.undecodable)
    detected = Reader(Source::descriptor(fd, name), ReadPolicy()).detectedFraming();
  reportWrongFraming(progress, name, options, out.counts, detected);
  return out;
}

const char* framingText(int framing) { return framingName(static_cast<Framing>(framing)); }

void report(Progress* progress, const std::string& line) {
  if (progress) progress->hide();
  std::fflush(stdout);  // records read so far come before their report
  std::string text = "vxtrace: " + line + "\n";
  std::fwrite(text.data(), 1, text.size(), stderr);
}

TraceReader::TraceReader(int fd, std::string name, const ReadOptions& options, Progress* progress)
    : fd_(fd), name_(std::move(name)), options_(options), progress_(progress) {}

bool TraceReader::run(const Sink& sink) {
  Reader reader(Source::descriptor(fd_, name_), readPolicy(options_));
  reader.setWaitHandler([] { std::fflush(stdout); });

  // The lines of one step: the record's decode and whatever the sink's work made the library say.
  std::vector<std::string> lines;
  auto keep = [&lines](DiagnosticLevel, const std::string& line) { lines.push_back(line); };
  reader.setDiagnosticHandler(
      [&keep](uint64_t, DiagnosticLevel level, const std::string& line) { keep(level, line); });
  DiagnosticSink sinkLines(keep);

  const Framing framing = reader.framing();
  framing_ = static_cast<int>(framing);
  if (!reader.notATrace().empty()) {
    error_ = name_ + ": " + reader.notATrace();
    return false;
  }
  if (options_.verbose) reportFraming(progress_, name_, framing, reader.framingChoice());

  bool lost = false;  // in this step; the library's notes then belong to the loss
  reader.setLossHandler([&](const Reader::Loss& loss) {
    lost = true;
    if (loss.kind == Reader::Loss::UNDECODABLE) counts_.undecodableBytes += loss.length;
    // With --invalid an undecodable frame is a line of its own in place.
    if (!options_.showReports ||
        (loss.kind == Reader::Loss::UNDECODABLE && options_.invalidRecords))
      return;
    report(progress_, lossLine(name_, loss));
  });

  bool stopped = false;
  for (;;) {
    lost = false;
    lines.clear();
    std::unique_ptr<MessageBase> msg = reader.next();
    const bool more = msg != nullptr;
    const uint64_t offset = reader.recordOffset();
    depth_ = reader.depth();
    if (more && !sink(std::move(msg))) stopped = true;
    sinkLines.flush();
    const std::string notes = notesLine(lines);
    if (!notes.empty() && !lost && options_.showReports)
      report(progress_, name_ + ": at offset " + std::to_string(offset) + ": " + notes);
    if (!more || stopped) break;
    if (progress_ && (reader.counts().records & 4095) == 0 && depth_ == 0)
      progress_->update(reader.counts().bytesRead);
  }
  const uint64_t undecodableBytes = counts_.undecodableBytes;
  counts_ = readCounts(reader.counts(), undecodableBytes);
  if (!stopped && reader.error() != 0) {
    error_ = std::string("cannot read '") + name_ + "': " + std::strerror(reader.error());
    return false;
  }
  reportWrongFraming(progress_, name_, options_, counts_, reader.detectedFraming());
  return true;
}

}  // namespace vxtrace::cli
