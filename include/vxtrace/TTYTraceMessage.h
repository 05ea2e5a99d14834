#pragma once
#include <cstdint>
#include <ostream>
#include <string>

#include "vxtrace/MessageBase.h"

// Text or data received on a TTY channel, with the protocol the channel is read in
// ("MSGID_TTY"). The string part is the captured data. Body: channel, proto, data length
// (big-endian 16-bit), data.
class VXTRACE_API TTYTraceMessage : public MessageBase, public std::string {
 public:
  enum ttyproto_t : uint32_t { TTY_NONE = 0, TTY_QXDM = 1, TTY_ANDROIDGW = 2, TTY_QXDM_BIN = 3 };

  uint8_t channel;  // zero-based TTY channel
  ttyproto_t proto;

  // timeStamp in microseconds. At most 65519 bytes of data (what the 16-bit size field leaves)
  // reach the wire; the rest stays in memory only.
  TTYTraceMessage(unsigned long long timeStamp, uint8_t channel, ttyproto_t proto,
                  const std::string& data);
  // data starts at the size field. Throws InvalidMessageException: invalidLength below 18 bytes
  // ("TTYTraceMessage too short"), invalidEnumValue for a protocol above 3 ("ttyproto_t"). A
  // data length beyond the frame is cut at the frame's end.
  TTYTraceMessage(const unsigned char* data, unsigned int length);

  // The caller owns the result.
  static MessageBase* readFromByteArray(const unsigned char* data, unsigned int length);

  MessageBase* clone() const override;
  unsigned int writeToByteArray(unsigned char*& out, unsigned int room,
                                bool withSync) const override;
  // 16 + data length.
  unsigned int getSize() const override;
  // Identifier 13 on both sides, equal time stamps, channel, protocol and data.
  bool operator==(const MessageBase& other) const override;
  void print(std::ostream& os) const override;
  std::string toString() const override;
  // "TTY #" and the zero-based channel.
  std::string getSourceChannel() const override;
  // Low word 0x1000 | channel (bus TTY), high word sourceWord.
  uint64_t getSourceChannelID() const override;

  // "none", "QXDM", "AndroidGW", "QXDM_BIN"; any other value "<INVALID>".
  static const char* getTTYprotoname(ttyproto_t proto);
};

VXTRACE_API std::ostream& operator<<(std::ostream& os, const TTYTraceMessage& msg);
