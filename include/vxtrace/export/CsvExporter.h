#pragma once
// CSV (RFC 4180, CRLF line ends): the JSON Lines keys as columns, a header row, one row per
// record; the CAN columns stay empty for records without a CAN frame, flags read true/false.
#include "vxtrace/export/Exporter.h"

namespace vxtrace {

class VXTRACE_API CsvExporter : public Exporter {
 public:
  explicit CsvExporter(ExportSink& sink);
  const char* format() const override { return "csv"; }

 protected:
  const char* write(const MessageBase& record) override;
};

}  // namespace vxtrace
