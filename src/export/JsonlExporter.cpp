#include "vxtrace/export/JsonlExporter.h"

#include "export/ExportUtil.h"

namespace vxtrace {

using namespace detail;

JsonlExporter::JsonlExporter(ExportSink& sink) : Exporter(sink) {}

const char* JsonlExporter::write(const MessageBase& record) {
  std::string row[kColumns];
  recordRow(record, row);
  std::string line = "{";
  // Without a CAN frame, the common keys only.
  const std::size_t keys = row[5].empty() ? 5 : kColumns;
  for (std::size_t i = 0; i < keys; ++i) {
    if (i != 0) line += ", ";
    line += '"';
    line += kRecordColumns[i].name;
    line += "\": ";
    if (kRecordColumns[i].type == ColumnType::Text) {
      line += '"';
      appendUtf8(line, row[i], true);
      line += '"';
    } else {
      line += row[i];
    }
  }
  line += "}\n";
  sink_.write(line.data(), line.size());
  return nullptr;
}

}  // namespace vxtrace
