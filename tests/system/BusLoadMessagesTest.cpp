#include <gtest/gtest.h>

#include <memory>

#include "support/RecordCase.h"
#include "vxtrace/vxtrace.h"

#define BL TS " BUS LOAD     | source = "
#define BLX TS "  BUS LOAD    | "
#define C4 "00 00 00 01 00 00 00 02 00 00 00 03 00 00 00 04 "
#define C6 C4 "00 00 00 05 00 00 00 06 "
#define Z24 "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
#define C4TXT ", numControlMsg = 1, bytesControlMsg = 2, numMDPMsg = 3, bytesMDPMsg = 4"
#define MEPTXT ", numMEPMsg = 5, bytesMEPMsg = 6"

TEST(BusLoadMessages, RecordTable) {
  // clang-format off
  const RecordCase rows[] = {
    {32789, "0A 04 FD", BL "HSCAN, bus = 5, load = N/C", 15},
    {32789, "03 00 FC", BL "LIN, bus = 1, load = unknown", 15},
    {32789, "06 01 FE", BL "Ethernet, bus = 2, load = OFF", 15},
    {32789, "05 00 FF", BL "FlexRay, bus = 1, load = ERROR", 15},
    {32789, "0B 00 64", BL "<unknown:11>, bus = 1, load = 100", 15},
    {32789, "07 03 00 00 " C6,
     BL "MOST150, Status = 3 (MOST_LOCK - LIGHT_ON) " C4TXT MEPTXT, 40},
    {32789, "08 02 00 00 " C4, BL "MOST50, Status = 2 (MOST_UNLOCK - MASTER_LOCK) " C4TXT, 32},
    // A short MOST frame reads its counters as 0.
    {32789, "07 01",
     BL "MOST150, Status = 1 (MOST_LOCK - LIGHT_OFF) , numControlMsg = 0, bytesControlMsg = 0, "
        "numMDPMsg = 0, bytesMDPMsg = 0, numMEPMsg = 0, bytesMEPMsg = 0", 40, vxtest::kDecodes,
     "07 01 00 00 " Z24},
    // A counter cut by the end: its present bytes, then zeros.
    {32789, "08 02 00 00 00 00 00 01 00 00 00 02 00 00 00 03 00 00 04 00",
     BL "MOST50, Status = 2 (MOST_UNLOCK - MASTER_LOCK) , numControlMsg = 1, bytesControlMsg = 2, "
        "numMDPMsg = 3, bytesMDPMsg = 1024", 32, vxtest::kDecodes, nullptr, true, nullptr, true,
     false, 1},
    // Type 1 does not carry its unit: byte 3 is dropped and prints "-".
    {32804, "01 01 00 02 00 00 00 01 00 00 00 02 FF FF FF FF 00 00 00 04",
     BLX "[EXT] bus = CAN, channel=0, 1 -,2 -,ERROR,4 -", 32, vxtest::kDecodes,
     "01 01 00 00 00 00 00 01 00 00 00 02 FF FF FF FF 00 00 00 04"},
    {32804, "00 01 00 0C 00 00 00 05", BLX "[STD] bus = CAN, channel=0, 5 <unknown:12>", 20},
    {32804, "04 06 07 05 FF FF FF FC", BLX "[XCPonETH] bus = Ethernet, channel=7, unknown", 20},
    {32804, "03 01 01 01 00 00 00 32", BLX "[CCP/XCPonCAN] bus = CAN, channel=1, 50 %", 20},
    // MOST150 at exactly 42 bytes: no streaming word; re-encoded with a zero word.
    {32804, "02 08 01 00 " C6,
     BLX "[MOST] bus = MOST150, channel=0, status = 1 (MOST_LOCK)" C4TXT MEPTXT
         ", numStreamingChannels = 0, streamingChannelsSize = 0", 42, vxtest::kDecodes,
     "02 08 01 00 " C6 "00 00"},
    {32804, "02 08 00 00 " C6 "0C 05",
     BLX "[MOST] bus = MOST150, channel=0, status = 0 (No Traffic)" C4TXT MEPTXT
         ", numStreamingChannels = 3, streamingChannelsSize = 5", 42},
    // One byte of the streaming word: that byte, then zero; nothing read past the frame.
    {32804, "02 08 00 00 " C6 "0C",
     BLX "[MOST] bus = MOST150, channel=0, status = 0 (No Traffic)" C4TXT MEPTXT
         ", numStreamingChannels = 3, streamingChannelsSize = 0", 42, vxtest::kDecodes,
     "02 08 00 00 " C6 "0C 00"},
    // Off MOST150 the writer puts out 20 body bytes under a size of 42; the rest is zeroed.
    {32804, "02 09 02 00 " C4,
     BLX "[MOST] bus = MOST50, channel=0, status = 2 (MOST_UNLOCK - MASTER_LOCK) " C4TXT, 42,
     vxtest::kDecodes, "02 09 02 00 " C4 "00 00 00 00 00 00 00 00 00 00"},
    // The checks in their order: length, type, bus, then the MOST lengths.
    {32804, "05 15 00 00 00 00 00", nullptr, -1, invalidLength},
    {32804, "05 15 00 00 00 00 00 00", nullptr, -1, invalidEnumValue, nullptr, true, "blType_t=5"},
    {32804, "00 15 00 00 00 00 00 00", nullptr, -1, invalidEnumValue, nullptr, true, "busid_t=21"},
    {32804, "02 03 00 00 00 00 00 01 00 00 00 02 00 00 00 03 00 00 00", nullptr, -1,
     invalidLength},
    {32804, "02 08 00 00 " C4 "00 00 00 05 00 00 00", nullptr, -1, invalidLength},
  };
  // clang-format on
  vxtest::checkRecordCases(rows);
}

TEST(BusLoadMessages, WritersThrowWhenRoomIsBelowTheSize) {
  BusLoadMessage most(0, BusLoadMessage::SRC_MOST150, 1, 1, 2, 3, 4, 5, 6);
  BusLoadExtMessage ext(0, BusLoadExtMessage::BL_EXT, BUSID_CAN, 0, 2);
  std::vector<unsigned char> buf(64, 0xEE);
  unsigned char* out = buf.data();
  try {
    most.writeToByteArray(out, 39, false);
    ADD_FAILURE() << "no exception";
  } catch (const VXException& e) {
    EXPECT_STREQ(
        "BusLoadMessage::writeToByteArray: buffer size to small. Size of message = 40, "
        "size of buffer = 39",
        e.what());
  }
  EXPECT_THROW(ext.writeToByteArray(out, 31, true), VXException);  // the same text
  EXPECT_EQ(buf.data(), out);
  EXPECT_EQ(0xEE, buf[0]);
  // Room for the size but not for the size field itself: the base refuses without a throw.
  EXPECT_EQ(0u, most.writeToByteArray(out, 40, false));
  EXPECT_EQ(40u, most.getMOSTSize());
  EXPECT_EQ(32u, BusLoadMessage(0, BusLoadMessage::SRC_CAN, 0, 0).getMOSTSize());
}

TEST(BusLoadMessages, ExtUnitIsLostInARoundTripAndChannelWrapsWhenCascaded) {
  vxtest::RegistryGuard guard;
  BusLoadExtMessage ext(0, BusLoadExtMessage::BL_EXT, BUSID_CAN, 250, 2);
  ext.values[0] = 1000;
  EXPECT_EQ("1000 Bytes/s,0 Bytes/s,0 Bytes/s,0 Bytes/s", ext.getLoadInformation());
  auto back = vxtest::decode(vxtest::serialise(ext));
  ASSERT_NE(dynamic_cast<BusLoadExtMessage*>(back.get()), nullptr);
  EXPECT_EQ("1000 -,0 -,0 -,0 -", static_cast<BusLoadExtMessage&>(*back).getLoadInformation());
  EXPECT_FALSE(ext == *back);
  ext.cascadeChannel(10);
  EXPECT_EQ(4, ext.channel);

  // A type beyond the table prints as unknown and without load information.
  BusLoadExtMessage odd(0, static_cast<BusLoadExtMessage::blType_t>(7), BUSID_CAN, 0, 0);
  EXPECT_EQ("1970-01-01 00:00:00.000000  BUS LOAD    | <unknown:7> bus = CAN, channel=0, ",
            odd.toString());
  EXPECT_EQ(20u, odd.getSize());
}
