#include <gtest/gtest.h>

#include "support/RecordCase.h"
#include "vxtrace/vxtrace.h"

#define CAN "2020-09-13 12:26:40.123456  CAN #"

TEST(CANTraceMessage, TableOfFrames) {
  const vxtest::RecordCase rows[] = {
      {1, "02 00 00 03 01 23 11 22 33", CAN "3      | Rx   123  3 11 22 33", 21},
      {1, "09 02 00 00 07 FF", CAN "10     | Tx   7ff  0 ", 18},
      {1, "00 03 00 01 00 05 FF", CAN "1      | TxRq 005  1 ff", 19},
      // Error frame: length byte and what follows are ignored, the state prints as a character.
      {1, "01 01 33 05 01 23 AA BB CC DD", CAN "2      | Error Frame [error= 3]", 16, kDecodes,
       "01 01 33 00"},
      // Length 255 is cut to 64; the two data bytes present, the rest read as 0.
      {1, "03 00 00 FF 04 56 AB CD", CAN "4      | Rx   [Incorrect NUMBYTES=64]", 82, kDecodes,
       ""},
      // Frame byte 9 and reserved state bits are accepted by the classic form.
      {1, "00 09 30 00 00 01", CAN "1      | [Unknown CAN message type 9]", 18},
  };
  vxtest::checkRecordCases(rows);
}

TEST(CANTraceMessage, ComparesWithSerialisedBytesAndRefusesShortVectors) {
  CANTraceMessage m(0x0000000100000002ULL, 3, CAN_FRAME_STANDARD, 0, 0x321, Bytes{0xA1, 0xB2});
  Bytes bytes = vxtest::serialise(m);
  ASSERT_EQ(22u, bytes.size());
  EXPECT_TRUE(m == bytes);
  for (std::size_t i : {3u, 9u, 13u, 14u, 15u, 16u, 17u, 19u, 21u}) {
    Bytes changed = bytes;
    changed[i] ^= 0x01;
    EXPECT_FALSE(m == changed) << "byte " << i;
  }
  Bytes other = bytes;  // size field and header word are not compared
  other[1] = 0x77;
  other[5] = 0x01;
  EXPECT_TRUE(m == other);
  // 21 bytes pass the getSize() test (20) but the data ends at byte 22.
  EXPECT_FALSE(m == Bytes(bytes.begin(), bytes.end() - 1));
  // A serialised error frame (18 bytes) is shorter than the 20 the comparison reads.
  CANTraceMessage err(0, 0, CAN_FRAME_ERROR, 1, 0, Bytes{});
  EXPECT_FALSE(err == vxtest::serialise(err));
}

TEST(CANTraceMessage, MatchesStartStopCondition) {
  CANTraceMessage m(0, 1, CAN_FRAME_STANDARD, 0, 0x123, Bytes{0x12, 0x34});
  canInfo_t f{1, 0x123, 2, {0xF0, 0xFF}, {0x10, 0x34}};
  EXPECT_TRUE(m == f);
  f.value[0] = 0x12;  // the mask clears the low nibble, so 0x12 can never match
  EXPECT_FALSE(m == f);
  f.value[0] = 0x10;
  f.dlc = 1;
  EXPECT_FALSE(m == f);
  CANTraceMessage empty(0, 1, CAN_FRAME_STANDARD, 0, 0x123, Bytes{});
  EXPECT_TRUE(empty == (canInfo_t{1, 0x123, 0, {}, {0xFF}}));
  // More data bytes than the filter's eight mask bytes never match (nothing read past them).
  CANExtTraceMessage fd(0, 1, CAN_FRAME_STANDARD, 0, CAN_TYPE_FD_STD, 0x123, Bytes(64, 0));
  EXPECT_FALSE(fd == (canInfo_t{1, 0x123, 64}));
}

TEST(CANTraceMessage, SourceChannelIsZeroBasedAndCascades) {
  CANTraceMessage m(0, 0, CAN_FRAME_STANDARD, 0, 1, Bytes{});
  EXPECT_EQ("CAN #0", m.getSourceChannel());
  m.channel = 5;
  m.setSourceWord(0xDEADBEEF);
  EXPECT_EQ(0xDEADBEEF00000105ULL, m.getSourceChannelID());
  m.channel = 250;
  m.cascadeChannel(0x0108);  // only the low 8 bits count, modulo 256
  EXPECT_EQ(2, m.channel);
  m.data[63] = 0x5A;  // beyond length: still copied by clone
  std::unique_ptr<MessageBase> copy(m.clone());
  EXPECT_EQ(0x5A, static_cast<CANTraceMessage&>(*copy).data[63]);
}
