// Past the limits of 32-bit numbers, which the logger's own 32-bit build must handle: a sparse
// trace longer than 4 GiB read by the library and the tool (offsets, byte counts), and dates
// from 2038 on selected by time text.
#include <fcntl.h>
#include <unistd.h>

#include "ToolFixture.h"
#include "vxtrace/TraceFileReader.h"

using ToolBeyond32Bits = ToolTest;

TEST_F(ToolBeyond32Bits, SparseTracePastFourGiBGivesTrueOffsetsAndCounts) {
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
  const std::size_t end0 = t.spans[0].second;
  const Bytes first(t.bytes.begin(), t.bytes.begin() + end0);
  const std::size_t cutLength = t.spans[1].second - end0 - 3;
  const uint64_t at = (1ULL << 32) + 4099, cutAt = at + 3 + 16, size = cutAt + cutLength;
  const Bytes tail = vxtest::cat({{0xAB, 0xCD, 0xEF},
                                  {0x55, 0xAA, 0x00, 0x0C, 0x00, 0x0F, 0, 0, 0, 6, 0x13, 0x9B,
                                   0x7D, 0xE0, 0xB1, 0x41},
                                  Bytes(t.bytes.begin() + end0, t.bytes.end() - 3)});
  const std::string line = shown(*t.records[0]) + "\n";
  const int fd = ::open(trace.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  ASSERT_GE(fd, 0);
  ASSERT_EQ(::pwrite(fd, first.data(), first.size(), 0), static_cast<ssize_t>(first.size()));
  ASSERT_EQ(::pwrite(fd, tail.data(), tail.size(), static_cast<off_t>(at)),
            static_cast<ssize_t>(tail.size()));

  {
    // The library on its own: the counts the tool reports below come from here.
    ASSERT_EQ(::lseek(fd, 0, SEEK_SET), 0);
    TraceFileReader reader(fd);
    std::unique_ptr<MessageBase> m(reader.next());
    ASSERT_NE(m, nullptr);
    EXPECT_TRUE(*m == *t.records[0]);
    EXPECT_EQ(reader.next(), nullptr);
    EXPECT_EQ(reader.counts().bytesRead, size);
    EXPECT_EQ(reader.counts().truncatedBytes, cutLength);
  }
  ::close(fd);
  Result r = run({"dump", trace});
  const std::string& err = r.err;
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.out, line);
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
  EXPECT_TRUE(Has(run({"stats", "--json", trace}).out, "\"bytes\": " + std::to_string(size) + ","));
}

TEST_F(ToolBeyond32Bits, DatesFrom2038OnAreSelectedByTimeText) {
  // From 2040-01-01 00:00:00 UTC.
  const Trace t = makeTrace(400, 1, Framing::V1, vxtrace::gen::Containers::None, 2208988800000000ULL);
  const unsigned long long from = t.records[100]->timeStamp, to = t.records[300]->timeStamp;
  std::string toText = MessageBase::printTimestamp(to);
  toText[10] = 'T';
  const Result r = run({"dump", file("t.vxt", t.bytes), "--from", MessageBase::printTimestamp(from),
                        "--to", toText});
  const std::string& out = r.out;
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(out, texts(t, [&](const MessageBase& m) {
              return m.timeStamp >= from && m.timeStamp <= to;
            }));
  EXPECT_EQ(out.rfind("2040-01-01 00:00:", 0), 0u) << out.substr(0, 80);
  EXPECT_GT(vxtest::countOf(out, "\n"), 150u);
}
