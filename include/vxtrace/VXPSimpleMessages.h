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

// The field lists below are written once for both families. Base is VXPMessageRequest or
// VXPMessageResponse, or the family's class that the list extends. `head` is what the family's
// constructors take ahead of the fields (nothing for a request, the status for a response); the
// lists take it last and hand it on first. A constructor from bytes is told apart from one from
// fields by its payload pointer.
namespace vxtrace::detail {
// Numbers in decimal; one-byte values as numbers, not characters.
template <typename T>
void printVxpValue(std::ostream& os, T v) {
  os << '[' << +v << ']';
}

// A request's payload always holds its fields; a response's only with status OK.
inline bool carriesFields(const VXPMessageRequest&) { return true; }
inline bool carriesFields(const VXPMessageResponse& m) { return m.status == VXPSTATUS_OK; }

template <typename Base, vxpMsgID_t ID, typename T>
class VxpValue : public Base {
 public:
  T getValue() const { return value; }

 protected:
  template <typename... Head>
  VxpValue(T v, Head... head) : Base(ID, head...), value(v) {
    this->appendValue(v);
  }
  // A payload shorter than T leaves the value 0 and clears the valid flag.
  template <typename... Head>
  VxpValue(const uint8_t* data, unsigned int length, Head... head)
      : Base(ID, head..., data, length) {
    if (carriesFields(*this)) this->takeValue(0, value);
  }
  void printFields(std::ostream& os) const override { printVxpValue(os, value); }
  T value = 0;
};

// Base: the family's Simple1 class of T1.
template <typename Base, typename T1, typename T2>
class VxpValue2 : public Base {
 public:
  T2 getValue2() const { return value2; }

 protected:
  template <typename... Head>
  VxpValue2(T1 v1, T2 v2, Head... head) : Base(head..., v1), value2(v2) {
    this->appendValue(v2);
  }
  template <typename... Head>
  VxpValue2(const uint8_t* data, unsigned int length, Head... head) : Base(head..., data, length) {
    if (carriesFields(*this)) this->takeValue(sizeof(T1), value2);
  }
  void printFields(std::ostream& os) const override {
    Base::printFields(os);
    printVxpValue(os, value2);
  }
  T2 value2 = 0;
};

// Base: the family's Simple2 class of T1, T2.
template <typename Base, typename T1, typename T2, typename T3>
class VxpValue3 : public Base {
 public:
  T3 getValue3() const { return value3; }

 protected:
  template <typename... Head>
  VxpValue3(T1 v1, T2 v2, T3 v3, Head... head) : Base(head..., v1, v2), value3(v3) {
    this->appendValue(v3);
  }
  template <typename... Head>
  VxpValue3(const uint8_t* data, unsigned int length, Head... head) : Base(head..., data, length) {
    if (carriesFields(*this)) this->takeValue(sizeof(T1) + sizeof(T2), value3);
  }
  void printFields(std::ostream& os) const override {
    Base::printFields(os);
    printVxpValue(os, value3);
  }
  T3 value3 = 0;
};

// Base: the family's Simple1 class of T. A text with an N-byte length prefix follows the value;
// where Optional, a payload of just the value is valid with an empty text.
template <typename Base, typename T, unsigned N, bool Optional>
class VxpValueText : public Base {
 public:
  const std::string& getText() const { return text; }

 protected:
  template <typename... Head>
  VxpValueText(T v, const std::string& t, Head... head) : Base(head..., v), text(t) {
    this->appendText(t, N);
  }
  template <typename... Head>
  VxpValueText(const uint8_t* data, unsigned int length, Head... head)
      : Base(head..., data, length) {
    std::size_t next = 0;
    if (!carriesFields(*this) || (Optional && this->payload.size() == sizeof(T))) return;
    this->takeText(sizeof(T), N, text, next);
  }
  void printFields(std::ostream& os) const override {
    Base::printFields(os);
    os << '[' << text << ']';
  }
  std::string text;
};

// One text with an N-byte (1 or 2) big-endian length prefix.
template <typename Base, vxpMsgID_t ID, unsigned N>
class VxpText : public Base {
 public:
  const std::string& getText() const { return text; }

 protected:
  template <typename... Head>
  VxpText(const std::string& t, Head... head) : Base(ID, head...), text(t) {
    this->appendText(t, N);
  }
  template <typename... Head>
  VxpText(const uint8_t* data, unsigned int length, Head... head)
      : Base(ID, head..., data, length) {
    if (carriesFields(*this)) this->takeText(0, N, text, textEnd);
  }
  void printFields(std::ostream& os) const override { os << '[' << text << ']'; }
  std::string text;
  std::size_t textEnd = 0;  // payload offset after the text
};

// Base: the family's String class. A second text with an N-byte prefix; where Optional, bytes
// too few for it leave it empty and the message valid.
template <typename Base, unsigned N, bool Optional>
class VxpText2 : public Base {
 public:
  const std::string& getText2() const { return text2; }

 protected:
  template <typename... Head>
  VxpText2(const std::string& t1, const std::string& t2, Head... head)
      : Base(head..., t1), text2(t2) {
    this->appendText(t2, N);
  }
  template <typename... Head>
  VxpText2(const uint8_t* data, unsigned int length, Head... head) : Base(head..., data, length) {
    std::size_t next = 0;
    if (!carriesFields(*this) || !this->valid) return;
    if (!Optional) {
      this->takeText(this->textEnd, N, text2, next);
    } else if (!this->readText(this->textEnd, N, text2, next)) {
      text2.clear();
    }
  }
  void printFields(std::ostream& os) const override {
    Base::printFields(os);
    os << '[' << text2 << ']';
  }
  std::string text2;
};

// The whole payload is a sequence of T; a trailing part of an element clears the valid flag.
template <typename Base, vxpMsgID_t ID, typename T>
class VxpValues : public Base {
 public:
  const std::vector<T>& getValues() const { return values; }

 protected:
  template <typename... Head>
  VxpValues(const std::vector<T>& v, Head... head) : Base(ID, head...), values(v) {
    for (T e : v) this->appendValue(e);
  }
  template <typename... Head>
  VxpValues(const uint8_t* data, unsigned int length, Head... head)
      : Base(ID, head..., data, length) {
    if (carriesFields(*this)) this->takeValues(values);
  }
  void printFields(std::ostream& os) const override {
    for (T e : values) printVxpValue(os, e);
  }
  std::vector<T> values;
};
}  // namespace vxtrace::detail

// ---- requests ------------------------------------------------------------------------------
// The instances with a text of their own (end of this file) specialise printFields, so the
// classes that have such instances declare it.

template <vxpMsgID_t ID>
class VXTRACE_API SimpleMessageRequest : public VXPMessageRequest {
 public:
  SimpleMessageRequest() : VXPMessageRequest(ID) {}
  SimpleMessageRequest(const uint8_t* data, unsigned int length)
      : VXPMessageRequest(ID, data, length) {}
  MessageBase* clone() const override { return new SimpleMessageRequest(*this); }
};

template <vxpMsgID_t ID, typename T>
class VXTRACE_API Simple1MessageRequest
    : public vxtrace::detail::VxpValue<VXPMessageRequest, ID, T> {
  using Fields = vxtrace::detail::VxpValue<VXPMessageRequest, ID, T>;

 public:
  explicit Simple1MessageRequest(T v) : Fields(v) {}
  Simple1MessageRequest(const uint8_t* data, unsigned int length) : Fields(data, length) {}
  MessageBase* clone() const override { return new Simple1MessageRequest(*this); }

 protected:
  void printFields(std::ostream& os) const override { Fields::printFields(os); }
};

template <vxpMsgID_t ID, typename T1, typename T2>
class VXTRACE_API Simple2MessageRequest
    : public vxtrace::detail::VxpValue2<Simple1MessageRequest<ID, T1>, T1, T2> {
  using Fields = vxtrace::detail::VxpValue2<Simple1MessageRequest<ID, T1>, T1, T2>;

 public:
  Simple2MessageRequest(T1 v1, T2 v2) : Fields(v1, v2) {}
  Simple2MessageRequest(const uint8_t* data, unsigned int length) : Fields(data, length) {}
  MessageBase* clone() const override { return new Simple2MessageRequest(*this); }

 protected:
  void printFields(std::ostream& os) const override { Fields::printFields(os); }
};

template <vxpMsgID_t ID, typename T1, typename T2, typename T3>
class VXTRACE_API Simple3MessageRequest
    : public vxtrace::detail::VxpValue3<Simple2MessageRequest<ID, T1, T2>, T1, T2, T3> {
  using Fields = vxtrace::detail::VxpValue3<Simple2MessageRequest<ID, T1, T2>, T1, T2, T3>;

 public:
  Simple3MessageRequest(T1 v1, T2 v2, T3 v3) : Fields(v1, v2, v3) {}
  Simple3MessageRequest(const uint8_t* data, unsigned int length) : Fields(data, length) {}
  MessageBase* clone() const override { return new Simple3MessageRequest(*this); }
};

// A value and a text with a one-byte length prefix. The text may be left out altogether: a
// payload of just the value is valid with an empty text.
template <vxpMsgID_t ID, typename T>
class VXTRACE_API Simple2SMessageRequest
    : public vxtrace::detail::VxpValueText<Simple1MessageRequest<ID, T>, T, 1, true> {
  using Fields = vxtrace::detail::VxpValueText<Simple1MessageRequest<ID, T>, T, 1, true>;

 public:
  Simple2SMessageRequest(T v, const std::string& t) : Fields(v, t) {}
  Simple2SMessageRequest(const uint8_t* data, unsigned int length) : Fields(data, length) {}
  MessageBase* clone() const override { return new Simple2SMessageRequest(*this); }

 protected:
  void printFields(std::ostream& os) const override { Fields::printFields(os); }
};

// One text with an N-byte (1 or 2) big-endian length prefix.
template <vxpMsgID_t ID, unsigned N>
class VXTRACE_API StringMessageRequest : public vxtrace::detail::VxpText<VXPMessageRequest, ID, N> {
  using Fields = vxtrace::detail::VxpText<VXPMessageRequest, ID, N>;

 public:
  explicit StringMessageRequest(const std::string& t) : Fields(t) {}
  StringMessageRequest(const uint8_t* data, unsigned int length) : Fields(data, length) {}
  MessageBase* clone() const override { return new StringMessageRequest(*this); }
};

// Two texts, each with its own prefix width; both are required.
template <vxpMsgID_t ID, unsigned N1, unsigned N2>
class VXTRACE_API String2MessageRequest
    : public vxtrace::detail::VxpText2<StringMessageRequest<ID, N1>, N2, false> {
  using Fields = vxtrace::detail::VxpText2<StringMessageRequest<ID, N1>, N2, false>;

 public:
  String2MessageRequest(const std::string& t1, const std::string& t2) : Fields(t1, t2) {}
  String2MessageRequest(const uint8_t* data, unsigned int length) : Fields(data, length) {}
  MessageBase* clone() const override { return new String2MessageRequest(*this); }
};

template <vxpMsgID_t ID, typename T>
class VXTRACE_API SimpleVectorMessageRequest
    : public vxtrace::detail::VxpValues<VXPMessageRequest, ID, T> {
  using Fields = vxtrace::detail::VxpValues<VXPMessageRequest, ID, T>;

 public:
  explicit SimpleVectorMessageRequest(const std::vector<T>& v) : Fields(v) {}
  SimpleVectorMessageRequest(const uint8_t* data, unsigned int length) : Fields(data, length) {}
  MessageBase* clone() const override { return new SimpleVectorMessageRequest(*this); }

 protected:
  void printFields(std::ostream& os) const override { Fields::printFields(os); }
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
class VXTRACE_API Simple1MessageResponse
    : public vxtrace::detail::VxpValue<VXPMessageResponse, ID, T> {
  using Fields = vxtrace::detail::VxpValue<VXPMessageResponse, ID, T>;

 public:
  Simple1MessageResponse(msgStatus_t s, T v) : Fields(v, s) {}
  Simple1MessageResponse(msgStatus_t s, const uint8_t* data, unsigned int length)
      : Fields(data, length, s) {}
  MessageBase* clone() const override { return new Simple1MessageResponse(*this); }
};

template <vxpMsgID_t ID, typename T1, typename T2>
class VXTRACE_API Simple2MessageResponse
    : public vxtrace::detail::VxpValue2<Simple1MessageResponse<ID, T1>, T1, T2> {
  using Fields = vxtrace::detail::VxpValue2<Simple1MessageResponse<ID, T1>, T1, T2>;

 public:
  Simple2MessageResponse(msgStatus_t s, T1 v1, T2 v2) : Fields(v1, v2, s) {}
  Simple2MessageResponse(msgStatus_t s, const uint8_t* data, unsigned int length)
      : Fields(data, length, s) {}
  MessageBase* clone() const override { return new Simple2MessageResponse(*this); }
};

template <vxpMsgID_t ID, typename T1, typename T2, typename T3>
class VXTRACE_API Simple3MessageResponse
    : public vxtrace::detail::VxpValue3<Simple2MessageResponse<ID, T1, T2>, T1, T2, T3> {
  using Fields = vxtrace::detail::VxpValue3<Simple2MessageResponse<ID, T1, T2>, T1, T2, T3>;

 public:
  Simple3MessageResponse(msgStatus_t s, T1 v1, T2 v2, T3 v3) : Fields(v1, v2, v3, s) {}
  Simple3MessageResponse(msgStatus_t s, const uint8_t* data, unsigned int length)
      : Fields(data, length, s) {}
  MessageBase* clone() const override { return new Simple3MessageResponse(*this); }
};

// A value and a text with an N-byte length prefix; unlike the request, the text is required.
template <vxpMsgID_t ID, typename T, unsigned N>
class VXTRACE_API Simple2SMessageResponse
    : public vxtrace::detail::VxpValueText<Simple1MessageResponse<ID, T>, T, N, false> {
  using Fields = vxtrace::detail::VxpValueText<Simple1MessageResponse<ID, T>, T, N, false>;

 public:
  Simple2SMessageResponse(msgStatus_t s, T v, const std::string& t) : Fields(v, t, s) {}
  Simple2SMessageResponse(msgStatus_t s, const uint8_t* data, unsigned int length)
      : Fields(data, length, s) {}
  MessageBase* clone() const override { return new Simple2SMessageResponse(*this); }
};

template <vxpMsgID_t ID, unsigned N>
class VXTRACE_API StringMessageResponse
    : public vxtrace::detail::VxpText<VXPMessageResponse, ID, N> {
  using Fields = vxtrace::detail::VxpText<VXPMessageResponse, ID, N>;

 public:
  StringMessageResponse(msgStatus_t s, const std::string& t) : Fields(t, s) {}
  StringMessageResponse(msgStatus_t s, const uint8_t* data, unsigned int length)
      : Fields(data, length, s) {}
  MessageBase* clone() const override { return new StringMessageResponse(*this); }
};

// Two texts with 16-bit prefixes; the second is optional.
template <vxpMsgID_t ID>
class VXTRACE_API String2MessageResponse
    : public vxtrace::detail::VxpText2<StringMessageResponse<ID, 2>, 2, true> {
  using Fields = vxtrace::detail::VxpText2<StringMessageResponse<ID, 2>, 2, true>;

 public:
  String2MessageResponse(msgStatus_t s, const std::string& t1, const std::string& t2)
      : Fields(t1, t2, s) {}
  String2MessageResponse(msgStatus_t s, const uint8_t* data, unsigned int length)
      : Fields(data, length, s) {}
  MessageBase* clone() const override { return new String2MessageResponse(*this); }
};

template <vxpMsgID_t ID, typename T>
class VXTRACE_API SimpleVectorMessageResponse
    : public vxtrace::detail::VxpValues<VXPMessageResponse, ID, T> {
  using Fields = vxtrace::detail::VxpValues<VXPMessageResponse, ID, T>;

 public:
  SimpleVectorMessageResponse(msgStatus_t s, const std::vector<T>& v) : Fields(v, s) {}
  SimpleVectorMessageResponse(msgStatus_t s, const uint8_t* data, unsigned int length)
      : Fields(data, length, s) {}
  MessageBase* clone() const override { return new SimpleVectorMessageResponse(*this); }
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
