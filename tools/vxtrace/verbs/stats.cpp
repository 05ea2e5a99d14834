// stats: records per kind and channel, times, and what could not be read.
#include <CLI/CLI.hpp>
#include <cinttypes>
#include <cstdio>
#include <memory>
#include <sstream>

#include "Cli.h"
#include "Output.h"
#include "Progress.h"
#include "Selection.h"
#include "vxtrace/vxtrace.h"

namespace vxtrace::cli {

namespace {

struct StatsArgs {
  std::string file = "-";
  InputFlags input;
  FilterFlags filters;
  ReportFlags reports;
  bool json = false;
  std::string threads;
};

int runStats(const StatsArgs& a) {
  const unsigned threads = threadsOption(a.threads);
  Input in(a.file);
  Progress progress(Progress::wanted(false), in.size, "B");
  Selection selection(a.filters);
  const StatsScan scan = scanStats(in.fd, in.name, readOptions(a.input, a.reports), selection,
                                   threads, 60000000, &progress);  // gaps are info's
  progress.hide();
  const Stats& s = scan.stats;
  const ReadCounts& c = scan.counts;

  Output out("-");
  std::string text;
  if (a.json) {
    text = s.toJson(in.name, false);
  } else {
    std::ostringstream os;
    char line[256];
    auto row = [&](const char* label, const std::string& value) {
      std::snprintf(line, sizeof line, "%-22s %s\n", label, value.c_str());
      os << line;
    };
    auto time = [](std::optional<uint64_t> t) {
      return t ? MessageBase::printTimestamp(*t) : std::string("-");
    };
    row("File:", in.name + " (" + std::to_string(c.bytesRead) + " bytes)");
    row("Records:", std::to_string(s.records()));
    row("Contained records:", std::to_string(s.contained()));
    row("First time stamp:", time(s.firstTime()));
    row("Last time stamp:", time(s.lastTime()));
    std::snprintf(line, sizeof line, "%.6f s", s.durationSeconds());
    row("Duration:", line);
    std::snprintf(line, sizeof line, "%.1f", s.framesPerSecond());
    row("Frames per second:", line);
    row("Invalid data skipped:",
        std::to_string(c.garbageBytes) + " bytes in " + std::to_string(c.garbageRuns) + " runs");
    row("Truncated at end:", std::to_string(c.truncatedBytes) + " bytes");
    row("Undecodable frames:", std::to_string(c.undecodable));
    os << "\nRecords per identifier:\n";
    for (const auto& [id, n] : s.byKind()) {
      std::snprintf(line, sizeof line, "  %-32s %12" PRIu64 "\n", kindName(id).c_str(), n);
      os << line;
    }
    os << "\nRecords per source channel:\n";
    for (const auto& [label, n] : s.byChannel()) {
      std::snprintf(line, sizeof line, "  %-32s %12" PRIu64 "\n", label.c_str(), n);
      os << line;
    }
    text = os.str();
  }
  std::fwrite(text.data(), 1, text.size(), out.file());
  out.finish();
  if (!selection.full()) selection.warnUnmatched(in.name);
  return finishCounts(c, in.name);
}

}  // namespace

Runner attachStats(CLI::App& cmd) {
  auto a = std::make_shared<StatsArgs>();
  cmd.add_option("file", a->file, "Trace file, '-' or none for standard input");
  a->input.add(cmd);
  a->filters.add(cmd);
  a->reports.add(cmd);
  cmd.add_flag("--json", a->json, "JSON instead of a table");
  addThreadsOption(cmd, a->threads);
  cmd.footer(
      "Examples:\n"
      "  vxtrace stats trace.vxt\n"
      "  vxtrace stats trace.vxt --channel \"CAN #1\" --json");
  return [a] { return runStats(*a); };
}

}  // namespace vxtrace::cli
