#pragma once
// Helpers for tests: bytes from hex text, frame building, capture of std::cerr / std::cout.
#include <cstdint>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <typeinfo>
#include <vector>

#include "vxtrace/MessageBase.h"

namespace vxtest {

using Bytes = std::vector<uint8_t>;

// "55 AA 00 0c" (blanks optional) to bytes; throws std::invalid_argument on a bad digit.
Bytes hex(const std::string& text);
// Bytes as "55 AA 00 0C".
std::string toHex(const Bytes& bytes);

// A frame from its size field on: size = 12 + body length, msgId, headerWord, time stamp, body.
Bytes frame(uint16_t msgId, unsigned long long timeStamp, const Bytes& body,
            uint16_t headerWord = 0);
// The same with the sync marker in front.
Bytes syncFrame(uint16_t msgId, unsigned long long timeStamp, const Bytes& body,
                uint16_t headerWord = 0);

// Serialises a record (createByteArray) and returns the bytes.
Bytes serialise(const MessageBase& msg, bool withSync = false);

// The class name of a type as the host's compiler spells it.
std::string className(const std::type_info& type);

// Decodes a whole byte vector through the registry; the caller owns the result.
std::unique_ptr<MessageBase> decode(const Bytes& bytes);

// Redirects a standard stream into a string for its lifetime.
class Capture {
 public:
  explicit Capture(std::ostream& s) : stream_(s), old_(s.rdbuf(buffer_.rdbuf())) {}
  ~Capture() { stream_.rdbuf(old_); }
  std::string text() const { return buffer_.str(); }

 private:
  std::ostream& stream_;
  std::ostringstream buffer_;
  std::streambuf* old_;
};

// Registers all creators and restores invalidHandling and the registry afterwards.
class RegistryGuard {
 public:
  RegistryGuard();
  ~RegistryGuard();

 private:
  int invalidHandling_;
  decltype(MessageBase::creators) creators_;
};

}  // namespace vxtest
