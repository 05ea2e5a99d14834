#include <gtest/gtest.h>

#include <sstream>
#include <vector>

#include "vxtrace/vxtrace.h"

using Bytes = std::vector<uint8_t>;

TEST(CANTraceMessageBase, PrintsEnumerationNamesAndUnknownValues) {
  std::ostringstream os;
  os << std::hex;  // names and unknown values do not depend on the base
  os << CAN_FRAME_STANDARD << ' ' << CAN_FRAME_TXREQUEST << ' ' << static_cast<canframe_t>(4) << ' '
     << CAN_TYPE_EXTENDED << ' ' << CAN_TYPE_FD_EXT << ' ' << static_cast<cantype_t>(4) << ' '
     << CAN_ERR_NO << ' ' << CAN_ERR_OVERRUN << ' ' << static_cast<canstaterr_t>(12);
  EXPECT_EQ(os.str(),
            "STANDARD TXREQUEST <UNKNOWN> EXTENDED FD_EXT UNKNOWN NO OVERRUN <unknown:12>");
}

TEST(CANTraceMessageBase, EqualityIgnoresTypeAndCrossesClassicAndExtended) {
  CANTraceMessage classic(100, 1, CAN_FRAME_STANDARD, 0, 0x123, Bytes{1, 2});
  CANExtTraceMessage ext(100, 1, CAN_FRAME_STANDARD, 0, CAN_TYPE_FD_STD, 0x123, Bytes{1, 2});
  ext.headerWord = 0x55;
  ext.data[5] = 0xFF;  // beyond length
  EXPECT_TRUE(classic == ext);
  EXPECT_TRUE(ext == classic);
  ext.timeStamp = 101;
  EXPECT_FALSE(classic == ext);
  EXPECT_TRUE(classic.equal(ext));  // equal() ignores time
  ext.state = 0x40;
  EXPECT_FALSE(classic.equal(ext));

  // Another class is never equal, even with the CAN identifier.
  SimpleMessage<MSGID_START> impostor(100);
  impostor.msgId = MSGID_CAN;
  EXPECT_FALSE(classic == impostor);
}

TEST(CANTraceMessageBase, MaskedEqualityMasksOnlyTheOtherRecord) {
  CANTraceMessage self(0, 1, CAN_FRAME_STANDARD, 0, 0x120, Bytes{0x10});
  CANTraceMessage other(9, 1, CAN_FRAME_STANDARD, 0, 0x123, Bytes{0x1F});
  CANTraceMessage mask(0, 0xFF, CAN_FRAME_STANDARD, 0, 0x7F0, Bytes{0xF0});
  EXPECT_TRUE(self.equal(other, &mask));
  // Reversed, the mask would have to apply to self: other's raw id (or data) differs from it.
  EXPECT_FALSE(other.equal(self, &mask));
  CANTraceMessage idOnly(9, 1, CAN_FRAME_STANDARD, 0, 0x123, Bytes{0x10});
  EXPECT_FALSE(idOnly.equal(self, &mask));

  CANTraceMessage channelMask = mask;
  channelMask.channel = 0x02;  // 0x02 & 1 = 0, not self's channel 1
  EXPECT_FALSE(self.equal(other, &channelMask));
  CANTraceMessage tx = other;
  tx.frame = CAN_FRAME_TXMESSAGE;
  EXPECT_FALSE(self.equal(tx, &mask));

  // No mask, or a mask of another length: plain comparison.
  EXPECT_FALSE(self.equal(other, nullptr));
  CANTraceMessage longMask(0, 0xFF, CAN_FRAME_STANDARD, 0, 0x7F0, Bytes{0xF0, 0x00});
  EXPECT_FALSE(self.equal(other, &longMask));
  CANTraceMessage same(5, 1, CAN_FRAME_STANDARD, 0, 0x120, Bytes{0x10});
  EXPECT_TRUE(self.equal(same, &longMask));
}
