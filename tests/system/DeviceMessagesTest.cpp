#include <gtest/gtest.h>

#include <memory>

#include "support/RecordCase.h"
#include "vxtrace/vxtrace.h"

#define PING TS "  PING        | value = "
#define MOBILE TS "  MobileService | receiver: "

TEST(DeviceMessages, RecordTable) {
  // clang-format off
  const RecordCase rows[] = {
    {134, "02 05", TS " SHUTDOWN | SD_CANCEL | urgent", 14},
    {134, "00 04", TS " SHUTDOWN | SD_NOW", 14},
    {134, "07 06", TS " SHUTDOWN |  | XRL link up", 14},
    // Flag bits beyond the three are not kept.
    {134, "01 FF", TS " SHUTDOWN | SD_REQUEST | urgent | XRL link up", 14, vxtest::kDecodes,
     "01 07"},
    {134, "01", TS " SHUTDOWN | SD_REQUEST", 14, vxtest::kDecodes, "01 00"},
    // The older 14-byte form: the stamp is an urgency word, the type byte lies beyond the frame.
    {134, "", "1970-01-01 00:00:00.000000 SHUTDOWN | SD_NOW | urgent", 14, vxtest::kDecodes, ""},
    {135, "7F FF", TS "  TEMPERATURE | 32767 \xC2\xB0" "C ", 14},
    {135, "80 00", TS "  TEMPERATURE | -32768 \xC2\xB0" "C ", 14},
    // A cut temperature: the byte there, then zero.
    {135, "FF", TS "  TEMPERATURE | -256 \xC2\xB0" "C ", 14, vxtest::kDecodes, "FF 00"},
    {32783, ZERO8, TS "  PUSHBUTTON", 20},
    // The short form is always re-encoded long.
    {32783, "", TS "  PUSHBUTTON", 20, vxtest::kDecodes, ZERO8},
    {32783, TSB "AA", TS "  PUSHBUTTON  | " TS, 20, vxtest::kDecodes, TSB},
    {32776, "00 03", PING "3", 14, vxtest::kDecodes, nullptr, false},
    {32776, "00 00", PING "0 [PING_STANDARD]", 14, vxtest::kDecodes, nullptr, false},
    {32776, "00 01", PING "1 [PING_NETWORK]", 14, vxtest::kDecodes, nullptr, false},
    {32776, "01", PING "0 [PING_STANDARD]", 14, vxtest::kDecodes, "00 00",
     false},
    // Name lengths beyond the frame: cut at its end.
    {32776, "00 04 05", PING "4 [PING_NOTIFY]", 14, vxtest::kDecodes, "00 04",
     false},
    {32776, "00 02 05 61 62", PING "2 [PING_DISABLE], name = ab", 17, vxtest::kDecodes,
     "00 02 02 61 62", false},
    {32826, "00 00 01", MOBILE "; message: ; serviceType: S_EMAIL", 15},
    {32826, "01 61 01 62 02", MOBILE "a; message: b; serviceType: <unknown:2>", 17},
    {32826, "05 61", nullptr, -1, invalidLength},
    {32826, "01 61 03 62", nullptr, -1, invalidLength},
    {32826, "01 61 01 62", nullptr, -1, invalidLength},
  };
  // clang-format on
  vxtest::checkRecordCases(rows);
}

TEST(DeviceMessages, ShortShutdownFormsAndPushButtonLengths) {
  vxtest::RegistryGuard guard;
  MessageBase::invalidHandling = 1;
  const vxtest::Bytes sd = vxtest::frame(MSGID_SHUTDOWN, 0, vxtest::hex("02 05"));
  // A 13-byte frame: urgent when one of its bytes from offset 6 on is not zero.
  vxtest::Bytes marked = sd;
  marked[12] = 0x01;
  auto shortForm = vxtest::decodeExact(marked, 13);
  auto* s = dynamic_cast<ShutDownMessage*>(shortForm.get());
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(ShutDownMessage::SD_NOW, s->type);
  EXPECT_TRUE(s->urgent);
  EXPECT_FALSE(s->partial);
  EXPECT_EQ(0u, s->timeStamp);
  // The nonzero byte 13 lies beyond a 13-byte frame and is not looked at.
  marked[12] = 0;
  marked[13] = 0x01;
  auto quiet = vxtest::decodeExact(marked, 13);
  ASSERT_NE(dynamic_cast<ShutDownMessage*>(quiet.get()), nullptr);
  EXPECT_FALSE(static_cast<ShutDownMessage&>(*quiet).urgent);

  // The 14-byte form is re-encoded long, with time stamp 0 and the header word kept.
  auto old = vxtest::decode(vxtest::caseFrame({134, "", nullptr}));
  ASSERT_NE(old, nullptr);
  EXPECT_EQ(vxtest::hex("00 0E 00 86 01 02 " ZERO8 "00 01"), vxtest::serialise(*old));
}

TEST(DeviceMessages, ComparisonsIgnoreTimeStamps) {
  EXPECT_TRUE(ShutDownMessage(1, ShutDownMessage::SD_NOW, true, false, false) ==
              ShutDownMessage(9, ShutDownMessage::SD_NOW, true, false, false));
  EXPECT_FALSE(ShutDownMessage(1, ShutDownMessage::SD_NOW, true, false, false) ==
               ShutDownMessage(1, ShutDownMessage::SD_NOW, false, false, false));
  EXPECT_TRUE(TemperatureMessage(0, -5) == TemperatureMessage(7, -5));
  EXPECT_TRUE(PushButtonMessage(0, 3) == PushButtonMessage(8, 3));
  EXPECT_FALSE(PushButtonMessage(0, 3) == TemperatureMessage(0, 3));
  EXPECT_FALSE(MobileServiceMessage(0, "o", "h", MobileServiceMessage::S_SMS) ==
               MobileServiceMessage(0, "o", "h", MobileServiceMessage::S_EMAIL));
}
