#pragma once
// Records written in the formats other tools read (candump log, pcapng, ASC, BLF, JSON Lines,
// CSV), one exporter interface for all of them. Part of libvxtrace-export.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "vxtrace/Export.h"
#include "vxtrace/MessageBase.h"

namespace vxtrace {

// Where an exporter's bytes go. Write errors are the owner's to detect (ferror on its file,
// state in its callback); exporters do not throw for them.
class VXTRACE_API ExportSink {
 public:
  virtual ~ExportSink();
  // Appends n bytes.
  virtual void write(const void* data, std::size_t n) = 0;
  // Overwrites n bytes already written, offset counted from the first byte this sink was given,
  // and continues appending after the last byte; false when the output cannot go back (a pipe).
  virtual bool rewrite(uint64_t offset, const void* data, std::size_t n);
};

// A stdio stream owned by the caller, which stays open. rewrite() works when the stream is
// seekable.
class VXTRACE_API FileSink : public ExportSink {
 public:
  explicit FileSink(std::FILE* file);
  void write(const void* data, std::size_t n) override;
  bool rewrite(uint64_t offset, const void* data, std::size_t n) override;

 private:
  std::FILE* file_;
  int64_t start_;  // stream position of the first byte; -1 when the stream cannot seek
};

// Hands every chunk to a callback; cannot rewrite.
class VXTRACE_API CallbackSink : public ExportSink {
 public:
  explicit CallbackSink(std::function<void(const uint8_t* data, std::size_t n)> fn);
  void write(const void* data, std::size_t n) override;

 private:
  std::function<void(const uint8_t*, std::size_t)> fn_;
};

// The reason given for records of a kind the format has no form for.
VXTRACE_API extern const char* const kKindNotCarried;

class VXTRACE_API Exporter {
 public:
  virtual ~Exporter();
  Exporter(const Exporter&) = delete;
  Exporter& operator=(const Exporter&) = delete;

  // Writes the record when the format carries it, otherwise counts it under its reason.
  // Containers are not opened: pass the records inside them one by one.
  void add(const MessageBase& record);
  // Completes the output (pending blocks, header fields known only at the end). Call once, after
  // the last add(); nothing may be added afterwards.
  virtual void finish();

  // The format's name as makeExporter() takes it.
  virtual const char* format() const = 0;
  uint64_t written() const { return written_; }
  // (reason, message identifier) -> records left out.
  const std::map<std::pair<std::string, uint16_t>, uint64_t>& skipped() const { return skipped_; }

 protected:
  explicit Exporter(ExportSink& sink);
  // Writes the record and returns null, or returns why it is left out (a static text) and
  // writes nothing.
  virtual const char* write(const MessageBase& record) = 0;

  ExportSink& sink_;

 private:
  uint64_t written_ = 0;
  std::map<std::pair<std::string, uint16_t>, uint64_t> skipped_;
};

// The format names makeExporter() knows: candump, pcapng, asc, blf, jsonl, csv.
VXTRACE_API const std::vector<std::string>& exportFormats();

// A new exporter writing to sink (which must outlive it), or null for an unknown format name.
// The header of a format that has one is written here, or, where it holds the first record's
// time (ASC, BLF), with the first record.
VXTRACE_API std::unique_ptr<Exporter> makeExporter(const std::string& format, ExportSink& sink);

}  // namespace vxtrace
