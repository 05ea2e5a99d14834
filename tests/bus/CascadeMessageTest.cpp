#include <gtest/gtest.h>

#include <sstream>

#include "support/RecordCase.h"
#include "vxtrace/vxtrace.h"

// clang-format off
const vxtest::RecordCase kCascadeCases[] = {
  {32784, "00 00 00 00 00 00 00 16 E3 60",
   TS "  CASCADE     | Type = MASTER only, syncTime = 1970-01-01 00:00:01.500000", 22},
  // The spare byte is never decoded: it comes back as 0.
  {32784, "02 7F 00 00 00 00 00 00 00 01",
   TS "  CASCADE     | Type = Slave, syncTime = 1970-01-01 00:00:00.000001", 22, kDecodes,
   "00 16 80 10 " HDR "02 00 00 00 00 00 00 00 00 01"},
  {32784, "03 00 00 00 00 00 00 00 00 00",
   TS "  CASCADE     | Type = UNKNOWN, syncTime = 1970-01-01 00:00:00.000000", 22},
  // Below the whole body only the type is read.
  {32784, "01 00 00 00 00 00 00 00 00",
   TS "  CASCADE     | Type = Master, syncTime = 1970-01-01 00:00:00.000000", 22, kDecodes,
   "00 16 80 10 " HDR "01 00 00 00 00 00 00 00 00 00"},
  {32784, "02 00 00 00 00 16",
   TS "  CASCADE     | Type = Slave, syncTime = 1970-01-01 00:00:00.000000", 22, kDecodes, ""},
};
// clang-format on

TEST(CascadeMessage, TableOfRolesSyncTimesAndCutFrames) {
  vxtest::checkRecordCases(kCascadeCases);
}

TEST(CascadeMessage, SpareByteIsWrittenButComparisonLooksAtTheTypeOnly) {
  EXPECT_EQ(vxtest::toHex(vxtest::serialise(CascadeMessage(5, 1, 2, 0xAB))),
            "00 16 80 10 00 00 00 00 00 00 00 00 00 05 01 AB 00 00 00 00 00 00 00 02");
  EXPECT_TRUE(CascadeMessage(1, 2, 3) == CascadeMessage(9, 2, 99));
  EXPECT_FALSE(CascadeMessage(1, 2, 3) == CascadeMessage(1, 1, 3));
  std::ostringstream os;
  os << CascadeMessage::CASCADE_OFF << ' ' << CascadeMessage::CASCADE_SLAVE << ' '
     << static_cast<CascadeMessage::cascade_t>(3);
  EXPECT_EQ(os.str(), "off slave <unknown:3>");
}
