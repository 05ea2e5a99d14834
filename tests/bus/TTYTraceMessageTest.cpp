#include <gtest/gtest.h>

#include "support/RecordCase.h"
#include "vxtrace/vxtrace.h"

// clang-format off
const vxtest::RecordCase kTtyCases[] = {
  {13, "0B 03 00 03 00 0A 5C", TS "  TTY #12      | [QXDM_BIN] \\x00\\n\\\\", 19},
  {13, "FF 00 00 00", TS "  TTY #256      | [none] ", 16},
  // A data length beyond the frame is cut at its end; one short of it keeps the rest out.
  {13, "01 01 00 64 61 62 63 64 65", TS "  TTY #2      | [QXDM] abcde", 21, kDecodes,
   "00 15 00 0D " HDR "01 01 00 05 61 62 63 64 65"},
  {13, "01 01 00 02 61 62 63", TS "  TTY #2      | [QXDM] ab", 18, kDecodes,
   "00 12 00 0D " HDR "01 01 00 02 61 62"},
  {13, "00 04 00 00", nullptr, -1, invalidEnumValue, nullptr, true, "ttyproto_t=4"},
  {13, "00 01 00", nullptr, -1, invalidLength, nullptr, true, "TTYTraceMessage too short"},
};
// clang-format on

TEST(TTYTraceMessage, TableOfChannelsProtocolsAndDataLengths) {
  vxtest::checkRecordCases(kTtyCases);
}

TEST(TTYTraceMessage, ComparesTimeStampsAndNamesProtocolsAndChannels) {
  TTYTraceMessage a(1, 4, TTYTraceMessage::TTY_QXDM, "x");
  EXPECT_TRUE(a == TTYTraceMessage(1, 4, TTYTraceMessage::TTY_QXDM, "x"));
  EXPECT_FALSE(a == TTYTraceMessage(2, 4, TTYTraceMessage::TTY_QXDM, "x"));
  EXPECT_FALSE(a == TTYTraceMessage(1, 4, TTYTraceMessage::TTY_QXDM, "y"));
  a.setSourceWord(3);
  EXPECT_EQ(a.getSourceChannelID(), 0x0000000300001004ULL);
  EXPECT_EQ(a.getSourceChannel(), "TTY #4");
  EXPECT_STREQ(TTYTraceMessage::getTTYprotoname(TTYTraceMessage::TTY_ANDROIDGW), "AndroidGW");
  EXPECT_STREQ(TTYTraceMessage::getTTYprotoname(static_cast<TTYTraceMessage::ttyproto_t>(4)),
               "<INVALID>");
}
