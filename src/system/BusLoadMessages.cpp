// Periodic bus-load reports, the older per-source form and the typed form with units.
#include <algorithm>
#include <sstream>

#include "util/EnumName.h"
#include "util/Record.h"
#include "util/Reject.h"
#include "vxtrace/BusLoadExtMessage.h"
#include "vxtrace/BusLoadMessage.h"
#include "vxtrace/PlatformUtil.h"

using namespace vxtrace::detail;

namespace {

// Both records refuse a room below the size with this exception, before writing anything.
void checkRoom(const char* who, unsigned int size, unsigned int room) {
  if (size <= room) return;
  VXException e;
  e << who << "::writeToByteArray: buffer size to small. Size of message = " << size
    << ", size of buffer = " << room;
  throw e;
}

// The MOST counters both records carry, in wire order: control and MDP messages and bytes,
// then, on MOST150 (mep), the MEP pair. Record: BusLoadMessage or BusLoadExtMessage.
template <typename Record>
void readMostCounters(ByteReader& in, Record& r, bool mep) {
  r.numControlMsg = in.be32();
  r.bytesControlMsg = in.be32();
  r.numMDPMsg = in.be32();
  r.bytesMDPMsg = in.be32();
  if (!mep) return;
  r.numMEPMsg = in.be32();
  r.bytesMEPMsg = in.be32();
}

template <typename Record>
void writeMostCounters(ByteWriter& w, const Record& r, bool mep) {
  w.be32(r.numControlMsg);
  w.be32(r.bytesControlMsg);
  w.be32(r.numMDPMsg);
  w.be32(r.bytesMDPMsg);
  if (!mep) return;
  w.be32(r.numMEPMsg);
  w.be32(r.bytesMEPMsg);
}

template <typename Record>
void printMostCounters(std::ostream& os, const Record& r, bool mep) {
  os << ", numControlMsg = " << r.numControlMsg << ", bytesControlMsg = " << r.bytesControlMsg
     << ", numMDPMsg = " << r.numMDPMsg << ", bytesMDPMsg = " << r.bytesMDPMsg;
  if (mep) os << ", numMEPMsg = " << r.numMEPMsg << ", bytesMEPMsg = " << r.bytesMEPMsg;
}

}  // namespace

// ---- BusLoadMessage ------------------------------------------------------------------------

BusLoadMessage::BusLoadMessage(unsigned long long ts, source_t src, uint8_t b, uint8_t l)
    : MessageBase(MSGID_BUSLOAD, ts),
      source(src),
      bus(b),
      load(l),
      status(0),
      numControlMsg(0),
      bytesControlMsg(0),
      numMDPMsg(0),
      bytesMDPMsg(0),
      numMEPMsg(0),
      bytesMEPMsg(0) {}

BusLoadMessage::BusLoadMessage(unsigned long long ts, source_t src, uint8_t st, uint32_t numCtrl,
                               uint32_t bytesCtrl, uint32_t numMDP, uint32_t bytesMDP,
                               uint32_t numMEP, uint32_t bytesMEP)
    : BusLoadMessage(ts, src, 0, 0) {
  status = st;
  numControlMsg = numCtrl;
  bytesControlMsg = bytesCtrl;
  numMDPMsg = numMDP;
  bytesMDPMsg = bytesMDP;
  numMEPMsg = numMEP;
  bytesMEPMsg = bytesMEP;
}

BusLoadMessage::BusLoadMessage(const unsigned char* data, unsigned int length)
    : BusLoadMessage(0, SRC_NONE, 0, 0) {
  ByteReader in(data, length);
  readFrameHeader(in, *this);
  source = static_cast<source_t>(in.u8());
  if (source != SRC_MOST150 && source != SRC_MOST50) {
    bus = in.u8();
    load = in.u8();
    return;
  }
  status = in.u8();
  in.skip(2);
  readMostCounters(in, *this, source == SRC_MOST150);
}

VXTRACE_RECORD_MEMBERS(BusLoadMessage)

unsigned int BusLoadMessage::writeToByteArray(unsigned char*& out, unsigned int room,
                                              bool withSync) const {
  checkRoom("BusLoadMessage", getSize(), room);
  return writeRecord(*this, out, room, withSync,
                     [&](ByteWriter& w) {
                       w.u8(source);
                       if (source != SRC_MOST150 && source != SRC_MOST50) {
                         w.u8(bus);
                         w.u8(load);
                         return;
                       }
                       w.u8(status);
                       w.zeros(2);
                       writeMostCounters(w, *this, source == SRC_MOST150);
                     }) == 0
             ? 0
             : getSize();
}

unsigned int BusLoadMessage::getSize() const {
  return source == SRC_MOST150 || source == SRC_MOST50 ? getMOSTSize() : 15;
}

unsigned int BusLoadMessage::getMOSTSize() const { return source == SRC_MOST150 ? 40 : 32; }

bool BusLoadMessage::operator==(const MessageBase& other) const {
  auto* o = sameClass(*this, other);
  return o != nullptr && o->source == source && o->bus == bus && o->load == load;
}

void BusLoadMessage::print(std::ostream& os) const {
  RecordLine line(os, *this);
  os << " BUS LOAD     | source = " << source;
  if (source != SRC_MOST150 && source != SRC_MOST50) {
    os << ", bus = " << bus + 1 << ", load = ";
    switch (load) {
      case LOAD_UNKNOWN:
        os << "unknown";
        break;
      case LOAD_NC:
        os << "N/C";
        break;
      case LOAD_OFF:
        os << "OFF";
        break;
      case LOAD_ERROR:
        os << "ERROR";
        break;
      default:
        os << std::setfill('0') << std::setw(3) << static_cast<unsigned int>(load);
    }
    return;
  }
  os << ", Status = " << static_cast<unsigned int>(status)
     << ((status & 1) != 0 ? " (MOST_LOCK - " : " (MOST_UNLOCK - ");
  if (source == SRC_MOST50) {
    os << ((status & 2) != 0 ? "MASTER_LOCK) " : "MASTER_UNLOCK) ");
  } else {
    os << ((status & 2) != 0 ? "LIGHT_ON) " : "LIGHT_OFF) ");
  }
  printMostCounters(os, *this, source == SRC_MOST150);
}

std::ostream& operator<<(std::ostream& os, BusLoadMessage::source_t source) {
  static const char* const names[] = {"none",     "CAN",     "Serial", "LIN",   "Camera", "FlexRay",
                                      "Ethernet", "MOST150", "MOST50", "LSCAN", "HSCAN"};
  return printEnumName(os, source, names);
}

// ---- BusLoadExtMessage ---------------------------------------------------------------------

const char BusLoadExtMessage::typeTxt[5][20] = {"[STD]", "[EXT]", "[MOST]", "[CCP/XCPonCAN]",
                                                "[XCPonETH]"};
const char BusLoadExtMessage::unitTxt[12][20] = {"-",     "%",     "Bytes/s",  "KiB/s",
                                                 "MiB/s", "GiB/s", "Frames/s", "kFrames/s",
                                                 "Bytes", "KiB",   "MiB",      "GiB"};
const char BusLoadExtMessage::loadTxt[4][8] = {"unknown", "N/C", "OFF", "ERROR"};

BusLoadExtMessage::BusLoadExtMessage(unsigned long long ts, blType_t t, busid_t b, uint8_t ch,
                                     uint8_t u)
    : MessageBase(MSGID_BUSLOADEXT, ts),
      type(t),
      bus(b),
      channel(ch),
      unit(u),
      values{0, 0, 0, 0},
      status(0),
      numControlMsg(0),
      bytesControlMsg(0),
      numMDPMsg(0),
      bytesMDPMsg(0),
      numMEPMsg(0),
      bytesMEPMsg(0),
      numStreamingChannels(0),
      streamingChannelsSize(0) {}

BusLoadExtMessage::BusLoadExtMessage(const unsigned char* data, unsigned int length)
    : BusLoadExtMessage(0, BL_STD, BUSID_UNKNOWN, 0, 0) {
  static const char* const kShort = "BusLoadExtMessage too short";
  ByteReader in(data, length);
  in.require(22, kShort);
  readFrameHeader(in, *this);
  const uint8_t t = in.u8();
  if (t > BL_XCP_ON_ETH) {
    throwBadEnum("blType_t", t);
  }
  type = static_cast<blType_t>(t);
  const uint8_t b = in.u8();
  if (b >= BUSID_COUNT) {
    throwBadEnum("busid_t", b);
  }
  bus = static_cast<busid_t>(b);
  switch (type) {
    case BL_MOST:
      // The reader stands at frame offset 16; MOST150 needs 42 bytes, other buses 34.
      in.require((bus == BUSID_MOST150 ? 42 : 34) - 16, kShort);
      status = in.u8();
      in.skip(1);
      readMostCounters(in, *this, bus == BUSID_MOST150);
      if (bus != BUSID_MOST150 || length == 42) return;
      {
        // A frame one byte past 42 reads the word as 0 rather than past its end.
        const uint16_t word = in.be16();
        numStreamingChannels = word >> 10;
        streamingChannelsSize = word & 0x3FF;
      }
      return;
    case BL_EXT:
      channel = in.u8();
      in.skip(1);  // the unit is not carried by this type
      for (uint32_t& v : values) v = in.be32();
      return;
    default:
      channel = in.u8();
      unit = in.u8();
      values[0] = in.be32();
      return;
  }
}

VXTRACE_RECORD_MEMBERS(BusLoadExtMessage)

unsigned int BusLoadExtMessage::writeToByteArray(unsigned char*& out, unsigned int room,
                                                 bool withSync) const {
  checkRoom("BusLoadExtMessage", getSize(), room);
  const bool most150 = type == BL_MOST && bus == BUSID_MOST150;
  // Type 2 off MOST150 declares the MOST150 size but writes the 20 bytes up to the counters.
  const unsigned int excess = type == BL_MOST && !most150 ? 10 : 0;
  return writeRecord(
             *this, out, room, withSync,
             [&](ByteWriter& w) {
               w.u8(type);
               w.u8(bus);
               switch (type) {
                 case BL_MOST:
                   w.u8(status);
                   w.u8(0);
                   writeMostCounters(w, *this, most150);
                   if (!most150) return;
                   w.be16(
                       static_cast<uint16_t>((numStreamingChannels << 10) + streamingChannelsSize));
                   return;
                 case BL_EXT:
                   w.u8(channel);
                   w.u8(0);
                   for (uint32_t v : values) w.be32(v);
                   return;
                 default:
                   w.u8(channel);
                   w.u8(unit);
                   w.be32(values[0]);
               }
             },
             excess) == 0
             ? 0
             : getSize();
}

unsigned int BusLoadExtMessage::getSize() const {
  switch (type) {
    case BL_EXT:
      return 32;
    case BL_MOST:
      return 42;
    default:
      return 20;
  }
}

bool BusLoadExtMessage::operator==(const MessageBase& other) const {
  auto* o = sameClass(*this, other);
  return o != nullptr && o->type == type && o->bus == bus && o->channel == channel &&
         o->unit == unit && std::equal(values, values + 4, o->values) && o->status == status &&
         o->numControlMsg == numControlMsg && o->bytesControlMsg == bytesControlMsg &&
         o->numMDPMsg == numMDPMsg && o->bytesMDPMsg == bytesMDPMsg && o->numMEPMsg == numMEPMsg &&
         o->bytesMEPMsg == bytesMEPMsg && o->numStreamingChannels == numStreamingChannels &&
         o->streamingChannelsSize == streamingChannelsSize;
}

void BusLoadExtMessage::print(std::ostream& os) const {
  RecordLine line(os, *this);
  os << "  BUS LOAD    | ";
  printEnumName(os, type, typeTxt);
  os << " bus = " << bus << ", channel=" << static_cast<unsigned int>(channel) << ", ";
  getLoadInformation(os);
}

void BusLoadExtMessage::cascadeChannel(unsigned short offset) {
  channel = static_cast<uint8_t>(channel + offset);
}

void BusLoadExtMessage::getLoadInformation(std::ostream& os) const {
  StreamStateGuard guard(os);
  auto loadValue = [&](uint32_t v) {
    if (v >= 0xFFFFFFFCu) {
      os << loadTxt[v - 0xFFFFFFFCu];
      return;
    }
    os << v << ' ';
    printEnumName(os, unit, unitTxt);
  };
  switch (type) {
    case BL_STD:
    case BL_CCP_XCP_ON_CAN:
    case BL_XCP_ON_ETH:
      loadValue(values[0]);
      return;
    case BL_EXT:
      for (int i = 0; i < 4; ++i) {
        if (i != 0) os << ',';
        loadValue(values[i]);
      }
      return;
    case BL_MOST:
      os << "status = " << static_cast<unsigned int>(status);
      if (bus == BUSID_MOST50) {
        os << ((status & 1) != 0 ? " (MOST_LOCK - " : " (MOST_UNLOCK - ")
           << ((status & 2) != 0 ? "MASTER_LOCK) " : "MASTER_UNLOCK) ");
      } else {
        os << ((status & 1) != 0 ? " (MOST_LOCK)" : " (No Traffic)");
      }
      printMostCounters(os, *this, bus == BUSID_MOST150);
      if (bus == BUSID_MOST150) {
        os << ", numStreamingChannels = " << numStreamingChannels
           << ", streamingChannelsSize = " << streamingChannelsSize;
      }
      return;
  }
}

std::string BusLoadExtMessage::getLoadInformation() const {
  std::ostringstream os;
  getLoadInformation(os);
  return os.str();
}
