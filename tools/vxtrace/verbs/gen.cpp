// gen: a deterministic synthetic trace, for tests and demonstrations.
#include <CLI/CLI.hpp>
#include <cstring>
#include <memory>
#include <system_error>
#include <vector>

#include "Cli.h"
#include "Output.h"
#include "Progress.h"
#include "TraceGenerator.h"
#include "vxtrace/io/TraceFileWriter.h"

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
  if (a.diag) {
    // One piece: its end record carries the CRC of all bytes before it.
    const std::vector<uint8_t> bytes =
        gen::generateDiagnosticTrace(options.startTime, options.framing);
    out.write(bytes.data(), bytes.size());
    out.finish();
    return kExitOk;
  }
  try {
    TraceFileWriterOptions framing;
    if (options.framing == gen::Framing::V2) framing.framing = TraceFileReader::FRAMING_V2;
    framing.v2Type = gen::kV2TraceFrame;
    TraceFileWriter writer(out.fd(), framing);
    if (a.remote) {
      for (const auto& msg : gen::remoteExchange(options.startTime)) writer.write(*msg);
    } else {
      gen::TraceGenerator generator(options);
      Progress progress(Progress::wanted(out.isStandardOutput()), options.records, "records");
      std::vector<uint8_t> scratch;  // the generator's own framing, for its end record's CRC
      std::unique_ptr<MessageBase> msg;
      while (generator.next(scratch, &msg)) {
        if (!scratch.empty()) writer.write(*msg);  // what it could not frame, it left out
        scratch.clear();
        if ((generator.produced() & 0xFFFF) == 0) progress.update(generator.produced());
      }
    }
    writer.close();
  } catch (const std::system_error& e) {
    throw Failure{"cannot write " + inQuotes(out.name()) + ": " + std::strerror(e.code().value())};
  }
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
