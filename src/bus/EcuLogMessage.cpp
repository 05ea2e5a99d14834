#include "vxtrace/EcuLogMessage.h"

#include "util/EnumName.h"
#include "util/Reject.h"
#include "util/Record.h"
#include "vxtrace/BusId.h"
#include "vxtrace/PlatformUtil.h"

using namespace vxtrace::detail;

namespace {
const char* const kTypeNames[] = {"INFO", "ERROR", "WARNING", "TX", "RX"};
const char* const kProtocolNames[] = {"UNKNOWN", "CCP", "XCP", "UDS", "OBD", "KWP"};

}  // namespace

std::ostream& operator<<(std::ostream& os, EcuLogMessage::ecuLogMsg_t type) {
  return printEnumName(os, type, kTypeNames);
}

std::ostream& operator<<(std::ostream& os, EcuLogMessage::protocolType_t protocol) {
  return printEnumName(os, protocol, kProtocolNames);
}

EcuLogMessage::EcuLogMessage(unsigned long long ts, ecuLogMsg_t msgType_, protocolType_t protocol_,
                             uint8_t channel_, const std::string& text_)
    : MessageBase(MSGID_ECU_LOG, ts),
      text(text_),
      msgType(msgType_),
      protocol(protocol_),
      channel(channel_) {}

EcuLogMessage::EcuLogMessage(const unsigned char* data, unsigned int length)
    : MessageBase(MSGID_ECU_LOG, 0), msgType(INFO), protocol(UNKNOWN), channel(0) {
  ByteReader in(data, length);
  in.require(17, "EcuLogMessage too short");
  readFrameHeader(in, *this);
  const uint8_t typeByte = in.u8();
  const uint8_t protocolByte = in.u8();
  if (typeByte > RX) throwBadEnum("ecuLogMsg_t", typeByte);
  if (protocolByte > KWP) throwBadEnum("protocolType_t", protocolByte);
  msgType = static_cast<ecuLogMsg_t>(typeByte);
  protocol = static_cast<protocolType_t>(protocolByte);
  channel = in.u8();
  const std::size_t n = in.remaining();
  const char* chars = reinterpret_cast<const char*>(in.bytes(n));
  if (chars != nullptr) text.assign(chars, n);
  const std::size_t nul = text.find('\0');
  if (nul != std::string::npos) text.erase(nul);
}

VXTRACE_RECORD_MEMBERS(EcuLogMessage)

unsigned int EcuLogMessage::writeToByteArray(unsigned char*& out, unsigned int room,
                                             bool withSync) const {
  return writeRecord(*this, out, room, withSync, [&](ByteWriter& w) {
    w.u8(static_cast<uint8_t>(msgType));
    w.u8(static_cast<uint8_t>(protocol));
    w.u8(channel);
    w.bytes(text.data(), text.size());
  });
}

unsigned int EcuLogMessage::getSize() const { return 15 + static_cast<unsigned int>(text.size()); }

bool EcuLogMessage::operator==(const MessageBase&) const { return false; }

void EcuLogMessage::print(std::ostream& os) const {
  RecordLine line(os, *this);
  os << "  ECULOG MSG  | [" << msgType << ',' << protocol << ','
     << static_cast<unsigned int>(channel) + 1 << "] ";
  printPrintable(os, text);
}

namespace {
bool isCcpXcp(EcuLogMessage::protocolType_t p) {
  return p == EcuLogMessage::CCP || p == EcuLogMessage::XCP;
}
}  // namespace

std::string EcuLogMessage::getSourceChannel() const {
  if (!isCcpXcp(protocol)) return "LOGGER_INTERN";
  return "CCP_XCP #" + std::to_string(static_cast<unsigned int>(channel));
}

uint64_t EcuLogMessage::getSourceChannelID() const {
  if (!isCcpXcp(protocol)) return ~0ULL;
  return sourceChannelKey(sourceWord, BUSID_CCP_XCP, channel);
}

void EcuLogMessage::cascadeChannel(unsigned short offset) {
  if (isCcpXcp(protocol)) channel = static_cast<uint8_t>(channel + (offset & 0xFF));
}
