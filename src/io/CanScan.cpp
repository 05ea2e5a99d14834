#include "vxtrace/io/CanScan.h"

#include <unistd.h>

#include <cstring>
#include <memory>
#include <optional>
#include <vector>

#include "core/DecodePolicy.h"
#include "io/CanFrameDecode.h"
#include "io/ReaderAccess.h"
#include "util/ByteOrder.h"
#include "util/Diagnostics.h"
#include "vxtrace/ContainerMessage.h"

namespace vxtrace {

namespace {

using detail::loadBE16;

// Whether a marker inside a record's span (after its own) could start a record that also ends
// inside it: then the validating reader might split the record, and only it can say.
bool suspectInside(const uint8_t* record, std::size_t length) {
  for (std::size_t i = 1; i + 4 <= length; ++i) {
    const void* hit = std::memchr(record + i, 0x55, length - i);
    if (hit == nullptr) return false;
    i = static_cast<std::size_t>(static_cast<const uint8_t*>(hit) - record);
    if (i + 4 > length) return false;
    const std::size_t size = loadBE16(record + i + 2);
    if (record[i + 1] == 0xAA && size >= 12 && i + size + 4 <= length) return true;
  }
  return false;
}

bool isCan(msgid_t id) { return id == MSGID_CAN || id == MSGID_CAN_EXT || id == MSGID_CAN_PROXY; }

class Walker {
 public:
  // One of take (each frame with its record or bytes) and store (frames straight into it).
  Walker(const CanFrameTake* take, CanFrameStore* store, bool expand)
      : take_(take), store_(store), expand_(expand) {}

  // One record of length bytes at p (marker included); false when the chain is not clean.
  bool record(const uint8_t* p, std::size_t length) {
    const uint8_t* frame = p + 2;
    const std::size_t frameLength = length - 2;
    if (isCan(static_cast<msgid_t>(loadBE16(p + 4)))) {
      const char* why = detail::decodeCanFrame(frame, frameLength, slot());
      if (why == kUndecodableCanFrame || suspectInside(p, length)) return false;
      if (why == nullptr) taken(nullptr, frame, frameLength);
      return quiet_;
    }
    std::unique_ptr<MessageBase> msg;
    try {
      msg.reset(MessageBase::readFromByteArray(frame, static_cast<unsigned int>(frameLength)));
    } catch (...) {
      return false;
    }
    if (!msg || msg->msgId == MSGID_INVALID) return false;
    if (msg->msgId == MSGID_CONTAINER || msg->msgId == MSGID_WRAPPER) {
      // Records that carry whole frames are taken whatever their inside looks like.
      if (msg->msgId == MSGID_CONTAINER && expand_ && !expand(*msg, 1)) return false;
    } else if (suspectInside(p, length)) {
      return false;
    }
    return quiet_;
  }

  // Commits the frames of the last room.
  void flush() {
    if (room_ != 0) store_->commit(used_);
    used_ = room_ = 0;
  }

  bool quiet() const { return quiet_; }
  detail::LineCollector lines{[this](DiagnosticLevel, const std::string&) { quiet_ = false; }};

 private:
  // Where the next frame is read to: straight into the store's room.
  CanFrame& slot() {
    if (store_ == nullptr) return own_;
    if (used_ == room_) {
      flush();
      frames_ = store_->room(room_);
    }
    return frames_[used_];
  }
  void taken(const MessageBase* record, const uint8_t* bytes, std::size_t size) {
    if (store_ == nullptr)
      (*take_)(own_, record, bytes, size);
    else
      ++used_;
  }

  // Depth first, as Reader hands contained records out, and no deeper than it expands.
  bool expand(const MessageBase& msg, unsigned depth) {
    const auto* container = dynamic_cast<const ContainerMessage*>(&msg);
    if (container == nullptr) return false;
    container->messages.clear();
    if (!container->decompress(container->numOfMsg, container->data.data(),
                               static_cast<unsigned int>(container->data.size())))
      return false;
    for (const auto& inner : container->messages) {
      if (inner->msgId == MSGID_INVALID) return false;
      if (isCan(inner->msgId) && toCanFrame(*inner, slot()) == nullptr)
        taken(inner.get(), nullptr, 0);
      if (inner->msgId == MSGID_CONTAINER && depth < Reader::kMaxDepth &&
          !expand(*inner, depth + 1))
        return false;
    }
    container->messages.clear();
    return true;
  }

  const CanFrameTake* take_;
  CanFrameStore* store_;
  const bool expand_;
  CanFrame own_;                  // take's frame
  CanFrame* frames_ = nullptr;    // the store's room
  std::size_t room_ = 0, used_ = 0;
  bool quiet_ = true;
};

constexpr uint64_t kNowhere = ~uint64_t{0};

// The longest record, marker included, and the marker of its successor: how far past a part's
// end a clean chain's walk may read.
constexpr std::size_t kPastEnd = 0xFFFF + 4 + 2;

// A walk of the records in have bytes at data, from at on, the first byte at stream offset
// base, up to the first record at or past end; eof: the input ends after them. visit(record,
// length) says whether a record keeps the chain clean.
struct Span {
  const uint8_t* data;
  std::size_t have;
  uint64_t base;
  bool eof;
};
enum class Walked { Landed, Unclean, More };
template <typename Visit>
Walked walkSpan(const Span& span, uint64_t end, Visit& visit, std::size_t& at, uint64_t& records,
                uint64_t& landing) {
  const std::size_t have = span.have;
  while (have - at >= 4) {
    if (end != kNowhere && span.base + at >= end) {
      landing = span.base + at;
      return Walked::Landed;
    }
    const uint8_t* p = span.data + at;
    if (p[0] != 0x55 || p[1] != 0xAA) return Walked::Unclean;
    const std::size_t length = loadBE16(p + 2) + std::size_t{4};
    if (length < 16) return Walked::Unclean;
    if (have - at < length) break;
    // Its successor must start with a marker too, or the input end right after it.
    if (have - at >= length + 2 && (p[length] != 0x55 || p[length + 1] != 0xAA))
      return Walked::Unclean;
    if (have - at < length + 2 && !span.eof) break;
    if (!visit(p, length)) return Walked::Unclean;
    at += length;
    ++records;
  }
  if (!span.eof) return Walked::More;
  landing = span.base + at;
  return at == have ? Walked::Landed : Walked::Unclean;
}

// Walks the part's records from its first byte, in bytes when they are the part's, else from
// the file; the number of records, with landing set to where the first record past the part
// begins (or the end of the input); 0 if not clean.
template <typename Visit>
uint64_t walk(Part& part, const CanPartBytes* bytes, Visit&& visit, uint64_t& landing) {
  const uint64_t end = part.end();
  uint64_t records = 0;
  std::size_t at = 0;
  if (bytes != nullptr && bytes->data() != nullptr && bytes->begin() == part.begin()) {
    // They hold the longest record that may start in the part: a walk that asks for more has
    // met no clean chain.
    const Span span{bytes->data(), bytes->size(), bytes->begin(), bytes->toEnd()};
    return walkSpan(span, end, visit, at, records, landing) == Walked::Landed ? records : 0;
  }
  const int fd = part.reader().source().fd();
  uint64_t base = part.begin();  // stream offset of buffer[0]
  uint64_t readAt = base;
  // Four of the longest records. Not zeroed: every byte walked is read into it first.
  constexpr std::size_t kBuffer = 256 << 10;
  const std::unique_ptr<uint8_t[]> buffer(new uint8_t[kBuffer]);
  std::size_t have = 0;
  bool eof = false;
  for (;;) {
    if (!eof && have < kBuffer) {
      const ssize_t n = ::pread(fd, buffer.get() + have, kBuffer - have,
                                static_cast<off_t>(readAt));
      if (n < 0) return 0;
      eof = n == 0;
      readAt += static_cast<uint64_t>(n);
      have += static_cast<std::size_t>(n);
      if (n > 0) continue;  // fill the buffer before walking it
    }
    at = 0;
    switch (walkSpan(Span{buffer.get(), have, base, eof}, end, visit, at, records, landing)) {
      case Walked::Landed:
        return records;
      case Walked::Unclean:
        return 0;
      case Walked::More:
        break;
    }
    std::memmove(buffer.get(), buffer.get() + at, have - at);
    have -= at;
    base += at;
  }
}

}  // namespace

namespace {

// Whether the part is read from a file that a walk can read itself: the chains it takes are
// V1 records with markers.
bool walkable(Part& part) {
  Reader& reader = part.reader();  // framing() may read the first record
  return reader.source().fd() >= 0 && reader.source().seekable() && reader.framing() == Framing::V1;
}

uint64_t takeClean(Part& part, const CanFrameTake* take, CanFrameStore* store,
                   const CanPartBytes* bytes) {
  if (!walkable(part)) return 0;
  Reader& reader = part.reader();
  const ReadPolicy& policy = reader.policy();
  Walker walker(take, store, policy.expandContainers);
  uint64_t landing = 0, records = 0;
  {
    const detail::DecodePolicy decode{policy.invalidRecords, policy.decodeDiagnostics};
    detail::DecodePolicyScope decoding(decode);
    detail::DiagnosticScope lines(walker.lines);
    records = walk(
        part, bytes,
        [&walker](const uint8_t* p, std::size_t length) { return walker.record(p, length); },
        landing);
  }
  walker.flush();
  if (records == 0 || !walker.quiet()) return 0;
  // The part's reader goes on at the first record past the part, so that the part ends where
  // reading it from its start would have ended it. What is found there is the next part's.
  detail::ReaderAccess::restart(reader, detail::fileInput(reader.source().fd(), landing), landing,
                                false);
  reader.setDiagnosticHandler([](uint64_t, DiagnosticLevel, const std::string&) {});
  return records;
}

}  // namespace

bool CanPartBytes::read(Part& part, std::size_t maxBytes) {
  data_.reset();
  size_ = 0;
  if (!walkable(part)) return false;
  const std::optional<uint64_t> inputSize = part.reader().source().size();
  const uint64_t begin = part.begin(), end = part.end();
  if (!inputSize || *inputSize < begin) return false;
  const uint64_t left = *inputSize - begin;
  const bool toEnd = end == kNowhere || end - begin >= left - std::min<uint64_t>(left, kPastEnd);
  const uint64_t want = toEnd ? left : end - begin + kPastEnd;
  if (want > maxBytes) return false;
  // Not zeroed: every byte is read into it.
  std::unique_ptr<uint8_t[]> data(new uint8_t[static_cast<std::size_t>(want)]);
  std::size_t got = 0;
  while (got < want) {
    const ssize_t n = ::pread(part.reader().source().fd(), data.get() + got,
                              static_cast<std::size_t>(want) - got, static_cast<off_t>(begin + got));
    if (n <= 0) break;
    got += static_cast<std::size_t>(n);
  }
  // A file that changed size since it was opened is read from the file, as it is then.
  uint8_t past;
  if (got != want || (toEnd && ::pread(part.reader().source().fd(), &past, 1,
                                       static_cast<off_t>(begin + want)) != 0))
    return false;
  data_ = std::move(data);
  size_ = got;
  begin_ = begin;
  toEnd_ = toEnd;
  return true;
}

uint64_t takeCleanCanFrames(Part& part, const CanFrameTake& take, const CanPartBytes* bytes) {
  return takeClean(part, &take, nullptr, bytes);
}

uint64_t takeCleanCanFramesInto(Part& part, CanFrameStore& store, const CanPartBytes* bytes) {
  return takeClean(part, nullptr, &store, bytes);
}

std::optional<uint64_t> countCleanCanRecords(Part& part, const CanPartBytes* bytes) {
  if (!walkable(part)) return std::nullopt;
  uint64_t frames = 0, landing = 0;
  const uint64_t records = walk(
      part, bytes,
      [&frames](const uint8_t* p, std::size_t) {
        const auto id = static_cast<msgid_t>(loadBE16(p + 4));
        frames += isCan(id);
        return id != MSGID_CONTAINER;
      },
      landing);
  if (records == 0) return std::nullopt;
  return frames;
}

}  // namespace vxtrace
