#include <gtest/gtest.h>

#include <memory>

#include "support/RecordCase.h"
#include "support/RecordSupport.h"
#include "support/TestSupport.h"
#include "vxtrace/vxtrace.h"

using vxtest::Bytes;
using vxtest::hex;
using vxtest::kDecodes;
using vxtest::kNull;
using vxtest::toHex;

// The transport record keeps only the stored high word of the time stamp.
#define TS_HIGH "1970-01-01 00:00:00.372529"
// Header word and time stamp of a table frame.
// The same as the transport writer puts it back.
#define HDR_HIGH "01 02 00 00 00 00 00 05 AF 31 "

// clang-format off
const vxtest::RecordCase kCanAuxCases[] = {
  // CAN load: counts and sums interleaved on the wire; a short frame is null, not invalid.
  {32802, "00 00 00 02 00 01 00 00 FF FF 00 00 00 00 00 08",
   TS "  CAN LOAD Std| stdMsgCount0 = 0, stdDlcSum0 = 2, stdMsgCount1 = 1, stdDlcSum1 = 0"
   "  CAN LOAD Ext| extMsgCount0 = 65535, extDlcSum0 = 0, extMsgCount1 = 0, extDlcSum1 = 8",
   28, kDecodes, nullptr, false},
  {32802, "00 07 00 09 00 03",
   TS "  CAN LOAD Std| stdMsgCount0 = 7, stdDlcSum0 = 9, stdMsgCount1 = 3, stdDlcSum1 = 0"
   "  CAN LOAD Ext| extMsgCount0 = 0, extDlcSum0 = 0, extMsgCount1 = 0, extDlcSum1 = 0",
   28, kDecodes, "", false},
  {32802, "00 07 00 09 00", nullptr, -1, kNull},
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
  // Proxy: the classic layout; an error frame keeps no length or id; id cut to 11 bits.
  {32786, "01 01 33 05 01 23 AA", TS "  CAN #2      | Error Frame [error= 3]", 16, kDecodes,
   "00 10 80 12 " HDR "01 01 33 00", false},
  {32786, "00 02 00 02 FF FF AB CD", TS "  CAN #1      | Tx   7ff  2 ab cd", 20, kDecodes,
   "00 14 80 12 " HDR "00 02 00 02 07 FF AB CD", false},
  {32786, "00 00 00 50 01 23 AB CD", TS "  CAN #1      | Rx   [Incorrect NUMBYTES=64]", 82,
   kDecodes, "", false},
};
// clang-format on

TEST(CANAuxMessages, TableOfLayoutsQuirksAndCutFrames) {
  vxtest::checkRecordCases(kCanAuxCases);
}

TEST(CANAuxMessages, LoadWritesCountsAndSumsInterleaved) {
  CANLoadMessage load(0);
  load.stdMsgCount1 = 1;
  load.stdDlcSum0 = 2;
  load.extDlcSum1 = 0xABCD;
  EXPECT_EQ(toHex(vxtest::serialise(load)),
            "00 1C 80 22 00 00 00 00 00 00 00 00 00 00 "
            "00 00 00 02 00 01 00 00 00 00 00 00 00 00 AB CD");
  EXPECT_FALSE(load == load);
}

TEST(CANAuxMessages, StartStopConditionsRoundTripAndDriveTheTriggerTest) {
  canInfo_t info;
  info.channel = 2;
  info.canId = 0x321;
  info.dlc = 2;
  info.mask[0] = 0xF0;
  info.mask[1] = 0xFF;
  info.value[0] = 0x10;
  info.value[1] = 0x22;
  CANStartStopMessage msg(1500000, 0, {info});
  const Bytes bytes = vxtest::serialise(msg);
  EXPECT_EQ(toHex(bytes),
            "00 21 80 18 00 00 00 00 00 00 00 16 E3 60 00 02 03 21 02 F0 FF 00 00 00 00 00 00 "
            "10 22 00 00 00 00 00 00");
  CANStartStopMessage back(bytes.data(), static_cast<unsigned int>(bytes.size()));
  ASSERT_EQ(back.conditions.size(), 1u);
  const canInfo_t& got = back.conditions[0];
  EXPECT_TRUE(CANTraceMessage(0, 2, CAN_FRAME_STANDARD, 0, 0x321, Bytes{0x1F, 0x22}) == got);
  EXPECT_FALSE(CANTraceMessage(0, 2, CAN_FRAME_STANDARD, 0, 0x321, Bytes{0x20, 0x22}) == got);
  EXPECT_FALSE(CANTraceMessage(0, 1, CAN_FRAME_STANDARD, 0, 0x321, Bytes{0x1F, 0x22}) == got);
  EXPECT_FALSE(back == msg);
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

TEST(CANAuxMessages, ProxyKeepsItsIdentifierAndNeverComparesEqual) {
  CANProxyTraceMessage proxy(7, 1, CAN_FRAME_STANDARD, 0, 0x123, Bytes{0xAA});
  std::unique_ptr<MessageBase> copy(proxy.clone());
  ASSERT_NE(dynamic_cast<CANProxyTraceMessage*>(copy.get()), nullptr);
  EXPECT_EQ(copy->msgId, MSGID_CAN_PROXY);
  EXPECT_EQ(proxy.getSourceChannel(), "CAN #1");
  CANTraceMessage can(7, 1, CAN_FRAME_STANDARD, 0, 0x123, Bytes{0xAA});
  EXPECT_FALSE(proxy == proxy);
  EXPECT_FALSE(can == proxy);
  EXPECT_TRUE(proxy == can);  // the inherited test only looks at the other side's identifier
}
