#pragma once
#include <ostream>
#include <string>

#include "vxtrace/SimpleMessage.h"

// A record that carries one text (time zone, version, configuration...); the string part is the
// text, stored unterminated from body offset 0 to the end of the frame.
template <msgid_t N>
class VXTRACE_API StringMessageBase : public SimpleMessage<N>, public std::string {
 public:
  StringMessageBase(unsigned long long ts, const std::string& text)
      : SimpleMessage<N>(ts), std::string(text) {}

  // The caller owns the result.
  static MessageBase* readFromByteArray(const unsigned char* data, unsigned int length);

  MessageBase* clone() const override { return new StringMessageBase<N>(*this); }
  unsigned int writeToByteArray(unsigned char*& out, unsigned int room,
                                bool withSync) const override;
  unsigned int getSize() const override {
    return 12 + static_cast<unsigned int>(std::string::size());
  }
  // Identifier and text; time stamps are not compared.
  bool operator==(const MessageBase& other) const override;
  void print(std::ostream& os) const override;
  std::string toString() const override;
};

template <msgid_t N>
std::ostream& operator<<(std::ostream& os, const StringMessageBase<N>& msg) {
  msg.print(os);
  return os;
}

extern template class StringMessageBase<MSGID_CONFIGURATIONDATA>;
extern template class StringMessageBase<MSGID_TIMEZONE>;
extern template class StringMessageBase<MSGID_VERSION>;
extern template class StringMessageBase<MSGID_BYTESTREAM>;
