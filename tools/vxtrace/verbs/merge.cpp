// merge: several traces into one, ordered by time stamp, in constant memory.
#include <CLI/CLI.hpp>
#include <cstring>
#include <deque>
#include <memory>
#include <queue>
#include <vector>

#include "Cli.h"
#include "Output.h"
#include "Selection.h"
#include "TraceGenerator.h"
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

// One input: its reader and the records of the container being emptied.
struct Lane {
  explicit Lane(const std::string& path) : in(path), reader(in.fd) {}
  Input in;
  TraceFileReader reader;
  std::deque<std::unique_ptr<MessageBase>> pending;

  // The next record of this input, containers opened; null at its end.
  std::unique_ptr<MessageBase> next() {
    while (pending.empty()) {
      std::unique_ptr<MessageBase> msg{reader.next()};
      if (!msg) return nullptr;
      if (msg->msgId == MSGID_INVALID) continue;
      forEachRecord(*msg, true, [&](const MessageBase& rec) {
        if (dynamic_cast<const ContainerMessage*>(&rec) == nullptr)
          pending.emplace_back(&rec == msg.get() ? msg.release() : rec.clone());
        return true;
      });
    }
    std::unique_ptr<MessageBase> front = std::move(pending.front());
    pending.pop_front();
    return front;
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
  MessageBase::invalidHandling = 0;  // undecodable frames are counted, not handed out
  ReadOptions options = readOptions(a.input, a.reports);
  std::vector<std::unique_ptr<Lane>> lanes;
  std::vector<const Input*> inputs;
  for (const auto& path : a.files) {
    lanes.push_back(std::make_unique<Lane>(path));
    Lane& lane = *lanes.back();
    const auto given = static_cast<TraceFileReader::framing_t>((options.v2 ? 2 : 0) +
                                                               (options.expectSync ? 0 : 1));
    bool found = false;
    const auto probe = lane.reader.probeFraming(&found);
    lane.reader.setFraming(options.forced ? given : probe);
    inputs.push_back(&lane.in);
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
  std::vector<uint8_t> frames;
  while (!order.empty() && !selection.full()) {
    const std::size_t i = order.top().lane;
    order.pop();
    MessageBase& rec = *heads[i];
    if (offsets[i] != 0) rec.cascadeChannel(offsets[i]);
    if (selection.take(rec)) gen::appendFramed(frames, rec, gen::Framing::V1);
    if (frames.size() >= (1 << 20)) {
      out.write(frames.data(), frames.size());
      frames.clear();
    }
    advance(i);
  }
  out.write(frames.data(), frames.size());
  out.finish();
  int status = kExitOk;
  for (const auto& lane : lanes) {
    if (lane->reader.error() != 0)
      throw Failure{"cannot read " + inQuotes(lane->in.name) + ": " +
                    std::strerror(lane->reader.error())};
    const auto& c = lane->reader.counts();
    ReadCounts counts;
    counts.undecodable = c.undecodable;
    counts.garbageBytes = c.skippedBytes;
    counts.garbageRuns = c.skippedRuns;
    counts.truncatedBytes = c.truncatedBytes;
    if (finishCounts(counts, lane->in.name) != kExitOk) status = kExitDataErrors;
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
