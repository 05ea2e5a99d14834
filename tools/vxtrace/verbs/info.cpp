// info: an inventory of each file: framing, records per kind and channel, containers, times,
// losses and anomalies in the time stamps.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <memory>
#include <optional>
#include <sstream>

#include "util/JsonText.h"
#include "Cli.h"
#include "Output.h"
#include "Selection.h"
#include "vxtrace/vxtrace.h"

namespace vxtrace::cli {

namespace {

using vxtrace::detail::jsonQuoted;

struct InfoArgs {
  std::vector<std::string> files;
  InputFlags input;
  FilterFlags filters;
  ReportFlags reports;
  bool json = false;
  std::string gap = "60";
  std::string threads;
};

struct Inventory {
  std::string path;
  std::string framing;
  Stats stats;
  ReadCounts losses;
};

std::string timeText(std::optional<uint64_t> us) {
  return us ? MessageBase::printTimestamp(*us) : "-";
}

std::string toJson(const Inventory& v) {
  std::ostringstream os;
  const Stats& s = v.stats;
  const Stats::Anomalies& odd = s.anomalies();
  auto time = [&](std::optional<uint64_t> us) { return us ? jsonQuoted(timeText(us)) : "null"; };
  os << "  {\n    \"path\": " << jsonQuoted(v.path) << ",\n    \"size\": " << v.losses.bytesRead
     << ",\n    \"framing\": " << jsonQuoted(v.framing) << ",\n    \"records\": " << s.records()
     << ",\n    \"kinds\": {";
  const char* sep = "";
  for (const auto& [id, n] : s.byKind()) {
    os << sep << jsonQuoted(kindName(id)) << ": " << n;
    sep = ", ";
  }
  os << "},\n    \"channels\": {";
  sep = "";
  for (const auto& [label, n] : s.byChannelInOrder()) {
    os << sep << jsonQuoted(label) << ": " << n;
    sep = ", ";
  }
  os << "},\n    \"containers\": {\"count\": " << s.plainContainers() + s.lz4Containers()
     << ", \"plain\": " << s.plainContainers() << ", \"lz4\": " << s.lz4Containers()
     << ", \"records\": " << s.contained() << "},\n    \"first\": " << time(s.firstRecordTime())
     << ",\n    \"last\": " << time(s.lastRecordTime())
     << ",\n    \"earliest\": " << time(s.firstTime())
     << ",\n    \"latest\": " << time(s.lastTime())
     << ",\n    \"losses\": {\"garbage_bytes\": " << v.losses.garbageBytes
     << ", \"garbage_runs\": " << v.losses.garbageRuns
     << ", \"undecodable_frames\": " << v.losses.undecodable
     << ", \"truncated_bytes\": " << v.losses.truncatedBytes
     << "},\n    \"anomalies\": {\"time_backwards\": " << odd.backwards
     << ", \"gaps\": " << odd.gaps << ", \"gap_list\": [";
  sep = "";
  for (const auto& [at, length] : odd.gapList) {
    char seconds[32];
    std::snprintf(seconds, sizeof seconds, "%.6f", length / 1e6);
    os << sep << "{\"after\": " << jsonQuoted(MessageBase::printTimestamp(at))
       << ", \"seconds\": " << seconds << "}";
    sep = ", ";
  }
  os << "], \"outside_1990_2100\": " << odd.implausible << "}\n  }";
  return os.str();
}

std::string toText(const Inventory& v) {
  std::ostringstream os;
  const Stats& s = v.stats;
  const Stats::Anomalies& odd = s.anomalies();
  char line[256];
  auto row = [&](const char* label, const std::string& value) {
    std::snprintf(line, sizeof line, "%-22s %s\n", label, value.c_str());
    os << line;
  };
  row("File:", v.path + " (" + std::to_string(v.losses.bytesRead) + " bytes)");
  row("Framing:", v.framing);
  row("Records:", std::to_string(s.records()));
  row("Containers:", std::to_string(s.plainContainers() + s.lz4Containers()) + " (" +
                         std::to_string(s.plainContainers()) + " plain, " +
                         std::to_string(s.lz4Containers()) + " lz4) holding " +
                         std::to_string(s.contained()) + " records");
  row("First, last:", timeText(s.firstRecordTime()) + ", " + timeText(s.lastRecordTime()));
  row("Earliest, latest:", timeText(s.firstTime()) + ", " + timeText(s.lastTime()));
  row("Losses:", std::to_string(v.losses.garbageBytes) + " bytes of invalid data in " +
                     std::to_string(v.losses.garbageRuns) + " runs, " +
                     std::to_string(v.losses.undecodable) + " undecodable frames, " +
                     std::to_string(v.losses.truncatedBytes) + " bytes truncated");
  row("Anomalies:", std::to_string(odd.backwards) + " times backwards, " +
                        std::to_string(odd.gaps) + " gaps, " + std::to_string(odd.implausible) +
                        " time stamps outside 1990-2100");
  for (const auto& [at, length] : odd.gapList) {
    std::snprintf(line, sizeof line, "  gap of %.6f s after %s\n", length / 1e6,
                  MessageBase::printTimestamp(at).c_str());
    os << line;
  }
  os << "Records per kind:\n";
  for (const auto& [id, n] : s.byKind()) {
    std::snprintf(line, sizeof line, "  %-32s %12" PRIu64 "\n", kindName(id).c_str(), n);
    os << line;
  }
  os << "Records per channel:\n";
  for (const auto& [label, n] : s.byChannelInOrder()) {
    std::snprintf(line, sizeof line, "  %-32s %12" PRIu64 "\n", label.c_str(), n);
    os << line;
  }
  return os.str();
}

int runInfo(const InfoArgs& a) {
  const uint64_t gapUs = numberOption("--gap", a.gap, 1000000000ULL) * 1000000;
  const unsigned threads = threadsOption(a.threads);
  Output out("-");
  int status = kExitOk;
  std::string text = a.json ? "[\n" : "";
  for (std::size_t f = 0; f < a.files.size(); ++f) {
    Selection selection(a.filters);
    Input in(a.files[f]);
    StatsScan scan = scanStats(in.fd, in.name, readOptions(a.input, a.reports), selection, threads,
                               gapUs, nullptr);
    const Inventory v{in.name, framingText(scan.framing), std::move(scan.stats), scan.counts};
    if (!selection.full()) selection.warnUnmatched(in.name);
    status = std::max(status, finishCounts(v.losses, in.name));
    text += a.json ? toJson(v) + (f + 1 < a.files.size() ? ",\n" : "\n") : toText(v);
    if (!a.json && f + 1 < a.files.size()) text += "\n";
  }
  if (a.json) text += "]\n";
  out.write(text.data(), text.size());
  out.finish();
  return status;
}

}  // namespace

Runner attachInfo(CLI::App& cmd) {
  auto a = std::make_shared<InfoArgs>();
  cmd.add_option("files", a->files, "Trace files, '-' for standard input")->required();
  a->input.add(cmd);
  a->filters.add(cmd);
  a->reports.add(cmd);
  cmd.add_flag("--json", a->json, "A JSON array with one object per file");
  cmd.add_option("--gap", a->gap, "Report pauses longer than this many seconds (default 60)");
  addThreadsOption(cmd, a->threads);
  cmd.footer(
      "Examples:\n"
      "  vxtrace info trace.vxt\n"
      "  vxtrace info *.vxt --json --gap 5");
  return [a] { return runInfo(*a); };
}

}  // namespace vxtrace::cli
