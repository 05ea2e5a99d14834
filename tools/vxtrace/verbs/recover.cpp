// recover: every record that could be read, as a clean trace with sync markers, in input order.
#include <CLI/CLI.hpp>
#include <memory>
#include <vector>

#include "Cli.h"
#include "Output.h"
#include "Progress.h"
#include "vxtrace/MessageBase.h"

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
  std::vector<unsigned char> frame;
  const bool ok = reader.run([&](std::unique_ptr<MessageBase> msg) {
    if (msg->createByteArray(frame, true, false) == 0) return true;
    std::fwrite(frame.data(), 1, frame.size(), out.file());
    return !std::ferror(out.file());
  });
  out.check();
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
