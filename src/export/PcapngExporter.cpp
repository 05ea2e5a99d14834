#include "vxtrace/export/PcapngExporter.h"

#include <algorithm>

#include "export/ExportUtil.h"
#include "export/SocketCan.h"
#include "vxtrace/BusId.h"
#include "vxtrace/EthernetTraceMessage.h"
#include "vxtrace/FlexRayTraceMessage.h"
#include "vxtrace/LINTraceMessage.h"

namespace vxtrace {

using namespace detail;

namespace {

constexpr uint16_t kLinktypeEthernet = 1;
constexpr uint16_t kLinktypeFlexRay = 210;
constexpr uint16_t kLinktypeLin = 212;
constexpr uint16_t kLinktypeSocketCan = 227;
// Direction bits of an enhanced packet block's flags.
constexpr uint32_t kEpbInbound = 1;
constexpr uint32_t kEpbOutbound = 2;
constexpr uint8_t kCanFdFdf = 0x04;  // marks a CAN FD frame in the SocketCAN header

// LIN pseudo-header: message types and checksum kinds, the error bit for a header no node
// answered, and the event a wake-up pulse is.
constexpr uint8_t kLinFrame = 0;
constexpr uint8_t kLinEvent = 3;
constexpr uint8_t kLinChecksumUnknown = 0;
constexpr uint8_t kLinChecksumClassic = 1;
constexpr uint8_t kLinChecksumEnhanced = 2;
constexpr uint8_t kLinNoSlaveResponse = 0x01;
constexpr uint32_t kLinWakeUpEvent = 0xB0B00004u;

// FlexRay measurement header: a frame, on channel B when bit 7 is set.
constexpr uint8_t kFlexRayFrame = 0x01;
constexpr uint8_t kFlexRayChannelB = 0x80;

void pad4(std::vector<uint8_t>& v) {
  while (v.size() % 4) v.push_back(0);
}

void putBE32(std::vector<uint8_t>& v, uint32_t x) {
  for (int shift = 24; shift >= 0; shift -= 8) v.push_back(static_cast<uint8_t>(x >> shift));
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

// The protected identifier: the 6-bit identifier and its two parity bits.
uint8_t linPid(uint8_t id) {
  id &= 0x3F;
  const auto bit = [id](int n) { return (id >> n) & 1; };
  const int p0 = bit(0) ^ bit(1) ^ bit(2) ^ bit(4);
  const int p1 = !(bit(1) ^ bit(3) ^ bit(4) ^ bit(5));
  return static_cast<uint8_t>(id | p0 << 6 | p1 << 7);
}

// The checksum over the data bytes, with the protected identifier (enhanced) or without.
uint8_t linChecksum(const uint8_t* data, std::size_t n, unsigned start) {
  unsigned sum = start;
  for (std::size_t i = 0; i < n; ++i) {
    sum += data[i];
    if (sum > 0xFF) sum -= 0xFF;
  }
  return static_cast<uint8_t>(~sum);
}

}  // namespace

PcapngExporter::PcapngExporter(ExportSink& sink) : Exporter(sink) {
  std::vector<uint8_t> b;
  putLE32(b, 0x0A0D0D0A);  // section header block
  putLE32(b, 0);
  putLE32(b, 0x1A2B3C4D);  // byte-order magic: the file is little-endian
  putLE16(b, 1);
  putLE16(b, 0);
  putLE32(b, 0xFFFFFFFF);  // section length unknown
  putLE32(b, 0xFFFFFFFF);
  finishBlock(b);
  sink_.write(b.data(), b.size());
}

uint32_t PcapngExporter::interfaceFor(uint32_t key, uint16_t linkType, const std::string& name) {
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
  sink_.write(b.data(), b.size());
  const uint32_t id = static_cast<uint32_t>(interfaces_.size());
  interfaces_.emplace(key, id);
  return id;
}

void PcapngExporter::packet(uint32_t iface, unsigned long long timeUs,
                            const std::vector<uint8_t>& bytes, bool outbound) {
  std::vector<uint8_t> b;
  putLE32(b, 6);  // enhanced packet block
  putLE32(b, 0);
  putLE32(b, iface);
  putLE32(b, static_cast<uint32_t>(timeUs >> 32));  // microseconds (default resolution)
  putLE32(b, static_cast<uint32_t>(timeUs));
  putLE32(b, static_cast<uint32_t>(bytes.size()));
  putLE32(b, static_cast<uint32_t>(bytes.size()));
  b.insert(b.end(), bytes.begin(), bytes.end());
  pad4(b);
  putLE16(b, 2);  // epb_flags
  putLE16(b, 4);
  putLE32(b, outbound ? kEpbOutbound : kEpbInbound);
  putLE32(b, 0);  // end of options
  finishBlock(b);
  sink_.write(b.data(), b.size());
}

const char* PcapngExporter::write(const MessageBase& record) {
  std::vector<uint8_t> bytes;
  if (const auto* eth = dynamic_cast<const EthernetTraceMessage*>(&record)) {
    if (eth->protocol != ETH_PROTO_RAW) return "Ethernet record without the whole frame";
    const uint32_t iface = interfaceFor(uint32_t{BUSID_ETHERNET} << 8 | eth->channel,
                                        kLinktypeEthernet, "eth" + std::to_string(eth->channel));
    packet(iface, record.timeStamp, eth->data, record.msgId == MSGID_ETHERNET_TX);
    return nullptr;
  }

  if (const auto* lin = dynamic_cast<const LINTraceMessage*>(&record)) {
    // The record's data end with the checksum byte; none at all: no node answered the header.
    const bool wakeUp = (lin->status & LINTraceMessage::STATUS_WAKEUP) != 0;
    const std::size_t payload = lin->data.empty() ? 0 : lin->data.size() - 1;
    if (!wakeUp && payload > 8) return "LIN frame longer than 8 data bytes";
    const uint8_t pid = linPid(lin->linId);
    uint8_t checksumKind = kLinChecksumUnknown;
    if (!lin->data.empty()) {
      const uint8_t sum = lin->data.back();
      if (sum == linChecksum(lin->data.data(), payload, pid))
        checksumKind = kLinChecksumEnhanced;
      else if (sum == linChecksum(lin->data.data(), payload, 0))
        checksumKind = kLinChecksumClassic;
    }
    // Format revision 1, three reserved bytes, then length, type and checksum kind,
    // protected identifier, checksum and error bits.
    uint8_t head[8] = {1, 0, 0, 0, 4 << 4 | kLinEvent << 2, 0, 0, 0};
    if (!wakeUp) {
      head[4] = static_cast<uint8_t>(payload << 4 | kLinFrame << 2 | checksumKind);
      head[5] = pid;
      head[6] = lin->data.empty() ? 0 : lin->data.back();
      head[7] = lin->data.empty() ? kLinNoSlaveResponse : 0;
    }
    bytes.assign(head, head + sizeof head);
    if (wakeUp) {
      putBE32(bytes, kLinWakeUpEvent);
    } else {
      bytes.resize(sizeof head + payload);  // not insert(): GCC 12 warns wrongly on it at -O3
      std::copy_n(lin->data.begin(), payload, bytes.begin() + sizeof head);
    }
    const uint32_t iface = interfaceFor(uint32_t{BUSID_LIN} << 8 | lin->channel, kLinktypeLin,
                                        "lin" + std::to_string(lin->channel));
    packet(iface, record.timeStamp, bytes, false);
    return nullptr;
  }

  if (const auto* fr = dynamic_cast<const FlexRayTraceMessage*>(&record)) {
    const FlexRayTraceMessage::frame_t& f = fr->frame;
    if (f.statusWord >> 11 != FlexRayTraceMessage::STATUS_FRAME_DATA)
      return "FlexRay controller event (not a frame)";
    if (f.payload.size() > 127) return "FlexRay payload longer than 127 words";
    const unsigned words = static_cast<unsigned>(f.payload.size());
    const unsigned crc = f.statusWord & 0x7FF;
    // The frame header: slotWord is its first 16 bits (the five indicator bits and the frame
    // identifier), then payload length, header CRC and cycle.
    bytes.push_back(
        static_cast<uint8_t>(kFlexRayFrame | ((f.cycleWord & 0x2000) ? kFlexRayChannelB : 0)));
    bytes.push_back(0);  // no error flags
    bytes.push_back(static_cast<uint8_t>(f.slotWord >> 8));
    bytes.push_back(static_cast<uint8_t>(f.slotWord));
    bytes.push_back(static_cast<uint8_t>(words << 1 | crc >> 10));
    bytes.push_back(static_cast<uint8_t>(crc >> 2));
    bytes.push_back(static_cast<uint8_t>((crc & 0x03) << 6 | ((f.cycleWord >> 7) & 0x3F)));
    for (uint16_t w : f.payload) {
      bytes.push_back(static_cast<uint8_t>(w >> 8));
      bytes.push_back(static_cast<uint8_t>(w));
    }
    const unsigned controller = f.cycleWord >> 14;
    const uint32_t iface = interfaceFor(uint32_t{BUSID_FLEXRAY} << 8 | controller, kLinktypeFlexRay,
                                        "flexray" + std::to_string(controller));
    packet(iface, record.timeStamp, bytes, false);
    return nullptr;
  }

  CanFrame frame;
  if (const char* reason = canFrameOf(record, frame)) return reason;
  SocketCanFrame f;
  if (const char* reason = toSocketCan(frame, f)) return reason;
  // SocketCAN frame: big-endian can_id, length, FD flags, two reserved bytes, data padded to
  // the frame's full size (16 bytes classic, 72 bytes FD) as the kernel hands it out.
  putBE32(bytes, f.canId);
  bytes.push_back(f.length);
  bytes.push_back(f.fd ? static_cast<uint8_t>(f.fdFlags | kCanFdFdf) : 0);
  bytes.push_back(0);
  bytes.push_back(0);
  bytes.insert(bytes.end(), f.data, f.data + f.length);
  bytes.resize(f.fd ? 72 : 16, 0);
  const uint32_t iface = interfaceFor(uint32_t{BUSID_CAN} << 8 | frame.channel, kLinktypeSocketCan,
                                      "can" + std::to_string(frame.channel));
  packet(iface, frame.timeUs, bytes, frame.tx);
  return nullptr;
}

}  // namespace vxtrace
