#pragma once
#include <cstdint>
#include <exception>
#include <iosfwd>
#include <sstream>
#include <string>

#include "vxtrace/Export.h"

enum invalidMessageCause_t : int { invalidId = 1, invalidEnumValue = 2, invalidLength = 3 };

// A malformed frame; the decoder turns it into an InvalidMessage or a null pointer.
class VXTRACE_API InvalidMessageException : public std::exception {
 public:
  invalidMessageCause_t cause;
  std::string text;
  uint16_t value;  // offending identifier or enumeration value; set by the thrower

  InvalidMessageException(invalidMessageCause_t c, const char* t);
  ~InvalidMessageException() override;
  const char* what() const noexcept override;
};

class VXTRACE_API BufferMismatchException : public std::exception {
 public:
  std::string text;

  explicit BufferMismatchException(const std::string& t);
  ~BufferMismatchException() override;
  const char* what() const noexcept override;
};

class VXTRACE_API VxSimpleException : public std::exception {
 public:
  std::string message;

  explicit VxSimpleException(const std::string& m);
  VxSimpleException(const VxSimpleException& other);
  VxSimpleException& operator=(const VxSimpleException& other);
  ~VxSimpleException() override;
  const char* what() const noexcept override;
  virtual VxSimpleException& appendMsg(const std::string& m);
  void clear();
};

// An exception whose text is built with the stream inserters after construction.
class VXTRACE_API VXException : public std::exception, public std::ostringstream {
 public:
  VXException();
  VXException(const VXException& other);
  VXException(int code, const char* text);
  ~VXException() override;

  // The text inserted so far; valid until the next call or insertion.
  const char* what() const noexcept override;
  void addError(int code);
  int getErrorCode() const { return errorCode; }

 private:
  int errorCode = 0;
  mutable std::string whatText;
};

VXTRACE_API std::ostream& operator<<(std::ostream& os, const VXException& e);
VXTRACE_API std::ostream& operator<<(std::ostream& os, const VxSimpleException& e);
