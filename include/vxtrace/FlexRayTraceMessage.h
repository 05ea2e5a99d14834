#pragma once
#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "vxtrace/MessageBase.h"

// One FlexRay frame or controller status event ("MSGID_FLEXRAY"), as the recording hardware
// delivers it. Body: statusWord, slotWord, cycleWord, then the payload words, all 16-bit
// big-endian. The size field declares one byte more than the body holds.
class VXTRACE_API FlexRayTraceMessage : public MessageBase {
 public:
  // Bits 15..11 of statusWord. Printed eleven characters wide; 0 and 9 or more print as
  // "UNKNOWN:" and the value in three places.
  enum status_t : uint16_t {
    STATUS_FRAME_DATA = 1,
    STATUS_FIFO_A_OVFL = 2,
    STATUS_FIFO_B_OVFL = 3,
    STATUS_ERROR = 4,
    STATUS_SYNC = 5,
    STATUS_NO_SYNC = 6,
    STATUS_STARTUP = 7,
    STATUS_RAW = 8
  };

  struct VXTRACE_API frame_t {
    std::vector<uint16_t> payload;
    uint16_t statusWord = 0;  // bits 15..11 status, 10..0 header CRC
    uint16_t slotWord = 0;    // bits 15..11 the frame's five status bits, 10..0 slot
    // bits 15..14 zero-based interface, 13 channel (0 A, 1 B), 12..7 cycle, 6..0 payload words
    uint16_t cycleWord = 0;

    // Writes the three words and the payload (6 + 2 * payload words bytes) and advances out;
    // the caller provides the room.
    void writeToByteArray(unsigned char*& out) const;
  };

  frame_t frame;

  explicit FlexRayTraceMessage(unsigned long long timeStamp = 0);
  // timeStamp in microseconds. cycleWord's low seven bits are set to the payload word count
  // (at most 127 words are kept); its other bits, statusWord and slotWord are composed from
  // the arguments. interfaceChannel: bits 1..2 the zero-based interface, bit 0 channel B.
  FlexRayTraceMessage(unsigned long long timeStamp, status_t status, uint16_t headerCrc,
                      uint8_t bits, uint16_t slot, uint8_t interfaceChannel, uint8_t cycle,
                      const std::vector<uint16_t>& payload);
  // data starts at the size field; missing bytes read as 0. The creator below refuses short
  // frames before this runs.
  FlexRayTraceMessage(const unsigned char* data, unsigned int length);

  // Null (no exception) for a frame shorter than 20 bytes or than its payload word count
  // announces; otherwise a new record owned by the caller.
  static MessageBase* readFromByteArray(const unsigned char* data, unsigned int length);

  MessageBase* clone() const override;
  // Returns the bytes written; the one declared byte beyond the body is zeroed, not counted.
  unsigned int writeToByteArray(unsigned char*& out, unsigned int room,
                                bool withSync) const override;
  // 19 + 2 * payload words.
  unsigned int getSize() const override;
  // Time stamp, the three words and the payload.
  bool operator==(const MessageBase& other) const override;
  void print(std::ostream& os) const override;
  std::string toString() const override;
  // "FlexRay #" and cycleWord >> 13 (interface and channel letter as one number).
  std::string getSourceChannel() const override;
  uint64_t getSourceChannelID() const override;
  // Adds offset to the three-bit source channel, wrapping within the three bits.
  void cascadeChannel(unsigned short offset) override;
};

VXTRACE_API std::ostream& operator<<(std::ostream& os, const FlexRayTraceMessage::status_t& s);
VXTRACE_API std::ostream& operator<<(std::ostream& os, const FlexRayTraceMessage& msg);
