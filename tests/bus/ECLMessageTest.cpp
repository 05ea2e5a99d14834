#include <gtest/gtest.h>

#include <sstream>

#include "support/RecordCase.h"
#include "vxtrace/vxtrace.h"

// clang-format off
const vxtest::RecordCase kEclCases[] = {
  // Types 0..5: type and a 16-bit value.
  {10, "03 01 2C", TS "  ECL MESSAGE | [ECL_STOP] 300", 15},
  {10, "05 00 07 99", TS "  ECL MESSAGE | [ECL_RESULT] 7", 15, kDecodes,
   "00 0F 00 0A " HDR "05 00 07"},
  // Coded pulses: parameter cut to 5 bits, node word to 7.
  {10, "08 00 00 FF 00 00 01 00", TS "  ECL MESSAGE | [ECL_STP] Parameter: 0x1f - 256", 20,
   kDecodes, "00 14 00 0A " HDR "08 00 00 1F 00 00 01 00"},
  {10, "09 00 00 17 00 00 00 02", TS "  ECL MESSAGE | [ECL_STR] Node: 0x05; E: 1; O: 1 - 2", 20},
  {10, "09 00 FF 82 00 00 00 00", TS "  ECL MESSAGE | [ECL_STR] Node: 0x00; E: 1; O: 0 - 0", 20,
   kDecodes, "00 14 00 0A " HDR "09 00 00 02 00 00 00 00"},
  {10, "06 00 12 34 FF FF FF FF", TS "  ECL MESSAGE | [ECL_EWU] 4294967295", 20},
  // Only the type byte is length-checked; a cut value is its present bytes, then zeros.
  {10, "03 01 00", TS "  ECL MESSAGE | [ECL_STOP] 256", 15, kDecodes, nullptr, true, nullptr, true,
   false, 1},
  {10, "07", TS "  ECL MESSAGE | [ECL_STWU] 0", 20, kDecodes, ""},
  {10, "02", TS "  ECL MESSAGE | [ECL_ERROR] 0", 15, kDecodes, ""},
  {10, "0B 00 00", nullptr, -1, invalidEnumValue, nullptr, true, "eclMsg_t=11"},
  {10, "", nullptr, -1, invalidLength, nullptr, true, "ECLMessage too short"},
};
// clang-format on

TEST(ECLMessage, TableOfEventFormsMasksAndRejects) {
  vxtest::checkRecordCases(kEclCases);
}

TEST(ECLMessage, FieldsSourceChannelAndUnnamedType) {
  ECLMessage stop(0, ECLMessage::ECL_STOP, 0x1234);
  stop.setSourceWord(0xA);
  EXPECT_EQ(stop.getSourceChannelID(), 0x0000000A00000E00ULL);
  EXPECT_EQ(stop.getSourceChannel(), "ECL");
  EXPECT_TRUE(stop == ECLMessage(5, ECLMessage::ECL_STOP, 0x1234));
  EXPECT_FALSE(stop == ECLMessage(0, ECLMessage::ECL_STOP, 0x1234, 1));

  std::ostringstream os;
  os << static_cast<ECLMessage::eclMsg_t>(11);
  EXPECT_EQ(os.str(), "<unknown:11>");
}
