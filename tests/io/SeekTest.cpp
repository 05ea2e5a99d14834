#include <gtest/gtest.h>
#include <sys/mman.h>

#include "io/IoTestSupport.h"
#include "vxtrace/io/Seek.h"
#include "vxtrace/io/TraceFileWriter.h"

using namespace vxtest;
using C = vxtrace::TraceFileWriterOptions::Containers;
using F = TraceFileReader::framing_t;

TEST(SeekTest, StartsWhereAFullScanFindsTheFirstRecordInTimeInOrderOrNot) {
  RegistryGuard registry;
  struct Row {
    const char* what;
    F framing;
    C containers;
    uint64_t period;  // records restart at kT0 after this many (a merged file); 0: never
  } rows[] = {
      {"in order", F::FRAMING_V1, C::None, 0},
      {"in order in containers", F::FRAMING_V2_NOSYNC, C::Lz4, 0},
      {"two runs back to back", F::FRAMING_V2, C::None, 60000},
  };
  constexpr uint64_t kRecords = 120000;  // 1 ms apart
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    const int fd = memfd_create("seek", MFD_CLOEXEC);
    vxtrace::TraceFileWriterOptions o;
    o.framing = row.framing;
    o.containers = row.containers;
    {
      vxtrace::TraceFileWriter w(fd, o);
      for (uint64_t i = 0; i < kRecords; ++i)
        w.write(numbered(row.period ? i % row.period : i, 1000));
    }
    const uint64_t size = static_cast<uint64_t>(::lseek(fd, 0, SEEK_END));
    const std::string path = "/proc/self/fd/" + std::to_string(fd);
    const ReadBack all = readBack(path, row.framing);
    for (uint64_t t : {kT0 - 1, kT0 + 500, kT0 + 59999000, kT0 + 100000000, kT0 + 118999500,
                       kT0 + kRecords * 1000}) {
      SCOPED_TRACE(t - kT0);
      uint64_t expected = size;
      for (std::size_t i = 0; i < all.top.size() && expected == size; ++i) {
        const MessageBase& m = *all.top[i];
        const uint64_t key = m.msgId == MSGID_CONTAINER
                                 ? static_cast<const ContainerMessage&>(m).lastMsgTime
                                 : m.timeStamp;
        if (key >= t) expected = all.starts[i];
      }
      const vxtrace::SeekResult r = vxtrace::seekTime(fd, row.framing, t);
      EXPECT_EQ(r.offset, expected);
      EXPECT_EQ(static_cast<uint64_t>(::lseek(fd, 0, SEEK_CUR)), r.offset);
      EXPECT_EQ(r.fileSize, size);
      EXPECT_EQ(r.bisected, row.period == 0);
      if (r.bisected) {
        EXPECT_LT(r.bytesRead, size / 8);
      }
    }
    ::close(fd);
  }
}
