#include <gtest/gtest.h>

#include <sstream>

#include "support/RecordCase.h"
#include "vxtrace/XCP_Message.h"

using X = XCP_Message;

namespace {

// Link settings of the rows: CAN identifier 0x7E0, STANDARD, channel 2; or Ethernet
// 192.168.0.1 / 192.168.0.2 / 255.255.255.0, port 5555.
#define CAN_LINK " 00 00 07 E0 00 01"
#define ETH_LINK                                                             \
  " 0B 31 39 32 2E 31 36 38 2E 30 2E 31 0B 31 39 32 2E 31 36 38 2E 30 2E 32" \
  " 0D 32 35 35 2E 32 35 35 2E 32 35 35 2E 30 15 B3"
#define CAN_TEXT "; CAN[Id=0x7e0, Type=STANDARD, Ch=2]"
#define ETH_TEXT "; ETH[Dst=192.168.0.1, Src=192.168.0.2, Mask=255.255.255.0, Port=5555"

std::string zeros(int n) {
  std::string s;
  for (int i = 0; i < n; ++i) s += " 00";
  return s;
}

// A DAQ packet whose time stamp is 254 bytes long: the size rule counts it modulo 256.
const std::string kLongTsBody = "02 01 00 00 00 07 00 00 00 04 FE" + zeros(257) + CAN_LINK;
const std::string kLongTsHead = TS
    "  XCP CAN Rx  | ECU[1], [DTO_DAQ()]; Header[]; Packet[Id(ABSOLUTE_ODT_NUMBER, PID=0x07, "
    "Fill=0x00, DAQ=0), Ts(DWORD:";
const std::string kLongTsLine = kLongTsHead + zeros(254) + "), Data(0)]; Tail[]" CAN_TEXT;

// clang-format off
const std::vector<RecordCase>& cases() {
  static const std::vector<RecordCase> rows = {
    // CONNECT on CAN with six fill bytes in the tail.
    {25, "02 02 00 00 05 FF 00 00 00 00 00 00 01 00 06 00 00 00 00 00 00" CAN_LINK,
     TS "  XCP CAN Tx  | ECU[1], [CTO_CMD(CONNECT)]; Header[]; Packet[Id(CTO_PACKET_CODE, "
        "PID=0xff, Fill=0x00, DAQ=0), Ts(NO:), Data(1: 00)]; Tail[00 00 00 00 00 00]" CAN_TEXT, 39},
    // Level-1 command with its sub-command; CAN FD, ECU 3.
    {25, "04 02 02 00 05 C0 00 00 00 00 00 00 01 00 00" CAN_LINK,
     TS "  XCP CAN FD Tx  | ECU[3], [CTO_CMD(LEVEL1_INDICATOR, GET_VERSION)]; Header[]; "
        "Packet[Id(CTO_PACKET_CODE, PID=0xc0, Fill=0x00, DAQ=0), Ts(NO:), Data(1: 00)]; Tail[]"
        CAN_TEXT, 33},
    // Positive response and the error codes, among them 0x33 (not the access-locked 0x25).
    {25, "02 01 00 00 05 FF 00 00 00 00 00 00 05 00 15 00 08 00 00" CAN_LINK,
     TS "  XCP CAN Rx  | ECU[1], [CTO_RES()]; Header[]; Packet[Id(CTO_PACKET_CODE, PID=0xff, "
        "Fill=0x00, DAQ=0), Ts(NO:), Data(5: 00 15 00 08 00)]; Tail[]" CAN_TEXT, 37},
    {25, "02 01 00 00 05 FE 00 00 00 00 00 00 01 33 00" CAN_LINK,
     TS "  XCP CAN Rx  | ECU[1], [CTO_ERR()]; Header[]; Packet[Id(CTO_PACKET_CODE, PID=0xfe, "
        "Fill=0x00, DAQ=0), Code=ERR-S2_RESOURCE_TEMPORARY_NOT_ACCESSIBLE, Ts(NO:), Data(1: 33)]; "
        "Tail[]" CAN_TEXT, 33},
    {25, "02 01 00 00 05 FE 00 00 00 00 00 00 01 25 00" CAN_LINK,
     TS "  XCP CAN Rx  | ECU[1], [CTO_ERR()]; Header[]; Packet[Id(CTO_PACKET_CODE, PID=0xfe, "
        "Fill=0x00, DAQ=0), Code=ERR-S2_ACCESS_LOCKED, Ts(NO:), Data(1: 25)]; Tail[]" CAN_TEXT, 33},
    {25, "02 01 00 00 05 FD 00 00 00 00 00 00 01 09 00" CAN_LINK,
     TS "  XCP CAN Rx  | ECU[1], [CTO_EV()]; Header[]; Packet[Id(CTO_PACKET_CODE, PID=0xfd, "
        "Fill=0x00, DAQ=0), Code=EV-S0-S3_STIM_TIMEOUT, Ts(NO:), Data(1: 09)]; Tail[]" CAN_TEXT, 33},
    {25, "02 01 00 00 05 FC 00 00 00 00 00 00 01 01 00" CAN_LINK,
     TS "  XCP CAN Rx  | ECU[1], [CTO_SERV()]; Header[]; Packet[Id(CTO_PACKET_CODE, PID=0xfc, "
        "Fill=0x00, DAQ=0), Code=SERV_TEXT, Ts(NO:), Data(1: 01)]; Tail[]" CAN_TEXT, 33},
    // DAQ list 3 with a WORD time stamp over Ethernet (UDP), LEN 8 and CTR 1 little-endian.
    {25, "01 01 01 04 08 00 01 00 01 05 00 00 03 02 02 12 34 00 02 AB CD 00" ETH_LINK " 00",
     TS "  XCP ETH Rx  | ECU[2], [DTO_DAQ()]; Header[LEN=8, CTR=1]; Packet[Id("
        "RELATIVE_ODT_ABSOLUTE_DAQ_BYTE, PID=0x05, Fill=0x00, DAQ=3), Ts(WORD: 12 34), "
        "Data(2: ab cd)]; Tail[]" ETH_TEXT ", UDP]", 75},
    // Any non-zero protocol byte is TCP and is written back as 1.
    {25, "01 02 00 04 00 00 00 00 05 FD 00 00 00 00 00 00 00 00" ETH_LINK " 07",
     TS "  XCP ETH Tx  | ECU[1], [CTO_CMD(GET_STATUS)]; Header[LEN=0, CTR=0]; Packet[Id("
        "CTO_PACKET_CODE, PID=0xfd, Fill=0x00, DAQ=0), Ts(NO:), Data(0)]; Tail[]" ETH_TEXT
        ", TCP]", 71, kDecodes,
     "01 02 00 04 00 00 00 00 05 FD 00 00 00 00 00"
     " 00 00 00" ETH_LINK " 01"},
    // Direction 0: no packet type.
    {25, "02 00 00 00 05 10 00 00 00 00 00 00 00 00" CAN_LINK,
     TS "  XCP CAN UNKNOWN  | ECU[1], [UNKNOWN()]; Header[]; Packet[Id(CTO_PACKET_CODE, "
        "PID=0x10, Fill=0x00, DAQ=0), Ts(NO:), Data(0)]; Tail[]" CAN_TEXT, 32},
    // Time stamp of 254 bytes: decoded whole, counted modulo 256, never re-encoded.
    {25, kLongTsBody.c_str(), kLongTsLine.c_str(), 30, kDecodes, ""},
    // Rejects: unknown transport, FlexRay, Ethernet header of 3, cut packet, cut data, tail
    // longer than the rest, cut CAN settings, cut Ethernet port, a 16-byte frame.
    {25, "05 01 00 00", nullptr, -1, invalidEnumValue, nullptr, true, "transportType_t=5"},
    {25, "03 01 00 00 05 FF 00 00 00 00 00 00 00 00", nullptr, -1, invalidLength},
    {25, "01 01 00 03 00 00 00 05 FF 00 00 00 00 00 00 00 00", nullptr, -1, invalidLength},
    {25, "02 01 00 00 05 FF 00 00 00 00 00 00 02 00", nullptr, -1, invalidLength},
    {25, "02 01 00 00 05 FF 00 00 00 00 00 00 00 07" CAN_LINK, nullptr, -1, invalidLength},
    {25, "02 01 00 00 05 FF 00 00 00 00 00 00 00 00 00 00 07 E0 00", nullptr, -1, invalidLength},
    {25, "01 01 00 04 00 00 00 00 05 FF 00 00 00 00 00 00 00 00" ETH_LINK, nullptr, -1,
     invalidLength},
  };
  return rows;
}
// clang-format on

}  // namespace

TEST(XCP_Message, RecordTable) {
  vxtest::RegistryGuard guard;
  vxtest::Capture err(std::cerr);
  for (const RecordCase& c : cases()) vxtest::checkRecordCase(c);
  // The rejects name the part that failed; the first and last part of the frame:
  EXPECT_NE(err.text().find("[ERROR] XCP Header read error\n"), std::string::npos);
  EXPECT_NE(err.text().find("[ERROR] XCP message CAN settings read error\n"), std::string::npos);
}

TEST(XCP_Message, HeaderOnEthernetOnlyTimeStampMovesAndTransportSettings) {
  X eth(1500000, X::TRANSPORT_ETH, X::DIR_RX, 1);
  uint16_t len = 0, ctr = 0;
  EXPECT_TRUE(eth.header.setLEN(0x0102) && eth.header.setCTR(7));
  EXPECT_EQ(eth.header.bytes, hex("02 01 07 00"));
  EXPECT_TRUE(eth.header.getLEN(len) && eth.header.getCTR(ctr));
  EXPECT_EQ(len, 0x0102);
  EXPECT_EQ(ctr, 7);
  eth.packet.timestampField.type = X::TS_DWORD;
  eth.packet.dataField.bytes = hex("00 00 01 00 AA BB");
  EXPECT_TRUE(eth.packet.moveTimestampData());
  EXPECT_EQ(eth.packet.timestampField.bytes, hex("00 00 01 00"));
  EXPECT_EQ(eth.packet.dataField.bytes, hex("AA BB"));
  EXPECT_FALSE(eth.packet.moveTimestampData());  // two bytes left, four wanted
  eth.dstAddress = "10.0.0.1";
  eth.port = 5555;
  eth.tcp = true;
  std::string dst, src, mask;
  uint16_t port = 0;
  bool tcp = false;
  unsigned id = 0;
  cantype_t type{};
  uint8_t channel = 0;
  EXPECT_TRUE(eth.getEthernetTransportTypeSettings(dst, src, mask, port, tcp));
  EXPECT_EQ(dst + "/" + std::to_string(port) + (tcp ? "/tcp" : "/udp"), "10.0.0.1/5555/tcp");
  EXPECT_FALSE(eth.getCanTransportTypeSettings(id, type, channel));

  X can(0, X::TRANSPORT_CAN, X::DIR_TX, 0);
  EXPECT_FALSE(can.header.setLEN(1));
  EXPECT_FALSE(can.header.getCTR(ctr));
  can.canId = 0x7E0;
  can.canChannel = 3;
  EXPECT_TRUE(can.getCanTransportTypeSettings(id, type, channel));
  EXPECT_EQ(id, 0x7E0u);
  EXPECT_FALSE(can.getEthernetTransportTypeSettings(dst, src, mask, port, tcp));

  // cascadeChannel moves the ECU channel always, the CAN channel only on CAN.
  can.cascadeChannel(2, 1);
  eth.cascadeChannel(2, 1);
  EXPECT_EQ(can.canChannel, 4);
  EXPECT_EQ(eth.ecuChannel, 3);
  can.sourceWord = 5;
  EXPECT_EQ(can.getSourceChannelID(), 0x0000000500000B02ULL);
  X::Packet::TimestampField ts;
  ts.setType(X::TS_WORD);
  EXPECT_EQ(ts.bytes, hex("00 00"));
  ts.setType(static_cast<X::timestampFieldType_t>(3));
  EXPECT_TRUE(ts.bytes.empty());
}

TEST(XCP_Message, PacketTypeDiagnosticsAndWriterRefusals) {
  X stim(0, X::TRANSPORT_CAN, X::DIR_TX, 0);
  stim.packet.identificationField.pid = 0x10;
  {
    vxtest::Capture err(std::cerr);
    EXPECT_NE(stim.toString().find("[DTO_STIM()]"), std::string::npos);
    EXPECT_EQ(err.text(),
              "[WARNING] XCP_Message::setPacketType: STIMULATION is not supported at the moment\n");
  }
  {
    X odd(0, X::TRANSPORT_CAN, static_cast<X::msgDirection_t>(9), 0);
    vxtest::Capture err(std::cerr);
    EXPECT_EQ(odd.getPacketType(), X::PACKET_UNKNOWN);
    EXPECT_EQ(err.text(),
              "[ERROR] XCP_Message::setPacketType: Unknown direction=invalid msg direction\n");
  }

  // Room for one byte less than the frame: refused with its line, nothing written.
  X can(0, X::TRANSPORT_CAN, X::DIR_TX, 0);
  {
    vxtest::Capture err(std::cerr);
    const vxtest::Written w = vxtest::writeInto(can, can.getSize() + 1, false);
    EXPECT_EQ(w.result, 0u);
    EXPECT_EQ(w.advanced, 0);
    EXPECT_EQ(err.text(), "[ERROR] XCP_Message::writeToByteArray: can't write XCP_Message\n");
  }
  // A 254-byte time stamp fits its length byte but not the size rule: refused, not overrun.
  can.packet.timestampField.bytes.assign(254, 0x11);
  EXPECT_EQ(can.getSize(), 30u);
  {
    vxtest::Capture err(std::cerr);
    const vxtest::Written w = vxtest::writeInto(can, 400, true);
    EXPECT_EQ(w.result, 0u);
    EXPECT_EQ(w.advanced, 0);
    EXPECT_TRUE(w.canaryIntact);
    EXPECT_EQ(err.text(),
              "[ERROR] XCP_Message::Packet::TimestampField::writeToByteArray: can't write "
              "Timestamp Field\n");
  }
  can.packet.timestampField.bytes.assign(253, 0x11);
  EXPECT_EQ(vxtest::serialise(can).size(), can.getSize() + 2u);
  can.tail.bytes.assign(256, 0);
  {
    vxtest::Capture err(std::cerr);
    EXPECT_EQ(vxtest::writeInto(can, 1000, false).result, 0u);
    EXPECT_EQ(err.text(), "[ERROR] XCP_Message::Tail::writeToByteArray: can't write Header\n");
  }
}
