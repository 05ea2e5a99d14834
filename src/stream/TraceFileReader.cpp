#include "vxtrace/TraceFileReader.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <ostream>

#include "core/DecodePolicy.h"
#include "stream/TraceFileReaderInternals.h"
#include "util/ByteOrder.h"

using vxtrace::detail::DiagnosticScope;
using vxtrace::detail::loadBE16;
using vxtrace::detail::loadBE64;

namespace {

// Room for a candidate of the largest size and a valid record starting just before its end.
constexpr std::size_t kCapacity = 256 * 1024;

// Records whose bodies hold whole frames, markers included.
bool carriesFrames(const MessageBase& msg) {
  return msg.msgId == MSGID_CONTAINER || msg.msgId == MSGID_WRAPPER;
}

// Only InvalidMessage carries this identifier (it is never registered); a type test would
// cost more than the rest of the validation.
bool isInvalid(const MessageBase* msg) { return msg == nullptr || msg->msgId == MSGID_INVALID; }

// A time stamp of a logger that ran between 1990 and 2100 (microseconds since the epoch).
constexpr uint64_t kEarliest = 631152000ULL * 1000000ULL;
constexpr uint64_t kLatest = 4102444800ULL * 1000000ULL;
constexpr uint64_t kDay = 86400ULL * 1000000ULL;

class DescriptorInput : public vxtrace::detail::Input {
 public:
  explicit DescriptorInput(int fd) : fd_(fd) {}
  ssize_t read(uint8_t* into, std::size_t room) override { return ::read(fd_, into, room); }
  bool idle() override {
    pollfd p{fd_, POLLIN, 0};
    return ::poll(&p, 1, 0) == 0;
  }
  void wait() override {
    pollfd p{fd_, POLLIN, 0};
    ::poll(&p, 1, -1);
  }

 private:
  int fd_;
};

class MemoryInput : public vxtrace::detail::Input {
 public:
  MemoryInput(const uint8_t* data, std::size_t length) : data_(data), left_(length) {}
  ssize_t read(uint8_t* into, std::size_t room) override {
    const std::size_t n = std::min(room, left_);
    if (n != 0) std::memcpy(into, data_, n);
    data_ += n;
    left_ -= n;
    return static_cast<ssize_t>(n);
  }
  bool idle() override { return false; }
  void wait() override {}

 private:
  const uint8_t* data_;
  std::size_t left_;
};

}  // namespace

namespace vxtrace::detail {

std::unique_ptr<Input> descriptorInput(int fd) { return std::make_unique<DescriptorInput>(fd); }

std::unique_ptr<Input> memoryInput(const uint8_t* data, std::size_t length) {
  return std::make_unique<MemoryInput>(data, length);
}

}  // namespace vxtrace::detail

TraceFileReader::TraceFileReader(int fd, framing_t framing)
    : TraceFileReader(vxtrace::detail::descriptorInput(fd), framing) {}

TraceFileReader::TraceFileReader(std::unique_ptr<vxtrace::detail::Input> input, framing_t framing)
    : input_(std::move(input)),
      diag_(std::make_unique<vxtrace::detail::ReaderDiagnostics>()),
      framing_(framing),
      buffer_(kCapacity) {
  runHead_.reserve(kMaxHead);
}

TraceFileReader::~TraceFileReader() = default;

TraceFileReader::framing_t TraceFileReader::detectFraming(const uint8_t* p, std::size_t n) {
  if (n >= 2 && p[0] == 0x55 && p[1] == 0xAA) return FRAMING_V1;
  if (n >= 6 && p[0] == 'Z' && loadBE16(p + 2) >= 14 && loadBE16(p + 4) == loadBE16(p + 2) - 2)
    return FRAMING_V2;
  if (n >= 5 && loadBE16(p + 1) >= 14 && loadBE16(p + 3) == loadBE16(p + 1) - 2)
    return FRAMING_V2_NOSYNC;
  if (n >= 4 && loadBE16(p) >= 12) return FRAMING_V1_NOSYNC;
  return FRAMING_V1;
}

bool TraceFileReader::refill(std::size_t need) {
  while (available() < need) {
    if (eof_ || need > buffer_.size()) return false;
    if (buffer_.size() - pos_ < need || end_ == buffer_.size()) {
      std::memmove(buffer_.data(), buffer_.data() + pos_, available());
      base_ += pos_;
      end_ -= pos_;
      pos_ = 0;
    }
    if (onWait_ && input_->idle()) onWait_();
    const uint64_t left = readLimit_ - std::min(readLimit_, counts_.bytesRead);
    if (left == 0) {
      eof_ = true;
      continue;
    }
    const std::size_t room = std::min(buffer_.size() - end_, readSize_);
    const ssize_t n = input_->read(buffer_.data() + end_,
                                   static_cast<std::size_t>(std::min<uint64_t>(room, left)));
    if (n > 0) {
      end_ += static_cast<std::size_t>(n);
      counts_.bytesRead += static_cast<uint64_t>(n);
    } else if (n == 0) {
      eof_ = true;
    } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
      if (onWait_) onWait_();
      input_->wait();  // a live stream: wait for data instead of ending
    } else if (errno != EINTR) {
      error_ = errno;
      eof_ = true;
    }
  }
  return true;
}

// Records that decode one after another from rel, within what is buffered (at most 16).
std::size_t TraceFileReader::chainAt(std::size_t rel) const {
  std::size_t n = 0;
  uint64_t previous = 0;
  while (n < 16 && rel + peek() <= available()) {
    const std::size_t length = recordLength(rel);
    if (length == 0 || rel + length > available() || !decodesAt(rel, length)) break;
    if (plausibleOnly_) {
      // A real logger's clock: from 1990 to 2100, and no day-long jumps between neighbours.
      const uint64_t t = loadBE64(at(rel + prefix() + 6));
      if (t < kEarliest || t >= kLatest ||
          (n != 0 && (t > previous ? t - previous : previous - t) > kDay))
        break;
      previous = t;
    }
    ++n;
    rel += length;
    while (hasMarkers() && rel < available() && *at(rel) == 0) ++rel;
  }
  return n;
}

TraceFileReader::framing_t TraceFileReader::probeFraming(bool* found) {
  DiagnosticScope mute(diag_->mute);  // what trial decodes say is nobody's business
  fill(6);
  const framing_t given = framing_;
  framing_t best = detectFraming(at(0), available());
  std::size_t bestChain = 0, bestStart = 0;
  // Garbage at the front is looked past, within reason.
  const std::size_t window = std::min<std::size_t>(available(), 4096);
  for (framing_t f : {FRAMING_V1, FRAMING_V2, FRAMING_V1_NOSYNC, FRAMING_V2_NOSYNC}) {
    framing_ = f;
    for (std::size_t rel = 0; rel < window; ++rel) {
      const std::size_t chain = chainAt(rel);
      if (chain == 0) continue;
      if (chain > bestChain || (chain == bestChain && rel < bestStart)) {
        best = f;
        bestChain = chain;
        bestStart = rel;
      }
      break;
    }
  }
  framing_ = given;
  if (found) *found = bestChain > 0;
  return best;
}

std::size_t TraceFileReader::prefix() const {
  static const std::size_t kPrefix[] = {2, 0, 4, 3};
  return kPrefix[framing_];
}

std::size_t TraceFileReader::peek() const {
  static const std::size_t kPeek[] = {4, 4, 6, 5};
  return kPeek[framing_];
}

// Length of the record whose header starts at rel, when the header is plausible; else 0.
// Needs peek() bytes there.
std::size_t TraceFileReader::recordLength(std::size_t rel) const {
  const uint8_t* p = at(rel);
  switch (framing_) {
    case FRAMING_V1: {
      if (p[0] != 0x55 || p[1] != 0xAA) return 0;
      const std::size_t size = loadBE16(p + 2);
      return size < 12 ? 0 : size + 4;
    }
    case FRAMING_V1_NOSYNC: {
      // Without a marker only a known identifier makes a start plausible.
      const std::size_t size = loadBE16(p);
      if (size < 12 ||
          vxtrace::detail::findCreator(static_cast<msgid_t>(loadBE16(p + 2))) == nullptr)
        return 0;
      return size + 2;
    }
    case FRAMING_V2:
      if (p[0] != 'Z') return 0;
      ++p;
      break;
    case FRAMING_V2_NOSYNC:
      break;
  }
  // The V2 length must agree with the frame's own size field.
  const std::size_t length = loadBE16(p + 1);
  if (length < 14 || loadBE16(p + 3) != length - 2) return 0;
  return length + prefix();
}

MessageBase* TraceFileReader::decodeAt(std::size_t rel, std::size_t length) const {
  try {
    return MessageBase::readFromByteArray(at(rel + prefix()),
                                          static_cast<unsigned int>(length - prefix()));
  } catch (...) {
    return nullptr;  // whatever a creator throws, the frame did not decode
  }
}

// The literal rule: a plausible header, the whole record present, a fitting successor, and
// the frame decodes.
std::size_t TraceFileReader::validStart(std::size_t rel) {
  if (!fill(rel + peek())) return 0;
  const std::size_t length = recordLength(rel);
  if (length == 0 || !fill(rel + length)) return 0;
  const Follow follow = followAt(rel + length);
  if (follow == kNone || (follow == kZero && !hasMarkers())) return 0;
  return decodesAt(rel, length) ? length : 0;
}

bool TraceFileReader::decodesAt(std::size_t rel) {
  if (!fill(rel + peek())) return false;
  const std::size_t length = recordLength(rel);
  return length != 0 && fill(rel + length) && decodesAt(rel, length);
}

bool TraceFileReader::decodesAt(std::size_t rel, std::size_t length) const {
  DiagnosticScope mute(diag_->mute);
  std::unique_ptr<MessageBase> msg(decodeAt(rel, length));
  return !isInvalid(msg.get());
}

// What comes after a record that ends at rel.
TraceFileReader::Follow TraceFileReader::followAt(std::size_t rel) {
  if (!fill(rel + 1)) return kEnd;
  if (!fill(rel + peek())) return kEnd;  // the cut-off tail is reported on its own
  if (recordLength(rel) != 0) return kStart;
  // Zero padding separates records only where they carry markers: without them a zero is
  // most often the high byte of the next size field.
  if (hasMarkers() && *at(rel) == 0) return kZero;
  return kNone;
}

bool TraceFileReader::hasMarkers() const {
  return framing_ == FRAMING_V1 || framing_ == FRAMING_V2;
}

bool TraceFileReader::validInside(std::size_t from, std::size_t to, bool endingWithin) {
  const bool sync = hasMarkers();
  const uint8_t marker = framing_ == FRAMING_V1 ? 0x55 : 'Z';
  for (std::size_t rel = from; rel < to; ++rel) {
    if (sync) {
      const void* hit = std::memchr(at(rel), marker, to - rel);
      if (hit == nullptr) return false;
      rel = static_cast<std::size_t>(static_cast<const uint8_t*>(hit) - at(0));
    }
    const std::size_t length = validStart(rel);
    if (length != 0 && (!endingWithin || rel + length <= to)) {
      lastValid_ = base_ + pos_ + rel;
      return true;
    }
  }
  return false;
}

// At the end of the input (nothing more arrives), whether a valid record starts after pos_. The
// start found is kept: a long tail is not searched again from each of its bytes.
bool TraceFileReader::validAhead() {
  if (validAhead_ > base_ + pos_) return true;
  if (!validInside(1, available(), false)) return false;
  validAhead_ = lastValid_;
  return true;
}

void TraceFileReader::releaseHeld(uint64_t offset) {
  for (const auto& [level, line] : diag_->held) {
    if (diag_->handler)
      diag_->handler(offset, level, line);
    else
      vxtrace::diagnosticStream(level) << line << std::endl;
  }
  diag_->held.clear();
}

void TraceFileReader::lose(loss_t::kind_t kind, uint64_t offset, uint64_t length,
                           const uint8_t* head, std::size_t headLength) {
  if (onLoss_) onLoss_(loss_t{kind, offset, length, head, std::min(headLength, kMaxHead)});
}

// The input ends inside a record that cannot be completed.
void TraceFileReader::loseTail() {
  closeRun();
  inZeros_ = false;
  counts_.truncatedBytes += available();
  lose(loss_t::TRUNCATED, base_ + pos_, available(), at(0), available());
  pos_ = end_;
}

void TraceFileReader::closeRun() {
  if (!inRun_) return;
  inRun_ = false;
  const uint64_t length = base_ + pos_ - runStart_;
  counts_.skippedBytes += length;
  ++counts_.skippedRuns;
  lose(loss_t::SKIPPED, runStart_, length, runHead_.data(), runHead_.size());
}

MessageBase* TraceFileReader::take(MessageBase* msg, std::size_t length) {
  inZeros_ = false;
  recordOffset_ = base_ + pos_;
  recordLength_ = length;
  if (keepRawData) msg->rawBytes.assign(at(0), at(length));
  pos_ += length;
  ++counts_.records;
  return msg;
}

MessageBase* TraceFileReader::next() {
  for (;;) {
    if (!fill(1)) {
      closeRun();
      return nullptr;
    }
    const bool header = fill(peek());
    const std::size_t length = header ? recordLength(0) : 0;
    if (length != 0 && !fill(length) && !validAhead()) {
      loseTail();  // no valid record starts within what is left
      continue;
    }
    if (length != 0 && available() >= length) {
      const Follow follow = followAt(length);
      // Its lines are held until it is taken: a candidate that turns out to be garbage says
      // nothing.
      diag_->held.clear();
      std::unique_ptr<MessageBase> msg;
      {
        DiagnosticScope hold(diag_->holder);
        msg.reset(decodeAt(0, length));
      }
      const bool decoded = !isInvalid(msg.get());
      const bool sure = decoded && (follow == kEnd || follow == kStart);
      bool accept = false;
      if (!hasMarkers()) {
        // Without markers every byte could start a record: after garbage, the record after
        // this one must decode too before the hunt trusts the alignment.
        accept = sure && (!inRun_ || follow == kEnd || decodesAt(length));
      } else if (sure) {
        // A false header whose claimed end happens to fall on a record boundary would swallow
        // the records between: a valid record that starts and ends inside rejects it. One that
        // runs on beyond it is a false marker inside a good record (a time stamp holding 55 AA).
        accept = carriesFrames(*msg) || !validInside(1, length, true);
      } else if (decoded || follow != kNone) {
        // Without a sure successor, any valid record starting inside rejects it.
        accept = !validInside(1, length, false);
      }
      if (accept) {
        closeRun();
        releaseHeld(base_ + pos_);
        if (decoded) return take(msg.release(), length);
        ++counts_.undecodable;
        inZeros_ = false;
        lose(loss_t::UNDECODABLE, base_ + pos_, length, at(0), length);
        if (msg) return take(msg.release(), length);
        pos_ += length;
        continue;
      }
    } else if (!header && hasMarkers() && *at(0) == (framing_ == FRAMING_V1 ? 0x55 : 'Z')) {
      loseTail();  // a marker in the last few bytes: the head of a record cut off by the end
      continue;
    } else if (!inRun_ && *at(0) == 0) {
      if (!inZeros_) {
        inZeros_ = true;
        zeroStart_ = base_ + pos_;
      }
      ++pos_;  // padding, unless garbage follows
      // With markers no zero starts a record: the whole run goes at once, not byte by byte
      // through the loop (gigabytes of it in a preallocated trace file).
      if (hasMarkers())
        pos_ = static_cast<std::size_t>(std::find_if(buffer_.begin() + pos_, buffer_.begin() + end_,
                                                     [](uint8_t b) { return b != 0; }) -
                                        buffer_.begin());
      continue;
    }
    if (!inRun_) {
      inRun_ = true;
      runStart_ = base_ + pos_;
      runHead_.clear();
      if (inZeros_) {
        runHead_.assign(std::min<uint64_t>(runStart_ - zeroStart_, kMaxHead), 0);
        runStart_ = zeroStart_;
        inZeros_ = false;
      }
    }
    if (runHead_.size() < kMaxHead) runHead_.push_back(*at(0));
    ++pos_;
  }
}
