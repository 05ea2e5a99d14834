#include "TraceReader.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <iostream>
#include <streambuf>

#include "Progress.h"
#include "vxtrace/TraceFileReader.h"

namespace vxtrace::cli {

namespace {

// Sits in std::cerr while the reader runs, so that the reader's reports and ours erase the
// progress bar before they are written rather than mixing with it.
class ProgressAwareCerr : public std::streambuf {
 public:
  explicit ProgressAwareCerr(Progress* progress)
      : progress_(progress), old_(std::cerr.rdbuf(this)) {}
  ~ProgressAwareCerr() override { std::cerr.rdbuf(old_); }
  ProgressAwareCerr(const ProgressAwareCerr&) = delete;
  ProgressAwareCerr& operator=(const ProgressAwareCerr&) = delete;

 protected:
  int_type overflow(int_type c) override {
    if (traits_type::eq_int_type(c, traits_type::eof())) return traits_type::not_eof(c);
    const char ch = traits_type::to_char_type(c);
    return xsputn(&ch, 1) == 1 ? c : traits_type::eof();
  }
  std::streamsize xsputn(const char* s, std::streamsize n) override {
    if (progress_) progress_->hide();
    return old_->sputn(s, n);
  }
  int sync() override { return old_->pubsync(); }

 private:
  Progress* progress_;
  std::streambuf* old_;
};

}  // namespace

TraceReader::TraceReader(int fd, std::string name, const ReadOptions& options, Progress* progress)
    : fd_(fd), name_(std::move(name)), options_(options), progress_(progress) {}

bool TraceReader::run(const Sink& sink) {
  const int savedHandling = MessageBase::invalidHandling;
  MessageBase::invalidHandling = options_.invalidRecords ? 1 : 0;
  struct RestoreHandling {
    int value;
    ~RestoreHandling() { MessageBase::invalidHandling = value; }
  } restoreHandling{savedHandling};
  ProgressAwareCerr cerrGuard(progress_);

  using Reader = TraceFileReader;
  const Reader::framing_t framing =
      options_.v2 ? (options_.expectSync ? Reader::FRAMING_V2 : Reader::FRAMING_V2_NOSYNC)
                  : (options_.expectSync ? Reader::FRAMING_V1 : Reader::FRAMING_V1_NOSYNC);
  Reader reader(fd_, framing);
  reader.keepRawData = options_.keepRawData;
  reader.setLossHandler([&](const Reader::loss_t& loss) {
    // With --invalid an undecodable frame is a line of its own in place.
    if (!options_.showReports || (loss.kind == Reader::loss_t::UNDECODABLE && options_.invalidRecords))
      return;
    std::cerr << "vxtrace: " << name_ << ": ";
    switch (loss.kind) {
      case Reader::loss_t::SKIPPED:
        std::cerr << "invalid data (" << loss.length << " bytes) skipped at offset "
                  << loss.offset;
        break;
      case Reader::loss_t::UNDECODABLE:
        std::cerr << "undecodable frame at offset " << loss.offset << " (" << loss.length
                  << " bytes)";
        break;
      case Reader::loss_t::TRUNCATED:
        std::cerr << "truncated frame at end of input (" << loss.length << " bytes at offset "
                  << loss.offset << ")";
        break;
    }
    std::cerr << std::endl;
  });

  bool stopped = false;
  while (std::unique_ptr<MessageBase> msg{reader.next()}) {
    if (progress_ && (reader.counts().records & 4095) == 0) progress_->update(reader.counts().bytesRead);
    if (!sink(std::move(msg))) {
      stopped = true;
      break;
    }
  }
  const TraceFileReader::counts_t& c = reader.counts();
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
  return true;
}

}  // namespace vxtrace::cli
