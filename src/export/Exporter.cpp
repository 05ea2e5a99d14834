#include "vxtrace/export/Exporter.h"

#include <sys/types.h>

#include "vxtrace/export/AscExporter.h"
#include "vxtrace/export/BlfExporter.h"
#include "vxtrace/export/CandumpExporter.h"
#include "vxtrace/export/CsvExporter.h"
#include "vxtrace/export/JsonlExporter.h"
#include "vxtrace/export/PcapngExporter.h"

namespace vxtrace {

const char* const kKindNotCarried = "kind not carried by the format";

ExportSink::~ExportSink() = default;

bool ExportSink::rewrite(uint64_t, const void*, std::size_t) { return false; }

FileSink::FileSink(std::FILE* file) : file_(file) {
  const off_t at = ::ftello(file);
  // A pipe or terminal reports a position too on some systems; only a real seek proves it.
  start_ = at >= 0 && ::fseeko(file, at, SEEK_SET) == 0 ? static_cast<int64_t>(at) : -1;
}

void FileSink::write(const void* data, std::size_t n) { std::fwrite(data, 1, n, file_); }

bool FileSink::rewrite(uint64_t offset, const void* data, std::size_t n) {
  if (start_ < 0) return false;
  const off_t end = ::ftello(file_);
  if (end < 0 ||
      ::fseeko(file_, static_cast<off_t>(start_ + static_cast<int64_t>(offset)), SEEK_SET) != 0)
    return false;
  std::fwrite(data, 1, n, file_);
  return ::fseeko(file_, end, SEEK_SET) == 0;
}

CallbackSink::CallbackSink(std::function<void(const uint8_t*, std::size_t)> fn)
    : fn_(std::move(fn)) {}

void CallbackSink::write(const void* data, std::size_t n) {
  fn_(static_cast<const uint8_t*>(data), n);
}

Exporter::Exporter(ExportSink& sink) : sink_(sink) {}

Exporter::~Exporter() = default;

void Exporter::add(const MessageBase& record) {
  if (const char* reason = write(record)) {
    ++skipped_[{reason, static_cast<uint16_t>(record.msgId)}];
  } else {
    ++written_;
  }
}

void Exporter::finish() {}

const std::vector<std::string>& exportFormats() {
  static const std::vector<std::string> names{"candump", "pcapng", "asc", "blf", "jsonl", "csv"};
  return names;
}

std::unique_ptr<Exporter> makeExporter(const std::string& format, ExportSink& sink) {
  if (format == "candump") return std::make_unique<CandumpExporter>(sink);
  if (format == "pcapng") return std::make_unique<PcapngExporter>(sink);
  if (format == "asc") return std::make_unique<AscExporter>(sink);
  if (format == "blf") return std::make_unique<BlfExporter>(sink);
  if (format == "jsonl") return std::make_unique<JsonlExporter>(sink);
  if (format == "csv") return std::make_unique<CsvExporter>(sink);
  return nullptr;
}

}  // namespace vxtrace
