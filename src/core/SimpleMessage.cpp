// The library's instances of the simple and string record templates.
#include <memory>
#include <sstream>

#include "util/Record.h"
#include "vxtrace/StringMessageBase.h"

using namespace vxtrace::detail;

template <msgid_t N>
MessageBase* SimpleMessage<N>::readFromByteArray(const unsigned char* data, unsigned int length) {
  SimpleMessage<N>* msg = new SimpleMessage<N>(0);
  ByteReader in(data, length);
  readFrameHeader(in, *msg);
  return msg;
}

template <msgid_t N>
bool SimpleMessage<N>::operator==(const MessageBase& other) const {
  return sameClass(*this, other) != nullptr && other.msgId == msgId;
}

template <msgid_t N>
void SimpleMessage<N>::print(std::ostream& os) const {
  RecordLine line(os, *this);
  os << "  " << messageName;
}

template <msgid_t N>
std::string SimpleMessage<N>::toString() const {
  return vxtrace::detail::printedText(*this);
}

template <msgid_t N>
MessageBase* StringMessageBase<N>::readFromByteArray(const unsigned char* data,
                                                     unsigned int length) {
  std::unique_ptr<StringMessageBase<N>> msg(new StringMessageBase<N>(0, std::string()));
  ByteReader in(data, length);
  readFrameHeader(in, *msg);
  const std::size_t n = in.remaining();  // the text runs to the end of the frame
  if (n != 0) msg->assign(reinterpret_cast<const char*>(in.bytes(n)), n);
  return msg.release();
}

template <msgid_t N>
unsigned int StringMessageBase<N>::writeToByteArray(unsigned char*& out, unsigned int room,
                                                    bool withSync) const {
  return writeRecord(*this, out, room, withSync, [&](ByteWriter& w) {
    w.bytes(std::string::data(), std::string::size());
  });
}

template <msgid_t N>
bool StringMessageBase<N>::operator==(const MessageBase& other) const {
  auto* o = sameClass(*this, other);
  return o != nullptr && o->msgId == this->msgId &&
         static_cast<const std::string&>(*o) == static_cast<const std::string&>(*this);
}

template <msgid_t N>
void StringMessageBase<N>::print(std::ostream& os) const {
  std::ostringstream head;
  head << static_cast<const MessageBase&>(*this) << "  " << SimpleMessage<N>::messageName;
  StreamStateGuard guard(os);
  os << std::left << std::setfill(' ') << std::setw(40) << head.str() << "| "
     << static_cast<const std::string&>(*this);
}

template <msgid_t N>
std::string StringMessageBase<N>::toString() const {
  return vxtrace::detail::printedText(*this);
}

template <>
const char* SimpleMessage<MSGID_CONFIGURATIONDATA>::messageName = "SYS CONFIG";
template <>
const char* SimpleMessage<MSGID_TIMEJUMP>::messageName = "TIME JUMP";
template <>
const char* SimpleMessage<MSGID_DATALOGGINGSTOPPED>::messageName = "SYSTEM: DATALOGGING STOPPED";
template <>
const char* SimpleMessage<MSGID_DATALOGGINGSTARTED>::messageName = "SYSTEM: DATALOGGING STARTED";
template <>
const char* SimpleMessage<MSGID_STARTUP>::messageName = "SYSTEM STARTUP";
template <>
const char* SimpleMessage<MSGID_TRIGGERCLEAR>::messageName = "TRIGGER CLEAR";
template <>
const char* SimpleMessage<MSGID_TIMEZONE>::messageName = "TIME ZONE";
template <>
const char* SimpleMessage<MSGID_CUSTOMER>::messageName = "CUSTOMER RESERVED";
template <>
const char* SimpleMessage<MSGID_GETVERSION>::messageName = "GET VERSION";
template <>
const char* SimpleMessage<MSGID_VERSION>::messageName = "VERSION";
template <>
const char* SimpleMessage<MSGID_GETTIME>::messageName = "GET TIME";
template <>
const char* SimpleMessage<MSGID_BYTESTREAM>::messageName = "BYTE STREAM";
template <>
const char* SimpleMessage<MSGID_START>::messageName = "START";
template <>
const char* SimpleMessage<MSGID_STOP>::messageName = "STOP";

template class SimpleMessage<MSGID_CONFIGURATIONDATA>;
template class SimpleMessage<MSGID_TIMEJUMP>;
template class SimpleMessage<MSGID_DATALOGGINGSTOPPED>;
template class SimpleMessage<MSGID_DATALOGGINGSTARTED>;
template class SimpleMessage<MSGID_STARTUP>;
template class SimpleMessage<MSGID_TRIGGERCLEAR>;
template class SimpleMessage<MSGID_TIMEZONE>;
template class SimpleMessage<MSGID_CUSTOMER>;
template class SimpleMessage<MSGID_GETVERSION>;
template class SimpleMessage<MSGID_VERSION>;
template class SimpleMessage<MSGID_GETTIME>;
template class SimpleMessage<MSGID_BYTESTREAM>;
template class SimpleMessage<MSGID_START>;
template class SimpleMessage<MSGID_STOP>;

template class StringMessageBase<MSGID_CONFIGURATIONDATA>;
template class StringMessageBase<MSGID_TIMEZONE>;
template class StringMessageBase<MSGID_VERSION>;
template class StringMessageBase<MSGID_BYTESTREAM>;
