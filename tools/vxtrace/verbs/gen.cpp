// gen: a deterministic synthetic trace, for tests and demonstrations.
#include <CLI/CLI.hpp>
#include <memory>
#include <vector>

#include "Cli.h"
#include "Output.h"
#include "Progress.h"
#include "TraceGenerator.h"

namespace vxtrace::cli {

namespace {

struct GenArgs {
  OutputFlags output;
  std::string records = "10000";
  std::string seed = "1";
  bool v2 = false;
  bool diag = false;
  std::string containers;  // "", "plain" or "lz4"
  bool remote = false;
};

// Enough for any test or demo; a typing slip must not fill the disk.
constexpr uint64_t kMaxGenRecords = 1000000000ULL;

int runGen(const GenArgs& a) {
  gen::TraceOptions options;
  options.records = numberOption("--records", a.records, kMaxGenRecords);
  options.seed = numberOption("--seed", a.seed, UINT64_MAX);
  options.framing = a.v2 ? gen::Framing::V2 : gen::Framing::V1;
  if (!a.containers.empty())
    options.containers = a.containers == "plain" ? gen::Containers::Plain : gen::Containers::Lz4;
  Output out(a.output.path);
  std::vector<uint8_t> buffer;
  auto flush = [&] {
    out.write(buffer.data(), buffer.size());
    buffer.clear();
  };
  if (a.remote) {
    for (const auto& msg : gen::remoteExchange(options.startTime))
      gen::appendFramed(buffer, *msg, options.framing);
  } else if (a.diag) {
    buffer = gen::generateDiagnosticTrace(options.startTime, options.framing);
  } else {
    gen::TraceGenerator generator(options);
    Progress progress(Progress::wanted(out.isStandardOutput()), options.records, "records");
    buffer.reserve(1 << 21);
    while (generator.next(buffer)) {
      if (buffer.size() >= (1 << 20)) {
        flush();
        progress.update(generator.produced());
      }
    }
  }
  flush();
  out.finish();
  return kExitOk;
}

}  // namespace

Runner attachGen(CLI::App& cmd) {
  auto a = std::make_shared<GenArgs>();
  cmd.add_option("out", a->output.path, "Output file, device or '-'")->required();
  cmd.add_option("--records", a->records, "Number of records (default 10000)");
  cmd.add_option("--seed", a->seed, "Seed (default 1)");
  cmd.add_flag("--v2", a->v2, "Second framing instead of sync-marked frames");
  cmd.add_flag("--diag", a->diag,
               "A calibration and diagnostic session (XCP, CCP, UDS, KWP2000) instead of "
               "CAN traffic; --records and --seed do not apply");
  cmd.add_flag("--containers{lz4}", a->containers,
               "Bus records in containers of up to 64: --containers[=plain|lz4] (lz4 when bare)")
      ->check(CLI::IsMember({"plain", "lz4"}));
  cmd.add_flag("--remote", a->remote,
               "A remote-control session (requests and responses) instead of a trace");
  cmd.footer(
      "Examples:\n"
      "  vxtrace gen sample.vxt --records 100000\n"
      "  vxtrace gen --diag diag.vxt && vxtrace dump --register-diag diag.vxt");
  return [a] { return runGen(*a); };
}

}  // namespace vxtrace::cli
