// The verbs that write traces and exports: filter's framings, bundling and splits, and output
// that does not depend on the number of threads.
#include <filesystem>

#include "ToolFixture.h"

using vxtest::countOf;

namespace {

// The dump without its container lines: what a trace holds whether or not it bundles records.
std::string unboxed(const std::string& dump) {
  std::string out;
  for (std::size_t at = 0, nl; (nl = dump.find('\n', at)) != std::string::npos; at = nl + 1)
    if (dump.compare(at + 28, 14, "CONTAINER   | ") != 0) out += dump.substr(at, nl + 1 - at);
  return out;
}

// Files of the directory whose names start with prefix, in name order.
std::vector<std::string> filesOf(const std::string& dir, const std::string& prefix) {
  std::vector<std::string> names;
  for (const auto& e : std::filesystem::directory_iterator(dir))
    if (e.path().filename().string().rfind(prefix, 0) == 0) names.push_back(e.path().string());
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace

TEST_F(ToolTest, FilterWritesWhatDumpShowsInEachFramingAndBundling) {
  const std::string v1 = file("a.vxt", makeTrace(3000, 7).bytes);
  const std::string v2 = file("b.vxt", makeTrace(3000, 8, Framing::V2).bytes);
  const std::string boxed =
      file("c.vxt", makeTrace(3000, 9, Framing::V1, vxtrace::gen::Containers::Lz4).bytes);
  struct Row {
    Args args;
    char marker;
    int containers;  // 0 none, 1 plain, 2 compressed
  } rows[] = {
      {{v1, "--containers=plain", "--channel", "CAN #1"}, '\x55', 1},
      {{v2, "--containers=lz4", "--id", "MSGID_CAN_EXT"}, 'Z', 2},
      {{boxed, "--containers"}, '\x55', 2},
      {{boxed, "--v2", "--channel", "FlexRay 2"}, 'Z', 0},
      {{v2, "--v1", "--count", "500"}, '\x55', 0},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.args));
    Args dump = {"dump"}, filter = {"filter", "-o", path("f.vxt")};
    for (const auto& a : row.args)
      if (a.compare(0, 12, "--containers") != 0 && a != "--v1" && a != "--v2") dump.push_back(a);
    filter.insert(filter.end(), row.args.begin(), row.args.end());
    const Result wanted = run(dump);
    ASSERT_GT(countOf(wanted.out, "\n"), 100u) << wanted.err;
    ASSERT_EQ(run(filter).err, "");  // a failure has its line
    EXPECT_EQ(vxtest::readFile(path("f.vxt"))[0], row.marker);
    const std::string got = run({"dump", path("f.vxt")}).out;
    EXPECT_EQ(countOf(got, "CONTAINER   | ") > 2, row.containers != 0);
    EXPECT_EQ(countOf(got, "compression = 1") > 2, row.containers == 2);
    EXPECT_EQ(unboxed(got), unboxed(wanted.out));
  }
}

// The parts of a split, dumped one after the other, are the input's dump; no part is larger
// than the split size, a part of a one-second split holds one second.
TEST_F(ToolTest, SplitPartsTogetherAreTheInput) {
  const std::string in =
      file("in.vxt", makeTrace(6000, 3, Framing::V1, vxtrace::gen::Containers::Plain).bytes);
  const std::string whole = unboxed(run({"dump", in}).out);
  for (const Args& row : std::vector<Args>{{"s-", "--split-size", "20k"},
                                           {"t-", "--split-time", "1", "--containers"},
                                           {"u-", "--split-size", "1M", "--split-time", "2"}}) {
    SCOPED_TRACE(row[0]);
    Args args = {"filter", in, "-o", path(row[0] + "%03d.vxt")};
    args.insert(args.end(), row.begin() + 1, row.end());
    ASSERT_EQ(run(args).err, "");
    const std::vector<std::string> parts = filesOf(dir_.dir.string(), row[0]);
    ASSERT_GT(parts.size(), 2u);
    std::string joined;
    for (const std::string& p : parts) {
      const std::string text = run({"dump", p}).out;
      if (row[2] == "20k") {
        EXPECT_LE(vxtest::readFile(p).size(), 20u * 1024);
      } else if (row[2] == "1") {  // the first and the last record in the same second
        EXPECT_EQ(text.substr(0, 19), text.substr(text.rfind('\n', text.size() - 2) + 1, 19));
      }
      joined += text;
    }
    EXPECT_EQ(unboxed(joined), whole);
  }
  // Refused before anything is written: exit 2, the input as it was.
  const std::string before = vxtest::readFile(in);
  for (const Args& bad : std::vector<Args>{
           {"-o", path("one.vxt"), "--split-size", "1k"},
           {"-o", "-", "--split-time", "1"},
           {"-o", path("x%d"), "--split-size", "0"},
           {"-o", path("x%d"), "--split-size", "1025G"},
           {"-o", path("x%d"), "--split-size", "12q"},
           {"-o", path("x%d"), "--split-time", "31622401"},
           {"-o", path("x.vxt"), "--threads", "0"},
           {"-o", path("x.vxt"), "--threads", "257"},
       }) {
    Args args = {"filter", in};
    args.insert(args.end(), bad.begin(), bad.end());
    SCOPED_TRACE(testing::PrintToString(args));
    const Result r = run(args);
    EXPECT_EQ(r.status, 2);
    EXPECT_EQ(countOf(r.err, "\n"), 1u) << r.err;
  }
  EXPECT_TRUE(filesOf(dir_.dir.string(), "x").empty());
  // A part that would be the input.
  const std::string zero = file("0.vxt", Bytes(before.begin(), before.end()));
  EXPECT_EQ(run({"filter", zero, "-o", path("%d.vxt"), "--split-size", "10k"}).status, 2);
  EXPECT_EQ(vxtest::readFile(zero), before);
}

// The same bytes (and reports) from 1, 2 and 3 threads and from a pipe, on a trace with
// containers, time stamps out of order, garbage between records and a truncated last record.
TEST_F(ToolTest, OutputDoesNotDependOnTheThreads) {
  const Trace t = makeTrace(40000, 5, Framing::V1, vxtrace::gen::Containers::Lz4);
  Bytes bytes;
  for (std::size_t i = 0; i < t.spans.size(); ++i) {
    // Every hundredth pair swapped, garbage after every 499th record.
    const auto& at = t.spans[i % 100 / 2 == 25 ? std::min(i ^ 1, t.spans.size() - 1) : i];
    bytes.insert(bytes.end(), t.bytes.begin() + at.first, t.bytes.begin() + at.second);
    if (i % 499 == 0) bytes.insert(bytes.end(), {0x55, 0xAA, 0x00, 0x03, 0x47, 0x11});
  }
  const auto& cut = t.spans[9];
  bytes.insert(bytes.end(), t.bytes.begin() + cut.first, t.bytes.begin() + cut.second - 3);
  const std::string in = file("in.vxt", bytes);
  ASSERT_GT(bytes.size(), 1u << 20);  // parts of 64 KiB: several for every thread
  std::vector<Args> runs = {
      {"filter", "--containers"},
      {"filter", "--v2", "--channel", "CAN #2", "--count", "3000"},
      {"filter", "--containers=plain", "--split-size", "100k"},
  };
  for (const char* format : {"candump", "pcapng", "asc", "blf", "jsonl", "csv"})
    runs.push_back({"convert", "--to", format});
  runs.push_back({"convert", "--to", "csv", "--can-id", "0x100/0x700", "--count", "900"});
  for (const Args& verb : runs) {
    SCOPED_TRACE(testing::PrintToString(verb));
    std::string first, firstErr;
    for (const char* threads : {"1", "2", "3", "-"}) {
      const bool pipe = threads[0] == '-', split = verb.size() > 3 && verb[2] == "--split-size";
      Args args = verb;
      args.insert(args.begin() + 1, pipe ? "-" : in);
      args.insert(args.end(),
                  {"-o", path(split ? "p%03d" : "w"), "--threads", pipe ? "3" : threads});
      const Result r = run(args, pipe ? in : "/dev/null");
      EXPECT_EQ(r.status, 1) << r.err;  // the garbage and the cut record are reported
      std::string out;
      for (const std::string& f : filesOf(dir_.dir.string(), split ? "p" : "w"))
        out += vxtest::readFile(f) + "|";
      if (first.empty()) first = out, firstErr = r.err;
      EXPECT_GT(out.size(), 1000u);
      EXPECT_TRUE(out == first) << threads;
      EXPECT_TRUE(pipe || r.err == firstErr) << r.err;  // a pipe is named "standard input"
    }
  }
}
