#include "vxtrace/LINInterface.h"

#include "util/EnumName.h"
#include "util/StreamStateGuard.h"
#include "vxtrace/PlatformUtil.h"

namespace {
const char* const kLinVersionNames[] = {"dontcare", "1.3", "2.0", "2.1"};
}  // namespace

std::ostream& operator<<(std::ostream& os, const linVersion_t& version) {
  return vxtrace::detail::printEnumName(os, version, kLinVersionNames);
}

const std::string linInterface_t::LIN_DEFAULT_NAME = "LIN";

linInterface_t::linInterface_t() { setDefaults(); }

void linInterface_t::setDefaults() {
  reserved = 0;
  name = LIN_DEFAULT_NAME;
  channel = 0;
  active = true;
  baudrate = 19200;
  version = LIN_VERSION_DONTCARE;
  containerId = 0xFFFFFFFFu;
  bitSample = 8;
}

std::ostream& operator<<(std::ostream& os, const linInterface_t& iface) {
  vxtrace::detail::StreamStateGuard guard(os);
  os << std::dec << '"' << iface.name << "\", " << (iface.active ? "active" : "inactive")
     << ", channel=" << static_cast<unsigned int>(iface.channel)
     << ", baudrate=" << iface.baudrate << "Bit/s, version=" << iface.version
     << ", bitSample=" << iface.bitSample << ", containerId=" << iface.containerId;
  return os;
}
