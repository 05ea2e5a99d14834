// convert: the CAN (and raw Ethernet) frames of a trace in a format other tools read.
#include <CLI/CLI.hpp>
#include <memory>

#include "CanExport.h"
#include "Cli.h"
#include "Output.h"
#include "Progress.h"
#include "Selection.h"

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
  CanExporter exporter(out.file(),
                       a.format == "pcapng" ? CanExporter::Pcapng : CanExporter::Candump);
  const bool ok = reader.run([&](std::unique_ptr<MessageBase> msg) {
    return forEachRecord(*msg, true, [&](const MessageBase& rec) {
      if (selection.take(rec)) exporter.add(rec);
      return !std::ferror(out.file()) && !selection.full();
    });
  });
  out.check();
  progress.hide();
  if (!ok) throw Failure{reader.error()};
  out.finish();
  if (!selection.full()) selection.warnUnmatched(in.name);
  // One line on what was written and what was not, by reason.
  std::string line = in.name + ": " + std::to_string(exporter.written()) + " frame" +
                     (exporter.written() == 1 ? "" : "s") + " written to " + a.format;
  const char* sep = "; left out: ";
  for (const auto& [reason, n] : exporter.skipped()) {
    line += sep + std::to_string(n) + " " + reason;
    sep = ", ";
  }
  report(nullptr, line);
  return finishRead(reader, in.name);
}

}  // namespace

Runner attachConvert(CLI::App& cmd) {
  auto a = std::make_shared<ConvertArgs>();
  cmd.add_option("file", a->file, "Trace file or '-'")->required();
  cmd.add_option("--to", a->format, "candump or pcapng")
      ->required()
      ->check(CLI::IsMember({"candump", "pcapng"}));
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
