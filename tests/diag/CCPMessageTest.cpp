#include <gtest/gtest.h>

#include "support/RecordCase.h"
#include "vxtrace/vxtrace.h"

namespace {

// Bodies end in the two zero bytes that the size field declares beyond the body, as a writer
// leaves them, so that the frames re-encode unchanged.
// clang-format off
const std::vector<RecordCase>& cases() {
  static const std::vector<RecordCase> rows = {
    {23, "20 08 00 00 00 06 FF 01 05 00 00 00 00 00 00 00 00",
     TS "  CCP_CRO     | ECU[1]; CRO_CMD[CONNECT]; 8 01 05 00 00 00 00 00 00; CAN[Id=0x6ff, "
        "Type=STANDARD, Ch=3]", 29},
    // No data: no command, the length straight after the ECU.
    {23, "10 00 01 00 00 06 FF 00 00",
     TS "  CCP_CRO     | ECU[2]0 ; CAN[Id=0x6ff, Type=STANDARD, Ch=2]", 21},
    // Bit 31 of the identifier word: 29-bit identifier; unknown command 0x0A.
    {23, "03 12 00 80 12 34 56 0A 00 00 00",
     TS "  CCP_CRO     | ECU[1]; CRO_CMD[INVALID_COMMAND_CODE]; 2 0a 00; CAN[Id=0x123456, "
        "Type=EXTENDED, Ch=1]", 23},
    // Without bit 31 only the low 11 bits are the identifier.
    {23, "00 01 00 00 00 FF FF 23 00 00",
     TS "  CCP_CRO     | ECU[1]; CRO_CMD[DNLOAD_6]; 1 23; CAN[Id=0x7ff, Type=STANDARD, Ch=1]", 22,
     kDecodes, "00 01 00 00 00 07 FF 23 00 00"},
    {23, "04 00 00", nullptr, -1, invalidEnumValue},
    {24, "20 08 00 00 00 06 FE FF 00 05 01 02 03 04 05 00 00",
     TS "  CCP_DTO     | ECU[1], PID_TYPE[CRM(CMD_OK)]; 8 ff 00 05 01 02 03 04 05; CAN[Id=0x6fe, "
        "Type=STANDARD, Ch=3]", 29},
    // The event PID 0xFE is a command return message too.
    {24, "20 03 00 00 00 06 FE FE 33 07 00 00",
     TS "  CCP_DTO     | ECU[1], PID_TYPE[CRM(ERR-C3_ACCESS_DENIED)]; 3 fe 33 07; CAN[Id=0x6fe, "
        "Type=STANDARD, Ch=3]", 24},
    {24, "20 02 00 00 00 06 FE FF 99 00 00",
     TS "  CCP_DTO     | ECU[1], PID_TYPE[CRM(INVALID_COMMAND_RETURN_CODE)]; 2 ff 99; "
        "CAN[Id=0x6fe, Type=STANDARD, Ch=3]", 23},
    {24, "20 04 00 00 00 06 FE 03 11 22 33 00 00",
     TS "  CCP_DTO     | ECU[1], PID_TYPE[DAQ]; 4 03 11 22 33; CAN[Id=0x6fe, Type=STANDARD, "
        "Ch=3]", 25},
    // Error frame: three body bytes, no length, identifier or data.
    {24, "21 00 02 00 00",
     TS "  CCP_DTO     | ECU[3], PID_TYPE[DAQ]; 0 ; CAN[Id=0x0, Type=STANDARD, Ch=3]", 17},
    // A length nibble of 9 or more takes its bytes but prints none.
    {24, "20 09 00 00 00 06 FE FF 00 01 02 03 04 05 06 07 00 00",
     TS "  CCP_DTO     | ECU[1], PID_TYPE[CRM(CMD_OK)]; 9 Error: Invalid DLC!; CAN[Id=0x6fe, "
        "Type=STANDARD, Ch=3]", 30},
    // Data cut after two of eight bytes: the rest reads as 0, nothing beyond the frame.
    {24, "20 08 00 00 00 06 FE FF 00",
     TS "  CCP_DTO     | ECU[1], PID_TYPE[CRM(CMD_OK)]; 8 ff 00 00 00 00 00 00 00; CAN[Id=0x6fe, "
        "Type=STANDARD, Ch=3]", 29, kDecodes, ""},
    {24, "0F 00 00", nullptr, -1, invalidEnumValue},
  };
  return rows;
}
// clang-format on

}  // namespace

TEST(CCPMessages, RecordTable) {
  vxtest::checkRecordCases(cases());
}

TEST(CCPMessages, SetReturnCodesParametersAndChannels) {
  // A CAN FD frame copied in keeps its twelve bytes and prints the DLC error.
  CANTraceMessage fd(0, 1, CAN_FRAME_STANDARD, 0, 0x1234,
                     hex("FF 00 09 01 02 03 04 05 06 07 08 09"));
  fd.type = CAN_TYPE_FD_EXT;
  CCP_DTO_Message dto(0);
  dto.set(&fd);
  dto.set(nullptr);
  EXPECT_EQ(dto.getSize(), 33u);
  EXPECT_NE(dto.toString().find("12 Error: Invalid DLC!; CAN[Id=0x1234, Type=FD_EXT, Ch=2]"),
            std::string::npos)
      << dto.toString();
  EXPECT_EQ(dto.getCTR(), 9);
  EXPECT_EQ(dto.getParamDataBytes(), hex("01 02 03 04 05 06 07 08 09"));

  // A return message shorter than its three fixed bytes has no parameters, not a negative count.
  CCP_DTO_Message shortCrm(0, 0, 0, CAN_FRAME_STANDARD, CAN_TYPE_STANDARD, 0x10, false,
                           hex("FE 30"));
  EXPECT_EQ(shortCrm.getCmdReturnCode(), CCP_DTO_Message::ERR_C3_CMD_UNKNOWN);
  EXPECT_EQ(shortCrm.getParamDataBytesSize(), 0u);

  CCP_DTO_Message daq(0, 0, 0, CAN_FRAME_STANDARD, CAN_TYPE_STANDARD, 0x10, false, hex("02 AA BB"));
  EXPECT_EQ(daq.getParamDataBytes(), hex("02 AA BB"));

  CCP_CRO_Message cro(0, 1, 2, CAN_FRAME_TXMESSAGE, CAN_TYPE_STANDARD, 0x700, false, hex("01"));
  cro.cascadeChannel(2, 1);
  daq.cascadeChannel(3, 0);
  EXPECT_EQ(cro.channel, 3);
  EXPECT_EQ(daq.channel, 0);
  cro.sourceWord = 1;
  EXPECT_EQ(cro.getSourceChannelID(), 0x0000000100000B03ULL);
  EXPECT_EQ(daq.getSourceChannel(), "CCP_XCP #3");

  // Equal CAN fields under the other identifier are not the same record.
  CCP_DTO_Message asDto(0, 3, 3, CAN_FRAME_TXMESSAGE, CAN_TYPE_STANDARD, 0x700, false, hex("01"));
  EXPECT_FALSE(cro == asDto);
  CCP_CRO_Message copy(cro);
  EXPECT_TRUE(copy == cro);
  copy.extendedId = true;
  EXPECT_FALSE(copy == cro);
}
