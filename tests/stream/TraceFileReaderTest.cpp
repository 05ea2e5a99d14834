#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <random>

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

// CAN and text records (whose bodies hold markers now and then), with garbage after every
// tenth: plain bytes, a false marker with any size, or a false marker with a plausible header
// that would decode if taken.
Spliced splice(bool v2, int records, std::mt19937& rng) {
  Spliced s;
  auto byte = [&] { return static_cast<uint8_t>(rng()); };
  for (int i = 0; i < records; ++i) {
    std::unique_ptr<MessageBase> msg;
    if (i % 3 == 0) {
      std::string text(rng() % 40, 'x');
      for (char& c : text) c = rng() % 5 == 0 ? (v2 ? 'Z' : '\x55') : static_cast<char>(byte());
      msg.reset(new StringMessageBase<MSGID_VERSION>(1000000 + i, text));
    } else {
      Bytes data(rng() % 9);
      for (uint8_t& b : data) b = byte();
      msg.reset(new CANTraceMessage(1000000 + i, i % 4, CAN_FRAME_STANDARD, 0, rng() % 0x800, data));
    }
    frameInto(s.bytes, *msg, v2);
    s.records.push_back(std::move(msg));
    if (i % 10 != 5) continue;
    Bytes junk;
    switch ((i / 10) % 3) {
      case 0:  // plain garbage, no marker
        for (int n = 1 + rng() % 20; n > 0; --n) junk.push_back(0x60 + rng() % 0x20);
        break;
      case 1:  // a false marker and any size
        junk = v2 ? Bytes{'Z', byte(), byte(), byte(), byte()} : Bytes{0x55, 0xAA, byte(), byte()};
        for (int n = rng() % 10; n > 0; --n) junk.push_back(byte());
        break;
      default: {  // a false marker and a plausible CAN header spanning the next records
        const uint16_t size = static_cast<uint16_t>(40 + rng() % 200);
        if (v2) junk = {'Z', 0, static_cast<uint8_t>((size + 2) >> 8), static_cast<uint8_t>(size + 2)};
        else junk = {0x55, 0xAA};
        Bytes head = vxtest::frame(MSGID_CAN, 5, Bytes(4, 1));
        head[0] = static_cast<uint8_t>(size >> 8);
        head[1] = static_cast<uint8_t>(size);
        junk.insert(junk.end(), head.begin(), head.end());
      }
    }
    if (junk[0] == 0) junk[0] = 0x13;
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
