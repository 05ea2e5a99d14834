#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <sstream>

#include "support/TestSupport.h"
#include "vxtrace/vxtrace.h"

using vxtest::Bytes;
using vxtest::hex;

namespace {

const char kPrefix1s5[] = "1970-01-01 00:00:01.500000";

// Writes through writeToByteArray into a buffer of exactly room bytes, guarded by canaries.
struct Written {
  unsigned int result;
  std::ptrdiff_t advanced;
  Bytes bytes;  // the room's bytes after the call
  bool canaryIntact;
};

Written writeInto(const MessageBase& msg, unsigned int room, bool withSync) {
  Bytes buf(room + 8, 0xEE);
  unsigned char* start = buf.data() + 4;
  unsigned char* out = start;
  Written w;
  w.result = msg.writeToByteArray(out, room, withSync);
  w.advanced = out - start;
  w.bytes.assign(start, start + room);
  w.canaryIntact = buf[0] == 0xEE && buf[1] == 0xEE && buf[2] == 0xEE && buf[3] == 0xEE &&
                   buf[room + 4] == 0xEE && buf[room + 7] == 0xEE;
  return w;
}

// A heap copy of exactly n bytes so that the sanitizers see any read past its end.
std::unique_ptr<MessageBase> decodePrefix(const Bytes& frame, std::size_t n) {
  std::unique_ptr<uint8_t[]> exact(new uint8_t[n == 0 ? 1 : n]);
  if (n != 0) std::memcpy(exact.get(), frame.data(), n);
  return std::unique_ptr<MessageBase>(
      MessageBase::readFromByteArray(exact.get(), static_cast<unsigned int>(n)));
}

}  // namespace

TEST(FileLevelMessages, EofSerialisesDecodesAndPrintsLowerCaseCrc) {
  vxtest::RegistryGuard registry;
  EofMessage eof(1500000, 0x1A2B);
  eof.headerWord = 0x0102;
  Bytes bytes = vxtest::serialise(eof, true);
  EXPECT_EQ(vxtest::toHex(bytes), "55 AA 00 10 00 FF 01 02 00 00 00 00 00 16 E3 60 00 00 1A 2B");
  EXPECT_EQ(eof.toString(), std::string(kPrefix1s5) + "  EOF         | CRC = 0x00001a2b");

  // Even on a stream asked for upper case the checksum stays lower case; the stream's state
  // comes back as it was.
  std::ostringstream os;
  os << std::uppercase << std::setfill('*');
  eof.crc = 0xDEADBEEF;
  os << eof << ' ' << 255;
  EXPECT_EQ(os.str(), std::string(kPrefix1s5) + "  EOF         | CRC = 0xdeadbeef 255");
  EXPECT_EQ(os.fill(), '*');
  EXPECT_TRUE(os.flags() & std::ios::uppercase);

  auto decoded = vxtest::decode(Bytes(bytes.begin() + 2, bytes.end()));
  auto* back = dynamic_cast<EofMessage*>(decoded.get());
  ASSERT_NE(back, nullptr);
  EXPECT_EQ(back->crc, 0x1A2Bu);
  EXPECT_EQ(back->headerWord, 0x0102);
  EXPECT_EQ(back->timeStamp, 1500000u);
  EXPECT_EQ(back->getSourceChannel(), "LOGGER INTERN");
  EXPECT_EQ(back->getSourceChannelID(), ~0ULL);
}

TEST(FileLevelMessages, FileTimePrintsHexDecimalAndDateInTheStreamsCase) {
  vxtest::RegistryGuard registry;
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
  Bytes bytes = vxtest::serialise(ft);
  EXPECT_EQ(vxtest::toHex(bytes),
            "00 14 00 88 00 00 00 00 00 01 00 00 00 02 00 00 00 12 34 56 78 9A");
  auto decoded = vxtest::decode(bytes);
  auto* back = dynamic_cast<FileTimeMessage*>(decoded.get());
  ASSERT_NE(back, nullptr);
  EXPECT_EQ(back->fileTime, 0x123456789AULL);
  EXPECT_EQ(back->timeStamp, 0x0000000100000002ULL);
}

TEST(FileLevelMessages, PaddingAndWrapperCarryTheirBytesAndPrintUpperCaseDump) {
  vxtest::RegistryGuard registry;
  WrapperMessage wrap(1500000, {0x01, 0x02, 0xAB});
  wrap.label = "w";
  EXPECT_EQ(wrap.getSize(), 15u);
  Bytes bytes = vxtest::serialise(wrap);
  EXPECT_EQ(vxtest::toHex(bytes), "00 0F 00 FD 00 00 00 00 00 00 00 16 E3 60 01 02 AB");
  std::ostringstream os;
  os << std::setfill('#') << std::dec;
  os << wrap << ' ' << 171;
  EXPECT_EQ(os.str(), std::string("w: ") + kPrefix1s5 + "  WRAPPER     | 01 02 AB 171");
  EXPECT_EQ(os.fill(), '#');

  // A 14-byte padding frame: no bytes, size 12, an empty dump.
  auto decoded = vxtest::decode(vxtest::frame(MSGID_PADDING, 1500000, {}, 0x0A0B));
  auto* pad = dynamic_cast<PaddingBytesMessage*>(decoded.get());
  ASSERT_NE(pad, nullptr);
  EXPECT_TRUE(pad->empty());
  EXPECT_EQ(pad->getSize(), 12u);
  EXPECT_EQ(pad->headerWord, 0x0A0B);
  EXPECT_EQ(pad->toString(), std::string(kPrefix1s5) + "  PADDING     | ");

  decoded = vxtest::decode(vxtest::frame(MSGID_PADDING, 7, hex("00 00 FF 10")));
  pad = dynamic_cast<PaddingBytesMessage*>(decoded.get());
  ASSERT_NE(pad, nullptr);
  EXPECT_EQ(vxtest::toHex(Bytes(pad->begin(), pad->end())), "00 00 FF 10");
  EXPECT_EQ(vxtest::toHex(vxtest::serialise(*pad, true)),
            "55 AA 00 10 00 FE 00 00 00 00 00 00 00 00 00 07 00 00 FF 10");
}

TEST(FileLevelMessages, ShortPaddingAndWrapperFramesAreRejectedWithCauseThree) {
  vxtest::RegistryGuard registry;
  Bytes shortPad = vxtest::frame(MSGID_PADDING, 0, {});
  shortPad.pop_back();
  Bytes shortWrap = vxtest::frame(MSGID_WRAPPER, 0, {});
  shortWrap.pop_back();

  try {
    PaddingBytesMessage msg(shortPad.data(), 13);
    FAIL() << "13-byte padding frame accepted";
  } catch (const InvalidMessageException& e) {
    EXPECT_EQ(e.cause, invalidLength);
    EXPECT_EQ(e.text, "Invalid padding message length");
    EXPECT_EQ(e.value, 0);
  }
  try {
    WrapperMessage msg(shortWrap.data(), 13);
    FAIL() << "13-byte wrapper frame accepted";
  } catch (const InvalidMessageException& e) {
    EXPECT_EQ(e.cause, invalidLength);
    EXPECT_EQ(e.text, "Invalid wrapper message length");
  }

  MessageBase::invalidHandling = 6;
  EXPECT_EQ(vxtest::decode(shortWrap), nullptr);
  MessageBase::invalidHandling = 1;
  auto decoded = vxtest::decode(shortWrap);
  auto* invalid = dynamic_cast<InvalidMessage*>(decoded.get());
  ASSERT_NE(invalid, nullptr);
  EXPECT_EQ(invalid->cause, invalidLength);
  EXPECT_EQ(invalid->id, MSGID_WRAPPER);
}

TEST(FileLevelMessages, TruncatedEofAndFileTimeFramesReadMissingBytesAsZero) {
  vxtest::RegistryGuard registry;
  Bytes eof = vxtest::serialise(EofMessage(0x0102030405060708ULL, 0xA1B2C3D4));
  Bytes ft = vxtest::serialise(FileTimeMessage(0x0102030405060708ULL, 0x1112131415161718ULL));
  ASSERT_EQ(eof.size(), 18u);
  ASSERT_EQ(ft.size(), 22u);

  for (std::size_t n = 4; n <= eof.size(); ++n) {
    auto msg = decodePrefix(eof, n);
    auto* e = dynamic_cast<EofMessage*>(msg.get());
    ASSERT_NE(e, nullptr) << n;
    EXPECT_EQ(e->crc, n == 18 ? 0xA1B2C3D4u : 0u) << n;
    EXPECT_EQ(e->timeStamp, n >= 14 ? 0x0102030405060708ULL : 0u) << n;
  }
  for (std::size_t n = 4; n <= ft.size(); ++n) {
    auto msg = decodePrefix(ft, n);
    auto* f = dynamic_cast<FileTimeMessage*>(msg.get());
    ASSERT_NE(f, nullptr) << n;
    EXPECT_EQ(f->fileTime, n == 22 ? 0x1112131415161718ULL : 0u) << n;
  }
  // Every prefix of padding and wrapper frames is either rejected or keeps the bytes present.
  Bytes pad = vxtest::serialise(PaddingBytesMessage(5, {1, 2, 3, 4}));
  for (std::size_t n = 0; n <= pad.size(); ++n) {
    MessageBase::invalidHandling = 6;
    auto msg = decodePrefix(pad, n);
    if (n < 14) {
      EXPECT_EQ(msg, nullptr) << n;
    } else {
      auto* p = dynamic_cast<PaddingBytesMessage*>(msg.get());
      ASSERT_NE(p, nullptr) << n;
      EXPECT_EQ(p->size(), n - 14) << n;
    }
  }
}

TEST(FileLevelMessages, WritersRefuseWithoutWritingWhenRoomIsShort) {
  EofMessage eof(1, 2);
  FileTimeMessage ft(1, 2);
  PaddingBytesMessage pad(1, Bytes(5, 0));
  WrapperMessage wrap(1, {9, 9, 9});
  const MessageBase* all[] = {&eof, &ft, &pad, &wrap};
  for (const MessageBase* msg : all) {
    const unsigned int whole = msg->getSize() + 2;
    for (bool sync : {false, true}) {
      const unsigned int need = whole + (sync ? 2 : 0);
      // One byte short, and a room that holds the header but not the body.
      for (unsigned int room : {need - 1, sync ? 16u : 14u}) {
        Written w = writeInto(*msg, room, sync);
        EXPECT_EQ(w.result, 0u) << msg->msgId << " room " << room;
        EXPECT_EQ(w.advanced, 0) << msg->msgId;
        EXPECT_EQ(w.bytes, Bytes(room, 0xEE)) << msg->msgId << " wrote into refused room";
        EXPECT_TRUE(w.canaryIntact);
      }
      Written w = writeInto(*msg, need, sync);
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
  EXPECT_FALSE(FileTimeMessage(1, 0x100000000ULL) == FileTimeMessage(1, 0x1ULL));
  EXPECT_TRUE(PaddingBytesMessage(1, {1, 2}) == PaddingBytesMessage(5, {1, 2}));
  EXPECT_FALSE(PaddingBytesMessage(1, {1, 2}) == PaddingBytesMessage(1, {1, 2, 0}));
  EXPECT_FALSE(PaddingBytesMessage(1, {1, 2}) == PaddingBytesMessage(1, {1, 3}));
  // Same bytes, other class.
  EXPECT_FALSE(PaddingBytesMessage(1, {1, 2}) == WrapperMessage(1, {1, 2}));
  EXPECT_FALSE(WrapperMessage(1, {1, 2}) == PaddingBytesMessage(1, {1, 2}));
  EXPECT_FALSE(EofMessage(1, 0) == SimpleMessage<MSGID_START>(1));

  WrapperMessage wrap(3, {4, 5});
  wrap.headerWord = 0xBEEF;
  std::unique_ptr<MessageBase> copy(wrap.clone());
  auto* w = dynamic_cast<WrapperMessage*>(copy.get());
  ASSERT_NE(w, nullptr);
  EXPECT_EQ(w->headerWord, 0xBEEF);
  EXPECT_EQ(w->timeStamp, 3u);
  EXPECT_TRUE(*w == wrap);
  FileTimeMessage ft(3, 4);
  ft.headerWord = 0x1234;
  std::unique_ptr<MessageBase> ftCopy(ft.clone());
  EXPECT_EQ(ftCopy->headerWord, 0x1234);
  EXPECT_EQ(ftCopy->toString(), ft.toString());
}
