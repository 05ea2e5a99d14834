#include "TraceReader.h"

#include <cstdio>
#include <cstring>
#include <set>

#include "Progress.h"
#include "util/Hex.h"
#include "vxtrace/io/Diagnostics.h"
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

}  // namespace

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
  const Framing given = options_.v2 ? (options_.expectSync ? Framing::V2 : Framing::V2NoMarker)
                                    : (options_.expectSync ? Framing::V1 : Framing::V1NoMarker);
  ReadPolicy policy;
  policy.invalidRecords = options_.invalidRecords;
  policy.decodeDiagnostics = options_.decodeDiagnostics;
  policy.expandContainers = options_.expandContainers;
  policy.keepRawData = options_.keepRawData;
  if (options_.forced) policy.framing = given;
  Reader reader(Source::descriptor(fd_, name_), policy);
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
  if (options_.verbose) {
    const FramingChoice choice = reader.framingChoice();
    report(progress_, name_ + ": " + framingName(framing) +
                          (choice == FramingChoice::Given      ? " (as given)"
                           : choice == FramingChoice::Detected ? " (detected)"
                                                               : " (assumed)"));
  }

  bool lost = false;  // in this step; the library's notes then belong to the loss
  reader.setLossHandler([&](const Reader::Loss& loss) {
    lost = true;
    if (loss.kind == Reader::Loss::UNDECODABLE) counts_.undecodableBytes += loss.length;
    // With --invalid an undecodable frame is a line of its own in place.
    if (!options_.showReports ||
        (loss.kind == Reader::Loss::UNDECODABLE && options_.invalidRecords))
      return;
    std::string line = name_ + ": ";
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
    report(progress_, line);
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
  const Reader::Counts& c = reader.counts();
  counts_.bytesRead = c.bytesRead;
  counts_.records = c.records;
  counts_.undecodable = c.undecodable;
  counts_.garbageBytes = c.skippedBytes;
  counts_.garbageRuns = c.skippedRuns;
  counts_.truncatedBytes = c.truncatedBytes;
  if (!stopped && reader.error() != 0) {
    error_ = std::string("cannot read '") + name_ + "': " + std::strerror(reader.error());
    return false;
  }
  // A framing given by hand that finds nothing: say what the data looks like instead.
  const std::optional<Framing> detected = reader.detectedFraming();
  if (options_.forced && c.records == c.undecodable && c.bytesRead > 0 && detected &&
      *detected != given && !options_.quiet)
    report(progress_, name_ + ": nothing decodable in " + framingName(given) +
                          "; the data looks like " + framingName(*detected) + " (" +
                          framingFlags(*detected) + ")");
  return true;
}

}  // namespace vxtrace::cli
