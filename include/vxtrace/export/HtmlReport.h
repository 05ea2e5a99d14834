#pragma once
// A trace as pictures: one self-contained HTML page (inline SVG and CSS, no script, nothing
// fetched) with the files read, bus load and frame rates over time per channel, the events on
// the time line, the busiest CAN identifiers and the records per kind.
//
// Built in one pass in constant memory: feed it every record as read (the records inside
// containers too) and every loss the reader reports, then write the page. The time axis is
// binned: it starts at bins buckets of 1 ms and doubles the bucket width (merging neighbours)
// whenever a record falls outside, so the page has at most `bins` columns whatever the trace's
// length, and between bins/2 and bins once the trace spans more than bins milliseconds.
#include <cstdint>
#include <map>
#include <memory>
#include <ostream>
#include <string>

#include "vxtrace/Export.h"
#include "vxtrace/MessageBase.h"
#include "vxtrace/TraceFileReader.h"

namespace vxtrace {

struct HtmlReportOptions {
  static constexpr unsigned kMinBins = 10;
  static constexpr unsigned kMaxBins = 1000;  // more than a chart has pixels
  unsigned bins = 200;  // kMinBins..kMaxBins, else the constructor throws std::invalid_argument
  // A step forward in time longer than this (microseconds) between neighbouring records of a
  // file is a gap on the time line.
  uint64_t gapUs = 60ULL * 1000000ULL;
  // Configured bit rates in bits per second by channel label ("CAN #1"). A CAN channel without
  // load records of the logger's own and with a rate here gets its load from its frames.
  std::map<std::string, uint64_t> bitRates;
  unsigned topIdentifiers = 10;  // rows per CAN channel
  std::string title = "Trace report";
};

class VXTRACE_API HtmlReport {
 public:
  // The bounds that keep memory constant whatever the input.
  static constexpr unsigned kMaxChannels = 64;        // channel labels drawn; more are "other"
  static constexpr unsigned kMaxIdentifiers = 16384;  // CAN identifiers followed, all channels
  static constexpr unsigned kMaxMarkers = 200;        // markers named on the time line
  static constexpr unsigned kMaxGaps = 100;           // longest gaps drawn

  explicit HtmlReport(HtmlReportOptions options = HtmlReportOptions());
  ~HtmlReport();
  HtmlReport(const HtmlReport&) = delete;
  HtmlReport& operator=(const HtmlReport&) = delete;

  // Starts the next input file. framing: as the page shows it, e.g. "V1 framing (55 AA
  // markers)". size: bytes, 0 when unknown.
  void beginFile(const std::string& name, const std::string& framing, uint64_t size);
  // One record, in stream order. depth: 0 for a record of the file, 1 and more for one from
  // inside a container (counted by its own kind and channel, like `stats` does). offset: stream
  // offset of the record (of its outermost container for a contained record). An
  // InvalidMessage is not a record here: its frame is a loss, reported through addLoss.
  void add(const MessageBase& record, uint64_t offset, unsigned depth = 0);
  // A piece of the input the reader could not read, as its loss handler gives it; placed on the
  // time line at the time of the record before it.
  void addLoss(const TraceFileReader::loss_t& loss);
  // Ends the file: counts are the reader's own at the end (bytes read, records, losses).
  void endFile(const TraceFileReader::counts_t& counts);

  // Writes the page. May be called more than once; the report stays as it is.
  void write(std::ostream& os) const;

  // Totals over the files ended so far, as `stats` counts them.
  uint64_t records() const;           // records of the files (not those inside containers)
  uint64_t containedRecords() const;  // records found inside containers

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace vxtrace
