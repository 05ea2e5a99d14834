#include <gtest/gtest.h>

#include <sstream>

#include "support/RecordCase.h"
#include "vxtrace/vxtrace.h"

// clang-format off
const vxtest::RecordCase kKeyboardCases[] = {
  {32817, "13 03", TS "  KEYBOARD    | code = STOP, state = toggled", 14},
  {32817, "01 02", TS "  KEYBOARD    | code = F1, state = long pressed", 14},
  // Code 0 has no name but is accepted.
  {32817, "00 01", TS "  KEYBOARD    | code = <unknown:0>, state = pressed", 14},
  {32817, "14 00", nullptr, -1, invalidEnumValue, nullptr, true, "keyCode_t=20"},
  {32817, "FF 09", nullptr, -1, invalidEnumValue, nullptr, true, "keyCode_t=255"},
  {32817, "13 04", nullptr, -1, invalidEnumValue, nullptr, true, "keyState_t=4"},
  {32817, "01", nullptr, -1, invalidLength, nullptr, true, "KeyboardMessage too short"},
};
// clang-format on

TEST(KeyboardMessage, TableOfKeysStatesAndRejects) {
  vxtest::checkRecordCases(kKeyboardCases);
}

TEST(KeyboardMessage, ComparisonIgnoresTimeAndUnnamedValuesPrintAsUnknown) {
  EXPECT_TRUE(KeyboardMessage(1, KEY_UP, KEY_PRESSED) == KeyboardMessage(2, KEY_UP, KEY_PRESSED));
  EXPECT_FALSE(KeyboardMessage(1, KEY_UP, KEY_PRESSED) == KeyboardMessage(1, KEY_UP, KEY_RELEASED));
  std::ostringstream os;
  os << static_cast<keyCode_t>(20) << ' ' << static_cast<keyState_t>(4) << ' ' << KEY_F10;
  EXPECT_EQ(os.str(), "<unknown:20> <unknown:4> F10");
}
