#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

#include "support/TestSupport.h"
#include "vxtrace/io/Filter.h"
#include "vxtrace/vxtrace.h"

using namespace vxtrace;

namespace {

using Records = std::vector<std::unique_ptr<MessageBase>>;

// Which of the records pass a filter, as their indexes ("0 2").
std::string passing(Filter& f, const Records& records) {
  std::string out;
  for (std::size_t i = 0; i < records.size(); ++i)
    if (f.matches(*records[i])) out += (out.empty() ? "" : " ") + std::to_string(i);
  return out;
}

}  // namespace

TEST(Filter, ChannelLabelsAndTheirAliases) {
  Records r;
  r.emplace_back(new CANTraceMessage(0, 0, CAN_FRAME_STANDARD, 0, 1, {}));   // CAN #1
  r.emplace_back(new CANTraceMessage(0, 1, CAN_FRAME_STANDARD, 0, 1, {}));   // CAN #2
  r.emplace_back(new CANTraceMessage(0, 10, CAN_FRAME_STANDARD, 0, 1, {}));  // CAN #11
  r.emplace_back(new SimpleMessage<MSGID_START>(0));                         // LOGGER INTERN
  r.emplace_back(new LINTraceMessage(0));                                    // LIN #1
  const std::pair<const char*, const char*> rows[] = {
      {"CAN #1", "0"}, {"CAN1", "0"},          {"can 1", "0"}, {"CAN 1", "0"}, {"can#1", "0"},
      {"Can1", "0"},   {" CAN #01 ", "0"},     {"can0", "0"},  {"can1", "1"},  {"can10", "2"},
      {"CAN11", "2"},  {"logger intern", "3"}, {"LIN 1", "4"}, {"lin0", ""},   {"CAN #3", ""},
  };
  for (const auto& [text, expected] : rows) {
    Filter f;
    ASSERT_EQ(f.addChannel(text), "");
    EXPECT_EQ(passing(f, r), expected) << text;
    EXPECT_EQ(f.unmatched().size(), *expected ? 0u : 1u) << text;
  }
  Filter f;
  EXPECT_EQ(f.addChannel("  "), "empty channel label");
  EXPECT_TRUE(f.empty());
}

TEST(Filter, CanIdentifiersApplyToEveryRecordCarryingACanFrame) {
  Records r;
  r.emplace_back(new CANTraceMessage(0, 0, CAN_FRAME_STANDARD, 0, 0x123, {}));
  r.emplace_back(new CANExtTraceMessage(0, 0, CAN_FRAME_STANDARD, 0, CAN_TYPE_EXTENDED, 0x123, {}));
  r.emplace_back(new CANExtTraceMessage(0, 0, CAN_FRAME_TXMESSAGE, 0, CAN_TYPE_FD_STD, 0x7F0, {}));
  r.emplace_back(new CANProxyTraceMessage(0, 0, CAN_FRAME_STANDARD, 0, 0x124, {}));
  r.emplace_back(
      new CANExtTraceMessage(0, 0, CAN_FRAME_STANDARD, 0, CAN_TYPE_FD_EXT, 0x18DAF110, {}));
  r.emplace_back(new CANTraceMessage(0, 0, CAN_FRAME_ERROR, 1, 0, {}));          // no identifier
  r.emplace_back(new CANTraceMessage(0, 0, CAN_FRAME_TXREQUEST, 0, 0x123, {}));  // no bus frame
  r.emplace_back(new SimpleMessage<MSGID_START>(0));
  // Up to 11 bits in value and mask: standard and extended frames; wider: extended ones only.
  const std::pair<const char*, const char*> rows[] = {
      {"0x123", "0 1"},
      {"291", "0 1"},
      {"0x00000123", "0 1"},
      {"0x120/0x7F0", "0 1 3"},
      {"0x7f0", "2"},
      {"0x18DAF110", "4"},
      {"0x18DA0000/0x1FFF0000", "4"},
      {"0/0", "0 1 2 3 4"},
      {"0x123/0x1FFFFFFF", "1"},
  };
  for (const auto& [text, expected] : rows) {
    Filter f;
    ASSERT_EQ(f.addCanId(text), "") << text;
    EXPECT_EQ(passing(f, r), expected) << text;
  }
  for (const char* bad : {"0x20000000", "0x123/0x20000000", "12G", "0x", "", "-1", "0x123/",
                          "99999999999999999999"}) {
    Filter f;
    EXPECT_EQ(f.addCanId(bad), std::string("invalid CAN identifier '") + bad +
                                   "' (ID or ID/MASK, each up to 0x1FFFFFFF, hex with 0x or "
                                   "decimal)");
    EXPECT_TRUE(f.empty());
  }
}

TEST(Filter, KindsTimeRangeAndUnmatchedValues) {
  Records r;
  r.emplace_back(new CANTraceMessage(1000, 0, CAN_FRAME_STANDARD, 0, 0x123, {}));
  r.emplace_back(new SimpleMessage<MSGID_START>(2000));
  // An undecodable frame of identifier 1 passes as kind 1.
  const vxtest::Bytes frame = vxtest::frame(MSGID_CAN, 3000, {});
  r.emplace_back(new InvalidMessage(frame.data(), static_cast<unsigned>(frame.size())));
  for (const char* kind : {"MSGID_CAN", "can", "1", "0x0001"}) {
    Filter f;
    ASSERT_EQ(f.addKind(kind), "");
    EXPECT_EQ(passing(f, r), "0 2") << kind;
  }
  for (const char* bad : {"nonsense", "65536", "0x10000", "-1", ""}) {
    Filter f;
    EXPECT_EQ(f.addKind(bad), std::string("unknown message identifier '") + bad + "'");
  }
  EXPECT_EQ(kindName(MSGID_CAN), "MSGID_CAN");
  EXPECT_EQ(kindName(0xFFF0), "0xFFF0");

  Filter f;
  EXPECT_EQ(f.setTimeRange(2001, 2000), "the start time is later than the end time");
  ASSERT_EQ(f.setTimeRange(1000, 3000), "");  // from inclusive, to exclusive
  EXPECT_EQ(passing(f, r), "0 1");
  ASSERT_EQ(f.setTimeRange(std::nullopt, 2000), "");
  EXPECT_EQ(passing(f, r), "0");

  // Each field is matched on its own: "CAN #2" matches the record the kind rejects.
  Filter g;
  ASSERT_EQ(g.addKind("MSGID_START"), "");
  ASSERT_EQ(g.addKind("MSGID_LIN"), "");
  ASSERT_EQ(g.addCanId("0x123"), "");
  ASSERT_EQ(g.addChannel("CAN #1"), "");
  ASSERT_EQ(g.addChannel("CAN #9"), "");
  EXPECT_EQ(passing(g, r), "");
  std::string unmatched;
  for (const auto& v : g.unmatched()) unmatched += std::to_string(int(v.field)) + v.text + ";";
  EXPECT_EQ(unmatched, "0MSGID_LIN;2CAN #9;");
}

TEST(Filter, TimesInUtcOrLocalTime) {
  setenv("TZ", "Europe/Berlin", 1);
  tzset();
  struct Row {
    const char* text;
    bool local;
    uint64_t us;  // 0: refused
  };
  const Row rows[] = {
      {"2023-11-14 22:13:20", false, 1700000000000000ULL},
      {"2023-11-14T22:13:20.5", false, 1700000000500000ULL},
      {"2023-11-14 23:13:20.000001", true, 1700000000000001ULL},
      {"1700000000000000", true, 1700000000000000ULL},
      {"2024-03-31 02:30:00", true, 0},  // skipped by the clock change
      {"2024-03-31 02:30:00", false, 1711852200000000ULL},
      {"2023-02-29 00:00:00", false, 0},
      {"2023-11-14 22:13:20.1234567", false, 0},
      {"99999999999999999999", false, 0},
      {"yesterday", false, 0},
  };
  for (const Row& row : rows) {
    uint64_t us = 0;
    const std::string error = parseTime(row.text, row.local, us);
    EXPECT_EQ(error.empty() ? us : 0, row.us) << row.text;
  }
  uint64_t us = 0;
  EXPECT_EQ(parseTime("yesterday", true, us),
            "invalid time 'yesterday' (expected YYYY-MM-DD HH:MM:SS[.ffffff] in local time, or "
            "microseconds)");
  setenv("TZ", "UTC", 1);  // as the tests run
  tzset();
}
