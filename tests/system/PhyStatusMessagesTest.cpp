#include <gtest/gtest.h>

#include <memory>

#include "support/RecordCase.h"
#include "vxtrace/vxtrace.h"

#define PHY TS "  PHY STATUS  | "

TEST(PhyStatusMessages, RecordTable) {
  // clang-format off
  const RecordCase rows[] = {
    // The link register of other PHYs is 1: unknown, though register 23 still gives the SQI.
    {31, "06 00 01 03 00 17 80 A0", PHY "Ethernet #1, BCM54810: link unknown, 23=0x80a0", 20},
    // The last reading of the link register wins.
    {31, "06 00 02 02 00 01 00 04 00 01 00 00",
     PHY "Ethernet #1, KSZ9031RNX: link down, 1=0x0004, 1=0x0000", 24},
    {31, "01 FF 00 05", PHY "CAN #256, INVALID: link unknown", 16},
    // More pairs announced than the frame holds: those inside it are read.
    {31, "06 00 03 01 00 17 00 A0 00 14", PHY "Ethernet #1, TJA1100: link down, 23=0x00a0", 20,
     vxtest::kDecodes, "06 00 01 01 00 17 00 A0"},
    {32, "06 00 00 01 00 00 00 02 00 07 00 01 00 17 80 A0 00 00 00 02 00 14 00 09 00 00 00 00",
     PHY "Ethernet #1, TJA1100: link up [dev=1,reg=23,val=0x80a0] [dev=2,reg=20,val=0x0009]", 40},
    // The size field declares four bytes beyond the body; written as zeros.
    {32, "06 00 01 05 00 00 00 01 00 00 00 00 00 01 00 00",
     PHY "Ethernet #1, INVALID: link down [dev=0,reg=1,val=0x0000]", 32, vxtest::kDecodes,
     "06 00 01 05 00 00 00 01 00 00 00 00 00 01 00 00 00 00 00 00"},
    {32, "06 00 00 03 00 00 00 05 00 00 00 01 00 01 00 04",
     PHY "Ethernet #1, BCM54810: link up [dev=1,reg=1,val=0x0004]", 32, vxtest::kDecodes,
     "06 00 00 03 00 00 00 01 00 00 00 01 00 01 00 04 00 00 00 00"},
  };
  // clang-format on
  vxtest::checkRecordCases(rows);
}

TEST(PhyStatusMessages, DerivedValuesAndNames) {
  PhyStatusMessage tja(0, BUSID_ETHERNET, 0, PhyStatusMessage::PHY_TJA1100,
                       {{20, 7}, {23, 0x80A0}, {23, 0x0000}, {20, 9}});
  EXPECT_EQ(PhyStatusMessage::LINK_DOWN, tja.getLinkStatus());
  EXPECT_EQ(5, tja.getSQI());  // the first reading of register 23
  EXPECT_EQ(7u, tja.getSymbolErrorCount());
  unsigned short v = 0;
  EXPECT_TRUE(tja.getValue(23, v));
  EXPECT_EQ(0x80A0, v);
  EXPECT_FALSE(tja.getValue(1, v));

  PhyStatusMessage none(0, BUSID_ETHERNET, 3, PhyStatusMessage::PHY_BCM54810, {});
  EXPECT_EQ(PhyStatusMessage::SQI_NOT_AVAILABLE, none.getSQI());
  EXPECT_EQ(0xFFFFFFFFu, none.getSymbolErrorCount());
  EXPECT_EQ(PhyStatusMessage::LINK_UNKNOWN, none.getLinkStatus());
  none.sourceWord = 0xA;
  EXPECT_EQ(0x0000000A00000603ULL, none.getSourceChannelID());
  EXPECT_EQ("Ethernet #3", none.getSourceChannel());
  none.cascadeChannel(0x1FE);
  EXPECT_EQ(1, none.channel);

  EXPECT_STREQ("SQI_CLASS_E (good link)", PhyStatusMessage::getSQIName(5));
  EXPECT_STREQ("<not available>", PhyStatusMessage::getSQIName(255));
  EXPECT_STREQ("<unknown>", PhyStatusMessage::getSQIName(8));
  EXPECT_STREQ("error", PhyStatusMessage::getLinkStatusName(PhyStatusMessage::LINK_ERROR));
  EXPECT_STREQ("INVALID",
               PhyStatusMessage::getLinkStatusName(static_cast<PhyStatusMessage::linkStatus_t>(4)));

  PhyStatusExtMessage::entry_t e;
  e.reg = 23;
  e.dev = 1;
  e.value = 0x00E0;
  PhyStatusExtMessage ext(0, BUSID_ETHERNET, 2, PhyStatusMessage::PHY_TJA1100, {e});
  EXPECT_EQ(7, ext.getSQI());
  EXPECT_EQ(PhyStatusMessage::LINK_DOWN, ext.getLinkStatus());
  EXPECT_TRUE(ext.getValue(23, v, 1));
  EXPECT_FALSE(ext.getValue(23, v, 2));
  EXPECT_EQ(0x602u, ext.getSourceChannelID());
  // One entry: 30 bytes written (no marker) under a declared frame of 34.
  vxtest::Written w = vxtest::writeInto(ext, 34, false);
  EXPECT_EQ(30u, w.result);
  EXPECT_EQ(30, w.advanced);
  EXPECT_EQ(vxtest::hex("00 00 00 00"), vxtest::Bytes(w.bytes.begin() + 30, w.bytes.end()));
}
