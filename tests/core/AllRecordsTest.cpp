// The identifier table against the registry, both ways, and one valid frame of every
// registered record kind through the shared record checks and every cut-off prefix.
#include <cxxabi.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <memory>

#include "support/RecordCase.h"
#include "support/RecordSupport.h"
#include "vxtrace/vxtrace.h"

using vxtest::RecordCase;

namespace {

struct IdRow {
  uint16_t id;
  const char* name;
  const char* cls;  // class of the decoded sample, or "none": nothing registered
  RecordCase sample;
  // Prefixes (4 bytes or more) shorter than this are rejected with shortCause (vxtest::kNull:
  // null whatever invalidHandling says); longer ones decode. 0: every prefix decodes, its
  // missing bytes read as 0.
  unsigned rejectBelow = 0;
  int shortCause = 0;
};

constexpr const char* kNone = "none";
#define TS "2020-09-13 12:26:40.123456"

// clang-format off
const std::vector<IdRow>& idTable() {
  static const std::vector<IdRow> rows = {
    {0, "MSGID_MARKER", kNone, {}},
    {1, "MSGID_CAN", "CANTraceMessage",
     {1, "02 00 00 02 01 23 AA BB", TS "  CAN #3      | Rx   123  2 aa bb", 20}},
    {2, "MSGID_MOST", kNone, {}},
    {3, "MSGID_SERIAL", kNone, {}},
    {4, "MSGID_ETHERNET_RX", kNone, {}},
    {5, "MSGID_FLEXRAY", kNone, {}},
    {6, "MSGID_LIN", kNone, {}},
    {7, "MSGID_D4K", kNone, {}},
    {8, "MSGID_ETHERNET_TX", kNone, {}},
    {9, "MSGID_APIX_ASHELL", kNone, {}},
    {10, "MSGID_ECL", kNone, {}},
    {11, "MSGID_CAN_EXT", "CANExtTraceMessage",
     {11, "01 00 40 03 C0 00 01 23 01 02 03",
      TS "  CAN #2      | FD_EXT Rx    [ BRS ]00000123   3 01 02 03", 23}},
    {12, "MSGID_CONTAINER", kNone, {}},
    {13, "MSGID_TTY", kNone, {}},
    {14, "MSGID_MII", kNone, {}},
    {16, "MSGID_MOST150", kNone, {}},
    {17, "MSGID_MOST50", kNone, {}},
    {18, "MSGID_ANALOG", kNone, {}},
    {19, "MSGID_GPIO", kNone, {}},
    {20, "MSGID_MOST25", kNone, {}},
    {21, "MSGID_FLEXRAY_EXT", kNone, {}},
    {22, "MSGID_GPS", kNone, {}},
    {23, "MSGID_CCP_CRO", kNone, {}},
    {24, "MSGID_CCP_DTO", kNone, {}},
    {25, "MSGID_XCP", kNone, {}},
    {26, "MSGID_KWP2000_REQUEST", kNone, {}},
    {27, "MSGID_KWP2000_RESPONSE", kNone, {}},
    {28, "MSGID_UDS_REQUEST", kNone, {}},
    {29, "MSGID_UDS_RESPONSE", kNone, {}},
    {30, "MSGID_ECU_LOG", kNone, {}},
    {31, "MSGID_PHY_STATUS", kNone, {}},
    {32, "MSGID_PHY_STATUS_EXT", kNone, {}},
    {128, "MSGID_SYSTEMMESSAGE", kNone, {}},
    {129, "MSGID_CONFIGURATIONDATA", "StringMessageBase<(msgid_t)129>",
     {129, "61 3D 31", TS "  SYS CONFIG  | a=1", 15}},
    {130, "MSGID_TIMEJUMP", "SimpleMessage<(msgid_t)130>", {130, "", TS "  TIME JUMP", 12}},
    {131, "MSGID_DATALOGGINGSTOPPED", "SimpleMessage<(msgid_t)131>",
     {131, "", TS "  SYSTEM: DATALOGGING STOPPED", 12}},
    {132, "MSGID_DATALOGGINGSTARTED", "SimpleMessage<(msgid_t)132>",
     {132, "", TS "  SYSTEM: DATALOGGING STARTED", 12}},
    {133, "MSGID_STARTUP", "SimpleMessage<(msgid_t)133>", {133, "", TS "  SYSTEM STARTUP", 12}},
    {134, "MSGID_SHUTDOWN", kNone, {}},
    {135, "MSGID_TEMPERATURE", kNone, {}},
    {136, "MSGID_FILETIME", "FileTimeMessage",
     {136, "00 05 AF 31 07 A5 E2 40",
      TS "  FILE TIME   | Time = 0x5af3107a5e240 (1600000000123456) = " TS, 20}},
    {137, "MSGID_TRIGGERCLEAR", "SimpleMessage<(msgid_t)137>",
     {137, "", TS "  TRIGGER CLEAR", 12}},
    {138, "MSGID_TIMEZONE", "StringMessageBase<(msgid_t)138>",
     {138, "55 54 43 2B 31", TS "  TIME ZONE   | UTC+1", 17}},
    {144, "MSGID_MOST_FUNCTION", kNone, {}},
    {145, "MSGID_BAP_FUNCTION", kNone, {}},
    {146, "MSGID_LOST", kNone, {}},
    {147, "MSGID_TESTTOOLS", kNone, {}},
    {148, "MSGID_METAINFO", kNone, {}},
    {149, "MSGID_LOST_EXT", kNone, {}},
    {253, "MSGID_WRAPPER", "WrapperMessage",
     {253, "0A 01 FF", TS "  WRAPPER     | 0A 01 FF", 15}, 14, invalidLength},
    {254, "MSGID_PADDING", "PaddingBytesMessage",
     {254, "00 00 00 00", TS "  PADDING     | 00 00 00 00", 16}, 14, invalidLength},
    {255, "MSGID_ENDOFFILE", "EofMessage",
     {255, "00 00 00 05", TS "  EOF         | CRC = 0x00000005", 16}},
    {256, "MSGID_CUSTOMER", kNone, {}},
    {257, "MSGID_SLEEPMODE", kNone, {}},
    {32771, "MSGID_GETVERSION", "SimpleMessage<(msgid_t)32771>",
     {32771, "", TS "  GET VERSION", 12}},
    {32772, "MSGID_VERSION", "StringMessageBase<(msgid_t)32772>",
     {32772, "31 2E 32", TS "  VERSION     | 1.2", 15}},
    {32773, "MSGID_GETTIME", "SimpleMessage<(msgid_t)32773>", {32773, "", TS "  GET TIME", 12}},
    {32774, "MSGID_TIME", kNone, {}},
    {32776, "MSGID_PING", kNone, {}},
    {32783, "MSGID_PUSHBUTTON", kNone, {}},
    {32784, "MSGID_CASCADE", kNone, {}},
    {32786, "MSGID_CAN_PROXY", kNone, {}},
    {32787, "MSGID_BYTESTREAM", "StringMessageBase<(msgid_t)32787>",
     {32787, "41 FF 7F", TS "  BYTE STREAM | A\xFF\x7F", 15}},
    {32788, "MSGID_CAN_TRANSPORT", kNone, {}},
    {32789, "MSGID_BUSLOAD", kNone, {}},
    {32792, "MSGID_CANSTARTSTOP", kNone, {}},
    {32796, "MSGID_ONLINESTREAMINGCONFIG", kNone, {}},
    {32800, "MSGID_START", "SimpleMessage<(msgid_t)32800>", {32800, "", TS "  START", 12}},
    {32801, "MSGID_STOP", "SimpleMessage<(msgid_t)32801>", {32801, "", TS "  STOP", 12}},
    {32802, "MSGID_CANLOAD", kNone, {}},
    {32804, "MSGID_BUSLOADEXT", kNone, {}},
    {32805, "MSGID_LOGGER_IDENTIFICATION", kNone, {}},
    {32806, "MSGID_SIGNAL", kNone, {}},
    {32816, "MSGID_SSCCONFIG", kNone, {}},
    {32817, "MSGID_KEYBOARD", kNone, {}},
    {32819, "MSGID_MOSTRECMODE", kNone, {}},
    {32822, "MSGID_SBC", kNone, {}},
    {32823, "MSGID_NAS_IDENTIFICATION", kNone, {}},
    {32824, "MSGID_NOTIFICATION", kNone, {}},
    {32825, "MSGID_CLOUD", kNone, {}},
    {32826, "MSGID_MOBILE_SERVICE", kNone, {}},
    {32827, "MSGID_LSS", kNone, {}},
    {61440, "MSGID_VXP_CLIENT_REQUEST", "Simple1MessageRequest<(vxpMsgID_t)4, unsigned long>",
     {61440, "04 00 00 00 00 5F 5E 10 00",
      TS "  VXPRequest  | [VXPID_SETTIME] [1600000000 = 2020-09-13 12:26:40]", 21},
     15, vxtest::kNull},
    {61441, "MSGID_VXP_CLIENT_RESPONSE", "VXPResponseGetEventIndex",
     {61441, "FF 60 00 03 00 00 00 2A",
      TS "  VXPResponse | [VXPID_STATUS, VXPID_GET_EVENT_INDEX, VXPSTATUS_OK] [eventId=3] [index=42] ",
      20},
     17, vxtest::kNull},
    {65533, "MSGID_XRL_ROUTER", kNone, {}},
    {65534, "MSGID_ROUTER", kNone, {}},
    {65535, "MSGID_INVALID", kNone, {}},
  };
  return rows;
}
// clang-format on

std::string className(const MessageBase& msg) {
  int status = 0;
  char* name = abi::__cxa_demangle(typeid(msg).name(), nullptr, nullptr, &status);
  std::string text = status == 0 ? name : typeid(msg).name();
  std::free(name);
  return text;
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
    EXPECT_EQ(className(*msg), row.cls);
    EXPECT_EQ(msg->timeStamp, vxtest::kCaseTs);
    vxtest::checkRecordCase(row.sample);
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
        const bool rejected = n < 4 || n < row.rejectBelow;
        if (rejected && n >= 4 && row.shortCause == vxtest::kNull) {
          EXPECT_EQ(msg, nullptr);
        } else if (handling != 1) {
          EXPECT_EQ(msg == nullptr, rejected);
        } else {
          ASSERT_NE(msg, nullptr);
          auto* inv = dynamic_cast<InvalidMessage*>(msg.get());
          EXPECT_EQ(inv != nullptr, rejected);
          if (inv != nullptr) {
            EXPECT_EQ(inv->cause, n < 4 ? int(invalidLength) : row.shortCause);
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
