#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>

#include "support/RecordCase.h"
#include "vxtrace/vxtrace.h"

namespace {

#define CONT TS "  CONTAINER   | pId = "
#define TIME "05 AF 31 07 A5 E2 40"

// clang-format off
const RecordCase kContainerCases[] = {
    // As built from no records: pId 0xFFFF, an empty block.
    {12, "FF FF 00 00 00 00 00 00 00 00 00 00 00 00 00",
     CONT "MSGID_INVALID, numOfMsg = 0, compression = 0, blockSize = 0, lastMsgTime = 0, "
          "channels = (empty)", 27},
    // One channel, then the two fill bytes that align the block: skipped, and not written back.
    {12, "00 01 02 00 00" TIME "00 02 01 07 FF FF AB CD",
     CONT "MSGID_CAN, numOfMsg = 2, compression = 0, blockSize = 2, "
          "lastMsgTime = 1600000000123456, channels = 7", 30,
     vxtest::kDecodes,
     "00 01 02 00 00" TIME "00 02 01 07 AB CD"},
    // A block that starts like fill is written after real fill, so that it reads back whole.
    {12, "00 01 02 00 00" TIME "00 03 02 07 08 FF FF FF 01",
     CONT "MSGID_CAN, numOfMsg = 2, compression = 0, blockSize = 3, "
          "lastMsgTime = 1600000000123456, channels = 7, 8", 33},
    // Fill not all 0xFF: nothing skipped.
    {12, "00 01 02 00 00" TIME "00 03 01 07 FF 00 AB",
     CONT "MSGID_CAN, numOfMsg = 2, compression = 0, blockSize = 3, "
          "lastMsgTime = 1600000000123456, channels = 7", 31},
    // No channels: three fill bytes; three channels: none.
    {12, "00 01 02 00 00" TIME "00 01 00 FF FF FF 01",
     CONT "MSGID_CAN, numOfMsg = 2, compression = 0, blockSize = 1, "
          "lastMsgTime = 1600000000123456, channels = (empty)", 28,
     vxtest::kDecodes,
     "00 01 02 00 00" TIME "00 01 00 01"},
    {12, "00 01 02 00 00" TIME "00 01 03 01 02 FF FF",
     CONT "MSGID_CAN, numOfMsg = 2, compression = 0, blockSize = 1, "
          "lastMsgTime = 1600000000123456, channels = 1, 2, 255", 31},
    // Any non-zero flag reads as compressed and is written back as 1.
    {12, "00 0B 2C 02 00" TIME "01 2C 00 F0",
     CONT "MSGID_CAN_EXT, numOfMsg = 44, compression = 1, blockSize = 300, "
          "lastMsgTime = 1600000000123456, channels = (empty)", 28,
     vxtest::kDecodes,
     "00 0B 2C 01 00" TIME "01 2C 00 F0"},
    // Cut inside lastMsgTime: the rest reads as 0.
    {12, "00 01 05 01 00 00",
     CONT "MSGID_CAN, numOfMsg = 5, compression = 1, blockSize = 0, lastMsgTime = 0, "
          "channels = (empty)", 27,
     vxtest::kDecodes,
     "00 01 05 01 00 00 00 00 00 00 00 00 00 00 00"},
    // Four channels announced, two present: only those are kept.
    {12, "00 01 01 00 00" TIME "00 00 04 07 08",
     CONT "MSGID_CAN, numOfMsg = 1, compression = 0, blockSize = 0, "
          "lastMsgTime = 1600000000123456, channels = 7, 8", 29,
     vxtest::kDecodes,
     "00 01 01 00 00" TIME "00 00 02 07 08"},
};
// clang-format on

std::vector<std::unique_ptr<MessageBase>> manyKinds() {
  std::vector<std::unique_ptr<MessageBase>> v;
  v.emplace_back(new CANTraceMessage(1000, 1, CAN_FRAME_STANDARD, 0, 0x123, Bytes{1, 2, 3}));
  v.emplace_back(new MarkerMessage(1001, 7, 1500000));
  v.emplace_back(new SimpleMessage<MSGID_START>(1002));
  v.emplace_back(new StringMessageBase<MSGID_TIMEZONE>(1003, "UTC+1"));
  v.emplace_back(new EofMessage(1004, 0x1A2B));
  v.emplace_back(new WrapperMessage(1005, Bytes{0x55, 0xAA, 0x00}));
  auto* meta = new TraceFileMetaInfoMessage(1006, TraceFileMetaInfoMessage::META_TIME_SPAN);
  meta->endTime = 1000000;
  v.emplace_back(meta);
  v.emplace_back(new FileTimeMessage(1007, 42));
  return v;
}

std::unique_ptr<ContainerMessage> reread(const ContainerMessage& c) {
  auto msg = vxtest::decode(vxtest::serialise(c, false));
  auto* back = dynamic_cast<ContainerMessage*>(msg.get());
  if (back == nullptr) return nullptr;
  msg.release();
  return std::unique_ptr<ContainerMessage>(back);
}

}  // namespace

TEST(ContainerMessage, DecodesPrintsAndWritesEveryBodyLayout) {
  vxtest::checkRecordCases(kContainerCases);
}

TEST(ContainerMessage, RoundTripsManyRecordKindsPlainAndCompressed) {
  vxtest::RegistryGuard registry;
  const auto originals = manyKinds();
  for (bool compressed : {false, true}) {
    SCOPED_TRACE(compressed ? "compressed" : "plain");
    ContainerMessage c(compressed, originals);
    EXPECT_EQ(c.numOfMsg, originals.size());
    EXPECT_EQ(c.pId, MSGID_CAN);
    EXPECT_EQ(c.timeStamp, 1000u);
    EXPECT_EQ(c.lastMsgTime, 1007u);
    unsigned int plainBlock = 0;
    for (const auto& m : originals) plainBlock += m->getSize() + 4;
    EXPECT_EQ(c.blockSize, plainBlock);
    EXPECT_EQ(c.data.size() == plainBlock, !compressed);
    // Written size is the declared size, not the bytes written.
    EXPECT_EQ(vxtest::writeInto(c, c.getSize() + 4, true).result, c.getSize());

    auto back = reread(c);
    ASSERT_NE(back, nullptr);
    EXPECT_TRUE(*back == c);
    const Bytes frame = vxtest::serialise(c);
    EXPECT_EQ(ContainerMessage::getUncompressedSize(frame.data(), frame.size()),
              27 + 2 + plainBlock);
    vxtest::Capture err(std::cerr);
    ASSERT_TRUE(back->decompress(back->numOfMsg, back->data.data(), back->data.size()));
    EXPECT_EQ(err.text(), "");
    ASSERT_EQ(back->messages.size(), originals.size());
    for (std::size_t i = 0; i < originals.size(); ++i) {
      EXPECT_TRUE(*back->messages[i] == *originals[i]) << i;
      EXPECT_EQ(back->messages[i]->toString(), originals[i]->toString()) << i;
    }
    // The copy owns copies of the decoded records.
    ContainerMessage copy(*back);
    ASSERT_EQ(copy.messages.size(), originals.size());
    EXPECT_NE(copy.messages[0].get(), back->messages[0].get());
  }
}

TEST(ContainerMessage, CountIsCutToEightBitsAndDecodingStopsThere) {
  vxtest::RegistryGuard registry;
  std::vector<std::unique_ptr<MessageBase>> many;
  for (int i = 0; i < 300; ++i)
    many.emplace_back(new CANTraceMessage(i, 0, CAN_FRAME_STANDARD, 0, i, Bytes{uint8_t(i)}));
  ContainerMessage c(true, std::move(many));
  EXPECT_EQ(c.numOfMsg, 44);
  EXPECT_EQ(c.lastMsgTime, 299u);
  EXPECT_LT(c.data.size(), c.blockSize / 2u);  // repetitive traffic compresses well
  auto back = reread(c);
  ASSERT_NE(back, nullptr);
  ASSERT_TRUE(back->decompress(back->numOfMsg, back->data.data(), back->data.size()));
  ASSERT_EQ(back->messages.size(), 44u);
  EXPECT_EQ(back->messages[43]->timeStamp, 43u);
  const ContainerMessage empty(false, std::vector<std::unique_ptr<MessageBase>>{});
  EXPECT_EQ(
      vxtest::toHex(vxtest::serialise(empty)),
      "00 1B 00 0C 00 00 00 00 00 00 00 00 00 00 FF FF 00 00 00 00 00 00 00 00 00 00 00 00 00");
}

TEST(ContainerMessage, DecompressReportsEachFailureWithItsLine) {
  vxtest::RegistryGuard registry;
  // A creator that fails with something other than a malformed-frame exception.
  MessageBase::registerMessage(MSGID_GPS, [](const unsigned char*, unsigned int) -> MessageBase* {
    throw std::runtime_error("boom");
  });
  const std::string can = vxtest::toHex(
      vxtest::serialise(CANTraceMessage(0, 1, CAN_FRAME_STANDARD, 0, 0x7FF, Bytes{}), true));
  const std::string can2 = vxtest::toHex(
      vxtest::serialise(CANTraceMessage(1, 0, CAN_FRAME_STANDARD, 0, 0x12, Bytes{9, 8}), true));
  struct Row {
    std::string block;
    unsigned char expected;
    bool result;
    std::size_t decoded;
    const char* firstLine;
  };
  const std::string E = "[ERROR] ContainerMessage::decompress: ";
  const Row rows[] = {
      {can + can2, 2, true, 2, ""},
      {can + can2, 3, true, 2, "num of messages mismatch: 2(found) != 3(expected)"},
      {can + "12 34" + can2.substr(6), 2, false, 1, "missing sync marker on message #2 (1234)"},
      {can + can2.substr(0, can2.size() - 3), 2, false, 1, "not enough data for message #2"},
      {can + "55 AA 00 0C 00 16 00 00 00 00 00 00 00 00 00 00 00", 2, false, 1,
       "exception in readFromByteArray, msgCounter = 2"},
      // A bare header-only frame at the very end is left: 16 bytes do not start a record.
      {can + "55 AA 00 0C 80 20 00 00 00 00 00 00 00 00 00 00", 2, true, 1,
       "num of messages mismatch: 1(found) != 2(expected)"},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.block);
    const Bytes block = hex(r.block);
    ContainerMessage c(0, MSGID_CAN, false, 0, 0, r.expected, block.data(), block.size());
    vxtest::Capture err(std::cerr);
    // The decoder sees the block in an exact-size heap copy.
    std::unique_ptr<uint8_t[]> exact(new uint8_t[block.size()]);
    std::copy(block.begin(), block.end(), exact.get());
    EXPECT_EQ(c.decompress(r.expected, exact.get(), block.size()), r.result);
    EXPECT_EQ(c.messages.size(), r.decoded);
    const std::string text = err.text();
    EXPECT_EQ(text.substr(0, text.find('\n')), *r.firstLine ? E + r.firstLine : "");
    // The block dump follows the line: its first row starts at offset 0.
    if (*r.firstLine) {
      EXPECT_NE(text.find("\n0000: "), std::string::npos);
    }
  }
}

// A creator may decode a container of its own while the outer block is being walked: the two
// blocks must not share a buffer.
TEST(ContainerMessage, NestedDecompressLeavesTheOuterBlockIntact) {
  vxtest::RegistryGuard registry;
  static const ContainerMessage* inner = nullptr;
  const ContainerMessage nested(true, manyKinds());
  inner = &nested;
  nested.decompress(nested.numOfMsg, nested.data.data(), nested.data.size());  // buffer warm
  MessageBase::registerMessage(MSGID_GPS, [](const unsigned char*, unsigned int) -> MessageBase* {
    inner->messages.clear();
    inner->decompress(inner->numOfMsg, inner->data.data(), inner->data.size());
    return inner->messages.empty() ? nullptr : inner->messages.back()->clone();
  });
  const CANTraceMessage a(1, 0, CAN_FRAME_STANDARD, 0, 0x12, Bytes{1, 2});
  const CANTraceMessage b(2, 0, CAN_FRAME_STANDARD, 0, 0x34, Bytes{3, 4, 5});
  Bytes plain = vxtest::serialise(a, true);
  const Bytes gps = hex("55 AA 00 0C 00 16 00 00 00 00 00 00 00 00 00 00");
  const Bytes last = vxtest::serialise(b, true);
  plain.insert(plain.end(), gps.begin(), gps.end());
  plain.insert(plain.end(), last.begin(), last.end());
  std::vector<uint8_t> packed;
  ASSERT_EQ(XMatchProCompressor().run(plain.data(), plain.data() + plain.size(), &packed), 0);
  ContainerMessage outer(0, MSGID_CAN, true, 0, plain.size(), 3, packed.data(), packed.size());
  ASSERT_TRUE(outer.decompress(3, outer.data.data(), outer.data.size()));
  ASSERT_EQ(outer.messages.size(), 3u);
  EXPECT_TRUE(*outer.messages[0] == a);
  EXPECT_TRUE(*outer.messages[1] == FileTimeMessage(1007, 42));
  EXPECT_TRUE(*outer.messages[2] == b);
}

TEST(ContainerMessage, CorruptOrForeignCompressedBlocksFailWithoutOverrun) {
  vxtest::RegistryGuard registry;
  ContainerMessage good(true, manyKinds());
  const Bytes block = good.data;
  auto attempt = [&](const Bytes& b, uint16_t blockSize, std::string* err) {
    ContainerMessage c(0, MSGID_CAN, true, 0, blockSize, 8, b.data(), b.size());
    std::unique_ptr<uint8_t[]> exact(new uint8_t[b.size() + 1]);
    std::copy(b.begin(), b.end(), exact.get());
    vxtest::Capture cap(std::cerr);
    const bool ok = c.decompress(8, exact.get(), b.size());
    *err = cap.text();
    return ok;
  };
  const std::string E = "[ERROR] ContainerMessage::decompress: ";
  std::string err;
  EXPECT_FALSE(attempt(Bytes(block.begin(), block.end() - 5), good.blockSize, &err));
  EXPECT_EQ(err, E + "corrupt or truncated input\n");
  EXPECT_FALSE(attempt(hex("FF FF FF FF 00 01 02"), 100, &err));  // another codec's block
  EXPECT_EQ(err, E + "corrupt or truncated input\n");
  // blockSize bounds the output: a block that yields more is refused.
  EXPECT_FALSE(attempt(block, good.blockSize - 1, &err));
  EXPECT_EQ(err, E + "corrupt or truncated input\n");
  EXPECT_FALSE(attempt(block, good.blockSize + 1, &err));
  EXPECT_EQ(err, E + "size mismatch\n");
  EXPECT_FALSE(attempt(hex("00"), 0, &err));
  EXPECT_EQ(err, E + "nothing decompressed, out vector is empty\n");
}

TEST(ContainerMessage, CodecTextsAndUncompressedSizeOfPlainFrames) {
  EXPECT_STREQ(XMatchPro::getErrorString(1), "output buffer too small");
  EXPECT_EQ(XMatchPro::getErrorString(4), nullptr);
  const Bytes plain = vxtest::caseFrame(kContainerCases[1]);
  EXPECT_EQ(ContainerMessage::getUncompressedSize(plain.data(), 20), 20u);
  // Compressed flag set: 29 + N + blockSize. Cut after blockSize's first byte (0x01), the
  // field reads 0x0100 and the missing N 0.
  const Bytes compressed = vxtest::caseFrame(kContainerCases[6]);
  EXPECT_EQ(ContainerMessage::getUncompressedSize(compressed.data(), compressed.size()), 329u);
  EXPECT_EQ(ContainerMessage::getUncompressedSize(compressed.data(), 27), 285u);
  EXPECT_EQ(ContainerMessage(true, SimpleMessage<MSGID_STOP>(5)).getSourceChannel(), "CONTAINER");
}
