#pragma once
// JSON Lines: one object per record, every kind. Keys: time_us (microseconds since the epoch),
// time (ISO 8601, UTC), kind (identifier name), channel (the label dump prints), text (the
// record's line); records that carry a CAN frame add can_id, extended, fd, brs, esi, remote,
// error, dir ("rx"/"tx"), dlc and data (lower-case hex, no separator). Valid UTF-8 whatever
// bytes a record's text holds: stray bytes become their Latin-1 characters.
#include "vxtrace/export/Exporter.h"

namespace vxtrace {

class VXTRACE_API JsonlExporter : public Exporter {
 public:
  explicit JsonlExporter(ExportSink& sink);
  const char* format() const override { return "jsonl"; }

 protected:
  const char* write(const MessageBase& record) override;
};

}  // namespace vxtrace
