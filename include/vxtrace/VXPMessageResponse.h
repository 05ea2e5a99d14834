#pragma once
#include <string>

#include "vxtrace/VXPMessageBase.h"

// The logger's answer ("MSGID_VXP_CLIENT_RESPONSE"). Body: own identifier (255), answered
// identifier, status, payload. Payload by status: OK the subclass's fields; PROGRESS percent,
// optional 1-byte-prefixed text, more data; ERROR error code, optional text, more data;
// NOTAVAILABLE anything.
class VXTRACE_API VXPMessageResponse : public VXPMessageBase {
 public:
  vxpMsgID_t answeredId;
  msgStatus_t status;

  VXPMessageResponse(vxpMsgID_t id, msgStatus_t status, const uint8_t* payload = nullptr,
                     unsigned int length = 0);

  // The response decoder: null below 17 bytes, otherwise the response class of the answered
  // identifier. The caller owns the result.
  static MessageBase* readFromByteArray(const unsigned char* data, unsigned int length);

  MessageBase* clone() const override;
  // Returns getSize() when the frame fits, else 0.
  unsigned int writeToByteArray(unsigned char*& out, unsigned int room,
                                bool withSync) const override;
  // 15 + payload length.
  unsigned int getSize() const override;
  bool operator==(const MessageBase& other) const override;
  void print(std::ostream& os) const override;
  std::string toString() const override;

  // Each replaces the status and the whole payload.
  void setProgressInfo(uint8_t percent, const std::string& text);
  void setProgressInfo(uint8_t percent, const std::string& text, uint16_t value);
  void setProgressInfo(uint8_t percent, const uint8_t* data, unsigned int length);
  void setErrorInfo(errorCode_t code, const std::string& text);
  void setErrorInfo(errorCode_t code, const uint8_t* data, unsigned int length);

 protected:
  // The subclass's fields, printed for status OK only.
  virtual void printFields(std::ostream& os) const;
};

VXTRACE_API std::ostream& operator<<(std::ostream& os, const VXPMessageResponse& msg);
