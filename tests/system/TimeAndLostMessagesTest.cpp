#include <gtest/gtest.h>

#include "support/RecordCase.h"
#include "vxtrace/vxtrace.h"

#define T15 "00 00 00 00 00 16 E3 60 "  // 1.5 s

TEST(TimeAndLostMessages, RecordTable) {
  // clang-format off
  const RecordCase rows[] = {
    // The text fixes lower-case digits, also on an upper-case stream.
    {32774, TSB "00 00 00 00 00 00 00 01",
     TS "  TIME MSG    | Time = 0x5af3107a5e240 (1600000000123456) = " TS
        " / 0x00000001 (1) = 1970-01-01 00:00:00.000001 / ", 28, vxtest::kDecodes, nullptr, true, nullptr,
     false},
    // Four bytes beyond a whole time: the count rule reads a second time, cut short, as those
    // bytes followed by zeros.
    {32774, TSB "00 00 00 01",
     TS "  TIME MSG    | Time = 0x5af3107a5e240 (1600000000123456) = " TS
        " / 0x100000000 (4294967296) = 1970-01-01 01:11:34.967296 / ", 28, vxtest::kDecodes,
     TSB "00 00 00 01 00 00 00 00", true, nullptr, false},
    {146, "10 10 00 00 " T15 ZERO8 "00 00 01 00",
     TS "  LOST SEND   | [FLEX] [FLEX] Start time: 1970-01-01 00:00:01.5000 Stop time: "
        "1970-01-01 00:00:00.0000 Number of failed Send-Msg: 256", 36, vxtest::kDecodes, nullptr,
     false},
    // Reserved bytes are not kept; unnamed kinds print as unknown.
    {146, "05 07 FF FF " ZERO8 T15 "00 00 00 00",
     TS "  LOST SEND   | [<unknown:5>] [<unknown:7>] Start time: 1970-01-01 00:00:00.0000 Stop "
        "time: 1970-01-01 00:00:01.5000 Number of failed Send-Msg: 0", 36, vxtest::kDecodes,
     "05 07 00 00 " ZERO8 T15 "00 00 00 00", false},
    // A short frame reads its missing fields as 0.
    {146, "02 03",
     TS "  LOST SEND   | [MOST25] [MEP] Start time: 1970-01-01 00:00:00.0000 Stop time: "
        "1970-01-01 00:00:00.0000 Number of failed Send-Msg: 0", 36, vxtest::kDecodes,
     "02 03 00 00 " ZERO8 ZERO8 "00 00 00 00", false},
    {149, "14 00 " T15 TSB "FF FF FF FF",
     TS "  LOST MSGS   | [WakeUpLine] [1] Start time: 1970-01-01 00:00:01.500000 Stop time: " TS
        " Lost messages: 4294967295", 34},
    {149, "15 FF " ZERO8 ZERO8 "00 00 00 01",
     TS "  LOST MSGS   | [Unknown bus] [256] Start time: 1970-01-01 00:00:00.000000 Stop time: "
        "1970-01-01 00:00:00.000000 Lost messages: 1", 34},
    {149, "06",
     TS "  LOST MSGS   | [Ethernet] [1] Start time: 1970-01-01 00:00:00.000000 Stop time: "
        "1970-01-01 00:00:00.000000 Lost messages: 0", 34, vxtest::kDecodes,
     "06 00 " ZERO8 ZERO8 "00 00 00 00"},
  };
  // clang-format on
  vxtest::checkRecordCases(rows);
}

TEST(TimeAndLostMessages, LostRecordsNeverCompareEqualAndLostExtComparesFields) {
  LostMessage lost(1, LostMessage::FAILED_MOST50, LostMessage::FAILED_SUB_CTRL, 2, 3, 4);
  EXPECT_FALSE(lost == lost);

  LostExtMessage ext(1, BUSID_CAN, 0, 2, 3, 4);
  EXPECT_TRUE(ext == LostExtMessage(99, BUSID_CAN, 0, 2, 3, 4));
  EXPECT_FALSE(ext == LostExtMessage(1, BUSID_CAN, 0, 2, 3, 5));
  EXPECT_FALSE(ext == LostExtMessage(1, BUSID_LIN, 0, 2, 3, 4));
  EXPECT_TRUE(TimeMessage(1, {5, 6}) == TimeMessage(2, {5, 6}));
  EXPECT_FALSE(TimeMessage(1, {5, 6}) == TimeMessage(1, {6, 5}));
}
