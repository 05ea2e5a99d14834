#include "vxtrace/MessageBase.h"

#include <algorithm>
#include <cstring>
#include <ctime>
#include <exception>
#include <iomanip>
#include <iostream>
#include <sstream>

#include "core/DecodePolicy.h"
#include "util/ByteOrder.h"
#include "util/Diagnostics.h"
#include "util/Hex.h"
#include "util/LineText.h"
#include "util/StreamStateGuard.h"
#include "vxtrace/PlatformUtil.h"

using vxtrace::detail::loadBE64;
using vxtrace::detail::errorLog;
using vxtrace::detail::storeBE16;
using vxtrace::detail::storeBE64;

std::unordered_map<msgid_t, MessageBase::creator_t, MessageBase::MsgidHash> MessageBase::creators;
int MessageBase::invalidHandling = 6;
bool MessageBase::fpgaMsgHasDebugBytes = true;

MessageBase::MessageBase(msgid_t id, unsigned long long ts)
    : msgId(id), headerWord(0), timeStamp(ts), sourceWord(0) {}

MessageBase::~MessageBase() = default;

unsigned int MessageBase::writeToByteArray(unsigned char*& out, unsigned int room,
                                           bool withSync) const {
  const unsigned int size = getSize();
  // The size field only holds 16 bits, but the room needed is that of the whole frame; a
  // size below 12 (a broken record) must still not let the header run past room.
  const unsigned long long header = withSync ? 16u : 14u;
  unsigned long long need = static_cast<unsigned long long>(size) + 2 + (withSync ? 2 : 0);
  if (need < header) need = header;
  if (need > room) return 0;
  if (withSync) {
    out[0] = 0x55;
    out[1] = 0xAA;
    out += 2;
  }
  storeBE16(out, static_cast<uint16_t>(size));
  storeBE16(out + 2, static_cast<uint16_t>(msgId));
  storeBE16(out + 4, headerWord);
  storeBE64(out + 6, timeStamp);
  out += 14;
  return static_cast<unsigned int>(header);
}

unsigned int MessageBase::getSize() const { return 12; }

std::string MessageBase::toString() const {
  std::ostringstream os;
  os << *this;
  return os.str();
}

std::string MessageBase::getSourceChannel() const { return "LOGGER INTERN"; }

uint64_t MessageBase::getSourceChannelID() const { return ~0ULL; }

void MessageBase::cascadeChannel(unsigned short) {}

unsigned int MessageBase::createByteArray(std::vector<unsigned char>& buf, bool withSync,
                                          bool append) const {
  const unsigned int size = getSize();
  if (size > 0x10004) {
    errorLog() << "[ERROR] Message size too big" << std::endl;
    return 0;
  }
  const unsigned int n = size + (withSync ? 4 : 2);
  if (n <= 11) {
    errorLog() << "[ERROR] Message size too small" << std::endl;
    return 0;
  }
  std::size_t start = 0;
  if (append) {
    start = buf.size();
    buf.resize(start + n);
  } else {
    buf.clear();
    buf.resize(n);
  }
  unsigned char* out = buf.data() + start;
  return writeToByteArray(out, n, withSync);
}

bool MessageBase::registerMessage(msgid_t id, creator_t creator) {
  if (creator == nullptr) return creators.erase(id) != 0;
  return creators.emplace(id, creator).second;
}

void MessageBase::printTimestamp(std::ostream& os, unsigned long long ts) {
  printTimeStamp(os, ts, true, 6);
}

std::string MessageBase::printTimestamp(unsigned long long ts) {
  std::ostringstream os;
  printTimestamp(os, ts);
  return os.str();
}

namespace {

constexpr std::size_t kTimeTextMax = 40;

// The text printTimeStamp writes, at out (kTimeTextMax bytes); returns its length.
std::size_t timeStampText(char* out, unsigned long long ts, bool utc, unsigned char digits) {
  // Records of one trace share their second over and over: keep the last conversion.
  // No value of seconds is free to mean "nothing cached": a flag says so.
  struct SecondText {
    bool valid = false;
    time_t seconds = 0;
    char text[32] = {};
    std::size_t length = 0;
  };
  thread_local SecondText last;
  static_assert(sizeof(time_t) == 8, "dates past 2038 need _TIME_BITS=64 on a 32-bit host");
  const time_t seconds = static_cast<time_t>(ts / 1000000ULL);
  if (!utc || !last.valid || seconds != last.seconds) {
    struct tm broken {};
    if (utc) {
      gmtime_r(&seconds, &broken);
    } else {
      localtime_r(&seconds, &broken);
    }
    std::ostringstream text;
    text << broken;
    const std::string s = text.str();
    last.length = std::min(s.size(), sizeof last.text);
    std::memcpy(last.text, s.data(), last.length);
    // Local time depends on TZ, which may change between calls: cache UTC only.
    last.valid = utc;
    last.seconds = seconds;
  }
  static_assert(sizeof last.text + 8 <= kTimeTextMax, "room for the fraction");
  std::memcpy(out, last.text, last.length);
  std::size_t n = last.length;
  if (digits > 6) digits = 6;
  if (digits != 0) {
    unsigned long fraction = static_cast<unsigned long>(ts % 1000000ULL);
    for (unsigned char d = digits; d < 6; ++d) fraction /= 10;
    out[n++] = '.';
    for (unsigned char d = digits; d > 0; --d) {
      out[n + d - 1] = static_cast<char>('0' + fraction % 10);
      fraction /= 10;
    }
    n += digits;
  }
  return n;
}

}  // namespace

void MessageBase::printTimeStamp(std::ostream& os, unsigned long long ts, bool utc,
                                 unsigned char digits) {
  char out[kTimeTextMax];
  const std::size_t n = timeStampText(out, ts, utc, digits);
  // Written in one piece, without touching the stream's flags or fill.
  os.width(0);
  os.write(out, static_cast<std::streamsize>(n));
}

std::string vxtrace::detail::recordText(const MessageBase& msg, const LineText& body) {
  char time[kTimeTextMax];
  const std::size_t n = timeStampText(time, msg.timeStamp, true, 6);
  std::string text;
  text.reserve(msg.label.size() + 2 + n + body.size());
  if (!msg.label.empty()) text.append(msg.label).append(": ", 2);
  text.append(time, n).append(body.data(), body.size());
  return text;
}

void MessageBase::reportInvalidVersion(unsigned char version) {
  errorLog() << "Trying to set an invalid VXTrace version of " << static_cast<unsigned>(version)
            << std::endl;
  std::terminate();
}

template <>
void MessageBase::dumpData<const unsigned char*>(std::ostream& os, const unsigned char* begin,
                                                 const unsigned char* end) {
  const std::ios::fmtflags f = os.flags();
  if ((f & std::ios::basefield) != std::ios::hex || os.fill() != '0' ||
      (f & (std::ios::showbase | std::ios::left | std::ios::internal)) != 0) {
    for (const unsigned char* p = begin; p != end; ++p) {
      if (p != begin) os << ' ';
      os << std::setw(2) << static_cast<unsigned int>(*p);
    }
    return;
  }
  // The usual case (hex, fill '0', right-aligned): the same text in chunks.
  const bool upper = (f & std::ios::uppercase) != 0;
  char chunk[3 * 64];
  std::size_t n = 0;
  for (const unsigned char* p = begin; p != end; ++p) {
    if (n > sizeof chunk - 3) {
      os.write(chunk, static_cast<std::streamsize>(n));
      n = 0;
    }
    if (p != begin) chunk[n++] = ' ';
    vxtrace::detail::putHex2(chunk + n, *p, upper);
    n += 2;
  }
  os.write(chunk, static_cast<std::streamsize>(n));
  os.width(0);
}

std::ostream& operator<<(std::ostream& os, const MessageBase& msg) {
  // Unformatted writes: the prefix reads the same whatever width or alignment the stream holds.
  os.width(0);
  if (!msg.label.empty()) {
    os.write(msg.label.data(), static_cast<std::streamsize>(msg.label.size()));
    os.write(": ", 2);
  }
  MessageBase::printTimeStamp(os, msg.timeStamp, true, 6);
  return os;
}

std::ostream& operator<<(std::ostream& os, const MessageBase::portDirection_t& dir) {
  switch (dir) {
    case MessageBase::PortDirIn:
      return os << "PortDirIn";
    case MessageBase::PortDirOut:
      return os << "PortDirOut";
    case MessageBase::PortDirInOut:
      return os << "PortDirInOut";
    default:
      return os << "PortDirUnknown";
  }
}

uint64_t byteArrayToUint64(const unsigned char* bytes) { return loadBE64(bytes); }
