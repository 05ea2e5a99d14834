// dump: every record as one line of text.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <memory>
#include <sstream>

#include "Cli.h"
#include "Output.h"
#include "Progress.h"
#include "Selection.h"
#include "util/Hex.h"
#include "vxtrace/vxtrace.h"

namespace vxtrace::cli {

namespace {

struct DumpArgs {
  std::string file = "-";
  InputFlags input;
  FilterFlags filters;
  ReportFlags reports;
  bool invalid = false;
  bool raw = false;
  bool noExpand = false;
};

int runDump(const DumpArgs& a) {
  Selection selection(a.filters);
  Input in(a.file);
  Output out("-");
  if (in.fd == STDIN_FILENO && isatty(STDIN_FILENO) && !a.reports.quiet)
    report(nullptr, "waiting on standard input (a trace piped in, or Ctrl-D to end)");
  Progress progress(Progress::wanted(true), in.size, "B");
  ReadOptions options = readOptions(a.input, a.reports);
  options.invalidRecords = a.invalid;
  options.keepRawData = a.raw;
  TraceReader reader(in.fd, in.name, options, &progress);
  if (selection.empty()) return kExitOk;

  std::string line;
  auto show = [&](const MessageBase& msg) {
    if (!selection.take(msg)) return true;
    line = msg.toString();
    if (a.filters.localTime && msg.label.empty()) {
      // The common prefix is the UTC time stamp; the rest of the text stays as the record wrote it.
      const std::string utc = MessageBase::printTimestamp(msg.timeStamp);
      if (line.compare(0, utc.size(), utc) == 0) {
        std::ostringstream local;
        MessageBase::printTimeStamp(local, msg.timeStamp, false, 6);
        line.replace(0, utc.size(), local.str());
      }
    }
    line = escapeControls(line);
    line.push_back('\n');
    if (a.raw) {
      line += "  raw:";
      if (!msg.rawBytes.empty()) line.push_back(' ');
      vxtrace::detail::appendHex(line, msg.rawBytes.data(), msg.rawBytes.size());
      line.push_back('\n');
    }
    std::fwrite(line.data(), 1, line.size(), out.file());
    return !std::ferror(out.file()) && !selection.full();
  };
  const bool ok = reader.run(
      [&](std::unique_ptr<MessageBase> msg) { return forEachRecord(*msg, !a.noExpand, show); });
  out.check();
  out.finish();
  progress.hide();
  if (!ok) throw Failure{reader.error()};
  if (!selection.full()) selection.warnUnmatched(in.name);
  return finishRead(reader, in.name);
}

}  // namespace

Runner attachDump(CLI::App& cmd) {
  auto a = std::make_shared<DumpArgs>();
  cmd.add_option("file", a->file, "Trace file, '-' or none for standard input");
  a->input.add(cmd);
  a->filters.add(cmd);
  a->reports.add(cmd);
  cmd.add_flag("--invalid", a->invalid, "Show undecodable frames as InvalidMessage lines");
  cmd.add_flag("--raw", a->raw, "The frame's bytes in hex after each line");
  cmd.add_flag("--no-expand", a->noExpand,
               "Containers as one line each, without the records inside");
  cmd.footer(
      "Examples:\n"
      "  vxtrace dump trace.vxt --channel \"CAN #1\" --can-id 0x1e5\n"
      "  vxtrace dump trace.vxt --from \"2024-03-14 09:26:53\" --count 100\n"
      "  vxtrace gen - | vxtrace dump --id MSGID_CAN_EXT");
  return [a] { return runDump(*a); };
}

}  // namespace vxtrace::cli
