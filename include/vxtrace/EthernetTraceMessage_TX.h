#pragma once
#include "vxtrace/EthernetTraceMessage.h"

// A sent Ethernet record ("MSGID_ETHERNET_TX").
class VXTRACE_API EthernetTraceMessage_TX : public EthernetTraceMessage {
 public:
  // timeStamp in microseconds.
  explicit EthernetTraceMessage_TX(unsigned long long timeStamp = 0, uint8_t channel = 0,
                                   ethernetproto_t protocol = ETH_PROTO_RAW,
                                   const std::vector<uint8_t>& data = {});
  EthernetTraceMessage_TX(const unsigned char* data, unsigned int length);

  // Null for a DLT or generic record without payload; otherwise owned by the caller.
  static MessageBase* readFromByteArray(const unsigned char* data, unsigned int length);
  MessageBase* clone() const override;
};
