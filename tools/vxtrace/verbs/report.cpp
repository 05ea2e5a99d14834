#include "Report.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <iostream>
#include <memory>
#include <stdexcept>

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
    reader.setLossHandler([&](const Reader::Loss& loss) { report.addLoss(loss); });
    report.beginFile(name, framingName(reader.framing()), size);
    while (std::unique_ptr<MessageBase> msg = reader.next())
      if (!job.keep || job.keep(*msg)) report.add(*msg, reader.recordOffset(), reader.depth());
    if (reader.error() != 0)
      throw std::runtime_error("cannot read '" + name + "': " + std::strerror(reader.error()));
    const Reader::Counts& c = reader.counts();
    report.endFile(c);
    if (!c.clean()) {
      status = 1;
      std::cerr << "vxtrace: " << name << ": " << c.skippedBytes + c.truncatedBytes
                << " bytes dropped: " << c.undecodable << " undecodable frame"
                << (c.undecodable == 1 ? "" : "s") << ", " << c.skippedBytes
                << " bytes of invalid data in " << c.skippedRuns << " run"
                << (c.skippedRuns == 1 ? "" : "s");
      if (c.truncatedBytes)
        std::cerr << ", truncated last frame (" << c.truncatedBytes << " bytes)";
      std::cerr << std::endl;
    }
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

}  // namespace vxtrace::cli
