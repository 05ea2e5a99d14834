#include <gtest/gtest.h>

#include "support/TestSupport.h"
#include "vxtrace/CANExtTraceMessage.h"
#include "vxtrace/CANTraceMessage.h"
#include "vxtrace/CANTraceMessageBase.h"
#include "vxtrace/SimpleMessage.h"

using vxtest::Bytes;

namespace {

template <typename T>
std::string text(T v) {
  std::ostringstream os;
  os << std::hex << v;  // names and unknown values do not depend on the base
  return os.str();
}

}  // namespace

TEST(CANTraceMessageBase, PrintsEnumerationNamesAndUnknownValues) {
  EXPECT_EQ("STANDARD", text(CAN_FRAME_STANDARD));
  EXPECT_EQ("TXREQUEST", text(CAN_FRAME_TXREQUEST));
  EXPECT_EQ("<UNKNOWN>", text(static_cast<canframe_t>(4)));
  EXPECT_EQ("EXTENDED", text(CAN_TYPE_EXTENDED));
  EXPECT_EQ("FD_EXT", text(CAN_TYPE_FD_EXT));
  EXPECT_EQ("UNKNOWN", text(static_cast<cantype_t>(4)));
  EXPECT_EQ("NO", text(CAN_ERR_NO));
  EXPECT_EQ("OVERRUN", text(CAN_ERR_OVERRUN));
  EXPECT_EQ("<unknown:12>", text(static_cast<canstaterr_t>(12)));
  EXPECT_EQ(12, CANTraceMessageBase::numDlcBytes[9]);
  EXPECT_EQ(64, CANTraceMessageBase::numDlcBytes[15]);
}

TEST(CANTraceMessageBase, EqualityIgnoresTypeAndCrossesClassicAndExtended) {
  CANTraceMessage classic(100, 1, CAN_FRAME_STANDARD, 0, 0x123, Bytes{1, 2});
  CANExtTraceMessage ext(100, 1, CAN_FRAME_STANDARD, 0, CAN_TYPE_FD_STD, 0x123, Bytes{1, 2});
  ext.headerWord = 0x55;
  EXPECT_TRUE(classic == ext);
  EXPECT_TRUE(ext == classic);

  ext.data[5] = 0xFF;  // beyond length
  EXPECT_TRUE(classic == ext);
  ext.timeStamp = 101;
  EXPECT_FALSE(classic == ext);
  EXPECT_TRUE(classic.equal(ext));  // equal() ignores time
  ext.state = 0x40;
  EXPECT_FALSE(classic.equal(ext));

  EXPECT_FALSE(classic == SimpleMessage<MSGID_START>(100));
  // The identifier alone does not make a CAN record.
  SimpleMessage<MSGID_START> impostor(100);
  impostor.msgId = MSGID_CAN;
  EXPECT_FALSE(classic == impostor);
}

TEST(CANTraceMessageBase, MaskedEqualityMasksOnlyTheOtherRecord) {
  CANTraceMessage self(0, 1, CAN_FRAME_STANDARD, 0, 0x120, Bytes{0x10});
  CANTraceMessage other(9, 1, CAN_FRAME_STANDARD, 0, 0x123, Bytes{0x1F});
  CANTraceMessage mask(0, 0xFF, CAN_FRAME_STANDARD, 0, 0x7F0, Bytes{0xF0});
  EXPECT_TRUE(self.equal(other, &mask));
  // Reversed, the mask is applied to self, which then differs from other's raw id and data.
  EXPECT_FALSE(other.equal(self, &mask));

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
