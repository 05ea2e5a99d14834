#include "Report.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <iostream>
#include <memory>
#include <stdexcept>

#include "vxtrace/ContainerMessage.h"
#include "vxtrace/InvalidMessage.h"
#include "vxtrace/TraceFileReader.h"
#include "vxtrace/export/HtmlReport.h"
#include "vxtrace/io/Diagnostics.h"

namespace vxtrace::cli {

namespace {

const char* framingText(TraceFileReader::framing_t f) {
  switch (f) {
    case TraceFileReader::FRAMING_V1:
      return "V1 framing (55 AA markers)";
    case TraceFileReader::FRAMING_V1_NOSYNC:
      return "V1 framing without markers";
    case TraceFileReader::FRAMING_V2:
      return "V2 framing ('Z' markers)";
    case TraceFileReader::FRAMING_V2_NOSYNC:
      return "V2 framing without markers";
  }
  return "unknown framing";
}

// The record, then the records inside it when it is a container, depth first.
void feed(HtmlReport& report, const MessageBase& msg, uint64_t offset, unsigned depth,
          const ReportJob& job) {
  if (!job.keep || job.keep(msg)) report.add(msg, offset, depth);
  auto* container =
      msg.msgId == MSGID_CONTAINER ? dynamic_cast<const ContainerMessage*>(&msg) : nullptr;
  if (container == nullptr) return;
  container->messages.clear();
  container->decompress(container->numOfMsg, container->data.data(),
                        static_cast<unsigned int>(container->data.size()));
  for (const auto& inner : container->messages) feed(report, *inner, offset, depth + 1, job);
  container->messages.clear();
}

}  // namespace

int writeReport(const ReportJob& job, std::ostream& out) {
  HtmlReportOptions options;
  options.bins = job.bins;
  options.gapUs = job.gapUs;
  options.bitRates = job.bitRates;
  HtmlReport report(options);
  // The decoders' own lines about odd records would interleave with nothing useful here: the
  // losses are on the page and in the summary line.
  DiagnosticSink quiet([](DiagnosticLevel, const std::string&) {});
  int status = 0;
  for (const std::string& path : job.inputs) {
    const bool stdinput = path == "-";
    const std::string name = stdinput ? "standard input" : path;
    const int fd = stdinput ? STDIN_FILENO : ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) throw std::runtime_error("cannot open '" + path + "': " + std::strerror(errno));
    struct Closer {
      int fd;
      ~Closer() {
        if (fd > STDIN_FILENO) ::close(fd);
      }
    } closer{fd};
    struct stat st;
    const uint64_t size =
        fstat(fd, &st) == 0 && S_ISREG(st.st_mode) ? static_cast<uint64_t>(st.st_size) : 0;

    TraceFileReader reader(fd);
    if (job.v2 || job.noSync) {
      reader.setFraming(
          job.v2 ? (job.noSync ? TraceFileReader::FRAMING_V2_NOSYNC : TraceFileReader::FRAMING_V2)
                 : TraceFileReader::FRAMING_V1_NOSYNC);
    } else {
      reader.setFraming(reader.probeFraming());
    }
    report.beginFile(name, framingText(reader.framing()), size);
    reader.setLossHandler([&](const TraceFileReader::loss_t& loss) { report.addLoss(loss); });
    while (std::unique_ptr<MessageBase> msg{reader.next()}) {
      if (msg->msgId == MSGID_INVALID && dynamic_cast<const InvalidMessage*>(msg.get())) continue;
      feed(report, *msg, reader.recordOffset(), 0, job);
    }
    if (reader.error() != 0)
      throw std::runtime_error("cannot read '" + name + "': " + std::strerror(reader.error()));
    const TraceFileReader::counts_t& c = reader.counts();
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
