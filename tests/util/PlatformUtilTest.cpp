#include <gtest/gtest.h>

#include <sstream>

#include "support/TestSupport.h"
#include "util/ByteReader.h"
#include "util/ByteWriter.h"
#include "vxtrace/PlatformUtil.h"

using vxtrace::detail::ByteReader;

namespace {
template <typename F>
std::string printed(F f) {
  std::ostringstream os;
  f(os);
  return os.str();
}
}  // namespace

TEST(PlatformUtil, MakesTextVisible) {
  const std::string s("a\n\t\\\x01\x7f\xff~", 8);
  EXPECT_EQ(printed([&](std::ostream& os) { printPrintable(os, s); }),
            "a\\x0a\\x09\\\\x01\\x7f\\xff~");
  EXPECT_EQ(printed([&](std::ostream& os) { printEscaped(os, s); }), "a\\n\\t\\\\\\x01\\x7f\\xff~");
  EXPECT_EQ(printed([](std::ostream& os) { os << std::hex; printUnknownEnum(os, 200); os << 255; }),
            "<unknown:200>ff");
}

TEST(PlatformUtil, PushesLengthPrefixedTextsAndSplits) {
  std::vector<unsigned char> v;
  push1(v, std::string("ab"));
  push2(v, std::vector<unsigned char>{7});
  EXPECT_EQ(v, (std::vector<unsigned char>{2, 'a', 'b', 0, 1, 7}));
  std::vector<unsigned char> big;
  push1(big, std::string(257, 'x'));
  EXPECT_EQ(big[0], 1);  // length modulo 256, all bytes still appended
  EXPECT_EQ(big.size(), 258u);
  push2(big, std::string(0x10203, 'y'));
  EXPECT_EQ(big[258], 0x02);
  EXPECT_EQ(big[259], 0x03);

  EXPECT_EQ(split("a;b;", ';'), (std::vector<std::string>{"a", "b", ""}));
  EXPECT_EQ(split("", ';'), (std::vector<std::string>{""}));
  EXPECT_EQ(split(";;x", ';'), (std::vector<std::string>{"", "", "x"}));
}

TEST(PlatformUtil, HexdumpWritesSixteenBytesALineWithPrefixAndOffset) {
  std::vector<unsigned char> bytes(18);
  for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<unsigned char>(0xF0 + i);
  EXPECT_EQ(printed([&](std::ostream& os) { hexdump(os, bytes.data(), bytes.size(), "[E] "); }),
            "[E] 0000: f0 f1 f2 f3 f4 f5 f6 f7 f8 f9 fa fb fc fd fe ff\n"
            "[E] 0010: 00 01\n");
  EXPECT_EQ(printed([&](std::ostream& os) { hexdump(os, bytes.data(), 0, "x"); }), "");
}

TEST(PlatformUtil, MacAddresses) {
  macaddr_t mac;
  EXPECT_TRUE(mac.set("00:1A:2b:3c:4d:FF"));
  EXPECT_EQ(printed([&](std::ostream& os) { os << mac; }), "00:1a:2b:3c:4d:ff");
  macaddr_t before = mac;
  EXPECT_FALSE(mac.set("00:1a:2b:3c:4d"));
  EXPECT_FALSE(mac.set("00-1a-2b-3c-4d-ff"));
  EXPECT_FALSE(mac.set("00:1a:2b:3c:4d:fg"));
  EXPECT_TRUE(mac == before);
  const uint8_t raw[6] = {1, 2, 3, 4, 5, 6};
  mac.set(raw);
  EXPECT_EQ(printed([&](std::ostream& os) { mac.print(os); }), "01:02:03:04:05:06");
}

TEST(Exceptions, CarryTheirTextsAndCodes) {
  InvalidMessageException ime(invalidId, "Invalid MessageID");
  EXPECT_EQ(ime.value, 0);
  EXPECT_STREQ(ime.what(), "Invalid MessageID");
  VxSimpleException vs("a");
  vs.appendMsg("b").appendMsg("c");
  EXPECT_STREQ(vs.what(), "abc");
  vs.clear();
  EXPECT_STREQ(vs.what(), "");
  VXException vx(22, "DLT too short");
  vx << ": " << 5;
  EXPECT_STREQ(vx.what(), "DLT too short: 5");
  EXPECT_EQ(vx.getErrorCode(), 22);
  EXPECT_EQ(printed([&](std::ostream& os) { os << vx; }), "DLT too short: 5");
}

TEST(ByteReader, NeverReadsPastItsLength) {
  const uint8_t data[] = {0x12, 0x34, 0x56};
  ByteReader r(data, 3);
  EXPECT_EQ(r.be16(), 0x1234);
  EXPECT_FALSE(r.failed());
  EXPECT_EQ(r.be16(), 0x5600);  // one byte left: it, then zero; failed, cursor at the end
  EXPECT_TRUE(r.failed());
  EXPECT_EQ(r.remaining(), 0u);
  EXPECT_EQ(r.u8(), 0);
  ByteReader huge(data, 3);
  EXPECT_FALSE(huge.has(static_cast<size_t>(-1)));
  EXPECT_EQ(huge.bytes(static_cast<size_t>(-1)), nullptr);
  uint8_t out[4] = {9, 9, 9, 9};
  ByteReader partial(data, 3);
  partial.bytes(out, 4);
  EXPECT_EQ(out[0], 0x12);
  EXPECT_EQ(out[3], 0);

  EXPECT_THROW(ByteReader(data, 3).require(4, "short"), InvalidMessageException);
  EXPECT_NO_THROW(ByteReader(data, 3).require(3, "short"));

  unsigned char buf[16] = {};
  unsigned char* out2 = buf;
  vxtrace::detail::ByteWriter w(out2, buf + 15);
  w.be16(0x0102);
  w.be32(0x03040506);
  w.be64(0x0708090A0B0C0D0EULL);
  EXPECT_EQ(out2, buf + 14);
  EXPECT_FALSE(w.failed());
  w.be16(0xFFFF);  // would cross the end: dropped
  EXPECT_TRUE(w.failed());
  EXPECT_EQ(out2, buf + 14);
  EXPECT_EQ(vxtest::toHex(vxtest::Bytes(buf, buf + 16)),
            "01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 00 00");
}
