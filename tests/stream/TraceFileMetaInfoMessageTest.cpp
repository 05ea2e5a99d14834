#include <gtest/gtest.h>

#include <memory>
#include <sstream>

#include "support/RecordCase.h"
#include "vxtrace/vxtrace.h"

#define META TS "  META INFO   | "

// clang-format off
const RecordCase kMetaCases[] = {
    {148, "00 00 00 00 00 00 00 00 00 00 00 00 00 00 0F 42 40",
     META "[TIME SPAN] start time = 1970-01-01 00:00:00.000000, "
          "end time = 1970-01-01 00:00:01.000000", 29},
    {148, "02 00 01 E2 40", META "[MAINBOARD] 123456", 17},
    {148, "03 00", META "[CFG_BCKP] ", 14},
    {148, "04 02 FF FF FF FF FF FF FF 88", META "[CASCADING] type = SLAVE, offset = 18446744073709551496",
     22},
    {148, "04 07 00 00 00 00 00 00 00 01", META "[CASCADING] type = <unknown:7>, offset = 1", 22},
    {148, "05 01 01 00 00 04 42 6F 64 79", META "[CHANNEL] CAN #2 (Body) : flags = 0", 22},
    {148, "05 08 00 03 01 04 52 69 6E 67", META "[CHANNEL] MOST150 #1 value 3 (Ring) : flags = 1", 22},
    {148, "06 03 00 00 00 00 00 16 E3 60 00 00 00 2A 02 68 69",
     META "[EVENT] kind = 3 #42, time = 1970-01-01 00:00:01.500000, hi", 29},
    {148, "06 01 00 00 00 00 00 00 00 00 00 00 00 2A 00",
     META "[EVENT] kind = 1, time = 1970-01-01 00:00:00.000000, ", 27},
    {148, "07 00", META "[DATA_MIX_MODE] data mix mode: ALL_DATA", 14},
    {148, "07 05", META "[DATA_MIX_MODE] data mix mode: UNDEF (5)", 14},
    // A text announced longer than the frame keeps what is there; missing numbers read as 0.
    {148, "01 0A 55 54 43", META "[TIME ZONE] UTC", 17, vxtest::kDecodes,
     "01 03 55 54 43"},
    {148, "02 00 01", META "[MAINBOARD] 65536", 17, vxtest::kDecodes, "02 00 01 00 00"},
    {148, "", META "[TIME SPAN] start time = 1970-01-01 00:00:00.000000, "
          "end time = 1970-01-01 00:00:00.000000", 29, vxtest::kDecodes, ""},
    {148, "08", nullptr, -1, invalidEnumValue},
    {148, "FF 01 02", nullptr, -1, invalidEnumValue},
};
// clang-format on

TEST(TraceFileMetaInfoMessage, DecodesPrintsAndWritesEveryItemType) {
  vxtest::checkRecordCases(kMetaCases);
}

TEST(TraceFileMetaInfoMessage, UnknownTypeIsWrittenButFailsToDecode) {
  vxtest::RegistryGuard registry;
  TraceFileMetaInfoMessage unknown(0, static_cast<TraceFileMetaInfoMessage::metatype_t>(9));
  unknown.text = "never written";
  EXPECT_EQ(unknown.getSize(), 13u);
  EXPECT_EQ(unknown.toString(), "1970-01-01 00:00:00.000000  META INFO   | [<unknown:9>] ");
  const vxtest::Bytes frame = vxtest::serialise(unknown);
  MessageBase::invalidHandling = 1;
  EXPECT_EQ(vxtest::toHex(frame), "00 0D 00 94 00 00 00 00 00 00 00 00 00 00 09");
  auto back = vxtest::decode(frame);
  auto* invalid = dynamic_cast<InvalidMessage*>(back.get());
  ASSERT_NE(invalid, nullptr);
  EXPECT_EQ(invalid->cause, invalidEnumValue);
  EXPECT_EQ(invalid->enumName, "metatype_t");
  EXPECT_EQ(invalid->enumValue, 9);
  // Fields of other types do not take part in the comparison.
  TraceFileMetaInfoMessage a(1, TraceFileMetaInfoMessage::META_MAINBOARD);
  TraceFileMetaInfoMessage b(2, TraceFileMetaInfoMessage::META_MAINBOARD);
  b.text = "ignored";
  EXPECT_TRUE(a == b);
  b.mainboard = 1;
  EXPECT_FALSE(a == b);
  std::ostringstream os;
  os << TraceFileMetaInfoMessage::MERGED;
  EXPECT_EQ(os.str(), "MERGED");
}
