// filter: the records that pass the filters, written as a trace.
#include <CLI/CLI.hpp>
#include <memory>
#include <vector>

#include "Cli.h"
#include "Output.h"
#include "Progress.h"
#include "Selection.h"
#include "TraceGenerator.h"
#include "vxtrace/ContainerMessage.h"

namespace vxtrace::cli {

namespace {

struct FilterArgs {
  std::string file;
  InputFlags input;
  FilterFlags filters;
  OutputFlags output;
  ReportFlags reports;
  bool v1 = false, v2out = false;
};

int runFilter(const FilterArgs& a) {
  Selection selection(a.filters);
  Input in(a.file);
  Output out(a.output.path, {&in});
  Progress progress(Progress::wanted(out.isStandardOutput()), in.size, "B");
  TraceReader reader(in.fd, in.name, readOptions(a.input, a.reports), &progress);
  std::vector<uint8_t> frames;
  uint64_t written = 0;
  const bool ok = reader.run([&](std::unique_ptr<MessageBase> msg) {
    // The input's framing (V1 or V2, with markers) unless one is named.
    const bool v2 = a.v2out || (!a.v1 && reader.framing() >= 2);
    // Containers are opened: the records inside them pass or fail one by one.
    const bool more = forEachRecord(*msg, true, [&](const MessageBase& rec) {
      if (dynamic_cast<const ContainerMessage*>(&rec) != nullptr || !selection.take(rec))
        return true;
      if (gen::appendFramed(frames, rec, v2 ? gen::Framing::V2 : gen::Framing::V1)) ++written;
      return !selection.full();
    });
    if (frames.size() >= (1 << 20) || !more) {
      out.write(frames.data(), frames.size());
      frames.clear();
    }
    return more;
  });
  out.write(frames.data(), frames.size());
  progress.hide();
  if (!ok) throw Failure{reader.error()};
  out.finish();
  if (!selection.full()) selection.warnUnmatched(in.name);
  if (a.reports.verbose)
    report(nullptr, in.name + ": " + std::to_string(written) + " records written to " +
                        out.name());
  return finishRead(reader, in.name);
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
  cmd.footer(
      "Records inside containers are written on their own.\n"
      "Examples:\n"
      "  vxtrace filter trace.vxt --channel \"CAN #1\" --can-id 0x1e5 -o engine.vxt\n"
      "  vxtrace filter trace.vxt --from \"2024-03-14 09:26:53\" --count 1000 -o head.vxt");
  return [a] { return runFilter(*a); };
}

}  // namespace vxtrace::cli
