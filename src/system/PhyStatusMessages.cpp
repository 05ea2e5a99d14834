// Ethernet PHY register readings, plain and addressed by device, with the derived link state,
// signal-quality class and symbol-error count.
#include "util/EnumName.h"
#include "util/Record.h"
#include "util/Reject.h"
#include "vxtrace/PhyStatusExtMessage.h"
#include "vxtrace/PhyStatusMessage.h"

using namespace vxtrace::detail;

namespace {

// The TJA1100 reports its link in the top bit of register 23, the others in bit 2 of register 1.
uint16_t linkRegister(PhyStatusMessage::phyType_t t) {
  return t == PhyStatusMessage::PHY_TJA1100 ? 23 : 1;
}
uint16_t linkBit(PhyStatusMessage::phyType_t t) {
  return t == PhyStatusMessage::PHY_TJA1100 ? 0x8000 : 0x0004;
}
const uint16_t kSqiRegister = 23;
const uint16_t kSymbolErrorRegister = 20;

// reading(i) yields (register, value) of entry i.
template <typename Reading>
PhyStatusMessage::linkStatus_t linkOf(PhyStatusMessage::phyType_t t, std::size_t n,
                                      Reading reading) {
  PhyStatusMessage::linkStatus_t link = PhyStatusMessage::LINK_UNKNOWN;
  for (std::size_t i = 0; i < n; ++i) {
    const auto r = reading(i);
    if (r.first == linkRegister(t))
      link = (r.second & linkBit(t)) != 0 ? PhyStatusMessage::LINK_UP : PhyStatusMessage::LINK_DOWN;
  }
  return link;
}

template <typename Reading>
bool firstValue(uint16_t reg, std::size_t n, Reading reading, uint16_t& value) {
  for (std::size_t i = 0; i < n; ++i) {
    const auto r = reading(i);
    if (r.first == reg) {
      value = r.second;
      return true;
    }
  }
  return false;
}

template <typename Reading>
PhyStatusMessage::sqi_t sqiOf(std::size_t n, Reading reading) {
  uint16_t v = 0;
  return firstValue(kSqiRegister, n, reading, v)
             ? static_cast<PhyStatusMessage::sqi_t>((v & 0xE0) >> 5)
             : PhyStatusMessage::SQI_NOT_AVAILABLE;
}

template <typename Reading>
uint32_t symbolErrorsOf(std::size_t n, Reading reading) {
  uint16_t v = 0;
  return firstValue(kSymbolErrorRegister, n, reading, v) ? v : 0xFFFFFFFFu;
}

void printStart(std::ostream& os, busid_t bus, uint8_t channel, PhyStatusMessage::phyType_t t,
                PhyStatusMessage::linkStatus_t link) {
  os << "  PHY STATUS  | " << bus << " #" << channel + 1 << ", "
     << PhyStatusMessage::getPhyTypeName(t) << ": link "
     << PhyStatusMessage::getLinkStatusName(link);
}

std::string channelName(busid_t bus, uint8_t channel) {
  return std::string(getBusIdName(bus)) + " #" + std::to_string(static_cast<unsigned int>(channel));
}

}  // namespace

// ---- PhyStatusMessage ----------------------------------------------------------------------

PhyStatusMessage::PhyStatusMessage(unsigned long long ts, busid_t b, uint8_t ch, phyType_t t,
                                   const std::vector<std::pair<uint16_t, uint16_t>>& regs)
    : MessageBase(MSGID_PHY_STATUS, ts), bus(b), channel(ch), phyType(t), registers(regs) {}

PhyStatusMessage::PhyStatusMessage(const unsigned char* data, unsigned int length)
    : MessageBase(MSGID_PHY_STATUS, 0), bus(BUSID_UNKNOWN), channel(0), phyType(PHY_UNKNOWN) {
  ByteReader in(data, length);
  in.require(18, "PhyStatusMessage message too short");
  readFrameHeader(in, *this);
  bus = static_cast<busid_t>(in.u8());
  channel = in.u8();
  const uint8_t n = in.u8();
  phyType = static_cast<phyType_t>(in.u8());
  for (unsigned int i = 0; i < n && in.has(4); ++i) {
    const uint16_t address = in.be16();
    registers.emplace_back(address, in.be16());
  }
}

VXTRACE_RECORD_MEMBERS(PhyStatusMessage)

unsigned int PhyStatusMessage::writeToByteArray(unsigned char*& out, unsigned int room,
                                                bool withSync) const {
  return writeRecord(*this, out, room, withSync,
                     [&](ByteWriter& w) {
                       w.u8(bus);
                       w.u8(channel);
                       w.u8(static_cast<uint8_t>(registers.size()));
                       w.u8(static_cast<uint8_t>(phyType));
                       for (const auto& r : registers) {
                         w.be16(r.first);
                         w.be16(r.second);
                       }
                     }) == 0
             ? 0
             : getSize();
}

unsigned int PhyStatusMessage::getSize() const {
  return 16 + 4 * static_cast<unsigned int>(registers.size());
}

bool PhyStatusMessage::operator==(const MessageBase& other) const {
  auto* o = sameClass(*this, other);
  return o != nullptr && o->bus == bus && o->channel == channel && o->phyType == phyType &&
         o->registers == registers;
}

void PhyStatusMessage::print(std::ostream& os) const {
  RecordLine line(os, *this);
  printStart(os, bus, channel, phyType, getLinkStatus());
  for (const auto& r : registers) {
    os << ", " << std::dec << r.first << "=0x" << std::hex << std::setfill('0') << std::setw(4)
       << r.second;
  }
}

std::string PhyStatusMessage::getSourceChannel() const { return channelName(bus, channel); }

uint64_t PhyStatusMessage::getSourceChannelID() const {
  return sourceChannelKey(sourceWord, bus, channel);
}

void PhyStatusMessage::cascadeChannel(unsigned short offset) {
  channel = static_cast<uint8_t>(channel + (offset & 0xFF));
}

bool PhyStatusMessage::getValue(unsigned short address, unsigned short& value) const {
  uint16_t v = 0;
  if (!firstValue(
          address, registers.size(), [&](std::size_t i) { return registers[i]; }, v))
    return false;
  value = v;
  return true;
}

PhyStatusMessage::linkStatus_t PhyStatusMessage::getLinkStatus() const {
  return linkOf(phyType, registers.size(), [&](std::size_t i) { return registers[i]; });
}

PhyStatusMessage::sqi_t PhyStatusMessage::getSQI() const {
  return sqiOf(registers.size(), [&](std::size_t i) { return registers[i]; });
}

uint32_t PhyStatusMessage::getSymbolErrorCount() const {
  return symbolErrorsOf(registers.size(), [&](std::size_t i) { return registers[i]; });
}

const char* PhyStatusMessage::getPhyTypeName(phyType_t type) {
  static const char* const names[] = {"<unknown phy type>", "TJA1100", "KSZ9031RNX", "BCM54810",
                                      "MAR88Q2112"};
  return enumName(type, names, "INVALID");
}

const char* PhyStatusMessage::getLinkStatusName(linkStatus_t status) {
  static const char* const names[] = {"unknown", "down", "up", "error"};
  return enumName(status, names, "INVALID");
}

const char* PhyStatusMessage::getSQIName(sqi_t sqi) {
  static const char* const names[] = {
      "SQI_WORST_CLASS_A (unstable link)", "SQI_CLASS_A (unstable link)",
      "SQI_CLASS_B (unstable link)",       "SQI_CLASS_C (good link)",
      "SQI_CLASS_D (good link)",           "SQI_CLASS_E (good link)",
      "SQI_CLASS_F (very good link)",      "SQI_CLASS_G (very good link)"};
  return enumName(sqi, names, sqi == SQI_NOT_AVAILABLE ? "<not available>" : "<unknown>");
}

// ---- PhyStatusExtMessage -------------------------------------------------------------------

PhyStatusExtMessage::PhyStatusExtMessage(unsigned long long ts, busid_t b, uint8_t ch,
                                         PhyStatusMessage::phyType_t t,
                                         const std::vector<entry_t>& e)
    : MessageBase(MSGID_PHY_STATUS_EXT, ts), bus(b), channel(ch), phyType(t), entries(e) {}

PhyStatusExtMessage::PhyStatusExtMessage(const unsigned char* data, unsigned int length)
    : MessageBase(MSGID_PHY_STATUS_EXT, 0),
      bus(BUSID_UNKNOWN),
      channel(0),
      phyType(PhyStatusMessage::PHY_UNKNOWN) {
  ByteReader in(data, length);
  in.require(22, "PhyStatusExtMessage message too short");
  readFrameHeader(in, *this);
  bus = static_cast<busid_t>(in.u8());
  channel = in.u8();
  // All 16 bits kept, though only values up to 4 have a name: the name lookup checks the range.
  phyType = static_cast<PhyStatusMessage::phyType_t>(in.be16());
  in.skip(2);
  const uint16_t n = in.be16();
  for (unsigned int i = 0; i < n && in.has(8); ++i) {
    entry_t e;
    e.extra = in.be16();
    e.dev = in.be16();
    e.reg = in.be16();
    e.value = in.be16();
    entries.push_back(e);
  }
}

VXTRACE_RECORD_MEMBERS(PhyStatusExtMessage)

unsigned int PhyStatusExtMessage::writeToByteArray(unsigned char*& out, unsigned int room,
                                                   bool withSync) const {
  // The size field declares 4 bytes beyond the body; the count is written modulo 65536.
  return writeRecord(
      *this, out, room, withSync,
      [&](ByteWriter& w) {
        w.u8(bus);
        w.u8(channel);
        w.be16(phyType);
        w.be16(0);
        w.be16(static_cast<uint16_t>(entries.size()));
        for (const entry_t& e : entries) {
          w.be16(e.extra);
          w.be16(e.dev);
          w.be16(e.reg);
          w.be16(e.value);
        }
      },
      4);
}

unsigned int PhyStatusExtMessage::getSize() const {
  return 24 + 8 * static_cast<unsigned int>(entries.size());
}

bool PhyStatusExtMessage::operator==(const MessageBase& other) const {
  auto* o = sameClass(*this, other);
  return o != nullptr && o->bus == bus && o->channel == channel && o->phyType == phyType &&
         o->entries == entries;
}

void PhyStatusExtMessage::print(std::ostream& os) const {
  RecordLine line(os, *this);
  printStart(os, bus, channel, phyType, getLinkStatus());
  for (const entry_t& e : entries) {
    os << " [dev=" << std::dec << e.dev << ",reg=" << e.reg << ",val=0x" << std::hex
       << std::setfill('0') << std::setw(4) << e.value << ']';
  }
}

std::string PhyStatusExtMessage::getSourceChannel() const { return channelName(bus, channel); }

uint64_t PhyStatusExtMessage::getSourceChannelID() const {
  return sourceChannelKey(sourceWord, bus, channel);
}

void PhyStatusExtMessage::cascadeChannel(unsigned short offset) {
  channel = static_cast<uint8_t>(channel + (offset & 0xFF));
}

bool PhyStatusExtMessage::getValue(unsigned short reg, unsigned short& value,
                                   unsigned short dev) const {
  for (const entry_t& e : entries) {
    if (e.reg == reg && e.dev == dev) {
      value = e.value;
      return true;
    }
  }
  return false;
}

namespace {
std::pair<uint16_t, uint16_t> regValue(const PhyStatusExtMessage::entry_t& e) {
  return {e.reg, e.value};
}
}  // namespace

PhyStatusMessage::linkStatus_t PhyStatusExtMessage::getLinkStatus() const {
  return linkOf(phyType, entries.size(), [&](std::size_t i) { return regValue(entries[i]); });
}

PhyStatusMessage::sqi_t PhyStatusExtMessage::getSQI() const {
  return sqiOf(entries.size(), [&](std::size_t i) { return regValue(entries[i]); });
}

uint32_t PhyStatusExtMessage::getSymbolErrorCount() const {
  return symbolErrorsOf(entries.size(), [&](std::size_t i) { return regValue(entries[i]); });
}
