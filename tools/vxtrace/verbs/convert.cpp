// convert: the records of a trace in a format other tools read.
#include <CLI/CLI.hpp>
#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "Cli.h"
#include "Output.h"
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
};

int runConvert(const ConvertArgs& a) {
  Selection selection(a.filters);
  Input in(a.file);
  Output out(a.output.path, {&in});
  Progress progress(Progress::wanted(out.isStandardOutput()), in.size, "B");
  TraceReader reader(in.fd, in.name, readOptions(a.input, a.reports), &progress);
  FileSink sink(out.file());
  std::unique_ptr<Exporter> exporter = makeExporter(a.format, sink);
  if (!exporter) throw Failure{"unknown format " + inQuotes(a.format)};
  const bool ok = reader.run([&](std::unique_ptr<MessageBase> msg) {
    return forEachRecord(*msg, true, [&](const MessageBase& rec) {
      if (selection.take(rec)) exporter->add(rec);
      return !std::ferror(out.file()) && !selection.full();
    });
  });
  if (ok) exporter->finish();
  out.check();
  progress.hide();
  if (!ok) throw Failure{reader.error()};
  out.finish();
  if (!selection.full()) selection.warnUnmatched(in.name);
  // When the format left records out, one line: the records written and, per reason, the kinds
  // left out and how many of each.
  std::string line = in.name + ": " + std::to_string(exporter->written()) + " records written to " +
                     a.format;
  std::map<std::string, std::vector<std::pair<uint16_t, uint64_t>>> byReason;
  for (const auto& [key, n] : exporter->skipped()) byReason[key.first].emplace_back(key.second, n);
  const char* sep = "; left out: ";
  for (const auto& [reason, kinds] : byReason) {
    line += sep + reason + " (";
    for (std::size_t i = 0; i < kinds.size(); ++i)
      line += (i ? ", " : "") + kindName(kinds[i].first) + " " + std::to_string(kinds[i].second);
    line += ")";
    sep = "; ";
  }
  if (!byReason.empty() && !a.reports.quiet) report(nullptr, line);
  return finishRead(reader, in.name);
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
  cmd.footer(
      "Examples:\n"
      "  vxtrace convert trace.vxt --to candump -o trace.log\n"
      "  vxtrace convert trace.vxt --to pcapng --channel \"CAN #1\" -o can1.pcapng");
  return [a] { return runConvert(*a); };
}

}  // namespace vxtrace::cli
