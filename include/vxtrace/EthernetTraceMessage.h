#pragma once
#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "vxtrace/MessageBase.h"

// Protocol an Ethernet channel was configured for. Values above 9 print as "<unknown:N>";
// 7 has an empty name.
enum VXTRACE_API ethernetproto_t : uint32_t {
  ETH_PROTO_KESTREL = 0,
  ETH_PROTO_RAW = 1,
  ETH_PROTO_UTF8 = 2,
  ETH_PROTO_DLT = 3,
  ETH_PROTO_UDPSERVER = 4,
  ETH_PROTO_SPYMODE = 5,
  ETH_PROTO_ESOTRACE = 6,
  ETH_PROTO_UNNAMED = 7,
  ETH_PROTO_MII = 8,
  ETH_PROTO_TCPSERVER = 9
};

VXTRACE_API std::ostream& operator<<(std::ostream& os, const ethernetproto_t& proto);

// Content shared by received and sent Ethernet records; instantiated as EthernetTraceMessage_RX
// or EthernetTraceMessage_TX. Body: channel, protocol, then
//   DLT: the ECU identifier (as many bytes as ecuId holds, four), the payload;
//   MII: three zero bytes, status, payload length (16-bit big-endian), the payload;
//   any other protocol: the payload.
class VXTRACE_API EthernetTraceMessage : public MessageBase {
 public:
  std::vector<uint8_t> data;  // the captured payload
  ethernetproto_t protocol;
  uint8_t channel;      // zero-based
  std::string ecuId;    // DLT ECU identifier, four characters; "NEW " unless set
  uint8_t miiStatus;    // status byte of an MII record

  // Assigns text (null leaves the old text), then pads with blanks or cuts to four characters.
  void setEcuId(const char* text);

  // DLT: 14 + payload + ecuId length; MII: 20 + payload; otherwise 14 + payload.
  unsigned int getSize() const override;
  // Returns getSize() when the frame fits, else 0.
  unsigned int writeToByteArray(unsigned char*& out, unsigned int room,
                                bool withSync) const override;
  // Same kind (RX or TX), time stamp, channel, protocol and payload; the ECU identifier and
  // the MII status are not compared.
  bool operator==(const MessageBase& other) const override;
  void print(std::ostream& os) const override;
  std::string toString() const override;
  // "Ethernet #" and the zero-based channel.
  std::string getSourceChannel() const override;
  uint64_t getSourceChannelID() const override;
  // Adds the low 8 bits of offset to the channel, modulo 256.
  void cascadeChannel(unsigned short offset) override;

 protected:
  // timeStamp in microseconds.
  EthernetTraceMessage(msgid_t msgId, unsigned long long timeStamp, uint8_t channel,
                       ethernetproto_t protocol, const std::vector<uint8_t>& data);
  // data starts at the size field. A protocol byte above 9 throws the bad-enumeration
  // InvalidMessageException. The payload ends where the size field says (MII: it has the length
  // it announces); declared bytes that lie beyond length read as zero, so the record keeps the
  // size its field declares.
  EthernetTraceMessage(msgid_t msgId, const unsigned char* data, unsigned int length);
  // The creators' null answer: a DLT or generic record without a payload byte.
  bool lacksPayload() const;
};

VXTRACE_API std::ostream& operator<<(std::ostream& os, const EthernetTraceMessage& msg);
