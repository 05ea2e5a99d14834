// filter: the records that pass the filters, written as a trace.
#include <CLI/CLI.hpp>
#include <cstring>
#include <memory>
#include <set>
#include <system_error>
#include <vector>

#include "Cli.h"
#include "Output.h"
#include "PartScan.h"
#include "Progress.h"
#include "Selection.h"
#include "vxtrace/ContainerMessage.h"
#include "vxtrace/io/TraceFileWriter.h"

namespace vxtrace::cli {

namespace {

struct FilterArgs {
  std::string file;
  InputFlags input;
  FilterFlags filters;
  OutputFlags output;
  ReportFlags reports;
  bool v1 = false, v2out = false;
  std::string containers;  // "", "plain" or "lz4"
  std::string splitSize, splitTime, threads;
};

// Largest --split-size and --split-time: far beyond any file system's taste, short of overflow.
constexpr uint64_t kMaxSplitBytes = uint64_t{1} << 40;
constexpr uint64_t kMaxSplitSeconds = 366ull * 24 * 3600;

// Bytes, with a k, M or G suffix (powers of 1024).
uint64_t sizeOption(const std::string& text) {
  std::string digits = text;
  uint64_t unit = 1;
  if (!digits.empty()) {
    const char* units = "kMG";
    if (const char* u = std::strchr(units, digits.back()); u && *u) {
      unit = uint64_t{1} << (10 * (u - units + 1));
      digits.pop_back();
    }
  }
  const std::string range = " (bytes from 1 to " + std::to_string(kMaxSplitBytes) +
                            ", with k, M or G for KiB, MiB or GiB)";
  uint64_t n = 0;
  try {
    n = numberOption("--split-size", digits, kMaxSplitBytes / unit);
  } catch (const Failure&) {
    throw Failure{"invalid value for --split-size: " + inQuotes(text) + range};
  }
  if (n == 0) throw Failure{"invalid value for --split-size: " + inQuotes(text) + range};
  return n * unit;
}

// A name pattern holds a number ("%d", "%03d") or time conversion, which tells the files apart.
bool hasField(const std::string& pattern) {
  for (std::size_t i = 0; i + 1 < pattern.size(); ++i) {
    if (pattern[i] != '%') continue;
    if (pattern[i + 1] == '%') {
      ++i;
      continue;
    }
    return true;
  }
  return false;
}

// The frames a part's records make, one unit per record taken.
struct FilterPart : PartResult {
  explicit FilterPart(const FilterFlags& flags) : local(flags) {}
  Selection local;  // the filters without --count: a part cannot know what came before it
  std::vector<uint8_t> frames;  // from each size field on, end to end
  struct Unit {
    uint64_t offset;         // of the record read (the outermost container)
    std::size_t end;         // of its frame in frames
    const MessageBase* rec;  // for the run's own selection, when it needs the records
  };
  std::vector<Unit> units;
  std::vector<std::unique_ptr<MessageBase>> kept;  // own the records units point to
};

int runFilter(const FilterArgs& a) {
  Selection selection(a.filters);
  FilterFlags partFlags = a.filters;
  partFlags.count.clear();
  // The run's selection must see the records to count them and to name values never matched.
  const bool needRecords = !a.filters.ids.empty() || !a.filters.canIds.empty() ||
                           !a.filters.channels.empty() || !a.filters.count.empty();
  const unsigned threads = threadsOption(a.threads);

  TraceFileWriterOptions options;
  const bool split = !a.splitSize.empty() || !a.splitTime.empty();
  if (!a.splitSize.empty()) options.rotateBytes = sizeOption(a.splitSize);
  if (!a.splitTime.empty()) {
    const uint64_t s = numberOption("--split-time", a.splitTime, kMaxSplitSeconds);
    if (s == 0)
      throw Failure{"invalid value for --split-time: '0' (a whole number from 1 to " +
                    std::to_string(kMaxSplitSeconds) + ")"};
    options.rotateUs = s * 1000000;
  }
  if (split && !hasField(a.output.path))
    throw Failure{"output " + inQuotes(a.output.path) +
                  " names one file: a split needs a pattern with %d (part-%03d.vxt) or a time "
                  "conversion"};
  if (!a.containers.empty())
    options.containers = a.containers == "plain" ? TraceFileWriterOptions::Containers::Plain
                                                 : TraceFileWriterOptions::Containers::Lz4;

  Input in(a.file);
  // One output, or each part of a split: under a temporary name until the run succeeds.
  std::unique_ptr<Output> single;
  std::vector<std::unique_ptr<Output>> parts;
  std::set<std::string> targets;
  if (!split) {
    single = std::make_unique<Output>(a.output.path, std::vector<const Input*>{&in});
  } else {
    options.pattern = a.output.path;
    options.files.open = [&](const std::string& name) {
      if (!targets.insert(followLinks(name)).second)
        throw Failure{"the pattern " + inQuotes(a.output.path) + " names " + inQuotes(name) +
                      " twice"};
      parts.push_back(std::make_unique<Output>(name, std::vector<const Input*>{&in}));
      return parts.back()->fd();
    };
    options.files.close = [&](const std::string&, int fd) {
      for (auto& p : parts)
        if (p->file() && p->fd() == fd) p->close();
    };
  }
  const std::string outName = single ? single->name() : a.output.path;
  Progress progress(Progress::wanted(single && single->isStandardOutput()), in.size, "B");
  PartScan scan(in, readOptions(a.input, a.reports), threads, &progress);

  std::unique_ptr<TraceFileWriter> writer;
  uint64_t written = 0;
  // Made once the input's framing is known.
  auto open = [&] {
    if (writer) return;
    const bool v2 = a.v2out || (!a.v1 && scan.framing() >= 2);
    options.framing = v2 ? TraceFileReader::FRAMING_V2 : TraceFileReader::FRAMING_V1;
    writer = single ? std::make_unique<TraceFileWriter>(single->fd(), options)
                    : std::make_unique<TraceFileWriter>(options);
  };
  // The writer's own errors name a descriptor or a temporary file: say which output failed.
  auto guarded = [&](auto&& step) {
    try {
      step();
    } catch (const std::system_error& e) {
      throw Failure{"cannot write " + inQuotes(outName) + ": " + std::strerror(e.code().value())};
    }
  };

  auto make = [&] { return std::make_unique<FilterPart>(partFlags); };
  auto visit = [&](PartResult& result, std::unique_ptr<MessageBase>& msg, uint64_t offset) {
    auto& r = static_cast<FilterPart&>(result);
    const std::size_t units = r.units.size();
    // Containers are opened: the records inside them pass or fail one by one.
    forEachRecord(*msg, true, [&](const MessageBase& rec) {
      if (dynamic_cast<const ContainerMessage*>(&rec) != nullptr || !r.local.take(rec)) return true;
      const unsigned size = rec.getSize();
      if (size < 12 || size + 2 > 65535) return true;  // no frame holds it
      const std::size_t at = r.frames.size();
      r.frames.resize(at + size + 2);
      unsigned char* p = r.frames.data() + at;
      if (rec.writeToByteArray(p, size + 2, false) == 0) {
        r.frames.resize(at);
        return true;
      }
      r.units.push_back({offset, r.frames.size(), needRecords ? &rec : nullptr});
      return true;
    });
    if (needRecords && r.units.size() != units) r.kept.push_back(std::move(msg));
  };
  auto consume = [&](PartResult& result) {
    auto& r = static_cast<FilterPart&>(result);
    uint64_t stop = UINT64_MAX;
    std::size_t begin = 0;
    guarded([&] {
      open();
      for (const FilterPart::Unit& u : r.units) {
        const std::size_t at = begin;
        begin = u.end;
        if (needRecords && !selection.take(*u.rec)) continue;
        writer->writeFrame(r.frames.data() + at, u.end - at);
        ++written;
        if (selection.full()) {
          stop = u.offset;
          break;
        }
      }
    });
    r.frames.clear();
    r.units.clear();
    r.kept.clear();
    return stop;
  };
  const bool ok = selection.empty() || scan.run(make, visit, consume);
  progress.hide();
  if (!ok) throw Failure{scan.error()};
  guarded([&] {
    open();
    writer->close();
  });
  if (single) single->finish();
  for (auto& p : parts) p->finish();
  if (!selection.full()) selection.warnUnmatched(in.name);
  if (a.reports.verbose)
    report(nullptr, in.name + ": " + std::to_string(written) + " records written to " + outName +
                        (split ? " in " + std::to_string(parts.size()) + " files" : ""));
  return finishCounts(scan.counts(), in.name);
}

}  // namespace

Runner attachFilter(CLI::App& cmd) {
  auto a = std::make_shared<FilterArgs>();
  cmd.add_option("file", a->file, "Trace file or '-'")->required();
  a->output.add(cmd);
  a->input.add(cmd, /*withV2=*/false);
  a->filters.add(cmd);
  a->reports.add(cmd);
  auto* v1 = cmd.add_flag("--v1", a->v1, "Write the first framing (55 AA markers)");
  cmd.add_flag("--v2", a->v2out, "Write the second framing ('Z' markers)")->excludes(v1);
  cmd.add_flag("--containers{lz4}", a->containers,
               "Bundle the records in containers of up to 64: --containers[=plain|lz4] (lz4 "
               "when bare)")
      ->check(CLI::IsMember({"plain", "lz4"}));
  cmd.add_option("--split-size", a->splitSize,
                 "Start a new file before one would grow past SIZE bytes (k, M, G: KiB, MiB, "
                 "GiB); -o is then a name pattern such as part-%03d.vxt");
  cmd.add_option("--split-time", a->splitTime,
                 "Start a new file every SECONDS of record time (periods aligned to the epoch); "
                 "-o is then a name pattern");
  addThreadsOption(cmd, a->threads);
  cmd.footer(
      "Records inside containers are written on their own unless --containers bundles them anew.\n"
      "Examples:\n"
      "  vxtrace filter trace.vxt --channel \"CAN #1\" --can-id 0x1e5 -o engine.vxt\n"
      "  vxtrace filter trace.vxt --from \"2024-03-14 09:26:53\" --count 1000 -o head.vxt\n"
      "  vxtrace filter trace.vxt --split-size 100M -o part-%03d.vxt");
  return [a] { return runFilter(*a); };
}

}  // namespace vxtrace::cli
