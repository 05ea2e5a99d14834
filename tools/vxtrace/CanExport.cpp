#include "CanExport.h"

#include <cstring>
#include <vector>

#include "util/Hex.h"
#include "vxtrace/CANExtTraceMessage.h"
#include "vxtrace/BusId.h"
#include "vxtrace/CANTraceMessage.h"
#include "vxtrace/EthernetTraceMessage.h"
#include "vxtrace/io/CanFrame.h"

namespace vxtrace::cli {

namespace {

// SocketCAN identifier flags and error classes (linux/can.h, linux/can/error.h).
constexpr uint32_t kEffFlag = 0x80000000u;
constexpr uint32_t kErrFlag = 0x20000000u;
constexpr uint32_t kErrCrtl = 0x00000004u;
constexpr uint32_t kErrProt = 0x00000008u;
constexpr uint32_t kErrAck = 0x00000020u;
constexpr uint32_t kErrBusError = 0x00000080u;
constexpr uint8_t kCrtlRxOverflow = 0x01;
constexpr uint8_t kProtForm = 0x02;
constexpr uint8_t kProtStuff = 0x04;
constexpr uint8_t kProtBit0 = 0x08;
constexpr uint8_t kProtBit1 = 0x10;
constexpr uint8_t kProtLocCrcSeq = 0x08;
constexpr uint8_t kProtLocAck = 0x19;
constexpr uint8_t kFdBrs = 0x01;
constexpr uint8_t kFdEsi = 0x02;
constexpr uint8_t kFdFdf = 0x04;  // marks a CAN FD frame in the SocketCAN header

constexpr uint16_t kLinktypeSocketCan = 227;
constexpr uint16_t kLinktypeEthernet = 1;
// Direction bits of an enhanced packet block's flags.
constexpr uint32_t kEpbInbound = 1;
constexpr uint32_t kEpbOutbound = 2;

// The error class and data bytes of a logger error code, as a SocketCAN driver reports it.
bool mapError(unsigned code, SocketCanFrame& f) {
  std::memset(f.data, 0, sizeof f.data);
  f.length = 8;
  uint32_t cls = kErrProt | kErrBusError;
  switch (code) {
    case CAN_ERR_STUFF:
      f.data[2] = kProtStuff;
      break;
    case CAN_ERR_FORMAT:
      f.data[2] = kProtForm;
      break;
    case CAN_ERR_ACK:
      cls = kErrAck | kErrBusError | kErrProt;
      f.data[3] = kProtLocAck;
      break;
    case CAN_ERR_BIT1:
      f.data[2] = kProtBit1;
      break;
    case CAN_ERR_BIT0:
      f.data[2] = kProtBit0;
      break;
    case CAN_ERR_CRC:
      f.data[3] = kProtLocCrcSeq;
      break;
    case CAN_ERR_OVERRUN:
      cls = kErrCrtl;
      f.data[1] = kCrtlRxOverflow;
      break;
    default:
      return false;
  }
  f.canId = kErrFlag | cls;
  return true;
}

void putLE16(std::vector<uint8_t>& v, uint16_t x) {
  v.push_back(static_cast<uint8_t>(x));
  v.push_back(static_cast<uint8_t>(x >> 8));
}
void putLE32(std::vector<uint8_t>& v, uint32_t x) {
  putLE16(v, static_cast<uint16_t>(x));
  putLE16(v, static_cast<uint16_t>(x >> 16));
}
void putBE32(std::vector<uint8_t>& v, uint32_t x) {
  v.push_back(static_cast<uint8_t>(x >> 24));
  v.push_back(static_cast<uint8_t>(x >> 16));
  v.push_back(static_cast<uint8_t>(x >> 8));
  v.push_back(static_cast<uint8_t>(x));
}
void pad4(std::vector<uint8_t>& v) {
  while (v.size() % 4) v.push_back(0);
}
// Fills in the block's total length at offset 4 and at its end.
void finishBlock(std::vector<uint8_t>& block) {
  putLE32(block, 0);
  const uint32_t total = static_cast<uint32_t>(block.size());
  for (int i = 0; i < 4; ++i) {
    block[4 + i] = static_cast<uint8_t>(total >> (8 * i));
    block[total - 4 + i] = static_cast<uint8_t>(total >> (8 * i));
  }
}

}  // namespace

const char* toSocketCan(const MessageBase& msg, SocketCanFrame& f) {
  CanFrame can;
  if (const char* why = toCanFrame(msg, can)) return why;
  f = SocketCanFrame();
  f.channel = can.channel;
  f.timeStamp = can.timeUs;
  if (can.error)
    return mapError(can.errorCode, f) ? nullptr : "error frame without an error class";
  f.sent = can.tx;
  f.canId = can.id | (can.extended ? kEffFlag : 0);
  f.fd = can.fd;
  if (can.brs) f.fdFlags |= kFdBrs;
  if (can.esi) f.fdFlags |= kFdEsi;
  f.length = can.length;
  std::memcpy(f.data, can.data, f.length);
  return nullptr;
}

CanExporter::CanExporter(std::FILE* file, Format format) : file_(file), format_(format) {
  if (format_ == Pcapng) writePcapngHeader();
}

void CanExporter::add(const MessageBase& msg) {
  const auto* eth = dynamic_cast<const EthernetTraceMessage*>(&msg);
  if (format_ == Pcapng && eth != nullptr && eth->protocol == ETH_PROTO_RAW) {
    const uint32_t iface = pcapngInterface(static_cast<uint32_t>(BUSID_ETHERNET) << 8 | eth->channel,
                                           kLinktypeEthernet, "eth" + std::to_string(eth->channel));
    writePcapngPacket(iface, msg.timeStamp, eth->data, msg.msgId == MSGID_ETHERNET_TX);
    ++written_;
    return;
  }
  SocketCanFrame f;
  if (const char* reason = toSocketCan(msg, f)) {
    ++skipped_[reason];
    return;
  }
  if (format_ == Candump) {
    writeCandump(f);
  } else {
    writePcapngFrame(f);
  }
  ++written_;
}

void CanExporter::writeCandump(const SocketCanFrame& f) {
  char line[200];
  int n = std::snprintf(line, sizeof line, "(%010llu.%06llu) can%u ", f.timeStamp / 1000000ULL,
                        f.timeStamp % 1000000ULL, f.channel);
  if (f.canId & (kEffFlag | kErrFlag)) {
    n += std::snprintf(line + n, sizeof line - n, "%08X#",
                       static_cast<unsigned>(f.canId & (0x1FFFFFFFu | kErrFlag)));
  } else {
    n += std::snprintf(line + n, sizeof line - n, "%03X#", static_cast<unsigned>(f.canId));
  }
  if (f.fd) {
    line[n++] = '#';
    line[n++] = vxtrace::detail::hexDigits(true)[f.fdFlags & 0x0F];
  }
  for (unsigned i = 0; i < f.length; ++i) {
    vxtrace::detail::putHex2(line + n, f.data[i], true);
    n += 2;
  }
  line[n++] = ' ';
  line[n++] = f.sent ? 'T' : 'R';
  line[n++] = '\n';
  std::fwrite(line, 1, static_cast<std::size_t>(n), file_);
}

void CanExporter::writePcapngHeader() {
  std::vector<uint8_t> b;
  putLE32(b, 0x0A0D0D0A);  // section header block
  putLE32(b, 0);
  putLE32(b, 0x1A2B3C4D);  // byte-order magic: the file is little-endian
  putLE16(b, 1);
  putLE16(b, 0);
  putLE32(b, 0xFFFFFFFF);  // section length unknown
  putLE32(b, 0xFFFFFFFF);
  finishBlock(b);
  std::fwrite(b.data(), 1, b.size(), file_);
}

uint32_t CanExporter::pcapngInterface(uint32_t key, uint16_t linkType, const std::string& name) {
  auto it = interfaces_.find(key);
  if (it != interfaces_.end()) return it->second;
  std::vector<uint8_t> b;
  putLE32(b, 1);  // interface description block
  putLE32(b, 0);
  putLE16(b, linkType);
  putLE16(b, 0);
  putLE32(b, 0);  // no snapshot limit
  putLE16(b, 2);  // if_name
  putLE16(b, static_cast<uint16_t>(name.size()));
  b.insert(b.end(), name.begin(), name.end());
  pad4(b);
  putLE32(b, 0);  // end of options
  finishBlock(b);
  std::fwrite(b.data(), 1, b.size(), file_);
  const uint32_t id = static_cast<uint32_t>(interfaces_.size());
  interfaces_.emplace(key, id);
  return id;
}

void CanExporter::writePcapngFrame(const SocketCanFrame& f) {
  const uint32_t iface = pcapngInterface(static_cast<uint32_t>(BUSID_CAN) << 8 | f.channel,
                                         kLinktypeSocketCan, "can" + std::to_string(f.channel));
  // SocketCAN frame: big-endian can_id, length, FD flags, two reserved bytes, data padded to
  // the frame's full size (16 bytes classic, 72 bytes FD) as the kernel hands it out.
  std::vector<uint8_t> packet;
  putBE32(packet, f.canId);
  packet.push_back(f.length);
  packet.push_back(f.fd ? static_cast<uint8_t>(f.fdFlags | kFdFdf) : 0);
  packet.push_back(0);
  packet.push_back(0);
  packet.insert(packet.end(), f.data, f.data + f.length);
  packet.resize(f.fd ? 72 : 16, 0);
  writePcapngPacket(iface, f.timeStamp, packet, f.sent);
}

void CanExporter::writePcapngPacket(uint32_t iface, unsigned long long timeStamp,
                                    const std::vector<uint8_t>& packet, bool outbound) {
  std::vector<uint8_t> b;
  putLE32(b, 6);  // enhanced packet block
  putLE32(b, 0);
  putLE32(b, iface);
  putLE32(b, static_cast<uint32_t>(timeStamp >> 32));  // microseconds (default resolution)
  putLE32(b, static_cast<uint32_t>(timeStamp));
  putLE32(b, static_cast<uint32_t>(packet.size()));
  putLE32(b, static_cast<uint32_t>(packet.size()));
  b.insert(b.end(), packet.begin(), packet.end());
  pad4(b);
  putLE16(b, 2);  // epb_flags
  putLE16(b, 4);
  putLE32(b, outbound ? kEpbOutbound : kEpbInbound);
  putLE32(b, 0);  // end of options
  finishBlock(b);
  std::fwrite(b.data(), 1, b.size(), file_);
}

}  // namespace vxtrace::cli
