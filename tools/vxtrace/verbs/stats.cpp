// stats: records per kind and channel, times, and what could not be read.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <map>
#include <memory>
#include <sstream>

#include "Cli.h"
#include "Output.h"
#include "Progress.h"
#include "Selection.h"
#include "vxtrace/io/Channel.h"
#include "vxtrace/vxtrace.h"

namespace vxtrace::cli {

namespace {

struct StatsArgs {
  std::string file = "-";
  InputFlags input;
  FilterFlags filters;
  ReportFlags reports;
  bool json = false;
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

int runStats(const StatsArgs& a) {
  Input in(a.file);
  Progress progress(Progress::wanted(false), in.size, "B");
  Selection selection(a.filters);
  ReadOptions options = readOptions(a.input, a.reports);
  options.invalidRecords = true;  // counted here, reported in the summary
  options.showReports = false;
  TraceReader reader(in.fd, in.name, options, &progress);

  std::map<uint16_t, uint64_t> perId;
  // By key, then by name: records without a channel share the all-ones key but not one text.
  std::map<std::pair<uint64_t, std::string>, uint64_t> perChannel;
  uint64_t timed = 0, contained = 0, records = 0;
  unsigned long long first = 0, last = 0;
  const bool ok = reader.run([&](std::unique_ptr<MessageBase> frame) {
    if (frame->msgId == MSGID_INVALID) return true;
    // Records inside containers count by their own identifier and channel, beside the container.
    return forEachRecord(*frame, true, [&](const MessageBase& msg) {
      if (!selection.take(msg)) return true;
      ++(&msg == frame.get() ? records : contained);
      ++perId[msg.msgId];
      ++perChannel[{msg.getSourceChannelID(), msg.getSourceChannel()}];
      if (timed++ == 0 || msg.timeStamp < first) first = msg.timeStamp;
      if (timed == 1 || msg.timeStamp > last) last = msg.timeStamp;
      return !selection.full();
    });
  });
  progress.hide();
  if (!ok) throw Failure{reader.error()};
  const ReadCounts& c = reader.counts();
  // Shown by the label dump prints; sources that share one label share one line.
  std::vector<std::pair<std::string, uint64_t>> byLabel;
  for (const auto& [key, n] : perChannel) {
    const std::string label = vxtrace::channelLabel(key.second);
    auto same = std::find_if(byLabel.begin(), byLabel.end(),
                             [&](const auto& row) { return row.first == label; });
    if (same == byLabel.end()) byLabel.emplace_back(label, n);
    else same->second += n;
  }
  const double duration = timed ? (last - first) / 1e6 : 0.0;
  const double fps = duration > 0 ? records / duration : 0.0;

  Output out("-");
  std::ostringstream os;
  if (a.json) {
    os << "{\n  \"file\": " << jsonString(in.name) << ",\n  \"bytes\": " << c.bytesRead
       << ",\n  \"records\": " << records << ",\n  \"contained_records\": " << contained << ",\n";
    if (timed) {
      os << "  \"first_timestamp_us\": " << first
         << ",\n  \"first_time\": " << jsonString(MessageBase::printTimestamp(first))
         << ",\n  \"last_timestamp_us\": " << last
         << ",\n  \"last_time\": " << jsonString(MessageBase::printTimestamp(last)) << ",\n";
    } else {
      os << "  \"first_timestamp_us\": null,\n  \"first_time\": null,\n"
            "  \"last_timestamp_us\": null,\n  \"last_time\": null,\n";
    }
    char numbers[128];
    std::snprintf(numbers, sizeof numbers,
                  "  \"duration_s\": %.6f,\n  \"frames_per_second\": %.3f,\n", duration, fps);
    os << numbers << "  \"garbage_bytes\": " << c.garbageBytes
       << ",\n  \"garbage_runs\": " << c.garbageRuns
       << ",\n  \"truncated_bytes\": " << c.truncatedBytes
       << ",\n  \"undecodable_frames\": " << c.undecodable << ",\n  \"by_id\": {";
    const char* sep = "\n";
    for (const auto& [id, n] : perId) {
      os << sep << "    " << jsonString(kindName(id)) << ": " << n;
      sep = ",\n";
    }
    os << (perId.empty() ? "" : "\n  ") << "},\n  \"by_channel\": {";
    sep = "\n";
    for (const auto& [label, n] : byLabel) {
      os << sep << "    " << jsonString(label) << ": " << n;
      sep = ",\n";
    }
    os << (byLabel.empty() ? "" : "\n  ") << "}\n}\n";
  } else {
    char line[256];
    auto row = [&](const char* label, const std::string& value) {
      std::snprintf(line, sizeof line, "%-22s %s\n", label, value.c_str());
      os << line;
    };
    row("File:", in.name + " (" + std::to_string(c.bytesRead) + " bytes)");
    row("Records:", std::to_string(records));
    row("Contained records:", std::to_string(contained));
    row("First time stamp:", timed ? MessageBase::printTimestamp(first) : "-");
    row("Last time stamp:", timed ? MessageBase::printTimestamp(last) : "-");
    std::snprintf(line, sizeof line, "%.6f s", duration);
    row("Duration:", line);
    std::snprintf(line, sizeof line, "%.1f", fps);
    row("Frames per second:", line);
    row("Invalid data skipped:",
        std::to_string(c.garbageBytes) + " bytes in " + std::to_string(c.garbageRuns) + " runs");
    row("Truncated at end:", std::to_string(c.truncatedBytes) + " bytes");
    row("Undecodable frames:", std::to_string(c.undecodable));
    os << "\nRecords per identifier:\n";
    for (const auto& [id, n] : perId) {
      std::snprintf(line, sizeof line, "  %-32s %12" PRIu64 "\n", kindName(id).c_str(), n);
      os << line;
    }
    os << "\nRecords per source channel:\n";
    for (const auto& [label, n] : byLabel) {
      std::snprintf(line, sizeof line, "  %-32s %12" PRIu64 "\n", label.c_str(), n);
      os << line;
    }
  }
  const std::string text = os.str();
  std::fwrite(text.data(), 1, text.size(), out.file());
  out.finish();
  return finishRead(reader, in.name);
}

}  // namespace

Runner attachStats(CLI::App& cmd) {
  auto a = std::make_shared<StatsArgs>();
  cmd.add_option("file", a->file, "Trace file, '-' or none for standard input");
  a->input.add(cmd);
  a->filters.add(cmd);
  a->reports.add(cmd);
  cmd.add_flag("--json", a->json, "JSON instead of a table");
  cmd.footer(
      "Examples:\n"
      "  vxtrace stats trace.vxt\n"
      "  vxtrace stats trace.vxt --channel \"CAN #1\" --json");
  return [a] { return runStats(*a); };
}

}  // namespace vxtrace::cli
