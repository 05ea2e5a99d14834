#pragma once
// ASC, the text log of CAN analysers: a header with the measurement's start (the first record's
// time to the millisecond, in the local time zone as readers take it), then one line per CAN
// frame, CAN FD frame and error frame, timed in seconds from that start to the microsecond.
// Channels count from 1.
#include "vxtrace/export/Exporter.h"

namespace vxtrace {

class VXTRACE_API AscExporter : public Exporter {
 public:
  explicit AscExporter(ExportSink& sink);
  const char* format() const override { return "asc"; }
  void finish() override;

 protected:
  const char* write(const MessageBase& record) override;

 private:
  void start(unsigned long long timeUs);

  bool started_ = false;
  unsigned long long startUs_ = 0;  // the measurement's start, microseconds since the epoch
};

}  // namespace vxtrace
