#include <gtest/gtest.h>

#include <sstream>

#include "vxtrace/vxtrace.h"

namespace {

// Printed on a hex, upper-case stream: numbers stay decimal, and the stream's flags come back
// without boolalpha.
std::string text(const canInterface_t& i) {
  std::ostringstream os;
  os << std::hex << std::uppercase << i;
  EXPECT_EQ(os.flags() & (std::ios::basefield | std::ios::uppercase | std::ios::boolalpha),
            std::ios::hex | std::ios::uppercase);
  return os.str();
}

const std::string kCommonDefaults =
    "logchannel=0, ack=false, btrMode=false, btr0/1=0/0, FDactive=false, FDbaudrate=500000 "
    "bits/s, tsa=false, maxErrorFrames=50, clock=0, containerId=4294967295";

}  // namespace

TEST(CANInterface, DefaultsPerChannelKindAndPrintedForm) {
  canInterface_t c;
  EXPECT_EQ(text(c), "\"HSCAN\": channel=0, active=true, 500000 bits/s, HS, " + kCommonDefaults);

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
  EXPECT_EQ(text(c),
            "\"HSCAN\": channel=3, active=false, 500000 bits/s, HS, logchannel=4, ack=true, "
            "btrMode=true, btr0/1=28/47, FDactive=true, FDbaudrate=2000000 bits/s, tsa=true, "
            "maxErrorFrames=255, clock=80000000, containerId=7");

  c.setDefaultsLS();  // every field back to its default
  EXPECT_EQ(text(c), "\"LSCAN\": channel=0, active=true, 100000 bits/s, LS, " + kCommonDefaults);
  EXPECT_FALSE(c.reserved);
  c.setDefaultsMT();
  EXPECT_EQ(text(c), "\"MTCAN\": channel=0, active=true, 100000 bits/s, LS, " + kCommonDefaults);
}
