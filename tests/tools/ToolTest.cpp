// The vxtrace tool run as a process on generated traces; expectations come from the library's
// own records and texts, built in this process from the same generator.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "TraceGenerator.h"
#include "vxtrace/vxtrace.h"

namespace fs = std::filesystem;
using vxtrace::gen::Framing;
using vxtrace::gen::TraceGenerator;
using vxtrace::gen::TraceOptions;
using Bytes = std::vector<uint8_t>;

namespace {

struct Result {
  int status = -1;
  std::string out;
  std::string err;
};

class ToolTest : public ::testing::Test {
 protected:
  void SetUp() override {
    MessageBase::registerMessages();
    char pattern[] = "/tmp/vxtrace-tool-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    dir_ = pattern;
  }
  void TearDown() override { fs::remove_all(dir_); }

  std::string path(const std::string& name) const { return (dir_ / name).string(); }

  void writeFile(const std::string& name, const Bytes& bytes) const {
    std::ofstream f(path(name), std::ios::binary);
    f.write(reinterpret_cast<const char*>(bytes.data()),
            static_cast<std::streamsize>(bytes.size()));
    ASSERT_TRUE(f.good());
  }
  static std::string readFile(const std::string& p) {
    std::ifstream f(p, std::ios::binary);
    std::ostringstream os;
    os << f.rdbuf();
    return os.str();
  }

  // Runs the tool with args; stdin from stdinPath (or /dev/null), env entries added.
  Result run(const std::vector<std::string>& args, const std::string& stdinPath = "",
             const std::vector<std::string>& env = {}) const {
    const std::string outPath = path("stdout.txt");
    const std::string errPath = path("stderr.txt");
    pid_t pid = fork();
    if (pid == 0) {
      int in = ::open(stdinPath.empty() ? "/dev/null" : stdinPath.c_str(), O_RDONLY);
      int out = ::open(outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
      int err = ::open(errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
      if (in < 0 || out < 0 || err < 0) _exit(127);
      dup2(in, 0);
      dup2(out, 1);
      dup2(err, 2);
      for (const auto& e : env) putenv(const_cast<char*>(e.c_str()));
      std::vector<char*> argv{const_cast<char*>(VXTRACE_CLI)};
      for (const auto& a : args) argv.push_back(const_cast<char*>(a.c_str()));
      argv.push_back(nullptr);
      execv(VXTRACE_CLI, argv.data());
      _exit(127);
    }
    Result r;
    int status = 0;
    waitpid(pid, &status, 0);
    r.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    r.out = readFile(outPath);
    r.err = readFile(errPath);
    return r;
  }

  fs::path dir_;
};

struct Trace {
  Bytes bytes;
  std::vector<std::unique_ptr<MessageBase>> records;
  std::vector<std::pair<std::size_t, std::size_t>> spans;  // each record's framed bytes
};

Trace makeTrace(uint64_t records, uint64_t seed = 1, Framing framing = Framing::V1) {
  TraceOptions options;
  options.records = records;
  options.seed = seed;
  options.framing = framing;
  TraceGenerator gen(options);
  Trace t;
  std::unique_ptr<MessageBase> rec;
  std::size_t start = 0;
  while (gen.next(t.bytes, &rec)) {
    t.spans.emplace_back(start, t.bytes.size());
    start = t.bytes.size();
    t.records.push_back(std::move(rec));
  }
  return t;
}

// The lines the tool must print: each selected record's own text.
std::string texts(const Trace& t, const std::function<bool(const MessageBase&)>& keep = nullptr) {
  std::string out;
  for (const auto& r : t.records)
    if (!keep || keep(*r)) out += r->toString() + "\n";
  return out;
}

std::string hexLine(const Bytes& bytes, std::size_t begin, std::size_t end) {
  static const char kDigits[] = "0123456789abcdef";
  std::string s = "  raw:";
  for (std::size_t i = begin; i < end; ++i) {
    s += ' ';
    s += kDigits[bytes[i] >> 4];
    s += kDigits[bytes[i] & 0x0F];
  }
  return s + "\n";
}

std::size_t count(const std::string& text, const std::string& what) {
  std::size_t n = 0;
  for (std::size_t p = text.find(what); p != std::string::npos; p = text.find(what, p + 1)) ++n;
  return n;
}

}  // namespace

TEST_F(ToolTest, GeneratorIsDeterministicAndHoldsEveryRegisteredKind) {
  const uint8_t check[] = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};
  EXPECT_EQ(vxtrace::gen::crc32(0, check, sizeof check), 0xCBF43926u);  // the CRC-32 check value

  TraceOptions options;
  options.records = 3000;
  options.seed = 7;
  const Bytes a = vxtrace::gen::generateTrace(options);
  EXPECT_EQ(a, vxtrace::gen::generateTrace(options));
  options.seed = 8;
  EXPECT_NE(a, vxtrace::gen::generateTrace(options));

  Trace t = makeTrace(3000, 7);
  EXPECT_EQ(t.bytes, a);
  ASSERT_EQ(t.records.size(), 3000u);
  // The end-of-file record closes the trace and carries the CRC-32 of all bytes before it.
  auto* eof = dynamic_cast<EofMessage*>(t.records.back().get());
  ASSERT_NE(eof, nullptr);
  EXPECT_EQ(eof->crc, vxtrace::gen::crc32(0, t.bytes.data(), t.spans.back().first));

  std::set<int> kinds;
  bool classicError = false, ackError = false, brs = false, esi = false, tx = false, txReq = false;
  unsigned long long previous = 0;
  for (const auto& r : t.records) {
    kinds.insert(r->msgId);
    EXPECT_GE(r->timeStamp, previous);
    previous = r->timeStamp;
    if (auto* can = dynamic_cast<const CANTraceMessageBase*>(r.get())) {
      classicError |= r->msgId == MSGID_CAN && can->frame == CAN_FRAME_ERROR;
      ackError |= r->msgId == MSGID_CAN_EXT && can->frame == CAN_FRAME_ERROR &&
                  (can->state & 0x0F) == CAN_ERR_ACK;
      brs |= (can->state & 0x40) != 0;
      esi |= (can->state & 0x80) != 0;
      tx |= can->frame == CAN_FRAME_TXMESSAGE;
      txReq |= can->frame == CAN_FRAME_TXREQUEST;
    }
  }
  EXPECT_TRUE(classicError && ackError && brs && esi && tx && txReq);
  for (const auto& entry : MessageBase::creators)
    EXPECT_TRUE(kinds.count(entry.first)) << "no record of registered kind " << entry.first;

  // Small traces still open and close like a session.
  Trace small = makeTrace(2);
  ASSERT_EQ(small.records.size(), 2u);
  EXPECT_EQ(small.records[0]->msgId, MSGID_DATALOGGINGSTOPPED);
  EXPECT_EQ(small.records[1]->msgId, MSGID_ENDOFFILE);
}

TEST_F(ToolTest, GenAndDumpReproduceTheLibrarysRecordsAndTexts) {
  for (Framing framing : {Framing::V1, Framing::V2}) {
    const bool v2 = framing == Framing::V2;
    SCOPED_TRACE(v2 ? "V2" : "V1");
    Trace t = makeTrace(2500, 3, framing);
    std::vector<std::string> genArgs{"gen", "--records", "2500", "--seed", "3", path("t.vxt")};
    if (v2) genArgs.push_back("--v2");
    Result g = run(genArgs);
    ASSERT_EQ(g.status, 0) << g.err;
    ASSERT_EQ(readFile(path("t.vxt")), std::string(t.bytes.begin(), t.bytes.end()));

    std::vector<std::string> args{"dump", path("t.vxt")};
    if (v2) args.push_back("--v2");
    Result r = run(args);
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(r.out, texts(t));

    // From standard input, with each frame's bytes (marker included) after its line.
    args = {"dump", "-", "--raw"};
    if (v2) args.push_back("--v2");
    r = run(args, path("t.vxt"));
    EXPECT_EQ(r.status, 0) << r.err;
    std::string expected;
    for (std::size_t i = 0; i < t.records.size(); ++i)
      expected +=
          t.records[i]->toString() + "\n" + hexLine(t.bytes, t.spans[i].first, t.spans[i].second);
    EXPECT_EQ(r.out, expected);
  }
}

TEST_F(ToolTest, DumpReadsFramesWithoutSyncMarkers) {
  for (Framing framing : {Framing::V1, Framing::V2}) {
    const bool v2 = framing == Framing::V2;
    Trace t = makeTrace(600, 12, framing);
    Bytes bare;
    for (const auto& [begin, end] : t.spans) {
      ASSERT_EQ(t.bytes[begin], v2 ? 'Z' : 0x55);
      bare.insert(bare.end(), t.bytes.begin() + begin + (v2 ? 1 : 2), t.bytes.begin() + end);
    }
    writeFile("bare.vxt", bare);
    std::vector<std::string> args{"dump", path("bare.vxt"), "--no-sync"};
    if (v2) args.push_back("--v2");
    Result r = run(args);
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, texts(t)) << (v2 ? "V2" : "V1");
  }
}

TEST_F(ToolTest, StatsCountsRecordsPerIdentifierAndChannel) {
  Trace t = makeTrace(4000, 11);
  writeFile("t.vxt", t.bytes);
  std::map<std::string, uint64_t> perId, perChannel;
  for (const auto& r : t.records) {
    ++perId[getMsgIdName(r->msgId)];
    ++perChannel[r->getSourceChannel()];
  }
  const unsigned long long first = t.records.front()->timeStamp;
  const unsigned long long last = t.records.back()->timeStamp;

  Result r = run({"stats", path("t.vxt"), "--json"});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find("\"records\": 4000,"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("\"bytes\": " + std::to_string(t.bytes.size()) + ","), std::string::npos);
  EXPECT_NE(r.out.find("\"first_timestamp_us\": " + std::to_string(first) + ","),
            std::string::npos);
  EXPECT_NE(r.out.find("\"last_time\": \"" + MessageBase::printTimestamp(last) + "\""),
            std::string::npos);
  char duration[64];
  std::snprintf(duration, sizeof duration, "\"duration_s\": %.6f,", (last - first) / 1e6);
  EXPECT_NE(r.out.find(duration), std::string::npos) << r.out;
  for (const char* zero :
       {"garbage_bytes", "garbage_runs", "truncated_bytes", "undecodable_frames"})
    EXPECT_NE(r.out.find(std::string("\"") + zero + "\": 0"), std::string::npos) << zero;
  for (const auto& [name, n] : perId)
    EXPECT_NE(r.out.find("\"" + name + "\": " + std::to_string(n)), std::string::npos) << name;
  for (const auto& [name, n] : perChannel)
    EXPECT_NE(r.out.find("\"" + name + "\": " + std::to_string(n)), std::string::npos) << name;
  EXPECT_EQ(count(r.out, "\": "), 15 + perId.size() + perChannel.size());

  r = run({"stats", path("t.vxt")});
  EXPECT_EQ(r.status, 0);
  EXPECT_NE(r.out.find("Records:               4000\n"), std::string::npos) << r.out;
  for (const auto& [name, n] : perChannel) {
    char row[128];
    std::snprintf(row, sizeof row, "  %-32s %12llu\n", name.c_str(),
                  static_cast<unsigned long long>(n));
    EXPECT_NE(r.out.find(row), std::string::npos) << row;
  }
}

TEST_F(ToolTest, CorruptTraceIsDumpedWholeWithReportsCountsAndExitOne) {
  Trace t = makeTrace(300, 5);
  const Bytes garbage1 = {0x13, 0x55, 0x42, 0x99, 0x01};  // a lone 0x55 is no marker
  const Bytes garbage2 = {0xAB, 0xCD, 0xEF};
  // A frame whose identifier (15) has no record class.
  const Bytes unknown = {0x55, 0xAA, 0x00, 0x0C, 0x00, 0x0F, 0x00, 0x00,
                         0x00, 0x06, 0x13, 0x9B, 0x7D, 0xE0, 0xB1, 0x41};
  Bytes bytes;
  std::size_t unknownAt = 0;
  for (std::size_t i = 0; i < t.records.size(); ++i) {
    bytes.insert(bytes.end(), t.bytes.begin() + t.spans[i].first,
                 t.bytes.begin() + t.spans[i].second);
    if (i == 10) bytes.insert(bytes.end(), garbage1.begin(), garbage1.end());
    if (i == 20) bytes.insert(bytes.end(), {0, 0, 0, 0});  // zero padding: skipped silently
    if (i == 40) bytes.insert(bytes.end(), garbage2.begin(), garbage2.end());
    if (i == 60) {
      unknownAt = bytes.size();
      bytes.insert(bytes.end(), unknown.begin(), unknown.end());
    }
  }
  const std::size_t lastFrame = bytes.size() - (t.spans.back().second - t.spans.back().first);
  bytes.resize(bytes.size() - 3);  // the end-of-file frame loses its last 3 bytes
  const std::size_t truncated = bytes.size() - lastFrame;
  writeFile("bad.vxt", bytes);
  const std::string file = path("bad.vxt");

  Result r = run({"dump", file});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.out, texts(t, [&](const MessageBase& m) { return &m != t.records.back().get(); }));
  EXPECT_EQ(count(r.err, "[ERROR] invalid data (5 bytes): \n"), 1u) << r.err;
  EXPECT_EQ(count(r.err, "[ERROR] invalid data (3 bytes): \n"), 1u) << r.err;
  EXPECT_EQ(count(r.err, "[ERROR] invalid data ("), 2u);
  EXPECT_NE(r.err.find("vxtrace: " + file + ": undecodable frame at offset " +
                       std::to_string(unknownAt) + ":\n"),
            std::string::npos)
      << r.err;
  EXPECT_NE(r.err.find("vxtrace: " + file + ": truncated frame at end of input (" +
                       std::to_string(truncated) + " bytes at offset " + std::to_string(lastFrame) +
                       ")\n"),
            std::string::npos)
      << r.err;
  const std::string summary = "vxtrace: " + file +
                              ": 1 undecodable frame, 8 bytes of invalid data in 2 runs, "
                              "truncated last frame (" +
                              std::to_string(truncated) + " bytes)\n";
  EXPECT_EQ(r.err.substr(r.err.size() - summary.size()), summary);

  // With --invalid the unknown frame is a line of its own, in place.
  MessageBase::invalidHandling = 1;
  std::unique_ptr<MessageBase> invalid(MessageBase::readFromByteArray(
      unknown.data() + 2, static_cast<unsigned>(unknown.size() - 2)));
  MessageBase::invalidHandling = 6;
  ASSERT_NE(invalid, nullptr);
  std::string expected;
  for (std::size_t i = 0; i + 1 < t.records.size(); ++i) {
    expected += t.records[i]->toString() + "\n";
    if (i == 60) expected += invalid->toString() + "\n";
  }
  r = run({"dump", file, "--invalid"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.out, expected);
  EXPECT_EQ(r.err.find("undecodable frame at offset"), std::string::npos);

  r = run({"stats", file, "--json"});
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.out.find("\"records\": 299,"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("\"garbage_bytes\": 8,\n  \"garbage_runs\": 2,\n  \"truncated_bytes\": " +
                       std::to_string(truncated) + ",\n  \"undecodable_frames\": 1,"),
            std::string::npos)
      << r.out;
  EXPECT_EQ(r.err, summary);  // the reader's own reports stay out of the summary

  // Garbage after the last frame: too short for the sync hunt, and long enough for it.
  Trace t3 = makeTrace(30, 6);
  for (std::size_t n : {2u, 100u}) {
    Bytes tail = t3.bytes;
    tail.insert(tail.end(), n, 0x77);
    writeFile("tail.vxt", tail);
    r = run({"stats", path("tail.vxt"), "--json"});
    EXPECT_EQ(r.status, 1) << n;
    EXPECT_NE(r.out.find("\"garbage_bytes\": " + std::to_string(n) +
                         ",\n  \"garbage_runs\": 1,\n  \"truncated_bytes\": 0,"),
              std::string::npos)
        << r.out;
    r = run({"dump", path("tail.vxt")});
    EXPECT_EQ(r.out, texts(t3));
    EXPECT_NE(r.err.find("0 undecodable frames, " + std::to_string(n) +
                         " bytes of invalid data in 1 run\n"),
              std::string::npos)
        << r.err;
  }

  // The second framing drops garbage silently; the tool still finds, reports and counts it.
  Trace t2 = makeTrace(50, 5, Framing::V2);
  Bytes v2(t2.bytes.begin(), t2.bytes.begin() + t2.spans[5].second);
  v2.insert(v2.end(), {0x01, 0x02, 0x03, 0x04});
  v2.insert(v2.end(), t2.bytes.begin() + t2.spans[5].second, t2.bytes.end());
  writeFile("bad2.vxt", v2);
  r = run({"dump", path("bad2.vxt"), "--v2"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.out, texts(t2));
  EXPECT_NE(r.err.find("invalid data (4 bytes) skipped at offset " +
                       std::to_string(t2.spans[5].second) + "\n"),
            std::string::npos)
      << r.err;
}

TEST_F(ToolTest, UsageAndIoErrorsExitTwoWithOneLine) {
  const std::string missing = path("x.vxt");
  Result r = run({"dump", missing});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err, "vxtrace: cannot open '" + missing + "': No such file or directory\n");
  r = run({"stats", missing});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "vxtrace: cannot open '" + missing + "': No such file or directory\n");
  r = run({"gen", path("no/such/dir/out.vxt")});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "vxtrace: cannot create '" + path("no/such/dir/out.vxt") +
                       "': No such file or directory\n");

  writeFile("t.vxt", makeTrace(20).bytes);
  for (const std::vector<std::string>& bad :
       {std::vector<std::string>{"dump", path("t.vxt"), "--from", "2024-13-01 00:00:00"},
        {"dump", path("t.vxt"), "--id", "MSGID_NOSUCH"},
        {"dump", path("t.vxt"), "--bogus"},
        {"convert", path("t.vxt"), "--to", "csv", "-o", path("o")},
        {"frobnicate"},
        {}}) {
    r = run(bad);
    EXPECT_EQ(r.status, 2) << bad.size();
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err.rfind("vxtrace: ", 0), 0u) << r.err;
    EXPECT_EQ(count(r.err, "\n"), 1u) << r.err;
  }
  r = run({"dump", path("t.vxt"), "--from", "yesterday"});
  EXPECT_EQ(r.err,
            "vxtrace: invalid time for --from: 'yesterday' (expected YYYY-MM-DD HH:MM:SS[.ffffff] "
            "in UTC, or microseconds)\n");
}

TEST_F(ToolTest, FiltersSelectExactlyTheMatchingRecords) {
  Trace t = makeTrace(3000, 9);
  writeFile("t.vxt", t.bytes);
  const std::string file = path("t.vxt");
  const unsigned long long start = t.records.front()->timeStamp;

  Result r = run({"dump", file, "--id", "MSGID_CAN", "--id", "11"});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, texts(t, [](const MessageBase& m) {
              return m.msgId == MSGID_CAN || m.msgId == MSGID_CAN_EXT;
            }));
  r = run({"dump", file, "--id", "0xFF", "--id", "MSGID_FILETIME"});
  EXPECT_EQ(r.out, texts(t, [](const MessageBase& m) {
              return m.msgId == MSGID_ENDOFFILE || m.msgId == MSGID_FILETIME;
            }));
  EXPECT_EQ(count(r.out, "\n"), 2u);

  r = run({"dump", file, "--channel", "CAN #0"});
  const std::string can0 =
      texts(t, [](const MessageBase& m) { return m.getSourceChannel() == "CAN #0"; });
  EXPECT_EQ(r.out, can0);
  EXPECT_GT(count(can0, "\n"), 100u);

  // 09:26:53.5 UTC to one second after the session's start, both ends included.
  const unsigned long long from = start + 500000, to = start + 1000000;
  r = run({"dump", file, "--from", "2024-03-14 09:26:53.5", "--to", std::to_string(to)});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, texts(t, [&](const MessageBase& m) {
              return m.timeStamp >= from && m.timeStamp <= to;
            }));
  EXPECT_GT(count(r.out, "\n"), 100u);

  r = run({"dump", "--id", "11", "--channel", "CAN #2", "--count", "3", file});
  int left = 3;
  EXPECT_EQ(r.out, texts(t, [&](const MessageBase& m) {
              return m.msgId == MSGID_CAN_EXT && m.getSourceChannel() == "CAN #2" && left-- > 0;
            }));
  EXPECT_EQ(count(r.out, "\n"), 3u);
}

TEST_F(ToolTest, LocalTimeRewritesOnlyTheLeadingTimeStamp) {
  Trace t = makeTrace(40, 2);
  writeFile("t.vxt", t.bytes);
  Result r = run({"dump", path("t.vxt"), "--local-time"}, "", {"TZ=XST-3"});
  EXPECT_EQ(r.status, 0);
  std::string expected;
  for (const auto& rec : t.records) {
    std::string line = rec->toString();
    line.replace(0, 26, MessageBase::printTimestamp(rec->timeStamp + 3 * 3600000000ULL));
    expected += line + "\n";
  }
  EXPECT_EQ(r.out, expected);
  // The file time record's own date is not the prefix and stays UTC.
  EXPECT_NE(r.out.find("= 2024-03-14 09:26:53.000000"), std::string::npos);
}
