#pragma once
#include "vxtrace/VXPMessageBase.h"

// A request of a client ("MSGID_VXP_CLIENT_REQUEST"). Body: identifier byte, then payload.
class VXTRACE_API VXPMessageRequest : public VXPMessageBase {
 public:
  explicit VXPMessageRequest(vxpMsgID_t id);
  VXPMessageRequest(vxpMsgID_t id, const uint8_t* payload, unsigned int length);

  // The request decoder: null below 15 bytes, otherwise the class of the identifier (a plain
  // request for identifiers without one). The caller owns the result.
  static MessageBase* readFromByteArray(const unsigned char* data, unsigned int length);

  MessageBase* clone() const override;
  // Returns getSize() when the frame fits (not the bytes written), else 0.
  unsigned int writeToByteArray(unsigned char*& out, unsigned int room,
                                bool withSync) const override;
  // 13 + payload length.
  unsigned int getSize() const override;
  bool operator==(const MessageBase& other) const override;
  void print(std::ostream& os) const override;
  std::string toString() const override;

 protected:
  // The typed fields after "[name] "; the plain request has none.
  virtual void printFields(std::ostream& os) const;
};

VXTRACE_API std::ostream& operator<<(std::ostream& os, const VXPMessageRequest& msg);
