#pragma once
#include <ostream>
#include <string>

#include "vxtrace/MessageBase.h"

// A record that carries nothing but its identifier and time stamp (start, stop, time jump...).
template <msgid_t N>
class VXTRACE_API SimpleMessage : public MessageBase {
 public:
  static const char* messageName;  // printed name of the instance, e.g. "START"

  explicit SimpleMessage(unsigned long long ts) : MessageBase(N, ts) {}

  // Header only; the caller owns the result.
  static MessageBase* readFromByteArray(const unsigned char* data, unsigned int length);
  static const char* getMessageName() { return messageName; }

  MessageBase* clone() const override { return new SimpleMessage<N>(*this); }
  unsigned int writeToByteArray(unsigned char*& out, unsigned int room,
                                bool withSync) const override {
    return MessageBase::writeToByteArray(out, room, withSync);
  }
  unsigned int getSize() const override { return 12; }
  // Identifiers only; time stamps are not compared.
  bool operator==(const MessageBase& other) const override;
  void print(std::ostream& os) const override;
  std::string toString() const override;
};

template <msgid_t N>
std::ostream& operator<<(std::ostream& os, const SimpleMessage<N>& msg) {
  msg.print(os);
  return os;
}

template <>
const char* SimpleMessage<MSGID_CONFIGURATIONDATA>::messageName;
template <>
const char* SimpleMessage<MSGID_TIMEJUMP>::messageName;
template <>
const char* SimpleMessage<MSGID_DATALOGGINGSTOPPED>::messageName;
template <>
const char* SimpleMessage<MSGID_DATALOGGINGSTARTED>::messageName;
template <>
const char* SimpleMessage<MSGID_STARTUP>::messageName;
template <>
const char* SimpleMessage<MSGID_TRIGGERCLEAR>::messageName;
template <>
const char* SimpleMessage<MSGID_TIMEZONE>::messageName;
template <>
const char* SimpleMessage<MSGID_CUSTOMER>::messageName;
template <>
const char* SimpleMessage<MSGID_GETVERSION>::messageName;
template <>
const char* SimpleMessage<MSGID_VERSION>::messageName;
template <>
const char* SimpleMessage<MSGID_GETTIME>::messageName;
template <>
const char* SimpleMessage<MSGID_BYTESTREAM>::messageName;
template <>
const char* SimpleMessage<MSGID_START>::messageName;
template <>
const char* SimpleMessage<MSGID_STOP>::messageName;

// The library builds every instance; applications use these.
extern template class SimpleMessage<MSGID_CONFIGURATIONDATA>;
extern template class SimpleMessage<MSGID_TIMEJUMP>;
extern template class SimpleMessage<MSGID_DATALOGGINGSTOPPED>;
extern template class SimpleMessage<MSGID_DATALOGGINGSTARTED>;
extern template class SimpleMessage<MSGID_STARTUP>;
extern template class SimpleMessage<MSGID_TRIGGERCLEAR>;
extern template class SimpleMessage<MSGID_TIMEZONE>;
extern template class SimpleMessage<MSGID_CUSTOMER>;
extern template class SimpleMessage<MSGID_GETVERSION>;
extern template class SimpleMessage<MSGID_VERSION>;
extern template class SimpleMessage<MSGID_GETTIME>;
extern template class SimpleMessage<MSGID_BYTESTREAM>;
extern template class SimpleMessage<MSGID_START>;
extern template class SimpleMessage<MSGID_STOP>;
