#include <gtest/gtest.h>

#include <sstream>

#include "vxtrace/CANInterface.h"
#include "vxtrace/CANStartStopMessage.h"

namespace {

std::string text(const canInterface_t& i) {
  std::ostringstream os;
  os << std::hex << std::uppercase;  // numbers stay decimal
  os << i;
  EXPECT_EQ(std::ios::hex | std::ios::uppercase,
            os.flags() & (std::ios::hex | std::ios::uppercase));
  EXPECT_FALSE(os.flags() & std::ios::boolalpha);
  return os.str();
}

}  // namespace

TEST(CANInterface, DefaultsPerChannelKindAndPrintedForm) {
  canInterface_t hs;
  EXPECT_EQ(
      "\"HSCAN\": channel=0, active=true, 500000 bits/s, HS, logchannel=0, ack=false, "
      "btrMode=false, btr0/1=0/0, FDactive=false, FDbaudrate=500000 bits/s, tsa=false, "
      "maxErrorFrames=50, clock=0, containerId=4294967295",
      text(hs));

  canInterface_t c;
  c.channel = 3;
  c.active = false;
  c.logchannel = 4;
  c.ack = true;
  c.btrMode = true;
  c.btr0 = 0x1C;
  c.btr1 = 0x2F;
  c.FDactive = true;
  c.FDbaudrate = 2000000;
  c.reserved = true;
  c.tsa = true;
  c.maxErrorFrames = 255;
  c.clock = 80000000;
  c.containerId = 7;
  EXPECT_EQ(
      "\"HSCAN\": channel=3, active=false, 500000 bits/s, HS, logchannel=4, ack=true, "
      "btrMode=true, btr0/1=28/47, FDactive=true, FDbaudrate=2000000 bits/s, tsa=true, "
      "maxErrorFrames=255, clock=80000000, containerId=7",
      text(c));

  c.setDefaultsLS();
  EXPECT_EQ(
      "\"LSCAN\": channel=0, active=true, 100000 bits/s, LS, logchannel=0, ack=false, "
      "btrMode=false, btr0/1=0/0, FDactive=false, FDbaudrate=500000 bits/s, tsa=false, "
      "maxErrorFrames=50, clock=0, containerId=4294967295",
      text(c));
  EXPECT_FALSE(c.reserved);
  c.setDefaultsMT();
  EXPECT_EQ(0u, text(c).find("\"MTCAN\": channel=0, active=true, 100000 bits/s, LS,"));
}

TEST(CANInfo, PrintsMaskAndValueAsBigEndianNumbers) {
  canInfo_t info;
  info.channel = 12;
  info.canId = 0x7AB;
  info.dlc = 2;
  info.mask[0] = 0xFF;
  info.mask[1] = 0x0F;
  info.value[0] = 0x12;
  info.value[1] = 0x03;
  info.value[7] = 0x01;
  std::ostringstream os;
  os << std::setfill('*') << info;
  EXPECT_EQ("channel=12, canId=0x7ab, dlc=2, mask=ff0f000000000000, value=1203000000000001",
            os.str());
  EXPECT_EQ('*', os.fill());
}
