#pragma once
#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "vxtrace/Export.h"
#include "vxtrace/MessageBase.h"

// One CAN start/stop trigger condition: a frame matches when its channel, identifier and length
// equal channel, canId and dlc and every data byte masked with mask equals value.
struct VXTRACE_API canInfo_t {
  uint8_t channel = 0;
  uint16_t canId = 0;
  uint8_t dlc = 0;  // at most 8
  uint8_t mask[8] = {};
  uint8_t value[8] = {};
};

// "channel=N, canId=0x.., dlc=N, mask=<16 hex digits>, value=<16 hex digits>".
VXTRACE_API std::ostream& operator<<(std::ostream& os, const canInfo_t& info);

// The trigger conditions that start or stop recording ("MSGID_CANSTARTSTOP").
// Body: type (1 byte), then one 20-byte entry per condition: channel, canId (big-endian 16-bit),
// dlc, 8 mask bytes, 8 value bytes.
class VXTRACE_API CANStartStopMessage : public MessageBase {
 public:
  uint32_t type;  // 0 start, any other value stop; one byte on the wire
  std::vector<canInfo_t> conditions;

  // timeStamp in microseconds.
  explicit CANStartStopMessage(unsigned long long timeStamp = 0, uint32_t type = 0,
                               const std::vector<canInfo_t>& conditions = {});
  // data starts at the size field. Never rejects: entries are read while their first byte lies
  // inside length, a cut entry with its missing bytes as 0; dlc is cut to 8 and mask and value
  // bytes beyond it are zero.
  CANStartStopMessage(const unsigned char* data, unsigned int length);

  // The caller owns the result.
  static MessageBase* readFromByteArray(const unsigned char* data, unsigned int length);

  MessageBase* clone() const override;
  unsigned int writeToByteArray(unsigned char*& out, unsigned int room,
                                bool withSync) const override;
  // 13 + 20 per condition.
  unsigned int getSize() const override;
  // Never true, not even against a copy.
  bool operator==(const MessageBase& other) const override;
  void print(std::ostream& os) const override;
  std::string toString() const override;
};

VXTRACE_API std::ostream& operator<<(std::ostream& os, const CANStartStopMessage& msg);
