#include <gtest/gtest.h>

#include "support/RecordCase.h"
#include "vxtrace/vxtrace.h"

TEST(FileLevelMessages, TableOfFrames) {
  const RecordCase rows[] = {
      // The checksum prints in lower case whatever the stream says.
      {255, "DE AD BE EF", TS "  EOF         | CRC = 0xdeadbeef", 16, vxtest::kDecodes, nullptr,
       true, nullptr, false},
      {136, "00 00 00 12 34 56 78 9A",
       TS "  FILE TIME   | Time = 0x123456789a (78187493530) = 1970-01-01 21:43:07.493530", 20},
      // Byte runs print in upper case whatever the stream says; an empty run is an empty dump.
      {253, "01 02 AB", TS "  WRAPPER     | 01 02 AB", 15, vxtest::kDecodes, nullptr, true, nullptr,
       false},
      {254, "", TS "  PADDING     | ", 12},
      {254, "00 00 FF 10", TS "  PADDING     | 00 00 FF 10", 16},
      // One byte short of a header: each class's own text.
      {253, "", nullptr, -1, invalidLength, nullptr, true, "Invalid wrapper message length", true,
       false, 1},
      {254, "", nullptr, -1, invalidLength, nullptr, true, "Invalid padding message length", true,
       false, 1},
  };
  vxtest::checkRecordCases(rows);
}

TEST(FileLevelMessages, FieldConstructorsAndComparisonAcrossClasses) {
  // A plain 0 time stamp picks the field constructor, not the byte one.
  EXPECT_EQ(FileTimeMessage(0, 1500000).fileTime, 1500000u);
  EXPECT_EQ(EofMessage(0, 7).crc, 7u);
  EXPECT_TRUE(EofMessage(0, 7) == EofMessage(2, 7));  // time stamps are not compared
  EXPECT_FALSE(EofMessage(1, 7) == EofMessage(1, 8));
  EXPECT_FALSE(FileTimeMessage(1, 0x100000000ULL) == FileTimeMessage(1, 0));
  EXPECT_FALSE(PaddingBytesMessage(1, {1, 2}) == PaddingBytesMessage(1, {1, 2, 0}));
  EXPECT_FALSE(PaddingBytesMessage(1, {1, 2}) == WrapperMessage(1, {1, 2}));
  EXPECT_FALSE(WrapperMessage(1, {1, 2}) == PaddingBytesMessage(1, {1, 2}));
}
