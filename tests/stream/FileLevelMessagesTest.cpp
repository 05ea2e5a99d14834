#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <sstream>

#include "support/RecordSupport.h"
#include "support/TestSupport.h"
#include "vxtrace/vxtrace.h"

using vxtest::Bytes;
using vxtest::hex;
using vxtest::serialise;
using vxtest::toHex;

namespace {

const std::string kPrefix1s5 = "1970-01-01 00:00:01.500000";

}  // namespace

TEST(FileLevelMessages, EofWritesCrcAndPrintsItLowerCaseWhateverTheStream) {
  EofMessage eof(1500000, 0x1A2B);
  eof.headerWord = 0x0102;
  EXPECT_EQ(toHex(serialise(eof, true)),
            "55 AA 00 10 00 FF 01 02 00 00 00 00 00 16 E3 60 00 00 1A 2B");
  EXPECT_EQ(eof.toString(), kPrefix1s5 + "  EOF         | CRC = 0x00001a2b");
  // The stream's upper case does not reach the checksum, and its state comes back as it was.
  std::ostringstream os;
  os << std::uppercase << std::setfill('*');
  eof.crc = 0xDEADBEEF;
  os << eof << ' ' << 255;
  EXPECT_EQ(os.str(), kPrefix1s5 + "  EOF         | CRC = 0xdeadbeef 255");
  EXPECT_EQ(os.fill(), '*');
  EXPECT_TRUE(os.flags() & std::ios::uppercase);
}

TEST(FileLevelMessages, FileTimePrintsHexDecimalAndDateInTheStreamsCase) {
  FileTimeMessage ft(0, 1500000);  // a plain 0 time stamp must pick the field constructor
  EXPECT_EQ(ft.toString(),
            "1970-01-01 00:00:00.000000  FILE TIME   | Time = 0x0016e360 (1500000) = "
            "1970-01-01 00:00:01.500000");
  std::ostringstream os;
  os << std::uppercase << std::hex;
  ft.fileTime = 0x123456789AULL;
  os << ft << ' ' << 255;
  EXPECT_EQ(os.str(),
            "1970-01-01 00:00:00.000000  FILE TIME   | Time = 0x123456789A (78187493530) = "
            "1970-01-01 21:43:07.493530 FF");
  ft.timeStamp = 0x0000000100000002ULL;
  EXPECT_EQ(toHex(serialise(ft)),
            "00 14 00 88 00 00 00 00 00 01 00 00 00 02 00 00 00 12 34 56 78 9A");
}

TEST(FileLevelMessages, PaddingAndWrapperCarryTheirBytesAndPrintUpperCaseDump) {
  vxtest::RegistryGuard registry;
  WrapperMessage wrap(1500000, {0x01, 0x02, 0xAB});
  wrap.label = "w";
  EXPECT_EQ(toHex(serialise(wrap)), "00 0F 00 FD 00 00 00 00 00 00 00 16 E3 60 01 02 AB");
  std::ostringstream os;
  os << std::setfill('#') << std::dec;
  os << wrap << ' ' << 171;
  EXPECT_EQ(os.str(), "w: " + kPrefix1s5 + "  WRAPPER     | 01 02 AB 171");
  EXPECT_EQ(os.fill(), '#');

  // A 14-byte padding frame: no bytes, an empty dump.
  auto decoded = vxtest::decode(vxtest::frame(MSGID_PADDING, 1500000, {}, 0x0A0B));
  auto* pad = dynamic_cast<PaddingBytesMessage*>(decoded.get());
  ASSERT_NE(pad, nullptr);
  EXPECT_EQ(pad->headerWord, 0x0A0B);
  EXPECT_EQ(pad->toString(), kPrefix1s5 + "  PADDING     | ");
  const Bytes padding = vxtest::frame(MSGID_PADDING, 7, hex("00 00 FF 10"));
  EXPECT_EQ(serialise(*vxtest::decode(padding)), padding);
}

TEST(FileLevelMessages, ShortPaddingAndWrapperFramesAreRejectedWithTheirOwnText) {
  Bytes cut = vxtest::frame(MSGID_PADDING, 0, {});
  cut.pop_back();  // 13 bytes: one short of the header
  const std::pair<std::function<void()>, std::string> rows[] = {
      {[&] { PaddingBytesMessage(cut.data(), 13); }, "Invalid padding message length"},
      {[&] { WrapperMessage(cut.data(), 13); }, "Invalid wrapper message length"}};
  for (const auto& [decode, text] : rows) {
    try {
      decode();
      ADD_FAILURE() << "13-byte frame accepted: " << text;
    } catch (const InvalidMessageException& e) {
      EXPECT_EQ(e.cause, invalidLength);
      EXPECT_EQ(e.text, text);
      EXPECT_EQ(e.value, 0);
    }
  }
}

TEST(FileLevelMessages, TruncatedFramesReadMissingBytesAsZeroOrAreRejected) {
  vxtest::RegistryGuard registry;
  MessageBase::invalidHandling = 6;
  Bytes eof = serialise(EofMessage(0x0102030405060708ULL, 0xA1B2C3D4));
  Bytes ft = serialise(FileTimeMessage(0x0102030405060708ULL, 0x1112131415161718ULL));
  Bytes pad = serialise(PaddingBytesMessage(5, {1, 2, 3, 4}));
  for (std::size_t n = 4; n <= eof.size(); ++n) {
    auto msg = vxtest::decodeExact(eof, n);
    auto* e = dynamic_cast<EofMessage*>(msg.get());
    ASSERT_NE(e, nullptr) << n;
    EXPECT_EQ(e->crc, n == 18 ? 0xA1B2C3D4u : 0u) << n;
    EXPECT_EQ(e->timeStamp, n >= 14 ? 0x0102030405060708ULL : 0u) << n;
  }
  for (std::size_t n = 4; n <= ft.size(); ++n) {
    auto msg = vxtest::decodeExact(ft, n);
    auto* f = dynamic_cast<FileTimeMessage*>(msg.get());
    ASSERT_NE(f, nullptr) << n;
    EXPECT_EQ(f->fileTime, n == 22 ? 0x1112131415161718ULL : 0u) << n;
  }
  // Padding below its 14-byte header is rejected; beyond it, it keeps the bytes present.
  for (std::size_t n = 0; n <= pad.size(); ++n) {
    auto msg = vxtest::decodeExact(pad, n);
    auto* p = dynamic_cast<PaddingBytesMessage*>(msg.get());
    EXPECT_EQ(p == nullptr, n < 14) << n;
    EXPECT_EQ(p ? p->size() : 0u, n < 14 ? 0u : n - 14) << n;
  }
}

TEST(FileLevelMessages, WritersRefuseWithoutWritingWhenRoomIsShort) {
  EofMessage eof(1, 2);
  FileTimeMessage ft(1, 2);
  PaddingBytesMessage pad(1, Bytes(5, 0));
  WrapperMessage wrap(1, {9, 9, 9});
  for (const MessageBase* msg : std::initializer_list<const MessageBase*>{&eof, &ft, &pad, &wrap}) {
    for (bool sync : {false, true}) {
      const unsigned int need = msg->getSize() + (sync ? 4 : 2);
      // One byte short, and a room that holds the header but not the body.
      for (unsigned int room : {need - 1, sync ? 16u : 14u}) {
        vxtest::Written w = vxtest::writeInto(*msg, room, sync);
        EXPECT_EQ(w.result, 0u) << msg->msgId << " room " << room;
        EXPECT_EQ(w.advanced, 0) << msg->msgId;
        EXPECT_EQ(w.bytes, Bytes(room, 0xEE)) << msg->msgId << " wrote into refused room";
        EXPECT_TRUE(w.canaryIntact);
      }
      vxtest::Written w = vxtest::writeInto(*msg, need, sync);
      EXPECT_EQ(w.result, msg->getSize()) << msg->msgId;
      EXPECT_EQ(w.advanced, static_cast<std::ptrdiff_t>(need)) << msg->msgId;
      EXPECT_TRUE(w.canaryIntact) << msg->msgId;
    }
  }
}

TEST(FileLevelMessages, EqualityChecksClassAndContentButNotTimeStamp) {
  EXPECT_TRUE(EofMessage(0, 7) == EofMessage(2, 7));
  EXPECT_FALSE(EofMessage(1, 7) == EofMessage(1, 8));
  EXPECT_TRUE(FileTimeMessage(1, 0x100000000ULL) == FileTimeMessage(9, 0x100000000ULL));
  EXPECT_FALSE(FileTimeMessage(1, 0x100000000ULL) == FileTimeMessage(1, 0));  // upper half
  EXPECT_TRUE(PaddingBytesMessage(1, {1, 2}) == PaddingBytesMessage(5, {1, 2}));
  EXPECT_FALSE(PaddingBytesMessage(1, {1, 2}) == PaddingBytesMessage(1, {1, 2, 0}));
  EXPECT_FALSE(WrapperMessage(1, {1, 2}) == WrapperMessage(1, {1, 3}));
  // Same bytes, other class.
  EXPECT_FALSE(PaddingBytesMessage(1, {1, 2}) == WrapperMessage(1, {1, 2}));
  EXPECT_FALSE(WrapperMessage(1, {1, 2}) == PaddingBytesMessage(1, {1, 2}));
  EXPECT_FALSE(EofMessage(1, 0) == SimpleMessage<MSGID_START>(1));
}
