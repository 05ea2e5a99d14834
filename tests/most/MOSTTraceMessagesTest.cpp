#include <gtest/gtest.h>

#include <memory>

#include "support/RecordCase.h"
#include "vxtrace/vxtrace.h"

// Arbitration, target 0123, source 0456, type, FBlock 21, Inst 01, FktID 123, OPType 4,
// TelID 5, TelLen 3, telegram AA BB CC.
#define CTRL                                                                                      \
  "01 02 03 04 01 23 04 56 00 21 01 12 34 53 AA BB CC 00 00 00 00 00 00 00 00 00 00 00 00 00 00 " \
  "00"
#define SYSDATA "(21 01 12 34 53 AA BB CC 00 00 00 00 00 00 00 00 00 00 00)"
#define ZERO32 ZERO8 ZERO8 ZERO8 ZERO8
#define MAP64                                                                                  \
  "00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F 10 11 12 13 14 15 16 17 18 19 1A 1B 1C 1D " \
  "1E 1F 20 21 22 23 24 25 26 27 28 29 2A 2B 2C 2D 2E 2F 30 31 32 33 34 35 36 37 38 39 3A 3B " \
  "3C 3D 3E 3F"

// clang-format off
const RecordCase kCases[] = {
  {2, "00 70 " CTRL, TS "  MOST CTRL   | [INVALID_ARBITRATION] [WRONG_PARITY] [CRC_ERROR] [0456 -> 0123]"
                        " . 21.01 . 123.4 . 5 3 (AA BB CC)", 46},
  {2, "00 00 " CTRL " 77", TS "  MOST CTRL   | [0456 -> 0123] . 21.01 . 123.4 . 5 3 (AA BB CC)", 46,
   kDecodes, "00 2E 00 02 " HDR "00 00 " CTRL},
  // The 47-byte cut of the first row.
  {2, "00 00 01 02 03 04 01 23 04 56 00 21 01 12 34 53 AA BB CC 00 00 00 00 00 00 00 00 00 00 00 00 00 00",
   TS "  Invalid Message: Id=0x02Invalid message length, n=33 00 00 01 02 03 04 01 23 04 56 00 21"
      " 01 12 34 53 aa bb cc 00 00 00 00 00 00 00 00 00 00 00 00 00 00", -1, invalidLength},
  {2, "03 10 " CTRL, TS "  MOST CTRL   | [INVALID_ARBITRATION] [0456 -> 0123] Type = 3"
                        " (21 01 12 34 53 AA BB CC 00 00 00 00 00 00 00 00 00 00 00)", 46},
  {2, "01 00 " CTRL, TS "  MOST CTRL   | [0456 -> 0123] Type = 1 " SYSDATA, 46},
  {2, "05 00 01", nullptr, -1, invalidLength},
  {2, "07 00", TS "  Invalid Message: Id=0x02, Invalid enum value 'invalid subtype'=0x07, n=2 07 00",
   -1, invalidEnumValue},
  {2, "F0 03 00 00 00 01 00 00 00 03 85 00 8A 7F 80 " ZERO8 ZERO8 "00 00 00",
   TS "  MOST STATUS | Light on - Lock - SBC: 5 - MDR: 10 - NDR: 0", 46},
  {2, "F0 41 00 00 00 00 00 00 00 03 " ZERO8 ZERO8 ZERO8,
   TS "  MOST STATUS | [CRC_ERROR] Light on - Unlock", 46},
  {2, "F0 03 " ZERO32, TS "  MOST STATUS | [reserved for future use]", 46},
  {2, "F0 03 00 00 00 00 00 00 00 02 00 81", TS "  Invalid Message: Id=0x02Invalid message length,"
   " n=12 f0 03 00 00 00 00 00 00 00 02 00 81", -1, invalidLength},
  {2, "F1 00 " MAP64, TS "  MOST ALLOC  | " MAP64, 78},
  {2, "F1 00 " ZERO32 ZERO8 ZERO8 ZERO8 "00 00 00 00 00 00 00", nullptr, -1, invalidLength},
  {2, "80 00 05 01 23 00 04 56", TS "  MOST ASYNCH | [0456 -> 0123] . 00 ()", 20},
  {2, "80 20 05 01 23 01 04 56 AA BB 11 22", TS "  MOST ASYNCH | [WRONG_PARITY] [0456 -> 0123] . 02 (AA BB)", 24},
  // Bytes beyond 4·L + 6 are kept but not written back.
  {2, "80 00 05 01 23 01 04 56 AA BB 11 22 33", TS "  MOST ASYNCH | [0456 -> 0123] . 02 (AA BB)", 24,
   kDecodes, "00 18 00 02 " HDR "80 00 05 01 23 01 04 56 AA BB 11 22"},
  {2, "80 00 05 01 23 04 56", nullptr, -1, invalidLength},
  {2, "80 00 05 01 23 02 04 56 AA BB 11 22 33", nullptr, -1, invalidLength},
  {2, "F2 00 11 22 33 44 00 99", TS "  MOST CTRL   | MOSTTraceSynchDataMessage 11 22 33 44 00 99", 20},
  {2, "F2 40 11 22 33 44 80", TS "  MOST CTRL   | [CRC_ERROR] MOSTTraceSynchAllocMessage 11 22 33 44 80", 19},
  {2, "F2 00 11 22 33 44 90 01", TS "  MOST CTRL   | MOSTTraceSynchCtrlMessage 11 22 33 44 90 01", 20},
  {2, "F2 00 11 22 33 44 A1 FE", TS "  MOST CTRL   | MOSTTraceSynchAllocMapMessage 11 22 33 44 A1 FE", 20},
  // Too short to hold the sub-type: it reads as 0 and the bytes are kept.
  {2, "F2 00 11", TS "  MOST CTRL   | MOSTTraceSynchDataMessage 11", 15},
  {2, "F2 00 11 22 33 44 07", TS "  Invalid Message: Id=0x02, Invalid enum value 'invalid sync subtype'=0x07,"
   " n=7 f2 00 11 22 33 44 07", -1, invalidEnumValue},
};
// clang-format on

TEST(MOSTTraceMessages, TableRowsDecodePrintAndRoundTrip) {
  vxtest::RegistryGuard registry;
  vxtest::Capture err(std::cerr);
  for (RecordCase c : kCases) {
    c.ownInvalid = true;  // every MOST reject is the creator's own InvalidMessage
    vxtest::checkRecordCase(c);
  }
  // Each reject wrote its line once per decode; the two kinds of line:
  EXPECT_NE(err.text().find("[ERROR] Cannot create MOSTTraceControlMessage message\n"),
            std::string::npos);
  EXPECT_NE(err.text().find("[ERROR] Cannot create MOST message, unknow subtype 0x7\n"),
            std::string::npos);
}

TEST(MOSTTraceMessages, EachTypeNamesItsClassWhenCutAndBelow16BytesThereIsNoMessage) {
  vxtest::RegistryGuard registry;
  const Bytes control = vxtest::frame(MSGID_MOST, 1, hex("00 00 " CTRL), 0xBEEF);
  const char* names[] = {"MOSTTraceControlRemoteReadMessage", "MOSTTraceControlRemoteWriteMessage",
                         "MOSTTraceControlAllocMessage", "MOSTTraceControlDeallocMessage",
                         "MOSTTraceControlRemoteGetSourceMessage"};
  for (uint8_t t = 1; t <= 5; ++t) {
    Bytes f = control;
    f[14] = t;
    auto m = vxtest::decodeExact(f, 48);
    auto* sys = dynamic_cast<MOSTTraceControlMessageBase*>(m.get());
    ASSERT_NE(sys, nullptr);
    EXPECT_EQ(t, sys->type);
    EXPECT_EQ(nullptr, dynamic_cast<MOSTTraceControlMessage*>(m.get()));
    vxtest::Capture err(std::cerr);
    auto cut = vxtest::decodeExact(f, 40);  // the header word survives on a reject
    ASSERT_NE(cut, nullptr);
    EXPECT_EQ(0xBEEF, cut->headerWord);
    EXPECT_EQ(std::string("[ERROR] Cannot create ") + names[t - 1] + " message\n", err.text());
  }
  EXPECT_EQ(nullptr, vxtest::decodeExact(control, 15));
}

TEST(MOSTTraceMessages, FieldConstructorsAndAccessorsWorkOnTheRawBytes) {
  const Bytes frameBytes = hex(CTRL);
  MOSTTraceControlMessage c(1500000, 0, frameBytes.data());
  c.setSourceAddress(0xABCD);
  c.setTargetAddress(0x0102);
  EXPECT_EQ(hex("01 02 AB CD"), Bytes(c.frame + 4, c.frame + 8));

  EXPECT_FALSE(MOSTTraceControlSystemMessage<4>(0, 0, frameBytes.data()) == c);
  const Bytes status = hex("12 34 56 78 00 00 00 01" ZERO8 ZERO8 ZERO8);
  EXPECT_EQ("1970-01-01 00:00:00.000000  MOST STATUS | Light off",
            MOSTTraceStatusMessage(0, 0, status.data()).toString());

  const Bytes packet = hex("05 01 23 01 04 56 AA BB 11 22");
  MOSTTraceAsynchMessage a(0, 0, packet.data(), 10);
  a.setArbitrationByte(0x09);
  a.setTargetAddress(0x1111);
  a.setSourceAddress(0x2222);
  EXPECT_EQ(hex("09 11 11 01 22 22 AA BB 11 22"), a.packet);
  // The writer returns S itself, marker or not.
  EXPECT_EQ(vxtest::writeInto(a, 28, true).result, 24u);
  EXPECT_EQ(vxtest::writeInto(a, 26, false).result, 24u);
  EXPECT_EQ("MOST25 #0", a.getSourceChannel());
  EXPECT_EQ(0x300u, a.getSourceChannelID());

  vxtest::Capture err(std::cerr);
  EXPECT_THROW(MOSTTraceAsynchMessage(0, 0, packet.data(), 9), BufferMismatchException);
  EXPECT_EQ("[ERROR] MOSTTraceAsynchMessage: message too short. len = 9, getSize() =  10\n",
            err.text());

  // The base alone is type and flags.
  MOSTTraceMessageBase b(0, MOSTTraceMessageBase::MOST_TYPE_CONTROL, 0x20);
  EXPECT_EQ(hex("00 0E 00 02 00 00 00 00 00 00 00 00 00 00 00 20"), vxtest::serialise(b));
  EXPECT_EQ("1970-01-01 00:00:00.000000  MOST CTRL   | [WRONG_PARITY]", b.toString());
}

TEST(MOSTTraceMessages, ComparisonSeesClassAndBytesAndAHandShortenedPacketStaysInBounds) {
  const Bytes frameBytes = hex(CTRL);
  MOSTTraceControlMessage c(7, 0, frameBytes.data());
  MOSTTraceControlMessage changed = c;
  changed.frame[31] = 1;
  EXPECT_FALSE(c == changed);
  changed = c;
  changed.flags = 0x40;
  EXPECT_FALSE(c == changed);
  EXPECT_FALSE(c == MOSTTraceStatusMessage(7, 0, frameBytes.data()));
  EXPECT_TRUE(c == MOSTTraceControlMessage(7, 0, frameBytes.data()));

  // The packet vector is public: cut below its header, accessors read 0, setters do nothing,
  // and printing and writing never reach past its end; missing bytes go out as zeros.
  const Bytes packet = hex("05 01 23 01 04 56 AA BB 11 22");
  MOSTTraceAsynchMessage a(0, 0, packet.data(), 10);
  a.packet.resize(2);
  a.setSourceAddress(0x1234);
  EXPECT_EQ(0, a.getSourceAddress());
  EXPECT_EQ(0, a.getTargetAddress());
  EXPECT_EQ("1970-01-01 00:00:00.000000  MOST ASYNCH | [0000 -> 0000] . 02 ()", a.toString());
  EXPECT_EQ(hex("00 18 00 02 00 00 00 00 00 00 00 00 00 00 80 00 05 01 00 00 00 00 00 00 00 00"),
            vxtest::serialise(a));
}
