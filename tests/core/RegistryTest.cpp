#include <gtest/gtest.h>

#include <sstream>

#include "support/TestSupport.h"
#include "vxtrace/vxtrace.h"

using vxtest::Bytes;
using vxtest::hex;

namespace {

MessageBase* throwingCreator(const unsigned char*, unsigned int) {
  InvalidMessageException e(invalidEnumValue, "mostmsgType_t");
  e.value = 0x1234;
  throw e;
}

MessageBase* otherCreator(const unsigned char* d, unsigned int n) {
  return SimpleMessage<MSGID_STOP>::readFromByteArray(d, n);
}

std::string nameOf(msgid_t id) {
  std::ostringstream os;
  os << id;
  return os.str();
}

}  // namespace

TEST(MessageIds, UnlistedValuesPrintNothing) {
  EXPECT_EQ(nameOf(MSGID_CAN), "MSGID_CAN");
  EXPECT_EQ(nameOf(static_cast<msgid_t>(15)), "");
}

TEST(Registry, FirstRegistrationWinsAndNullRemoves) {
  vxtest::RegistryGuard guard;
  const Bytes start = vxtest::frame(MSGID_START, 5, {});
  EXPECT_FALSE(MessageBase::registerMessage(MSGID_START, otherCreator));
  EXPECT_EQ(vxtest::decode(start)->msgId, MSGID_START);
  EXPECT_TRUE(MessageBase::registerMessage(MSGID_START, nullptr));
  EXPECT_FALSE(MessageBase::registerMessage(MSGID_START, nullptr));
  EXPECT_EQ(vxtest::decode(start), nullptr);
  EXPECT_TRUE(MessageBase::registerMessage(MSGID_START, otherCreator));
  EXPECT_EQ(vxtest::decode(start)->msgId, MSGID_STOP);
  MessageBase::registerMessage(MSGID_START, nullptr);
  const auto before = MessageBase::creators.size();
  MessageBase::registerMessages();  // again: only the missing entry comes back
  EXPECT_EQ(MessageBase::creators.size(), before + 1);
}

TEST(Decoder, RejectsShortAndUnknownFramesPerInvalidHandling) {
  vxtest::RegistryGuard guard;
  const Bytes shortFrame = hex("00 0C 12");
  const Bytes unknown = vxtest::frame(15, 0, {});
  const Bytes four = hex("00 0C 00 0F");
  MessageBase::invalidHandling = 6;
  EXPECT_EQ(vxtest::decode(shortFrame), nullptr);
  EXPECT_EQ(vxtest::decode(unknown), nullptr);
  MessageBase::invalidHandling = 0;
  EXPECT_EQ(vxtest::decode(unknown), nullptr);

  MessageBase::invalidHandling = 1;
  auto m = vxtest::decode(shortFrame);
  auto* inv = dynamic_cast<InvalidMessage*>(m.get());
  ASSERT_NE(inv, nullptr);
  EXPECT_TRUE(inv->empty());
  EXPECT_EQ(inv->msgId, MSGID_INVALID);
  // Only byte 2 is there; byte 3 reads as zero.
  EXPECT_EQ(inv->toString(),
            "1970-01-01 00:00:00.000000  Invalid Message: Id=0x1200Invalid message length, n=0 ");

  m = vxtest::decode(four);
  inv = dynamic_cast<InvalidMessage*>(m.get());
  ASSERT_NE(inv, nullptr);
  EXPECT_EQ(inv->cause, invalidId);
  EXPECT_EQ(inv->toString(), "1970-01-01 00:00:00.000000  Invalid Message: Id=0x0f, n=0 ");
  std::unique_ptr<MessageBase> empty(MessageBase::readFromByteArray(nullptr, 0));
  EXPECT_NE(empty, nullptr);
}

TEST(Decoder, CarriesEnumerationFaultsIntoInvalidMessage) {
  vxtest::RegistryGuard guard;
  MessageBase::registerMessage(static_cast<msgid_t>(15), throwingCreator);
  const Bytes f = vxtest::frame(15, 2000000, hex("DE AD"), 0x0102);
  MessageBase::invalidHandling = 6;
  EXPECT_EQ(vxtest::decode(f), nullptr);
  MessageBase::invalidHandling = 1;
  auto m = vxtest::decode(f);
  auto* inv = dynamic_cast<InvalidMessage*>(m.get());
  ASSERT_NE(inv, nullptr);
  EXPECT_EQ(inv->cause, invalidEnumValue);
  EXPECT_EQ(inv->enumValue, 0x1234);
  EXPECT_EQ(inv->enumName, "mostmsgType_t");
  EXPECT_EQ(inv->timeStamp, 2000000u);
  EXPECT_EQ(inv->toString(),
            "1970-01-01 00:00:02.000000  Invalid Message: Id=0x0f, Invalid enum value "
            "'mostmsgType_t'=0x1234, n=2 de ad");
}

TEST(Decoder, OtherExceptionsReachTheCaller) {
  vxtest::RegistryGuard guard;
  MessageBase::registerMessage(static_cast<msgid_t>(15), [](const unsigned char*,
                                                             unsigned int) -> MessageBase* {
    throw BufferMismatchException("MOSTTraceAsynchMessage message too short");
  });
  MessageBase::invalidHandling = 1;
  const Bytes f = vxtest::frame(15, 0, {});
  EXPECT_THROW(vxtest::decode(f), BufferMismatchException);
}

TEST(InvalidMessage, CutsOverlongFramesAndFlagsOverflow) {
  Bytes f(70000, 0xA5);
  f[2] = 0x00;
  f[3] = 0x0F;
  InvalidMessage msg(f.data(), static_cast<unsigned int>(f.size()));
  EXPECT_TRUE(msg.overflow);
  EXPECT_EQ(msg.size(), 65536u);
  EXPECT_EQ(msg.getSize(), 65550u);
  const std::string text = msg.toString();
  EXPECT_EQ(text.substr(text.size() - 17), " a5 *** OVERRFLOW");
  EXPECT_NE(text.find(", n=65536 a5 a5"), std::string::npos);

  InvalidMessage exact(f.data(), 0x1000E);
  EXPECT_FALSE(exact.overflow);
  EXPECT_EQ(exact.size(), 65536u);
}

TEST(InvalidMessage, WriterCopiesRawBytesNotTheBodyAndIsNeverEqual) {
  const Bytes f = vxtest::frame(15, 1, hex("01 02 03"), 0x0A0B);
  InvalidMessage msg(f.data(), static_cast<unsigned int>(f.size()));
  EXPECT_FALSE(msg == msg);
  std::unique_ptr<MessageBase> copy(msg.clone());
  EXPECT_FALSE(*copy == msg);
  EXPECT_EQ(msg.getSize(), 17u);  // body + 14

  msg.rawBytes = {0xEE, 0xFF};
  std::vector<unsigned char> buf(40, 0x11);
  unsigned char* out = buf.data();
  EXPECT_EQ(msg.writeToByteArray(out, 40, false), 17u);
  EXPECT_EQ(out, buf.data() + 14);  // not advanced past the copied bytes
  EXPECT_EQ(vxtest::toHex(Bytes(buf.begin(), buf.begin() + 18)),
            "00 11 FF FF 00 00 00 00 00 00 00 00 00 01 EE FF 11 11");
  // Too little room: nothing written, nothing copied.
  std::vector<unsigned char> small(10, 0x22);
  out = small.data();
  EXPECT_EQ(msg.writeToByteArray(out, 10, false), 0u);
  EXPECT_EQ(small, std::vector<unsigned char>(10, 0x22));
}
