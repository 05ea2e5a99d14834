#pragma once
// BLF, the binary log of CAN analysers: a file header with the measurement's start and end
// (local time, to the millisecond), then zlib-compressed containers of objects: CAN frames,
// CAN FD frames and error frames, each timed in nanoseconds from the start. The start is the
// first record's time to the millisecond, so that start and offset give each frame's time to
// the microsecond. Channels count from 1.
//
// The header's end time, sizes and object count are known only at the end: finish() writes
// them over the header through ExportSink::rewrite(). On a sink that cannot rewrite (a pipe) the
// header is written with the first container and keeps the values of that moment; frames and
// times read the same, only those totals are short.
#include <vector>

#include "vxtrace/export/Exporter.h"

namespace vxtrace {

class VXTRACE_API BlfExporter : public Exporter {
 public:
  explicit BlfExporter(ExportSink& sink);
  const char* format() const override { return "blf"; }
  void finish() override;

 protected:
  const char* write(const MessageBase& record) override;

 private:
  void object(uint32_t type, unsigned long long timeUs, const std::vector<uint8_t>& body);
  // Compresses and writes up to one container's worth of pending objects.
  void flush(std::size_t bytes);
  std::vector<uint8_t> header() const;

  bool started_ = false;
  bool headerWritten_ = false;
  unsigned long long startUs_ = 0;  // the measurement's start, microseconds since the epoch
  unsigned long long lastUs_ = 0;
  uint32_t objects_ = 0;
  uint64_t fileSize_ = 0;          // bytes given to the sink
  uint64_t uncompressedSize_ = 0;  // the file's size were the containers stored plain
  std::vector<uint8_t> pending_;   // objects not yet in a container
};

}  // namespace vxtrace
