#include "vxtrace/io/Filter.h"

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "vxtrace/InvalidMessage.h"
#include "vxtrace/MessageIds.h"
#include "vxtrace/io/CanFrame.h"
#include "vxtrace/io/Channel.h"

namespace vxtrace {

namespace {

std::string quoted(const std::string& s) { return "'" + s + "'"; }

bool allDigits(const std::string& s, std::size_t from = 0) {
  return from < s.size() && s.find_first_not_of("0123456789", from) == std::string::npos;
}

std::string upper(std::string s) {
  for (char& c : s) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return s;
}

// Hexadecimal after "0x", otherwise decimal ("010" is ten); false for anything else or a
// value above max.
bool parseNumber(const std::string& text, uint64_t max, uint64_t& value) {
  const bool hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
  const std::size_t from = hex ? 2 : 0;
  if (from == text.size() || text.find_first_not_of(hex ? "0123456789abcdefABCDEF" : "0123456789",
                                                    from) != std::string::npos)
    return false;
  errno = 0;
  const unsigned long long v = std::strtoull(text.c_str() + from, nullptr, hex ? 16 : 10);
  if (errno != 0 || v > max) return false;
  value = v;
  return true;
}

// The form in which labels are compared: upper case, no blanks, "NAME#N" with N in decimal
// without leading zeros. typed: as a user wrote it, where "canN" is candump's 0-based name.
std::string channelKey(const std::string& text, bool typed) {
  std::string name, number;
  const std::size_t hash = text.rfind('#');
  std::size_t digits = text.size();
  while (digits > 0 && std::isdigit(static_cast<unsigned char>(text[digits - 1]))) --digits;
  if (hash != std::string::npos) {
    name = text.substr(0, hash);
    number = text.substr(hash + 1);
    while (!number.empty() && number.front() == ' ') number.erase(0, 1);
    if (!allDigits(number)) name = text, number.clear();
  } else if (digits < text.size() && digits > 0) {
    if (typed && digits == 3 && text.compare(0, 3, "can") == 0 && text.size() <= 12)
      return "CAN#" + std::to_string(std::stoull(text.substr(3)) + 1);  // candump's can0
    name = text.substr(0, digits);
    number = text.substr(digits);
  } else {
    name = text;
  }
  std::string key;
  for (char c : name)
    if (c != ' ') key.push_back(static_cast<char>(std::toupper(static_cast<unsigned char>(c))));
  if (!number.empty())
    key += "#" + number.substr(std::min(number.find_first_not_of('0'), number.size() - 1));
  return key;
}

bool isInvalid(const MessageBase& msg) {
  return msg.msgId == MSGID_INVALID && dynamic_cast<const InvalidMessage*>(&msg) != nullptr;
}

}  // namespace

std::string parseKind(const std::string& text, uint16_t& id) {
  uint64_t v = 0;
  if (parseNumber(text, 0xFFFF, v)) {
    id = static_cast<uint16_t>(v);
    return "";
  }
  if (!text.empty() && !std::isdigit(static_cast<unsigned char>(text[0]))) {
    std::string wanted = upper(text);
    if (wanted.compare(0, 6, "MSGID_") != 0) wanted = "MSGID_" + wanted;
    for (unsigned n = 0; n <= 0xFFFF; ++n) {
      const char* name = getMsgIdName(static_cast<msgid_t>(n));
      if (name != nullptr && wanted == name) {
        id = static_cast<uint16_t>(n);
        return "";
      }
    }
  }
  return "unknown message identifier " + quoted(text);
}

std::string kindName(uint16_t id) {
  if (const char* name = getMsgIdName(static_cast<msgid_t>(id))) return name;
  char text[16];
  std::snprintf(text, sizeof text, "0x%04X", id);
  return text;
}

std::string parseTime(const std::string& text, bool localTime, uint64_t& us) {
  const std::string bad = "invalid time " + quoted(text) +
                          " (expected YYYY-MM-DD HH:MM:SS[.ffffff] in " +
                          (localTime ? "local time" : "UTC") + ", or microseconds)";
  if (allDigits(text)) {
    errno = 0;
    const unsigned long long v = std::strtoull(text.c_str(), nullptr, 10);
    if (errno == ERANGE) return bad;
    us = v;
    return "";
  }
  struct tm t {};
  int consumed = 0;
  char sep = 0;
  if (std::sscanf(text.c_str(), "%4d-%2d-%2d%c%2d:%2d:%2d%n", &t.tm_year, &t.tm_mon, &t.tm_mday,
                  &sep, &t.tm_hour, &t.tm_min, &t.tm_sec, &consumed) != 7 ||
      (sep != ' ' && sep != 'T') || !std::isdigit(static_cast<unsigned char>(text[0])))
    return bad;
  uint64_t fraction = 0;
  const std::size_t pos = static_cast<std::size_t>(consumed);
  if (pos < text.size()) {
    const std::string digits = text.substr(pos + 1);
    if (text[pos] != '.' || digits.size() > 6 || !allDigits(digits)) return bad;
    fraction = std::strtoull((digits + "000000").substr(0, 6).c_str(), nullptr, 10);
  }
  const struct tm wanted = t;
  t.tm_year -= 1900;
  t.tm_mon -= 1;
  t.tm_isdst = -1;
  const time_t seconds = localTime ? std::mktime(&t) : timegm(&t);
  // Read back, so that February 30 or a local time skipped by a clock change is refused
  // instead of moved.
  struct tm back {};
  if (localTime)
    localtime_r(&seconds, &back);
  else
    gmtime_r(&seconds, &back);
  if (seconds < 0 || back.tm_year + 1900 != wanted.tm_year || back.tm_mon + 1 != wanted.tm_mon ||
      back.tm_mday != wanted.tm_mday || back.tm_hour != wanted.tm_hour ||
      back.tm_min != wanted.tm_min || back.tm_sec != wanted.tm_sec)
    return "invalid time " + quoted(text) + " (no such " +
           (localTime ? "local time" : "time in UTC") + " after 1970)";
  us = static_cast<uint64_t>(seconds) * 1000000ULL + fraction;
  return "";
}

std::string Filter::addKind(const std::string& text) {
  uint16_t id = 0;
  std::string error = parseKind(text, id);
  if (error.empty()) kinds_.push_back(KindValue{id, text, false});
  return error;
}

std::string Filter::addCanId(const std::string& text) {
  const std::size_t slash = text.find('/');
  uint64_t id = 0, mask = 0x1FFFFFFF;
  if (!parseNumber(text.substr(0, slash), 0x1FFFFFFF, id) ||
      (slash != std::string::npos && !parseNumber(text.substr(slash + 1), 0x1FFFFFFF, mask)))
    return "invalid CAN identifier " + quoted(text) +
           " (ID or ID/MASK, each up to 0x1FFFFFFF, hex with 0x or decimal)";
  const bool extendedOnly = id > 0x7FF || (slash != std::string::npos && mask > 0x7FF);
  canIds_.push_back(CanIdValue{static_cast<uint32_t>(id), static_cast<uint32_t>(mask), extendedOnly,
                               text, false});
  return "";
}

std::string Filter::addChannel(const std::string& text) {
  if (text.find_first_not_of(' ') == std::string::npos) return "empty channel label";
  std::string trimmed = text.substr(text.find_first_not_of(' '));
  trimmed.erase(trimmed.find_last_not_of(' ') + 1);
  channels_.push_back(ChannelValue{channelKey(trimmed, true), text, false});
  return "";
}

std::string Filter::setTimeRange(std::optional<uint64_t> from, std::optional<uint64_t> to) {
  if (from && to && *from > *to) return "the start time is later than the end time";
  from_ = from;
  to_ = to;
  return "";
}

void Filter::merge(const Filter& part) {
  for (std::size_t i = 0; i < kinds_.size() && i < part.kinds_.size(); ++i)
    kinds_[i].seen = kinds_[i].seen || part.kinds_[i].seen;
  for (std::size_t i = 0; i < canIds_.size() && i < part.canIds_.size(); ++i)
    canIds_[i].seen = canIds_[i].seen || part.canIds_[i].seen;
  for (std::size_t i = 0; i < channels_.size() && i < part.channels_.size(); ++i)
    channels_[i].seen = channels_[i].seen || part.channels_[i].seen;
}

bool Filter::empty() const {
  return kinds_.empty() && canIds_.empty() && channels_.empty() && !from_ && !to_;
}

bool Filter::matches(const MessageBase& record) {
  bool pass = true;
  if (!kinds_.empty()) {
    const uint16_t id = isInvalid(record) ? static_cast<const InvalidMessage&>(record).id
                                          : static_cast<uint16_t>(record.msgId);
    bool any = false;
    for (KindValue& k : kinds_)
      if (k.id == id) any = k.seen = true;
    pass = any;
  }
  if (!canIds_.empty()) {
    CanFrame f;
    bool any = false;
    if (toCanFrame(record, f) == nullptr && !f.error)
      for (CanIdValue& c : canIds_)
        if ((f.extended || !c.extendedOnly) && (f.id & c.mask) == (c.id & c.mask))
          any = c.seen = true;
    pass = pass && any;
  }
  if (!channels_.empty()) {
    const std::string key = channelKey(channelLabel(record), false);
    bool any = false;
    for (ChannelValue& c : channels_)
      if (c.key == key) any = c.seen = true;
    pass = pass && any;
  }
  return pass && !(from_ && record.timeStamp < *from_) && !(to_ && record.timeStamp >= *to_);
}

std::vector<Filter::Value> Filter::unmatched() const {
  std::vector<Value> out;
  for (const KindValue& k : kinds_)
    if (!k.seen) out.push_back(Value{Field::Kind, k.text});
  for (const CanIdValue& c : canIds_)
    if (!c.seen) out.push_back(Value{Field::CanId, c.text});
  for (const ChannelValue& c : channels_)
    if (!c.seen) out.push_back(Value{Field::Channel, c.text});
  return out;
}

}  // namespace vxtrace
