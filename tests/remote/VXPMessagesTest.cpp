#include <gtest/gtest.h>

#include <memory>

#include "support/IoSupport.h"
#include "support/RecordCase.h"
#include "vxtrace/vxtrace.h"

namespace {

constexpr uint16_t R = 0xF000;
constexpr uint16_t S = 0xF001;
#define RQ TS "  VXPRequest  | ["
#define RS TS "  VXPResponse | [VXPID_STATUS, "

struct VxpCase {
  RecordCase c;
  int valid;  // expected valid flag; -1 where the frame does not decode
};

// clang-format off
const VxpCase kCases[] = {
  // A request needs its identifier byte, a response its three fixed bytes.
  {{R, "64", RQ "VXPID_RUN_TSA_PACKAGE] ", 13}, 1},
  // Byte 14 is not examined: the own identifier is written back as 255.
  {{S, "00 64 00", RS "VXPID_RUN_TSA_PACKAGE, VXPSTATUS_OK] ", 15, vxtest::kDecodes,
    "00 0F F0 01 " HDR "FF 64 00"}, 1},
  {{S, "FF 64 07", RS "VXPID_RUN_TSA_PACKAGE, <unknown:7>] ", 15}, 1},
  // Simple1, Simple2 requests; short payloads leave 0 and clear the flag.
  {{R, "1A 07", RQ "VXPID_0x1A] [7]", 14}, 1},
  {{R, "1A", RQ "VXPID_0x1A] [0]", 13}, 0},
  {{R, "9B 01 07", RQ "VXPID_LSS_GET_STATUS] [263]", 15}, 1},
  {{R, "61 02 00 00 01 00", RQ "VXPID_SET_EVENT_INDEX] [2][256]", 18}, 1},
  {{R, "61 02 00 01", RQ "VXPID_SET_EVENT_INDEX] [2][0]", 16}, 0},
  {{R, "7E 01 00 FF FF", RQ "VXPID_SET_FTP_PASSIVE_PORT_RANGE] [256][65535]", 17}, 1},
  {{R, "04 00 00", RQ "VXPID_SETTIME] [0 = 1970-01-01 00:00:00]", 15}, 0},
  // Simple2S request: the text may be left out, but not cut short.
  {{R, "0A 03", RQ "VXPID_SETEVENT] [eventId=3] []", 14}, 1},
  {{R, "0A 03 02 68 69", RQ "VXPID_SETEVENT] [eventId=3] [hi]", 17}, 1},
  {{R, "0A 03 05 68", RQ "VXPID_SETEVENT] [eventId=3] []", 16}, 0},
  // String request.
  {{R, "71 03 61 62 63", RQ "VXPID_SET_PRODUCT_INFO] [abc]", 17}, 1},
  {{R, "71", RQ "VXPID_SET_PRODUCT_INFO] []", 13}, 0},
  {{R, "71 05 61", RQ "VXPID_SET_PRODUCT_INFO] []", 15}, 0},
  // Special printers.
  {{R, "06 01 00 1E 01", RQ "VXPID_FWUPDATE] [rm=true] [force=false] [wait=30 s] [supressReboot=true]", 17}, 1},
  {{R, "06 00", RQ "VXPID_FWUPDATE] [rm=false]", 14}, 1},
  {{R, "29 01 02", RQ "VXPID_SET_DEVICE_LED] [memory LED] [on/off]", 15}, 1},
  {{R, "29 05 07", RQ "VXPID_SET_DEVICE_LED] [unknown LED] [unknown]", 15}, 1},
  {{R, "84 00", RQ "VXPID_SET_ORIENTATION] [0\xC2\xB0]", 14}, 1},
  {{R, "84 02", RQ "VXPID_SET_ORIENTATION] [180\xC2\xB0]", 14}, 1},
  {{R, "8C 02", RQ "VXPID_SET_CALIBRATION_MODE] [save]", 14}, 1},
  {{R, "8C 09", RQ "VXPID_SET_CALIBRATION_MODE] [unknown]", 14}, 1},
  // Every status of the response printer.
  {{S, "FF 06 01", RS "VXPID_FWUPDATE, VXPSTATUS_PROGRESS] [ ??%]", 15}, 1},
  {{S, "FF 06 01 05", RS "VXPID_FWUPDATE, VXPSTATUS_PROGRESS] [ 5%]", 16}, 1},
  {{S, "FF 06 01 32 04 63 6F 70 79 00 1F", RS "VXPID_FWUPDATE, VXPSTATUS_PROGRESS] [50%] [copy] 00 1f", 23}, 1},
  {{S, "FF 32 02 03 02 6E 6F AB", RS "VXPID_GET_EVENT_LIST, VXPSTATUS_ERROR] [ERR_PARAMETER_INVALID] [no] ab", 20}, 1},
  {{S, "FF 32 02 0D", RS "VXPID_GET_EVENT_LIST, VXPSTATUS_ERROR] [<unknown:13>]", 16}, 1},
  {{S, "FF 32 02 01 0A 61 62", RS "VXPID_GET_EVENT_LIST, VXPSTATUS_ERROR] [ERR_ID_NOT_AVAILABLE] [] ", 19}, 1},
  {{S, "FF 32 03 01 02 03", RS "VXPID_GET_EVENT_LIST, VXPSTATUS_NOTAVAILABLE] [3] 01 02 03", 18}, 1},
  {{S, "FF 32 03", RS "VXPID_GET_EVENT_LIST, VXPSTATUS_NOTAVAILABLE] ", 15}, 1},
  // Fields are read for OK only.
  {{S, "FF 8B 00 02", RS "VXPID_GET_CALIBRATION_MODE, VXPSTATUS_OK] [2]", 16}, 1},
  {{S, "FF 8B 00", RS "VXPID_GET_CALIBRATION_MODE, VXPSTATUS_OK] [0]", 15}, 0},
  {{S, "FF 8B 01 0A", RS "VXPID_GET_CALIBRATION_MODE, VXPSTATUS_PROGRESS] [10%]", 16}, 1},
  {{S, "FF 83 00 01 02", RS "VXPID_GET_DEVICE_CODE, VXPSTATUS_OK] [1][2]", 17}, 1},
  {{S, "FF 67 00 00 02 68 69", RS "VXPID_GET_TSA_PACKAGE, VXPSTATUS_OK] [hi]", 19}, 1},
  {{S, "FF 67 00 00 03 68 69", RS "VXPID_GET_TSA_PACKAGE, VXPSTATUS_OK] []", 19}, 0},
  // String vector: count, then 16-bit-prefixed entries.
  {{S, "FF 85 00 00 02 00 01 61 00 02 62 63", RS "VXPID_GET_TSA_MODULES_INSTALLED, VXPSTATUS_OK] [a] [bc] ", 24}, 1},
  {{S, "FF 85 00 00 00", RS "VXPID_GET_TSA_MODULES_INSTALLED, VXPSTATUS_OK] []", 17}, 1},
  {{S, "FF 85 00 00", RS "VXPID_GET_TSA_MODULES_INSTALLED, VXPSTATUS_OK] []", 16}, 0},
  {{S, "FF 85 00 FF FF", RS "VXPID_GET_TSA_MODULES_INSTALLED, VXPSTATUS_OK] []", 17}, 0},
  {{S, "FF 85 00 00 02 00 01 61 00 05 62", RS "VXPID_GET_TSA_MODULES_INSTALLED, VXPSTATUS_OK] [a] ", 23}, 0},
  // Event index and event list.
  {{S, "FF 61 00 03 00 00 00 2A", RS "VXPID_SET_EVENT_INDEX, VXPSTATUS_OK] [eventId=3] [index=42] ", 20}, 1},
  {{S, "FF 60 00 03 00", RS "VXPID_GET_EVENT_INDEX, VXPSTATUS_OK] [eventId=3] [index=0] ", 17}, 0},
  {{S, "FF 60 02 07", RS "VXPID_GET_EVENT_INDEX, VXPSTATUS_ERROR] [ERR_BUSY]", 16}, 1},
  {{S, "FF 32 00 05 00 01 00 0F 31 30 30 30 30 30 30 3B 61 3B 37 3B 78 5F 79",
    RS "VXPID_GET_EVENT_LIST, VXPSTATUS_OK] [5] [1970-01-01 00:00:01;a;7;x_y] ", 35}, 1},
  {{S, "FF 32 00 05 00 00 00 00", RS "VXPID_GET_EVENT_LIST, VXPSTATUS_OK] [5] ", 20}, 1},
  {{S, "FF 32 00", RS "VXPID_GET_EVENT_LIST, VXPSTATUS_OK] [0] ", 15}, 0},
  {{S, "FF 32 00 05 00", RS "VXPID_GET_EVENT_LIST, VXPSTATUS_OK] [5] ", 17}, 0},
  {{S, "FF 32 00 05 00 01 00 09 31", RS "VXPID_GET_EVENT_LIST, VXPSTATUS_OK] [5] ", 21}, 0},
};
// clang-format on

std::unique_ptr<MessageBase> decodeCase(uint16_t id, const std::string& body) {
  const Bytes f = vxtest::frame(id, vxtest::kCaseTs, hex(body), vxtest::kCaseHeaderWord);
  return vxtest::decodeExact(f, f.size());
}

}  // namespace

TEST(VXPMessages, DecodePrintEncodeAndValidFlagOfEveryCase) {
  vxtest::RegistryGuard guard;
  vxtest::Capture err(std::cerr);  // one row's text overruns its payload: its line is pinned below
  for (const VxpCase& row : kCases) {
    vxtest::checkRecordCase(row.c);
    if (row.valid < 0) continue;
    auto msg = decodeCase(row.c.id, row.c.body);
    auto* vxp = dynamic_cast<VXPMessageBase*>(msg.get());
    ASSERT_NE(vxp, nullptr) << row.c.body;
    EXPECT_EQ(vxp->isValid(), row.valid == 1) << row.c.body;
    EXPECT_EQ(vxp->tag, "NotSet");
  }
  EXPECT_EQ(vxtest::countOf(err.text(), "[ERROR] can't extract string"), 4u);  // once per print
}

TEST(VXPMessages, EveryIdentifierAndDirectionGetsItsClassAndKeepsItsPayload) {
  vxtest::RegistryGuard guard;
  const std::string tail = " 00 00 00 00 00 00 00 00 00 00 00 00";
  for (unsigned id = 0; id <= 255; ++id) {
    SCOPED_TRACE(testing::Message() << "identifier " << id);
    char idHex[4];
    std::snprintf(idHex, sizeof idHex, "%02X", id);
    for (bool isRequest : {true, false}) {
      const std::string body = isRequest ? idHex + tail : "FF " + std::string(idHex) + " 00" + tail;
      const Bytes f = vxtest::frame(isRequest ? R : S, 5, hex(body), 0x0304);
      auto msg = vxtest::decodeExact(f, f.size());
      ASSERT_NE(msg, nullptr);
      EXPECT_EQ(msg->timeStamp, 5u);
      EXPECT_EQ(msg->headerWord, 0x0304);
      EXPECT_EQ(vxtest::toHex(vxtest::serialise(*msg)), vxtest::toHex(f));
      std::unique_ptr<MessageBase> copy(msg->clone());
      EXPECT_TRUE(*copy == *msg);
      const char* name = getVxpMsgIdName(static_cast<vxpMsgID_t>(id));
      const bool gap =
          (id >= 145 && id <= 151) || (id >= 159 && id <= 164) || (id > 166 && id != 255);
      EXPECT_EQ(name == nullptr, gap);
      const std::string expected = name != nullptr ? name : "<unknown:" + std::to_string(id) + ">";
      EXPECT_NE(msg->toString().find((isRequest ? "[" : ", ") + expected + (isRequest ? "]" : ",")),
                std::string::npos)
          << msg->toString();
    }
  }
}

TEST(VXPMessages, NameTablesOutsideTheCases) {
  EXPECT_EQ(getMsgStatusName(static_cast<msgStatus_t>(4)), nullptr);
  EXPECT_STREQ(getErrorCodeName(ERR_FILE_NOT_FOUND), "ERR_FILE_NOT_FOUND");
  EXPECT_EQ(getErrorCodeName(static_cast<errorCode_t>(13)), nullptr);
  std::ostringstream os;
  os << ERR_RETRY << ' ' << CALIB_ENABLE;
  EXPECT_EQ(os.str(), "ERR_RETRY enable");
}

TEST(VXPMessages, GetStringWidthsAndItsErrorLine) {
  const Bytes p = hex("05 00 02 61 62 7A");
  VXPMessageRequest m(static_cast<vxpMsgID_t>(200), p.data(), static_cast<unsigned>(p.size()));
  EXPECT_EQ(m.getString(1, 1), "");    // length 0
  EXPECT_EQ(m.getString(2, 1), "ab");  // 1-byte length 2
  EXPECT_EQ(m.getString(1, 2), "ab");  // 16-bit length 2
  EXPECT_EQ(m.getString(1, 3), "");    // no such width
  EXPECT_EQ(m.getString(6, 1), "");    // beyond the payload
  vxtest::Capture err(std::cerr);
  const Bytes q = hex("05 0A 61");
  VXPMessageRequest s(static_cast<vxpMsgID_t>(200), q.data(), 3);
  EXPECT_EQ(s.getString(1, 1), "");
  EXPECT_EQ(err.text(),
            "[ERROR] can't extract string, strStartPos(2) + strSize(10) <= data.size(3)\n");
  EXPECT_EQ(VXPMessageRequest(static_cast<vxpMsgID_t>(1)).getString(0, 1), "");
}

TEST(VXPMessages, ProgressAndErrorSettersRebuildThePayload) {
  VXPMessageResponse r(VXPID_FWUPDATE, VXPSTATUS_OK);
  r.payload = {9, 9, 9};
  r.setProgressInfo(40, "up");
  EXPECT_EQ(r.status, VXPSTATUS_PROGRESS);
  EXPECT_EQ(r.payload, hex("28 02 75 70"));
  r.setProgressInfo(41, "up", 0x0102);
  EXPECT_EQ(r.payload, hex("29 02 75 70 01 02"));
  const Bytes d = hex("AA BB");
  r.setProgressInfo(42, d.data(), 2);
  EXPECT_EQ(r.payload, hex("2A 02 AA BB"));
  r.setProgressInfo(43, nullptr, 5);
  EXPECT_EQ(r.payload, hex("2B"));
  r.setErrorInfo(ERR_BUSY, "x");
  EXPECT_EQ(r.status, VXPSTATUS_ERROR);
  EXPECT_EQ(r.payload, hex("07 01 78"));
  r.setErrorInfo(ERR_RETRY, d.data(), 0);
  EXPECT_EQ(r.payload, hex("0B"));
  r.setErrorInfo(ERR_RETRY, d.data(), 2);
  EXPECT_EQ(r.payload, hex("0B 02 AA BB"));
  // Request writer: header, identifier, payload; returns getSize() whatever the marker.
  Simple2MessageRequest<VXPID_SET_DEVICE_LED, uint8_t, uint8_t> led(uint8_t{2}, uint8_t{0});
  EXPECT_EQ(vxtest::toHex(vxtest::serialise(led)),
            "00 0F F0 00 00 00 00 00 00 00 00 00 00 00 29 02 00");
  EXPECT_EQ(vxtest::writeInto(led, 19, true).result, 15u);
}

TEST(VXPMessages, FamiliesWithoutATableInstanceReadTheirFields) {
  constexpr vxpMsgID_t X = static_cast<vxpMsgID_t>(200);
  const Bytes three = hex("01 00 02 00 00 00 03");
  Simple3MessageRequest<X, uint8_t, uint16_t, uint32_t> r3(three.data(), 7);
  EXPECT_TRUE(r3.isValid());
  EXPECT_EQ(r3.getValue3(), 3u);
  EXPECT_EQ(r3.toString(), "1970-01-01 00:00:00.000000  VXPRequest  | [<unknown:200>] [1][2][3]");
  Simple3MessageRequest<X, uint8_t, uint16_t, uint32_t> r3s(three.data(), 6);
  EXPECT_FALSE(r3s.isValid());
  EXPECT_EQ(r3s.getValue3(), 0u);

  const Bytes two = hex("02 68 69 00 01 7A");
  EXPECT_EQ((String2MessageRequest<X, 1, 2>(two.data(), 6).getText2()), "z");
  EXPECT_FALSE((String2MessageRequest<X, 1, 2>(two.data(), 5).isValid()));

  const Bytes resp2 = hex("00 02 68 69 00 01 7A");
  EXPECT_EQ(String2MessageResponse<X>(VXPSTATUS_OK, resp2.data(), 7).getText2(), "z");
  String2MessageResponse<X> rs2s(VXPSTATUS_OK, resp2.data(), 6);
  EXPECT_TRUE(rs2s.isValid());  // the second text is optional
  EXPECT_EQ(rs2s.getText2(), "");

  const Bytes vs = hex("07 00 02 68 69");
  Simple2SMessageResponse<X, uint8_t, 2> r2s(VXPSTATUS_OK, vs.data(), 5);
  EXPECT_TRUE(r2s.isValid());
  EXPECT_EQ(r2s.getText(), "hi");
  // Unlike the request, the text is required.
  EXPECT_FALSE((Simple2SMessageResponse<X, uint8_t, 2>(VXPSTATUS_OK, vs.data(), 1).isValid()));

  const Bytes v16 = hex("00 01 00 02 00");
  SimpleVectorMessageResponse<X, uint16_t> vr(VXPSTATUS_OK, v16.data(), 5);
  EXPECT_EQ(vr.getValues(), (std::vector<uint16_t>{1, 2}));
  EXPECT_FALSE(vr.isValid());

  // Constructors from fields lay the payload out as the byte constructors read it.
  Simple3MessageResponse<X, uint8_t, uint16_t, int64_t> f3(VXPSTATUS_OK, 1, 2, -1);
  EXPECT_EQ(f3.payload, hex("01 00 02 FF FF FF FF FF FF FF FF"));
  EXPECT_EQ((StringVectorMessageResponse<X>(VXPSTATUS_OK, {"a", ""}).payload),
            hex("00 02 00 01 61 00 00"));
  EXPECT_EQ((Simple2SMessageRequest<VXPID_SETEVENT, uint8_t>(4, "go").payload), hex("04 02 67 6F"));

  const Bytes c = hex("01 00 00 00 02 00 00 00 03 00 00 01 00");
  const uint8_t* cursor = c.data();
  calib_t cal(cursor);
  EXPECT_EQ(cursor, c.data() + 13);
  EXPECT_EQ(cal.mode, CALIB_ENABLE);
  EXPECT_EQ(cal.values[2], 256u);
  Bytes back;
  cal.push(back);
  EXPECT_EQ(back, c);
}

TEST(VXPMessages, EventListRoundTripWithFixedUpCommentAndMismatchLine) {
  using Event = VXPResponseGetEventList::event_t;
  VXPResponseGetEventList list(VXPSTATUS_OK, 7,
                               {Event(2000000, "start", 1, "a;b c"), Event(3500000, "x", 2, "")});
  list.fixupComments();
  list.pushAll();
  EXPECT_EQ(list.events[0].comment, "a,b_c");
  vxtest::RegistryGuard guard;
  auto decoded = vxtest::decode(vxtest::serialise(list));
  auto* back = dynamic_cast<VXPResponseGetEventList*>(decoded.get());
  ASSERT_NE(back, nullptr);
  EXPECT_TRUE(*back == list);
  ASSERT_EQ(back->events.size(), 2u);
  EXPECT_TRUE(back->events[1] == list.events[1]);
  EXPECT_EQ(back->toString(),
            "1970-01-01 00:00:00.000000  VXPResponse | [VXPID_STATUS, VXPID_GET_EVENT_LIST, "
            "VXPSTATUS_OK] [7] [1970-01-01 00:00:02;start;1;a,b_c] [1970-01-01 00:00:03;x;2;] ");

  // Malformed records are kept with zero fields.
  Event odd("abc;n");
  EXPECT_EQ(odd.time, 0u);
  EXPECT_EQ(odd.name, "n");
  EXPECT_EQ(odd.number, 0u);

  vxtest::Capture err(std::cerr);
  const Bytes p = hex("01 00 03 00 07 31 3B 61 20 32 3B 62");  // "1;a 2;b", count 3
  VXPResponseGetEventList m(VXPSTATUS_OK, p.data(), static_cast<unsigned>(p.size()));
  EXPECT_EQ(m.events.size(), 2u);
  EXPECT_EQ(err.text(), "MessageResponseGetEventList: num of events doesnot match: 2 != 3\n");
}
