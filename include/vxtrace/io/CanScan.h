#pragma once
// The CAN frames of one part of a parallel scan without a record per frame, where the part is
// what a logger writes: V1 records with markers, one right after the other. There the
// validating reader would take every record as it stands, so the CAN records are read straight
// from their bytes (toCanFrame on bytes) and only the other records are decoded. Anything else
// in the part (garbage, padding, a frame that does not decode, a diagnostic line, a marker
// inside a record that might start a record of its own) leaves the part to Part::next(), which
// then reports exactly what it finds.
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "vxtrace/Export.h"
#include "vxtrace/io/CanFrame.h"
#include "vxtrace/io/ParallelScan.h"

namespace vxtrace {

// frame: the CAN frame. record: its record where one was decoded (inside a container), else
// null and bytes, size hold the record's frame from its size field on, as the decoders take
// it. Both valid during the call only.
using CanFrameTake = std::function<void(const CanFrame& frame, const MessageBase* record,
                                        const uint8_t* bytes, std::size_t size)>;

// A part's bytes read into memory once, for the count and the take below: reading the file
// again costs a copy per byte, and a part that reads its bytes while the parts before it count
// theirs waits less for them.
class VXTRACE_API CanPartBytes {
 public:
  // Reads the part's bytes, through the longest record that may start in it, when they number
  // no more than maxBytes and the part is read from a seekable file; false otherwise (nothing
  // is held, and the functions below read the file as without). Call before the part's first
  // next().
  bool read(Part& part, std::size_t maxBytes);

  uint64_t begin() const { return begin_; }  // the stream offset of data()[0]
  const uint8_t* data() const { return data_.get(); }
  std::size_t size() const { return size_; }
  bool toEnd() const { return toEnd_; }  // they run to the end of the input

 private:
  std::unique_ptr<uint8_t[]> data_;
  std::size_t size_ = 0;
  uint64_t begin_ = 0;
  bool toEnd_ = false;
};

// When the part is a clean chain of a file source: calls take for each of its CAN frames in
// order (those inside containers too when the part's policy expands them) and returns the
// number of records the part holds; next() then gives null, and the part's counts() leave
// these records out. Otherwise returns 0 and the frames already given must be dropped: the
// part is as it was, to be read with next(). Call before the part's first next(). bytes: the
// part's, if read.
VXTRACE_API uint64_t takeCleanCanFrames(Part& part, const CanFrameTake& take,
                                        const CanPartBytes* bytes = nullptr);

// Memory of a caller's own that takeCleanCanFramesInto decodes frames straight into.
class VXTRACE_API CanFrameStore {
 public:
  virtual ~CanFrameStore() = default;
  // Room for count frames (at least one), right after the frames committed so far. Each room
  // is followed by one commit before the next room is asked for or the take returns.
  virtual CanFrame* room(std::size_t& count) = 0;
  // The first count frames of the room given last now hold frames; the rest of it is free.
  virtual void commit(std::size_t count) = 0;
};

// The same, for a caller that needs no frame's record or bytes: the frames are decoded into
// store, with no call per frame. A part that is not clean may have committed frames before 0
// is returned.
VXTRACE_API uint64_t takeCleanCanFramesInto(Part& part, CanFrameStore& store,
                                            const CanPartBytes* bytes = nullptr);

// At least as many as the CAN frames takeCleanCanFrames would take from the part (the CAN
// records of its chain), or nothing where it cannot tell without decoding: the part is not
// such a chain, or holds a container. Reads the part's bytes without moving the part: for a
// caller that places each part's frames before reading them.
VXTRACE_API std::optional<uint64_t> countCleanCanRecords(Part& part,
                                                         const CanPartBytes* bytes = nullptr);

}  // namespace vxtrace
