#include "support/TestSupport.h"

#include <cxxabi.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <iomanip>
#include <stdexcept>

namespace vxtest {

Bytes hex(const std::string& text) {
  Bytes out;
  int nibble = -1;
  for (char c : text) {
    if (std::isspace(static_cast<unsigned char>(c))) continue;
    if (!std::isxdigit(static_cast<unsigned char>(c)))
      throw std::invalid_argument("bad hex digit in '" + text + "'");
    int v = std::isdigit(static_cast<unsigned char>(c))
                ? c - '0'
                : std::tolower(static_cast<unsigned char>(c)) - 'a' + 10;
    if (nibble < 0) {
      nibble = v;
    } else {
      out.push_back(static_cast<uint8_t>(nibble * 16 + v));
      nibble = -1;
    }
  }
  if (nibble >= 0) throw std::invalid_argument("odd number of hex digits in '" + text + "'");
  return out;
}

std::string toHex(const Bytes& bytes) {
  std::ostringstream os;
  os << std::hex << std::uppercase << std::setfill('0');
  for (size_t i = 0; i < bytes.size(); ++i) {
    if (i) os << ' ';
    os << std::setw(2) << static_cast<unsigned>(bytes[i]);
  }
  return os.str();
}

Bytes frame(uint16_t msgId, unsigned long long ts, const Bytes& body, uint16_t headerWord) {
  size_t size = 12 + body.size();
  Bytes out = {static_cast<uint8_t>(size >> 8),       static_cast<uint8_t>(size),
               static_cast<uint8_t>(msgId >> 8),      static_cast<uint8_t>(msgId),
               static_cast<uint8_t>(headerWord >> 8), static_cast<uint8_t>(headerWord)};
  for (int i = 7; i >= 0; --i) out.push_back(static_cast<uint8_t>(ts >> (8 * i)));
  out.insert(out.end(), body.begin(), body.end());
  return out;
}

Bytes syncFrame(uint16_t msgId, unsigned long long ts, const Bytes& body, uint16_t headerWord) {
  Bytes out = {0x55, 0xAA};
  Bytes f = frame(msgId, ts, body, headerWord);
  out.insert(out.end(), f.begin(), f.end());
  return out;
}

Bytes serialise(const MessageBase& msg, bool withSync) {
  std::vector<unsigned char> buf;
  msg.createByteArray(buf, withSync, false);
  return Bytes(buf.begin(), buf.end());
}

std::string className(const std::type_info& type) {
  int status = 0;
  char* name = abi::__cxa_demangle(type.name(), nullptr, nullptr, &status);
  std::string text = status == 0 ? name : type.name();
  std::free(name);
  return text;
}

std::unique_ptr<MessageBase> decode(const Bytes& bytes) {
  return std::unique_ptr<MessageBase>(
      MessageBase::readFromByteArray(bytes.data(), static_cast<unsigned int>(bytes.size())));
}

RegistryGuard::RegistryGuard()
    : invalidHandling_(MessageBase::invalidHandling), creators_(MessageBase::creators) {
  MessageBase::registerMessages();
}

RegistryGuard::~RegistryGuard() {
  MessageBase::invalidHandling = invalidHandling_;
  MessageBase::creators = creators_;
}

}  // namespace vxtest
