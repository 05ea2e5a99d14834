#include "TraceReader.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <set>
#include <streambuf>

#include "Progress.h"
#include "util/Hex.h"
#include "vxtrace/TraceFileReader.h"
#include "vxtrace/vxtrace.h"

namespace vxtrace::cli {

namespace {

using Reader = TraceFileReader;

const char* framingName(Reader::framing_t f) {
  switch (f) {
    case Reader::FRAMING_V1: return "V1 framing (55 AA markers)";
    case Reader::FRAMING_V1_NOSYNC: return "V1 framing without markers";
    case Reader::FRAMING_V2: return "V2 framing ('Z' markers)";
    case Reader::FRAMING_V2_NOSYNC: return "V2 framing without markers";
  }
  return "unknown framing";
}

const char* framingFlags(Reader::framing_t f) {
  switch (f) {
    case Reader::FRAMING_V1: return "no framing option";
    case Reader::FRAMING_V1_NOSYNC: return "--no-sync";
    case Reader::FRAMING_V2: return "--v2";
    case Reader::FRAMING_V2_NOSYNC: return "--v2 --no-sync";
  }
  return "";
}

// Holds what the library writes to std::cerr while records are read and decoded, so that each
// event becomes one line: the decoders' notes and their multi-line hex dumps, capped.
class CerrCapture : public std::streambuf {
 public:
  CerrCapture() : old_(std::cerr.rdbuf(this)) {}
  ~CerrCapture() override { std::cerr.rdbuf(old_); }
  CerrCapture(const CerrCapture&) = delete;
  CerrCapture& operator=(const CerrCapture&) = delete;

  // The captured text as one line ("" when none), and a fresh start.
  std::string take() {
    std::string notes, hex;
    std::size_t hexBytes = 0, moreBytes = 0;
    std::set<std::string> seen;  // validation may decode a frame more than once
    std::size_t from = 0;
    while (from < text_.size()) {
      std::size_t end = text_.find('\n', from);
      if (end == std::string::npos) end = text_.size();
      std::string line = text_.substr(from, end - from);
      from = end + 1;
      for (const char* tag : {"[ERROR] ", "[WARNING] "})
        while (line.compare(0, std::strlen(tag), tag) == 0) line.erase(0, std::strlen(tag));
      if (line.empty() || !seen.insert(line).second) continue;
      // A dump line: "0010: 01 02 ..."; only its bytes are kept.
      if (line.size() > 6 && line[4] == ':' && line[5] == ' ' &&
          line.find_first_not_of("0123456789abcdef") == 4) {
        const std::size_t bytes = (line.size() - 6 + 1) / 3;
        if (hexBytes + bytes > Reader::kMaxHead) {
          moreBytes += bytes;
          continue;
        }
        hex += (hex.empty() ? "" : " ") + line.substr(6);
        hexBytes += bytes;
        continue;
      }
      notes += (notes.empty() ? "" : "; ") + line;
    }
    text_.clear();
    if (!hex.empty()) notes += (notes.empty() ? "" : ": ") + hex + (moreBytes ? " ..." : "");
    return notes;
  }

 protected:
  int_type overflow(int_type c) override {
    if (!traits_type::eq_int_type(c, traits_type::eof())) text_.push_back(traits_type::to_char_type(c));
    return traits_type::not_eof(c);
  }
  std::streamsize xsputn(const char* s, std::streamsize n) override {
    text_.append(s, static_cast<std::size_t>(n));
    return n;
  }

 private:
  std::streambuf* old_;
  std::string text_;
};

}  // namespace

const char* framingText(int framing) {
  return framingName(static_cast<Reader::framing_t>(framing));
}

void report(Progress* progress, const std::string& line) {
  if (progress) progress->hide();
  std::fflush(stdout);  // records read so far come before their report
  std::string text = "vxtrace: " + line + "\n";
  std::fwrite(text.data(), 1, text.size(), stderr);
}

TraceReader::TraceReader(int fd, std::string name, const ReadOptions& options, Progress* progress)
    : fd_(fd), name_(std::move(name)), options_(options), progress_(progress) {}

bool TraceReader::run(const Sink& sink) {
  const int savedHandling = MessageBase::invalidHandling;
  MessageBase::invalidHandling = options_.invalidRecords ? 1 : 0;
  struct RestoreHandling {
    int value;
    ~RestoreHandling() { MessageBase::invalidHandling = value; }
  } restoreHandling{savedHandling};
  CerrCapture capture;
  if (options_.registerDiag) {
    MessageBase::registerMessage(MSGID_KWP2000_REQUEST, KWP2000Request::readFromByteArray);
    MessageBase::registerMessage(MSGID_KWP2000_RESPONSE, KWP2000Response::readFromByteArray);
    MessageBase::registerMessage(MSGID_UDS_REQUEST, UDSRequest::readFromByteArray);
    MessageBase::registerMessage(MSGID_UDS_RESPONSE, UDSResponse::readFromByteArray);
  }

  const Reader::framing_t given =
      options_.v2 ? (options_.expectSync ? Reader::FRAMING_V2 : Reader::FRAMING_V2_NOSYNC)
                  : (options_.expectSync ? Reader::FRAMING_V1 : Reader::FRAMING_V1_NOSYNC);
  Reader reader(fd_, given);
  reader.keepRawData = options_.keepRawData;
  reader.setWaitHandler([] { std::fflush(stdout); });
  bool probed = false;
  const Reader::framing_t probe = reader.probeFraming(&probed);
  capture.take();  // what the probe's trial decodes said is nobody's business
  if (!options_.forced) reader.setFraming(probe);
  framing_ = reader.framing();
  if (options_.verbose)
    report(progress_, name_ + ": " + framingName(reader.framing()) +
                          (options_.forced ? " (as given)" : probed ? " (detected)" : " (assumed)"));

  bool lost = false;  // in this step; the library's notes then belong to rejected candidates
  reader.setLossHandler([&](const Reader::loss_t& loss) {
    lost = true;
    if (loss.kind == Reader::loss_t::UNDECODABLE) counts_.undecodableBytes += loss.length;
    // With --invalid an undecodable frame is a line of its own in place.
    if (!options_.showReports ||
        (loss.kind == Reader::loss_t::UNDECODABLE && options_.invalidRecords))
      return;
    std::string line = name_ + ": ";
    switch (loss.kind) {
      case Reader::loss_t::SKIPPED:
        line += "invalid data (" + std::to_string(loss.length) + " bytes) skipped at offset " +
                std::to_string(loss.offset);
        break;
      case Reader::loss_t::UNDECODABLE:
        line += "undecodable frame at offset " + std::to_string(loss.offset) + " (" +
                std::to_string(loss.length) + " bytes)";
        break;
      case Reader::loss_t::TRUNCATED:
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
    std::unique_ptr<MessageBase> msg{reader.next()};
    const bool more = msg != nullptr;
    const uint64_t offset = reader.recordOffset();
    if (more && !sink(std::move(msg))) stopped = true;
    const std::string notes = capture.take();
    if (!notes.empty() && !lost && options_.showReports)
      report(progress_, name_ + ": at offset " + std::to_string(offset) + ": " + notes);
    if (!more || stopped) break;
    if (progress_ && (reader.counts().records & 4095) == 0)
      progress_->update(reader.counts().bytesRead);
  }
  const Reader::counts_t& c = reader.counts();
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
  if (options_.forced && c.records == c.undecodable && c.bytesRead > 0 && probed &&
      probe != given && !options_.quiet)
    report(progress_, name_ + ": nothing decodable in " + framingName(given) +
                          "; the data looks like " + framingName(probe) + " (" +
                          framingFlags(probe) + ")");
  return true;
}

}  // namespace vxtrace::cli
