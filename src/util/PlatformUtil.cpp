#include "vxtrace/PlatformUtil.h"

#include <cctype>
#include <cstdio>
#include <ostream>

#include "util/Hex.h"
#include "util/StreamStateGuard.h"
#include "vxtrace/MessageBase.h"

namespace {

void putHexByte(std::ostream& os, unsigned char c) {
  char out[2];
  vxtrace::detail::putHex2(out, c);
  os.write(out, 2);
}

template <typename Bytes>
void pushPrefixed(std::vector<unsigned char>& vec, const Bytes& bytes, bool twoBytes) {
  std::size_t n = bytes.size();
  if (twoBytes) vec.push_back(static_cast<unsigned char>((n >> 8) & 0xFF));
  vec.push_back(static_cast<unsigned char>(n & 0xFF));
  vec.insert(vec.end(), bytes.begin(), bytes.end());
}

}  // namespace

void printUnknownEnum(std::ostream& os, int value) {
  vxtrace::detail::StreamStateGuard guard(os);
  os << std::dec << "<unknown:" << value << '>';
}

void printPrintable(std::ostream& os, const std::string& text) {
  for (unsigned char c : text) {
    if (c >= 0x20 && c <= 0x7E) {
      os.put(static_cast<char>(c));
    } else {
      os << "\\x";
      putHexByte(os, c);
    }
  }
}

void printEscaped(std::ostream& os, const std::string& text) {
  for (unsigned char c : text) {
    switch (c) {
      case '\n':
        os << "\\n";
        break;
      case '\r':
        os << "\\r";
        break;
      case '\t':
        os << "\\t";
        break;
      case '\\':
        os << "\\\\";
        break;
      default:
        if (c >= 0x20 && c <= 0x7E) {
          os.put(static_cast<char>(c));
        } else {
          os << "\\x";
          putHexByte(os, c);
        }
    }
  }
}

void push1(std::vector<unsigned char>& vec, const std::string& text) {
  pushPrefixed(vec, text, false);
}
void push1(std::vector<unsigned char>& vec, const std::vector<unsigned char>& bytes) {
  pushPrefixed(vec, bytes, false);
}
void push2(std::vector<unsigned char>& vec, const std::string& text) {
  pushPrefixed(vec, text, true);
}
void push2(std::vector<unsigned char>& vec, const std::vector<unsigned char>& bytes) {
  pushPrefixed(vec, bytes, true);
}

std::vector<std::string> split(const std::string& text, char separator) {
  std::vector<std::string> pieces;
  std::size_t start = 0;
  for (;;) {
    std::size_t pos = text.find(separator, start);
    if (pos == std::string::npos) {
      pieces.push_back(text.substr(start));
      return pieces;
    }
    pieces.push_back(text.substr(start, pos - start));
    start = pos + 1;
  }
}

void hexdump(std::ostream& os, const void* data, std::size_t length, const std::string& prefix) {
  const unsigned char* bytes = static_cast<const unsigned char*>(data);
  std::string line;
  for (std::size_t offset = 0; offset < length; offset += 16) {
    line.assign(prefix);
    char head[16];
    std::snprintf(head, sizeof head, "%04zx: ", offset & 0xFFFF);
    line += head;
    std::size_t end = offset + 16 < length ? offset + 16 : length;
    vxtrace::detail::appendHex(line, bytes + offset, end - offset);
    line += '\n';
    os << line;
  }
}

std::ostream& operator<<(std::ostream& os, const struct tm& t) {
  char text[64];
  std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d", t.tm_year + 1900, t.tm_mon + 1,
                t.tm_mday, t.tm_hour, t.tm_min, t.tm_sec);
  return os << text;
}

std::string printTime(unsigned long long us) { return MessageBase::printTimestamp(us); }

std::mutex LogUtil::logMutex;

void macaddr_t::set(const uint8_t* bytes) {
  for (int i = 0; i < 6; ++i) addr[i] = bytes[i];
}

bool macaddr_t::set(const std::string& text) {
  if (text.size() != 17) return false;
  uint8_t parsed[6];
  for (int i = 0; i < 6; ++i) {
    const char* p = text.c_str() + 3 * i;
    if (i < 5 && p[2] != ':') return false;
    int value = 0;
    for (int k = 0; k < 2; ++k) {
      unsigned char c = static_cast<unsigned char>(p[k]);
      if (!std::isxdigit(c)) return false;
      value = value * 16 + (std::isdigit(c) ? c - '0' : std::tolower(c) - 'a' + 10);
    }
    parsed[i] = static_cast<uint8_t>(value);
  }
  set(parsed);
  return true;
}

void macaddr_t::print(std::ostream& os) const {
  for (int i = 0; i < 6; ++i) {
    if (i) os.put(':');
    putHexByte(os, addr[i]);
  }
}

bool macaddr_t::operator==(const macaddr_t& other) const {
  for (int i = 0; i < 6; ++i)
    if (addr[i] != other.addr[i]) return false;
  return true;
}

std::ostream& operator<<(std::ostream& os, const macaddr_t& mac) {
  mac.print(os);
  return os;
}
