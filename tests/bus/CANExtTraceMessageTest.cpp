#include <gtest/gtest.h>

#include "support/TestSupport.h"
#include "vxtrace/CANExtTraceMessage.h"
#include "vxtrace/InvalidMessage.h"

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
  EXPECT_EQ(hex("00 16 00 0B 00 00 00 00 00 01 00 00 00 02"
                "00 00 00 02 9A BC DE F0 AA BB"),
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
  EXPECT_EQ(22u, ack.getSize());
  EXPECT_EQ(hex("00 16 00 0B 00 00 00 00 00 01 00 00 00 02"
                "01 01 03 02 81 AB CD EF DE AD"),
            vxtest::serialise(ack));

  // Size 18 declared, four body bytes written: the last two bytes of the frame are not touched.
  CANExtTraceMessage stuff(0x0000000100000002ULL, 1, CAN_FRAME_ERROR, CAN_ERR_STUFF,
                           CAN_TYPE_EXTENDED, 0x123, Bytes{1, 2, 3});
  unsigned char buf[24];
  std::fill(std::begin(buf), std::end(buf), 0xEE);
  unsigned char* out = buf;
  EXPECT_EQ(18u, stuff.writeToByteArray(out, sizeof buf, false));
  EXPECT_EQ(buf + 18, out);
  EXPECT_EQ(hex("00 12 00 0B 00 00 00 00 00 01 00 00 00 02 01 01 01 03 EE EE"),
            Bytes(buf, buf + 20));
  // A room of 19 is too small for the declared 18 + 2.
  out = buf;
  EXPECT_EQ(0u, stuff.writeToByteArray(out, 19, false));

  // Decoding keeps the length byte of a non-ACK error frame; id 0, type left at EXTENDED.
  CANExtTraceMessage d = decodeExt(hex("00 12 00 0B 00 00 00 00 00 00 00 00 00 05 02 01 06 07"));
  EXPECT_EQ(CAN_FRAME_ERROR, d.frame);
  EXPECT_EQ(7, d.length);
  EXPECT_EQ(0u, d.id);
  EXPECT_EQ(CAN_TYPE_EXTENDED, d.type);
  EXPECT_EQ(18u, d.getSize());
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
  // Every fault present: the frame byte is reported first.
  InvalidMessageException e = rejectOf(hex("00 04 30 00 20 00 00 00"));
  EXPECT_EQ(invalidEnumValue, e.cause);
  EXPECT_EQ("canframe_t", e.text);
  EXPECT_EQ(4, e.value);
  // Reserved state bits: the value is the frame byte (2), not the state byte.
  e = rejectOf(hex("00 02 10 00 20 00 00 00"));
  EXPECT_EQ(invalidEnumValue, e.cause);
  EXPECT_EQ("canstaterr_t", e.text);
  EXPECT_EQ(2, e.value);
  e = rejectOf(hex("00 00 00 00 20 00 00 00"));
  EXPECT_EQ(invalidEnumValue, e.cause);
  EXPECT_EQ("CAN-ID bit 29 set", e.text);
  EXPECT_EQ(0, e.value);
  // An ACK error frame carries the word and is checked; a STUFF error frame has none.
  e = rejectOf(hex("00 01 03 00 20 00 00 00"));
  EXPECT_EQ("CAN-ID bit 29 set", e.text);
  EXPECT_NO_THROW(decodeExt(vxtest::frame(MSGID_CAN_EXT, 0, hex("00 01 01 00 20 00 00 00"))));

  // Through the decoder the cause reaches the InvalidMessage.
  vxtest::RegistryGuard guard;
  MessageBase::invalidHandling = 1;
  auto msg = vxtest::decode(vxtest::frame(MSGID_CAN_EXT, 0, hex("00 02 20 00 00 00 01 23")));
  auto* inv = dynamic_cast<InvalidMessage*>(msg.get());
  ASSERT_NE(nullptr, inv);
  EXPECT_EQ(invalidEnumValue, inv->cause);
  EXPECT_EQ("canstaterr_t", inv->enumName);
  EXPECT_EQ(2, inv->enumValue);
}

TEST(CANExtTraceMessage, ClampsLengthAndNeverReadsPastTheGivenLength) {
  Bytes body = hex("00 00 00 FF 00 00 01 23");
  for (int i = 0; i < 70; ++i) body.push_back(static_cast<uint8_t>(i));
  CANExtTraceMessage m = decodeExt(vxtest::frame(MSGID_CAN_EXT, 0, body));
  EXPECT_EQ(64, m.length);
  EXPECT_EQ(63, m.data[63]);
  EXPECT_EQ(84u, m.getSize());

  // Three data bytes present of 64 announced; the rest reads as 0.
  Bytes cut = vxtest::frame(MSGID_CAN_EXT, 0, hex("00 00 00 40 00 00 01 23 01 02 03"));
  CANExtTraceMessage c = decodeExt(cut);
  EXPECT_EQ(64, c.length);
  EXPECT_EQ(3, c.data[2]);
  EXPECT_EQ(0, c.data[3]);
  // Cut inside the identifier word: it reads as 0 and passes the bit-29 check.
  CANExtTraceMessage w = decodeExt(hex("00 14 00 0B 00 00 00 00 00 00 00 00 00 00 00 00 00 00 20"));
  EXPECT_EQ(0u, w.id);
}

TEST(CANExtTraceMessage, PrintsTypeFlagsErrorsAndData) {
  Bytes twelve;
  for (int i = 0; i < 12; ++i) twelve.push_back(static_cast<uint8_t>(i));
  CANExtTraceMessage fd(1500000, 0, CAN_FRAME_STANDARD, 0xC0, CAN_TYPE_FD_STD, 0x123, twelve);
  EXPECT_EQ(
      "1970-01-01 00:00:01.500000  CAN #1      | FD_STD Rx    [ ESI BRS ]00000123  12 "
      "00 01 02 03 04 05 06 07 08 09 0a 0b",
      fd.toString());
  CANExtTraceMessage brs(0, 9, CAN_FRAME_TXMESSAGE, 0x46, CAN_TYPE_FD_EXT, 0x1ABCDEF, Bytes{5});
  EXPECT_EQ(
      "1970-01-01 00:00:00.000000  CAN #10     | FD_EXT Tx   [error=CRC]  [ BRS ]01abcdef"
      "   1 05",
      brs.toString());

  CANExtTraceMessage ack(0, 1, CAN_FRAME_ERROR, CAN_ERR_ACK, CAN_TYPE_EXTENDED, 0x1ABCDEF,
                         Bytes{0xDE, 0xAD});
  EXPECT_EQ(
      "1970-01-01 00:00:00.000000  CAN #2      | EXTENDED Error Frame [error=ACK] "
      "01abcdef   2 de ad",
      ack.toString());
  CANExtTraceMessage stuff(0, 1, CAN_FRAME_ERROR, CAN_ERR_STUFF, CAN_TYPE_EXTENDED, 0, Bytes{});
  EXPECT_EQ("1970-01-01 00:00:00.000000  CAN #2      | EXTENDED Error Frame [error=STUFF]",
            stuff.toString());
  CANExtTraceMessage unknown(0, 0, static_cast<canframe_t>(5), 0, CAN_TYPE_STANDARD, 0, Bytes{});
  EXPECT_EQ("1970-01-01 00:00:00.000000  CAN #1      | STANDARD[Unknown CAN message type 5]",
            unknown.toString());

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

TEST(CANExtTraceMessage, RoundTripsThroughRegistryAndClones) {
  vxtest::RegistryGuard guard;
  Bytes payload(64);
  for (std::size_t i = 0; i < payload.size(); ++i) payload[i] = static_cast<uint8_t>(0xFF - i);
  CANExtTraceMessage fd(0x0123456789ABCDEFULL, 7, CAN_FRAME_STANDARD, 0xC0, CAN_TYPE_FD_EXT,
                        0x1FFFFFFF, payload);
  CANExtTraceMessage ack(5, 0, CAN_FRAME_ERROR, CAN_ERR_ACK, CAN_TYPE_FD_STD, 0x7FF, Bytes{1});
  CANExtTraceMessage bit1(5, 0, CAN_FRAME_ERROR, CAN_ERR_BIT1, CAN_TYPE_EXTENDED, 0, Bytes{});
  for (const CANExtTraceMessage* m : {&fd, &ack, &bit1}) {
    auto decoded = vxtest::decode(vxtest::serialise(*m, false));
    auto* ext = dynamic_cast<CANExtTraceMessage*>(decoded.get());
    ASSERT_NE(nullptr, ext);
    EXPECT_TRUE(*ext == *m);
    EXPECT_EQ(m->type, ext->type);
    EXPECT_EQ(m->toString(), ext->toString());
    std::unique_ptr<MessageBase> copy(ext->clone());
    EXPECT_EQ(ext->toString(), copy->toString());
  }
}
