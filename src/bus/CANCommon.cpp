#include "bus/CANCommon.h"

#include <cstring>

#include "util/ByteOrder.h"

namespace vxtrace::detail {

bool canFrameBytesMatch(const CANTraceMessageBase& msg, const std::vector<unsigned char>& bytes,
                        unsigned int idWidth, unsigned int minimum) {
  const unsigned int n = msg.length < sizeof msg.data ? msg.length : sizeof msg.data;
  const unsigned int dataAt = 18 + idWidth;
  // Refuse a vector shorter than the comparison reaches rather than read past it.
  if (bytes.size() < minimum || bytes.size() < dataAt + n) return false;
  const uint8_t* b = bytes.data();
  const uint32_t storedId = idWidth == 2 ? loadBE16(b + 18) : loadBE32(b + 18);
  return loadBE16(b + 2) == msg.msgId &&
         loadBE32(b + 6) == static_cast<uint32_t>(msg.timeStamp >> 32) &&
         loadBE32(b + 10) == static_cast<uint32_t>(msg.timeStamp) && b[14] == msg.channel &&
         b[15] == msg.frame && b[16] == msg.state && b[17] == msg.length && storedId == msg.id &&
         std::memcmp(b + dataAt, msg.data, n) == 0;
}

bool canInfoMatches(const CANTraceMessageBase& msg, const canInfo_t& filter) {
  if (msg.id != filter.canId || msg.channel != filter.channel || msg.length != filter.dlc) {
    return false;
  }
  if (msg.length > sizeof filter.mask) return false;
  for (unsigned int i = 0; i < msg.length; ++i) {
    if ((msg.data[i] & filter.mask[i]) != filter.value[i]) return false;
  }
  return true;
}

}  // namespace vxtrace::detail
