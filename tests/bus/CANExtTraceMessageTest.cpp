#include <gtest/gtest.h>

#include "support/RecordCase.h"
#include "vxtrace/CANExtTraceMessage.h"

#define CAN "2020-09-13 12:26:40.123456  CAN #"
#define BAD "2020-09-13 12:26:40.123456  Invalid Message: Id=0x0b, Invalid enum value "

TEST(CANExtTraceMessage, TableOfFrames) {
  const vxtest::RecordCase rows[] = {
      {11, "00 00 00 02 00 00 01 23 AA BB", CAN "1      | STANDARD Rx   00000123   2 aa bb", 22},
      {11, "00 00 00 02 9A BC DE F0 AA BB", CAN "1      | EXTENDED Rx   1abcdef0   2 aa bb", 22},
      {11, "00 00 C0 0C 40 00 01 23 00 01 02 03 04 05 06 07 08 09 0A 0B",
       CAN "1      | FD_STD Rx    [ ESI BRS ]00000123  12 00 01 02 03 04 05 06 07 08 09 0a 0b",
       32},
      {11, "09 02 46 01 C1 AB CD EF 05",
       CAN "10     | FD_EXT Tx   [error=CRC]  [ BRS ]01abcdef   1 05", 21},
      // An ACK error frame keeps the identifier and data nobody acknowledged.
      {11, "01 01 03 02 81 AB CD EF DE AD",
       CAN "2      | EXTENDED Error Frame [error=ACK] 01abcdef   2 de ad", 22},
      // Any other error frame declares 18 but carries four body bytes; the rest is written 0.
      {11, "01 01 01 07 AA BB", CAN "2      | EXTENDED Error Frame [error=STUFF]", 18, kDecodes,
       "01 01 01 07 00 00"},
      // Rejects, first fault first; for reserved state bits the value is the frame byte.
      {11, "00 04 30 00 20 00 00 00", BAD "'canframe_t'=0x04, n=8 00 04 30 00 20 00 00 00", -1,
       invalidEnumValue},
      {11, "00 02 10 00 20 00 00 00", BAD "'canstaterr_t'=0x02, n=8 00 02 10 00 20 00 00 00", -1,
       invalidEnumValue},
      {11, "00 00 00 00 20 00 00 00", BAD "'CAN-ID bit 29 set'=0x00, n=8 00 00 00 00 20 00 00 00",
       -1, invalidEnumValue},
      {11, "00 01 03 00 20 00 00 00", BAD "'CAN-ID bit 29 set'=0x00, n=8 00 01 03 00 20 00 00 00",
       -1, invalidEnumValue},
      // A STUFF error frame has no identifier word to check.
      {11, "00 01 01 00 20 00", CAN "1      | EXTENDED Error Frame [error=STUFF]", 18, kDecodes,
       "00 01 01 00 00 00"},
  };
  vxtest::checkRecordCases(rows);
}

TEST(CANExtTraceMessage, ClampsLengthToTheDataStore) {
  Bytes body = hex("00 00 00 FF 00 00 01 23");
  for (int i = 0; i < 70; ++i) body.push_back(static_cast<uint8_t>(i));
  const Bytes f = vxtest::frame(MSGID_CAN_EXT, 0, body);
  CANExtTraceMessage m(f.data(), static_cast<unsigned int>(f.size()));
  EXPECT_EQ(64, m.length);
  EXPECT_EQ(63, m.data[63]);
}

// Every length, so every piece size and overlap of the data copy: the bytes, and zeros after.
TEST(CANExtTraceMessage, DecodesEveryDataLengthExactly) {
  for (int n = 0; n <= 64; ++n) {
    Bytes body = hex("00 00 00 00 00 00 01 23");
    body[3] = static_cast<uint8_t>(n);
    for (int i = 0; i < n; ++i) body.push_back(static_cast<uint8_t>(0x80 + i));
    const Bytes f = vxtest::frame(MSGID_CAN_EXT, 0, body);
    CANExtTraceMessage m(f.data(), static_cast<unsigned int>(f.size()));
    ASSERT_EQ(n, m.length);
    for (int i = 0; i < 64; ++i) ASSERT_EQ(i < n ? 0x80 + i : 0, m.data[i]) << n << " " << i;
  }
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
