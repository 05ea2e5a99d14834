#pragma once
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "vxtrace/Export.h"
#include "vxtrace/MessageBase.h"

namespace vxtrace::detail {
class Input;
struct ReaderDiagnostics;
struct TraceFileReaderAccess;
}  // namespace vxtrace::detail

// Reads a whole trace file or stream from a descriptor and hands out every record it can
// recover, in order, with an exact account of what it dropped. For applications that read
// files or pipes to their end; TraceMessageBuffer stays the logger's own in-place reader.
//
// A candidate record is taken only when its size field is at least 12, it decodes, and it is
// followed by the start of another record, zero padding or the end of the input. A candidate
// that fails one of these is still taken when no valid record starts inside its span (a good
// record followed by garbage, or an undecodable frame between good ones); otherwise the hunt
// goes on at the byte after its start. With markers, a valid record that starts and ends inside
// a candidate's span rejects it even then (records that carry whole frames, containers and
// wrappers, excepted). So a false marker in garbage, whatever size and header follow it, never
// swallows good records, and a false marker inside a good record never costs that record.
//
// Framings: V1 (55 AA, then the frame from its size field), V2 ('Z', a type byte, a 16-bit
// length, then the frame), each also without its marker.
//
// Memory is constant (one buffer for two frames of the largest size); any descriptor works,
// a non-blocking one included (the reader waits for data). Offsets are 64-bit stream offsets.
// The descriptor stays owned by the caller. Not copyable; one object belongs to one thread.
//
// The decoders' diagnostic lines (util/Diagnostics) are written once per record, when it is
// handed out or reported undecodable; the trial decodes of validation and probing say nothing.
class VXTRACE_API TraceFileReader {
 public:
  enum framing_t { FRAMING_V1 = 0, FRAMING_V1_NOSYNC = 1, FRAMING_V2 = 2, FRAMING_V2_NOSYNC = 3 };

  // One piece of the input that did not become a record.
  struct loss_t {
    enum kind_t { SKIPPED = 0, UNDECODABLE = 1, TRUNCATED = 2 };
    kind_t kind;      // garbage run, whole frame that did not decode, cut-off last record
    uint64_t offset;  // stream offset of its first byte
    uint64_t length;  // bytes
    // Its first bytes (at most kMaxHead), for a dump; valid only during the handler's call.
    const uint8_t* head = nullptr;
    std::size_t headLength = 0;
  };
  static constexpr std::size_t kMaxHead = 2048;

  struct counts_t {
    uint64_t bytesRead = 0;
    uint64_t records = 0;  // records handed out (InvalidMessage included)
    uint64_t skippedBytes = 0;
    uint64_t skippedRuns = 0;
    uint64_t undecodable = 0;  // frames that did not decode
    uint64_t truncatedBytes = 0;
    bool clean() const { return skippedBytes == 0 && undecodable == 0 && truncatedBytes == 0; }
  };

  TraceFileReader(int fd, framing_t framing = FRAMING_V1);
  ~TraceFileReader();
  TraceFileReader(const TraceFileReader&) = delete;
  TraceFileReader& operator=(const TraceFileReader&) = delete;

  // The framing the first bytes of a trace show (n bytes at p; 6 or more for a sure answer).
  static framing_t detectFraming(const uint8_t* p, std::size_t n);

  // Reads the first bytes of the input (on a live stream, what has arrived once a few are
  // there) and names the framing under which the longest chain of records decodes, starting
  // nearest the front. The bytes stay for next(). found is false when no framing decodes a
  // record there; the answer then rests on detectFraming alone.
  framing_t probeFraming(bool* found = nullptr);
  // Before the first next().
  void setFraming(framing_t framing) { framing_ = framing; }
  // The stream offset of the descriptor's position when reading begins (after an lseek), so
  // that reported offsets stay those of the whole stream. Before the first read.
  void setStreamOffset(uint64_t offset) { base_ = offset; }
  // Upper bound of one read(2); the default takes what the buffer holds. Small reads keep a
  // look into the middle of a large file from reading far more than it decodes.
  void setReadSize(std::size_t bytes) { readSize_ = bytes == 0 ? 1 : bytes; }
  // The input ends after this many bytes have been read (a window into a larger file).
  void setReadLimit(uint64_t bytes) { readLimit_ = bytes; }
  framing_t framing() const { return framing_; }

  // Called with every loss as it is found, before the next record is handed out.
  void setLossHandler(std::function<void(const loss_t&)> handler) { onLoss_ = std::move(handler); }

  // Called just before the reader waits for input that has not arrived (a pipe, a terminal, a
  // non-blocking descriptor), so that what the application wrote so far can be flushed.
  void setWaitHandler(std::function<void()> handler) { onWait_ = std::move(handler); }

  // Decoded records get their record bytes (marker and V2 prefix included) in rawBytes.
  bool keepRawData = false;

  // The next record, owned by the caller; null at the end of the input or on a read error
  // (then error() holds the errno value). An undecodable frame comes back as an InvalidMessage
  // when MessageBase::invalidHandling is 1, and is only counted and reported otherwise.
  MessageBase* next();

  // Stream offset of the last record handed out (its marker or V2 prefix).
  uint64_t recordOffset() const { return recordOffset_; }
  // Its length in bytes, marker and V2 prefix included.
  uint64_t recordLength() const { return recordLength_; }
  const counts_t& counts() const { return counts_; }
  int error() const { return error_; }

 private:
  friend struct vxtrace::detail::TraceFileReaderAccess;
  TraceFileReader(std::unique_ptr<vxtrace::detail::Input> input, framing_t framing);
  void releaseHeld(uint64_t offset);

  // At least need bytes from pos_, or false at the end of the input.
  bool fill(std::size_t need) { return end_ - pos_ >= need || refill(need); }
  bool refill(std::size_t need);
  std::size_t available() const { return end_ - pos_; }
  const uint8_t* at(std::size_t rel) const { return buffer_.data() + pos_ + rel; }
  bool hasMarkers() const;
  std::size_t prefix() const;
  std::size_t peek() const;
  std::size_t recordLength(std::size_t rel) const;
  enum Follow { kNone, kEnd, kZero, kStart };
  Follow followAt(std::size_t rel);
  bool decodesAt(std::size_t rel);
  bool decodesAt(std::size_t rel, std::size_t length) const;
  MessageBase* decodeAt(std::size_t rel, std::size_t length) const;
  std::size_t validStart(std::size_t rel);
  std::size_t chainAt(std::size_t rel) const;
  bool validInside(std::size_t from, std::size_t to, bool endingWithin);
  bool validAhead();
  void lose(loss_t::kind_t kind, uint64_t offset, uint64_t length, const uint8_t* head,
            std::size_t headLength);
  void loseTail();
  void closeRun();
  MessageBase* take(MessageBase* msg, std::size_t length);

  std::unique_ptr<vxtrace::detail::Input> input_;
  std::unique_ptr<vxtrace::detail::ReaderDiagnostics> diag_;
  bool plausibleOnly_ = false;
  framing_t framing_;
  std::vector<uint8_t> buffer_;
  std::size_t pos_ = 0;
  std::size_t end_ = 0;
  uint64_t base_ = 0;  // stream offset of buffer_[0]
  bool eof_ = false;
  int error_ = 0;
  bool inRun_ = false;
  uint64_t runStart_ = 0;
  std::vector<uint8_t> runHead_;
  // Zeros are padding only before a record or the end; before garbage they join its run.
  bool inZeros_ = false;
  uint64_t zeroStart_ = 0;
  uint64_t recordOffset_ = 0;
  uint64_t recordLength_ = 0;
  std::size_t readSize_ = ~std::size_t{0};
  uint64_t readLimit_ = ~uint64_t{0};
  uint64_t lastValid_ = 0;   // stream offset of the start validInside() last found
  uint64_t validAhead_ = 0;  // a valid start at the end of the input, once found
  counts_t counts_;
  std::function<void(const loss_t&)> onLoss_;
  std::function<void()> onWait_;
};
