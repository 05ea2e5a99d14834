#pragma once
#include <cstdint>
#include <ostream>
#include <string>

#include "vxtrace/MessageBase.h"

// MOST or FlexRay send messages that could not be sent between two times ("MSGID_LOST").
class VXTRACE_API LostMessage : public MessageBase {
 public:
  enum failedMsg_t : uint8_t {
    FAILED_MOST150 = 0,
    FAILED_MOST50 = 1,
    FAILED_MOST25 = 2,
    FAILED_FLEX = 16
  };
  enum failedMsgSub_t : uint8_t {
    FAILED_SUB_CTRL = 0,
    FAILED_SUB_NET = 1,
    FAILED_SUB_MDP = 2,
    FAILED_SUB_MEP = 3,
    FAILED_SUB_FLEX = 16
  };

  failedMsg_t failedMsg;
  failedMsgSub_t failedMsgSub;
  uint64_t startTime;  // microseconds since the epoch, UTC
  uint64_t stopTime;   // microseconds since the epoch, UTC
  uint32_t numFailed;

  LostMessage(unsigned long long ts, failedMsg_t failedMsg, failedMsgSub_t failedMsgSub,
              uint64_t startTime, uint64_t stopTime, uint32_t numFailed);
  // data starts at the size field; no reject path, bytes beyond length read as 0.
  LostMessage(const unsigned char* data, unsigned int length);

  // The caller owns the result.
  static MessageBase* readFromByteArray(const unsigned char* data, unsigned int length);

  MessageBase* clone() const override;
  // Returns 36 when written, 0 (nothing written, out unchanged) when room is short.
  unsigned int writeToByteArray(unsigned char*& out, unsigned int room,
                                bool withSync) const override;
  unsigned int getSize() const override;
  // Always false, also against itself or a clone: lost reports are never merged as duplicates.
  bool operator==(const MessageBase& other) const override;
  void print(std::ostream& os) const override;
  std::string toString() const override;
};

VXTRACE_API std::ostream& operator<<(std::ostream& os, const LostMessage& msg);
VXTRACE_API std::ostream& operator<<(std::ostream& os, LostMessage::failedMsg_t v);
VXTRACE_API std::ostream& operator<<(std::ostream& os, LostMessage::failedMsgSub_t v);
