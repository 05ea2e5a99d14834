#pragma once
// Finding where to start reading a trace for a start time without reading it all.
#include <cstdint>

#include "vxtrace/Export.h"
#include "vxtrace/TraceFileReader.h"

namespace vxtrace {

struct SeekResult {
  // Where to start reading: no record before it holds a time at or after the start time. The
  // descriptor is left there; a reader started there gets absolute offsets through
  // TraceFileReader::setStreamOffset(offset). The file's size when no record qualifies.
  uint64_t offset = 0;
  uint64_t bytesRead = 0;  // what finding it read
  uint64_t fileSize = 0;
  unsigned probes = 0;    // places read at to check the order and bisect
  bool seekable = true;   // false: a pipe or terminal; nothing read, offset 0
  bool ordered = true;    // false: the order broke, so a scan from the start found offset
  bool bisected = false;  // found by bisection; false: by a scan from the start
};

// Start of reading for the records at or after timeUs (microseconds since the epoch, UTC) in
// the trace behind fd, read in the given framing. Probes spread over the file check the time
// order; while it holds, bisection over file offsets finds the place, each probe resynchronised
// by the validating reader and trusted only on a chain of records. Records out of order by up
// to toleranceUs count as in order. Order broken beyond that (within a chain, between probes or
// in the last stretch read) makes it scan from the start instead, so that no record at or after
// timeUs is missed; an early record hidden between probes is not seen. Files under 128 KiB are
// scanned. A container counts with the time of its last record. Undecodable frames are skipped
// whatever MessageBase::invalidHandling says; decoders' diagnostic lines are dropped meanwhile.
// Decodes through the registry (MessageBase::registerMessages() first). Throws
// std::system_error when the descriptor cannot be read.
VXTRACE_API SeekResult seekTime(int fd, TraceFileReader::framing_t framing, uint64_t timeUs,
                                uint64_t toleranceUs = 0);

}  // namespace vxtrace
