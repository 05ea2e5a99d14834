#include "vxtrace/CANStartStopMessage.h"

#include <iomanip>

#include "util/ByteOrder.h"
#include "util/StreamStateGuard.h"

std::ostream& operator<<(std::ostream& os, const canInfo_t& info) {
  vxtrace::detail::StreamStateGuard guard(os);
  // mask and value read as one big-endian 64-bit number each.
  os << std::dec << std::right << "channel=" << static_cast<unsigned int>(info.channel)
     << ", canId=0x" << std::hex << info.canId << ", dlc=" << std::dec
     << static_cast<unsigned int>(info.dlc) << ", mask=" << std::hex << std::setfill('0')
     << std::setw(16) << vxtrace::detail::loadBE64(info.mask) << ", value=" << std::setw(16)
     << vxtrace::detail::loadBE64(info.value);
  return os;
}
