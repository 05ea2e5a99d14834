// recover: every record that could be read, as a clean trace with sync markers, in input order.
#include <CLI/CLI.hpp>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <system_error>

#include "Cli.h"
#include "Output.h"
#include "Progress.h"
#include "vxtrace/MessageBase.h"
#include "vxtrace/io/TraceFileWriter.h"

namespace vxtrace::cli {

namespace {

struct RecoverArgs {
  std::string file;
  InputFlags input;
  OutputFlags output;
  ReportFlags reports;
};

int runRecover(const RecoverArgs& a) {
  Input in(a.file);
  Output out(a.output.path, {&in});
  Progress progress(Progress::wanted(out.isStandardOutput()), in.size, "B");
  TraceReader reader(in.fd, in.name, readOptions(a.input, a.reports), &progress);
  bool ok = false;
  try {
    TraceFileWriter writer(out.fd(), TraceFileWriterOptions());
    ok = reader.run([&](std::unique_ptr<MessageBase> msg) {
      try {
        writer.write(*msg);
      } catch (const std::invalid_argument&) {
        // A record no frame can hold is left out: a reader would not find it again.
      }
      return true;
    });
    writer.close();
  } catch (const std::system_error& e) {
    throw Failure{"cannot write " + inQuotes(out.name()) + ": " + std::strerror(e.code().value())};
  }
  progress.hide();
  if (!ok) throw Failure{reader.error()};
  out.finish();
  return finishRead(reader, in.name);
}

}  // namespace

Runner attachRecover(CLI::App& cmd) {
  auto a = std::make_shared<RecoverArgs>();
  cmd.add_option("file", a->file, "Trace file or '-'")->required();
  a->output.add(cmd);
  a->input.add(cmd);
  a->reports.add(cmd);
  cmd.footer("Example:\n  vxtrace recover damaged.vxt -o clean.vxt");
  return [a] { return runRecover(*a); };
}

}  // namespace vxtrace::cli
