#include <gtest/gtest.h>

#include <sstream>

#include "support/RecordCase.h"
#include "vxtrace/FlexRayTraceMessage.h"

#define HEAD(size) "00 " size " 00 05 " HDR

// Re-encoded frames declare one byte more than the body and carry it as a zero.
// clang-format off
const RecordCase kFlexRayCases[] = {
  {5, "00 00 00 01 00 00",
   TS "  FLEXRAY #1A | status= UNKNOWN:  0, bits=0, slot=1, len=0, hCRC=0x0000, cycle=0", 19,
   vxtest::kDecodes, HEAD("13") "00 00 00 01 00 00 00"},
  {5, "47 FF FF FF FF 81 FF FF",
   TS "  FLEXRAY #4B | status= RAW        , bits=31, slot=2047, len=1, hCRC=0x07ff, cycle=63, "
      "payload:ffff,", 21, vxtest::kDecodes, HEAD("15") "47 FF FF FF FF 81 FF FF 00"},
  {5, "48 00 00 00 C0 00",
   TS "  FLEXRAY #4A | status= UNKNOWN:  9, bits=0, slot=0, len=0, hCRC=0x0000, cycle=0", 19,
   vxtest::kDecodes, HEAD("13") "48 00 00 00 C0 00 00"},
  // Three words announced, two held: no record, no exception.
  {5, "09 23 18 45 22 83 AB CD 00 12", nullptr, -1, vxtest::kNull},
};
// clang-format on

TEST(FlexRayTraceMessage, TableOfFramesAndStatusEvents) {
  vxtest::checkRecordCases(kFlexRayCases);
}

TEST(FlexRayTraceMessage, FieldsComposeWordsAndChannelsFoldInterfaceAndLetter) {
  FlexRayTraceMessage m(0, FlexRayTraceMessage::STATUS_SYNC, 0x123, 3, 69, 1, 5, {0xABCD, 0x12});
  EXPECT_EQ(m.frame.statusWord, 0x2923);
  EXPECT_EQ(m.frame.slotWord, 0x1845);
  EXPECT_EQ(m.frame.cycleWord, 0x2000 | (5 << 7) | 2);
  EXPECT_EQ(m.getSourceChannelID(), 0x401u);

  // The writer returns the bytes it wrote, not the declared size.
  const vxtest::Written w = vxtest::writeInto(m, 25, false);
  EXPECT_EQ(w.result, 24u);
  EXPECT_EQ(w.advanced, 24);
  EXPECT_EQ(w.bytes.back(), 0);

  unsigned char buf[12] = {};
  unsigned char* out = buf;
  m.frame.writeToByteArray(out);
  EXPECT_EQ(out - buf, 10);
  EXPECT_EQ(vxtest::toHex(vxtest::Bytes(buf, buf + 10)), "29 23 18 45 22 82 AB CD 00 12");

  // The three-bit source channel wraps; cycle and length stay.
  m.cascadeChannel(7);
  EXPECT_EQ(m.frame.cycleWord, (5 << 7) | 2);
  m.cascadeChannel(0x0E);
  EXPECT_EQ(m.frame.cycleWord, 0xC000 | (5 << 7) | 2);
  EXPECT_EQ(m.getSourceChannel(), "FlexRay #6");

  // A payload word differs: unequal.
  FlexRayTraceMessage other = m;
  other.frame.payload[1] = 0x13;
  EXPECT_FALSE(m == other);
  other.frame.payload[1] = 0x12;
  EXPECT_TRUE(m == other);
}
