// Past the limits of 32-bit numbers, which the logger's own 32-bit build must handle: a sparse
// trace longer than 4 GiB read by the library and the tool (offsets, byte counts), and dates
// from 2038 on selected by time text.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <vector>

#include "ShownText.h"
#include "TraceGenerator.h"
#include "support/IoSupport.h"
#include "vxtrace/TraceFileReader.h"
#include "vxtrace/vxtrace.h"

using Bytes = std::vector<uint8_t>;

namespace {

struct Trace {
  Bytes bytes;
  std::vector<std::unique_ptr<MessageBase>> records;
  std::vector<std::size_t> ends;  // where each record's framed bytes end
};

Trace makeTrace(uint64_t records, unsigned long long start = 0) {
  vxtrace::gen::TraceOptions options;
  options.records = records;
  if (start) options.startTime = start;
  vxtrace::gen::TraceGenerator gen(options);
  Trace t;
  for (std::unique_ptr<MessageBase> rec; gen.next(t.bytes, &rec); t.ends.push_back(t.bytes.size()))
    t.records.push_back(std::move(rec));
  return t;
}

// The tool's standard output and error; its exit status.
int run(const vxtest::TempDir& dir, const std::string& args, std::string& out, std::string& err) {
  const int status = std::system((VXTRACE_CLI " " + args + " >'" + dir.path("out") + "' 2>'" +
                                  dir.path("err") + "'").c_str());
  out = vxtest::readFile(dir.path("out"));
  err = vxtest::readFile(dir.path("err"));
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace

TEST(ToolBeyond32Bits, SparseTracePastFourGiBGivesTrueOffsetsAndCounts) {
#ifdef VXTRACE_SANITIZED
  GTEST_SKIP() << "reads gigabytes: run by the regular and 32-bit builds";
#endif
  // Holes read back fastest from a tmpfs: no page cache to fill with zeros.
  vxtest::TempDir dir(::access("/dev/shm", W_OK) == 0 ? "/dev/shm"
                                                     : std::filesystem::temp_directory_path());
  const std::string trace = dir.path("t.vxt");
  // One record, zero padding past 4 GiB, three bytes of garbage, a frame of no known kind, a
  // second record cut short by three bytes.
  const Trace t = makeTrace(2);
  const Bytes first(t.bytes.begin(), t.bytes.begin() + t.ends[0]);
  const std::size_t cutLength = t.ends[1] - t.ends[0] - 3;
  const uint64_t at = (1ULL << 32) + 4099, cutAt = at + 3 + 16, size = cutAt + cutLength;
  const Bytes tail = vxtest::cat({{0xAB, 0xCD, 0xEF},
                                  {0x55, 0xAA, 0x00, 0x0C, 0x00, 0x0F, 0, 0, 0, 6, 0x13, 0x9B,
                                   0x7D, 0xE0, 0xB1, 0x41},
                                  Bytes(t.bytes.begin() + t.ends[0], t.bytes.end() - 3)});
  const std::string line = shown(*t.records[0]) + "\n";
  const int fd = ::open(trace.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  ASSERT_GE(fd, 0);
  ASSERT_EQ(::pwrite(fd, first.data(), first.size(), 0), static_cast<ssize_t>(first.size()));
  ASSERT_EQ(::pwrite(fd, tail.data(), tail.size(), static_cast<off_t>(at)),
            static_cast<ssize_t>(tail.size()));

  {
    // The library on its own: the counts the tool reports below come from here.
    ASSERT_EQ(::lseek(fd, 0, SEEK_SET), 0);
    MessageBase::registerMessages();
    TraceFileReader reader(fd);
    std::unique_ptr<MessageBase> m(reader.next());
    ASSERT_NE(m, nullptr);
    EXPECT_TRUE(*m == *t.records[0]);
    EXPECT_EQ(reader.next(), nullptr);
    EXPECT_EQ(reader.counts().bytesRead, size);
    EXPECT_EQ(reader.counts().truncatedBytes, cutLength);
  }
  ::close(fd);
  std::string out, err;
  EXPECT_EQ(run(dir, "dump '" + trace + "'", out, err), 1);
  EXPECT_EQ(out, line);
  const std::string p = "vxtrace: " + trace + ": ", cut = std::to_string(cutLength);
  // The hole's zeros lead into garbage, so they are dropped with it: no record can be told
  // from padding there.
  const uint64_t dropped = at + 3 - first.size();
  std::string zeros = "00";
  for (int i = 1; i < 2048; ++i) zeros += " 00";
  EXPECT_EQ(err.substr(0, err.find('\n') + 1),
            p + "invalid data (" + std::to_string(dropped) + " bytes) skipped at offset " +
                std::to_string(first.size()) + ": " + zeros + " ...\n");
  for (const std::string& part :
       {p + "undecodable frame at offset " + std::to_string(at + 3) +
            " (16 bytes): 55 aa 00 0c 00 0f 00 00 00 06 13 9b 7d e0 b1 41\n",
        p + "truncated frame at end of input (" + cut + " bytes at offset " +
            std::to_string(cutAt) + "): 55 aa ",
        p + std::to_string(dropped + 16 + cutLength) + " bytes dropped: 1 undecodable frame, " +
            std::to_string(dropped) + " bytes of invalid data in 1 run, truncated last frame (" +
            cut + " bytes)\n"})
    EXPECT_NE(err.find(part), std::string::npos) << part;
  run(dir, "stats --json '" + trace + "'", out, err);
  EXPECT_NE(out.find("\"bytes\": " + std::to_string(size) + ","), std::string::npos) << out;
}

TEST(ToolBeyond32Bits, DatesFrom2038OnAreSelectedByTimeText) {
  vxtest::TempDir dir;
  const Trace t = makeTrace(400, 2208988800000000ULL);  // from 2040-01-01 00:00:00 UTC
  vxtest::writeFile(dir.path("t.vxt"), t.bytes);
  const unsigned long long from = t.records[100]->timeStamp, to = t.records[300]->timeStamp;
  std::string toText = MessageBase::printTimestamp(to), out, err, expected;
  toText[10] = 'T';
  EXPECT_EQ(run(dir, "dump '" + dir.path("t.vxt") + "' --from '" +
                         MessageBase::printTimestamp(from) + "' --to '" + toText + "'",
                out, err), 0) << err;
  for (const auto& rec : t.records)
    if (rec->timeStamp >= from && rec->timeStamp <= to) expected += shown(*rec) + "\n";
  EXPECT_EQ(out, expected);
  EXPECT_EQ(out.rfind("2040-01-01 00:00:", 0), 0u) << out.substr(0, 80);
  EXPECT_GT(vxtest::countOf(out, "\n"), 150u);
}
