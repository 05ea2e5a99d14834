#include "vxtrace/Exceptions.h"

#include <ostream>

InvalidMessageException::InvalidMessageException(invalidMessageCause_t c, const char* t)
    : cause(c), text(t ? t : ""), value(0) {}
InvalidMessageException::~InvalidMessageException() = default;
const char* InvalidMessageException::what() const noexcept { return text.c_str(); }

BufferMismatchException::BufferMismatchException(const std::string& t) : text(t) {}
BufferMismatchException::~BufferMismatchException() = default;
const char* BufferMismatchException::what() const noexcept { return text.c_str(); }

VxSimpleException::VxSimpleException(const std::string& m) : message(m) {}
VxSimpleException::VxSimpleException(const VxSimpleException& other)
    : std::exception(other), message(other.message) {}
VxSimpleException& VxSimpleException::operator=(const VxSimpleException& other) {
  message = other.message;
  return *this;
}
VxSimpleException::~VxSimpleException() = default;
const char* VxSimpleException::what() const noexcept { return message.c_str(); }
VxSimpleException& VxSimpleException::appendMsg(const std::string& m) {
  message += m;
  return *this;
}
void VxSimpleException::clear() { message.clear(); }

VXException::VXException() = default;

VXException::VXException(const VXException& other)
    : std::basic_ios<char>(),
      std::exception(other),
      std::ostringstream(),
      errorCode(other.errorCode) {
  *this << other.str();
}

VXException::VXException(int code, const char* text) {
  if (text) *this << text;
  addError(code);
}

VXException::~VXException() = default;

const char* VXException::what() const noexcept {
  whatText = str();
  return whatText.c_str();
}

void VXException::addError(int code) { errorCode = code; }

std::ostream& operator<<(std::ostream& os, const VXException& e) { return os << e.str(); }
std::ostream& operator<<(std::ostream& os, const VxSimpleException& e) { return os << e.message; }
