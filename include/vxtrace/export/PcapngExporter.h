#pragma once
// pcapng: CAN frames with the SocketCAN link type, whole Ethernet frames, LIN frames and FlexRay
// frames each with their own link type, one interface per logger channel (can0, eth0, lin0,
// flexray0: zero-based); sent frames outbound, all others inbound.
#include "vxtrace/export/Exporter.h"

namespace vxtrace {

class VXTRACE_API PcapngExporter : public Exporter {
 public:
  explicit PcapngExporter(ExportSink& sink);
  const char* format() const override { return "pcapng"; }

 protected:
  const char* write(const MessageBase& record) override;

 private:
  uint32_t interfaceFor(uint32_t key, uint16_t linkType, const std::string& name);
  void packet(uint32_t iface, unsigned long long timeUs, const std::vector<uint8_t>& bytes,
              bool outbound);

  // (bus << 8 | logger channel) -> interface id
  std::map<uint32_t, uint32_t> interfaces_;
};

}  // namespace vxtrace
