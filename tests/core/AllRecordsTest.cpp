// The identifier table against the registry, both ways, and one valid frame of every
// registered record kind: decoded to its class, and cut at every length.
#include <gtest/gtest.h>

#include <map>
#include <memory>

#include "support/RecordCase.h"
#include "vxtrace/vxtrace.h"

namespace {

struct IdRow {
  uint16_t id;
  const char* name;
  const char* cls = "none";  // class of the decoded sample; "none": nothing registered
  // A valid frame. Its line is given only where no family table prints that record kind.
  RecordCase sample = {};
  // Prefixes (4 bytes or more) shorter than this are rejected with shortCause; longer ones
  // decode. 0: every prefix decodes, its missing bytes read as 0. A shortCause of kNull: the
  // creator answers null for them, whatever invalidHandling says.
  unsigned rejectBelow = 0;
  int shortCause = 0;
  // Bit n set: the prefix of n bytes decodes although it is shorter than rejectBelow.
  uint32_t decodesBelow = 0;
  // Where prefixes do not follow that rule: the cause, kNull or 0 (decodes) for n bytes.
  int (*prefix)(unsigned n) = nullptr;
  bool keepsTimeStamp = true;  // false: the record decodes the header's time stamp its own way
  bool ownInvalid = false;     // the creator answers its own InvalidMessage whatever the handling
};

constexpr const char* kNone = "none";
using vxtest::kNull;  // the creator yields no record

// clang-format off
const std::vector<IdRow>& idTable() {
  static const std::vector<IdRow> rows = {
    {0, "MSGID_MARKER", "MarkerMessage", {0, "00 07 00 05 AF 31 07 A5 E2 40"},
     24, invalidLength, (1u << 14) | (1u << 16)},
    {1, "MSGID_CAN", "CANTraceMessage", {1, "02 00 00 02 01 23 AA BB"}},
    {2, "MSGID_MOST", "MOSTTraceControlMessage",
     {2, "00 00 01 02 03 04 01 23 04 56 00 21 01 12 34 53 AA BB CC 00 00 00 00 00 00 00 00 00 00 00"
         " 00 00 00 00"},
     48, invalidLength, 0,
     [](unsigned n) { return n < 16 ? kNull : n < 48 ? int(invalidLength) : 0; }, true, true},
    {3, "MSGID_SERIAL"},
    {4, "MSGID_ETHERNET_RX", "EthernetTraceMessage_RX", {4, "00 01 FF 00 AB"}},  // no cut rejected
    {5, "MSGID_FLEXRAY", "FlexRayTraceMessage", {5, "09 23 18 45 22 82 AB CD 00 12"},
     24, vxtest::kNull},
    {6, "MSGID_LIN", "LINTraceMessage", {6, "01 00 00 34 12 C0 00 20 00 10 00 30 21 02 AB CD"},
     28, invalidLength},
    {7, "MSGID_D4K"},
    {8, "MSGID_ETHERNET_TX", "EthernetTraceMessage_TX", {8, "02 02 41 42 01"}},
    {9, "MSGID_APIX_ASHELL", "ApixShellMessage", {9, "02 00 00 00 00 00 04 01"}},
    {10, "MSGID_ECL", "ECLMessage", {10, "08 00 00 FF 00 00 00 05"}, 15, invalidLength},
    {11, "MSGID_CAN_EXT", "CANExtTraceMessage", {11, "01 00 40 03 C0 00 01 23 01 02 03"}},
    {12, "MSGID_CONTAINER", "ContainerMessage",
     {12, "80 20 01 00 00 05 AF 31 07 A5 E2 40 00 10 01 02 55 AA 00 0C 80 20 00 00 00 05 AF 31 07"
          " A5 E2 40"}},
    {13, "MSGID_TTY", "TTYTraceMessage", {13, "00 02 00 07 62 6F 6F 74 20 6F 6B"},
     18, invalidLength},
    {14, "MSGID_MII"}, {16, "MSGID_MOST150"}, {17, "MSGID_MOST50"}, {18, "MSGID_ANALOG"},
    {19, "MSGID_GPIO"}, {20, "MSGID_MOST25"}, {21, "MSGID_FLEXRAY_EXT"}, {22, "MSGID_GPS"},
    {23, "MSGID_CCP_CRO", "CCP_CRO_Message", {23, "20 02 00 00 00 06 FF 01 05 00 00"}},
    {24, "MSGID_CCP_DTO", "CCP_DTO_Message", {24, "20 02 00 00 00 06 FE FF 00 00 00"}},
    // Every cut of an XCP frame misses a part that its decoder checks.
    {25, "MSGID_XCP", "XCP_Message",
     {25, "02 02 00 00 05 F5 00 00 00 00 00 00 01 04 00 00 00 07 E0 00 01"}, 35, invalidLength},
    {26, "MSGID_KWP2000_REQUEST"}, {27, "MSGID_KWP2000_RESPONSE"}, {28, "MSGID_UDS_REQUEST"},
    {29, "MSGID_UDS_RESPONSE"},
    {30, "MSGID_ECU_LOG", "EcuLogMessage", {30, "00 01 00 61 62 63"}, 17, invalidLength},
    {31, "MSGID_PHY_STATUS", "PhyStatusMessage", {31, "06 00 01 01 00 17 80 A0"},
     18, invalidLength},
    {32, "MSGID_PHY_STATUS_EXT", "PhyStatusExtMessage",
     {32, "06 01 00 03 00 00 00 01 00 00 00 01 00 01 00 04 00 00 00 00"}, 22, invalidLength},
    {128, "MSGID_SYSTEMMESSAGE", "SystemMessage", {128, "06 6F 6B"}, 15, invalidLength},
    {129, "MSGID_CONFIGURATIONDATA", "StringMessageBase<(msgid_t)129>",
     {129, "61 3D 31", TS "  SYS CONFIG  | a=1", 15}},
    {130, "MSGID_TIMEJUMP", "SimpleMessage<(msgid_t)130>", {130, "", TS "  TIME JUMP", 12}},
    {131, "MSGID_DATALOGGINGSTOPPED", "SimpleMessage<(msgid_t)131>",
     {131, "", TS "  SYSTEM: DATALOGGING STOPPED", 12}},
    {132, "MSGID_DATALOGGINGSTARTED", "SimpleMessage<(msgid_t)132>",
     {132, "", TS "  SYSTEM: DATALOGGING STARTED", 12}},
    {133, "MSGID_STARTUP", "SimpleMessage<(msgid_t)133>", {133, "", TS "  SYSTEM STARTUP", 12}},
    {134, "MSGID_SHUTDOWN", "ShutDownMessage", {134, "01 03"}},
    {135, "MSGID_TEMPERATURE", "TemperatureMessage", {135, "FF FB"}},
    {136, "MSGID_FILETIME", "FileTimeMessage", {136, "00 05 AF 31 07 A5 E2 40"}},
    {137, "MSGID_TRIGGERCLEAR", "SimpleMessage<(msgid_t)137>", {137, "", TS "  TRIGGER CLEAR", 12}},
    {138, "MSGID_TIMEZONE", "StringMessageBase<(msgid_t)138>",
     {138, "55 54 43 2B 31", TS "  TIME ZONE   | UTC+1", 17}},
    {144, "MSGID_MOST_FUNCTION"}, {145, "MSGID_BAP_FUNCTION"},
    {146, "MSGID_LOST", "LostMessage",
     {146, "00 01 00 00 00 05 AF 31 07 A5 E2 40 00 00 00 00 00 00 00 00 00 00 00 05"}},
    {147, "MSGID_TESTTOOLS"},
    {148, "MSGID_METAINFO", "TraceFileMetaInfoMessage", {148, "01 05 55 54 43 2B 31"}},
    {149, "MSGID_LOST_EXT", "LostExtMessage",
     {149, "01 02 00 05 AF 31 07 A5 E2 40 00 00 00 00 00 00 00 00 00 00 00 07"}},
    {253, "MSGID_WRAPPER", "WrapperMessage", {253, "0A 01 FF"}, 14, invalidLength},
    {254, "MSGID_PADDING", "PaddingBytesMessage", {254, "00 00 00 00"}, 14, invalidLength},
    {255, "MSGID_ENDOFFILE", "EofMessage", {255, "00 00 00 05"}},
    {256, "MSGID_CUSTOMER"}, {257, "MSGID_SLEEPMODE"},
    {32771, "MSGID_GETVERSION", "SimpleMessage<(msgid_t)32771>",
     {32771, "", TS "  GET VERSION", 12}},
    {32772, "MSGID_VERSION", "StringMessageBase<(msgid_t)32772>",
     {32772, "31 2E 32", TS "  VERSION     | 1.2", 15}},
    {32773, "MSGID_GETTIME", "SimpleMessage<(msgid_t)32773>", {32773, "", TS "  GET TIME", 12}},
    {32774, "MSGID_TIME", "TimeMessage", {32774, "00 05 AF 31 07 A5 E2 40"},
     0, 0, 0, [](unsigned n) { return n < 10 ? int(invalidLength) : n < 18 ? kNull : 0; }},
    {32776, "MSGID_PING", "PingMessage", {32776, "00 04 03 77 73 31"}},
    {32783, "MSGID_PUSHBUTTON", "PushButtonMessage", {32783, "00 05 AF 31 07 A5 E2 40"},
     0, 0, 0, [](unsigned n) { return n == 14 || n >= 22 ? 0 : kNull; }},
    {32784, "MSGID_CASCADE", "CascadeMessage", {32784, "01 00 00 05 AF 31 07 A5 E2 40"},
     16, vxtest::kNull},
    {32786, "MSGID_CAN_PROXY", "CANProxyTraceMessage", {32786, "02 00 00 02 01 23 AA BB"}},
    {32787, "MSGID_BYTESTREAM", "StringMessageBase<(msgid_t)32787>",
     {32787, "41 FF 7F", TS "  BYTE STREAM | A\xFF\x7F", 15}},
    {32788, "MSGID_CAN_TRANSPORT", "CANTransportTraceMessage", {32788, "80 00 01 23 01 02"},
     0, 0, 0, nullptr, false},
    {32789, "MSGID_BUSLOAD", "BusLoadMessage", {32789, "01 00 07"}},
    {32792, "MSGID_CANSTARTSTOP", "CANStartStopMessage",
     {32792, "01 00 01 23 02 FF 0F 00 00 00 00 00 00 11 02 00 00 00 00 00 00"}},
    {32796, "MSGID_ONLINESTREAMINGCONFIG"},
    {32800, "MSGID_START", "SimpleMessage<(msgid_t)32800>", {32800, "", TS "  START", 12}},
    {32801, "MSGID_STOP", "SimpleMessage<(msgid_t)32801>", {32801, "", TS "  STOP", 12}},
    {32802, "MSGID_CANLOAD", "CANLoadMessage",
     {32802, "00 01 00 02 00 03 00 04 00 05 00 06 00 07 00 08"}, 20, vxtest::kNull},
    {32804, "MSGID_BUSLOADEXT", "BusLoadExtMessage", {32804, "00 01 02 01 00 00 00 2A"},
     22, invalidLength},
    {32805, "MSGID_LOGGER_IDENTIFICATION"},
    {32806, "MSGID_SIGNAL", "SignalMessage",
     {32806, "01 61 00 01 56 01 31 00 01 00 02 00 00 00 00 00 00 00 03 3F F8 00 00 00 00 00 00"
             " 00"}},
    {32816, "MSGID_SSCCONFIG"},
    {32817, "MSGID_KEYBOARD", "KeyboardMessage", {32817, "0D 01"}, 16, invalidLength},
    {32819, "MSGID_MOSTRECMODE"}, {32822, "MSGID_SBC"}, {32823, "MSGID_NAS_IDENTIFICATION"},
    {32824, "MSGID_NOTIFICATION", "NotificationMessage", {32824, "03 02 68 69 01 FF"}},
    {32825, "MSGID_CLOUD"},
    {32826, "MSGID_MOBILE_SERVICE", "MobileServiceMessage",
     {32826, "03 6F 70 73 05 68 65 6C 6C 6F 00"}, 25, invalidLength},
    {32827, "MSGID_LSS"},
    {61440, "MSGID_VXP_CLIENT_REQUEST", "Simple1MessageRequest<(vxpMsgID_t)4, uint64_t>",
     {61440, "04 00 00 00 00 5F 5E 10 00"}, 15, vxtest::kNull},
    {61441, "MSGID_VXP_CLIENT_RESPONSE", "VXPResponseGetEventIndex",
     {61441, "FF 60 00 03 00 00 00 2A"}, 17, vxtest::kNull},
    {65533, "MSGID_XRL_ROUTER"}, {65534, "MSGID_ROUTER"}, {65535, "MSGID_INVALID"},
  };
  return rows;
}
// clang-format on

// The table's class name, with "uint64_t" spelled as this host's compiler spells it.
std::string expectedClass(std::string cls) {
  const std::size_t at = cls.find("uint64_t");
  if (at != std::string::npos) cls.replace(at, 8, vxtest::className(typeid(uint64_t)));
  return cls;
}

}  // namespace

TEST(AllRecords, IdentifierTableMatchesNamesAndRegistryBothWays) {
  vxtest::RegistryGuard guard;
  std::map<unsigned, const IdRow*> byId;
  for (const IdRow& row : idTable()) byId[row.id] = &row;
  for (unsigned id = 0; id <= 0xFFFF; ++id) {
    SCOPED_TRACE(testing::Message() << "identifier " << id);
    const bool registered = MessageBase::creators.count(static_cast<msgid_t>(id)) != 0;
    const char* name = getMsgIdName(static_cast<msgid_t>(id));
    auto it = byId.find(id);
    if (it == byId.end()) {
      // Not in the table: no name, no creator.
      EXPECT_EQ(name, nullptr);
      EXPECT_FALSE(registered);
      continue;
    }
    const IdRow& row = *it->second;
    ASSERT_NE(name, nullptr);
    EXPECT_STREQ(name, row.name);
    const bool hasClass = std::string(row.cls) != kNone;
    EXPECT_EQ(registered, hasClass) << (registered ? "registered, but the table says none"
                                                   : "the table names a class, not registered");
    if (!hasClass || !registered) continue;
    ASSERT_NE(row.sample.body, nullptr) << "registered without a sample frame";
    EXPECT_EQ(row.sample.id, row.id);
    auto msg = vxtest::decode(vxtest::caseFrame(row.sample));
    ASSERT_NE(msg, nullptr);
    const MessageBase& decoded = *msg;
    EXPECT_EQ(vxtest::className(typeid(decoded)), expectedClass(row.cls));
    if (row.keepsTimeStamp) {
      EXPECT_EQ(msg->timeStamp, vxtest::kCaseTs);
    }
    if (row.sample.line != nullptr) vxtest::checkRecordCase(row.sample);
  }
}

TEST(AllRecords, EveryPrefixIsRejectedAsDocumentedOrDecodedWithinBounds) {
  vxtest::RegistryGuard guard;
  for (const IdRow& row : idTable()) {
    if (row.sample.body == nullptr) continue;
    const vxtest::Bytes frame = vxtest::caseFrame(row.sample);
    for (int handling : {1, 6}) {
      MessageBase::invalidHandling = handling;
      for (size_t n = 0; n < frame.size(); ++n) {
        SCOPED_TRACE(testing::Message() << row.name << " length " << n << " handling " << handling);
        std::unique_ptr<MessageBase> msg;
        ASSERT_NO_THROW(msg = vxtest::decodeExact(frame, n));
        int expected =
            n < row.rejectBelow && (n >= 32 || !(row.decodesBelow >> n & 1u)) ? row.shortCause : 0;
        if (row.prefix != nullptr) expected = row.prefix(static_cast<unsigned>(n));
        if (n < 4) expected = invalidLength;
        if ((handling != 1 && !(row.ownInvalid && n >= 4)) || expected == kNull) {
          EXPECT_EQ(msg == nullptr, expected != 0);
        } else {
          ASSERT_NE(msg, nullptr);
          auto* inv = dynamic_cast<InvalidMessage*>(msg.get());
          EXPECT_EQ(inv != nullptr, expected != 0);
          if (inv != nullptr) {
            EXPECT_EQ(inv->cause, expected);
          }
        }
        if (msg == nullptr) continue;
        // Whatever came back prints, copies and encodes without reading past its fields.
        EXPECT_FALSE(msg->toString().empty());
        std::unique_ptr<MessageBase> copy(msg->clone());
        std::vector<unsigned char> out;
        msg->createByteArray(out, true, false);
      }
    }
  }
}
