// The logger's system reports: the base record, its usage reading and its routing-error reading.
#include <cstring>

#include "util/Record.h"
#include "vxtrace/PlatformUtil.h"
#include "vxtrace/SystemMessage.h"
#include "vxtrace/SystemRoutingErrorMessage.h"
#include "vxtrace/SystemUsageMessage.h"

using namespace vxtrace::detail;

namespace {

const char* systemTypeName(unsigned int v) {
  static const char* const low[] = {"INFO",
                                    "VERSION",
                                    "USAGE",
                                    "DEBUG",
                                    "ACTION",
                                    "COUNTER",
                                    "SUCCESS",
                                    "EVENT",
                                    "TERMINAL",
                                    "ETHERNET",
                                    "ERROR_LOG",
                                    "ERROR_SEND",
                                    "ECU",
                                    "FILE",
                                    "SEPARATOR",
                                    "NG_EVENT",
                                    "LOGGER_STATUS",
                                    "NETWORK",
                                    "TRIGGER",
                                    "REGISTER_RX",
                                    "LOG_TX",
                                    "LOG_RX",
                                    "KEYBOARD",
                                    "REGISTER_XRL",
                                    "RCTEXT",
                                    "RCMON",
                                    "REGISTER_VXPBUS",
                                    "UNREGISTER_VXPBUS",
                                    "SET_STATE_VXPBUS",
                                    "USAGE_EXT",
                                    "LOGGER_START",
                                    "LOGGER_TIMER",
                                    "XRL_NETWORK",
                                    "RCTEXT2",
                                    "TSA_OUT",
                                    "CLOUD",
                                    "RECOVERED_FILE",
                                    "FPGA"};
  if (v < sizeof low / sizeof low[0]) return low[v];
  switch (v) {
    case 40:
      return "NML";
    case 112:
      return "ROUTING_ERROR";
    case 128:
      return "WARNING";
    case 144:
      return "ERROR";
    default:
      return nullptr;
  }
}

// Splits at the first sep; without one, whole is the first part and second is set by the
// caller's rule.
bool splitFirst(const std::string& text, char sep, std::string& first, std::string& second) {
  const std::size_t at = text.find(sep);
  if (at == std::string::npos) return false;
  first = text.substr(0, at);
  second = text.substr(at + 1);
  return true;
}

uint8_t readPercent(const std::string& half) {
  const std::size_t pct = half.find('%');
  if (pct == std::string::npos) return 255;
  return static_cast<uint8_t>(std::stoi(half.substr(0, pct)));
}

}  // namespace

// ---- SystemMessage -------------------------------------------------------------------------

SystemMessage::SystemMessage(unsigned long long ts, systemMsg_t t, const std::string& text)
    : MessageBase(MSGID_SYSTEMMESSAGE, ts), std::string(text), type(t) {}

MessageBase* SystemMessage::readFromByteArray(const unsigned char* data, unsigned int length) {
  ByteReader in(data, length);
  in.require(15, "SystemMessage message too short");
  in.skip(4);
  const uint16_t word = in.be16();
  const unsigned long long ts = in.be64();
  const auto type = static_cast<systemMsg_t>(in.u8());
  const std::size_t n = in.remaining();
  const char* text = reinterpret_cast<const char*>(in.bytes(n));
  SystemMessage* msg;
  switch (type) {
    case SM_USAGE:
      msg = new SystemUsageMessage(ts, text, static_cast<unsigned int>(n));
      break;
    case SM_ROUTING_ERROR: {
      std::string s(text, n);
      s.resize(std::strlen(s.c_str()));
      msg = new SystemRoutingErrorMessage(ts, s);
      break;
    }
    default:
      // NG_EVENT, RCTEXT2 and NML readings do not exist yet: they stay plain reports.
      msg = new SystemMessage(ts, type, std::string(text, n));
      msg->stripNullChar();
      break;
  }
  msg->headerWord = word;
  return msg;
}

VXTRACE_RECORD_CLONE(SystemMessage)
VXTRACE_RECORD_TEXT(SystemMessage)

unsigned int SystemMessage::writeToByteArray(unsigned char*& out, unsigned int room,
                                             bool withSync) const {
  const std::string& text = *this;
  return writeRecord(*this, out, room, withSync,
                     [&](ByteWriter& w) {
                       w.u8(type);
                       w.bytes(text.data(), text.size());
                     }) == 0
             ? 0
             : getSize();
}

unsigned int SystemMessage::getSize() const {
  return 13 + static_cast<unsigned int>(std::string::size());
}

bool SystemMessage::operator==(const MessageBase& other) const {
  auto* o = dynamic_cast<const SystemMessage*>(&other);
  return o != nullptr &&
         static_cast<const std::string&>(*o) == static_cast<const std::string&>(*this);
}

void SystemMessage::print(std::ostream& os) const {
  RecordLine line(os, *this);
  const std::string& text = *this;
  os << "  SYSTEM MSG  | [" << type << "] ";
  std::string first, second;
  switch (type) {
    case SM_SET_STATE_VXPBUS:
      if (!splitFirst(text, ':', first, second)) first = second = text;
      os << "process: ";
      printPrintable(os, first);
      os << "; state: ";
      printPrintable(os, second);
      return;
    case SM_LOGGER_STATUS:
      if (!splitFirst(text, ';', first, second)) first = text;
      os << "[status=";
      printPrintable(os, first);
      os << "] [errors=";
      printPrintable(os, second);
      os << ']';
      return;
    case SM_ROUTING_ERROR:
      if (auto* r = dynamic_cast<const SystemRoutingErrorMessage*>(this)) {
        first = r->destination;
        second = r->source;
      } else if (!splitFirst(text, ';', first, second)) {
        first = text;
      }
      os << "destination: ";
      printPrintable(os, first);
      os << ", source: ";
      printPrintable(os, second);
      return;
    default:
      printPrintable(os, text);
  }
}

void SystemMessage::stripNullChar() {
  const std::size_t at = find('\0');
  if (at != std::string::npos) erase(at);
}

std::ostream& operator<<(std::ostream& os, SystemMessage::systemMsg_t type) {
  if (const char* name = systemTypeName(type)) return os << name;
  printUnknownEnum(os, type);
  return os;
}

// ---- SystemUsageMessage --------------------------------------------------------------------

SystemUsageMessage::SystemUsageMessage(unsigned long long ts)
    : SystemMessage(ts, SM_USAGE, std::string()) {
  updateString();
}

SystemUsageMessage::SystemUsageMessage(unsigned long long ts, const devUsage_t (&usage)[DEVICES])
    : SystemMessage(ts, SM_USAGE, std::string()) {
  for (unsigned int i = 0; i < DEVICES; ++i) devUsage[i] = usage[i];
  updateString();
}

SystemUsageMessage::SystemUsageMessage(unsigned long long ts, const char* text, unsigned int length)
    : SystemMessage(ts, SM_USAGE, std::string(text, length)) {
  const std::vector<std::string> groups = split(*this, ';');
  if (groups.size() == DEVICES + 1) {
    for (unsigned int i = 0; i < DEVICES; ++i) {
      const std::vector<std::string> halves = split(groups[i], '/');
      devUsage[i].first = readPercent(halves[0]);
      devUsage[i].second = halves.size() > 1 ? readPercent(halves[1]) : 255;
    }
  }
  updateString();
}

VXTRACE_RECORD_CLONE(SystemUsageMessage)

void SystemUsageMessage::updateString() {
  std::string text;
  for (const devUsage_t& d : devUsage) {
    if (d.first == 255) {
      text += "-/-;";
      continue;
    }
    text += std::to_string(d.first) + "%/";
    text += d.second == 255 ? std::string("-;") : std::to_string(d.second) + "%;";
  }
  assign(text);
}

// ---- SystemRoutingErrorMessage -------------------------------------------------------------

SystemRoutingErrorMessage::SystemRoutingErrorMessage(unsigned long long ts, const std::string& text)
    : SystemMessage(ts, SM_ROUTING_ERROR, text) {
  if (!splitFirst(text, ';', destination, source)) destination = text;
}

VXTRACE_RECORD_CLONE(SystemRoutingErrorMessage)
