#pragma once
#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "vxtrace/LINInterface.h"
#include "vxtrace/MessageBase.h"

// One LIN frame with its timing measurements, or a wake-up pulse ("MSGID_LIN").
// Body: channel, status, bitTime, frameTime, breakTime, delimiterTime, headerTime (16-bit,
// big-endian), linId, data count n, n data bytes. Status bit 0 marks a wake-up pulse, whose
// record carries only channel, status, bitTime and the pulse length (in frameTime).
class VXTRACE_API LINTraceMessage : public MessageBase {
 public:
  // kind: 0 and 1 frames, 2 wake-up pulse, 14 prints only its closing bracket. Decoding
  // produces 0 and 2.
  enum : int32_t { KIND_FRAME = 0, KIND_WAKEUP = 2 };
  static constexpr uint8_t STATUS_WAKEUP = 0x01;

  std::vector<uint8_t> data;  // up to 8 data bytes and the checksum byte after decoding
  int32_t kind;
  uint8_t channel;  // zero-based
  uint8_t status;
  // Times as the recording hardware measures them; frameTime is the pulse length of a
  // wake-up record.
  uint16_t bitTime;
  uint16_t frameTime;
  uint16_t breakTime;
  uint16_t delimiterTime;
  uint16_t headerTime;
  uint8_t linId;

  explicit LINTraceMessage(unsigned long long timeStamp = 0);
  // A frame (kind 0); timeStamp in microseconds. At most 255 data bytes are kept.
  LINTraceMessage(unsigned long long timeStamp, uint8_t channel, uint8_t linId,
                  const std::vector<uint8_t>& data, uint16_t bitTime = 0, uint16_t frameTime = 0,
                  uint16_t breakTime = 0, uint16_t delimiterTime = 0, uint16_t headerTime = 0);
  // data starts at the size field. A frame record of 27 bytes or fewer throws the short-frame
  // InvalidMessageException; a wake-up record is taken as it is, missing bytes as 0.
  LINTraceMessage(const unsigned char* data, unsigned int length);

  // A wake-up pulse record (kind 2, status bit 0 set).
  static LINTraceMessage wakeUpPulse(unsigned long long timeStamp, uint8_t channel,
                                     uint16_t bitTime, uint16_t pulseLength);

  // The caller owns the result.
  static MessageBase* readFromByteArray(const unsigned char* data, unsigned int length);

  MessageBase* clone() const override;
  unsigned int writeToByteArray(unsigned char*& out, unsigned int room,
                                bool withSync) const override;
  // 26 + number of data bytes.
  unsigned int getSize() const override;
  // Time stamp, channel, status, the five times, linId and data; kind is not compared.
  bool operator==(const MessageBase& other) const override;
  void print(std::ostream& os) const override;
  std::string toString() const override;
  // "LIN #" and the zero-based channel.
  std::string getSourceChannel() const override;
  uint64_t getSourceChannelID() const override;
  // Adds the low 8 bits of offset to the channel, modulo 256.
  void cascadeChannel(unsigned short offset) override;
};

VXTRACE_API std::ostream& operator<<(std::ostream& os, const LINTraceMessage& msg);
