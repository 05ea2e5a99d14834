// info: an inventory of each file: framing, records per kind and channel, containers, times,
// losses and anomalies in the time stamps.
#include <CLI/CLI.hpp>
#include <cinttypes>
#include <cstdio>
#include <map>
#include <memory>
#include <sstream>

#include "Cli.h"
#include "Output.h"
#include "Selection.h"
#include "vxtrace/io/Channel.h"
#include "vxtrace/vxtrace.h"

namespace vxtrace::cli {

namespace {

struct InfoArgs {
  std::vector<std::string> files;
  InputFlags input;
  FilterFlags filters;
  ReportFlags reports;
  bool json = false;
  std::string gap = "60";
};

// Time stamps a logger can have written: from 1990 up to 2100 (UTC), in microseconds.
constexpr uint64_t kPlausibleFrom = 631152000ULL * 1000000;
constexpr uint64_t kPlausibleTo = 4102444800ULL * 1000000;
// Gaps listed one by one; more are only counted, so memory stays constant.
constexpr std::size_t kMaxGapsListed = 20;

struct Inventory {
  std::string path;
  uint64_t size = 0;
  std::string framing;
  uint64_t records = 0;
  std::map<uint16_t, uint64_t> kinds;
  std::vector<std::pair<std::string, uint64_t>> channels;  // by label, first seen first
  uint64_t containers = 0, plain = 0, lz4 = 0, contained = 0;
  bool timed = false;
  uint64_t first = 0, last = 0, earliest = 0, latest = 0;
  ReadCounts losses;
  uint64_t backwards = 0, gaps = 0, implausible = 0;
  std::vector<std::pair<uint64_t, uint64_t>> gapList;  // (time before the gap, length in µs)
};

std::string jsonString(const std::string& s) {
  std::string out = "\"";
  for (unsigned char c : s) {
    if (c == '"' || c == '\\') {
      out.push_back('\\');
      out.push_back(static_cast<char>(c));
    } else if (c < 0x20) {
      char esc[8];
      std::snprintf(esc, sizeof esc, "\\u%04x", c);
      out += esc;
    } else {
      out.push_back(static_cast<char>(c));
    }
  }
  return out + "\"";
}

std::string timeText(const Inventory& v, uint64_t us) {
  return v.timed ? MessageBase::printTimestamp(us) : "-";
}

std::string toJson(const Inventory& v) {
  std::ostringstream os;
  auto time = [&](uint64_t us) { return v.timed ? jsonString(timeText(v, us)) : "null"; };
  os << "  {\n    \"path\": " << jsonString(v.path) << ",\n    \"size\": " << v.size
     << ",\n    \"framing\": " << jsonString(v.framing) << ",\n    \"records\": " << v.records
     << ",\n    \"kinds\": {";
  const char* sep = "";
  for (const auto& [id, n] : v.kinds) {
    os << sep << jsonString(kindName(id)) << ": " << n;
    sep = ", ";
  }
  os << "},\n    \"channels\": {";
  sep = "";
  for (const auto& [label, n] : v.channels) {
    os << sep << jsonString(label) << ": " << n;
    sep = ", ";
  }
  os << "},\n    \"containers\": {\"count\": " << v.containers << ", \"plain\": " << v.plain
     << ", \"lz4\": " << v.lz4 << ", \"records\": " << v.contained << "},\n    \"first\": "
     << time(v.first) << ",\n    \"last\": " << time(v.last) << ",\n    \"earliest\": "
     << time(v.earliest) << ",\n    \"latest\": " << time(v.latest)
     << ",\n    \"losses\": {\"garbage_bytes\": " << v.losses.garbageBytes
     << ", \"garbage_runs\": " << v.losses.garbageRuns
     << ", \"undecodable_frames\": " << v.losses.undecodable
     << ", \"truncated_bytes\": " << v.losses.truncatedBytes
     << "},\n    \"anomalies\": {\"time_backwards\": " << v.backwards << ", \"gaps\": " << v.gaps
     << ", \"gap_list\": [";
  sep = "";
  for (const auto& [at, length] : v.gapList) {
    char seconds[32];
    std::snprintf(seconds, sizeof seconds, "%.6f", length / 1e6);
    os << sep << "{\"after\": " << jsonString(MessageBase::printTimestamp(at))
       << ", \"seconds\": " << seconds << "}";
    sep = ", ";
  }
  os << "], \"outside_1990_2100\": " << v.implausible << "}\n  }";
  return os.str();
}

std::string toText(const Inventory& v) {
  std::ostringstream os;
  char line[256];
  auto row = [&](const char* label, const std::string& value) {
    std::snprintf(line, sizeof line, "%-22s %s\n", label, value.c_str());
    os << line;
  };
  row("File:", v.path + " (" + std::to_string(v.size) + " bytes)");
  row("Framing:", v.framing);
  row("Records:", std::to_string(v.records));
  row("Containers:", std::to_string(v.containers) + " (" + std::to_string(v.plain) + " plain, " +
                         std::to_string(v.lz4) + " lz4) holding " + std::to_string(v.contained) +
                         " records");
  row("First, last:", timeText(v, v.first) + ", " + timeText(v, v.last));
  row("Earliest, latest:", timeText(v, v.earliest) + ", " + timeText(v, v.latest));
  row("Losses:", std::to_string(v.losses.garbageBytes) + " bytes of invalid data in " +
                     std::to_string(v.losses.garbageRuns) + " runs, " +
                     std::to_string(v.losses.undecodable) + " undecodable frames, " +
                     std::to_string(v.losses.truncatedBytes) + " bytes truncated");
  row("Anomalies:", std::to_string(v.backwards) + " times backwards, " + std::to_string(v.gaps) +
                        " gaps, " + std::to_string(v.implausible) +
                        " time stamps outside 1990-2100");
  for (const auto& [at, length] : v.gapList) {
    std::snprintf(line, sizeof line, "  gap of %.6f s after %s\n", length / 1e6,
                  MessageBase::printTimestamp(at).c_str());
    os << line;
  }
  os << "Records per kind:\n";
  for (const auto& [id, n] : v.kinds) {
    std::snprintf(line, sizeof line, "  %-32s %12" PRIu64 "\n", kindName(id).c_str(), n);
    os << line;
  }
  os << "Records per channel:\n";
  for (const auto& [label, n] : v.channels) {
    std::snprintf(line, sizeof line, "  %-32s %12" PRIu64 "\n", label.c_str(), n);
    os << line;
  }
  return os.str();
}

int runInfo(const InfoArgs& a) {
  const uint64_t gapUs = numberOption("--gap", a.gap, 1000000000ULL) * 1000000;
  Output out("-");
  int status = kExitOk;
  std::string text = a.json ? "[\n" : "";
  for (std::size_t f = 0; f < a.files.size(); ++f) {
    Selection selection(a.filters);
    Input in(a.files[f]);
    ReadOptions options = readOptions(a.input, a.reports);
    options.showReports = false;  // the inventory lists the losses
    TraceReader reader(in.fd, in.name, options, nullptr);
    Inventory v;
    v.path = in.name;
    uint64_t previous = 0;
    std::map<std::string, std::size_t> channelRow;
    const bool ok = reader.run([&](std::unique_ptr<MessageBase> frame) {
      return forEachRecord(*frame, true, [&](const MessageBase& rec) {
        if (!selection.take(rec)) return true;
        const bool inner = &rec != frame.get();
        if (auto* c = dynamic_cast<const ContainerMessage*>(&rec)) {
          ++v.containers;
          ++(c->compression ? v.lz4 : v.plain);
        }
        ++(inner ? v.contained : v.records);
        ++v.kinds[rec.msgId];
        const std::string label = channelLabel(rec);
        auto row = channelRow.emplace(label, v.channels.size());
        if (row.second) v.channels.emplace_back(label, 0);
        ++v.channels[row.first->second].second;
        const uint64_t t = rec.timeStamp;
        if (t < kPlausibleFrom || t >= kPlausibleTo) ++v.implausible;
        if (!v.timed) {
          v.first = v.earliest = v.latest = t;
          v.timed = true;
        } else {
          if (t < previous) ++v.backwards;
          if (t > previous && t - previous > gapUs && ++v.gaps <= kMaxGapsListed)
            v.gapList.emplace_back(previous, t - previous);
          v.earliest = std::min(v.earliest, t);
          v.latest = std::max(v.latest, t);
        }
        previous = v.last = t;
        return !selection.full();
      });
    });
    if (!ok) throw Failure{reader.error()};
    v.size = reader.counts().bytesRead;
    v.framing = framingText(reader.framing());
    v.losses = reader.counts();
    if (!v.losses.clean()) status = kExitDataErrors;
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
  cmd.footer(
      "Examples:\n"
      "  vxtrace info trace.vxt\n"
      "  vxtrace info *.vxt --json --gap 5");
  return [a] { return runInfo(*a); };
}

}  // namespace vxtrace::cli
