#pragma once
// What a trace holds: records per kind and per channel label, per CAN identifier, error frames
// per channel, the time span, and what the reader lost. Built from records one by one; results
// of parts of a trace read apart merge into the whole.
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "vxtrace/Export.h"
#include "vxtrace/MessageBase.h"
#include "vxtrace/TraceFileReader.h"

namespace vxtrace {

class VXTRACE_API Stats {
 public:
  struct CanId {
    uint32_t id;
    bool extended;
    bool operator<(const CanId& o) const {
      return extended != o.extended ? !extended : id < o.id;  // standard identifiers first
    }
  };
  struct CanIdCount {
    uint64_t count = 0;
    std::vector<std::pair<std::string, uint64_t>> byChannel;  // by label, in channel order
  };

  // Counts a record. contained: it came from inside a container (Reader::depth() > 0).
  // InvalidMessage records are not counted here: the reader's counts hold them.
  void add(const MessageBase& record, bool contained = false);
  // Takes over what the reader read and lost (replacing what an earlier call gave).
  // undecodableBytes: the bytes of the undecodable frames, summed from the loss handler.
  void setReaderCounts(const TraceFileReader::counts_t& counts, uint64_t undecodableBytes = 0);
  // Adds the statistics of a later part of the same trace.
  void merge(const Stats& later);

  // Records read from the input, InvalidMessage records excluded.
  uint64_t records() const { return records_; }
  // Records found inside containers.
  uint64_t contained() const { return contained_; }
  // Earliest and latest time stamp of any record counted (microseconds since the epoch).
  std::optional<uint64_t> firstTime() const { return first_; }
  std::optional<uint64_t> lastTime() const { return last_; }
  // last - first in seconds; 0 without records.
  double durationSeconds() const;
  // records() per second of duration; 0 for a zero duration.
  double framesPerSecond() const;
  const TraceFileReader::counts_t& readerCounts() const { return counts_; }
  uint64_t undecodableBytes() const { return undecodableBytes_; }

  // Per identifier, in identifier order (contained records and their containers both count).
  const std::map<uint16_t, uint64_t>& byKind() const { return kinds_; }
  // Per channel label as dump prints it, in the order of the sources' channel numbers.
  std::vector<std::pair<std::string, uint64_t>> byChannel() const;
  // Per CAN identifier of every record carrying a CAN frame (toCanFrame), standard ones first.
  std::map<CanId, CanIdCount> byCanId() const;
  // CAN error frames per channel label.
  std::vector<std::pair<std::string, uint64_t>> errorFrames() const;

  // A JSON object: "file" when given, "bytes", "records", "contained_records", the first and
  // last time stamps ("..._timestamp_us" and "..._time" in UTC, null without records),
  // "duration_s", "frames_per_second", "garbage_bytes", "garbage_runs", "truncated_bytes",
  // "undecodable_frames", "by_id" (kind name: count), "by_channel" (label: count), "by_can_id"
  // (identifier as candump writes it, "123" or "18DAF110": {"count", "by_channel"}) and
  // "error_frames" (label: count), in this order; maps in the order of the accessors above.
  // Two-blank indentation, one member a line, a newline at the end.
  std::string toJson(const std::optional<std::string>& file = std::nullopt) const;

 private:
  // Sources by channel number, then by name: records without a channel share one number.
  using ChannelKey = std::pair<uint64_t, std::string>;
  static std::vector<std::pair<std::string, uint64_t>> byLabel(
      const std::map<ChannelKey, uint64_t>& counts);

  uint64_t records_ = 0;
  uint64_t contained_ = 0;
  std::optional<uint64_t> first_, last_;
  TraceFileReader::counts_t counts_;
  uint64_t undecodableBytes_ = 0;
  std::map<uint16_t, uint64_t> kinds_;
  std::map<ChannelKey, uint64_t> channels_;
  std::map<CanId, std::map<ChannelKey, uint64_t>> canIds_;
  std::map<ChannelKey, uint64_t> errorFrames_;
};

}  // namespace vxtrace
