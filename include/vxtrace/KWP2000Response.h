#pragma once
#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "vxtrace/MessageBase.h"

// A traced KWP2000 diagnostic response ("MSGID_KWP2000_RESPONSE"). Body: the service byte, then the
// rest of the diagnostic message. Deliberately not registered: decode it with readFromByteArray or
// register that creator with MessageBase::registerMessage.
class VXTRACE_API KWP2000Response : public MessageBase {
 public:
  // Negative-response codes.
  enum resErr_t : uint32_t {
    KWP_NO_ERR = 0x00,
    KWP_RES_ERR_GENERAL = 0x10,
    KWP_RES_ERR_SERVICE_NOT_SUPPORTED = 0x11,
    KWP_RES_ERR_SUBFCT_NOT_SUPPORTED = 0x12,
    KWP_RES_ERR_BUSY = 0x21,
    KWP_RES_ERR_SECURITY_ACCESS_DENIED = 0x33,
    KWP_RES_ERR_INVALID_KEY = 0x35,
    KWP_RES_ERR_RES_PENDING = 0x78
  };

  uint8_t response;           // first response byte: 0x7F for a negative response, else SID + 0x40
  std::vector<uint8_t> data;  // the message bytes after the service byte

  // timeStamp in microseconds.
  KWP2000Response(unsigned long long timeStamp, uint8_t response, const std::vector<uint8_t>& data);
  // data starts at the size field; bytes from offset 15 on are the message data.
  KWP2000Response(const unsigned char* data, unsigned int length);

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

VXTRACE_API std::ostream& operator<<(std::ostream& os, KWP2000Response::resErr_t code);
VXTRACE_API std::ostream& operator<<(std::ostream& os, const KWP2000Response& msg);
