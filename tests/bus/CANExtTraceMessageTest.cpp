#include <gtest/gtest.h>

#include "support/RecordSupport.h"
#include "support/TestSupport.h"
#include "vxtrace/CANExtTraceMessage.h"
#include "vxtrace/Exceptions.h"

using vxtest::Bytes;
using vxtest::hex;

namespace {

CANExtTraceMessage decodeExt(const Bytes& b) {
  return CANExtTraceMessage(b.data(), static_cast<unsigned int>(b.size()));
}

// Decodes a body and returns the exception it raises.
InvalidMessageException rejectOf(const Bytes& body) {
  try {
    decodeExt(vxtest::frame(MSGID_CAN_EXT, 0, body));
  } catch (const InvalidMessageException& e) {
    return e;
  }
  ADD_FAILURE() << "no exception for " << vxtest::toHex(body);
  return InvalidMessageException(invalidLength, "");
}

}  // namespace

TEST(CANExtTraceMessage, WritesIdentifierWordWithTypeBits) {
  CANExtTraceMessage ext(0x0000000100000002ULL, 0, CAN_FRAME_STANDARD, 0, CAN_TYPE_EXTENDED,
                         0x1ABCDEF0, Bytes{0xAA, 0xBB});
  EXPECT_EQ(hex("00 16 00 0B 00 00 00 00 00 01 00 00 00 02 00 00 00 02 9A BC DE F0 AA BB"),
            vxtest::serialise(ext));
  struct {
    cantype_t type;
    const char* word;
  } rows[] = {{CAN_TYPE_STANDARD, "00 00 01 23"},
              {CAN_TYPE_FD_STD, "40 00 01 23"},
              {CAN_TYPE_FD_EXT, "C0 00 01 23"}};
  for (const auto& r : rows) {
    CANExtTraceMessage m(0, 1, CAN_FRAME_TXMESSAGE, 0x40, r.type, 0x123, Bytes{});
    EXPECT_EQ(hex(std::string("00 14 00 0B 00 00 00 00 00 00 00 00 00 00 01 02 40 00") + r.word),
              vxtest::serialise(m));
  }
}

TEST(CANExtTraceMessage, ErrorFramesCarryIdentifierOnlyForAck) {
  CANExtTraceMessage ack(0x0000000100000002ULL, 1, CAN_FRAME_ERROR, CAN_ERR_ACK, CAN_TYPE_EXTENDED,
                         0x1ABCDEF, Bytes{0xDE, 0xAD});
  EXPECT_EQ(hex("00 16 00 0B 00 00 00 00 00 01 00 00 00 02 01 01 03 02 81 AB CD EF DE AD"),
            vxtest::serialise(ack));
  // Decoded, it takes its type back from the word (printed with id and data).
  ack.type = CAN_TYPE_FD_EXT;
  EXPECT_EQ(ack.toString(), decodeExt(vxtest::serialise(ack)).toString());

  // Size 18 declared, four body bytes written: the two declared bytes beyond them are zeroed.
  CANExtTraceMessage stuff(0x0000000100000002ULL, 1, CAN_FRAME_ERROR, CAN_ERR_STUFF,
                           CAN_TYPE_EXTENDED, 0x123, Bytes{1, 2, 3});
  vxtest::Written w = vxtest::writeInto(stuff, 20, false);
  EXPECT_EQ(18u, w.result);
  EXPECT_EQ(18, w.advanced);
  EXPECT_EQ(hex("00 12 00 0B 00 00 00 00 00 01 00 00 00 02 01 01 01 03 00 00"), w.bytes);
  EXPECT_EQ(0u, vxtest::writeInto(stuff, 19, false).result);  // too small for the declared 18 + 2

  // Decoding keeps the length byte of a non-ACK error frame; id 0, type left at EXTENDED.
  CANExtTraceMessage d = decodeExt(hex("00 12 00 0B 00 00 00 00 00 00 00 00 00 05 02 01 06 07"));
  EXPECT_EQ(CAN_FRAME_ERROR, d.frame);
  EXPECT_EQ(7, d.length);
  EXPECT_EQ(0u, d.id);
  EXPECT_EQ(CAN_TYPE_EXTENDED, d.type);
}

TEST(CANExtTraceMessage, DecodesTypeBitsAndMasksIdentifier) {
  struct {
    const char* word;
    cantype_t type;
    uint32_t id;
  } rows[] = {{"00 00 09 23", CAN_TYPE_STANDARD, 0x123},
              {"40 00 09 23", CAN_TYPE_FD_STD, 0x123},
              {"9F FF 09 23", CAN_TYPE_EXTENDED, 0x1FFF0923},
              {"DF FF 09 23", CAN_TYPE_FD_EXT, 0x1FFF0923}};
  for (const auto& r : rows) {
    CANExtTraceMessage m =
        decodeExt(vxtest::frame(MSGID_CAN_EXT, 0, hex(std::string("00 00 00 01") + r.word + "5A")));
    EXPECT_EQ(r.type, m.type) << r.word;
    EXPECT_EQ(r.id, m.id) << r.word;
    EXPECT_EQ(0x5A, m.data[0]);
    EXPECT_EQ(r.type,
              CANExtTraceMessage::getCANTypeFromFrame(static_cast<uint32_t>(hex(r.word)[0]) << 24));
  }
}

TEST(CANExtTraceMessage, RejectsFrameStateAndBit29InThatOrder) {
  // Every fault present: the frame byte first. Reserved state bits: the value is the frame byte
  // (2), not the state byte. An ACK error frame carries the identifier word and is checked.
  const struct {
    const char* body;
    const char* text;
    int value;
  } rows[] = {{"00 04 30 00 20 00 00 00", "canframe_t", 4},
              {"00 02 10 00 20 00 00 00", "canstaterr_t", 2},
              {"00 00 00 00 20 00 00 00", "CAN-ID bit 29 set", 0},
              {"00 01 03 00 20 00 00 00", "CAN-ID bit 29 set", 0}};
  for (const auto& row : rows) {
    InvalidMessageException e = rejectOf(hex(row.body));
    EXPECT_EQ(invalidEnumValue, e.cause) << row.body;
    EXPECT_EQ(row.text, e.text) << row.body;
    EXPECT_EQ(row.value, e.value) << row.body;
  }
  // A STUFF error frame has no identifier word to check.
  EXPECT_NO_THROW(decodeExt(vxtest::frame(MSGID_CAN_EXT, 0, hex("00 01 01 00 20 00 00 00"))));
}

TEST(CANExtTraceMessage, ClampsLengthAndNeverReadsPastTheGivenLength) {
  Bytes body = hex("00 00 00 FF 00 00 01 23");
  for (int i = 0; i < 70; ++i) body.push_back(static_cast<uint8_t>(i));
  CANExtTraceMessage m = decodeExt(vxtest::frame(MSGID_CAN_EXT, 0, body));
  EXPECT_EQ(64, m.length);
  EXPECT_EQ(63, m.data[63]);

  // Three data bytes present of 64 announced; the rest reads as 0.
  CANExtTraceMessage c =
      decodeExt(vxtest::frame(MSGID_CAN_EXT, 0, hex("00 00 00 40 00 00 01 23 01 02 03")));
  EXPECT_EQ(64, c.length);
  EXPECT_EQ(hex("01 02 03 00"), Bytes(c.data, c.data + 4));
  // Cut inside the identifier word: it reads as 0 and passes the bit-29 check.
  CANExtTraceMessage w = decodeExt(hex("00 14 00 0B 00 00 00 00 00 00 00 00 00 00 00 00 00 00 20"));
  EXPECT_EQ(0u, w.id);
}

TEST(CANExtTraceMessage, PrintsTypeFlagsErrorsAndData) {
  const Bytes twelve = hex("00 01 02 03 04 05 06 07 08 09 0A 0B");
  EXPECT_EQ(
      "1970-01-01 00:00:01.500000  CAN #1      | FD_STD Rx    [ ESI BRS ]00000123  12 "
      "00 01 02 03 04 05 06 07 08 09 0a 0b",
      CANExtTraceMessage(1500000, 0, CAN_FRAME_STANDARD, 0xC0, CAN_TYPE_FD_STD, 0x123, twelve)
          .toString());
  EXPECT_EQ(
      "1970-01-01 00:00:00.000000  CAN #10     | FD_EXT Tx   [error=CRC]  [ BRS ]01abcdef   1 05",
      CANExtTraceMessage(0, 9, CAN_FRAME_TXMESSAGE, 0x46, CAN_TYPE_FD_EXT, 0x1ABCDEF, Bytes{5})
          .toString());
  EXPECT_EQ(
      "1970-01-01 00:00:00.000000  CAN #2      | EXTENDED Error Frame [error=ACK] 01abcdef   2 de "
      "ad",
      CANExtTraceMessage(0, 1, CAN_FRAME_ERROR, CAN_ERR_ACK, CAN_TYPE_EXTENDED, 0x1ABCDEF,
                         Bytes{0xDE, 0xAD})
          .toString());
  EXPECT_EQ("1970-01-01 00:00:00.000000  CAN #2      | EXTENDED Error Frame [error=STUFF]",
            CANExtTraceMessage(0, 1, CAN_FRAME_ERROR, CAN_ERR_STUFF, CAN_TYPE_EXTENDED, 0, Bytes{})
                .toString());
  EXPECT_EQ("1970-01-01 00:00:00.000000  CAN #1      | STANDARD[Unknown CAN message type 5]",
            CANExtTraceMessage(0, 0, static_cast<canframe_t>(5), 0, CAN_TYPE_STANDARD, 0, Bytes{})
                .toString());

  // A caller's left alignment and hex base do not leak into the fields; state is restored.
  std::ostringstream os;
  os << std::left << std::hex << std::setfill('#');
  os << CANExtTraceMessage(0, 0, CAN_FRAME_STANDARD, 0, CAN_TYPE_STANDARD, 0x12, Bytes{0x0A});
  EXPECT_EQ("1970-01-01 00:00:00.000000  CAN #1      | STANDARD Rx   00000012   1 0a", os.str());
  EXPECT_EQ('#', os.fill());
  EXPECT_EQ(std::ios::left | std::ios::hex,
            os.flags() & (std::ios::adjustfield | std::ios::basefield));
}

TEST(CANExtTraceMessage, ComparesWithStoredWordIncludingFlagBits) {
  CANExtTraceMessage std11(7, 2, CAN_FRAME_STANDARD, 0, CAN_TYPE_STANDARD, 0x123, Bytes{1, 2});
  Bytes bytes = vxtest::serialise(std11);
  EXPECT_TRUE(std11 == bytes);
  Bytes changed = bytes;
  changed[23] ^= 0xFF;
  EXPECT_FALSE(std11 == changed);
  EXPECT_FALSE(std11 == Bytes(bytes.begin(), bytes.end() - 1));

  // The stored word keeps its type bits, the decoded id does not: never equal.
  CANExtTraceMessage ext(7, 2, CAN_FRAME_STANDARD, 0, CAN_TYPE_EXTENDED, 0x123, Bytes{1, 2});
  EXPECT_FALSE(ext == vxtest::serialise(ext));
  // A non-ACK error frame is written with 18 bytes plus padding: shorter than the 22 read.
  CANExtTraceMessage err(7, 2, CAN_FRAME_ERROR, CAN_ERR_BIT0, CAN_TYPE_EXTENDED, 0, Bytes{});
  EXPECT_FALSE(err == vxtest::serialise(err));
}
