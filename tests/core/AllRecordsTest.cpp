// Runs over every registered identifier: a valid frame of each kind decodes, prints, re-encodes
// and clones, and every cut-off prefix of it is rejected or decoded without reading past it.
#include <gtest/gtest.h>

#include <map>
#include <memory>

#include "support/TestSupport.h"
#include "vxtrace/vxtrace.h"

using vxtest::Bytes;
using vxtest::frame;
using vxtest::hex;

namespace {

const unsigned long long kTs = 1600000000123456ULL;

// One canonical frame (from the size field on) per registered identifier.
const std::map<unsigned, Bytes>& samples() {
  static const std::map<unsigned, Bytes> table = {
      {MSGID_CAN, frame(MSGID_CAN, kTs, hex("02 00 00 02 01 23 AA BB"))},
      {MSGID_CAN_EXT, frame(MSGID_CAN_EXT, kTs, hex("01 00 40 03 C0 00 01 23 01 02 03"))},
      {MSGID_CONFIGURATIONDATA, frame(MSGID_CONFIGURATIONDATA, kTs, hex("61 3D 31"))},
      {MSGID_TIMEJUMP, frame(MSGID_TIMEJUMP, kTs, {})},
      {MSGID_DATALOGGINGSTOPPED, frame(MSGID_DATALOGGINGSTOPPED, kTs, {})},
      {MSGID_DATALOGGINGSTARTED, frame(MSGID_DATALOGGINGSTARTED, kTs, {})},
      {MSGID_STARTUP, frame(MSGID_STARTUP, kTs, {})},
      {MSGID_FILETIME, frame(MSGID_FILETIME, kTs, hex("00 05 AF 3F 12 34 56 78"))},
      {MSGID_TRIGGERCLEAR, frame(MSGID_TRIGGERCLEAR, kTs, {})},
      {MSGID_TIMEZONE, frame(MSGID_TIMEZONE, kTs, hex("55 54 43 2B 31"))},
      {MSGID_WRAPPER, frame(MSGID_WRAPPER, kTs, hex("01 02 03"))},
      {MSGID_PADDING, frame(MSGID_PADDING, kTs, hex("00 00 00 00"))},
      {MSGID_ENDOFFILE, frame(MSGID_ENDOFFILE, kTs, hex("00 00 1A 2B"))},
      {MSGID_GETVERSION, frame(MSGID_GETVERSION, kTs, {})},
      {MSGID_VERSION, frame(MSGID_VERSION, kTs, hex("31 2E 32"))},
      {MSGID_GETTIME, frame(MSGID_GETTIME, kTs, {})},
      {MSGID_BYTESTREAM, frame(MSGID_BYTESTREAM, kTs, hex("00 FF 7F"))},
      {MSGID_START, frame(MSGID_START, kTs, {})},
      {MSGID_STOP, frame(MSGID_STOP, kTs, {})},
  };
  return table;
}

// Decodes from a heap block of exactly the given length, so that a read past it is caught by
// the sanitizers.
std::unique_ptr<MessageBase> decodeExact(const Bytes& bytes, size_t length) {
  std::unique_ptr<unsigned char[]> block(new unsigned char[length ? length : 1]);
  std::copy(bytes.begin(), bytes.begin() + length, block.get());
  return std::unique_ptr<MessageBase>(
      MessageBase::readFromByteArray(block.get(), static_cast<unsigned int>(length)));
}

}  // namespace

TEST(AllRecords, EveryRegisteredKindDecodesPrintsEncodesAndClones) {
  vxtest::RegistryGuard guard;
  ASSERT_FALSE(MessageBase::creators.empty());
  for (const auto& entry : MessageBase::creators) {
    const unsigned id = entry.first;
    SCOPED_TRACE(testing::Message() << "identifier " << id);
    auto it = samples().find(id);
    ASSERT_NE(it, samples().end()) << "registered identifier without a sample frame";
    const Bytes& bytes = it->second;
    auto msg = decodeExact(bytes, bytes.size());
    ASSERT_NE(msg, nullptr);
    EXPECT_EQ(dynamic_cast<InvalidMessage*>(msg.get()), nullptr);
    EXPECT_EQ(msg->msgId, id);
    EXPECT_EQ(msg->timeStamp, kTs);
    EXPECT_EQ(msg->getSize() + 2, bytes.size());
    EXPECT_EQ(msg->toString().rfind("2020-09-13 12:26:40.123456  ", 0), 0u) << msg->toString();
    EXPECT_EQ(vxtest::serialise(*msg), bytes);
    Bytes withSync = vxtest::serialise(*msg, true);
    EXPECT_EQ(Bytes(withSync.begin() + 2, withSync.end()), bytes);
    std::unique_ptr<MessageBase> copy(msg->clone());
    EXPECT_TRUE(*copy == *msg);
    EXPECT_EQ(copy->toString(), msg->toString());
    EXPECT_EQ(copy->getSourceChannelID(), msg->getSourceChannelID());
  }
}

TEST(AllRecords, EveryPrefixIsRejectedOrDecodedWithinBounds) {
  vxtest::RegistryGuard guard;
  for (int handling : {1, 6}) {
    MessageBase::invalidHandling = handling;
    for (const auto& sample : samples()) {
      for (size_t n = 0; n < sample.second.size(); ++n) {
        SCOPED_TRACE(testing::Message() << "identifier " << sample.first << " length " << n);
        std::unique_ptr<MessageBase> msg;
        ASSERT_NO_THROW(msg = decodeExact(sample.second, n));
        if (n < 4) {
          // Too short for an identifier: always rejected.
          if (handling == 1) {
            auto* inv = dynamic_cast<InvalidMessage*>(msg.get());
            ASSERT_NE(inv, nullptr);
            EXPECT_EQ(inv->cause, invalidLength);
          } else {
            EXPECT_EQ(msg, nullptr);
          }
          continue;
        }
        if (!msg) {
          EXPECT_NE(handling, 1);
          continue;
        }
        // Whatever came back must print and survive a copy.
        EXPECT_FALSE(msg->toString().empty());
        std::unique_ptr<MessageBase> copy(msg->clone());
        std::vector<unsigned char> out;
        msg->createByteArray(out, true, false);
      }
    }
  }
}
