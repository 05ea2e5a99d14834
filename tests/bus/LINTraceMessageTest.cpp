#include <gtest/gtest.h>

#include <sstream>

#include "support/RecordCase.h"
#include "vxtrace/LINTraceMessage.h"

#define HEAD(size) "00 " size " 00 06 " HDR
#define WAKE(size) "00 " size " 00 06 00 00 00 05 AF 31 07 A5 E2 40 "

// clang-format off
const RecordCase kLinCases[] = {
  // 28 bytes with no data decode.
  {6, "0A 80 FF FF 00 01 00 02 00 03 00 04 3C 00",
   TS "  LIN #11     | [status=128, bitTime=65535, frameTime=    1, breakTime=    2, "
      "delimiterTime=    3, headerTime=    4, linId= 60, len=0] ", 26},
  // A count of 12 keeps nine bytes.
  {6, "00 00 00 01 00 02 00 03 00 04 00 05 06 0C 01 02 03 04 05 06 07 08 09 0A 0B 0C",
   TS "  LIN #1      | [status=  0, bitTime=    1, frameTime=    2, breakTime=    3, "
      "delimiterTime=    4, headerTime=    5, linId=  6, len=9] 01 02 03 04 05 06 07 08 09", 35,
   vxtest::kDecodes,
   HEAD("23") "00 00 00 01 00 02 00 03 00 04 00 05 06 09 01 02 03 04 05 06 07 08 09"},
  // Data the count promises beyond the frame read as 0.
  {6, "00 00 00 01 00 02 00 03 00 04 00 05 06 04 EE FF",
   TS "  LIN #1      | [status=  0, bitTime=    1, frameTime=    2, breakTime=    3, "
      "delimiterTime=    4, headerTime=    5, linId=  6, len=4] ee ff 00 00", 30,
   vxtest::kDecodes,
   HEAD("1E") "00 00 00 01 00 02 00 03 00 04 00 05 06 04 EE FF 00 00"},
  // Wake-up pulse: six body bytes, no length check, header word not taken over; re-encoded
  // with every other field 0.
  {6, "00 01 00 34 01 F4",
   TS "  LIN #1      | [status=  1, bitTime=   52, wakeUpPulse=  500]", 26, vxtest::kDecodes,
   WAKE("1A") "00 01 00 34 01 F4 00 00 00 00 00 00 00 00"},
  // ...and cut inside its bit time: the byte there, then zeros.
  {6, "03 FF 01",
   TS "  LIN #4      | [status=255, bitTime=  256, wakeUpPulse=    0]", 26, vxtest::kDecodes,
   WAKE("1A") "03 FF 01 00 00 00 00 00 00 00 00 00 00 00"},
};
// clang-format on

TEST(LINTraceMessage, TableOfFramesAndWakeUpPulses) {
  vxtest::checkRecordCases(kLinCases);
}

TEST(LINTraceMessage, KindsChannelsAndComparison) {
  LINTraceMessage frame(1500000, 2, 0x3C, Bytes{0x10}, 1, 2, 3, 4, 5);
  EXPECT_EQ(frame.getSourceChannel(), "LIN #2");
  EXPECT_EQ(frame.getSourceChannelID(), 0x502u);
  frame.setSourceWord(7);
  frame.cascadeChannel(0x1FF);
  EXPECT_EQ(frame.getSourceChannelID(), 0x0000000700000501ULL);

  const std::string prefix = "1970-01-01 00:00:01.500000  LIN #2      | [status=  0, bitTime=    1";
  frame.kind = 1;
  EXPECT_EQ(frame.toString(), prefix + ", frameTime=    2, breakTime=    3, delimiterTime=    4, "
                                       "headerTime=    5, linId= 60, len=1] 10");
  frame.kind = 14;
  EXPECT_EQ(frame.toString(), prefix + "]");
  for (int kind : {3, -1}) {
    frame.kind = kind;
    EXPECT_EQ(frame.toString(), prefix + ", UNKNOWN LIN FRAME]");
  }

  // The kind is not compared; every stored field is.
  LINTraceMessage other = frame;
  other.kind = 0;
  EXPECT_TRUE(frame == other);
  other.headerTime = 6;
  EXPECT_FALSE(frame == other);

  LINTraceMessage pulse = LINTraceMessage::wakeUpPulse(0, 0, 52, 500);
  EXPECT_EQ(pulse.kind, LINTraceMessage::KIND_WAKEUP);
  EXPECT_EQ(pulse.status, LINTraceMessage::STATUS_WAKEUP);
}

TEST(LINTraceMessage, InterfaceDefaultsAndVersionNames) {
  linInterface_t iface;
  iface.reserved = 9;
  iface.version = LIN_VERSION_2_1;
  iface.setDefaults();
  EXPECT_EQ(iface.reserved, 0);
  std::ostringstream os;
  os << std::hex << iface;
  EXPECT_EQ(os.str(),
            "\"LIN\", active, channel=0, baudrate=19200Bit/s, version=dontcare, bitSample=8, "
            "containerId=4294967295");
  iface.active = false;
  iface.name = "Body";
  iface.channel = 3;
  iface.version = static_cast<linVersion_t>(4);
  std::ostringstream os2;
  os2 << iface;
  EXPECT_EQ(os2.str(),
            "\"Body\", inactive, channel=3, baudrate=19200Bit/s, version=<unknown:4>, "
            "bitSample=8, containerId=4294967295");
  std::ostringstream names;
  names << LIN_VERSION_1_3 << '|' << LIN_VERSION_2_0 << '|' << LIN_VERSION_2_1;
  EXPECT_EQ(names.str(), "1.3|2.0|2.1");
}
