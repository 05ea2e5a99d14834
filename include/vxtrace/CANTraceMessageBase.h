#pragma once
#include <cstdint>
#include <ostream>
#include <string>

#include "vxtrace/MessageBase.h"

// What a CAN record stands for. Stored as a 32-bit value; decoded classic frames may carry any
// byte here, so values outside the table are legal and print as "<UNKNOWN>".
enum VXTRACE_API canframe_t : uint32_t {
  CAN_FRAME_STANDARD = 0,   // received frame
  CAN_FRAME_ERROR = 1,      // error frame
  CAN_FRAME_TXMESSAGE = 2,  // frame the logger sent
  CAN_FRAME_TXREQUEST = 3   // transmit request
};

// Identifier width and CAN FD flag of a frame. Other values print as "UNKNOWN".
enum VXTRACE_API cantype_t : uint32_t {
  CAN_TYPE_STANDARD = 0,  // 11-bit identifier, classic
  CAN_TYPE_EXTENDED = 1,  // 29-bit identifier, classic
  CAN_TYPE_FD_STD = 2,    // 11-bit identifier, CAN FD
  CAN_TYPE_FD_EXT = 3     // 29-bit identifier, CAN FD
};

// Error code in bits 0..3 of a frame's state byte. Values from 8 print as "<unknown:N>".
enum VXTRACE_API canstaterr_t : uint32_t {
  CAN_ERR_NO = 0,
  CAN_ERR_STUFF = 1,
  CAN_ERR_FORMAT = 2,
  CAN_ERR_ACK = 3,
  CAN_ERR_BIT1 = 4,
  CAN_ERR_BIT0 = 5,
  CAN_ERR_CRC = 6,
  CAN_ERR_OVERRUN = 7
};

VXTRACE_API std::ostream& operator<<(std::ostream& os, canframe_t frame);
VXTRACE_API std::ostream& operator<<(std::ostream& os, cantype_t type);
VXTRACE_API std::ostream& operator<<(std::ostream& os, canstaterr_t err);

// Fields and comparisons shared by the classic and the extended CAN record.
class VXTRACE_API CANTraceMessageBase : public MessageBase {
 public:
  // CAN FD DLC code 0..15 to its number of data bytes.
  static const uint8_t numDlcBytes[16];

  uint8_t channel;  // zero-based logger CAN channel
  canframe_t frame;
  uint8_t state;  // bits 0..3 canstaterr_t, 4..5 reserved (0), 6 BRS, 7 ESI
  cantype_t type;
  uint8_t length;  // number of data bytes (not a DLC code); at most 64 are used
  uint32_t id;     // CAN identifier without flag bits
  uint8_t data[64];

  // Channel 0, STANDARD frame, state 0, EXTENDED type, no data, id 0.
  CANTraceMessageBase(msgid_t msgId, unsigned long long timeStamp);
  ~CANTraceMessageBase() override;

  unsigned int getSize() const override;
  // Equal to any classic or extended CAN record (identifier 1 or 11) with the same id, channel,
  // length, data, frame, state and time stamp; type and headerWord are not compared.
  bool operator==(const MessageBase& other) const override;
  // "CAN #" and the zero-based channel.
  std::string getSourceChannel() const override;
  // Low word 0x100 | channel (bus CAN), high word sourceWord.
  uint64_t getSourceChannelID() const override;

  // Channel, id, length, data, frame and state; time and type are ignored.
  bool equal(const CANTraceMessageBase& other) const;
  // The mask is applied to other only, never to this record: this.x == (mask.x & other.x).
  // A null mask or one whose length differs from this record's gives equal(other).
  bool equal(const CANTraceMessageBase& other, const CANTraceMessageBase* mask) const;

 protected:
  // Number of data bytes actually held: length clamped to the data area.
  unsigned int dataLength() const { return length < sizeof data ? length : sizeof data; }
  // Copies up to 64 bytes into data and sets length accordingly.
  void setData(const uint8_t* bytes, unsigned int count);
};
