#pragma once
#include <cstdint>
#include <ostream>
#include <string>
#include <type_traits>
#include <vector>

#include "vxtrace/CANTraceMessageBase.h"

// A traced CCP command frame from the calibration master ("MSGID_CCP_CRO"): a CAN frame plus the
// ECU channel it belongs to. Body: channel and frame nibbles, type and length nibbles, ECU
// channel, then (not for ERROR frames) the identifier word, bit 31 marking a 29-bit identifier,
// and the data bytes. The size field declares two bytes more than the body holds.
class VXTRACE_API CCP_CRO_Message : public CANTraceMessageBase {
 public:
  enum cmdCode_t : uint8_t {
    CONNECT = 0x01,
    SET_MTA = 0x02,
    DNLOAD = 0x03,
    UPLOAD = 0x04,
    TEST = 0x05,
    START_STOP = 0x06,
    DISCONNECT = 0x07,
    START_STOP_ALL = 0x08,
    GET_ACTIVE_CAL_PAGE = 0x09,
    SET_S_STATUS = 0x0C,
    GET_S_STATUS = 0x0D,
    BUILD_CHKSUM = 0x0E,
    SHORT_UP = 0x0F,
    CLEAR_MEMORY = 0x10,
    SELECT_CAL_PAGE = 0x11,
    GET_SEED = 0x12,
    UNLOCK = 0x13,
    GET_DAQ_SIZE = 0x14,
    SET_DAQ_PTR = 0x15,
    WRITE_DAQ = 0x16,
    EXCHANGE_ID = 0x17,
    PROGRAM = 0x18,
    MOVE = 0x19,
    GET_CCP_VERSION = 0x1B,
    DIAG_SERVICE = 0x20,
    ACTION_SERVICE = 0x21,
    PROGRAM_6 = 0x22,
    DNLOAD_6 = 0x23
  };

  uint8_t ecuChannel;  // zero-based
  // Whether the identifier word carries bit 31 (29-bit identifier); kept so that a frame
  // re-encodes as it was read.
  bool extendedId;

  explicit CCP_CRO_Message(unsigned long long timeStamp = 0);
  // timeStamp in microseconds; at most 64 data bytes are kept.
  CCP_CRO_Message(unsigned long long timeStamp, uint8_t ecuChannel, uint8_t channel,
                  canframe_t frame, cantype_t type, uint32_t id, bool extendedId,
                  const std::vector<uint8_t>& data);
  // data starts at the size field. A frame kind above 3 throws for "canframe_t"; bytes beyond
  // length read as 0.
  CCP_CRO_Message(const unsigned char* data, unsigned int length);

  // The caller owns the result.
  static MessageBase* readFromByteArray(const unsigned char* data, unsigned int length);

  MessageBase* clone() const override;
  // Returns getSize() when written, else 0.
  unsigned int writeToByteArray(unsigned char*& out, unsigned int room,
                                bool withSync) const override;
  // 21 + length, 17 for an ERROR frame: two more than the body.
  unsigned int getSize() const override;
  // Same class, CAN fields (as CANTraceMessageBase::equal), ECU channel, identifier width and
  // time stamp.
  bool operator==(const MessageBase& other) const override;
  void print(std::ostream& os) const override;
  std::string toString() const override;
  // "CCP_XCP #" and the zero-based ECU channel.
  std::string getSourceChannel() const override;
  // Low word 0x0B00 | ECU channel, high word sourceWord.
  uint64_t getSourceChannelID() const override;
  using CANTraceMessageBase::cascadeChannel;
  // Adds ecuOffset to the ECU channel and canOffset to the CAN channel, both modulo 256.
  void cascadeChannel(unsigned short ecuOffset, unsigned short canOffset);

  // Copies channel, frame, state, type, length, identifier and data of a traced frame; the
  // identifier width follows its type. Null is ignored.
  void set(const CANTraceMessageBase* can);
};

VXTRACE_API std::ostream& operator<<(std::ostream& os, CCP_CRO_Message::cmdCode_t code);
VXTRACE_API std::ostream& operator<<(std::ostream& os, const CCP_CRO_Message& msg);
