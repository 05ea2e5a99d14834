#include "Selection.h"

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "vxtrace/InvalidMessage.h"
#include "vxtrace/MessageIds.h"
#include "vxtrace/io/CanFrame.h"
#include "vxtrace/io/Channel.h"

namespace vxtrace::cli {

namespace {

std::string upper(std::string s) {
  for (char& c : s) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return s;
}

// A label as typed: case, blanks and '#' do not matter ("can #1", "CAN1"); "can0", the name the
// candump export gives, counts from 0.
std::string labelKey(const std::string& label) {
  if (label.size() > 3 && label.compare(0, 3, "can") == 0 &&
      label.find_first_not_of("0123456789", 3) == std::string::npos && label.size() < 12)
    return "CAN" + std::to_string(std::stoul(label.substr(3)) + 1);
  std::string key;
  for (char c : label)
    if (c != ' ' && c != '#') key.push_back(static_cast<char>(std::toupper(static_cast<unsigned char>(c))));
  return key;
}

// Hexadecimal with 0x, otherwise decimal ("010" is ten).
bool parseUnsigned(const std::string& text, uint64_t max, uint64_t& value) {
  const bool hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
  const std::string digits = hex ? text.substr(2) : text;
  if (digits.empty() ||
      digits.find_first_not_of(hex ? "0123456789abcdefABCDEF" : "0123456789") != std::string::npos)
    return false;
  errno = 0;
  const unsigned long long v = std::strtoull(digits.c_str(), nullptr, hex ? 16 : 10);
  if (errno != 0 || v > max) return false;
  value = v;
  return true;
}

}  // namespace

std::optional<uint64_t> parseTime(const std::string& text, bool local) {
  if (!text.empty() && text.find_first_not_of("0123456789") == std::string::npos) {
    errno = 0;
    const unsigned long long us = std::strtoull(text.c_str(), nullptr, 10);
    if (errno == ERANGE) return std::nullopt;
    return us;
  }
  struct tm t {};
  int consumed = 0;
  char sep = 0;
  if (std::sscanf(text.c_str(), "%4d-%2d-%2d%c%2d:%2d:%2d%n", &t.tm_year, &t.tm_mon, &t.tm_mday,
                  &sep, &t.tm_hour, &t.tm_min, &t.tm_sec, &consumed) != 7 ||
      (sep != ' ' && sep != 'T'))
    return std::nullopt;
  if (t.tm_mon < 1 || t.tm_mon > 12 || t.tm_mday < 1 || t.tm_mday > 31 || t.tm_hour > 23 ||
      t.tm_min > 59 || t.tm_sec > 60 || t.tm_year < 1970)
    return std::nullopt;
  unsigned long fraction = 0;
  std::size_t pos = static_cast<std::size_t>(consumed);
  if (pos < text.size()) {
    if (text[pos] != '.') return std::nullopt;
    const std::string digits = text.substr(pos + 1);
    if (digits.empty() || digits.size() > 6 ||
        digits.find_first_not_of("0123456789") != std::string::npos)
      return std::nullopt;
    fraction = std::stoul((digits + "000000").substr(0, 6));
  }
  t.tm_year -= 1900;
  t.tm_mon -= 1;
  t.tm_isdst = -1;  // local time: whatever daylight saving the zone had on that day
  const time_t seconds = local ? mktime(&t) : timegm(&t);
  if (seconds < 0) return std::nullopt;
  return static_cast<uint64_t>(seconds) * 1000000ULL + fraction;
}

uint16_t kindOption(const std::string& text) {
  uint64_t v = 0;
  if (parseUnsigned(text, 0xFFFF, v)) return static_cast<uint16_t>(v);
  if (!text.empty() && !std::isdigit(static_cast<unsigned char>(text[0]))) {
    std::string wanted = upper(text);
    if (wanted.compare(0, 6, "MSGID_") != 0) wanted = "MSGID_" + wanted;
    for (unsigned id = 0; id <= 0xFFFF; ++id) {
      const char* name = getMsgIdName(static_cast<msgid_t>(id));
      if (name && wanted == name) return static_cast<uint16_t>(id);
    }
  }
  throw Failure{"unknown record kind " + inQuotes(text)};
}

std::string kindName(uint16_t id) {
  if (const char* name = getMsgIdName(static_cast<msgid_t>(id))) return name;
  char text[16];
  std::snprintf(text, sizeof text, "0x%04X", id);
  return text;
}

std::string escapeControls(const std::string& text) {
  std::size_t i = 0;
  while (i < text.size() && static_cast<unsigned char>(text[i]) >= 0x20 && text[i] != 0x7F) ++i;
  if (i == text.size()) return text;
  std::string out = text.substr(0, i);
  for (; i < text.size(); ++i) {
    const unsigned char c = static_cast<unsigned char>(text[i]);
    if (c >= 0x20 && c != 0x7F) {
      out.push_back(static_cast<char>(c));
    } else {
      char esc[5];
      std::snprintf(esc, sizeof esc, "\\x%02x", c);
      out += esc;
    }
  }
  return out;
}

Selection::Selection(const FilterFlags& flags) {
  for (const auto& t : flags.ids) ids_.emplace(kindOption(t), Wanted{t});
  for (const auto& t : flags.channels) channels_.emplace(labelKey(t), Wanted{t});
  for (const auto& t : flags.canIds) {
    const std::size_t slash = t.find('/');
    uint64_t value = 0, mask = 0x1FFFFFFF;
    if (!parseUnsigned(t.substr(0, slash), 0x1FFFFFFF, value) ||
        (slash != std::string::npos && !parseUnsigned(t.substr(slash + 1), 0x1FFFFFFF, mask)))
      throw Failure{"invalid value for --can-id: " + inQuotes(t) +
                    " (ID or ID/MASK, each up to 0x1FFFFFFF, hex with 0x or decimal)"};
    canIds_.push_back({t, static_cast<uint32_t>(value), static_cast<uint32_t>(mask),
                       value > 0x7FF || (slash != std::string::npos && mask > 0x7FF)});
  }
  auto time = [&](const char* option, const std::string& text) -> std::optional<uint64_t> {
    if (text.empty()) return std::nullopt;
    auto t = parseTime(text, flags.localTime);
    if (!t)
      throw Failure{std::string("invalid time for ") + option + ": " + inQuotes(text) +
                    " (expected YYYY-MM-DD HH:MM:SS[.ffffff] in " +
                    (flags.localTime ? "local time" : "UTC") + ", or microseconds)"};
    return t;
  };
  from_ = time("--from", flags.from);
  to_ = time("--to", flags.to);
  if (from_ && to_ && *from_ > *to_) throw Failure{"--from is later than --to"};
  if (!flags.count.empty()) count_ = numberOption("--count", flags.count, UINT64_MAX);
}

bool Selection::take(const MessageBase& msg) {
  // Each filter is matched on its own, so that one that never matches can be named.
  auto match = [](auto& filter, const auto& key) {
    if (filter.empty()) return true;
    auto it = filter.find(key);
    if (it == filter.end()) return false;
    it->second.seen = true;
    return true;
  };
  auto* inv = msg.msgId == MSGID_INVALID ? dynamic_cast<const InvalidMessage*>(&msg) : nullptr;
  const bool kind = match(ids_, inv ? inv->id : static_cast<uint16_t>(msg.msgId));
  const bool channel =
      channels_.empty() || match(channels_, labelKey(vxtrace::channelLabel(msg)));
  bool canId = canIds_.empty();
  if (!canIds_.empty()) {
    CanFrame frame;
    if (toCanFrame(msg, frame) == nullptr && !frame.error)
      for (auto& c : canIds_)
        if ((frame.id & c.mask) == (c.value & c.mask) && (frame.extended || !c.extendedOnly))
          canId = c.seen = true;
  }
  if (!kind || !channel || !canId) return false;
  if ((from_ && msg.timeStamp < *from_) || (to_ && msg.timeStamp > *to_)) return false;
  ++taken_;
  return true;
}

void Selection::warnUnmatched(const std::string& inputName) const {
  auto warn = [&](const char* option, const std::string& typed) {
    report(nullptr, std::string("warning: ") + option + " " + inQuotes(typed) +
                        " matches no record in " + inputName);
  };
  for (const auto& [key, wanted] : ids_)
    if (!wanted.seen) warn("--id", wanted.typed);
  for (const auto& c : canIds_)
    if (!c.seen) warn("--can-id", c.typed);
  for (const auto& [key, wanted] : channels_)
    if (!wanted.seen) warn("--channel", wanted.typed);
}

}  // namespace vxtrace::cli
