#include "vxtrace/io/ParallelScan.h"

#include <gtest/gtest.h>

#include <random>
#include <thread>

#include "support/Garbage.h"
#include "support/IoSupport.h"
#include "support/TestSupport.h"
#include "vxtrace/vxtrace.h"

using vxtest::Bytes;
using namespace vxtrace;

namespace {

constexpr unsigned long long kT0 = 1700000000000000ULL;

// CAN records with time stamps that step back now and then, garbage runs, an XCP frame whose
// decoder rejects it with diagnostic lines, plain and LZ4 containers (the plain ones hold whole
// frames, markers included, which a reader starting inside takes for records), zero padding,
// and a tail cut off inside a record.
Bytes mixedTrace() {
  std::mt19937 rng(7);
  Bytes t;
  for (int i = 0; i < 160; ++i) {
    const unsigned long long ts = kT0 + i * 1000 - (i % 7 == 3 ? 5000 : 0);
    switch (i % 11) {
      case 2:
        t = vxtest::cat({t, vxtest::garbage(vxtest::Garbage(i % 3), false, rng)});
        break;
      case 5:
        t = vxtest::cat({t, vxtest::syncFrame(MSGID_XCP, ts, vxtest::hex("00 01 00 00 05"))});
        break;
      case 7:
      case 9: {
        std::vector<std::unique_ptr<MessageBase>> inner;
        for (int k = 0; k < 4 + i % 5; ++k)
          inner.emplace_back(new CANTraceMessage(ts + k, 1, CAN_FRAME_STANDARD, 0, 0x200 + k,
                                                 {uint8_t(k), 0x55, 0xAA}));
        t = vxtest::cat({t, vxtest::serialise(ContainerMessage(i % 11 == 7, std::move(inner)), true)});
        break;
      }
      case 10:
        t.insert(t.end(), 3, 0);
        break;
    }
    t = vxtest::cat({t, vxtest::serialise(CANTraceMessage(ts, i % 3, CAN_FRAME_STANDARD, 0,
                                                          0x100 + i % 13, {uint8_t(i), 2, 3}),
                                          true)});
  }
  const Bytes last = vxtest::serialise(CANTraceMessage(kT0, 0, CAN_FRAME_STANDARD, 0, 1, {1}), true);
  return vxtest::cat({t, Bytes(last.begin(), last.begin() + 9)});
}

std::string countsText(const Reader::Counts& c) {
  return std::to_string(c.bytesRead) + " " + std::to_string(c.records) + " " +
         std::to_string(c.skippedBytes) + "/" + std::to_string(c.skippedRuns) + " " +
         std::to_string(c.undecodable) + " " + std::to_string(c.truncatedBytes);
}

// Everything a reader tells, in order: records with offset and depth, losses, diagnostic lines.
template <typename R>
std::vector<std::string> transcript(R& r) {
  std::vector<std::string> out;
  r.setLossHandler([&](const Reader::Loss& l) {
    out.push_back("loss " + std::to_string(l.kind) + " @" + std::to_string(l.offset) + " +" +
                  std::to_string(l.length));
  });
  r.setDiagnosticHandler([&](uint64_t offset, DiagnosticLevel, const std::string& line) {
    out.push_back("line @" + std::to_string(offset) + " " + line);
  });
  while (auto msg = r.next())
    out.push_back(std::to_string(r.recordOffset()) + "/" + std::to_string(r.depth()) + " " +
                  msg->toString());
  return out;
}

}  // namespace

// Whatever the threads and wherever the cuts fall (inside records, containers, garbage), the
// parts handed back in order tell what one reader from the front tells, and their stats match.
TEST(ParallelScan, PartsInOrderEqualOneReaderFromTheFront) {
  const Bytes bytes = mixedTrace();
  vxtest::TempDir dir;
  const std::string path = dir.path("t.vxt");
  vxtest::writeFile(path, bytes);
  std::size_t reread = 0;
  for (const bool expand : {false, true}) {
    ReadPolicy policy;
    policy.expandContainers = expand;
    policy.invalidRecords = expand;
    Reader whole(Source::memory(bytes.data(), bytes.size()), policy);
    const auto expected = transcript(whole);
    Stats oneStats;
    std::string oneLines;
    {
      vxtest::Capture err(std::cerr);
      Reader r(Source::memory(bytes.data(), bytes.size()), policy);
      uint64_t undecodable = 0;
      r.setLossHandler([&](const Reader::Loss& l) {
        if (l.kind == Reader::Loss::UNDECODABLE) undecodable += l.length;
      });
      while (auto msg = r.next()) oneStats.add(*msg, r.depth() > 0);
      oneStats.setReaderCounts(r.counts(), undecodable);
      oneLines = err.text();
    }
    ASSERT_GT(whole.counts().skippedRuns, 5u);
    ASSERT_GT(whole.counts().truncatedBytes, 0u);
    for (const unsigned threads : {1u, 2u, 3u, 4u})
      for (const uint64_t partBytes : {97u, 331u, 1024u, 4093u}) {
        SCOPED_TRACE(std::to_string(threads) + " threads, parts of " + std::to_string(partBytes) +
                     (expand ? ", expanded" : ""));
        // Looking back 1 byte, a cut inside a plain container finds its inner frames.
        ScanOptions options{threads, partBytes, 3, partBytes < 1000 ? 1u : 0u};
        const bool fromFile = partBytes % 2 == 1;
        auto source = [&] {
          return fromFile ? Source::file(path) : Source::memory(bytes.data(), bytes.size());
        };
        std::vector<std::string> got;
        const ScanSummary s = parallelScan(
            source(), policy, options, [](Part& part) { return transcript(part); },
            [&](std::vector<std::string>&& lines) {
              got.insert(got.end(), lines.begin(), lines.end());
            });
        EXPECT_EQ(got, expected);
        EXPECT_EQ(countsText(s.counts), countsText(whole.counts()));
        EXPECT_EQ(s.framing, Framing::V1);
        EXPECT_GT(s.parts, threads > 1 ? 2u : 0u);
        reread += s.reread;
        vxtest::Capture err(std::cerr);  // lines without a handler: in order, in this thread
        EXPECT_EQ(scanStats(source(), policy, options).toJson(), oneStats.toJson());
        EXPECT_EQ(err.text(), oneLines);
      }
  }
  EXPECT_GT(reread, 0u);  // some cut fell where a reader starting there takes inner frames
}

// A pipe is read by one reader from the front, framing detected as usual; so is text, refused.
TEST(ParallelScan, PipesAndNonTraces) {
  const Bytes bytes = mixedTrace();
  for (const bool text : {false, true}) {
    const Bytes in = text ? Bytes(5000, 'x') : bytes;
    vxtest::Pipe pipe;
    std::thread writer([&] {
      vxtest::writeAll(pipe.w, in);
      pipe.closeWriter();
    });
    ScanSummary s;
    vxtest::Capture err(std::cerr);
    const Stats stats = scanStats(Source::descriptor(pipe.r), ReadPolicy(), {4, 100, 0}, &s);
    writer.join();
    EXPECT_EQ(s.notATrace, text ? "not a trace file (looks like text)" : "");
    EXPECT_EQ(s.parts, text ? 0u : 1u);
    EXPECT_EQ(s.counts.bytesRead, text ? 0u : in.size());
    EXPECT_EQ(stats.records(), text ? 0u : 160u + 28u);
  }
}
