// merge: several traces into one, ordered by time stamp, in constant memory.
#include <CLI/CLI.hpp>
#include <cstring>
#include <memory>
#include <queue>
#include <stdexcept>
#include <system_error>
#include <vector>

#include "Cli.h"
#include "Output.h"
#include "Selection.h"
#include "vxtrace/io/Reader.h"
#include "vxtrace/io/TraceFileWriter.h"
#include "vxtrace/vxtrace.h"

namespace vxtrace::cli {

namespace {

struct MergeArgs {
  std::vector<std::string> files;
  std::string cascade;
  InputFlags input;
  FilterFlags filters;
  OutputFlags output;
  ReportFlags reports;
};

// One input and its reader; containers are opened by the reader, and only the records inside
// them are merged.
struct Lane {
  Lane(const std::string& path, const ReadPolicy& policy)
      : in(path), reader(Source::descriptor(in.fd, in.name), policy) {
    reader.setLossHandler([this](const Reader::Loss& loss) {
      if (loss.kind == Reader::Loss::UNDECODABLE) undecodableBytes += loss.length;
    });
  }
  Input in;
  Reader reader;
  uint64_t undecodableBytes = 0;

  // The next record of this input; null at its end.
  std::unique_ptr<MessageBase> next() {
    while (std::unique_ptr<MessageBase> msg = reader.next())
      if (dynamic_cast<const ContainerMessage*>(msg.get()) == nullptr) return msg;
    return nullptr;
  }
};

// The channel offset of each input, from "N1,N2,...".
std::vector<unsigned short> cascadeOffsets(const std::string& text, std::size_t inputs) {
  std::vector<unsigned short> offsets;
  if (text.empty()) return std::vector<unsigned short>(inputs, 0);
  std::size_t from = 0;
  for (;;) {
    const std::size_t comma = text.find(',', from);
    offsets.push_back(static_cast<unsigned short>(
        numberOption("--cascade", text.substr(from, comma - from), 0xFF)));
    if (comma == std::string::npos) break;
    from = comma + 1;
  }
  if (offsets.size() != inputs)
    throw Failure{"--cascade gives " + std::to_string(offsets.size()) + " offsets for " +
                  std::to_string(inputs) + " inputs"};
  return offsets;
}

int runMerge(const MergeArgs& a) {
  Selection selection(a.filters);
  const std::vector<unsigned short> offsets = cascadeOffsets(a.cascade, a.files.size());
  ReadPolicy policy;
  policy.decodeDiagnostics = a.input.registerDiag;
  policy.expandContainers = true;
  if (a.input.v2 || a.input.noSync)
    policy.framing = static_cast<Framing>((a.input.v2 ? 2 : 0) + (a.input.noSync ? 1 : 0));
  std::vector<std::unique_ptr<Lane>> lanes;
  std::vector<const Input*> inputs;
  for (const auto& path : a.files) {
    lanes.push_back(std::make_unique<Lane>(path, policy));
    if (!lanes.back()->reader.notATrace().empty())
      throw Failure{lanes.back()->in.name + ": " + lanes.back()->reader.notATrace()};
    inputs.push_back(&lanes.back()->in);
  }
  Output out(a.output.path, inputs);

  // The smallest time stamp first; of equal ones, the earlier input's.
  struct Head {
    uint64_t time;
    std::size_t lane;
    bool operator<(const Head& o) const {
      return time != o.time ? time > o.time : lane > o.lane;
    }
  };
  std::vector<std::unique_ptr<MessageBase>> heads(lanes.size());
  std::priority_queue<Head> order;
  auto advance = [&](std::size_t i) {
    heads[i] = lanes[i]->next();
    if (heads[i]) order.push({heads[i]->timeStamp, i});
  };
  for (std::size_t i = 0; i < lanes.size(); ++i) advance(i);
  try {
    TraceFileWriter writer(out.fd(), TraceFileWriterOptions());
    while (!order.empty() && !selection.full()) {
      const std::size_t i = order.top().lane;
      order.pop();
      MessageBase& rec = *heads[i];
      if (offsets[i] != 0) rec.cascadeChannel(offsets[i]);
      if (selection.take(rec)) {
        try {
          writer.write(rec);
        } catch (const std::invalid_argument&) {
          // A record no frame can hold is left out, as the reader would not find it again.
        }
      }
      advance(i);
    }
    writer.close();
  } catch (const std::system_error& e) {
    throw Failure{"cannot write " + inQuotes(out.name()) + ": " + std::strerror(e.code().value())};
  }
  out.finish();
  int status = kExitOk;
  for (const auto& lane : lanes) {
    if (lane->reader.error() != 0)
      throw Failure{"cannot read " + inQuotes(lane->in.name) + ": " +
                    std::strerror(lane->reader.error())};
    if (finishCounts(readCounts(lane->reader.counts(), lane->undecodableBytes), lane->in.name) !=
        kExitOk)
      status = kExitDataErrors;
  }
  if (!selection.full()) selection.warnUnmatched("the inputs");
  return status;
}

}  // namespace

Runner attachMerge(CLI::App& cmd) {
  auto a = std::make_shared<MergeArgs>();
  cmd.add_option("files", a->files, "Trace files, two or more")->required()->expected(2, -1);
  a->output.add(cmd);
  cmd.add_option("--cascade", a->cascade,
                 "Channel offsets N1,N2,... one per input, added to each input's bus channels "
                 "so that cascaded loggers do not collide");
  a->input.add(cmd);
  a->filters.add(cmd);
  a->reports.add(cmd);
  cmd.footer(
      "Records of equal time keep the order of the inputs; records inside containers are "
      "written on their own.\n"
      "Example:\n"
      "  vxtrace merge front.vxt rear.vxt --cascade 0,4 -o both.vxt");
  return [a] { return runMerge(*a); };
}

}  // namespace vxtrace::cli
