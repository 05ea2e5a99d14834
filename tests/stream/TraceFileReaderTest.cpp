#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <random>

#include "support/Garbage.h"
#include "support/IoSupport.h"
#include "support/TestSupport.h"
#include "vxtrace/vxtrace.h"

using vxtest::Bytes;

namespace {

struct Spliced {
  Bytes bytes;
  std::vector<std::unique_ptr<MessageBase>> records;
  std::vector<TraceFileReader::loss_t> losses;  // the garbage runs, as the reader must report them
};

void frameInto(Bytes& out, const MessageBase& msg, bool v2) {
  if (v2) {
    const unsigned length = msg.getSize() + 2;
    out.insert(out.end(), {'Z', 0, static_cast<uint8_t>(length >> 8), static_cast<uint8_t>(length)});
  }
  msg.createByteArray(out, !v2, true);
}

// CAN and text records (whose bodies hold markers now and then), with garbage of each form in
// turn after every tenth.
Spliced splice(bool v2, int records, std::mt19937& rng) {
  Spliced s;
  auto byte = [&] { return static_cast<uint8_t>(rng()); };
  for (int i = 0; i < records; ++i) {
    // Every seventh time stamp holds a marker and a large size: a false start inside a good
    // record, which must not cost that record.
    const unsigned long long ts = i % 7 == 3 ? 0x000055AAA0000000ULL + i : 1000000 + i;
    std::unique_ptr<MessageBase> msg;
    if (i % 3 == 0) {
      std::string text(rng() % 40, 'x');
      for (char& c : text) c = rng() % 5 == 0 ? (v2 ? 'Z' : '\x55') : static_cast<char>(byte());
      msg.reset(new StringMessageBase<MSGID_VERSION>(ts, text));
    } else {
      Bytes data(rng() % 9);
      for (uint8_t& b : data) b = byte();
      msg.reset(new CANTraceMessage(ts, i % 4, CAN_FRAME_STANDARD, 0, rng() % 0x800, data));
    }
    frameInto(s.bytes, *msg, v2);
    s.records.push_back(std::move(msg));
    if (i % 10 != 5) continue;
    const Bytes junk = vxtest::garbage(static_cast<vxtest::Garbage>((i / 10) % 3), v2, rng);
    s.losses.push_back({TraceFileReader::loss_t::SKIPPED, s.bytes.size(), junk.size()});
    s.bytes.insert(s.bytes.end(), junk.begin(), junk.end());
  }
  return s;
}

}  // namespace

TEST(TraceFileReader, GarbageWithFalseMarkersLosesNoGoodRecordInEitherFraming) {
  vxtest::RegistryGuard guard;
  std::mt19937 rng(7);
  vxtest::TempDir dir;
  for (bool v2 : {false, true}) {
    SCOPED_TRACE(v2 ? "V2" : "V1");
    Spliced s = splice(v2, 1500, rng);
    ASSERT_GE(s.losses.size(), 150u);
    const std::string path = dir.path("t.vxt");
    vxtest::writeFile(path, s.bytes);
    struct File {
      int fd;
      ~File() { ::close(fd); }
    } file{::open(path.c_str(), O_RDONLY)};
    ASSERT_GE(file.fd, 0);
    TraceFileReader reader(file.fd, v2 ? TraceFileReader::FRAMING_V2 : TraceFileReader::FRAMING_V1);
    std::vector<TraceFileReader::loss_t> losses;
    reader.setLossHandler([&](const TraceFileReader::loss_t& l) { losses.push_back(l); });
    size_t n = 0;
    while (std::unique_ptr<MessageBase> msg{reader.next()}) {
      ASSERT_LT(n, s.records.size());
      ASSERT_TRUE(*msg == *s.records[n]) << n << ": " << msg->toString();
      ASSERT_EQ(msg->timeStamp, s.records[n]->timeStamp);
      ++n;
    }
    EXPECT_EQ(n, s.records.size());
    EXPECT_EQ(reader.error(), 0);
    ASSERT_EQ(losses.size(), s.losses.size());
    for (size_t i = 0; i < losses.size(); ++i) {
      EXPECT_EQ(losses[i].kind, s.losses[i].kind) << i;
      EXPECT_EQ(losses[i].offset, s.losses[i].offset) << i;
      EXPECT_EQ(losses[i].length, s.losses[i].length) << i;
    }
    EXPECT_EQ(reader.counts().skippedRuns, s.losses.size());
    EXPECT_EQ(reader.counts().bytesRead, s.bytes.size());
  }
}
