// Garbage spliced between the frames of a generated trace: through the tool every record comes
// back, and the garbage is counted to the byte and to the run.
#include <fcntl.h>
#include <unistd.h>

#include <iterator>
#include <random>

#include "ToolFixture.h"
#include "support/Garbage.h"

using vxtest::Garbage;

namespace {

// The texts of the records the library reads from a sync-marked file; empty unless it reads
// cleanly to its end.
std::string readBack(const std::string& path) {
  const int fd = ::open(path.c_str(), O_RDONLY);
  if (fd < 0) return "";
  TraceFileReader reader(fd, TraceFileReader::FRAMING_V1);
  std::string out;
  while (std::unique_ptr<MessageBase> msg{reader.next()}) out += shown(*msg) + "\n";
  ::close(fd);
  return reader.counts().clean() && reader.error() == 0 ? out : "";
}

}  // namespace

TEST_F(ToolTest, SplicedGarbageOfEachFormCostsNoRecordAndIsCountedExactly) {
  const std::pair<Framing, Garbage> rows[] = {
      {Framing::V1, Garbage::Plain}, {Framing::V1, Garbage::AnySize},
      {Framing::V1, Garbage::CanHeader}, {Framing::V2, Garbage::Plain},
      {Framing::V2, Garbage::AnySize}, {Framing::V2, Garbage::CanHeader}};
  for (std::size_t row = 0; row < std::size(rows); ++row) {
    const auto [framing, form] = rows[row];
    const bool v2 = framing == Framing::V2;
    SCOPED_TRACE("row " + std::to_string(row));
    const Trace t = makeTrace(3000, 20 + row, framing);
    std::mt19937 rng(static_cast<unsigned>(row));
    Bytes bytes;
    uint64_t garbageBytes = 0, runs = 0;
    for (std::size_t i = 0; i < t.records.size(); ++i) {
      bytes.insert(bytes.end(), t.bytes.begin() + t.spans[i].first,
                   t.bytes.begin() + t.spans[i].second);
      if (i + 1 == t.records.size() || rng() % 20 != 0) continue;
      const Bytes junk = vxtest::garbage(form, v2, rng);
      bytes.insert(bytes.end(), junk.begin(), junk.end());
      garbageBytes += junk.size();
      ++runs;
    }
    ASSERT_GE(runs, 50u);
    const std::string in = file("in.vxt", bytes), out = path("out.vxt");
    auto withFraming = [&](Args args) {
      if (v2) args.push_back("--v2");
      return args;
    };

    Result r = run(withFraming({"recover", in, "-o", out}));
    EXPECT_EQ(r.status, 1) << r.err;
    EXPECT_EQ(readBack(out), texts(t));

    r = run(withFraming({"dump", in}));
    EXPECT_EQ(r.status, 1) << r.err;
    EXPECT_EQ(r.out, texts(t));

    r = run(withFraming({"stats", in, "--json"}));
    EXPECT_EQ(r.status, 1) << r.err;
    EXPECT_TRUE(Has(r.out, "\"records\": 3000,"));
    EXPECT_TRUE(Has(r.out, "\"garbage_bytes\": " + std::to_string(garbageBytes) +
                               ",\n  \"garbage_runs\": " + std::to_string(runs) +
                               ",\n  \"truncated_bytes\": 0,\n  \"undecodable_frames\": 0,"));
  }
}
