#pragma once
#include <cstdint>
#include <ostream>
#include <string>

#include "vxtrace/EthernetTraceMessage.h"
#include "vxtrace/Export.h"

// Configuration of one Ethernet channel of the logger.
struct VXTRACE_API ethernetConfig_t {
  // The bits of dltVersion that count.
  static const uint8_t DLT_VERSION_MASK;  // 7

  std::string name;
  // Printed without labels, after the name.
  std::string info1;
  std::string info2;
  uint32_t infoNumber = 0;
  bool active = true;
  ethernetproto_t protocol = ETH_PROTO_RAW;
  int32_t debugLevel = 0;
  std::string hostIp;  // dotted addresses
  std::string mask;
  std::string gatewayIp;
  bool vlan = false;
  int32_t vlanId = 0;
  // Printed for DLT only.
  std::string autosarVersion;
  uint8_t dltVersion = 0;
  char ecuId[5] = {0, 0, 0, 0, 0};  // NUL-terminated
  int32_t traceStatus = 0;
  bool dltVerbose = false;
  uint32_t containerId = 0xFFFFFFFFu;  // 0xFFFFFFFF: none
  int32_t timeout = 0;
};

VXTRACE_API std::ostream& operator<<(std::ostream& os, const ethernetConfig_t& config);
