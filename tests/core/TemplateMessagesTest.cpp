#include <gtest/gtest.h>

#include <sstream>

#include "support/TestSupport.h"
#include "vxtrace/vxtrace.h"

using vxtest::Bytes;
using vxtest::hex;

TEST(SimpleMessage, PrintsItsNameAndComparesIdentifiersOnly) {
  SimpleMessage<MSGID_START> a(0), b(123456789);
  EXPECT_EQ(a.toString(), "1970-01-01 00:00:00.000000  START");
  std::ostringstream os;
  os << a;
  EXPECT_EQ(os.str(), a.toString());
  EXPECT_TRUE(a == b);
  EXPECT_FALSE(a == SimpleMessage<MSGID_STOP>(0));
  EXPECT_FALSE(a == StringMessageBase<MSGID_VERSION>(0, ""));
  EXPECT_EQ(a.getSize(), 12u);
  EXPECT_STREQ(SimpleMessage<MSGID_DATALOGGINGSTOPPED>::getMessageName(),
               "SYSTEM: DATALOGGING STOPPED");
  EXPECT_STREQ(SimpleMessage<MSGID_CUSTOMER>::messageName, "CUSTOMER RESERVED");
  EXPECT_EQ(SimpleMessage<MSGID_TIMEJUMP>(2000000).toString(),
            "1970-01-01 00:00:02.000000  TIME JUMP");
}

TEST(SimpleMessage, DecodesHeaderFieldsAndClonesThem) {
  vxtest::RegistryGuard guard;
  auto m = vxtest::decode(vxtest::frame(MSGID_STOP, 0x0102030405060708ULL, {}, 0xCAFE));
  ASSERT_NE(m, nullptr);
  EXPECT_NE(dynamic_cast<SimpleMessage<MSGID_STOP>*>(m.get()), nullptr);
  EXPECT_EQ(m->timeStamp, 0x0102030405060708ULL);
  EXPECT_EQ(m->headerWord, 0xCAFE);
  std::unique_ptr<MessageBase> c(m->clone());
  EXPECT_EQ(c->headerWord, 0xCAFE);
  EXPECT_EQ(c->timeStamp, m->timeStamp);
  EXPECT_EQ(vxtest::serialise(*c), vxtest::frame(MSGID_STOP, 0x0102030405060708ULL, {}, 0xCAFE));
}

TEST(StringMessage, PadsNameToFortyColumnsThenPrintsText) {
  StringMessageBase<MSGID_TIMEZONE> tz(0, "UTC+1");
  EXPECT_EQ(tz.toString(), "1970-01-01 00:00:00.000000  TIME ZONE   | UTC+1");
  EXPECT_EQ(tz.toString().find('|'), 40u);
  StringMessageBase<MSGID_CONFIGURATIONDATA> cfg(0, "x");
  cfg.label = "a-rather-long-label-for-the-record";
  // Longer than 40 columns: written whole, no padding.
  EXPECT_EQ(cfg.toString(),
            "a-rather-long-label-for-the-record: 1970-01-01 00:00:00.000000  SYS CONFIG| x");
  std::ostringstream os;
  os << std::setfill('#') << std::right;
  os << tz << std::setw(3) << 1;
  EXPECT_EQ(os.str(), tz.toString() + "##1");
}

TEST(StringMessage, EncodesDecodesAndComparesText) {
  vxtest::RegistryGuard guard;
  StringMessageBase<MSGID_VERSION> v(3, "1.2");
  const Bytes bytes = vxtest::serialise(v, true);
  EXPECT_EQ(vxtest::toHex(bytes), "55 AA 00 0F 80 04 00 00 00 00 00 00 00 00 00 03 31 2E 32");
  auto m = vxtest::decode(Bytes(bytes.begin() + 2, bytes.end()));
  ASSERT_NE(m, nullptr);
  EXPECT_TRUE(*m == v);
  auto* s = dynamic_cast<StringMessageBase<MSGID_VERSION>*>(m.get());
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(static_cast<std::string&>(*s), "1.2");
  EXPECT_FALSE(v == StringMessageBase<MSGID_VERSION>(3, "1.3"));
  EXPECT_FALSE(v == StringMessageBase<MSGID_BYTESTREAM>(3, "1.2"));
  EXPECT_TRUE(v == StringMessageBase<MSGID_VERSION>(99, "1.2"));
  EXPECT_EQ(v.getSourceChannelID(), ~0ULL);

  auto empty = vxtest::decode(vxtest::frame(MSGID_TIMEZONE, 0, {}));
  auto* tz = dynamic_cast<StringMessageBase<MSGID_TIMEZONE>*>(empty.get());
  ASSERT_NE(tz, nullptr);
  EXPECT_TRUE(tz->empty());
  // A frame cut inside the header still decodes without reading past it.
  auto cut = vxtest::decode(hex("00 0C 80 04 00 00 00"));
  ASSERT_NE(cut, nullptr);
  EXPECT_EQ(cut->timeStamp, 0u);
}
