#pragma once
// The tool tests' fixture: the tool run as a process in a temporary directory, and generated
// traces with the library's own records to hold its output against.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "ShownText.h"
#include "TraceGenerator.h"
#include "support/IoSupport.h"
#include "vxtrace/vxtrace.h"

using vxtrace::gen::Framing;
using vxtrace::gen::TraceGenerator;
using vxtrace::gen::TraceOptions;
using Args = std::vector<std::string>;
using Bytes = std::vector<uint8_t>;

struct Result {
  int status = -1;
  std::string out, err;
};

// Names the part that is missing, with the whole text, when the check fails.
inline testing::AssertionResult Has(const std::string& text, const std::string& part) {
  if (text.find(part) != std::string::npos) return testing::AssertionSuccess();
  return testing::AssertionFailure() << "no \"" << part << "\" in:\n" << text;
}

class ToolTest : public ::testing::Test {
 protected:
  void SetUp() override { MessageBase::registerMessages(); }

  std::string path(const std::string& name) const { return dir_.path(name); }
  // Writes a file into the temporary directory and returns its path.
  std::string file(const std::string& name, const Bytes& bytes) const {
    vxtest::writeFile(path(name), bytes);
    return path(name);
  }

  // Runs the tool through the shell with args (none holds a quote), stdin from stdinPath, and
  // with env (e.g. "TZ=XST-3") in its environment.
  Result run(const Args& args, const std::string& stdinPath = "/dev/null",
             const std::string& env = "") const {
    std::string command = env + " " VXTRACE_CLI;
    for (const auto& a : args) command += " '" + a + "'";
    command += " <'" + stdinPath + "' >'" + path("out") + "' 2>'" + path("err") + "'";
    const int status = std::system(command.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status),
            vxtest::readFile(path("out")), vxtest::readFile(path("err"))};
  }

  vxtest::TempDir dir_;
};

struct Trace {
  Bytes bytes;
  std::vector<std::unique_ptr<MessageBase>> records;
  std::vector<std::pair<std::size_t, std::size_t>> spans;  // each record's framed bytes
};

inline Trace makeTrace(uint64_t records, uint64_t seed = 1, Framing framing = Framing::V1,
                vxtrace::gen::Containers containers = vxtrace::gen::Containers::None,
                unsigned long long startTime = 0) {
  TraceOptions options;
  options.records = records;
  if (startTime != 0) options.startTime = startTime;
  options.seed = seed;
  options.framing = framing;
  options.containers = containers;
  TraceGenerator gen(options);
  Trace t;
  std::unique_ptr<MessageBase> rec;
  while (gen.next(t.bytes, &rec)) {
    t.spans.emplace_back(t.spans.empty() ? 0 : t.spans.back().second, t.bytes.size());
    t.records.push_back(std::move(rec));
  }
  return t;
}

// The lines the tool must print: each selected record's own text.
inline std::string texts(const Trace& t, const std::function<bool(const MessageBase&)>& keep = nullptr) {
  std::string out;
  for (const auto& r : t.records)
    if (!keep || keep(*r)) out += shown(*r) + "\n";
  return out;
}
