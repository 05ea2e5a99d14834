// Decoding, printing and encoding of every instance run in the all-records table; here what a
// table row cannot say.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "support/RecordCase.h"
#include "vxtrace/vxtrace.h"

TEST(TemplateMessages, NamesComparisonAndTheFortyColumnRule) {
  vxtest::RegistryGuard guard;
  EXPECT_STREQ(SimpleMessage<MSGID_CUSTOMER>::getMessageName(), "CUSTOMER RESERVED");
  SimpleMessage<MSGID_START> start(0);
  EXPECT_TRUE(start == SimpleMessage<MSGID_START>(123456789));  // time stamps are not compared
  EXPECT_FALSE(start == SimpleMessage<MSGID_STOP>(0));
  EXPECT_FALSE(start == StringMessageBase<MSGID_VERSION>(0, ""));
  StringMessageBase<MSGID_VERSION> v(3, "1.2");
  EXPECT_FALSE(v == StringMessageBase<MSGID_VERSION>(3, "1.3"));
  EXPECT_FALSE(v == StringMessageBase<MSGID_BYTESTREAM>(3, "1.2"));
  EXPECT_FALSE(v == SimpleMessage<MSGID_VERSION>(3));

  // Name and prefix padded to 40 columns; a longer head is written whole.
  StringMessageBase<MSGID_CONFIGURATIONDATA> cfg(0, "x");
  cfg.label = "a-rather-long-label-for-the-record";
  EXPECT_EQ(cfg.toString(),
            "a-rather-long-label-for-the-record: 1970-01-01 00:00:00.000000  SYS CONFIG| x");
  vxtest::checkRecordCase({138, "", "2020-09-13 12:26:40.123456  TIME ZONE   | ", 12});
}

TEST(TemplateMessages, RecordsOf64KiBAndMoreKeepTheirBodyUnderATruncatedSizeField) {
  for (unsigned size : {65536u, 65540u}) {
    std::string text(size - 12, 'a');
    for (std::size_t i = 0; i < text.size(); ++i) text[i] = static_cast<char>('a' + i % 26);
    const StringMessageBase<MSGID_VERSION> msg(1, text);
    std::vector<unsigned char> buf;
    ASSERT_EQ(msg.createByteArray(buf, true, false), size + 4) << size;
    ASSERT_EQ(buf.size(), size + 4);
    EXPECT_EQ(buf[2] << 8 | buf[3], static_cast<int>(size & 0xFFFF));
    std::unique_ptr<MessageBase> back(StringMessageBase<MSGID_VERSION>::readFromByteArray(
        buf.data() + 2, static_cast<unsigned>(buf.size() - 2)));
    EXPECT_TRUE(*back == msg) << size;
  }
}
