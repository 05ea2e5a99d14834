// convert: the records of a trace in a format other tools read.
#include <CLI/CLI.hpp>
#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "Cli.h"
#include "Output.h"
#include "PartScan.h"
#include "Progress.h"
#include "Selection.h"
#include "vxtrace/export/Exporter.h"

namespace vxtrace::cli {

namespace {

struct ConvertArgs {
  std::string file;
  std::string format;
  InputFlags input;
  FilterFlags filters;
  OutputFlags output;
  ReportFlags reports;
  std::string threads;
};

using Skipped = std::map<std::pair<std::string, uint16_t>, uint64_t>;

// Formats whose bytes for a record depend on that record alone: a part's worker writes them.
// The others (a measurement start, interfaces as first met, compressed blocks) are written in
// file order by one exporter.
bool recordByRecord(const std::string& format) {
  return format == "candump" || format == "jsonl" || format == "csv";
}

// What a part's records make: with a record-by-record format their bytes, else the records.
struct ConvertPart : PartResult {
  ConvertPart(const FilterFlags& flags, const std::string& format)
      : local(flags), sink([this](const uint8_t* p, std::size_t n) { bytes.append(p, p + n); }) {
    if (recordByRecord(format)) {
      exporter = makeExporter(format, sink);
      bytes.clear();  // the run's own exporter writes the header
    }
  }
  Selection local;  // the filters without --count: a part cannot know what came before it
  std::string bytes;
  CallbackSink sink;
  std::unique_ptr<Exporter> exporter;
  Skipped skipped;  // exporter's, as of the last unit
  struct Unit {
    uint64_t offset;               // of the record read (the outermost container)
    std::size_t end;               // of its bytes
    const MessageBase* rec;        // when the run's own selection or exporter needs it
    uint16_t id;                   // its kind
    const char* reason = nullptr;  // why the exporter left it out
  };
  std::vector<Unit> units;
  std::vector<std::unique_ptr<MessageBase>> kept;  // own the records units point to
};

int runConvert(const ConvertArgs& a) {
  Selection selection(a.filters);
  FilterFlags partFlags = a.filters;
  partFlags.count.clear();
  const bool byRecord = recordByRecord(a.format);
  const bool needRecords = !byRecord || !a.filters.ids.empty() || !a.filters.canIds.empty() ||
                           !a.filters.channels.empty() || !a.filters.count.empty();
  const unsigned threads = threadsOption(a.threads);
  Input in(a.file);
  Output out(a.output.path, {&in});
  Progress progress(Progress::wanted(out.isStandardOutput()), in.size, "B");
  PartScan scan(in, readOptions(a.input, a.reports), threads, &progress);
  FileSink sink(out.file());
  std::unique_ptr<Exporter> exporter = makeExporter(a.format, sink);
  if (!exporter) throw Failure{"unknown format " + inQuotes(a.format)};
  uint64_t written = 0;
  Skipped skipped;

  auto make = [&] { return std::make_unique<ConvertPart>(partFlags, a.format); };
  auto visit = [&](PartResult& result, std::unique_ptr<MessageBase>& msg, uint64_t offset) {
    auto& r = static_cast<ConvertPart&>(result);
    const std::size_t units = r.units.size();
    forEachRecord(*msg, true, [&](const MessageBase& rec) {
      if (!r.local.take(rec)) return true;
      ConvertPart::Unit u{offset, 0, needRecords ? &rec : nullptr,
                          static_cast<uint16_t>(rec.msgId)};
      if (r.exporter) {
        const uint64_t before = r.exporter->written();
        r.exporter->add(rec);
        if (r.exporter->written() == before) {
          for (const auto& [key, n] : r.exporter->skipped()) {
            uint64_t& had = r.skipped[key];
            if (had != n) u.reason = key.first.c_str();
            had = n;
          }
        }
      }
      u.end = r.bytes.size();
      r.units.push_back(u);
      return true;
    });
    if (needRecords && r.units.size() != units) r.kept.push_back(std::move(msg));
  };
  auto consume = [&](PartResult& result) {
    auto& r = static_cast<ConvertPart&>(result);
    uint64_t stop = UINT64_MAX;
    std::size_t begin = 0;
    for (const ConvertPart::Unit& u : r.units) {
      const std::size_t at = begin;
      begin = u.end;
      if (needRecords && !selection.take(*u.rec)) continue;
      if (!byRecord) {
        exporter->add(*u.rec);
      } else if (u.reason) {
        ++skipped[{u.reason, u.id}];
      } else {
        out.write(r.bytes.data() + at, u.end - at);
        ++written;
      }
      if (selection.full()) {
        stop = u.offset;
        break;
      }
    }
    out.check();
    r.bytes.clear();
    r.units.clear();
    r.kept.clear();
    return stop;
  };
  const bool ok = selection.empty() || scan.run(make, visit, consume);
  if (ok) exporter->finish();
  out.check();
  progress.hide();
  if (!ok) throw Failure{scan.error()};
  out.finish();
  if (!selection.full()) selection.warnUnmatched(in.name);
  if (!byRecord) {
    written = exporter->written();
    skipped = exporter->skipped();
  }
  // One line, always: the records written and, per reason, the kinds left out and how many.
  std::string line = in.name + ": " + std::to_string(written) + " records written to " + a.format;
  std::map<std::string, std::vector<std::pair<uint16_t, uint64_t>>> byReason;
  for (const auto& [key, n] : skipped) byReason[key.first].emplace_back(key.second, n);
  const char* sep = "; left out: ";
  for (const auto& [reason, kinds] : byReason) {
    line += sep + reason + " (";
    for (std::size_t i = 0; i < kinds.size(); ++i)
      line += (i ? ", " : "") + kindName(kinds[i].first) + " " + std::to_string(kinds[i].second);
    line += ")";
    sep = "; ";
  }
  report(nullptr, line);
  return finishCounts(scan.counts(), in.name);
}

}  // namespace

Runner attachConvert(CLI::App& cmd) {
  auto a = std::make_shared<ConvertArgs>();
  cmd.add_option("file", a->file, "Trace file or '-'")->required();
  std::string formats;
  for (const auto& name : exportFormats()) formats += (formats.empty() ? "" : ", ") + name;
  cmd.add_option("--to", a->format, formats)->required()->check(CLI::IsMember(exportFormats()));
  a->output.add(cmd);
  a->input.add(cmd);
  a->filters.add(cmd, /*formatTakesTo=*/true);
  a->reports.add(cmd);
  addThreadsOption(cmd, a->threads);
  cmd.footer(
      "Examples:\n"
      "  vxtrace convert trace.vxt --to candump -o trace.log\n"
      "  vxtrace convert trace.vxt --to pcapng --channel \"CAN #1\" -o can1.pcapng");
  return [a] { return runConvert(*a); };
}

}  // namespace vxtrace::cli
