#include <gtest/gtest.h>

#include <climits>
#include <sstream>

#include "support/TestSupport.h"
#include "util/Record.h"
#include "vxtrace/vxtrace.h"

using vxtest::Bytes;
using vxtest::Capture;
using vxtest::hex;

namespace {

// A record whose size the test chooses, to reach the writer's limits.
class SizedMessage : public MessageBase {
 public:
  SizedMessage(unsigned int size, unsigned long long ts) : MessageBase(MSGID_START, ts), size_(size) {}
  MessageBase* clone() const override { return new SizedMessage(*this); }
  unsigned int getSize() const override { return size_; }
  bool operator==(const MessageBase&) const override { return false; }
  // Declares no inserter of its own: operator<< must still give this whole text.
  void print(std::ostream& os) const override {
    vxtrace::detail::RecordLine line(os, *this);
    os << "  SIZED " << size_;
  }
  unsigned int writeToByteArray(unsigned char*& out, unsigned int room,
                                bool withSync) const override {
    // Writes body bytes as asked, whatever getSize() declares.
    return vxtrace::detail::writeRecord(*this, out, room, withSync, [&](vxtrace::detail::ByteWriter& w) {
      w.zeros(bodyBytes);
    });
  }
  unsigned int bodyBytes = 0;

 private:
  unsigned int size_;
};

}  // namespace

// The room rule of every table row, here for a broken record claiming less than the header.
TEST(MessageBase, WriterCannotOverrunForASizeBelowTheHeader) {
  unsigned char buf[32] = {};
  SizedMessage tiny(4, 0);
  unsigned char* out = buf;
  EXPECT_EQ(tiny.writeToByteArray(out, 6, false), 0u);
  EXPECT_EQ(tiny.writeToByteArray(out, 13, false), 0u);
  EXPECT_EQ(tiny.writeToByteArray(out, 14, false), 14u);
}

#ifdef VXTRACE_CHECKED
TEST(MessageBaseDeathTest, BodyLongerOrShorterThanDeclaredStopsACheckedBuild) {
  unsigned char buf[64];
  SizedMessage msg(16, 0);  // declares 4 body bytes
  for (unsigned int n : {3u, 5u}) {
    msg.bodyBytes = n;
    unsigned char* out = buf;
    EXPECT_DEATH(msg.writeToByteArray(out, sizeof buf, false), "body length differs");
  }
  msg.bodyBytes = 4;
  unsigned char* out = buf;
  EXPECT_EQ(msg.writeToByteArray(out, sizeof buf, false), 18u);
}
#endif

TEST(MessageBase, CreateByteArrayEnforcesSizeLimitsWithExactDiagnostics) {
  std::vector<unsigned char> buf;
  {
    Capture err(std::cerr);
    EXPECT_EQ(SizedMessage(65541, 0).createByteArray(buf, true, false), 0u);
    EXPECT_EQ(err.text(), "[ERROR] Message size too big\n");
  }
  {
    Capture err(std::cerr);
    // 65,540 passes; the 16-bit size field holds it truncated, the body is all there.
    SizedMessage big(65540, 0);
    big.bodyBytes = 65528;
    EXPECT_EQ(big.createByteArray(buf, false, false), 65542u);
    EXPECT_EQ(err.text(), "");
    EXPECT_EQ(buf.size(), 65542u);
    EXPECT_EQ(buf[0], 0x00);
    EXPECT_EQ(buf[1], 0x04);
  }
  {
    Capture err(std::cerr);
    EXPECT_EQ(SizedMessage(9, 0).createByteArray(buf, false, false), 0u);  // 11 bytes in all
    EXPECT_EQ(err.text(), "[ERROR] Message size too small\n");
  }
  {
    Capture err(std::cerr);
    // 10 + 2 = 12 bytes passes the size check but the header does not fit: refused quietly.
    EXPECT_EQ(SizedMessage(10, 0).createByteArray(buf, false, false), 0u);
    EXPECT_EQ(err.text(), "");
  }
}

TEST(MessageBase, CreateByteArrayAppendsOrReplaces) {
  std::vector<unsigned char> buf = {1, 2, 3};
  SimpleMessage<MSGID_START> msg(1);
  EXPECT_EQ(msg.createByteArray(buf, true, true), 16u);
  ASSERT_EQ(buf.size(), 19u);
  EXPECT_EQ(buf[2], 3);
  EXPECT_EQ(buf[3], 0x55);
  EXPECT_EQ(msg.createByteArray(buf, false, false), 14u);
  EXPECT_EQ(buf.size(), 14u);
}

TEST(MessageBase, PrintsTimeStampsWithChosenDigits) {
  std::ostringstream os;
  MessageBase::printTimeStamp(os, 1500000, true, 3);
  EXPECT_EQ(os.str(), "1970-01-01 00:00:01.500");
  os.str("");
  MessageBase::printTimeStamp(os, 1500000, true, 0);
  EXPECT_EQ(os.str(), "1970-01-01 00:00:01");
  EXPECT_EQ(MessageBase::printTimestamp(59999999), "1970-01-01 00:00:59.999999");
  // Local time under TZ=UTC (set for the test run) equals UTC.
  os.str("");
  MessageBase::printTimeStamp(os, 1500000, false, 1);
  EXPECT_EQ(os.str(), "1970-01-01 00:00:01.5");
}

TEST(MessageBase, PrefixCarriesLabelAndDefaultsAnswerForTheLogger) {
  SimpleMessage<MSGID_START> msg(0);
  msg.label = "file1";
  EXPECT_EQ(msg.toString(), "file1: 1970-01-01 00:00:00.000000  START");
  // The prefix ignores a pending width and alignment; a class without an inserter of its own
  // still prints its whole text through operator<<.
  SizedMessage sized(20, 1500000);
  sized.label = "L";
  std::ostringstream left;
  left << std::left << std::setw(30) << sized;
  EXPECT_EQ(left.str(), "L: 1970-01-01 00:00:01.500000  SIZED 20");
  EXPECT_EQ(msg.getSourceChannel(), "LOGGER INTERN");
  EXPECT_EQ(msg.getSourceChannelID(), 0xFFFFFFFFFFFFFFFFULL);
  msg.setSourceWord(7);
  EXPECT_EQ(msg.getSourceWord(), 7u);
  EXPECT_EQ(msg.getSourceChannelID(), 0xFFFFFFFFFFFFFFFFULL);
}

TEST(MessageBase, DumpsDataInTheStreamsBase) {
  const unsigned char bytes[] = {0x01, 0xAB, 0x00};
  std::ostringstream os;
  os << std::hex << std::setfill('0');
  MessageBase::dumpData(os, bytes, bytes + 3);
  EXPECT_EQ(os.str(), "01 ab 00");
  std::ostringstream dec;
  MessageBase::dumpData(dec, bytes, bytes + 2);
  EXPECT_EQ(dec.str(), " 1 171");
  // Long runs and upper case: the same text a formatted insertion per byte gives.
  std::vector<unsigned char> run(200);
  for (size_t i = 0; i < run.size(); ++i) run[i] = static_cast<unsigned char>(i * 7);
  std::ostringstream fast, slow;
  fast << std::hex << std::uppercase << std::setfill('0');
  MessageBase::dumpData(fast, run.data(), run.data() + run.size());
  slow << std::hex << std::uppercase << std::setfill('0');
  for (size_t i = 0; i < run.size(); ++i)
    slow << (i ? " " : "") << std::setw(2) << static_cast<unsigned>(run[i]);
  EXPECT_EQ(fast.str(), slow.str());
}

TEST(MessageBase, SharedTypesPrintByName) {
  std::ostringstream os;
  os << BUSID_CAN << '|' << BUSID_WAKEUPLINE << '|' << static_cast<busid_t>(21) << '|'
     << MessageBase::PortDirInOut << '|' << static_cast<MessageBase::portDirection_t>(9);
  EXPECT_EQ(os.str(), "CAN|WakeUpLine|Unknown bus|PortDirInOut|PortDirUnknown");
  const unsigned char be[] = {1, 2, 3, 4, 5, 6, 7, 8};
  EXPECT_EQ(byteArrayToUint64(be), 0x0102030405060708ULL);
}

TEST(MessageBaseDeathTest, InvalidVersionEndsTheProcess) {
  EXPECT_DEATH(MessageBase::reportInvalidVersion(7),
               "Trying to set an invalid VXTrace version of 7");
}
