// The verbs that write or inventory traces: filter, merge and info; the filters in local time;
// the verb list.
#include <algorithm>

#include "ToolFixture.h"

using vxtest::countOf;

namespace {

Bytes framed(const std::vector<std::unique_ptr<MessageBase>>& records, Framing framing) {
  Bytes out;
  for (const auto& r : records) vxtrace::gen::appendFramed(out, *r, framing);
  return out;
}

}  // namespace

TEST_F(ToolTest, FilterWritesWhatDumpWithTheSameFiltersShows) {
  const std::string v1 = file("a.vxt", makeTrace(3000, 7).bytes);
  const std::string v2 = file("b.vxt", makeTrace(3000, 8, Framing::V2).bytes);
  const std::string boxed =
      file("c.vxt", makeTrace(3000, 9, Framing::V1, vxtrace::gen::Containers::Lz4).bytes);
  const Args rows[] = {
      {v1, "--channel", "CAN #1", "--can-id", "0x1e5"},  // the example of "help dump"
      {v1, "--channel", "can0", "--can-id", "0x0c0/0x7f0"},
      {v1, "--id", "MSGID_CAN_EXT", "--count", "7"},
      {v1, "--channel", "CAN3", "--can-id", "0x00012345"},
      {v2, "--from", "2024-03-14 09:26:53.2", "--to", "2024-03-14 09:26:53.4"},
      {boxed, "--id", "MSGID_FLEXRAY", "--channel", "FlexRay 2"},
      {boxed},
  };
  for (const Args& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row));
    Args dump = {"dump"}, filter = {"filter", "-o", path("f.vxt")};
    dump.insert(dump.end(), row.begin(), row.end());
    filter.insert(filter.end(), row.begin(), row.end());
    const Result wanted = run(dump);
    ASSERT_EQ(wanted.status, 0) << wanted.err;
    EXPECT_EQ(wanted.err, "");
    EXPECT_GT(countOf(wanted.out, "\n"), 2u);
    Result r = run(filter);
    ASSERT_EQ(r.status, 0) << r.err;
    // The input's framing is kept.
    EXPECT_EQ(vxtest::readFile(path("f.vxt"))[0], row[0] == v2 ? 'Z' : '\x55');
    // Containers are opened: their records come out on their own.
    std::string unboxed;
    for (std::size_t at = 0, nl; (nl = wanted.out.find('\n', at)) != std::string::npos; at = nl + 1)
      if (wanted.out.compare(at + 28, 14, "CONTAINER   | ") != 0)
        unboxed += wanted.out.substr(at, nl + 1 - at);
    EXPECT_EQ(run({"dump", path("f.vxt")}).out, unboxed);
  }
  // Written in the other framing when asked.
  ASSERT_EQ(run({"filter", v2, "--v1", "-o", path("f.vxt")}).status, 0);
  EXPECT_EQ(vxtest::readFile(path("f.vxt"))[0], '\x55');
  EXPECT_EQ(run({"dump", path("f.vxt")}).out, run({"dump", v2}).out);
}

// Merged by time, equal times in the order of the inputs, every record once, bus channels of
// each input moved by its cascade offset.
TEST_F(ToolTest, MergeOrdersByTimeKeepsEveryRecordAndOffsetsCascadedChannels) {
  Trace a = makeTrace(2000, 1), b = makeTrace(2000, 2, Framing::V2), c = makeTrace(500, 3);
  const std::string files[] = {file("a.vxt", a.bytes), file("b.vxt", b.bytes),
                               file("c.vxt", c.bytes)};
  struct Item {
    uint64_t time;
    std::string text;
  };
  std::vector<Item> expected;
  for (Trace* t : {&a, &b, &c}) {
    const unsigned short offset = t == &a ? 0 : t == &b ? 4 : 8;
    uint64_t previous = 0;
    for (auto& r : t->records) {
      ASSERT_GE(r->timeStamp, previous);  // each input in time order
      previous = r->timeStamp;
      r->cascadeChannel(offset);
      expected.push_back({r->timeStamp, shown(*r) + "\n"});
    }
  }
  std::stable_sort(expected.begin(), expected.end(),
                   [](const Item& x, const Item& y) { return x.time < y.time; });
  std::string text;
  for (const Item& i : expected) text += i.text;
  Result r = run({"merge", files[0], files[1], files[2], "--cascade", "0,4,8", "-o",
                  path("m.vxt")});
  ASSERT_EQ(r.status, 0) << r.err;
  r = run({"dump", path("m.vxt")});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, text);
  EXPECT_TRUE(Has(r.out, "CAN #5 ")) << "no cascaded CAN channel";
  // The filters apply to the merged records.
  r = run({"merge", files[0], files[1], files[2], "--cascade", "0,4,8", "--channel", "CAN #5",
           "-o", path("m5.vxt")});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(run({"dump", path("m5.vxt")}).out, run({"dump", path("m.vxt"), "--channel", "CAN #5"}).out);
  EXPECT_EQ(run({"merge", files[0], files[1], "--cascade", "1", "-o", "-"}).err,
            "vxtrace: --cascade gives 1 offsets for 2 inputs\n");
}

TEST_F(ToolTest, InfoListsKindsContainersTimesAndTimeAnomalies) {
  Trace t = makeTrace(1000, 5);
  const uint64_t start = t.records.front()->timeStamp;
  // Backwards once, a pause of two minutes, and a last record in the year 2101.
  t.records[5]->timeStamp = t.records[4]->timeStamp - 1000;
  for (std::size_t i = 500; i < t.records.size(); ++i) t.records[i]->timeStamp += 120000000;
  t.records.back()->timeStamp = 4133980800ULL * 1000000;
  const std::string trace = file("t.vxt", framed(t.records, Framing::V1));
  const std::string boxed =
      file("c.vxt", makeTrace(1500, 4, Framing::V1, vxtrace::gen::Containers::Plain).bytes);
  const std::pair<std::string, std::string> rows[] = {  // --gap, anomalies
      {"60", "{\"time_backwards\": 1, \"gaps\": 2, \"gap_list\": [{\"after\": \""},
      {"200", "{\"time_backwards\": 1, \"gaps\": 1, \"gap_list\": [{\"after\": \""}};
  for (const auto& [gap, anomalies] : rows) {
    Result r = run({"info", trace, boxed, "--json", "--gap", gap});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_TRUE(Has(r.out, "\"anomalies\": " + anomalies));
    EXPECT_EQ(countOf(r.out, "\"outside_1990_2100\": 1}"), 1u);
    for (const char* key : {"path", "framing", "records", "kinds", "channels", "containers",
                            "first", "last", "earliest", "latest", "losses", "anomalies"})
      EXPECT_EQ(countOf(r.out, std::string("\n    \"") + key + "\": "), 2u) << key;
  }
  Result r = run({"info", trace, boxed, "--json"});
  EXPECT_TRUE(Has(r.out, "\"records\": 1000,\n"));
  EXPECT_TRUE(Has(r.out, "\"first\": \"" + MessageBase::printTimestamp(start) + "\""));
  EXPECT_TRUE(Has(r.out, "\"latest\": \"2101-01-01 00:00:00.000000\""));
  EXPECT_TRUE(Has(r.out, "\"earliest\": \"" + MessageBase::printTimestamp(start) + "\""));
}

TEST_F(ToolTest, LocalTimeAppliesToFromAndToAndHelpListsEveryVerb) {
  const Trace t = makeTrace(3000, 9);
  const std::string trace = file("t.vxt", t.bytes);
  const std::string utc = run({"dump", trace, "--from", "2024-03-14 09:26:53.5", "--to",
                               "2024-03-14 09:26:53.9"}).out;
  EXPECT_GT(countOf(utc, "\n"), 100u);
  // The same instants three hours ahead, as a user east of UTC reads them with --local-time.
  Result r = run({"dump", trace, "--from", "2024-03-14 12:26:53.5", "--to", "2024-03-14T12:26:53.9",
                  "--local-time"}, "/dev/null", "TZ=XST-3");
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out.size(), utc.size());
  r = run({"stats", "--local-time", "--from", "2024-03-14 12:26:53.5", "--to",
           "2024-03-14 12:26:53.9", "--json"}, trace, "TZ=XST-3");
  EXPECT_TRUE(Has(r.out, "\"records\": " + std::to_string(countOf(utc, "\n")) + ","));

  r = run({"help"});
  EXPECT_EQ(r.status, 0);
  for (const char* verb :
       {"dump", "stats", "info", "filter", "merge", "convert", "recover", "gen", "help"})
    EXPECT_EQ(countOf(r.out, std::string("\n  ") + verb + " "), 1u) << verb;
}
