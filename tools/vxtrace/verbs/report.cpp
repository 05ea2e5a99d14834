#include "Report.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iostream>
#include <memory>
#include <sstream>
#include <stdexcept>

#include "Cli.h"
#include "Output.h"
#include "Selection.h"
#include "vxtrace/export/HtmlReport.h"
#include "vxtrace/io/Reader.h"
#include "vxtrace/io/Source.h"

namespace vxtrace::cli {

int writeReport(const ReportJob& job, std::ostream& out) {
  HtmlReportOptions options;
  options.bins = job.bins;
  options.gapUs = job.gapUs;
  options.bitRates = job.bitRates;
  HtmlReport report(options);
  int status = 0;
  for (const std::string& path : job.inputs) {
    const bool stdinput = path == "-";
    Source source =
        stdinput ? Source::descriptor(STDIN_FILENO, "standard input") : Source::file(path);
    const std::string name = source.name();
    const uint64_t size = source.size().value_or(0);
    ReadPolicy policy;
    policy.expandContainers = true;
    policy.decodeDiagnostics = job.decodeDiagnostics;
    if (job.v2 || job.noSync)
      policy.framing =
          job.v2 ? (job.noSync ? Framing::V2NoMarker : Framing::V2) : Framing::V1NoMarker;
    Reader reader(std::move(source), policy);
    // The decoders' own lines about odd records are not the page's business: the losses are on
    // the page and in the summary line.
    reader.setDiagnosticHandler([](uint64_t, DiagnosticLevel, const std::string&) {});
    uint64_t undecodableBytes = 0;
    reader.setLossHandler([&](const Reader::Loss& loss) {
      if (loss.kind == Reader::Loss::UNDECODABLE) undecodableBytes += loss.length;
      report.addLoss(loss);
    });
    if (!reader.notATrace().empty()) throw std::runtime_error(name + ": " + reader.notATrace());
    report.beginFile(name, framingName(reader.framing()), size);
    while (std::unique_ptr<MessageBase> msg = reader.next())
      if (!job.keep || job.keep(*msg)) report.add(*msg, reader.recordOffset(), reader.depth());
    if (reader.error() != 0)
      throw std::runtime_error("cannot read '" + name + "': " + std::strerror(reader.error()));
    report.endFile(reader.counts());
    status = std::max(status, finishCounts(readCounts(reader.counts(), undecodableBytes), name));
  }
  report.write(out);
  return status;
}

std::pair<std::string, uint64_t> bitRateOption(const std::string& text) {
  const std::size_t eq = text.rfind('=');
  if (eq == std::string::npos || eq == 0 || eq + 1 == text.size())
    throw std::invalid_argument("expected LABEL=RATE, e.g. \"CAN #1=500k\"");
  std::string label = text.substr(0, eq), rate = text.substr(eq + 1);
  uint64_t scale = 1;
  const char unit = static_cast<char>(std::tolower(static_cast<unsigned char>(rate.back())));
  if (unit == 'k' || unit == 'm') {
    scale = unit == 'k' ? 1000 : 1000000;
    rate.pop_back();
  }
  if (rate.empty() || rate.find_first_not_of("0123456789") != std::string::npos || rate.size() > 9)
    throw std::invalid_argument("the rate is a whole number of bits per second (k and M allowed)");
  const uint64_t bps = std::stoull(rate) * scale;
  if (bps < 1000 || bps > 20000000)
    throw std::invalid_argument("the rate must lie between 1k and 20M bits per second");
  // "CAN1", "can 1" and "CAN #1" name the same channel.
  std::string digits, bus;
  for (char c : label) {
    if (std::isdigit(static_cast<unsigned char>(c)))
      digits.push_back(c);
    else if (c != ' ' && c != '#')
      bus.push_back(c);
  }
  if (bus.empty() || digits.empty())
    throw std::invalid_argument("the label names a channel, e.g. \"CAN #1\"");
  for (char& c : bus) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return {bus + " #" + digits, bps};
}

namespace {

struct ReportArgs {
  std::vector<std::string> files;
  InputFlags input;
  FilterFlags filters;
  OutputFlags output;
  std::string bins = "200";
  std::string gap = "60";
  std::vector<std::string> bitRates;
};

int runReport(const ReportArgs& a) {
  ReportJob job;
  job.inputs = a.files;
  job.v2 = a.input.v2;
  job.noSync = a.input.noSync;
  job.decodeDiagnostics = a.input.registerDiag;
  job.bins =
      static_cast<unsigned>(numberOption("--bins", a.bins, HtmlReportOptions::kMaxBins));
  if (job.bins < HtmlReportOptions::kMinBins)
    throw Failure{"invalid value for --bins: " + inQuotes(a.bins) + " (from " +
                  std::to_string(HtmlReportOptions::kMinBins) + " to " +
                  std::to_string(HtmlReportOptions::kMaxBins) + ")"};
  // Whole seconds up to a year.
  job.gapUs = numberOption("--gap", a.gap, 366ULL * 86400) * 1000000ULL;
  if (job.gapUs == 0) throw Failure{"invalid value for --gap: '0' (at least 1 second)"};
  for (const auto& text : a.bitRates) {
    try {
      job.bitRates.insert(bitRateOption(text));
    } catch (const std::invalid_argument& e) {
      throw Failure{"invalid value for --bit-rate: " + inQuotes(text) + " (" + e.what() + ")"};
    }
  }
  auto selection = std::make_shared<Selection>(a.filters);
  job.keep = [selection](const MessageBase& msg) { return selection->take(msg); };
  // Opened only so that an output naming one of them is refused before anything is read.
  std::vector<std::unique_ptr<Input>> inputs;
  std::vector<const Input*> named;
  for (const auto& file : a.files)
    if (file != "-") named.push_back(inputs.emplace_back(std::make_unique<Input>(file)).get());
  Output out(a.output.path, named);
  std::ostringstream page;
  int status;
  try {
    status = writeReport(job, page);
  } catch (const std::runtime_error& e) {
    throw Failure{e.what()};
  }
  const std::string text = page.str();
  std::fwrite(text.data(), 1, text.size(), out.file());
  out.check();
  out.finish();
  if (!selection->full()) selection->warnUnmatched(a.files.size() == 1 ? a.files[0] : "the inputs");
  return status;
}

}  // namespace

Runner attachReport(CLI::App& cmd) {
  auto a = std::make_shared<ReportArgs>();
  cmd.add_option("files", a->files, "Trace files, or '-' for standard input")->required();
  a->output.add(cmd);
  a->input.add(cmd);
  cmd.add_option("--bins", a->bins, "Columns of the time axis, 10 to 1000 (default 200)");
  cmd.add_option("--gap", a->gap,
                 "Seconds without records that make a gap on the time line (default 60)");
  cmd.add_option("--bit-rate", a->bitRates,
                 "A CAN channel's bit rate, e.g. \"CAN #1=500k\": its load from its frames "
                 "where the trace has no load records; repeatable")
      ->allow_extra_args(false);
  a->filters.add(cmd);
  cmd.footer("Example:\n  vxtrace report trace.vxt --channel \"CAN #1\" -o report.html");
  return [a] { return runReport(*a); };
}

}  // namespace vxtrace::cli
