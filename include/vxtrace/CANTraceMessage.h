#pragma once
#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "vxtrace/CANStartStopMessage.h"
#include "vxtrace/CANTraceMessageBase.h"

// Classic CAN record ("MSGID_CAN"): 16-bit identifier field, type always STANDARD.
// Body: channel, frame, state, length, then (not for ERROR frames) the identifier big-endian
// and the data bytes.
class VXTRACE_API CANTraceMessage : public CANTraceMessageBase {
 public:
  explicit CANTraceMessage(unsigned long long timeStamp = 0);
  // timeStamp in microseconds; at most 64 data bytes are kept.
  CANTraceMessage(unsigned long long timeStamp, uint8_t channel, canframe_t frame, uint8_t state,
                  uint32_t id, const std::vector<uint8_t>& data);
  CANTraceMessage(unsigned long long timeStamp, uint8_t channel, canframe_t frame, uint8_t state,
                  uint32_t id, const uint8_t* data, unsigned int dataLength);
  // data starts at the size field. Accepts any byte values; bytes beyond length read as 0.
  CANTraceMessage(const unsigned char* data, unsigned int length);

  // The caller owns the result.
  static MessageBase* readFromByteArray(const unsigned char* data, unsigned int length);

  MessageBase* clone() const override;
  // Returns getSize() (not the bytes written) when the frame fits, else 0.
  unsigned int writeToByteArray(unsigned char*& out, unsigned int room,
                                bool withSync) const override;
  // 16 for an ERROR frame, 18 + length otherwise.
  unsigned int getSize() const override;
  using CANTraceMessageBase::operator==;
  // Against a serialised record (from the size field, no sync marker): identifier, time stamp,
  // channel, frame, state, length, 16-bit CAN identifier and data. False when bytes holds fewer
  // bytes than that.
  bool operator==(const std::vector<unsigned char>& bytes) const;
  // Start/stop trigger test: id, channel and length equal the filter's, and every data byte
  // masked with the filter's mask equals its value byte.
  bool operator==(const canInfo_t& filter) const;
  void print(std::ostream& os) const override;
  std::string toString() const override;
  // Adds the low 8 bits of offset to the channel, modulo 256.
  void cascadeChannel(unsigned short offset) override;

 protected:
  // For records that share this layout under another identifier.
  CANTraceMessage(msgid_t msgId, unsigned long long timeStamp);
};

VXTRACE_API std::ostream& operator<<(std::ostream& os, const CANTraceMessage& msg);
