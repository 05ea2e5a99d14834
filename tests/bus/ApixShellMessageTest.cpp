#include <gtest/gtest.h>

#include <sstream>

#include "support/RecordCase.h"
#include "vxtrace/vxtrace.h"

// clang-format off
const vxtest::RecordCase kApixCases[] = {
  {9, "00 00 00 00 01 02 03 04", TS "  A-Shell UP  | 00 00 00 00 01 02 03 04", 20},
  {9, "01 00 00 00 00 00 00 FF", TS "  A-Shell DOWN| 01 00 00 00 00 00 00 ff", 20},
  // The kind is little-endian: 00 00 00 02 is not a status report.
  {9, "00 00 00 02 00 00 00 01", TS "  A-Shell INV | 00 00 00 02 00 00 00 01", 20},
  {9, "02 00 00 00 00 00 00 00", TS "  A-Shell STAT| 0x000000:<none>", 20},
  {9, "02 00 00 00 00 07 FF FF",
   TS "  A-Shell STAT| 0x07ffff:RX_OPERATIONAL|RX_INBOUND_HANDSHAKE|RX_CRC_TIMEOUT|"
   "RX_PROTOCOL_ERROR|RX_TA_SYN_ACK|RX_TA_SYN_START|RX_FATAL_ERROR|RX_CRC_ERROR|RX_DOWN_READY|"
   "RX_PX_ALIGNED|TX_OPERATIONAL|TX_INBOUND_HANDSHAKE|TX_CRC_TIMEOUT|TX_PROTOCOL_ERROR|"
   "TX_TA_SYN_ACK|TX_TA_SYN_START|TX_FATAL_ERROR|TX_CRC_ERROR|TX_UP_READY", 20},
  // Bits 19..31 have no names; with nothing else set no name is written at all.
  {9, "02 00 00 00 FF F8 00 00", TS "  A-Shell STAT| 0xfff80000:", 20},
  {9, "02 00 00 00 80 04 00 00", TS "  A-Shell STAT| 0x80040000:TX_UP_READY", 20},
  // No length check: a cut body reads as zeros.
  {9, "02 00 00 00 00", TS "  A-Shell STAT| 0x000000:<none>", 20, kDecodes, ""},
};
// clang-format on

TEST(ApixShellMessage, TableOfKindsAndStatusBits) {
  vxtest::checkRecordCases(kApixCases);
}

TEST(ApixShellMessage, IncCarriesThroughBytesOneToSevenOnly) {
  struct Step {
    const char* before;
    const char* after;
  };
  for (const Step& s : {Step{"00 00 00 00 00 00 00 FF", "00 00 00 00 00 00 01 00"},
                        Step{"00 FF FF FF FF FF FF FF", "00 00 00 00 00 00 00 00"},
                        Step{"7F FF FF FF FF FF FF FF", "7F 00 00 00 00 00 00 00"},
                        Step{"01 00 00 00 00 00 FE FF", "01 00 00 00 00 00 FF 00"}}) {
    ApixShellMessage m(0, 0, 0);
    const Bytes before = vxtest::hex(s.before);
    std::copy(before.begin(), before.end(), m.body);
    m.inc();
    EXPECT_EQ(vxtest::toHex(Bytes(m.body, m.body + 8)), s.after) << s.before;
  }
}

TEST(ApixShellMessage, FieldsPackKindLittleAndStatusBigEndianAndCompareBodiesOnly) {
  ApixShellMessage m(1, ApixShellMessage::KIND_STATUS, 0x00000401);
  EXPECT_EQ(vxtest::toHex(Bytes(m.body, m.body + 8)), "02 00 00 00 00 00 04 01");
  EXPECT_TRUE(m == ApixShellMessage(99, 2, 0x401));
  EXPECT_FALSE(m == ApixShellMessage(1, 2, 0x400));
  std::ostringstream down;
  ApixShellMessage(1, ApixShellMessage::KIND_DOWN, 0x401).dumpStatus(down);
  EXPECT_EQ(down.str(), "<none>");
}
