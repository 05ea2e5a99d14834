#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "support/IoSupport.h"
#include "support/TestSupport.h"
#include "vxtrace/io/Reader.h"
#include "vxtrace/vxtrace.h"

using vxtest::Bytes;
using vxtest::hex;
using namespace vxtrace;

namespace {

constexpr unsigned long long kT0 = 1700000000000000ULL;  // 2023-11-14, microseconds

// What a reader handed out, one line per record: offset, depth and text.
std::vector<std::string> readAll(Reader& reader) {
  std::vector<std::string> out;
  while (auto msg = reader.next())
    out.push_back(std::to_string(reader.recordOffset()) + "/" + std::to_string(reader.depth()) +
                  " " + msg->toString());
  return out;
}

// A CAN record, an XCP frame whose decoder rejects it with two lines, a UDS request, and a
// container holding two CAN records.
struct Sample {
  Bytes bytes;
  uint64_t xcpOffset, containerOffset;
  Sample() {
    bytes = vxtest::serialise(CANTraceMessage(kT0, 0, CAN_FRAME_STANDARD, 0, 0x123, {1, 2}), true);
    xcpOffset = bytes.size();
    bytes = vxtest::cat(
        {bytes, vxtest::syncFrame(MSGID_XCP, kT0 + 1, hex("00 01 00 00 05")),
         vxtest::serialise(UDSRequest(kT0 + 2, UDSRequest::UDS_SID_READ_DATA_BY_ID, {0xF1, 0x90}),
                           true)});
    containerOffset = bytes.size();
    std::vector<std::unique_ptr<MessageBase>> inner;
    inner.emplace_back(new CANTraceMessage(kT0 + 3, 1, CAN_FRAME_STANDARD, 0, 0x10, {}));
    inner.emplace_back(new CANTraceMessage(kT0 + 4, 1, CAN_FRAME_STANDARD, 0, 0x11, {}));
    bytes = vxtest::cat({bytes, vxtest::serialise(ContainerMessage(true, std::move(inner)), true)});
  }
};

}  // namespace

// Two readers with opposite policies at once, each in its own thread, over and over: each sees
// only what its own policy says, and the process-wide settings stay as they were.
TEST(Reader, TwoReadersWithDifferentPoliciesInTwoThreads) {
  const Sample s;
  Bytes bytes;
  for (int i = 0; i < 50; ++i) bytes.insert(bytes.end(), s.bytes.begin(), s.bytes.end());
  const int handling = MessageBase::invalidHandling;
  const auto registered = MessageBase::creators.size();
  std::atomic<int> wrong{0};
  auto run = [&](bool all) {
    ReadPolicy p;
    p.invalidRecords = p.decodeDiagnostics = p.expandContainers = all;
    for (int i = 0; i < 40; ++i) {
      Reader r(Source::memory(bytes.data(), bytes.size()), p);
      r.setDiagnosticHandler([](uint64_t, DiagnosticLevel, const std::string&) {});
      std::size_t n = 0, invalid = 0, uds = 0;
      while (auto msg = r.next()) {
        ++n;
        invalid += msg->msgId == MSGID_INVALID;
        uds += msg->msgId == MSGID_UDS_REQUEST;
      }
      if (n != (all ? 300u : 100u) || invalid != (all ? 50u : 0u) || uds != (all ? 50u : 0u))
        ++wrong;
    }
  };
  std::thread a(run, true), b(run, false);
  a.join();
  b.join();
  EXPECT_EQ(wrong, 0);
  EXPECT_EQ(MessageBase::invalidHandling, handling);
  EXPECT_EQ(MessageBase::creators.size(), registered);
}

TEST(Reader, DiagnosticLinesReachTheHandlerOnceWithTheirOffset) {
  const Sample s;
  Bytes bytes = s.bytes;
  // A block size the block does not have: the container's line when it is expanded.
  bytes[s.containerOffset + 29] ^= 1;
  ReadPolicy p;
  p.expandContainers = true;
  Reader r(Source::memory(bytes.data(), bytes.size()), p);
  std::vector<std::string> lines;
  r.setDiagnosticHandler([&](uint64_t offset, DiagnosticLevel level, const std::string& line) {
    lines.push_back(std::to_string(offset) + (level == DiagnosticLevel::Error ? " E " : " ? ") +
                    line);
  });
  vxtest::Capture err(std::cerr), out(std::cout);
  readAll(r);
  const std::string x = std::to_string(s.xcpOffset) + " E [ERROR] ";
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[0], x + "XCP_Message::Header::readFromByteArray: invalid transport type");
  EXPECT_EQ(lines[1], x + "XCP Header read error");
  EXPECT_EQ(lines[2].find(std::to_string(s.containerOffset) +
                          " E [ERROR] ContainerMessage::decompress: "),
            0u);
  EXPECT_EQ(err.text(), "");
  EXPECT_EQ(out.text(), "");
}

TEST(Reader, MemoryDescriptorAndFileSourcesGiveTheSameRecords) {
  const Sample s;
  vxtest::TempDir dir;
  const std::string path = dir.path("t.vxt");
  vxtest::writeFile(path, s.bytes);
  ReadPolicy p;
  p.invalidRecords = p.decodeDiagnostics = p.expandContainers = p.keepRawData = true;
  vxtest::Capture err(std::cerr);  // the XCP frame's lines, without a handler
  Reader memory(Source::memory(s.bytes.data(), s.bytes.size()), p);
  const auto expected = readAll(memory);
  ASSERT_EQ(expected.size(), 6u);
  EXPECT_EQ(expected[1].find(std::to_string(s.xcpOffset) + "/0 "), 0u);
  EXPECT_NE(expected[1].find("Invalid Message"), std::string::npos) << expected[1];
  EXPECT_NE(expected[2].find("UDS-Req"), std::string::npos);
  // The records inside carry the container's offset.
  EXPECT_EQ(expected[5].find(std::to_string(s.containerOffset) + "/1 "), 0u);
  EXPECT_NE(expected[5].find("CAN #2"), std::string::npos) << expected[5];
  EXPECT_EQ(memory.counts().records, 4u);

  Source file = Source::file(path);
  EXPECT_TRUE(file.size() == s.bytes.size() && file.seekable());
  Reader fromFile(std::move(file), p);
  EXPECT_EQ(readAll(fromFile), expected);

  vxtest::Pipe pipe;  // the trace fits in the pipe's buffer
  vxtest::writeAll(pipe.w, s.bytes);
  pipe.closeWriter();
  Source fd = Source::descriptor(pipe.r, "pipe");
  EXPECT_FALSE(fd.size() || fd.seekable());
  Reader fromPipe(std::move(fd), p);
  EXPECT_EQ(readAll(fromPipe), expected);

  std::string what;
  try {
    Source::file(dir.path("missing"));
  } catch (const std::system_error& e) {
    what = e.what();
  }
  EXPECT_EQ(what, "cannot open '" + dir.path("missing") + "': No such file or directory");
}

TEST(Reader, DetectionWantsPlausibleTimesAndNamesWhatOtherInputsLookLike) {
  // Four CAN records without markers, a millisecond apart.
  Bytes trace;
  for (int i = 0; i < 4; ++i)
    trace = vxtest::cat({trace, vxtest::serialise(CANTraceMessage(
                                    kT0 + i * 1000, 0, CAN_FRAME_STANDARD, 0, 0x123, {}))});
  const std::size_t length = trace.size() / 4;
  Bytes ancient = trace;  // every record in 1970
  for (int i = 0; i < 4; ++i) std::fill_n(ancient.begin() + i * length + 6, 4, 0);
  const std::string pcapng = std::string("\x0A\x0D\x0D\x0A\x1C\0\0\0\x4D\x3C\x2B\x1A", 12);
  const std::string text = "can0  123   [2]  01 02\ncan0  124   [0]\n";
  struct Row {
    Bytes input;
    FramingChoice choice;
    const char* notATrace;
  };
  const Row rows[] = {
      {trace, FramingChoice::Detected, ""},
      {ancient, FramingChoice::Assumed, ""},
      {Bytes(pcapng.begin(), pcapng.end()), FramingChoice::Assumed,
       "not a trace file (looks like pcapng)"},
      {Bytes(text.begin(), text.end()), FramingChoice::Assumed,
       "not a trace file (looks like text)"},
      {Bytes(5000, 0), FramingChoice::Assumed, "not a trace file (looks like zeros)"},
      {Bytes(), FramingChoice::Assumed, ""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(&row - rows);
    Reader r(Source::memory(row.input.data(), row.input.size()));
    EXPECT_EQ(r.framingChoice(), row.choice);
    EXPECT_EQ(r.notATrace(), row.notATrace);
    EXPECT_TRUE(row.choice != FramingChoice::Detected || r.framing() == Framing::V1NoMarker);
    EXPECT_TRUE(!*row.notATrace || r.next() == nullptr);
  }
  // A framing given is read as given, whatever the bytes look like.
  ReadPolicy given;
  given.framing = Framing::V1;
  Reader r(Source::memory(pcapng.data(), pcapng.size()), given);
  EXPECT_EQ(r.notATrace(), "");
  EXPECT_EQ(r.framingChoice(), FramingChoice::Given);
  EXPECT_EQ(r.detectedFraming(), std::nullopt);
}
