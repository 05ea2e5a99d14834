#pragma once
#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "vxtrace/MessageBase.h"

// A traced UDS diagnostic request ("MSGID_UDS_REQUEST"). Body: the service byte, then the rest of
// the diagnostic message. Deliberately not registered: decode it with readFromByteArray or register
// that creator with MessageBase::registerMessage.
class VXTRACE_API UDSRequest : public MessageBase {
 public:
  enum udsSid_t : uint32_t {
    UDS_SID_UNKNOWN = 0x00,
    UDS_SID_DIAG_SESSION_CTR = 0x10,
    UDS_SID_ECU_RESET = 0x11,
    UDS_SID_CLEAR_DIAG_INFO = 0x14,
    UDS_SID_READ_DTC_INFO = 0x19,
    UDS_SID_READ_DATA_BY_ID = 0x22,
    UDS_SID_SECURITY_ACCESS = 0x27,
    UDS_SID_COMMUNICATION_CTR = 0x28,
    UDS_SID_TESTER_PRESENT = 0x3E,
    UDS_SID_SECURED_DATA_TRANSMISSION = 0x84
  };

  udsSid_t sid;               // one byte on the wire
  std::vector<uint8_t> data;  // the message bytes after the service byte

  // timeStamp in microseconds.
  UDSRequest(unsigned long long timeStamp, udsSid_t sid, const std::vector<uint8_t>& data);
  // data starts at the size field; bytes from offset 15 on are the message data.
  UDSRequest(const unsigned char* data, unsigned int length);

  // Null (no exception) for a length below 15; else a new record the caller owns.
  static MessageBase* readFromByteArray(const unsigned char* data, unsigned int length);

  MessageBase* clone() const override;
  // Returns getSize() when written, else 0.
  unsigned int writeToByteArray(unsigned char*& out, unsigned int room,
                                bool withSync) const override;
  // 13 + data bytes.
  unsigned int getSize() const override;
  // Same class, service byte, data and time stamp.
  bool operator==(const MessageBase& other) const override;
  void print(std::ostream& os) const override;
  std::string toString() const override;
};

VXTRACE_API std::ostream& operator<<(std::ostream& os, UDSRequest::udsSid_t sid);
VXTRACE_API std::ostream& operator<<(std::ostream& os, const UDSRequest& msg);
