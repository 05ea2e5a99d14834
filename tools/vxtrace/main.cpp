// vxtrace: dump, summarise, generate and convert trace files.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "Progress.h"
#include "TraceGenerator.h"
#include "TraceReader.h"
#include "util/Hex.h"
#include "vxtrace/export/Exporter.h"
#include "vxtrace/io/Channel.h"
#include "vxtrace/vxtrace.h"

using namespace vxtrace::cli;

static_assert(sizeof(off_t) == 8, "traces past 2 GiB need _FILE_OFFSET_BITS=64 on a 32-bit host");
static_assert(sizeof(time_t) == 8, "--from and --to past 2038 need _TIME_BITS=64 on a 32-bit host");

namespace {

// Exit status: 0 all went well, 1 undecodable frames or garbage met, 2 usage or I/O error.
constexpr int kExitOk = 0;
constexpr int kExitDataErrors = 1;
constexpr int kExitFailure = 2;

// A usage or I/O error: one line on standard error, exit status 2.
struct Failure {
  std::string message;
};

std::string inQuotes(const std::string& s) { return "'" + s + "'"; }

// An input named on the command line; "-" is standard input.
struct Input {
  int fd = -1;
  std::string name;   // for messages
  uint64_t size = 0;  // 0 when unknown (a pipe)

  explicit Input(const std::string& path) {
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
  ~Input() {
    if (fd > STDIN_FILENO) ::close(fd);
  }
  Input(const Input&) = delete;
  Input& operator=(const Input&) = delete;
};

// Output file; "-" is standard output. A file is written under a temporary name in its own
// directory and renamed over the target by finish(), so a failed run leaves an existing file as
// it was. An output that is the input (by any path or link) is refused before anything is made.
struct Output {
  std::FILE* file = nullptr;
  std::string name;
  std::string temp;  // empty for standard output

  explicit Output(const std::string& path, const Input* input = nullptr) {
    if (path == "-") {
      file = stdout;
      name = "standard output";
      // On a terminal each record shows as soon as it is read.
      static char buffer[1 << 20];
      std::setvbuf(stdout, buffer, isatty(STDOUT_FILENO) ? _IOLBF : _IOFBF, sizeof buffer);
      return;
    }
    struct stat out, in;
    if (input != nullptr && ::stat(path.c_str(), &out) == 0 && ::fstat(input->fd, &in) == 0 &&
        out.st_dev == in.st_dev && out.st_ino == in.st_ino)
      throw Failure{"output " + inQuotes(path) + " is the input " + inQuotes(input->name) +
                    ": refusing to overwrite it"};
    temp = path + ".vxtrace-XXXXXX";
    const int fd = ::mkstemp(temp.data());
    if (fd < 0) throw Failure{"cannot create " + inQuotes(path) + ": " + std::strerror(errno)};
    const mode_t mask = ::umask(0);
    ::umask(mask);
    ::fchmod(fd, 0666 & ~mask);  // what a plain create would have given
    file = ::fdopen(fd, "wb");
    if (file == nullptr) {
      ::close(fd);
      ::unlink(temp.c_str());
      throw Failure{"cannot create " + inQuotes(path) + ": " + std::strerror(errno)};
    }
    name = path;
    std::setvbuf(file, nullptr, _IOFBF, 1 << 20);
  }
  // Flushes, closes and puts the file in place; a failure here (disk full) is an I/O error.
  void finish() {
    errno = 0;
    bool bad = std::fflush(file) != 0 || std::ferror(file);
    int err = errno;
    if (file != stdout) {
      if (std::fclose(file) != 0 && !bad) {
        bad = true;
        err = errno;
      }
      file = nullptr;
      if (!bad && ::rename(temp.c_str(), name.c_str()) != 0) {
        bad = true;
        err = errno;
      }
      if (bad) ::unlink(temp.c_str());
    }
    file = nullptr;
    if (bad)
      throw Failure{"cannot write " + inQuotes(name) + ": " + std::strerror(err ? err : EIO)};
  }
  ~Output() {
    if (file && file != stdout) {
      std::fclose(file);
      ::unlink(temp.c_str());
    }
  }
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;
};

// A whole non-negative decimal number no larger than max; anything else is a usage error.
uint64_t numberOption(const std::string& option, const std::string& text, uint64_t max) {
  errno = 0;
  char* end = nullptr;
  const unsigned long long v = std::strtoull(text.c_str(), &end, 10);
  if (text.empty() || text.find_first_not_of("0123456789") != std::string::npos || errno != 0 ||
      v > max)
    throw Failure{"invalid value for " + option + ": " + inQuotes(text) + " (a whole number from 0 to " +
                  std::to_string(max) + ")"};
  return v;
}

void checkWrite(Output& out) {
  if (std::ferror(out.file))
    throw Failure{"cannot write " + inQuotes(out.name) + ": " + std::strerror(errno ? errno : EIO)};
}

// "YYYY-MM-DD HH:MM:SS[.ffffff]" (UTC; 'T' also separates date and time) or microseconds.
std::optional<unsigned long long> parseTime(const std::string& text) {
  if (!text.empty() && text.find_first_not_of("0123456789") == std::string::npos) {
    errno = 0;
    const unsigned long long us = std::strtoull(text.c_str(), nullptr, 10);
    if (errno == ERANGE) return std::nullopt;
    return us;
  }
  struct tm t {};
  int consumed = 0;
  char sep = 0;
  if (std::sscanf(text.c_str(), "%4d-%2d-%2d%c%2d:%2d:%2d%n", &t.tm_year, &t.tm_mon, &t.tm_mday,
                  &sep, &t.tm_hour, &t.tm_min, &t.tm_sec, &consumed) != 7 ||
      (sep != ' ' && sep != 'T'))
    return std::nullopt;
  if (t.tm_mon < 1 || t.tm_mon > 12 || t.tm_mday < 1 || t.tm_mday > 31 || t.tm_hour > 23 ||
      t.tm_min > 59 || t.tm_sec > 60 || t.tm_year < 1970)
    return std::nullopt;
  unsigned long fraction = 0;
  std::size_t pos = static_cast<std::size_t>(consumed);
  if (pos < text.size()) {
    if (text[pos] != '.') return std::nullopt;
    const std::string digits = text.substr(pos + 1);
    if (digits.empty() || digits.size() > 6 ||
        digits.find_first_not_of("0123456789") != std::string::npos)
      return std::nullopt;
    fraction = std::stoul((digits + "000000").substr(0, 6));
  }
  t.tm_year -= 1900;
  t.tm_mon -= 1;
  const time_t seconds = timegm(&t);
  if (seconds < 0) return std::nullopt;
  return static_cast<unsigned long long>(seconds) * 1000000ULL + fraction;
}

unsigned long long timeOption(const std::string& option, const std::string& text) {
  auto t = parseTime(text);
  if (!t)
    throw Failure{"invalid time for " + option + ": " + inQuotes(text) +
                  " (expected YYYY-MM-DD HH:MM:SS[.ffffff] in UTC, or microseconds)"};
  return *t;
}

std::string upper(std::string s) {
  for (char& c : s) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return s;
}

// An identifier by name ("MSGID_CAN", "can") or number (11, 0x0B).
uint16_t idOption(const std::string& text) {
  if (!text.empty() && std::isdigit(static_cast<unsigned char>(text[0]))) {
    char* end = nullptr;
    errno = 0;
    const unsigned long v = std::strtoul(text.c_str(), &end, 0);
    if (errno == 0 && *end == '\0' && v <= 0xFFFF) return static_cast<uint16_t>(v);
  } else {
    std::string wanted = upper(text);
    if (wanted.compare(0, 6, "MSGID_") != 0) wanted = "MSGID_" + wanted;
    for (unsigned v = 0; v <= 0xFFFF; ++v) {
      const char* name = getMsgIdName(static_cast<msgid_t>(v));
      if (name && wanted == name) return static_cast<uint16_t>(v);
    }
  }
  throw Failure{"unknown message identifier " + inQuotes(text)};
}

std::string idName(uint16_t id) {
  if (const char* name = getMsgIdName(static_cast<msgid_t>(id))) return name;
  char text[16];
  std::snprintf(text, sizeof text, "0x%04X", id);
  return text;
}

bool isInvalid(const MessageBase& msg) {
  return msg.msgId == MSGID_INVALID && dynamic_cast<const InvalidMessage*>(&msg) != nullptr;
}

// Common options of the commands that read a trace.
struct ReadFlags {
  bool v2 = false;
  bool noSync = false;
  bool registerDiag = false;
  bool verbose = false;
  bool quiet = false;

  void add(CLI::App* cmd) {
    cmd->add_flag("--v2", v2,
                  "Read the second framing ('Z', type byte, 16-bit length, frame) instead of "
                  "detecting the framing");
    cmd->add_flag("--no-sync", noSync, "Frames carry no marker (with --v2: no 'Z')");
    cmd->add_flag("--register-diag", registerDiag,
                  "Decode KWP2000 and UDS records (identifiers 26 to 29, not registered by "
                  "default)");
    auto* verboseFlag = cmd->add_flag(
        "--verbose", verbose, "Also name the framing read and explain what was left out");
    cmd->add_flag("--quiet", quiet, "Only the final summary line on standard error")
        ->excludes(verboseFlag);
  }
  ReadOptions options() const {
    ReadOptions o;
    o.v2 = v2;
    o.expectSync = !noSync;
    o.forced = v2 || noSync;
    o.showReports = !quiet;
    o.quiet = quiet;
    o.verbose = verbose;
    o.decodeDiagnostics = registerDiag;
    return o;
  }
};

// A label as typed: case and blanks do not matter ("can #1", "CAN#1").
std::string labelKey(const std::string& label) {
  std::string key;
  for (char c : label)
    if (c != ' ') key.push_back(static_cast<char>(std::toupper(static_cast<unsigned char>(c))));
  return key;
}

// Reports the counts of a run and gives the exit status.
int finishRead(const TraceReader& reader, const std::string& name) {
  const ReadCounts& c = reader.counts();
  if (c.clean()) return kExitOk;
  std::ostringstream os;
  os << "vxtrace: " << name << ": " << c.garbageBytes + c.undecodableBytes + c.truncatedBytes
     << " bytes dropped: " << c.undecodable << " undecodable frame"
     << (c.undecodable == 1 ? "" : "s") << ", " << c.garbageBytes << " bytes of invalid data in "
     << c.garbageRuns << " run" << (c.garbageRuns == 1 ? "" : "s");
  if (c.truncatedBytes) os << ", truncated last frame (" << c.truncatedBytes << " bytes)";
  std::cerr << os.str() << std::endl;
  return kExitDataErrors;
}

// ---- dump ------------------------------------------------------------------------------------

struct DumpArgs {
  std::string file = "-";
  ReadFlags read;
  bool invalid = false;
  bool raw = false;
  bool localTime = false;
  bool noExpand = false;
  std::vector<std::string> ids;
  std::vector<std::string> channels;
  std::string from, to;
  std::string count;
};

int runDump(const DumpArgs& a) {
  // A filter value as typed, and whether any record of the input matched it.
  struct Wanted {
    std::string typed;
    bool seen = false;
  };
  std::map<uint16_t, Wanted> ids;
  for (const auto& t : a.ids) ids.emplace(idOption(t), Wanted{t});
  std::map<std::string, Wanted> channels;  // by label key
  for (const auto& t : a.channels) channels.emplace(labelKey(t), Wanted{t});
  std::optional<unsigned long long> from, to;
  if (!a.from.empty()) from = timeOption("--from", a.from);
  if (!a.to.empty()) to = timeOption("--to", a.to);
  if (from && to && *from > *to) throw Failure{"--from is later than --to"};
  std::optional<uint64_t> count;
  if (!a.count.empty()) count = numberOption("--count", a.count, UINT64_MAX);

  Input in(a.file);
  Output out("-");
  if (in.fd == STDIN_FILENO && isatty(STDIN_FILENO) && !a.read.quiet)
    report(nullptr, "waiting on standard input (a trace piped in, or Ctrl-D to end)");
  Progress progress(Progress::wanted(true), in.size, "B");
  ReadOptions options = a.read.options();
  options.invalidRecords = a.invalid;
  options.keepRawData = a.raw;
  options.expandContainers = !a.noExpand;
  TraceReader reader(in.fd, in.name, options, &progress);

  uint64_t printed = 0;
  bool whole = true;  // the whole input was read
  if (count && *count == 0) return kExitOk;
  std::string line;
  auto show = [&](const MessageBase& rec) {
    const MessageBase* msg = &rec;
    // Each filter is matched on its own, so that one that never matches can be named.
    auto match = [](auto& filter, const auto& key) {
      if (filter.empty()) return true;
      auto it = filter.find(key);
      if (it == filter.end()) return false;
      it->second.seen = true;
      return true;
    };
    auto* inv = isInvalid(*msg) ? static_cast<const InvalidMessage*>(msg) : nullptr;
    const bool idWanted = match(ids, inv ? inv->id : static_cast<uint16_t>(msg->msgId));
    const bool channelWanted =
        channels.empty() || match(channels, labelKey(vxtrace::channelLabel(msg->getSourceChannel())));
    if (!idWanted || !channelWanted) return true;
    if ((from && msg->timeStamp < *from) || (to && msg->timeStamp > *to)) return true;
    line = msg->toString();
    if (a.localTime && msg->label.empty()) {
      // The common prefix is the UTC time stamp; the rest of the text stays as the record wrote it.
      const std::string utc = MessageBase::printTimestamp(msg->timeStamp);
      if (line.compare(0, utc.size(), utc) == 0) {
        std::ostringstream local;
        MessageBase::printTimeStamp(local, msg->timeStamp, false, 6);
        line.replace(0, utc.size(), local.str());
      }
    }
    line.push_back('\n');
    if (a.raw) {
      line += "  raw:";
      if (!msg->rawBytes.empty()) line.push_back(' ');
      vxtrace::detail::appendHex(line, msg->rawBytes.data(), msg->rawBytes.size());
      line.push_back('\n');
    }
    std::fwrite(line.data(), 1, line.size(), out.file);
    if (std::ferror(out.file)) return false;
    whole = !(count && ++printed >= *count);
    return whole;
  };
  const bool ok = reader.run([&](std::unique_ptr<MessageBase> msg) { return show(*msg); });
  checkWrite(out);
  out.finish();
  progress.hide();
  if (!ok) throw Failure{reader.error()};
  if (whole) {
    auto warn = [&](const char* option, const auto& filter) {
      for (const auto& [key, wanted] : filter)
        if (!wanted.seen)
          report(nullptr, std::string("warning: ") + option + " " + inQuotes(wanted.typed) +
                              " matches no record in " + in.name);
    };
    warn("--id", ids);
    warn("--channel", channels);
  }
  return finishRead(reader, in.name);
}

// ---- stats -----------------------------------------------------------------------------------

struct StatsArgs {
  std::string file;
  ReadFlags read;
  bool json = false;
};

std::string jsonString(const std::string& s) {
  std::string out = "\"";
  for (unsigned char c : s) {
    if (c == '"' || c == '\\') {
      out.push_back('\\');
      out.push_back(static_cast<char>(c));
    } else if (c < 0x20) {
      char esc[8];
      std::snprintf(esc, sizeof esc, "\\u%04x", c);
      out += esc;
    } else {
      out.push_back(static_cast<char>(c));
    }
  }
  return out + "\"";
}

int runStats(const StatsArgs& a) {
  Input in(a.file);
  Progress progress(Progress::wanted(false), in.size, "B");
  ReadOptions options = a.read.options();
  options.invalidRecords = true;  // counted here, reported in the summary
  options.showReports = false;
  options.expandContainers = true;
  TraceReader reader(in.fd, in.name, options, &progress);

  std::map<uint16_t, uint64_t> perId;
  // By key, then by name: records without a channel share the all-ones key but not one text.
  std::map<std::pair<uint64_t, std::string>, uint64_t> perChannel;
  uint64_t timed = 0, contained = 0;
  unsigned long long first = 0, last = 0;
  const bool ok = reader.run([&](std::unique_ptr<MessageBase> msg) {
    if (reader.depth() == 0 && isInvalid(*msg)) return true;
    // Records inside containers count by their own identifier and channel, beside the container.
    if (reader.depth() > 0) ++contained;
    ++perId[msg->msgId];
    ++perChannel[{msg->getSourceChannelID(), msg->getSourceChannel()}];
    if (timed++ == 0 || msg->timeStamp < first) first = msg->timeStamp;
    if (timed == 1 || msg->timeStamp > last) last = msg->timeStamp;
    return true;
  });
  progress.hide();
  if (!ok) throw Failure{reader.error()};
  const ReadCounts& c = reader.counts();
  const uint64_t records = c.records - c.undecodable;
  // Shown by the label dump prints; sources that share one label share one line.
  std::vector<std::pair<std::string, uint64_t>> byLabel;
  for (const auto& [key, n] : perChannel) {
    const std::string label = vxtrace::channelLabel(key.second);
    auto same = std::find_if(byLabel.begin(), byLabel.end(),
                             [&](const auto& row) { return row.first == label; });
    if (same == byLabel.end()) byLabel.emplace_back(label, n);
    else same->second += n;
  }
  const double duration = timed ? (last - first) / 1e6 : 0.0;
  const double fps = duration > 0 ? records / duration : 0.0;

  Output out("-");
  std::ostringstream os;
  if (a.json) {
    os << "{\n  \"file\": " << jsonString(in.name) << ",\n  \"bytes\": " << c.bytesRead
       << ",\n  \"records\": " << records << ",\n  \"contained_records\": " << contained << ",\n";
    if (timed) {
      os << "  \"first_timestamp_us\": " << first
         << ",\n  \"first_time\": " << jsonString(MessageBase::printTimestamp(first))
         << ",\n  \"last_timestamp_us\": " << last
         << ",\n  \"last_time\": " << jsonString(MessageBase::printTimestamp(last)) << ",\n";
    } else {
      os << "  \"first_timestamp_us\": null,\n  \"first_time\": null,\n"
            "  \"last_timestamp_us\": null,\n  \"last_time\": null,\n";
    }
    char numbers[128];
    std::snprintf(numbers, sizeof numbers,
                  "  \"duration_s\": %.6f,\n  \"frames_per_second\": %.3f,\n", duration, fps);
    os << numbers << "  \"garbage_bytes\": " << c.garbageBytes
       << ",\n  \"garbage_runs\": " << c.garbageRuns
       << ",\n  \"truncated_bytes\": " << c.truncatedBytes
       << ",\n  \"undecodable_frames\": " << c.undecodable << ",\n  \"by_id\": {";
    const char* sep = "\n";
    for (const auto& [id, n] : perId) {
      os << sep << "    " << jsonString(idName(id)) << ": " << n;
      sep = ",\n";
    }
    os << (perId.empty() ? "" : "\n  ") << "},\n  \"by_channel\": {";
    sep = "\n";
    for (const auto& [label, n] : byLabel) {
      os << sep << "    " << jsonString(label) << ": " << n;
      sep = ",\n";
    }
    os << (byLabel.empty() ? "" : "\n  ") << "}\n}\n";
  } else {
    char line[256];
    auto row = [&](const char* label, const std::string& value) {
      std::snprintf(line, sizeof line, "%-22s %s\n", label, value.c_str());
      os << line;
    };
    row("File:", in.name + " (" + std::to_string(c.bytesRead) + " bytes)");
    row("Records:", std::to_string(records));
    row("Contained records:", std::to_string(contained));
    row("First time stamp:", timed ? MessageBase::printTimestamp(first) : "-");
    row("Last time stamp:", timed ? MessageBase::printTimestamp(last) : "-");
    std::snprintf(line, sizeof line, "%.6f s", duration);
    row("Duration:", line);
    std::snprintf(line, sizeof line, "%.1f", fps);
    row("Frames per second:", line);
    row("Invalid data skipped:",
        std::to_string(c.garbageBytes) + " bytes in " + std::to_string(c.garbageRuns) + " runs");
    row("Truncated at end:", std::to_string(c.truncatedBytes) + " bytes");
    row("Undecodable frames:", std::to_string(c.undecodable));
    os << "\nRecords per identifier:\n";
    for (const auto& [id, n] : perId) {
      std::snprintf(line, sizeof line, "  %-32s %12" PRIu64 "\n", idName(id).c_str(), n);
      os << line;
    }
    os << "\nRecords per source channel:\n";
    for (const auto& [label, n] : byLabel) {
      std::snprintf(line, sizeof line, "  %-32s %12" PRIu64 "\n", label.c_str(), n);
      os << line;
    }
  }
  const std::string text = os.str();
  std::fwrite(text.data(), 1, text.size(), out.file);
  out.finish();
  return finishRead(reader, in.name);
}

// ---- gen -------------------------------------------------------------------------------------

struct GenArgs {
  std::string out;
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
  vxtrace::gen::TraceOptions options;
  options.records = numberOption("--records", a.records, kMaxGenRecords);
  options.seed = numberOption("--seed", a.seed, UINT64_MAX);
  options.framing = a.v2 ? vxtrace::gen::Framing::V2 : vxtrace::gen::Framing::V1;
  if (!a.containers.empty())
    options.containers =
        a.containers == "plain" ? vxtrace::gen::Containers::Plain : vxtrace::gen::Containers::Lz4;
  Output out(a.out);
  std::vector<uint8_t> buffer;
  auto flush = [&] {
    if (std::fwrite(buffer.data(), 1, buffer.size(), out.file) != buffer.size()) checkWrite(out);
    buffer.clear();
  };
  if (a.remote) {
    for (const auto& msg : vxtrace::gen::remoteExchange(options.startTime))
      vxtrace::gen::appendFramed(buffer, *msg, options.framing);
  } else if (a.diag) {
    buffer = vxtrace::gen::generateDiagnosticTrace(options.startTime, options.framing);
  } else {
    vxtrace::gen::TraceGenerator gen(options);
    Progress progress(Progress::wanted(a.out == "-"), options.records, "records");
    buffer.reserve(1 << 21);
    while (gen.next(buffer)) {
      if (buffer.size() >= (1 << 20)) {
        flush();
        progress.update(gen.produced());
      }
    }
  }
  flush();
  out.finish();
  return kExitOk;
}

// ---- recover ---------------------------------------------------------------------------------

struct RecoverArgs {
  std::string file;
  std::string out;
  ReadFlags read;
};

// Every record that could be recovered, as a clean trace with sync markers, in input order.
int runRecover(const RecoverArgs& a) {
  Input in(a.file);
  Output out(a.out, &in);
  Progress progress(Progress::wanted(a.out == "-"), in.size, "B");
  TraceReader reader(in.fd, in.name, a.read.options(), &progress);
  std::vector<unsigned char> frame;
  const bool ok = reader.run([&](std::unique_ptr<MessageBase> msg) {
    if (msg->createByteArray(frame, true, false) == 0) return true;
    std::fwrite(frame.data(), 1, frame.size(), out.file);
    return !std::ferror(out.file);
  });
  checkWrite(out);
  progress.hide();
  if (!ok) throw Failure{reader.error()};
  out.finish();
  return finishRead(reader, in.name);
}

// ---- convert ---------------------------------------------------------------------------------

struct ConvertArgs {
  std::string file;
  std::string format;
  std::string out;
  ReadFlags read;
};

int runConvert(const ConvertArgs& a) {
  Input in(a.file);
  Output out(a.out, &in);
  Progress progress(Progress::wanted(a.out == "-"), in.size, "B");
  ReadOptions options = a.read.options();
  options.expandContainers = true;
  TraceReader reader(in.fd, in.name, options, &progress);
  vxtrace::FileSink sink(out.file);
  std::unique_ptr<vxtrace::Exporter> exporter = vxtrace::makeExporter(a.format, sink);
  if (!exporter) throw Failure{"unknown format " + inQuotes(a.format)};
  const bool ok = reader.run([&](std::unique_ptr<MessageBase> msg) {
    exporter->add(*msg);
    return !std::ferror(out.file);
  });
  if (ok) exporter->finish();
  checkWrite(out);
  progress.hide();
  if (!ok) throw Failure{reader.error()};
  out.finish();
  if (!exporter->skipped().empty() && !a.read.quiet) {
    // One line: per reason, the kinds left out and how many of each.
    std::map<std::string, std::vector<std::pair<uint16_t, uint64_t>>> byReason;
    for (const auto& [key, n] : exporter->skipped()) byReason[key.first].emplace_back(key.second, n);
    std::ostringstream os;
    os << in.name << ": " << exporter->written() << " records written to "
       << a.format << "; left out:";
    const char* sep = " ";
    for (const auto& [reason, kinds] : byReason) {
      os << sep << reason << " (";
      for (std::size_t i = 0; i < kinds.size(); ++i)
        os << (i ? ", " : "") << idName(kinds[i].first) << " " << kinds[i].second;
      os << ")";
      sep = "; ";
    }
    report(nullptr, os.str());
  }
  return finishRead(reader, in.name);
}

}  // namespace

int main(int argc, char** argv) {
  std::ios::sync_with_stdio(false);

  CLI::App app{"Reads, summarises, generates and converts vxtrace trace files."};
  app.name("vxtrace");
  app.require_subcommand(1);
  app.set_version_flag("--version", "vxtrace " VXTRACE_VERSION);

  DumpArgs dump;
  CLI::App* dumpCmd = app.add_subcommand("dump", "Every record as one line of text");
  dumpCmd->add_option("file", dump.file, "Trace file, '-' or none for standard input");
  dump.read.add(dumpCmd);
  dumpCmd->add_flag("--invalid", dump.invalid, "Show undecodable frames as InvalidMessage lines");
  dumpCmd->add_flag("--raw", dump.raw, "The frame's bytes in hex after each line");
  dumpCmd->add_flag("--local-time", dump.localTime, "Time stamps in local time instead of UTC");
  dumpCmd->add_flag("--no-expand", dump.noExpand,
                    "Containers as one line each, without the records inside");
  dumpCmd->add_option("--id", dump.ids, "Only this identifier (name or number); repeatable")
      ->allow_extra_args(false);
  dumpCmd
      ->add_option("--channel", dump.channels,
                   "Only this source channel, e.g. \"CAN #0\"; repeatable")
      ->allow_extra_args(false);
  dumpCmd->add_option("--from", dump.from,
                      "From this time: YYYY-MM-DD HH:MM:SS[.ffffff] UTC, or µs");
  dumpCmd->add_option("--to", dump.to, "Up to this time (inclusive), as --from");
  dumpCmd->add_option("--count", dump.count, "Stop after this many records");

  StatsArgs stats;
  CLI::App* statsCmd =
      app.add_subcommand("stats", "Records per identifier and channel, times, errors");
  statsCmd->add_option("file", stats.file, "Trace file or '-'")->required();
  stats.read.add(statsCmd);
  statsCmd->add_flag("--json", stats.json, "JSON instead of a table");

  GenArgs gen;
  CLI::App* genCmd = app.add_subcommand("gen", "Write a deterministic synthetic trace");
  genCmd->add_option("out", gen.out, "Output file or '-'")->required();
  genCmd->add_option("--records", gen.records, "Number of records (default 10000)");
  genCmd->add_option("--seed", gen.seed, "Seed (default 1)");
  genCmd->add_flag("--v2", gen.v2, "Second framing instead of sync-marked frames");
  genCmd->add_flag("--diag", gen.diag,
                   "A calibration and diagnostic session (XCP, CCP, UDS, KWP2000) instead of "
                   "CAN traffic; --records and --seed do not apply");
  genCmd
      ->add_flag("--containers{lz4}", gen.containers,
                 "Bus records in containers of up to 64: --containers[=plain|lz4] (lz4 when bare)")
      ->check(CLI::IsMember({"plain", "lz4"}));
  genCmd->add_flag("--remote", gen.remote,
                   "A remote-control session (requests and responses) instead of a trace");

  ConvertArgs convert;
  std::string formats;
  for (const auto& name : vxtrace::exportFormats()) formats += (formats.empty() ? "" : ", ") + name;
  CLI::App* convertCmd = app.add_subcommand(
      "convert", "Records to a format other tools read: " + formats);
  convertCmd->add_option("file", convert.file, "Trace file or '-'")->required();
  convertCmd->add_option("--to", convert.format, formats)
      ->required()
      ->check(CLI::IsMember(vxtrace::exportFormats()));
  convertCmd->add_option("-o,--output", convert.out, "Output file or '-'")->required();
  convert.read.add(convertCmd);

  std::string helpVerb;
  CLI::App* helpCmd = app.add_subcommand("help", "Help on one verb: vxtrace help VERB");
  helpCmd->add_option("verb", helpVerb, "dump, stats, gen, convert or recover");

  RecoverArgs recover;
  CLI::App* recoverCmd =
      app.add_subcommand("recover", "Every recoverable record into a clean trace, with a loss report");
  recoverCmd->add_option("file", recover.file, "Trace file or '-'")->required();
  recoverCmd->add_option("-o,--output", recover.out, "Output file or '-'")->required();
  recover.read.add(recoverCmd);

  if (argc > 1 && argv[1][0] != '-') {
    bool known = false;
    for (const CLI::App* verb : app.get_subcommands({})) known |= verb->get_name() == argv[1];
    if (!known) {
      std::cerr << "vxtrace: unknown verb " << inQuotes(argv[1])
                << " (dump, stats, gen, convert, recover, help)" << std::endl;
      return kExitFailure;
    }
  }
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    if (e.get_exit_code() == 0) return app.exit(e);
    std::string text = e.what();
    for (char& c : text)
      if (c == '\n') c = ' ';
    std::cerr << "vxtrace: " << text << " (see vxtrace --help)" << std::endl;
    return kExitFailure;
  }

  try {
    if (*dumpCmd) return runDump(dump);
    if (*statsCmd) return runStats(stats);
    if (*genCmd) return runGen(gen);
    if (*convertCmd) return runConvert(convert);
    if (*recoverCmd) return runRecover(recover);
    if (*helpCmd) {
      if (helpVerb.empty()) {
        std::cout << app.help();
        return kExitOk;
      }
      for (CLI::App* verb : {dumpCmd, statsCmd, genCmd, convertCmd, recoverCmd})
        if (verb->get_name() == helpVerb) {
          std::cout << verb->help();
          return kExitOk;
        }
      throw Failure{"no verb " + inQuotes(helpVerb) + " (dump, stats, gen, convert, recover)"};
    }
  } catch (const Failure& f) {
    std::cerr << "vxtrace: " << f.message << std::endl;
    return kExitFailure;
  } catch (const std::exception& e) {
    std::cerr << "vxtrace: " << e.what() << std::endl;
    return kExitFailure;
  }
  return kExitFailure;
}
