#pragma once
#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "vxtrace/CANTraceMessageBase.h"

// A traced CCP answer or data frame from the ECU ("MSGID_CCP_DTO"); the same body as
// CCP_CRO_Message, and the same members. Byte 0 of the data is the PID: 0xFF (command return) and
// 0xFE (event) both count as command return messages, every other PID as DAQ data.
class VXTRACE_API CCP_DTO_Message : public CANTraceMessageBase {
 public:
  enum cmdReturnCode_t : uint8_t {
    CMD_OK = 0x00,
    ERR_C1_CMD_BUSY = 0x10,
    ERR_C1_DAQ_BUSY = 0x11,
    ERR_C1_KEY_REQUEST = 0x18,
    ERR_C1_STATUS_REQUEST = 0x19,
    ERR_C2_COLD_START_REQUEST = 0x20,
    ERR_C2_CAL_INIT_REQUEST = 0x21,
    ERR_C2_DAQ_INIT_REQUEST = 0x22,
    ERR_C2_CODE_REQUEST = 0x23,
    ERR_C3_CMD_UNKNOWN = 0x30,
    ERR_C3_CMD_SYNTAX = 0x31,
    ERR_C3_OUT_OF_RANGE = 0x32,
    ERR_C3_ACCESS_DENIED = 0x33,
    ERR_C3_OVERLOAD = 0x34,
    ERR_C3_ACCESS_LOCKED = 0x35,
    ERR_C3_RSC_FCT_NOT_AVAILABLE = 0x36
  };
  static constexpr uint8_t PID_TYPE_CRM = 254;
  static constexpr uint8_t PID_TYPE_DAQ = 253;

  uint8_t ecuChannel;  // zero-based
  // Whether the identifier word carries bit 31 (29-bit identifier).
  bool extendedId;

  explicit CCP_DTO_Message(unsigned long long timeStamp = 0);
  CCP_DTO_Message(unsigned long long timeStamp, uint8_t ecuChannel, uint8_t channel,
                  canframe_t frame, cantype_t type, uint32_t id, bool extendedId,
                  const std::vector<uint8_t>& data);
  CCP_DTO_Message(const unsigned char* data, unsigned int length);

  // The caller owns the result.
  static MessageBase* readFromByteArray(const unsigned char* data, unsigned int length);

  MessageBase* clone() const override;
  // Returns getSize() when written, else 0.
  unsigned int writeToByteArray(unsigned char*& out, unsigned int room,
                                bool withSync) const override;
  // 21 + length, 17 for an ERROR frame: two more than the body.
  unsigned int getSize() const override;
  bool operator==(const MessageBase& other) const override;
  void print(std::ostream& os) const override;
  std::string toString() const override;
  std::string getSourceChannel() const override;
  uint64_t getSourceChannelID() const override;
  using CANTraceMessageBase::cascadeChannel;
  void cascadeChannel(unsigned short ecuOffset, unsigned short canOffset);
  void set(const CANTraceMessageBase* can);

  // 254 for PID 0xFF or 0xFE, 253 otherwise.
  uint8_t getPidType() const;
  // Byte 1 of a command return message, else 0.
  cmdReturnCode_t getCmdReturnCode() const;
  // Byte 2 (the command counter) of a command return message, else 0.
  uint8_t getCTR() const;
  // Parameter bytes: after the first three of a command return message (none when it holds
  // fewer), else all data bytes.
  unsigned int getParamDataBytesSize() const;
  std::vector<uint8_t> getParamDataBytes() const;
};

VXTRACE_API std::ostream& operator<<(std::ostream& os, CCP_DTO_Message::cmdReturnCode_t code);
VXTRACE_API std::ostream& operator<<(std::ostream& os, const CCP_DTO_Message& msg);
