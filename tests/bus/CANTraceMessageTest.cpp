#include <gtest/gtest.h>

#include "support/RecordSupport.h"
#include "support/TestSupport.h"
#include "vxtrace/CANExtTraceMessage.h"
#include "vxtrace/CANStartStopMessage.h"
#include "vxtrace/CANTraceMessage.h"

using vxtest::Bytes;
using vxtest::hex;

namespace {

CANTraceMessage decodeClassic(const Bytes& b) {
  return CANTraceMessage(b.data(), static_cast<unsigned int>(b.size()));
}

}  // namespace

TEST(CANTraceMessage, WritesDataAndTxFramesWithIdentifierAndData) {
  CANTraceMessage rx(0x0000000100000002ULL, 2, CAN_FRAME_STANDARD, 0, 0x123,
                     Bytes{0x11, 0x22, 0x33});
  EXPECT_EQ(hex("00 15 00 01 00 00 00 00 00 01 00 00 00 02 02 00 00 03 01 23 11 22 33"),
            vxtest::serialise(rx));

  CANTraceMessage tx(0x0000000100000002ULL, 0, CAN_FRAME_TXMESSAGE, 0, 0x7FF, Bytes{});
  tx.headerWord = 0xBEEF;
  EXPECT_EQ(hex("55 AA 00 12 00 01 BE EF 00 00 00 01 00 00 00 02 00 02 00 00 07 FF"),
            vxtest::serialise(tx, true));
}

TEST(CANTraceMessage, ErrorFrameHasFourBodyBytesAndDecodesWithoutLengthOrId) {
  CANTraceMessage err(0x0000000100000002ULL, 1, CAN_FRAME_ERROR, 0x33, 0x123, Bytes{1, 2});
  vxtest::Written w = vxtest::writeInto(err, 19, false);
  EXPECT_EQ(16u, w.result);
  EXPECT_EQ(18, w.advanced);
  EXPECT_EQ(hex("00 10 00 01 00 00 00 00 00 01 00 00 00 02 01 01 33 02 EE"), w.bytes);

  // Length byte 5 and trailing bytes are ignored for an error frame.
  CANTraceMessage d =
      decodeClassic(hex("00 16 00 01 00 00 00 00 00 01 00 00 00 02"
                        "01 01 33 05 01 23 AA BB CC DD"));
  EXPECT_EQ(CAN_FRAME_ERROR, d.frame);
  EXPECT_EQ(0, d.length);
  EXPECT_EQ(0u, d.id);
  EXPECT_EQ(0x33, d.state);
}

TEST(CANTraceMessage, DecodesAnyBytesAndNeverReadsPastTheGivenLength) {
  // Length byte 0xFF is cut to 64; only two data bytes are present, the rest reads as 0.
  CANTraceMessage m =
      decodeClassic(hex("00 48 00 01 12 34 00 00 00 00 00 00 00 07 03 00 00 FF 04 56 AB CD"));
  EXPECT_EQ(64, m.length);
  EXPECT_EQ(0x456u, m.id);
  EXPECT_EQ(0x1234, m.headerWord);
  EXPECT_EQ(CAN_TYPE_STANDARD, m.type);
  EXPECT_EQ(hex("AB CD 00"), Bytes(m.data, m.data + 3));
  EXPECT_EQ(0, m.data[63]);

  // Frame byte 9 and reserved state bits are accepted by the classic form.
  CANTraceMessage odd = decodeClassic(vxtest::frame(MSGID_CAN, 1, hex("00 09 30 00 00 01")));
  EXPECT_EQ(9u, static_cast<uint32_t>(odd.frame));
  EXPECT_EQ(0x30, odd.state);

  // Cut inside the header: every missing field is 0.
  CANTraceMessage s = decodeClassic(hex("00 15 00 01 00"));
  EXPECT_EQ(0u, s.timeStamp);
  EXPECT_EQ(0, s.length);
}

TEST(CANTraceMessage, PrintsChannelAlignedAndFrameKinds) {
  EXPECT_EQ("1970-01-01 00:00:01.500000  CAN #9      | Rx   123  2 01 ab",
            CANTraceMessage(1500000, 8, CAN_FRAME_STANDARD, 0, 0x123, Bytes{1, 0xAB}).toString());
  EXPECT_EQ("1970-01-01 00:00:00.000000  CAN #10     | Tx   07f  0 ",
            CANTraceMessage(0, 9, CAN_FRAME_TXMESSAGE, 0, 0x7F, Bytes{}).toString());
  EXPECT_EQ("1970-01-01 00:00:00.000000  CAN #1      | TxRq 005  1 ff",
            CANTraceMessage(0, 0, CAN_FRAME_TXREQUEST, 0, 0x5, Bytes{0xFF}).toString());
  // Raw state character, not a number.
  EXPECT_EQ("1970-01-01 00:00:00.000000  CAN #1      | Error Frame [error= 3]",
            CANTraceMessage(0, 0, CAN_FRAME_ERROR, '3', 0, Bytes{}).toString());
  EXPECT_EQ("1970-01-01 00:00:00.000000  CAN #1      | Rx   [Incorrect NUMBYTES=12]",
            CANTraceMessage(0, 0, CAN_FRAME_STANDARD, 0, 0x10, Bytes(12, 0x55)).toString());
  EXPECT_EQ("1970-01-01 00:00:00.000000  CAN #1      | [Unknown CAN message type 7]",
            CANTraceMessage(0, 0, static_cast<canframe_t>(7), 0, 0x10, Bytes{}).toString());

  // Upper-case digits only when the caller asks; flags and fill restored.
  std::ostringstream os;
  os << std::uppercase << std::setfill('*');
  CANTraceMessage up(0, 0, CAN_FRAME_STANDARD, 0, 0xABC, Bytes{0xEF});
  os << up;
  EXPECT_EQ("1970-01-01 00:00:00.000000  CAN #1      | Rx   ABC  1 EF", os.str());
  EXPECT_EQ('*', os.fill());
  EXPECT_EQ(std::ios::dec, os.flags() & std::ios::basefield);
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
  // Size field and header word are not compared.
  Bytes other = bytes;
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
  // Length 0: no value byte is looked at.
  CANTraceMessage empty(0, 1, CAN_FRAME_STANDARD, 0, 0x123, Bytes{});
  EXPECT_TRUE(empty == (canInfo_t{1, 0x123, 0, {}, {0xFF}}));
  // More data bytes than the filter's eight mask bytes never match (nothing read past them).
  CANExtTraceMessage fd(0, 1, CAN_FRAME_STANDARD, 0, CAN_TYPE_FD_STD, 0x123, Bytes(64, 0));
  EXPECT_FALSE(fd == (canInfo_t{1, 0x123, 64}));
}

TEST(CANTraceMessage, SourceChannelIsZeroBasedCascadesAndCloneKeepsAllState) {
  CANTraceMessage m(0, 0, CAN_FRAME_STANDARD, 0, 1, Bytes{});
  EXPECT_EQ("CAN #0", m.getSourceChannel());
  m.channel = 5;
  m.setSourceWord(0xDEADBEEF);
  EXPECT_EQ(0xDEADBEEF00000105ULL, m.getSourceChannelID());
  m.channel = 250;
  m.cascadeChannel(0x0108);  // only the low 8 bits count, modulo 256
  EXPECT_EQ(2, m.channel);

  m.headerWord = 0x0102;
  m.data[63] = 0x5A;  // beyond length: still copied by clone
  std::unique_ptr<MessageBase> copy(m.clone());
  auto* c = dynamic_cast<CANTraceMessage*>(copy.get());
  ASSERT_NE(nullptr, c);
  EXPECT_EQ(0x5A, c->data[63]);
  EXPECT_EQ(0x0102, c->headerWord);
  EXPECT_EQ(0xDEADBEEF00000102ULL, c->getSourceChannelID());
}
