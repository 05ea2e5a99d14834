#include <gtest/gtest.h>

#include "support/RecordCase.h"
#include "vxtrace/vxtrace.h"

// clang-format off
const vxtest::RecordCase kEcuLogCases[] = {
  {30, "04 05 09 6F 6B", TS "  ECULOG MSG  | [RX,KWP,10] ok", 17, kDecodes, nullptr, false},
  {30, "02 02 FF", TS "  ECULOG MSG  | [WARNING,XCP,256] ", 15, kDecodes, nullptr, false},
  // The text ends at its first NUL; other control bytes print escaped.
  {30, "01 03 00 61 62 63 00 64 65 66", TS "  ECULOG MSG  | [ERROR,UDS,1] abc", 18, kDecodes,
   "00 12 00 1E " HDR "01 03 00 61 62 63", false},
  {30, "03 00 00 61 0A 7F", TS "  ECULOG MSG  | [TX,UNKNOWN,1] a\\x0a\\x7f", 18, kDecodes,
   nullptr, false},
  {30, "05 00 00", nullptr, -1, invalidEnumValue, nullptr, true, "ecuLogMsg_t=5"},
  {30, "00 06 00", nullptr, -1, invalidEnumValue, nullptr, true, "protocolType_t=6"},
  {30, "00 01", nullptr, -1, invalidLength, nullptr, true, "EcuLogMessage too short"},
};
// clang-format on

TEST(EcuLogMessage, TableOfTypesProtocolsTextsAndRejects) {
  vxtest::checkRecordCases(kEcuLogCases);
}

TEST(EcuLogMessage, SourceChannelOnlyForCcpAndXcp) {
  EcuLogMessage xcp(0, EcuLogMessage::INFO, EcuLogMessage::XCP, 3, "x");
  xcp.setSourceWord(2);
  EXPECT_EQ(xcp.getSourceChannel(), "CCP_XCP #3");
  EXPECT_EQ(xcp.getSourceChannelID(), 0x0000000200000B03ULL);
  xcp.cascadeChannel(0x1FE);
  EXPECT_EQ(xcp.channel, 1);  // 3 + 0xFE modulo 256

  EcuLogMessage uds(0, EcuLogMessage::INFO, EcuLogMessage::UDS, 3, "x");
  EXPECT_EQ(uds.getSourceChannel(), "LOGGER_INTERN");
  EXPECT_EQ(uds.getSourceChannelID(), ~0ULL);
  uds.cascadeChannel(4);
  EXPECT_EQ(uds.channel, 3);
}
