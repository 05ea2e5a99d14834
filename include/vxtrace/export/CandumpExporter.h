#pragma once
// The candump log of the Linux CAN tools: one line per CAN or CAN FD frame, time in seconds
// since the epoch; error frames as SocketCAN error frames; sent frames direction T, others R.
#include "vxtrace/export/Exporter.h"

namespace vxtrace {

class VXTRACE_API CandumpExporter : public Exporter {
 public:
  explicit CandumpExporter(ExportSink& sink);
  const char* format() const override { return "candump"; }

 protected:
  const char* write(const MessageBase& record) override;
};

}  // namespace vxtrace
