#include <gtest/gtest.h>

#include "support/RecordCase.h"
#include "vxtrace/vxtrace.h"

#define BS "1970-01-01 00:00:00.000005 NOTIFICATION_MESSAGE | [\"BusStatusNotificationMessage\"] ; "

TEST(NotificationMessages, RecordTable) {
  // clang-format off
  const RecordCase rows[] = {
    {32824, "09 00 04 01 00 03 02", BS "Bus: CAN; Channel: 3; State: not connected", 19,
     vxtest::kDecodes, ""},
    {32824, "09 00 04 1E 01 00 09", BS "Bus: Unknown bus; Channel: 256; State: <unknown:9>", 19,
     vxtest::kDecodes, ""},
    // Whatever the lengths say, bus, channel and state sit at body offsets 3, 4 and 6.
    // A cut frame reads what is missing as 0; a cut field is its present bytes, then zeros.
    {32824, "09 02 68 69 01", BS "Bus: Unknown bus; Channel: 256; State: OK", 19, vxtest::kDecodes,
     ""},
    {32824, "00", TS " NOTIFICATION_MESSAGE | [type=0] ; payload: ", 15, vxtest::kDecodes,
     "00 00 00"},
    // Text and payload lengths beyond the frame: cut at its end.
    {32824, "03 05 68 69", TS " NOTIFICATION_MESSAGE | [type=3] hi; payload: ", 17,
     vxtest::kDecodes, "03 02 68 69 00"},
    {32824, "04 01 0A 03 01 02", TS " NOTIFICATION_MESSAGE | [type=4] \\x0a; payload: 01 02", 18,
     vxtest::kDecodes, "04 01 0A 02 01 02"},
  };
  // clang-format on
  vxtest::checkRecordCases(rows);
}

TEST(NotificationMessages, BusStatusKeepsOnlyTheTopOfItsStampAndNoHeaderWord) {
  vxtest::RegistryGuard guard;
  auto msg = vxtest::decode(vxtest::caseFrame({32824, "09 00 04 01 00 03 02", nullptr}));
  ASSERT_NE(dynamic_cast<BusStatusNotificationMessage*>(msg.get()), nullptr);
  EXPECT_EQ(5u, msg->timeStamp);
  EXPECT_EQ(0u, msg->headerWord);
  EXPECT_EQ(vxtest::hex("00 13 80 38 00 00 00 00 00 00 00 00 00 05 09 00 04 01 00 03 02"),
            vxtest::serialise(*msg));
}

TEST(NotificationMessages, BusStatusFieldConstructorAndComparison) {
  BusStatusNotificationMessage m(BUSID_FLEXRAY, 0x0102,
                                 BusStatusNotificationMessage::BS_DEACTIVATED, 1500000);
  EXPECT_EQ(vxtest::hex("04 01 02 05"), m.payload);
  EXPECT_NE(m.toString().find("Bus: FlexRay; Channel: 258; State: deactivated"), std::string::npos);
  EXPECT_TRUE(m == BusStatusNotificationMessage(BUSID_FLEXRAY, 0x0102,
                                                BusStatusNotificationMessage::BS_DEACTIVATED, 7));
  EXPECT_FALSE(m == BusStatusNotificationMessage(BUSID_FLEXRAY, 0x0102,
                                                 BusStatusNotificationMessage::BS_OK, 7));
  // The same bytes as a plain notification are another class.
  EXPECT_FALSE(m == NotificationMessage(0, 9, "", m.payload));
  EXPECT_TRUE(NotificationMessage(0, 9, "a", {1}) == NotificationMessage(5, 9, "a", {1}));
}
