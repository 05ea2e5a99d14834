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
  // Time stamps a logger can have written: from 1990 up to 2100 (UTC), in microseconds.
  static constexpr uint64_t kPlausibleFrom = 631152000ULL * 1000000;
  static constexpr uint64_t kPlausibleTo = 4102444800ULL * 1000000;
  // Gaps listed one by one; more are only counted.
  static constexpr std::size_t kMaxGapsListed = 20;

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
  struct Gap {
    uint64_t after;   // time stamp of the record before the pause
    uint64_t length;  // microseconds
  };
  // The time stamps in stream order, each record against the one before it.
  struct Anomalies {
    uint64_t backwards = 0;    // earlier than the record before
    uint64_t gaps = 0;         // later than the record before by more than the gap
    std::vector<Gap> gapList;  // the first kMaxGapsListed gaps
    uint64_t implausible = 0;  // outside [kPlausibleFrom, kPlausibleTo)
  };

  // gapUs: a pause longer than this between neighbouring records is a gap.
  explicit Stats(uint64_t gapUs = 60000000) : gapUs_(gapUs) {}

  // Counts a record. contained: it came from inside a container (Reader::depth() > 0).
  // InvalidMessage records are not counted here: the reader's counts hold them.
  void add(const MessageBase& record, bool contained = false);
  // Takes over what the reader read and lost (replacing what an earlier call gave).
  // undecodableBytes: the bytes of the undecodable frames, summed from the loss handler.
  void setReaderCounts(const TraceFileReader::counts_t& counts, uint64_t undecodableBytes = 0);
  // Adds the statistics of the part of the same trace that follows (same gap).
  void merge(const Stats& later);

  // Records read from the input, InvalidMessage records excluded.
  uint64_t records() const { return records_; }
  // Records found inside containers.
  uint64_t contained() const { return contained_; }
  // Container records, uncompressed and LZ4-compressed.
  uint64_t plainContainers() const { return plain_; }
  uint64_t lz4Containers() const { return lz4_; }
  // Earliest and latest time stamp of any record counted (microseconds since the epoch).
  std::optional<uint64_t> firstTime() const { return first_; }
  std::optional<uint64_t> lastTime() const { return last_; }
  // Time stamps of the first and the last record in stream order.
  std::optional<uint64_t> firstRecordTime() const { return firstInOrder_; }
  std::optional<uint64_t> lastRecordTime() const { return lastInOrder_; }
  const Anomalies& anomalies() const { return anomalies_; }
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
  // The same in the order the labels first occur in the trace.
  std::vector<std::pair<std::string, uint64_t>> byChannelInOrder() const;
  // Per CAN identifier of every record carrying a CAN frame (toCanFrame), standard ones first.
  std::map<CanId, CanIdCount> byCanId() const;
  // CAN error frames per channel label.
  std::vector<std::pair<std::string, uint64_t>> errorFrames() const;

  // A JSON object: "file" when given, "bytes", "records", "contained_records", the first and
  // last time stamps ("..._timestamp_us" and "..._time" in UTC, null without records),
  // "duration_s", "frames_per_second", "garbage_bytes", "garbage_runs", "truncated_bytes",
  // "undecodable_frames", "by_id" (kind name: count), "by_channel" (label: count), and with
  // canIds "by_can_id" (identifier as candump writes it, "123" or "18DAF110": {"count",
  // "by_channel"}) and "error_frames" (label: count), in this order; maps in the order of the
  // accessors above. Two-blank indentation, one member a line, a newline at the end.
  std::string toJson(const std::optional<std::string>& file = std::nullopt,
                     bool canIds = true) const;

 private:
  // A source of records: one per source key (MessageBase::getSourceChannelID), and for the
  // records without one (all ones), one per channel name. Its label is built once.
  struct Source {
    std::string label;
    uint64_t records = 0;
    uint64_t errorFrames = 0;
    uint64_t seen = 0;  // rank of its first record
  };
  using SourceKey = std::pair<uint64_t, std::string>;  // name only for key all ones
  // The source of the record before, when it had a key; a copy starts without it.
  struct LastSource {
    uint64_t key = ~0ULL;
    Source* source = nullptr;
    LastSource() = default;
    LastSource(const LastSource&) {}
    LastSource& operator=(const LastSource&) {
      key = ~0ULL;
      source = nullptr;
      return *this;
    }
  };
  Source& source(const MessageBase& record);
  // Rows (source key, count) in key order as rows by label, at the place of the label's first
  // source.
  std::vector<std::pair<std::string, uint64_t>> byLabel(
      const std::vector<std::pair<const SourceKey*, uint64_t>>& rows) const;

  uint64_t gapUs_;
  uint64_t records_ = 0;
  uint64_t contained_ = 0;
  uint64_t plain_ = 0, lz4_ = 0;
  std::optional<uint64_t> first_, last_, firstInOrder_, lastInOrder_;
  Anomalies anomalies_;
  TraceFileReader::counts_t counts_;
  uint64_t undecodableBytes_ = 0;
  std::map<uint16_t, uint64_t> kinds_;
  std::map<SourceKey, Source> sources_;
  uint64_t ranks_ = 0;  // Source::seen values given
  LastSource lastSource_;
  std::map<CanId, std::map<SourceKey, uint64_t>> canIds_;
};

}  // namespace vxtrace
