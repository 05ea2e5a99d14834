#include "Cli.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iostream>
#include <sstream>

#include "vxtrace/io/ParallelScan.h"
#include "vxtrace/vxtrace.h"

namespace vxtrace::cli {

std::string inQuotes(const std::string& s) { return "'" + s + "'"; }

uint64_t numberOption(const std::string& option, const std::string& text, uint64_t max) {
  errno = 0;
  char* end = nullptr;
  const unsigned long long v = std::strtoull(text.c_str(), &end, 10);
  if (text.empty() || text.find_first_not_of("0123456789") != std::string::npos || errno != 0 ||
      v > max)
    throw Failure{"invalid value for " + option + ": " + inQuotes(text) +
                  " (a whole number from 0 to " + std::to_string(max) + ")"};
  return v;
}

Input::Input(const std::string& path) {
  if (path == "-") {
    fd = STDIN_FILENO;
    name = "standard input";
  } else {
    fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) throw Failure{"cannot open " + inQuotes(path) + ": " + std::strerror(errno)};
    name = path;
  }
  struct stat st;
  if (fstat(fd, &st) == 0 && S_ISREG(st.st_mode)) size = static_cast<uint64_t>(st.st_size);
}

Input::~Input() {
  if (fd > STDIN_FILENO) ::close(fd);
}

void InputFlags::add(CLI::App& cmd, bool withV2) {
  auto* group = cmd.add_option_group("Input", "Framing and decoding");
  if (withV2)
    group->add_flag("--v2", v2,
                    "Read the second framing ('Z', type byte, 16-bit length, frame) instead of "
                    "detecting the framing");
  group->add_flag("--no-sync", noSync, "Frames carry no marker (with --v2: no 'Z')");
  group->add_flag("--register-diag", registerDiag,
                  "Decode KWP2000 and UDS records (identifiers 26 to 29, not registered by "
                  "default)");
}

void ReportFlags::add(CLI::App& cmd) {
  auto* group = cmd.add_option_group("Reports", "What the run says on standard error");
  auto* verboseFlag = group->add_flag("--verbose", verbose,
                                      "Also name the framing read and explain what was left out");
  group->add_flag("--quiet", quiet, "Only the final summary line on standard error")
      ->excludes(verboseFlag);
}

void FilterFlags::add(CLI::App& cmd, bool formatTakesTo) {
  auto* group = cmd.add_option_group("Filters", "Which records are taken");
  group->add_option("--id", ids, "Only this record kind (name or number); repeatable")
      ->allow_extra_args(false);
  group
      ->add_option("--can-id", canIds,
                   "Only CAN frames with this identifier, ID or ID/MASK (hex with 0x, or "
                   "decimal); repeatable")
      ->allow_extra_args(false);
  group
      ->add_option("--channel", channels,
                   "Only this source channel, e.g. \"CAN #1\", CAN1 or can0; repeatable")
      ->allow_extra_args(false);
  group->add_option("--from", from,
                    "From this time: YYYY-MM-DD HH:MM:SS[.ffffff] in UTC (local time with "
                    "--local-time), or microseconds");
  group->add_option(formatTakesTo ? "--until" : "--to,--until", to,
                    "Up to this time (inclusive), as --from");
  group->add_flag("--local-time", localTime,
                  "Times given and shown in local time instead of UTC");
  group->add_option("--count", count, "Stop after this many records");
}

void OutputFlags::add(CLI::App& cmd, bool required) {
  auto* option = cmd.add_option("-o,--output", path, "Output file, device or '-'");
  if (required) option->required();
}

ReadOptions readOptions(const InputFlags& input, const ReportFlags& reports) {
  ReadOptions o;
  o.v2 = input.v2;
  o.expectSync = !input.noSync;
  o.forced = input.v2 || input.noSync;
  o.decodeDiagnostics = input.registerDiag;
  o.showReports = !reports.quiet;
  o.quiet = reports.quiet;
  o.verbose = reports.verbose;
  return o;
}

void addThreadsOption(CLI::App& cmd, std::string& text) {
  cmd.add_option("--threads", text,
                 "Threads reading a file, 1 to 256 (default: one per core); a pipe is read by "
                 "one");
}

unsigned threadsOption(const std::string& text) {
  if (text.empty()) return std::min(vxtrace::defaultThreads(), 256u);
  uint64_t n = 0;
  try {
    n = numberOption("--threads", text, 256);
  } catch (const Failure&) {
  }
  if (n == 0)
    throw Failure{"invalid value for --threads: " + inQuotes(text) +
                  " (a whole number from 1 to 256)"};
  return static_cast<unsigned>(n);
}

bool forEachRecord(const MessageBase& msg, bool expand,
                   const std::function<bool(const MessageBase&)>& fn) {
  if (!fn(msg)) return false;
  auto* container = expand ? dynamic_cast<const ContainerMessage*>(&msg) : nullptr;
  if (container == nullptr) return true;
  container->messages.clear();
  container->decompress(container->numOfMsg, container->data.data(),
                        static_cast<unsigned int>(container->data.size()));
  for (const auto& inner : container->messages)
    if (!forEachRecord(*inner, true, fn)) return false;
  return true;
}

}  // namespace vxtrace::cli
