#include "vxtrace/CANInterface.h"

#include "util/StreamStateGuard.h"

const uint32_t canInterface_t::HS_CAN_DEFAULT_BAUDRATES[8] = {50000,  83333,  100000, 125000,
                                                              250000, 500000, 800000, 1000000};
const uint32_t canInterface_t::CAN_DEFAULT_MAX_ERROR_FRAMES = 50;

canInterface_t::canInterface_t() { setDefaultsHS(); }

void canInterface_t::setDefaultsHS() {
  name = "HSCAN";
  baudrate = 500000;
  highSpeed = true;
  setDefaultsCommon();
}

void canInterface_t::setDefaultsLS() {
  name = "LSCAN";
  baudrate = 100000;
  highSpeed = false;
  setDefaultsCommon();
}

void canInterface_t::setDefaultsMT() {
  name = "MTCAN";
  baudrate = 100000;
  highSpeed = false;
  setDefaultsCommon();
}

void canInterface_t::setDefaultsCommon() {
  channel = 0;
  active = true;
  logchannel = 0;
  ack = false;
  btrMode = false;
  btr0 = 0;
  btr1 = 0;
  FDactive = false;
  FDbaudrate = 500000;
  reserved = false;
  tsa = false;
  maxErrorFrames = static_cast<uint8_t>(CAN_DEFAULT_MAX_ERROR_FRAMES);
  clock = 0;
  containerId = 0xFFFFFFFFu;
}

std::ostream& operator<<(std::ostream& os, const canInterface_t& iface) {
  vxtrace::detail::StreamStateGuard guard(os);
  os << std::dec << std::boolalpha << '"' << iface.name
     << "\": channel=" << static_cast<unsigned int>(iface.channel) << ", active=" << iface.active
     << ", " << iface.baudrate << " bits/s, " << (iface.highSpeed ? "HS" : "LS")
     << ", logchannel=" << static_cast<unsigned int>(iface.logchannel) << ", ack=" << iface.ack
     << ", btrMode=" << iface.btrMode << ", btr0/1=" << iface.btr0 << '/' << iface.btr1
     << ", FDactive=" << iface.FDactive << ", FDbaudrate=" << iface.FDbaudrate << " bits/s"
     << ", tsa=" << iface.tsa
     << ", maxErrorFrames=" << static_cast<unsigned int>(iface.maxErrorFrames)
     << ", clock=" << iface.clock << ", containerId=" << iface.containerId;
  return os;
}
