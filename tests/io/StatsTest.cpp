#include <gtest/gtest.h>

#include "support/TestSupport.h"
#include "vxtrace/io/Stats.h"
#include "vxtrace/vxtrace.h"

using namespace vxtrace;

namespace {

constexpr unsigned long long kT0 = 1700000000000000ULL;  // 2023-11-14 22:13:20 UTC

using Counts = TraceFileReader::counts_t;  // bytes, records, skipped, runs, undecodable

}  // namespace

// Three records read from the input (one internal, two CAN, out of time order), two more from a
// container (an extended CAN frame and an error frame), and an undecodable frame, counted in
// one piece and in two merged ones.
TEST(Stats, JsonOfASmallTraceWholeAndMerged) {
  std::vector<std::unique_ptr<MessageBase>> r;
  r.emplace_back(new SimpleMessage<MSGID_START>(kT0));
  r.emplace_back(new CANTraceMessage(kT0 + 1000000, 1, CAN_FRAME_STANDARD, 0, 0x123, {1}));
  const vxtest::Bytes frame = vxtest::frame(MSGID_CAN, kT0, {});
  r.emplace_back(new InvalidMessage(frame.data(), static_cast<unsigned>(frame.size())));
  r.emplace_back(new CANTraceMessage(kT0 + 500000, 0, CAN_FRAME_STANDARD, 0, 0x123, {}));
  r.emplace_back(new CANExtTraceMessage(kT0 + 1500000, 0, CAN_FRAME_STANDARD, 0, CAN_TYPE_EXTENDED,
                                        0x18DAF110, {}));
  r.emplace_back(new CANTraceMessage(kT0 + 2000000, 0, CAN_FRAME_ERROR, 1, 0, {}));
  Stats whole, first, second;
  for (std::size_t i = 0; i < r.size(); ++i) {
    whole.add(*r[i], i >= 4);
    (i < 3 ? first : second).add(*r[i], i >= 4);
  }
  whole.setReaderCounts(Counts{200, 4, 5, 1, 1, 0}, 14);
  first.setReaderCounts(Counts{120, 3, 5, 1, 1, 0}, 14);
  second.setReaderCounts(Counts{80, 1, 0, 0, 0, 0});
  const std::string expected = R"({
  "file": "t.vxt",
  "bytes": 200,
  "records": 3,
  "contained_records": 2,
  "first_timestamp_us": 1700000000000000,
  "first_time": "2023-11-14 22:13:20.000000",
  "last_timestamp_us": 1700000002000000,
  "last_time": "2023-11-14 22:13:22.000000",
  "duration_s": 2.000000,
  "frames_per_second": 1.500,
  "garbage_bytes": 5,
  "garbage_runs": 1,
  "truncated_bytes": 0,
  "undecodable_frames": 1,
  "by_id": {
    "MSGID_CAN": 3,
    "MSGID_CAN_EXT": 1,
    "MSGID_START": 1
  },
  "by_channel": {
    "CAN #1": 3,
    "CAN #2": 1,
    "LOGGER INTERN": 1
  },
  "by_can_id": {
    "123": {"count": 2, "by_channel": {"CAN #1": 1, "CAN #2": 1}},
    "18DAF110": {"count": 1, "by_channel": {"CAN #1": 1}}
  },
  "error_frames": {
    "CAN #1": 1
  }
}
)";
  EXPECT_EQ(whole.toJson("t.vxt"), expected);
  first.merge(second);
  EXPECT_EQ(first.toJson("t.vxt"), expected);
  EXPECT_EQ(first.undecodableBytes(), 14u);
  EXPECT_NE(Stats().toJson().find("\"first_time\": null,"), std::string::npos);
}
