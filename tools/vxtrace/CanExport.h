#pragma once
// CAN and CAN FD records in the formats of the Linux CAN tools: the candump log format and
// pcapng with the SocketCAN link type. In pcapng, Ethernet records that hold a whole frame go
// beside them on Ethernet interfaces. Frames the logger sent are marked as transmitted (candump
// direction T, pcapng outbound), all others, error frames included, as received.
#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "vxtrace/MessageBase.h"

namespace vxtrace::cli {

// A CAN record as a SocketCAN frame.
struct SocketCanFrame {
  uint32_t canId = 0;  // with the EFF (0x80000000) and ERR (0x20000000) flags
  bool fd = false;
  uint8_t fdFlags = 0;  // BRS 0x01, ESI 0x02
  bool sent = false;    // transmitted by the logger
  uint8_t length = 0;
  uint8_t data[64] = {};
  unsigned channel = 0;              // canN
  unsigned long long timeStamp = 0;  // microseconds since the epoch
};

// Why a record has no SocketCAN form; null when it has one.
const char* toSocketCan(const MessageBase& msg, SocketCanFrame& out);

class CanExporter {
 public:
  enum Format { Candump, Pcapng };

  // file is owned by the caller and stays open.
  CanExporter(std::FILE* file, Format format);

  // Writes the record when it has a SocketCAN form, otherwise counts it under its reason.
  void add(const MessageBase& msg);

  uint64_t written() const { return written_; }
  // Reason -> number of records that could not be written.
  const std::map<std::string, uint64_t>& skipped() const { return skipped_; }

 private:
  void writeCandump(const SocketCanFrame& f);
  void writePcapngHeader();
  void writePcapngFrame(const SocketCanFrame& f);
  // Interface id of a logger channel, described on first use.
  uint32_t pcapngInterface(uint32_t key, uint16_t linkType, const std::string& name);
  void writePcapngPacket(uint32_t iface, unsigned long long timeStamp,
                         const std::vector<uint8_t>& packet, bool outbound);

  std::FILE* file_;
  Format format_;
  uint64_t written_ = 0;
  std::map<std::string, uint64_t> skipped_;
  // (bus << 8 | logger channel) -> pcapng interface id
  std::map<uint32_t, uint32_t> interfaces_;
};

}  // namespace vxtrace::cli
