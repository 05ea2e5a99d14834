#include "TraceReader.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <iostream>
#include <streambuf>

#include "Progress.h"
#include "util/Hex.h"
#include "vxtrace/Exceptions.h"
#include "vxtrace/InvalidMessage.h"
#include "vxtrace/TraceMessageBuffer.h"

namespace vxtrace::cli {

namespace {

// Room for the largest frame (size field 0xFFFF plus size field and marker) several times over,
// so that a read never stalls on one incomplete frame.
constexpr unsigned int kBufferSize = 256 * 1024;

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

std::string hexBytes(const uint8_t* begin, const uint8_t* end) {
  std::string text;
  vxtrace::detail::appendHex(text, begin, static_cast<std::size_t>(end - begin));
  return text;
}

bool allZero(const uint8_t* begin, const uint8_t* end) {
  for (const uint8_t* p = begin; p != end; ++p)
    if (*p != 0) return false;
  return true;
}

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
  // Declared after the guard: a garbage run still open at the end is reported by the reader's
  // destructor.
  TraceMessageBuffer tmb(fd_, kBufferSize, nullptr);
  tmb.name = name_;
  tmb.expectSync = options_.expectSync;
  tmb.keepRawData = options_.keepRawData;
  tmb.reportErrors = options_.showReports;

  // Stream offset of a byte in the buffer: everything read so far ends at pDataEnd.
  auto offsetOf = [&](const uint8_t* p) {
    return counts_.bytesRead - static_cast<uint64_t>(tmb.pDataEnd - p);
  };
  auto report = [&](const std::string& text) {
    if (options_.showReports) std::cerr << "vxtrace: " << name_ << ": " << text << std::endl;
  };
  auto deliver = [&](std::unique_ptr<MessageBase> msg) {
    if (msg->msgId == MSGID_INVALID && dynamic_cast<InvalidMessage*>(msg.get()))
      ++counts_.undecodable;
    ++counts_.records;
    return sink(std::move(msg));
  };

  uint64_t lastFrameEnd = 0;  // V2: stream offset just past the last record taken
  auto noteGap = [&](uint64_t recordStart) {
    if (recordStart > lastFrameEnd) {
      const uint64_t gap = recordStart - lastFrameEnd;
      counts_.garbageBytes += gap;
      ++counts_.garbageRuns;
      report("invalid data (" + std::to_string(gap) + " bytes) skipped at offset " +
             std::to_string(lastFrameEnd));
    }
  };

  // Takes every whole frame buffered; false when the sink asked to stop.
  auto drain = [&]() -> bool {
    for (;;) {
      if (!options_.v2) {
        std::unique_ptr<MessageBase> msg;
        try {
          msg.reset(tmb.getNextMessage());
        } catch (const VXException& e) {
          ++counts_.undecodable;
          const uint64_t start = offsetOf(tmb.pDataStart) - tmb.lastMessage.size();
          report("undecodable frame at offset " + std::to_string(start) + ":\n" + e.what());
          continue;
        }
        if (!msg) return true;
        if (!deliver(std::move(msg))) return false;
        continue;
      }
      uint8_t* begin = nullptr;
      uint8_t* end = nullptr;
      if (!tmb.getNextMessageV2(begin, end)) return true;
      uint8_t* const record = options_.expectSync ? begin - 1 : begin;
      noteGap(offsetOf(record));
      lastFrameEnd = offsetOf(end);
      // The record's type byte and length precede the frame.
      const uint8_t* frame = begin + 3;
      std::unique_ptr<MessageBase> msg;
      std::string cause;
      try {
        msg.reset(MessageBase::readFromByteArray(frame, static_cast<unsigned int>(end - frame)));
      } catch (const std::exception& e) {
        cause = e.what();
      }
      if (!msg) {
        ++counts_.undecodable;
        report("undecodable frame at offset " + std::to_string(offsetOf(record)) +
               (cause.empty() ? "" : " (" + cause + ")") + ": " + hexBytes(record, end));
        continue;
      }
      if (options_.keepRawData) msg->rawBytes.assign(record, end);
      if (!deliver(std::move(msg))) return false;
    }
  };

  // The V1 reader counts what its sync hunt skipped.
  auto takeHuntCounts = [&]() {
    if (options_.v2) return;
    counts_.garbageBytes += tmb.getSkippedBytes();
    counts_.garbageRuns += tmb.getSkippedRuns();
  };

  for (;;) {
    if (!drain()) {
      tmb.reportErrors = false;  // stopped early: what follows was never looked at
      takeHuntCounts();
      return true;
    }
    const int n = tmb.read();
    if (n < 0) {
      if (errno == EINTR) continue;
      error_ = std::string("cannot read '") + name_ + "': " + std::strerror(errno);
      tmb.reportErrors = false;
      takeHuntCounts();
      return false;
    }
    if (n == 0) break;
    counts_.bytesRead += static_cast<uint64_t>(n);
    if (progress_) progress_->update(counts_.bytesRead);
  }
  takeHuntCounts();

  // What is left could not form a frame: the head of a frame cut off by the end of the input,
  // or garbage too short for the hunt to look at.
  const uint8_t* rest = tmb.pDataStart;
  const uint8_t* restEnd = tmb.pDataEnd;
  const uint64_t restLength = static_cast<uint64_t>(restEnd - rest);
  const uint64_t restOffset = offsetOf(rest);
  if (options_.v2) {
    if (rest == restEnd || (options_.expectSync && *rest != 'Z')) {
      noteGap(counts_.bytesRead);
      return true;
    }
    noteGap(restOffset);
  } else if (rest == restEnd || allZero(rest, restEnd)) {
    return true;  // zero bytes are padding
  } else if (options_.expectSync && tmb.resyncing) {
    counts_.garbageBytes += restLength;  // the tail of the run being skipped
    return true;
  } else if (options_.expectSync && !(rest[0] == 0x55 && (restLength == 1 || rest[1] == 0xAA))) {
    counts_.garbageBytes += restLength;
    ++counts_.garbageRuns;
    report("invalid data (" + std::to_string(restLength) + " bytes) at end of input");
    return true;
  }
  counts_.truncatedBytes += restLength;
  report("truncated frame at end of input (" + std::to_string(restLength) + " bytes at offset " +
         std::to_string(restOffset) + ")");
  return true;
}

}  // namespace vxtrace::cli
