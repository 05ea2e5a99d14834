#include <gtest/gtest.h>

#include <memory>

#include "support/RecordCase.h"
#include "vxtrace/vxtrace.h"

using vxtest::toHex;

// The transport record keeps only the stored high word of the time stamp.
#define TS_HIGH "1970-01-01 00:00:00.372529"
// Header word and time stamp as the transport writer puts them back.
#define HDR_HIGH "01 02 00 00 00 00 00 05 AF 31 "

// clang-format off
const vxtest::RecordCase kCanAuxCases[] = {
  // CAN load: counts and sums interleaved on the wire.
  {32802, "00 00 00 02 00 01 00 00 FF FF 00 00 00 00 00 08",
   TS "  CAN LOAD Std| stdMsgCount0 = 0, stdDlcSum0 = 2, stdMsgCount1 = 1, stdDlcSum1 = 0"
   "  CAN LOAD Ext| extMsgCount0 = 65535, extDlcSum0 = 0, extMsgCount1 = 0, extDlcSum1 = 8",
   28, kDecodes, nullptr, false},
  {32802, "00 07 00 09 00 03",
   TS "  CAN LOAD Std| stdMsgCount0 = 7, stdDlcSum0 = 9, stdMsgCount1 = 3, stdDlcSum1 = 0"
   "  CAN LOAD Ext| extMsgCount0 = 0, extDlcSum0 = 0, extMsgCount1 = 0, extDlcSum1 = 0",
   28, kDecodes, "", false},
  // Start/stop: dlc cut to 8, mask and value bytes beyond dlc dropped, a cut entry kept.
  {32792, "00", TS "  CAN St/St   | type=start, ", 13, kDecodes, nullptr, false},
  {32792, "07 03 07 FF 0C 01 02 03 04 05 06 07 08 F1 F2 F3 F4 F5 F6 F7 F8",
   TS "  CAN St/St   | type=stop, 0:channel=3, canId=0x7ff, dlc=8, mask=0102030405060708, "
   "value=f1f2f3f4f5f6f7f8 ", 33, kDecodes,
   "00 21 80 18 " HDR "07 03 07 FF 08 01 02 03 04 05 06 07 08 F1 F2 F3 F4 F5 F6 F7 F8", false},
  {32792, "00 00 00 10 01 FF EE EE EE EE EE EE EE 0F EE EE EE EE EE EE EE 01 00 20",
   TS "  CAN St/St   | type=start, 0:channel=0, canId=0x10, dlc=1, mask=ff00000000000000, "
   "value=0f00000000000000 1:channel=1, canId=0x20, dlc=0, mask=0000000000000000, "
   "value=0000000000000000 ", 53, kDecodes, "", false},
  // Transport: 29-bit identifier under bit 31, else 11 bits; time stamp from the high word.
  {32788, "00 00 09 23 AA", TS_HIGH "  CAN TRANSP  | ID = 0x123 | STANDARD | len = 1 - aa ", 17,
   kDecodes, "00 11 80 14 " HDR_HIGH "00 00 01 23 AA", false},
  {32788, "F1 23 45 67", TS_HIGH "  CAN TRANSP  | ID = 0x11234567 | EXTENDED | len = 0 - ", 16,
   kDecodes, "00 10 80 14 " HDR_HIGH "91 23 45 67", false},
  // A cut identifier word: its present bytes, then zeros (here the extended flag alone).
  {32788, "80 00", TS_HIGH "  CAN TRANSP  | ID = 0x000 | EXTENDED | len = 0 - ", 16, kDecodes,
   "", false},
  // Proxy: the classic layout, under its own identifier; id cut to 11 bits.
  {32786, "00 02 00 02 FF FF AB CD", TS "  CAN #1      | Tx   7ff  2 ab cd", 20, kDecodes,
   "00 14 80 12 " HDR "00 02 00 02 07 FF AB CD", false},
};
// clang-format on

TEST(CANAuxMessages, TableOfLayoutsQuirksAndCutFrames) {
  vxtest::checkRecordCases(kCanAuxCases);
}

TEST(CANAuxMessages, TransportThrowsWhenRoomIsBelowSizeAndEqualsOnlyItself) {
  CANTransportTraceMessage msg(0x0000000100000002ULL, 0x1ABCDEF, 1, Bytes{1, 2, 3});
  unsigned char buf[32] = {};
  unsigned char* out = buf;
  try {
    msg.writeToByteArray(out, 18, false);
    FAIL() << "no exception";
  } catch (const VXException& e) {
    EXPECT_STREQ(e.what(),
                 "CANTransportTraceMessage::writeToByteArray: buffer size to small. "
                 "Size of message = 19, size of buffer = 18");
  }
  EXPECT_EQ(out, buf);
  // Room 19 passes the size test but not the whole frame: refused without a throw.
  EXPECT_EQ(msg.writeToByteArray(out, 20, false), 0u);
  EXPECT_EQ(msg.writeToByteArray(out, 21, false), 19u);
  EXPECT_EQ(toHex(Bytes(buf, out)),
            "00 13 80 14 00 00 00 00 00 01 00 00 00 02 81 AB CD EF 01 02 03");

  std::unique_ptr<MessageBase> copy(msg.clone());
  EXPECT_TRUE(msg == msg);
  EXPECT_FALSE(*copy == msg);
}

TEST(CANAuxMessages, ProxyComparesOnlyFromTheOtherSide) {
  CANProxyTraceMessage proxy(7, 1, CAN_FRAME_STANDARD, 0, 0x123, Bytes{0xAA});
  EXPECT_EQ(proxy.getSourceChannel(), "CAN #1");
  CANTraceMessage can(7, 1, CAN_FRAME_STANDARD, 0, 0x123, Bytes{0xAA});
  EXPECT_FALSE(can == proxy);
  EXPECT_TRUE(proxy == can);  // the inherited test only looks at the other side's identifier
}
