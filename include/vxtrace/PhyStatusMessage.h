#pragma once
#include <cstdint>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "vxtrace/BusId.h"
#include "vxtrace/MessageBase.h"

// State of one Ethernet PHY of the logger as register readings ("MSGID_PHY_STATUS"); link
// state, signal quality and symbol-error count are derived from them.
class VXTRACE_API PhyStatusMessage : public MessageBase {
 public:
  enum phyType_t : uint16_t {
    PHY_UNKNOWN = 0,
    PHY_TJA1100 = 1,
    PHY_KSZ9031RNX = 2,
    PHY_BCM54810 = 3,
    PHY_MAR88Q2112 = 4
  };
  enum linkStatus_t : uint8_t { LINK_UNKNOWN = 0, LINK_DOWN = 1, LINK_UP = 2, LINK_ERROR = 3 };
  // Signal-quality class 0..7, or SQI_NOT_AVAILABLE.
  typedef uint8_t sqi_t;
  static constexpr sqi_t SQI_NOT_AVAILABLE = 255;

  busid_t bus;
  uint8_t channel;  // zero-based; printed one-based
  phyType_t phyType;
  std::vector<std::pair<uint16_t, uint16_t>> registers;  // (address, value)

  // ts: microseconds since the epoch, UTC.
  PhyStatusMessage(unsigned long long ts, busid_t bus, uint8_t channel, phyType_t phyType,
                   const std::vector<std::pair<uint16_t, uint16_t>>& registers);
  // data starts at the size field. Frames below 18 bytes are rejected ("PhyStatusMessage message
  // too short"); of the pairs the count byte announces, those inside the frame are read.
  PhyStatusMessage(const unsigned char* data, unsigned int length);

  // The caller owns the result.
  static MessageBase* readFromByteArray(const unsigned char* data, unsigned int length);

  MessageBase* clone() const override;
  // Returns getSize() when written, 0 (nothing written, out unchanged) when room is short. The
  // count byte holds the number of pairs modulo 256.
  unsigned int writeToByteArray(unsigned char*& out, unsigned int room,
                                bool withSync) const override;
  // 16 + 4 per pair.
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

  // The value of the first pair with that address; false when there is none.
  bool getValue(unsigned short address, unsigned short& value) const;
  // Register 23 bit 0x8000 on a TJA1100, register 1 bit 0x0004 otherwise; the last reading
  // decides.
  linkStatus_t getLinkStatus() const;
  // Bits 5..7 of the first reading of register 23, whatever the PHY; SQI_NOT_AVAILABLE without.
  sqi_t getSQI() const;
  // The first reading of register 20; all ones without.
  uint32_t getSymbolErrorCount() const;

  static const char* getPhyTypeName(phyType_t type);
  static const char* getLinkStatusName(linkStatus_t status);
  static const char* getSQIName(sqi_t sqi);
};

VXTRACE_API std::ostream& operator<<(std::ostream& os, const PhyStatusMessage& msg);
