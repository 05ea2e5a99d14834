#include "vxtrace/EthernetTraceMessage.h"

#include <algorithm>
#include <memory>

#include "util/Record.h"
#include "util/Reject.h"
#include "vxtrace/BusId.h"
#include "vxtrace/EthernetConfig.h"
#include "vxtrace/EthernetTraceMessage_RX.h"
#include "vxtrace/EthernetTraceMessage_TX.h"
#include "vxtrace/PlatformUtil.h"

using namespace vxtrace::detail;

namespace {

constexpr std::size_t kEcuIdLength = 4;
constexpr uint32_t kLastProto = ETH_PROTO_TCPSERVER;

const char* const kProtoNames[] = {"KESTREL",  "RAW",     "UTF8", "DLT", "UDPServer",
                                   "SpyMode",  "EsoTrace", "",    "MII", "TCPServer"};
// The tag in front of the payload in a record's line; none for 7.
const char* const kProtoTags[] = {" [KESTREL] - ",   " [RAW] - ",         " [UTF8] - ",
                                  " [DLT-BMW] - ecuID=", " [UDPSERVER] - ", " [SPYMODE] - ",
                                  " [ESOTRACE] - ",  "",                  " [MII] - status=0x",
                                  " [TCPSERVER] - "};

std::string paddedEcuId(std::string text) {
  text.resize(kEcuIdLength, ' ');
  return text;
}

// Decodes with the kind's identifier; null for a record the definition leaves undecoded.
template <typename Kind>
MessageBase* decodeEthernet(const unsigned char* data, unsigned int length) {
  std::unique_ptr<Kind> msg(new Kind(data, length));
  if (msg->protocol != ETH_PROTO_MII && msg->data.empty()) return nullptr;
  return msg.release();
}

}  // namespace

std::ostream& operator<<(std::ostream& os, const ethernetproto_t& proto) {
  if (proto <= kLastProto) return os << kProtoNames[proto];
  printUnknownEnum(os, static_cast<int>(proto));
  return os;
}

EthernetTraceMessage::EthernetTraceMessage(msgid_t msgid, unsigned long long ts, uint8_t channel_,
                                           ethernetproto_t protocol_,
                                           const std::vector<uint8_t>& bytes)
    : MessageBase(msgid, ts),
      data(bytes),
      protocol(protocol_),
      channel(channel_),
      ecuId("NEW "),
      miiStatus(0) {}

EthernetTraceMessage::EthernetTraceMessage(msgid_t msgid, const unsigned char* bytes,
                                           unsigned int length)
    : EthernetTraceMessage(msgid, 0, 0, ETH_PROTO_KESTREL, {}) {
  // The payload of DLT and generic records runs to the end the size field declares; declared
  // bytes missing from the given length read as zero (at most 64 KiB, bounded by the field).
  const std::size_t end = ByteReader(bytes, length).be16() + 2u;
  ByteReader in(bytes, length);
  readFrameHeader(in, *this);
  channel = in.u8();
  const uint8_t proto = in.u8();
  if (proto > kLastProto) {
    throwBadEnum("ethernetproto_t", proto);
  }
  protocol = static_cast<ethernetproto_t>(proto);
  if (protocol == ETH_PROTO_MII) {
    in.skip(3);
    miiStatus = in.u8();
    data.assign(in.be16(), 0);  // the announced length; missing bytes read as zero
    in.bytes(data.data(), data.size());
    return;
  }
  if (protocol == ETH_PROTO_DLT) {
    char id[kEcuIdLength];
    in.bytes(id, sizeof id);
    ecuId = paddedEcuId(std::string(id, strnlen(id, sizeof id)));
  }
  // From its fixed offset, not the reader's: a frame cut inside the header still has the
  // payload its size field declares.
  const std::size_t start = protocol == ETH_PROTO_DLT ? 20 : 16;
  data.assign(end > start ? end - start : 0, 0);
  in.skip(start - in.position());
  in.bytes(data.data(), data.size());
}

void EthernetTraceMessage::setEcuId(const char* text) {
  if (text != nullptr) ecuId = text;
  ecuId = paddedEcuId(ecuId);
}

unsigned int EthernetTraceMessage::getSize() const {
  const unsigned int n = static_cast<unsigned int>(data.size());
  switch (protocol) {
    case ETH_PROTO_DLT:
      return 14 + n + static_cast<unsigned int>(ecuId.size());
    case ETH_PROTO_MII:
      return 20 + n;
    default:
      return 14 + n;
  }
}

unsigned int EthernetTraceMessage::writeToByteArray(unsigned char*& out, unsigned int room,
                                                    bool withSync) const {
  const unsigned int written = writeRecord(*this, out, room, withSync, [&](ByteWriter& w) {
    w.u8(channel);
    w.u8(static_cast<uint8_t>(protocol));
    if (protocol == ETH_PROTO_DLT) {
      w.bytes(ecuId.data(), ecuId.size());
    } else if (protocol == ETH_PROTO_MII) {
      w.zeros(3);
      w.u8(miiStatus);
      w.be16(static_cast<uint16_t>(data.size()));
    }
    w.bytes(data.data(), data.size());
  });
  return written == 0 ? 0 : getSize();
}

bool EthernetTraceMessage::operator==(const MessageBase& other) const {
  auto* o = sameClass(*this, other);
  return o != nullptr && msgId == o->msgId && timeStamp == o->timeStamp &&
         channel == o->channel && protocol == o->protocol && data == o->data;
}

void EthernetTraceMessage::print(std::ostream& os) const {
  RecordLine line(os, *this);
  os << std::uppercase << "  ETHERNET #" << static_cast<unsigned int>(channel) + 1 << " | "
     << (msgId == MSGID_ETHERNET_TX ? "TX" : "RX");
  if (protocol > kLastProto) return;
  os << kProtoTags[protocol] << std::hex << std::setfill('0');
  const uint8_t* begin = data.data();
  const uint8_t* end = begin + data.size();
  switch (protocol) {
    case ETH_PROTO_UNNAMED:
      return;
    case ETH_PROTO_UTF8:
      for (const uint8_t* p = begin; p != end; ++p) {
        os << (*p >= 0x20 && *p <= 0x7E ? static_cast<char>(*p) : '.');
      }
      return;
    case ETH_PROTO_DLT:
      os << ecuId << ", ";
      break;
    case ETH_PROTO_MII:
      os << std::setw(2) << static_cast<unsigned int>(miiStatus) << " - ";
      break;
    default:
      break;
  }
  dumpData(os, begin, end);
}

std::string EthernetTraceMessage::getSourceChannel() const {
  return "Ethernet #" + std::to_string(static_cast<unsigned int>(channel));
}

uint64_t EthernetTraceMessage::getSourceChannelID() const {
  return sourceChannelKey(sourceWord, BUSID_ETHERNET, channel);
}

void EthernetTraceMessage::cascadeChannel(unsigned short offset) {
  channel = static_cast<uint8_t>(channel + (offset & 0xFF));
}

std::string EthernetTraceMessage::toString() const { return printedText(*this); }

std::ostream& operator<<(std::ostream& os, const EthernetTraceMessage& msg) {
  msg.print(os);
  return os;
}

EthernetTraceMessage_RX::EthernetTraceMessage_RX(unsigned long long ts, uint8_t channel_,
                                                 ethernetproto_t protocol_,
                                                 const std::vector<uint8_t>& bytes)
    : EthernetTraceMessage(MSGID_ETHERNET_RX, ts, channel_, protocol_, bytes) {}

EthernetTraceMessage_RX::EthernetTraceMessage_RX(const unsigned char* bytes, unsigned int length)
    : EthernetTraceMessage(MSGID_ETHERNET_RX, bytes, length) {}

MessageBase* EthernetTraceMessage_RX::readFromByteArray(const unsigned char* bytes,
                                                        unsigned int length) {
  return decodeEthernet<EthernetTraceMessage_RX>(bytes, length);
}

VXTRACE_RECORD_CLONE(EthernetTraceMessage_RX)

EthernetTraceMessage_TX::EthernetTraceMessage_TX(unsigned long long ts, uint8_t channel_,
                                                 ethernetproto_t protocol_,
                                                 const std::vector<uint8_t>& bytes)
    : EthernetTraceMessage(MSGID_ETHERNET_TX, ts, channel_, protocol_, bytes) {}

EthernetTraceMessage_TX::EthernetTraceMessage_TX(const unsigned char* bytes, unsigned int length)
    : EthernetTraceMessage(MSGID_ETHERNET_TX, bytes, length) {}

MessageBase* EthernetTraceMessage_TX::readFromByteArray(const unsigned char* bytes,
                                                        unsigned int length) {
  return decodeEthernet<EthernetTraceMessage_TX>(bytes, length);
}

VXTRACE_RECORD_CLONE(EthernetTraceMessage_TX)

const uint8_t ethernetConfig_t::DLT_VERSION_MASK = 7;

std::ostream& operator<<(std::ostream& os, const ethernetConfig_t& c) {
  StreamStateGuard guard(os);
  os << std::dec << std::boolalpha << '"' << c.name << "\", " << c.info1 << ", " << c.info2
     << ", " << c.infoNumber << ", " << (c.active ? "active" : "inactive")
     << ", protocol = " << c.protocol << ", debugLevel=" << c.debugLevel
     << ", hostIp=" << c.hostIp << ", mask=" << c.mask << ", gatewayIp=" << c.gatewayIp;
  if (c.vlan) os << ", vlanId=" << c.vlanId;
  if (c.protocol == ETH_PROTO_DLT) {
    os << ", AUTOSAR version=" << c.autosarVersion << ", DLT protocol version="
       << static_cast<unsigned int>(c.dltVersion & ethernetConfig_t::DLT_VERSION_MASK)
       << ", ECUID=" << std::string(c.ecuId, strnlen(c.ecuId, sizeof c.ecuId))
       << ", traceStatus=" << c.traceStatus << ", DLT verbose mode=" << c.dltVerbose;
  }
  os << ", containerId=" << c.containerId << ", timeout=" << c.timeout;
  return os;
}
