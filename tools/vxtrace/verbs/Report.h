#pragma once
// vxtrace report: the inputs as one self-contained HTML page (vxtrace::HtmlReport).
#include <cstdint>
#include <functional>
#include <map>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "vxtrace/MessageBase.h"

namespace vxtrace::cli {

struct ReportJob {
  std::vector<std::string> inputs;  // paths; "-" is standard input
  bool v2 = false, noSync = false;  // a framing given; otherwise each input's is detected
  bool decodeDiagnostics = false;   // KWP2000 and UDS records decoded
  unsigned bins = 200;
  uint64_t gapUs = 60000000;
  std::map<std::string, uint64_t> bitRates;  // bits per second by channel label
  // Whether a record (one read from the file or one from inside a container) goes in.
  std::function<bool(const MessageBase&)> keep;
};

// Reads every input to its end and writes the page to out. Returns the exit status of the
// tool's finishing code (finishCounts) for the inputs: 0, or 1 when an input had losses or no
// record. Throws std::runtime_error (std::system_error from the source) with a one-line reason
// on an input that cannot be read.
int writeReport(const ReportJob& job, std::ostream& out);

// "LABEL=RATE" as --bit-rate takes it ("CAN #1=500000", "CAN1=500k"); throws
// std::invalid_argument with the reason.
std::pair<std::string, uint64_t> bitRateOption(const std::string& text);

}  // namespace vxtrace::cli
