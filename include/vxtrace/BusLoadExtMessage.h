#pragma once
#include <cstdint>
#include <ostream>
#include <string>

#include "vxtrace/BusId.h"
#include "vxtrace/MessageBase.h"

// Periodic load of one bus channel with units ("MSGID_BUSLOADEXT").
class VXTRACE_API BusLoadExtMessage : public MessageBase {
 public:
  enum blType_t : uint8_t {
    BL_STD = 0,
    BL_EXT = 1,
    BL_MOST = 2,
    BL_CCP_XCP_ON_CAN = 3,
    BL_XCP_ON_ETH = 4
  };
  static const char typeTxt[5][20];
  static const char unitTxt[12][20];
  // Texts of the values 0xFFFFFFFC..0xFFFFFFFF, which are not loads.
  static const char loadTxt[4][8];

  blType_t type;
  busid_t bus;
  uint8_t channel;     // printed as stored
  uint8_t unit;        // row of unitTxt; not carried by type 1 (decodes as 0)
  uint32_t values[4];  // type 1 uses all four, the other non-MOST types the first
  // Type 2 only:
  uint8_t status;  // bit 0 MOST lock; bit 1 master lock (MOST50)
  uint32_t numControlMsg;
  uint32_t bytesControlMsg;
  uint32_t numMDPMsg;
  uint32_t bytesMDPMsg;
  // Type 2 on MOST150 (bus 8) only:
  uint32_t numMEPMsg;
  uint32_t bytesMEPMsg;
  uint16_t numStreamingChannels;   // 6 bits on the wire
  uint16_t streamingChannelsSize;  // 10 bits on the wire

  // Every counter and value 0.
  BusLoadExtMessage(unsigned long long ts, blType_t type, busid_t bus, uint8_t channel,
                    uint8_t unit);
  // data starts at the size field. Rejects, in this order: frames below 22 bytes
  // ("BusLoadExtMessage too short"), type above 4 ("blType_t"), bus 21 or more ("busid_t"),
  // type 2 below 34 bytes and type 2 on bus 8 below 42 bytes (too short).
  BusLoadExtMessage(const unsigned char* data, unsigned int length);

  // The caller owns the result.
  static MessageBase* readFromByteArray(const unsigned char* data, unsigned int length);

  MessageBase* clone() const override;
  // Throws VXException ("BusLoadExtMessage::writeToByteArray: buffer size to small. ...") when
  // room is below the size; returns getSize() when written, 0 when room lacks the 2 further
  // bytes. Type 2 on a bus other than 8 writes 20 body bytes under a size of 42; the remaining
  // declared bytes are zeroed.
  unsigned int writeToByteArray(unsigned char*& out, unsigned int room,
                                bool withSync) const override;
  // 32 for type 1, 42 for type 2, else 20.
  unsigned int getSize() const override;
  // Same class and every field; time stamps are not compared.
  bool operator==(const MessageBase& other) const override;
  void print(std::ostream& os) const override;
  std::string toString() const override;
  // Adds offset to channel, modulo 256.
  void cascadeChannel(unsigned short offset) override;

  // The load part of the printed line.
  void getLoadInformation(std::ostream& os) const;
  std::string getLoadInformation() const;
};

VXTRACE_API std::ostream& operator<<(std::ostream& os, const BusLoadExtMessage& msg);
