#pragma once
// What every verb shares: exit statuses, the one-line failure, inputs, numbers from the command
// line, the option groups verbs attach, and the type of a verb's entry in the verb table.
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "TraceReader.h"

namespace CLI {
class App;
}

namespace vxtrace::cli {

// Exit status: 0 all went well, 1 undecodable frames or garbage met, 2 usage or I/O error.
constexpr int kExitOk = 0;
constexpr int kExitDataErrors = 1;
constexpr int kExitFailure = 2;

// A usage or I/O error: one line on standard error, exit status 2.
struct Failure {
  std::string message;
};

std::string inQuotes(const std::string& s);

// A whole non-negative decimal number no larger than max; anything else is a usage error.
uint64_t numberOption(const std::string& option, const std::string& text, uint64_t max);

// An input named on the command line; "-" is standard input.
class Input {
 public:
  explicit Input(const std::string& path);
  ~Input();
  Input(const Input&) = delete;
  Input& operator=(const Input&) = delete;

  int fd = -1;
  std::string name;   // for messages
  uint64_t size = 0;  // 0 when unknown (a pipe)
};

// Framing and decoding of the input.
struct InputFlags {
  bool v2 = false;
  bool noSync = false;
  bool registerDiag = false;
  // withV2: --v2 names the input's framing; verbs whose --v2 names the output's leave it out.
  void add(CLI::App& cmd, bool withV2 = true);
};

// How much a run says on standard error.
struct ReportFlags {
  bool verbose = false;
  bool quiet = false;
  void add(CLI::App& cmd);
};

// Which records a reading verb takes.
struct FilterFlags {
  std::vector<std::string> ids, canIds, channels;
  std::string from, to, count;
  bool localTime = false;
  // formatTakesTo: the verb's --to names an output format; the time bound is then --until only.
  void add(CLI::App& cmd, bool formatTakesTo = false);
};

// Where a writing verb's result goes.
struct OutputFlags {
  std::string path;
  void add(CLI::App& cmd, bool required = true);
};

// --threads: how many threads read a file (a pipe is read by one), 1 to 256; by default one
// per core.
void addThreadsOption(CLI::App& cmd, std::string& text);
unsigned threadsOption(const std::string& text);

ReadOptions readOptions(const InputFlags& input, const ReportFlags& report);

// Calls fn for msg and, when expand is set and it is a container, for every record inside it
// (depth first, in order); stops and returns false as soon as fn does.
bool forEachRecord(const MessageBase& msg, bool expand,
                   const std::function<bool(const MessageBase&)>& fn);

// A verb's entry: attach() adds the verb's options to its command and returns what runs it
// once the command line is parsed.
using Runner = std::function<int()>;
struct Verb {
  const char* name;
  const char* summary;  // one line for "vxtrace help"
  Runner (*attach)(CLI::App& cmd);
};

// The verb table (main.cpp), for help.
const std::vector<Verb>& verbs();

}  // namespace vxtrace::cli
