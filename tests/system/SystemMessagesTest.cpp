#include <gtest/gtest.h>

#include <memory>

#include "support/RecordCase.h"
#include "vxtrace/vxtrace.h"

#define SYS TS "  SYSTEM MSG  | "
#define UNKNOWN_USAGE "2D 2F 2D 3B 2D 2F 2D 3B 2D 2F 2D 3B 2D 2F 2D 3B"  // -/-;-/-;-/-;-/-;

TEST(SystemMessages, RecordTable) {
  // clang-format off
  const RecordCase rows[] = {
    {128, "00", SYS "[INFO] ", 13},
    // Text cut at the first NUL, so the size shrinks on re-encoding.
    {128, "06 6F 6B 00 6A 75 6E 6B", SYS "[SUCCESS] ok", 15, vxtest::kDecodes,
     "06 6F 6B"},
    {128, "C8 61", SYS "[<unknown:200>] a", 14},
    {128, "01 09 41", SYS "[VERSION] \\x09A", 15},
    {128, "1C 72 65 63 6F 72 64 65 72 3A 72 75 6E 6E 69 6E 67",
     SYS "[SET_STATE_VXPBUS] process: recorder; state: running", 29},
    {128, "1C 69 64 6C 65", SYS "[SET_STATE_VXPBUS] process: idle; state: idle", 17},
    {128, "10 6F 6B 3B 33", SYS "[LOGGER_STATUS] [status=ok] [errors=3]", 17},
    {128, "10 6F 6B", SYS "[LOGGER_STATUS] [status=ok] [errors=]", 15},
    {128, "70 63 61 6E 31 3B 65 74 68 30", SYS "[ROUTING_ERROR] destination: can1, source: eth0", 22},
    {128, "02 31 32 25 2F 2D 3B " UNKNOWN_USAGE, SYS "[USAGE] 12%/-;-/-;-/-;-/-;-/-;", 35},
    // The text is rebuilt from the values: another shape reads as all unknown.
    {128, "02 61 00", SYS "[USAGE] -/-;-/-;-/-;-/-;-/-;", 33, vxtest::kDecodes,
     "02 " UNKNOWN_USAGE " 2D 2F 2D 3B"},
    {128, "02 30 31 32 25 2F 33 30 30 25 3B " UNKNOWN_USAGE, SYS "[USAGE] 12%/44%;-/-;-/-;-/-;-/-;", 37,
     vxtest::kDecodes, "02 31 32 25 2F 34 34 25 3B " UNKNOWN_USAGE},
    // "%" without a number, and a number beyond int: std::stoi's errors reach the caller.
    {128, "02 25 2F 2D 3B " UNKNOWN_USAGE, nullptr, -1, vxtest::kThrows},
    {128, "02 39 39 39 39 39 39 39 39 39 39 39 25 2F 2D 3B " UNKNOWN_USAGE, nullptr, -1,
     vxtest::kThrows},
  };
  // clang-format on
  vxtest::checkRecordCases(rows);
}

TEST(SystemMessages, UsageTextFollowsTheArrayAndParsesBack) {
  EXPECT_EQ("-/-;-/-;-/-;-/-;-/-;", static_cast<const std::string&>(SystemUsageMessage(0)));
  SystemUsageMessage::devUsage_t usage[5];
  usage[0] = {12, 255};
  usage[2] = {0, 100};
  usage[4] = {255, 7};  // an unknown first value hides the second
  SystemUsageMessage m(1, usage);
  EXPECT_EQ("12%/-;-/-;0%/100%;-/-;-/-;", static_cast<const std::string&>(m));

  const std::string text = m;
  SystemUsageMessage back(1, text.data(), static_cast<unsigned int>(text.size()));
  EXPECT_TRUE(back.devUsage[0] == usage[0]);
  EXPECT_TRUE(back.devUsage[2] == usage[2]);
  EXPECT_EQ(255, back.devUsage[4].second);
}

TEST(SystemMessages, EqualityIgnoresTypeAndComparesText) {
  SystemMessage info(1, SystemMessage::SM_INFO, "same");
  SystemMessage error(2, SystemMessage::SM_ERROR, "same");
  SystemRoutingErrorMessage routing(3, "same");
  EXPECT_TRUE(info == error);
  EXPECT_TRUE(info == routing);
  EXPECT_FALSE(info == SystemMessage(1, SystemMessage::SM_INFO, "other"));

  SystemMessage cut(0, SystemMessage::SM_INFO, std::string("a\0b", 3));
  cut.stripNullChar();
  EXPECT_EQ("a", static_cast<const std::string&>(cut));
}
