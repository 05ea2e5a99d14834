#pragma once
// The template families of the requests and responses that carry nothing but a few numbers, a
// text or a list. Every field lives in the payload: constructors from fields append them (big-
// endian, texts with their length prefix), constructors from bytes copy the payload and read
// them back out of it. Sizes and writers are those of VXPMessageRequest / VXPMessageResponse.
#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "vxtrace/VXPMessageRequest.h"
#include "vxtrace/VXPMessageResponse.h"

namespace vxtrace::detail {
// Numbers in decimal; one-byte values as numbers, not characters.
template <typename T>
void printVxpValue(std::ostream& os, T v) {
  os << '[' << +v << ']';
}
}  // namespace vxtrace::detail

// ---- requests ------------------------------------------------------------------------------

template <vxpMsgID_t ID>
class VXTRACE_API SimpleMessageRequest : public VXPMessageRequest {
 public:
  SimpleMessageRequest() : VXPMessageRequest(ID) {}
  SimpleMessageRequest(const uint8_t* data, unsigned int length)
      : VXPMessageRequest(ID, data, length) {}
  MessageBase* clone() const override { return new SimpleMessageRequest(*this); }
};

template <vxpMsgID_t ID, typename T>
class VXTRACE_API Simple1MessageRequest : public VXPMessageRequest {
 public:
  explicit Simple1MessageRequest(T v) : VXPMessageRequest(ID), value(v) { appendValue(v); }
  // A payload shorter than T leaves the value 0 and clears the valid flag.
  Simple1MessageRequest(const uint8_t* data, unsigned int length)
      : VXPMessageRequest(ID, data, length) {
    takeValue(0, value);
  }
  MessageBase* clone() const override { return new Simple1MessageRequest(*this); }
  T getValue() const { return value; }

 protected:
  void printFields(std::ostream& os) const override { vxtrace::detail::printVxpValue(os, value); }
  T value = 0;
};

template <vxpMsgID_t ID, typename T1, typename T2>
class VXTRACE_API Simple2MessageRequest : public Simple1MessageRequest<ID, T1> {
 public:
  Simple2MessageRequest(T1 v1, T2 v2) : Simple1MessageRequest<ID, T1>(v1), value2(v2) {
    this->appendValue(v2);
  }
  Simple2MessageRequest(const uint8_t* data, unsigned int length)
      : Simple1MessageRequest<ID, T1>(data, length) {
    this->takeValue(sizeof(T1), value2);
  }
  MessageBase* clone() const override { return new Simple2MessageRequest(*this); }
  T2 getValue2() const { return value2; }

 protected:
  void printFields(std::ostream& os) const override {
    Simple1MessageRequest<ID, T1>::printFields(os);
    vxtrace::detail::printVxpValue(os, value2);
  }
  T2 value2 = 0;
};

template <vxpMsgID_t ID, typename T1, typename T2, typename T3>
class VXTRACE_API Simple3MessageRequest : public Simple2MessageRequest<ID, T1, T2> {
 public:
  Simple3MessageRequest(T1 v1, T2 v2, T3 v3)
      : Simple2MessageRequest<ID, T1, T2>(v1, v2), value3(v3) {
    this->appendValue(v3);
  }
  Simple3MessageRequest(const uint8_t* data, unsigned int length)
      : Simple2MessageRequest<ID, T1, T2>(data, length) {
    this->takeValue(sizeof(T1) + sizeof(T2), value3);
  }
  MessageBase* clone() const override { return new Simple3MessageRequest(*this); }
  T3 getValue3() const { return value3; }

 protected:
  void printFields(std::ostream& os) const override {
    Simple2MessageRequest<ID, T1, T2>::printFields(os);
    vxtrace::detail::printVxpValue(os, value3);
  }
  T3 value3 = 0;
};

// A value and a text with a one-byte length prefix. The text may be left out altogether: a
// payload of just the value is valid with an empty text.
template <vxpMsgID_t ID, typename T>
class VXTRACE_API Simple2SMessageRequest : public Simple1MessageRequest<ID, T> {
 public:
  Simple2SMessageRequest(T v, const std::string& t) : Simple1MessageRequest<ID, T>(v), text(t) {
    this->appendText(t, 1);
  }
  Simple2SMessageRequest(const uint8_t* data, unsigned int length)
      : Simple1MessageRequest<ID, T>(data, length) {
    std::size_t next = 0;
    if (this->payload.size() != sizeof(T)) this->takeText(sizeof(T), 1, text, next);
  }
  MessageBase* clone() const override { return new Simple2SMessageRequest(*this); }
  const std::string& getText() const { return text; }

 protected:
  void printFields(std::ostream& os) const override {
    Simple1MessageRequest<ID, T>::printFields(os);
    os << '[' << text << ']';
  }
  std::string text;
};

// One text with an N-byte (1 or 2) big-endian length prefix.
template <vxpMsgID_t ID, unsigned N>
class VXTRACE_API StringMessageRequest : public VXPMessageRequest {
 public:
  explicit StringMessageRequest(const std::string& t) : VXPMessageRequest(ID), text(t) {
    appendText(t, N);
  }
  StringMessageRequest(const uint8_t* data, unsigned int length)
      : VXPMessageRequest(ID, data, length) {
    takeText(0, N, text, textEnd);
  }
  MessageBase* clone() const override { return new StringMessageRequest(*this); }
  const std::string& getText() const { return text; }

 protected:
  void printFields(std::ostream& os) const override { os << '[' << text << ']'; }
  std::string text;
  std::size_t textEnd = 0;  // payload offset after the text
};

template <vxpMsgID_t ID, unsigned N1, unsigned N2>
class VXTRACE_API String2MessageRequest : public StringMessageRequest<ID, N1> {
 public:
  String2MessageRequest(const std::string& t1, const std::string& t2)
      : StringMessageRequest<ID, N1>(t1), text2(t2) {
    this->appendText(t2, N2);
  }
  String2MessageRequest(const uint8_t* data, unsigned int length)
      : StringMessageRequest<ID, N1>(data, length) {
    std::size_t next = 0;
    if (this->valid) this->takeText(this->textEnd, N2, text2, next);
  }
  MessageBase* clone() const override { return new String2MessageRequest(*this); }
  const std::string& getText2() const { return text2; }

 protected:
  void printFields(std::ostream& os) const override {
    StringMessageRequest<ID, N1>::printFields(os);
    os << '[' << text2 << ']';
  }
  std::string text2;
};

// The whole payload is a sequence of T; a trailing part of an element clears the valid flag.
template <vxpMsgID_t ID, typename T>
class VXTRACE_API SimpleVectorMessageRequest : public VXPMessageRequest {
 public:
  explicit SimpleVectorMessageRequest(const std::vector<T>& v) : VXPMessageRequest(ID), values(v) {
    for (T e : v) appendValue(e);
  }
  SimpleVectorMessageRequest(const uint8_t* data, unsigned int length)
      : VXPMessageRequest(ID, data, length) {
    takeValues(values);
  }
  MessageBase* clone() const override { return new SimpleVectorMessageRequest(*this); }
  const std::vector<T>& getValues() const { return values; }

 protected:
  void printFields(std::ostream& os) const override {
    for (T e : values) vxtrace::detail::printVxpValue(os, e);
  }
  std::vector<T> values;
};

// ---- responses: the typed fields are read for status OK only -------------------------------

template <vxpMsgID_t ID>
class VXTRACE_API SimpleMessageResponse : public VXPMessageResponse {
 public:
  explicit SimpleMessageResponse(msgStatus_t s) : VXPMessageResponse(ID, s) {}
  SimpleMessageResponse(msgStatus_t s, const uint8_t* data, unsigned int length)
      : VXPMessageResponse(ID, s, data, length) {}
  MessageBase* clone() const override { return new SimpleMessageResponse(*this); }
};

template <vxpMsgID_t ID, typename T>
class VXTRACE_API Simple1MessageResponse : public VXPMessageResponse {
 public:
  Simple1MessageResponse(msgStatus_t s, T v) : VXPMessageResponse(ID, s), value(v) {
    appendValue(v);
  }
  Simple1MessageResponse(msgStatus_t s, const uint8_t* data, unsigned int length)
      : VXPMessageResponse(ID, s, data, length) {
    if (status == VXPSTATUS_OK) takeValue(0, value);
  }
  MessageBase* clone() const override { return new Simple1MessageResponse(*this); }
  T getValue() const { return value; }

 protected:
  void printFields(std::ostream& os) const override { vxtrace::detail::printVxpValue(os, value); }
  T value = 0;
};

template <vxpMsgID_t ID, typename T1, typename T2>
class VXTRACE_API Simple2MessageResponse : public Simple1MessageResponse<ID, T1> {
 public:
  Simple2MessageResponse(msgStatus_t s, T1 v1, T2 v2)
      : Simple1MessageResponse<ID, T1>(s, v1), value2(v2) {
    this->appendValue(v2);
  }
  Simple2MessageResponse(msgStatus_t s, const uint8_t* data, unsigned int length)
      : Simple1MessageResponse<ID, T1>(s, data, length) {
    if (this->status == VXPSTATUS_OK) this->takeValue(sizeof(T1), value2);
  }
  MessageBase* clone() const override { return new Simple2MessageResponse(*this); }
  T2 getValue2() const { return value2; }

 protected:
  void printFields(std::ostream& os) const override {
    Simple1MessageResponse<ID, T1>::printFields(os);
    vxtrace::detail::printVxpValue(os, value2);
  }
  T2 value2 = 0;
};

template <vxpMsgID_t ID, typename T1, typename T2, typename T3>
class VXTRACE_API Simple3MessageResponse : public Simple2MessageResponse<ID, T1, T2> {
 public:
  Simple3MessageResponse(msgStatus_t s, T1 v1, T2 v2, T3 v3)
      : Simple2MessageResponse<ID, T1, T2>(s, v1, v2), value3(v3) {
    this->appendValue(v3);
  }
  Simple3MessageResponse(msgStatus_t s, const uint8_t* data, unsigned int length)
      : Simple2MessageResponse<ID, T1, T2>(s, data, length) {
    if (this->status == VXPSTATUS_OK) this->takeValue(sizeof(T1) + sizeof(T2), value3);
  }
  MessageBase* clone() const override { return new Simple3MessageResponse(*this); }
  T3 getValue3() const { return value3; }

 protected:
  void printFields(std::ostream& os) const override {
    Simple2MessageResponse<ID, T1, T2>::printFields(os);
    vxtrace::detail::printVxpValue(os, value3);
  }
  T3 value3 = 0;
};

// A value and a text with an N-byte length prefix; unlike the request, the text is required.
template <vxpMsgID_t ID, typename T, unsigned N>
class VXTRACE_API Simple2SMessageResponse : public Simple1MessageResponse<ID, T> {
 public:
  Simple2SMessageResponse(msgStatus_t s, T v, const std::string& t)
      : Simple1MessageResponse<ID, T>(s, v), text(t) {
    this->appendText(t, N);
  }
  Simple2SMessageResponse(msgStatus_t s, const uint8_t* data, unsigned int length)
      : Simple1MessageResponse<ID, T>(s, data, length) {
    std::size_t next = 0;
    if (this->status == VXPSTATUS_OK) this->takeText(sizeof(T), N, text, next);
  }
  MessageBase* clone() const override { return new Simple2SMessageResponse(*this); }
  const std::string& getText() const { return text; }

 protected:
  void printFields(std::ostream& os) const override {
    Simple1MessageResponse<ID, T>::printFields(os);
    os << '[' << text << ']';
  }
  std::string text;
};

template <vxpMsgID_t ID, unsigned N>
class VXTRACE_API StringMessageResponse : public VXPMessageResponse {
 public:
  StringMessageResponse(msgStatus_t s, const std::string& t) : VXPMessageResponse(ID, s), text(t) {
    appendText(t, N);
  }
  StringMessageResponse(msgStatus_t s, const uint8_t* data, unsigned int length)
      : VXPMessageResponse(ID, s, data, length) {
    if (status == VXPSTATUS_OK) takeText(0, N, text, textEnd);
  }
  MessageBase* clone() const override { return new StringMessageResponse(*this); }
  const std::string& getText() const { return text; }

 protected:
  void printFields(std::ostream& os) const override { os << '[' << text << ']'; }
  std::string text;
  std::size_t textEnd = 0;
};

// Two texts with 16-bit prefixes; the second is optional.
template <vxpMsgID_t ID>
class VXTRACE_API String2MessageResponse : public StringMessageResponse<ID, 2> {
 public:
  String2MessageResponse(msgStatus_t s, const std::string& t1, const std::string& t2)
      : StringMessageResponse<ID, 2>(s, t1), text2(t2) {
    this->appendText(t2, 2);
  }
  String2MessageResponse(msgStatus_t s, const uint8_t* data, unsigned int length)
      : StringMessageResponse<ID, 2>(s, data, length) {
    std::size_t next = 0;
    if (this->status == VXPSTATUS_OK && this->valid &&
        !this->readText(this->textEnd, 2, text2, next)) {
      text2.clear();
    }
  }
  MessageBase* clone() const override { return new String2MessageResponse(*this); }
  const std::string& getText2() const { return text2; }

 protected:
  void printFields(std::ostream& os) const override {
    StringMessageResponse<ID, 2>::printFields(os);
    os << '[' << text2 << ']';
  }
  std::string text2;
};

template <vxpMsgID_t ID, typename T>
class VXTRACE_API SimpleVectorMessageResponse : public VXPMessageResponse {
 public:
  SimpleVectorMessageResponse(msgStatus_t s, const std::vector<T>& v)
      : VXPMessageResponse(ID, s), values(v) {
    for (T e : v) appendValue(e);
  }
  SimpleVectorMessageResponse(msgStatus_t s, const uint8_t* data, unsigned int length)
      : VXPMessageResponse(ID, s, data, length) {
    if (status == VXPSTATUS_OK) takeValues(values);
  }
  MessageBase* clone() const override { return new SimpleVectorMessageResponse(*this); }
  const std::vector<T>& getValues() const { return values; }

 protected:
  void printFields(std::ostream& os) const override {
    for (T e : values) vxtrace::detail::printVxpValue(os, e);
  }
  std::vector<T> values;
};

// 16-bit count, then that many texts with 16-bit prefixes.
template <vxpMsgID_t ID>
class VXTRACE_API StringVectorMessageResponse : public VXPMessageResponse {
 public:
  StringVectorMessageResponse(msgStatus_t s, const std::vector<std::string>& v)
      : VXPMessageResponse(ID, s), entries(v) {
    appendField(v.size(), 2);
    for (const std::string& e : v) appendText(e, 2);
  }
  StringVectorMessageResponse(msgStatus_t s, const uint8_t* data, unsigned int length)
      : VXPMessageResponse(ID, s, data, length) {
    if (status != VXPSTATUS_OK) return;
    uint64_t count = 0;
    if (!readField(0, 2, count)) {
      valid = false;
      return;
    }
    // Entries are taken one by one as their bytes prove present: no reserve from the count.
    std::size_t pos = 2;
    for (uint64_t i = 0; i < count; ++i) {
      std::string e;
      if (!readText(pos, 2, e, pos)) {
        valid = false;
        return;
      }
      entries.push_back(e);
    }
  }
  MessageBase* clone() const override { return new StringVectorMessageResponse(*this); }
  const std::vector<std::string>& getEntries() const { return entries; }

 protected:
  void printFields(std::ostream& os) const override {
    if (entries.empty()) os << "[]";
    for (const std::string& e : entries) os << '[' << e << "] ";
  }
  std::vector<std::string> entries;
};

// ---- instances with a text of their own ------------------------------------------------------

// Seconds since 1970-01-01 UTC.
template <>
VXTRACE_API void Simple1MessageRequest<VXPID_SETTIME, uint64_t>::printFields(std::ostream&) const;
// Options as bytes: remove, force, wait seconds, suppress reboot.
template <>
VXTRACE_API void SimpleVectorMessageRequest<VXPID_FWUPDATE, uint8_t>::printFields(
    std::ostream&) const;
template <>
VXTRACE_API void Simple2SMessageRequest<VXPID_SETEVENT, uint8_t>::printFields(std::ostream&) const;
template <>
VXTRACE_API void Simple1MessageRequest<VXPID_SET_ORIENTATION, uint8_t>::printFields(
    std::ostream&) const;
// LED, then state.
template <>
VXTRACE_API void Simple2MessageRequest<VXPID_SET_DEVICE_LED, uint8_t, uint8_t>::printFields(
    std::ostream&) const;
template <>
VXTRACE_API void Simple1MessageRequest<VXPID_SET_CALIBRATION_MODE, uint8_t>::printFields(
    std::ostream&) const;
