#include <gtest/gtest.h>

#include <sstream>

#include "bus/DltHeader.h"
#include "support/RecordCase.h"
#include "vxtrace/vxtrace.h"

namespace {

#define HEAD(size) "00 " size " 00 04 " HDR

// clang-format off
const RecordCase kEthernetCases[] = {
  {4, "00 00 0A", TS "  ETHERNET #1 | RX [KESTREL] - 0A", 15},
  {8, "FF 09 0B 0C", TS "  ETHERNET #256 | TX [TCPSERVER] - 0B 0C", 16},
  // DLT: the ECU identifier ends at its NUL and is written back blank-padded.
  {4, "00 03 45 43 00 00 01 02", TS "  ETHERNET #1 | RX [DLT-BMW] - ecuID=EC  , 01 02", 20,
   vxtest::kDecodes, HEAD("14") "00 03 45 43 20 20 01 02"},
  {4, "01 08 00 00 00 5A 00 02 DE AD", TS "  ETHERNET #2 | RX [MII] - status=0x5A - DE AD", 22},
  // MII announcing more than the frame holds: the missing bytes read as zero.
  {4, "01 08 00 00 00 5A 00 05 DE AD", TS "  ETHERNET #2 | RX [MII] - status=0x5A - DE AD 00 00 00",
   25, vxtest::kDecodes, HEAD("19") "01 08 00 00 00 5A 00 05 DE AD 00 00 00"},
  // A size field declaring more than the given length: the declared payload, zero-filled.
  {4, "00 01 FF 00 00 00 00", TS "  ETHERNET #1 | RX [RAW] - FF 00 00 00 00", 19, vxtest::kDecodes,
   nullptr, true, nullptr, true, false, 4},
  {4, "00 03 45 43 00 00 01 02", TS "  ETHERNET #1 | RX [DLT-BMW] - ecuID=EC  , 01 00", 20,
   vxtest::kDecodes, HEAD("14") "00 03 45 43 20 20 01 00", true, nullptr, true, false, 1},
  {4, "00 07 55", TS "  ETHERNET #1 | RX", 15},
  // No payload byte: no record, no exception.
  {4, "00 01", nullptr, -1, vxtest::kNull},
  {4, "00 03 45 43 55 31", nullptr, -1, vxtest::kNull},
  {4, "00 0A 11", nullptr, -1, invalidEnumValue, nullptr, true, "ethernetproto_t=10"},
};
// clang-format on

std::string dltError(const Bytes& bytes) {
  try {
    vxtrace::detail::readDltHeader(bytes.data(), bytes.size());
  } catch (const VXException& e) {
    return std::to_string(e.getErrorCode()) + " " + e.what();
  }
  return "no error";
}

}  // namespace

TEST(EthernetTraceMessage, TableOfProtocolViews) {
  vxtest::checkRecordCases(kEthernetCases);
}

TEST(EthernetTraceMessage, PayloadEndsAtTheSizeField) {
  // Size field 0x10 on a 22-byte block: two payload bytes, the rest is not this record's.
  const Bytes block =
      vxtest::hex("00 10 00 04 00 00 00 00 00 00 00 00 00 01 00 01 11 22 33 44 55 66");
  EthernetTraceMessage_RX rx(block.data(), static_cast<unsigned int>(block.size()));
  EXPECT_EQ(vxtest::toHex(rx.data), "11 22");
  EXPECT_EQ(rx.ecuId, "NEW ");
}

TEST(EthernetTraceMessage, EcuIdKindsAndChannels) {
  EthernetTraceMessage_TX dlt(0, 4, ETH_PROTO_DLT, {0x01});
  dlt.setEcuId("EC");
  EXPECT_EQ(dlt.ecuId, "EC  ");
  dlt.setEcuId(nullptr);
  EXPECT_EQ(dlt.ecuId, "EC  ");
  dlt.setEcuId("ECU12");
  EXPECT_EQ(dlt.ecuId, "ECU1");
  EXPECT_EQ(dlt.getSourceChannel(), "Ethernet #4");
  EXPECT_EQ(dlt.getSourceChannelID(), 0x604u);
  dlt.cascadeChannel(0x1FE);
  EXPECT_EQ(dlt.channel, 2);

  // RX and TX never equal; ECU identifier and MII status are not compared.
  EthernetTraceMessage_RX rx(0, 2, ETH_PROTO_DLT, {0x01});
  EthernetTraceMessage_TX tx(0, 2, ETH_PROTO_DLT, {0x01});
  EXPECT_FALSE(rx == tx);
  tx.miiStatus = 3;
  EXPECT_TRUE(tx == dlt);
  rx.protocol = static_cast<ethernetproto_t>(12);  // beyond the names: nothing after "RX"
  EXPECT_EQ(rx.toString(), "1970-01-01 00:00:00.000000  ETHERNET #3 | RX");
}

TEST(EthernetTraceMessage, ProtocolNamesAndConfiguration) {
  std::ostringstream names;
  for (uint32_t p = 0; p <= 10; ++p) names << static_cast<ethernetproto_t>(p) << '|';
  EXPECT_EQ(names.str(),
            "KESTREL|RAW|UTF8|DLT|UDPServer|SpyMode|EsoTrace||MII|TCPServer|<unknown:10>|");

  ethernetConfig_t c;
  c.name = "ETH1";
  c.info1 = "eth0";
  c.info2 = "x";
  c.infoNumber = 3;
  c.hostIp = "10.0.0.2";
  c.mask = "255.0.0.0";
  c.gatewayIp = "10.0.0.1";
  c.containerId = 7;
  c.timeout = -1;
  std::ostringstream plain;
  plain << std::hex << c;
  EXPECT_EQ(plain.str(),
            "\"ETH1\", eth0, x, 3, active, protocol = RAW, debugLevel=0, hostIp=10.0.0.2, "
            "mask=255.0.0.0, gatewayIp=10.0.0.1, containerId=7, timeout=-1");
  c.active = false;
  c.protocol = ETH_PROTO_DLT;
  c.vlan = true;
  c.vlanId = 12;
  c.autosarVersion = "4.2";
  c.dltVersion = 0xF9;
  std::snprintf(c.ecuId, sizeof c.ecuId, "ECU1");
  c.dltVerbose = true;
  std::ostringstream dlt;
  dlt << c;
  EXPECT_EQ(dlt.str(),
            "\"ETH1\", eth0, x, 3, inactive, protocol = DLT, debugLevel=0, hostIp=10.0.0.2, "
            "mask=255.0.0.0, gatewayIp=10.0.0.1, vlanId=12, AUTOSAR version=4.2, "
            "DLT protocol version=1, ECUID=ECU1, traceStatus=0, DLT verbose mode=true, "
            "containerId=7, timeout=-1");
}

TEST(EthernetTraceMessage, DltHeaderReaderFieldsAndShortTexts) {
  // Type 0x3D: version 1, extended header, ECU, session and time stamp.
  const Bytes full = vxtest::hex(
      "3D 07 00 20 45 43 55 31 00 00 00 09 00 01 E2 40 41 02 41 50 50 00 43 54 58 31 FF");
  const auto h = vxtrace::detail::readDltHeader(full.data(), full.size());
  EXPECT_EQ(h.version(), 1);
  EXPECT_EQ(h.counter, 7);
  EXPECT_EQ(h.length, 0x20);
  EXPECT_EQ(h.ecuId, "ECU1");
  EXPECT_EQ(h.sessionId, 9u);
  EXPECT_EQ(h.timestamp, 123456u);
  EXPECT_TRUE(h.extended);
  EXPECT_EQ(h.messageInfo, 0x41);
  EXPECT_EQ(h.argumentCount, 2);
  EXPECT_EQ(h.appId, "APP");
  EXPECT_EQ(h.contextId, "CTX1");
  EXPECT_EQ(h.headerSize, 26u);

  const struct {
    std::size_t cut;
    const char* error;
  } cuts[] = {{3, "22 DLT too short"},    {7, "22 ECU: DLT too short"},
              {11, "22 SEID: DLT too short"}, {15, "22 TMSP: DLT too short"},
              {25, "22 EXT: DLT too short"},  {26, "no error"}};
  for (const auto& c : cuts) {
    EXPECT_EQ(dltError(Bytes(full.begin(), full.begin() + c.cut)), c.error) << c.cut;
  }
  // Only what the type announces is needed.
  EXPECT_EQ(dltError(vxtest::hex("20 00 00 04")), "no error");
}
