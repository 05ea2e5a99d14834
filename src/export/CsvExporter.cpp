#include "vxtrace/export/CsvExporter.h"

#include "export/ExportUtil.h"

namespace vxtrace {

using namespace detail;

CsvExporter::CsvExporter(ExportSink& sink) : Exporter(sink) {
  std::string head;
  for (std::size_t i = 0; i < kColumns; ++i) {
    if (i != 0) head += ',';
    head += kRecordColumns[i].name;
  }
  head += "\r\n";
  sink_.write(head.data(), head.size());
}

const char* CsvExporter::write(const MessageBase& record) {
  std::string row[kColumns];
  recordRow(record, row);
  std::string line;
  for (std::size_t i = 0; i < kColumns; ++i) {
    if (i != 0) line += ',';
    std::string value;
    appendUtf8(value, row[i], false);
    if (value.find_first_of(",\"\r\n") == std::string::npos) {
      line += value;
      continue;
    }
    line += '"';
    for (char c : value) {
      if (c == '"') line += '"';
      line += c;
    }
    line += '"';
  }
  line += "\r\n";
  sink_.write(line.data(), line.size());
  return nullptr;
}

}  // namespace vxtrace
