#pragma once
#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "vxtrace/BusId.h"
#include "vxtrace/MessageBase.h"
#include "vxtrace/PhyStatusMessage.h"

// PHY state for PHYs whose registers are addressed by device and register number
// ("MSGID_PHY_STATUS_EXT"). Its size field declares four bytes more than the body holds;
// readers step by the declared size.
class VXTRACE_API PhyStatusExtMessage : public MessageBase {
 public:
  struct VXTRACE_API entry_t {
    uint16_t value = 0;
    uint16_t reg = 0;
    uint16_t dev = 0;
    uint16_t extra = 0;  // carried unchanged
    bool operator==(const entry_t& o) const {
      return value == o.value && reg == o.reg && dev == o.dev && extra == o.extra;
    }
  };

  busid_t bus;
  uint8_t channel;                      // zero-based; printed one-based
  PhyStatusMessage::phyType_t phyType;  // 16 bits on the wire
  std::vector<entry_t> entries;

  // ts: microseconds since the epoch, UTC.
  PhyStatusExtMessage(unsigned long long ts, busid_t bus, uint8_t channel,
                      PhyStatusMessage::phyType_t phyType, const std::vector<entry_t>& entries);
  // data starts at the size field. Frames below 22 bytes are rejected ("PhyStatusExtMessage
  // message too short"); of the entries the count announces, those inside the frame are read.
  PhyStatusExtMessage(const unsigned char* data, unsigned int length);

  // The caller owns the result.
  static MessageBase* readFromByteArray(const unsigned char* data, unsigned int length);

  MessageBase* clone() const override;
  // Writes 20 + 8n bytes after the size field (zeroing the 4 further declared bytes inside the
  // room) and returns the bytes written; 0 (nothing written, out unchanged) when room lacks the
  // declared frame.
  unsigned int writeToByteArray(unsigned char*& out, unsigned int room,
                                bool withSync) const override;
  // 24 + 8 per entry.
  unsigned int getSize() const override;
  // Same class and every field; time stamps are not compared.
  bool operator==(const MessageBase& other) const override;
  void print(std::ostream& os) const override;
  std::string toString() const override;
  // The bus name, " #" and the zero-based channel, e.g. "Ethernet #0".
  std::string getSourceChannel() const override;
  // Low 32 bits (bus << 8) | channel, high 32 bits sourceWord.
  uint64_t getSourceChannelID() const override;
  // Adds the low 8 bits of offset to channel, modulo 256.
  void cascadeChannel(unsigned short offset) override;

  // The value of the first entry with that register and device; false when there is none.
  bool getValue(unsigned short reg, unsigned short& value, unsigned short dev) const;
  // As PhyStatusMessage, by register number alone.
  PhyStatusMessage::linkStatus_t getLinkStatus() const;
  PhyStatusMessage::sqi_t getSQI() const;
  uint32_t getSymbolErrorCount() const;
};

VXTRACE_API std::ostream& operator<<(std::ostream& os, const PhyStatusExtMessage& msg);
