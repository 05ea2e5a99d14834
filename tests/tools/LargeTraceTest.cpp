// The tool past the limits of 32-bit numbers, which the logger's own 32-bit build must handle:
// traces longer than 4 GiB (offsets, byte counts, progress) and dates from 2038 on. The long
// traces are sparse where they can be, and every file goes when its test ends.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/statvfs.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <memory>
#include <regex>
#include <string>
#include <vector>

#include "TraceGenerator.h"
#include "support/IoSupport.h"
#include "vxtrace/vxtrace.h"

using vxtrace::gen::Framing;
using Bytes = std::vector<uint8_t>;

namespace {

constexpr uint64_t k4GiB = 1ULL << 32;

#ifdef VXTRACE_SANITIZED
#define SKIP_WHEN_SANITIZED() \
  GTEST_SKIP() << "reads gigabytes: run by the regular and 32-bit builds"
#else
#define SKIP_WHEN_SANITIZED() (void)0
#endif

struct Trace {
  Bytes bytes;
  std::vector<std::unique_ptr<MessageBase>> records;
  std::vector<uint64_t> starts;  // offset of each record's framed bytes
};

Trace makeTrace(uint64_t records, Framing framing, unsigned long long start = 0) {
  vxtrace::gen::TraceOptions options;
  options.records = records;
  options.framing = framing;
  if (start) options.startTime = start;
  vxtrace::gen::TraceGenerator gen(options);
  Trace t;
  std::unique_ptr<MessageBase> rec;
  for (uint64_t at = 0; gen.next(t.bytes, &rec); at = t.bytes.size()) {
    t.starts.push_back(at);
    t.records.push_back(std::move(rec));
  }
  return t;
}

std::string texts(const Trace& t, std::size_t from, std::size_t to) {
  std::string out;
  for (std::size_t i = from; i < to; ++i) out += t.records[i]->toString() + "\n";
  return out;
}

// Writes the pieces at their offsets; what lies between them stays a hole.
void writeSparse(const std::string& path, const std::vector<std::pair<uint64_t, Bytes>>& pieces) {
  const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  ASSERT_GE(fd, 0) << path;
  for (const auto& [offset, bytes] : pieces)
    ASSERT_EQ(::pwrite(fd, bytes.data(), bytes.size(), static_cast<off_t>(offset)),
              static_cast<ssize_t>(bytes.size()));
  ::close(fd);
}

// Holes read back fastest from a tmpfs: no page cache to fill with zeros.
std::filesystem::path sparseBase() {
  std::error_code ec;
  if (std::filesystem::is_directory("/dev/shm", ec) && ::access("/dev/shm", W_OK) == 0)
    return "/dev/shm";
  return std::filesystem::temp_directory_path();
}

struct Result {
  int status = -1;
  std::string out, err;
};

// Runs the tool with args (already quoted for the shell); out and err as files in dir.
Result run(const vxtest::TempDir& dir, const std::string& args) {
  const std::string command =
      VXTRACE_CLI " " + args + " >'" + dir.path("out") + "' 2>'" + dir.path("err") + "'";
  const int status = std::system(command.c_str());
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, vxtest::readFile(dir.path("out")),
          vxtest::readFile(dir.path("err"))};
}

const Bytes kUnknownFrame = {0x55, 0xAA, 0x00, 0x0C, 0x00, 0x0F, 0x00, 0x00,
                             0x00, 0x06, 0x13, 0x9B, 0x7D, 0xE0, 0xB1, 0x41};

}  // namespace

TEST(ToolBeyond32Bits, SparseTracePastFourGiBGivesTrueOffsetsAndCounts) {
  SKIP_WHEN_SANITIZED();
  vxtest::TempDir dir(sparseBase());
  const std::string trace = dir.path("t.vxt");
  // Half the records, zero padding past 4 GiB, three bytes of garbage, a frame of unknown kind,
  // the other half with the last frame cut short.
  Trace t = makeTrace(200, Framing::V1);
  const std::size_t half = 100, last = t.records.size() - 1;
  const uint64_t at = k4GiB + 4099;
  Bytes tail = vxtest::cat({{0xAB, 0xCD, 0xEF}, kUnknownFrame});
  const uint64_t lastAt = at + tail.size() + (t.starts[last] - t.starts[half]);
  tail.insert(tail.end(), t.bytes.begin() + t.starts[half], t.bytes.end() - 3);
  const uint64_t size = at + tail.size(), truncated = size - lastAt;
  writeSparse(trace, {{0, Bytes(t.bytes.begin(), t.bytes.begin() + t.starts[half])}, {at, tail}});

  Result r = run(dir, "dump '" + trace + "'");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.out, texts(t, 0, last));
  const std::string prefix = "vxtrace: " + trace + ": ";
  EXPECT_EQ(r.err, prefix + "invalid data (3 bytes) skipped at offset " + std::to_string(at) +
                       "\n" + prefix + "undecodable frame at offset " + std::to_string(at + 3) +
                       " (16 bytes)\n" + prefix + "truncated frame at end of input (" +
                       std::to_string(truncated) + " bytes at offset " + std::to_string(lastAt) +
                       ")\n" + prefix +
                       "1 undecodable frame, 3 bytes of invalid data in 1 run, truncated last "
                       "frame (" +
                       std::to_string(truncated) + " bytes)\n");
  r = run(dir, "stats --json '" + trace + "'");
  EXPECT_NE(r.out.find("\"bytes\": " + std::to_string(size) + ","), std::string::npos) << r.out;
}

TEST(ToolBeyond32Bits, GenWritesAndStatsReadsATraceLongerThanFourGiBWithRightProgress) {
  SKIP_WHEN_SANITIZED();
  vxtest::TempDir dir;
  struct statvfs fs {};
  ASSERT_EQ(::statvfs(dir.dir.c_str(), &fs), 0);
  if (static_cast<uint64_t>(fs.f_bavail) * fs.f_frsize < k4GiB + (3ULL << 30))
    GTEST_SKIP() << "needs 7 GiB free in " << dir.dir;
  const std::string trace = dir.path("t.vxt");
  // Some 4.9 GB: enough past 4 GiB for the progress bar to be drawn there a few times.
  const uint64_t records = 105000000;

  Result r = run(dir, "gen --records " + std::to_string(records) + " '" + trace + "'");
  ASSERT_EQ(r.status, 0) << r.err;
  const uint64_t size = std::filesystem::file_size(trace);
  ASSERT_GT(size, k4GiB + (500ULL << 20)) << "the generator's records got smaller: raise the count";
  // Under a terminal, so that the bar is drawn on standard error.
  const std::string command = "script -qec \"" VXTRACE_CLI " stats --json '" + trace +
                              "'\" /dev/null </dev/null >'" + dir.path("tty") + "' 2>&1";
  const int status = std::system(command.c_str());
  std::filesystem::remove(trace);
  EXPECT_EQ(WIFEXITED(status) ? WEXITSTATUS(status) : -1, 0);
  const std::string tty =
      std::regex_replace(vxtest::readFile(dir.path("tty")), std::regex("\r\n"), "\n");
  for (const std::string& part :
       {"\"bytes\": " + std::to_string(size) + ",", "\"records\": " + std::to_string(records) + ",",
        std::string("\"garbage_bytes\": 0,"), std::string("\"truncated_bytes\": 0,")})
    EXPECT_NE(tty.find(part), std::string::npos)
        << part << " not in\n"
        << tty.substr(tty.size() > 2000 ? tty.size() - 2000 : 0);

  // Every bar agrees with the file's size, never runs backwards, and some are drawn past 4 GiB.
  const std::regex bar(R"(\[[#.]{30}\] +(\d+)%  ([0-9.]+) MB)");
  double previous = 0;
  int bars = 0, beyond = 0;
  for (auto m = std::sregex_iterator(tty.begin(), tty.end(), bar); m != std::sregex_iterator();
       ++m, ++bars) {
    const double mb = std::stod((*m)[2]), percent = std::stod((*m)[1]);
    EXPECT_GE(mb, previous);
    // The percentage is cut to a whole number, the megabytes rounded to a tenth.
    EXPECT_NEAR(percent, mb * 1e8 / static_cast<double>(size), 1.01) << (*m)[0];
    if (mb * 1e6 > static_cast<double>(k4GiB)) ++beyond;
    previous = mb;
  }
  EXPECT_GT(beyond, 0) << bars << " bars, none past 4 GiB";
  EXPECT_LE(previous * 1e6, static_cast<double>(size) + 1e5);
}

TEST(ToolBeyond32Bits, DatesFrom2038OnAreDumpedAndSelectedByTimeText) {
  vxtest::TempDir dir;
  const unsigned long long start = 2208988800000000ULL;  // 2040-01-01 00:00:00 UTC
  Trace t = makeTrace(400, Framing::V1, start);
  vxtest::writeFile(dir.path("t.vxt"), t.bytes);
  const unsigned long long first = t.records.front()->timeStamp,
                           span = t.records.back()->timeStamp - first;
  const unsigned long long from = first + span / 4, to = first + span * 3 / 4;
  std::string toText = MessageBase::printTimestamp(to);
  toText[10] = 'T';

  Result r = run(dir, "dump '" + dir.path("t.vxt") + "' --from '" +
                          MessageBase::printTimestamp(from) + "' --to '" + toText + "'");
  EXPECT_EQ(r.status, 0) << r.err;
  std::string expected;
  for (const auto& rec : t.records)
    if (rec->timeStamp >= from && rec->timeStamp <= to) expected += rec->toString() + "\n";
  EXPECT_EQ(r.out, expected);
  EXPECT_EQ(r.out.rfind("2040-01-01 00:00:", 0), 0u) << r.out.substr(0, 80);
  EXPECT_GT(vxtest::countOf(r.out, "\n"), 50u);
}
