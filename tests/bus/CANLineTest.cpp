// The CAN records build their line in one buffer: label, full-length data and a subclass's own
// printer must come out as through the stream.
#include <gtest/gtest.h>

#include <cctype>
#include <iomanip>
#include <sstream>

#include "support/TestSupport.h"
#include "vxtrace/CANExtTraceMessage.h"
#include "vxtrace/CANProxyTraceMessage.h"
#include "vxtrace/CANTraceMessage.h"

using vxtest::Bytes;

namespace {

struct OwnPrint : CANTraceMessage {
  using CANTraceMessage::CANTraceMessage;
  void print(std::ostream& os) const override { os << "own"; }
};

}  // namespace

TEST(CANLine, LabelFullDataAndSubclassPrinters) {
  Bytes fd(64);
  for (int i = 0; i < 64; ++i) fd[i] = static_cast<uint8_t>(0xC0 + i);
  std::string fdText, upperText;
  for (int i = 0; i < 64; ++i) {
    if (i != 0) fdText += ' ';
    fdText += "cdef"[i / 16];
    fdText += "0123456789abcdef"[i % 16];
  }
  for (char c : fdText) upperText += static_cast<char>(std::toupper(c));
  CANTraceMessage classic(1500000, 0, CAN_FRAME_STANDARD, 0, 0x7AB, Bytes{0xAB, 0x01});
  CANProxyTraceMessage proxy(1500000, 11, CAN_FRAME_TXMESSAGE, 0, 0x12, Bytes{});
  CANExtTraceMessage ext(1500000, 255, CAN_FRAME_STANDARD, 0xC2, CAN_TYPE_FD_EXT, 0x1ABCDEF0, fd);
  OwnPrint own(1500000, 0, CAN_FRAME_STANDARD, 0, 1, Bytes{});
  const struct {
    MessageBase* msg;
    const char* label;
    std::string line;
    std::string upper;  // on an upper-case stream: identifier and data digits only; "": unchecked
  } rows[] = {
      {&classic, "", "1970-01-01 00:00:01.500000  CAN #1      | Rx   7ab  2 ab 01",
       "1970-01-01 00:00:01.500000  CAN #1      | Rx   7AB  2 AB 01"},
      {&classic, "trace-a.vxt",
       "trace-a.vxt: 1970-01-01 00:00:01.500000  CAN #1      | Rx   7ab  2 ab 01",
       "trace-a.vxt: 1970-01-01 00:00:01.500000  CAN #1      | Rx   7AB  2 AB 01"},
      {&proxy, "p", "p: 1970-01-01 00:00:01.500000  CAN #12     | Tx   012  0 ",
       "p: 1970-01-01 00:00:01.500000  CAN #12     | Tx   012  0 "},
      {&ext, "x",
       "x: 1970-01-01 00:00:01.500000  CAN #256    | FD_EXT Rx   [error=FORMAT]  [ ESI BRS ]"
       "1abcdef0  64 " + fdText,
       "x: 1970-01-01 00:00:01.500000  CAN #256    | FD_EXT Rx   [error=FORMAT]  [ ESI BRS ]"
       "1ABCDEF0  64 " + upperText},
      {&own, "", "own", ""},
  };
  for (const auto& r : rows) {
    r.msg->label = r.label;
    EXPECT_EQ(r.line, r.msg->toString());
    if (r.upper.empty()) continue;
    std::ostringstream os;
    os << std::uppercase << std::hex << std::setfill('*') << std::setw(30) << std::left;
    r.msg->print(os);
    os << 10;  // the caller's state is back, width used up
    EXPECT_EQ(r.upper + "A", os.str());
  }
}
