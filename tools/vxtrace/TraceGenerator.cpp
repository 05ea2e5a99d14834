#include "TraceGenerator.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "vxtrace/ApixShellMessage.h"
#include "vxtrace/BusLoadExtMessage.h"
#include "vxtrace/BusLoadMessage.h"
#include "vxtrace/CANExtTraceMessage.h"
#include "vxtrace/CANLoadMessage.h"
#include "vxtrace/CANProxyTraceMessage.h"
#include "vxtrace/CANTraceMessage.h"
#include "vxtrace/CascadeMessage.h"
#include "vxtrace/ContainerMessage.h"
#include "vxtrace/ECLMessage.h"
#include "vxtrace/EcuLogMessage.h"
#include "vxtrace/EofMessage.h"
#include "vxtrace/EthernetTraceMessage_RX.h"
#include "vxtrace/EthernetTraceMessage_TX.h"
#include "vxtrace/FileTimeMessage.h"
#include "vxtrace/FlexRayTraceMessage.h"
#include "vxtrace/KeyboardMessage.h"
#include "vxtrace/LINTraceMessage.h"
#include "vxtrace/LostExtMessage.h"
#include "vxtrace/LostMessage.h"
#include "vxtrace/MOSTTraceAsynchMessage.h"
#include "vxtrace/MOSTTraceControlMessage.h"
#include "vxtrace/MarkerMessage.h"
#include "vxtrace/MobileServiceMessage.h"
#include "vxtrace/NotificationMessage.h"
#include "vxtrace/PaddingBytesMessage.h"
#include "vxtrace/PhyStatusExtMessage.h"
#include "vxtrace/PhyStatusMessage.h"
#include "vxtrace/PingMessage.h"
#include "vxtrace/PushButtonMessage.h"
#include "vxtrace/ShutDownMessage.h"
#include "vxtrace/SignalMessage.h"
#include "vxtrace/SimpleMessage.h"
#include "vxtrace/StringMessageBase.h"
#include "vxtrace/SystemMessage.h"
#include "vxtrace/SystemUsageMessage.h"
#include "vxtrace/TTYTraceMessage.h"
#include "vxtrace/TemperatureMessage.h"
#include "vxtrace/TimeMessage.h"
#include "vxtrace/TraceFileMetaInfoMessage.h"
#include "vxtrace/VXPMessageResponse.h"
#include "vxtrace/VXPResponseGetEventList.h"
#include "vxtrace/VXPSimpleMessages.h"
#include "vxtrace/WrapperMessage.h"

namespace vxtrace::gen {

namespace {

constexpr unsigned long long kMs = 1000;

// State byte bits of CAN FD frames.
constexpr uint8_t kBrs = 0x40;
constexpr uint8_t kEsi = 0x80;

const std::array<uint32_t, 256> kCrcTable = [] {
  std::array<uint32_t, 256> table{};
  for (uint32_t i = 0; i < 256; ++i) {
    uint32_t c = i;
    for (int k = 0; k < 8; ++k) c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
    table[i] = c;
  }
  return table;
}();

const char* const kConsoleLines[] = {
    "eth0: link up, 100 Mbit/s full duplex",
    "storage: 61% used, 118 GB free",
    "gnss: fix 3D, 11 satellites",
    "can2: bus load 38%",
    "power: KL15 on, 13.8 V",
    "trigger 'brake-hard' armed",
};

const char* const kAndroidLines[] = {
    "I/ActivityManager: Start proc 2291:com.example.nav/u0a84",
    "W/WifiHAL: scan results timed out",
    "I/CarService: ignition state ON",
    "D/AudioFlinger: mixer(0xe1c3) throttle end",
};
const char* const kModemLines[] = {
    "+CREG: 1,\"4E2A\",\"0A3F21C\",7",
    "LTE RRC: connection setup complete",
    "+CSQ: 21,99",
};

struct EcuLine {
  EcuLogMessage::ecuLogMsg_t type;
  EcuLogMessage::protocolType_t protocol;
  uint8_t channel;
  const char* text;
};
const EcuLine kEcuLines[] = {
    {EcuLogMessage::TX, EcuLogMessage::XCP, 0, "CONNECT mode 0"},
    {EcuLogMessage::RX, EcuLogMessage::XCP, 0, "FF 1D C0 08 00 08 00 01 01"},
    {EcuLogMessage::INFO, EcuLogMessage::XCP, 0, "DAQ list 0 started, 24 ODT entries"},
    {EcuLogMessage::TX, EcuLogMessage::UDS, 0, "22 F1 90"},
    {EcuLogMessage::RX, EcuLogMessage::UDS, 0, "62 F1 90 57 56 57 5A 5A 5A 31 4B 5A"},
    {EcuLogMessage::WARNING, EcuLogMessage::CCP, 1, "DTO timeout, retry 1"},
    {EcuLogMessage::ERROR, EcuLogMessage::OBD, 0, "mode 01 PID 0C: no response"},
};

// ECL line activity: wake-up, start, parameter and node pulses, trigger, result, stop.
struct EclEvent {
  ECLMessage::eclMsg_t type;
  uint16_t value;
};
const EclEvent kEclEvents[] = {
    {ECLMessage::ECL_WAKEUP, 1},  {ECLMessage::ECL_STWU, 0},   {ECLMessage::ECL_START, 1},
    {ECLMessage::ECL_STP, 0x0C},  {ECLMessage::ECL_STR, 0x17}, {ECLMessage::ECL_TRIGGER, 3},
    {ECLMessage::ECL_RESULT, 42}, {ECLMessage::ECL_STP, 0x03}, {ECLMessage::ECL_STOP, 0},
};

const keyCode_t kKeys[] = {KEY_F1, KEY_F2, KEY_UP, KEY_DOWN, KEY_ACCEPT, KEY_TRIGGER, KEY_STATUS};
constexpr uint16_t kLinBitTime = 52;  // microseconds per bit at 19.2 kbit/s

// One's-complement sum of 16-bit big-endian words, as IPv4 and UDP checksums use it.
uint32_t onesSum(uint32_t sum, const uint8_t* p, std::size_t n) {
  for (std::size_t i = 0; i + 1 < n; i += 2) sum += static_cast<uint32_t>(p[i] << 8 | p[i + 1]);
  if (n & 1) sum += static_cast<uint32_t>(p[n - 1] << 8);
  return sum;
}

uint16_t foldSum(uint32_t sum) {
  while (sum >> 16) sum = (sum & 0xFFFF) + (sum >> 16);
  return static_cast<uint16_t>(~sum);
}

void put16(std::vector<uint8_t>& v, uint32_t x) {
  v.push_back(static_cast<uint8_t>(x >> 8));
  v.push_back(static_cast<uint8_t>(x));
}

}  // namespace

bool appendFramed(std::vector<uint8_t>& out, const MessageBase& msg, Framing framing) {
  const std::size_t before = out.size();
  if (framing == Framing::V2) {
    const unsigned long long frameLength = static_cast<unsigned long long>(msg.getSize()) + 2;
    if (frameLength > 0xFFFF) return false;
    out.push_back('Z');
    out.push_back(kV2TraceFrame);
    out.push_back(static_cast<uint8_t>(frameLength >> 8));
    out.push_back(static_cast<uint8_t>(frameLength));
  }
  if (msg.createByteArray(out, framing == Framing::V1, true) == 0) {
    out.resize(before);
    return false;
  }
  return true;
}

uint32_t crc32(uint32_t crc, const uint8_t* data, std::size_t length) {
  crc = ~crc;
  for (std::size_t i = 0; i < length; ++i) crc = kCrcTable[(crc ^ data[i]) & 0xFF] ^ (crc >> 8);
  return ~crc;
}

// splitmix64: small, fast and the same on every platform (unlike the standard distributions).
uint64_t TraceGenerator::Rng::next() {
  uint64_t z = (state += 0x9E3779B97F4A7C15ULL);
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
  return z ^ (z >> 31);
}

uint32_t TraceGenerator::Rng::below(uint32_t n) {
  return static_cast<uint32_t>(((next() >> 32) * n) >> 32);
}

struct TraceGenerator::Source {
  enum Kind {
    ClassicFrame,  // MSGID_CAN
    ExtFrame,      // MSGID_CAN_EXT
    ClassicErrors,
    ExtErrors,
    TimeJump,
    TriggerClear,
    ByteStream,
    GetTime,
    Wrapper,
    Padding,
    XcpSession,  // replays the XCP records of diagnosticSession, one at a time
    CcpSession,  // the same for its CCP records
    Marker,
    // The logger's reports about itself.
    TimeList,  // with the bus loads of all channels and a decoded signal
    SystemReport,
    LostSend,
    LostReceive,
    Temperature,
    Ping,
    PhyStatus,
    PhyStatusExt,
    Shutdown,
    PushButton,
    Notification,
    MobileService,
    CanProxy,  // MSGID_CAN_PROXY, the classic layout under its own identifier
    CanLoad,
    CanStartStop,
    Keyboard,
    Cascade,
    Apix,
    Ecl,
    EcuLog,
    Tty,
    LinFrame,    // id: LIN identifier, length: data bytes
    LinWakeUp,
    FlexRayFrame,  // id: slot, length: payload words, channel: interface and letter (bit 0 = B)
    EthArp,
    EthUdp,  // id: UDP destination port, length: UDP payload bytes
    MostControl,  // MSGID_MOST, type 0
    MostAsynch,   // MSGID_MOST, type 128
    Remote  // a client's requests and the logger's responses, in the order of remoteExchange
  };
  Kind kind;
  uint8_t channel = 0;
  uint32_t id = 0;
  cantype_t type = CAN_TYPE_STANDARD;
  canframe_t frame = CAN_FRAME_STANDARD;
  uint8_t length = 0;
  bool brs = false;
  unsigned long long period = 0;  // microseconds; periodic sources jitter by 2%
  unsigned long long first = 0;   // offset of the first occurrence from the body's start
  bool sporadic = false;          // interval uniform in [period/2, 3*period/2]
  uint32_t counter = 0;
  bool tx = false;    // Ethernet: sent by the logger
  bool vlan = false;  // Ethernet: 802.1Q tag
};

TraceGenerator::TraceGenerator(const TraceOptions& options)
    : options_(options),
      rng_{options.seed * 0xD1B54A32D192ED03ULL + 0x2545F4914F6CDD1DULL},
      now_(options.startTime) {
  footerCount_ = std::min<uint64_t>(3, options_.records);
  headerCount_ = std::min<uint64_t>(9, options_.records - footerCount_);

  using S = Source;
  auto periodic = [this](S::Kind kind, uint8_t ch, uint32_t id, cantype_t type, uint8_t len,
                         unsigned long long periodMs, bool brs = false,
                         canframe_t frame = CAN_FRAME_STANDARD) {
    S s{kind};
    s.channel = ch;
    s.id = id;
    s.type = type;
    s.length = len;
    s.brs = brs;
    s.frame = frame;
    s.period = periodMs * kMs;
    s.first = rng_.below(static_cast<uint32_t>(s.period));
    sources_.push_back(s);
  };
  auto sporadic = [this](S::Kind kind, uint8_t ch, unsigned long long meanMs,
                         unsigned long long firstMs) {
    S s{kind};
    s.channel = ch;
    s.period = meanMs * kMs;
    s.first = firstMs * kMs + rng_.below(50 * kMs);
    s.sporadic = true;
    sources_.push_back(s);
  };

  // can0: powertrain, classic records, 500 kbit/s.
  periodic(S::ClassicFrame, 0, 0x0C9, CAN_TYPE_STANDARD, 8, 10);
  periodic(S::ClassicFrame, 0, 0x0F1, CAN_TYPE_STANDARD, 8, 10);
  periodic(S::ClassicFrame, 0, 0x1E5, CAN_TYPE_STANDARD, 7, 20);
  periodic(S::ClassicFrame, 0, 0x3D1, CAN_TYPE_STANDARD, 8, 100);
  periodic(S::ClassicFrame, 0, 0x4C1, CAN_TYPE_STANDARD, 5, 500);
  periodic(S::ClassicFrame, 0, 0x6F0, CAN_TYPE_STANDARD, 2, 1000, false, CAN_FRAME_TXMESSAGE);
  sporadic(S::ClassicErrors, 0, 700, 150);
  // can1: body, 29-bit identifiers and a few 11-bit ones, 125 kbit/s.
  periodic(S::ExtFrame, 1, 0x0CF00400, CAN_TYPE_EXTENDED, 8, 20);
  periodic(S::ExtFrame, 1, 0x18FEF100, CAN_TYPE_EXTENDED, 8, 100);
  periodic(S::ExtFrame, 1, 0x18FEEE00, CAN_TYPE_EXTENDED, 8, 1000);
  periodic(S::ExtFrame, 1, 0x320, CAN_TYPE_STANDARD, 4, 200);
  periodic(S::ExtFrame, 1, 0x5A0, CAN_TYPE_STANDARD, 2, 1000);
  sporadic(S::ExtErrors, 1, 1500, 200);
  // can2: chassis, CAN FD with bit-rate switch, 500 kbit/s / 2 Mbit/s.
  periodic(S::ExtFrame, 2, 0x1A0, CAN_TYPE_FD_STD, 32, 5, true);
  periodic(S::ExtFrame, 2, 0x101, CAN_TYPE_FD_STD, 64, 10, true);
  periodic(S::ExtFrame, 2, 0x12345, CAN_TYPE_FD_EXT, 16, 20);
  periodic(S::ExtFrame, 2, 0x2B0, CAN_TYPE_FD_STD, 12, 50, true);
  periodic(S::ExtFrame, 2, 0x1F00A01, CAN_TYPE_FD_EXT, 48, 100, true);
  sporadic(S::ExtErrors, 2, 900, 300);
  // can3: diagnostics; the logger's tester present and a transmit request, ECU answers.
  periodic(S::ExtFrame, 3, 0x7DF, CAN_TYPE_STANDARD, 8, 2000, false, CAN_FRAME_TXMESSAGE);
  periodic(S::ExtFrame, 3, 0x7E8, CAN_TYPE_STANDARD, 8, 2000);
  periodic(S::ExtFrame, 3, 0x7E0, CAN_TYPE_STANDARD, 8, 5000, false, CAN_FRAME_TXREQUEST);
  // lin0: a body-domain schedule table at 19.2 kbit/s, slots 10-20 ms apart; a wake-up now and
  // then.
  periodic(S::LinFrame, 0, 0x10, CAN_TYPE_STANDARD, 8, 10);
  periodic(S::LinFrame, 0, 0x21, CAN_TYPE_STANDARD, 4, 20);
  periodic(S::LinFrame, 0, 0x3C, CAN_TYPE_STANDARD, 8, 20);
  periodic(S::LinFrame, 0, 0x05, CAN_TYPE_STANDARD, 2, 10);
  sporadic(S::LinWakeUp, 0, 20000, 700);
  // flexray0: 5 ms cycle, static slots on channel A, one on B.
  periodic(S::FlexRayFrame, 0, 3, CAN_TYPE_STANDARD, 8, 5);
  periodic(S::FlexRayFrame, 0, 17, CAN_TYPE_STANDARD, 16, 5);
  periodic(S::FlexRayFrame, 1, 17, CAN_TYPE_STANDARD, 16, 5);
  periodic(S::FlexRayFrame, 0, 42, CAN_TYPE_STANDARD, 4, 5);
  // eth0/eth1: service traffic and address resolution; the logger sends on eth1.
  periodic(S::EthUdp, 0, 30490, CAN_TYPE_STANDARD, 24, 10);
  periodic(S::EthUdp, 0, 30501, CAN_TYPE_STANDARD, 64, 50);
  sources_.back().vlan = true;
  periodic(S::EthUdp, 1, 13400, CAN_TYPE_STANDARD, 12, 100);
  sources_.back().tx = true;
  sporadic(S::EthArp, 0, 1000, 100);
  sporadic(S::EthArp, 1, 2000, 150);
  sources_.back().tx = true;
  // MOST ring: a control message every 100 ms (id: FBlockID), an asynchronous packet every 500 ms.
  periodic(S::MostControl, 0, 0x22, CAN_TYPE_STANDARD, 0, 100);
  periodic(S::MostAsynch, 0, 0, CAN_TYPE_STANDARD, 0, 500);
  // Logger records, all within the first second so that short traces hold every kind.
  sporadic(S::ByteStream, 0, 3000, 250);
  sporadic(S::Wrapper, 0, 5000, 350);
  sporadic(S::TriggerClear, 0, 60000, 400);
  sporadic(S::Padding, 0, 10000, 500);
  sporadic(S::GetTime, 0, 30000, 600);
  sporadic(S::TimeJump, 0, 120000, 800);
  // Calibration traffic on can3: an XCP and a CCP session replayed record by record.
  for (auto& m : diagnosticSession(options_.startTime)) {
    if (m->msgId == MSGID_XCP)
      xcpRecords_.push_back(std::move(m));
    else if (m->msgId == MSGID_CCP_CRO || m->msgId == MSGID_CCP_DTO)
      ccpRecords_.push_back(std::move(m));
  }
  sporadic(S::XcpSession, 3, 100, 450);
  sporadic(S::CcpSession, 3, 150, 550);
  // Markers set by hand: the first one at a fixed offset, so the sources above keep their draws.
  S marker{S::Marker};
  marker.period = 45000 * kMs;
  marker.first = 900 * kMs;
  marker.sporadic = true;
  sources_.push_back(marker);
  // Status: time, bus loads and a signal every second, the rest now and then; the rarer ones
  // appear from the third second on, so a default trace (about 14 s) holds every kind.
  periodic(S::TimeList, 0, 0, CAN_TYPE_STANDARD, 0, 1000);
  sporadic(S::SystemReport, 0, 2000, 100);
  sporadic(S::LostReceive, 2, 20000, 6000);
  sporadic(S::LostSend, 0, 60000, 9000);
  sporadic(S::Temperature, 0, 10000, 4000);
  sporadic(S::Ping, 0, 5000, 5000);
  sporadic(S::PhyStatus, 0, 10000, 3000);
  sporadic(S::PhyStatusExt, 1, 10000, 3200);
  sporadic(S::Shutdown, 0, 60000, 11500);
  sporadic(S::PushButton, 0, 90000, 10500);
  sporadic(S::Notification, 0, 30000, 8000);
  sporadic(S::MobileService, 0, 120000, 12500);
  // Inputs and the logger's own bus, protocol and console records.
  periodic(S::CanProxy, 0, 0x2F0, CAN_TYPE_STANDARD, 8, 250);
  periodic(S::CanLoad, 0, 0, CAN_TYPE_STANDARD, 0, 1000);
  periodic(S::Cascade, 0, 0, CAN_TYPE_STANDARD, 0, 1000);
  sporadic(S::CanStartStop, 0, 60000, 100);
  sporadic(S::Keyboard, 0, 1500, 300);
  sporadic(S::Apix, 0, 2000, 450);
  sporadic(S::Ecl, 0, 400, 150);
  sporadic(S::EcuLog, 0, 300, 200);
  sporadic(S::Tty, 0, 250, 100);
  sporadic(S::Tty, 1, 700, 550);
  sporadic(S::Remote, 0, 400, 650);
  remote_ = remoteExchange(options_.startTime);

  const unsigned long long bodyStart = options_.startTime + 10 * kMs;
  for (uint32_t i = 0; i < sources_.size(); ++i) queue_.push({bodyStart + sources_[i].first, i});
}

TraceGenerator::~TraceGenerator() = default;

std::unique_ptr<MessageBase> TraceGenerator::produce() {
  if (produced_ >= options_.records) return nullptr;
  std::unique_ptr<MessageBase> msg;
  const uint64_t bodyEnd = options_.records - footerCount_;
  if (produced_ < headerCount_) {
    now_ = options_.startTime + produced_ * kMs;
    msg = makeHeader(produced_, now_);
  } else if (produced_ < bodyEnd) {
    if (pending_.empty()) {
      msg = makeBody();
    } else {
      msg = std::move(pending_.front());
      pending_.pop_front();
    }
  } else {
    now_ += kMs;
    msg = makeFooter(produced_ - bodyEnd + (3 - footerCount_), now_);
  }
  ++produced_;
  return msg;
}

bool TraceGenerator::next(std::vector<uint8_t>& out, std::unique_ptr<MessageBase>* record) {
  std::unique_ptr<MessageBase> msg = held_ ? std::move(held_) : produce();
  if (!msg) return false;
  auto isBus = [](const MessageBase& m) {
    switch (m.msgId) {
      case MSGID_CAN:
      case MSGID_CAN_EXT:
      case MSGID_LIN:
      case MSGID_FLEXRAY:
      case MSGID_ETHERNET_RX:
      case MSGID_ETHERNET_TX:
        return true;
      default:
        return false;
    }
  };
  if (options_.containers != Containers::None && isBus(*msg)) {
    std::vector<std::unique_ptr<MessageBase>> batch;
    batch.push_back(std::move(msg));
    while (batch.size() < kContainerRecords) {
      std::unique_ptr<MessageBase> more = produce();
      if (!more) break;
      if (!isBus(*more)) {
        held_ = std::move(more);
        break;
      }
      batch.push_back(std::move(more));
    }
    msg = std::make_unique<ContainerMessage>(options_.containers == Containers::Lz4,
                                             std::move(batch));
  }
  if (auto* eof = dynamic_cast<EofMessage*>(msg.get())) eof->crc = crc_;
  const std::size_t before = out.size();
  appendFramed(out, *msg, options_.framing);
  crc_ = crc32(crc_, out.data() + before, out.size() - before);
  if (record) *record = std::move(msg);
  return true;
}

std::unique_ptr<MessageBase> TraceGenerator::makeHeader(uint64_t index, unsigned long long ts) {
  switch (index) {
    case 0:
      return std::make_unique<SimpleMessage<MSGID_STARTUP>>(ts);
    case 1:
      return std::make_unique<FileTimeMessage>(ts,
                                               options_.startTime - options_.startTime % 1000000);
    case 2:
      return std::make_unique<SimpleMessage<MSGID_GETVERSION>>(ts);
    case 3:
      return std::make_unique<StringMessageBase<MSGID_VERSION>>(ts, "vxlogger 4.12.0 build 2291");
    case 4:
      return std::make_unique<StringMessageBase<MSGID_TIMEZONE>>(ts, "CET-1CEST,M3.5.0,M10.5.0/3");
    case 5:
      return std::make_unique<StringMessageBase<MSGID_CONFIGURATIONDATA>>(
          ts, "project=drive-test-07;can0=500k;can1=125k;can2=500k/2M fd;can3=500k");
    case 6: {
      auto meta =
          std::make_unique<TraceFileMetaInfoMessage>(ts, TraceFileMetaInfoMessage::META_CHANNEL);
      meta->busId = BUSID_CAN;
      meta->channel = 2;
      meta->text = "chassis FD";
      return meta;
    }
    case 7:
      return std::make_unique<SimpleMessage<MSGID_DATALOGGINGSTARTED>>(ts);
    default:
      return std::make_unique<SimpleMessage<MSGID_START>>(ts);
  }
}

std::unique_ptr<MessageBase> TraceGenerator::makeFooter(uint64_t index, unsigned long long ts) {
  switch (index) {
    case 0:
      return std::make_unique<SimpleMessage<MSGID_STOP>>(ts);
    case 1:
      return std::make_unique<SimpleMessage<MSGID_DATALOGGINGSTOPPED>>(ts);
    default:
      return std::make_unique<EofMessage>(ts, 0);
  }
}

std::unique_ptr<MessageBase> TraceGenerator::makeBody() {
  const Due due = queue_.top();
  queue_.pop();
  Source& s = sources_[due.source];
  now_ = due.time;
  unsigned long long interval = s.period;
  if (s.sporadic) {
    interval = s.period / 2 + rng_.below(static_cast<uint32_t>(s.period));
  } else {
    const uint32_t jitter = static_cast<uint32_t>(s.period / 50);
    interval = s.period - jitter + rng_.below(2 * jitter + 1);
  }
  queue_.push({due.time + std::max<unsigned long long>(interval, 1), due.source});
  ++s.counter;
  return makeFromSource(s, due.time);
}

std::unique_ptr<MessageBase> TraceGenerator::makeFromSource(Source& s, unsigned long long ts) {
  switch (s.kind) {
    case Source::ClassicFrame:
    case Source::ExtFrame:
      return makeCanFrame(s, ts);
    case Source::ClassicErrors:
    case Source::ExtErrors:
      return makeErrorFrame(s, ts);
    case Source::TimeJump:
      return std::make_unique<SimpleMessage<MSGID_TIMEJUMP>>(ts);
    case Source::TriggerClear:
      return std::make_unique<SimpleMessage<MSGID_TRIGGERCLEAR>>(ts);
    case Source::GetTime:
      return std::make_unique<SimpleMessage<MSGID_GETTIME>>(ts);
    case Source::ByteStream: {
      const std::size_t n = sizeof kConsoleLines / sizeof kConsoleLines[0];
      return std::make_unique<StringMessageBase<MSGID_BYTESTREAM>>(ts,
                                                                   kConsoleLines[rng_.below(n)]);
    }
    case Source::Wrapper: {
      std::vector<uint8_t> bytes(16 + rng_.below(185));
      for (auto& b : bytes) b = static_cast<uint8_t>(rng_.next());
      return std::make_unique<WrapperMessage>(ts, bytes);
    }
    case Source::Padding:
      return std::make_unique<PaddingBytesMessage>(ts, std::vector<uint8_t>(rng_.below(65), 0));
    case Source::XcpSession:
    case Source::CcpSession: {
      const auto& records = s.kind == Source::XcpSession ? xcpRecords_ : ccpRecords_;
      std::unique_ptr<MessageBase> m(records[(s.counter - 1) % records.size()]->clone());
      m->timeStamp = ts;
      return m;
    }
    case Source::Marker:
      return std::make_unique<MarkerMessage>(ts, static_cast<uint16_t>(s.counter), ts);
    case Source::LinFrame:
      return makeLinFrame(s, ts);
    case Source::LinWakeUp:
      // A pulse of 250..5000 us, as a transceiver reports it.
      return std::make_unique<LINTraceMessage>(
          LINTraceMessage::wakeUpPulse(ts, s.channel, kLinBitTime, 250 + rng_.below(4751)));
    case Source::FlexRayFrame:
      return makeFlexRayFrame(s, ts);
    case Source::EthArp:
    case Source::EthUdp:
      return makeEthernetFrame(s, ts);
    case Source::MostControl:
    case Source::MostAsynch:
      return makeMost(s, ts);
    case Source::Remote: {
      std::unique_ptr<MessageBase> msg(remote_[(s.counter - 1) % remote_.size()]->clone());
      msg->timeStamp = ts;
      return msg;
    }
    default:
      // The logger's own reports come before the input kinds in Source::Kind.
      return s.kind >= Source::CanProxy ? makeInputRecord(s, ts) : makeStatus(s, ts);
  }
}

std::unique_ptr<MessageBase> TraceGenerator::makeInputRecord(Source& s, unsigned long long ts) {
  const uint32_t n = s.counter - 1;  // 0 for a source's first record
  switch (s.kind) {
    case Source::CanProxy: {
      uint8_t data[8];
      fillPayload(s, data, s.length);
      return std::make_unique<CANProxyTraceMessage>(ts, s.channel, CAN_FRAME_STANDARD, 0, s.id,
                                                    std::vector<uint8_t>(data, data + s.length));
    }
    case Source::CanLoad: {
      // One second of the two classic channels: frame counts and about 7 bytes a frame.
      auto msg = std::make_unique<CANLoadMessage>(ts);
      msg->stdMsgCount0 = static_cast<uint16_t>(255 + rng_.below(10));
      msg->stdDlcSum0 = static_cast<uint16_t>(msg->stdMsgCount0 * 7 + rng_.below(8));
      msg->stdMsgCount1 = static_cast<uint16_t>(7 + rng_.below(3));
      msg->stdDlcSum1 = static_cast<uint16_t>(msg->stdMsgCount1 * 3);
      msg->extMsgCount1 = static_cast<uint16_t>(61 + rng_.below(3));
      msg->extDlcSum1 = static_cast<uint16_t>(msg->extMsgCount1 * 8);
      return msg;
    }
    case Source::CanStartStop: {
      canInfo_t brake;
      brake.channel = 0;
      brake.canId = 0x1E5;
      brake.dlc = 2;
      brake.mask[1] = 0x80;
      brake.value[1] = 0x80;
      return std::make_unique<CANStartStopMessage>(ts, n % 2, std::vector<canInfo_t>{brake});
    }
    case Source::Keyboard: {
      // Presses and releases alternate; every fifth press is a long one.
      const keyCode_t key = kKeys[(n / 2) % (sizeof kKeys / sizeof kKeys[0])];
      const keyState_t state = n % 2 == 1         ? KEY_RELEASED
                               : (n / 2) % 5 == 4 ? KEY_LONG_PRESSED
                                                  : KEY_PRESSED;
      return std::make_unique<KeyboardMessage>(ts, key, state);
    }
    case Source::Cascade:
      // The master's periodic sync: the cascade's clock was aligned a little before the record.
      return std::make_unique<CascadeMessage>(ts, 1, ts - 1000 - rng_.below(500));
    case Source::Apix: {
      const uint32_t up = 0x1 | 0x200 | 0x400 | 0x40000;  // both directions operational
      if (n % 7 == 6) return std::make_unique<ApixShellMessage>(ts, ApixShellMessage::KIND_DOWN, 0);
      if (n % 7 == 0) return std::make_unique<ApixShellMessage>(ts, ApixShellMessage::KIND_UP, 0);
      const uint32_t errors = rng_.chance(200) ? 0x80 : 0;  // an RX CRC error now and then
      return std::make_unique<ApixShellMessage>(ts, ApixShellMessage::KIND_STATUS, up | errors);
    }
    case Source::Ecl: {
      const EclEvent& e = kEclEvents[n % (sizeof kEclEvents / sizeof kEclEvents[0])];
      // Coded pulses carry their duration in microseconds.
      const uint32_t width = e.type >= ECLMessage::ECL_EWU ? 480 + rng_.below(40) : 0;
      return std::make_unique<ECLMessage>(ts, e.type, e.value, width);
    }
    case Source::EcuLog: {
      const EcuLine& l = kEcuLines[n % (sizeof kEcuLines / sizeof kEcuLines[0])];
      return std::make_unique<EcuLogMessage>(ts, l.type, l.protocol, l.channel, l.text);
    }
    case Source::Tty: {
      if (s.channel == 0) {
        const char* line =
            kAndroidLines[rng_.below(sizeof kAndroidLines / sizeof kAndroidLines[0])];
        return std::make_unique<TTYTraceMessage>(ts, 0, TTYTraceMessage::TTY_ANDROIDGW,
                                                 std::string(line) + "\n");
      }
      const char* line = kModemLines[rng_.below(sizeof kModemLines / sizeof kModemLines[0])];
      return std::make_unique<TTYTraceMessage>(ts, 1, TTYTraceMessage::TTY_QXDM,
                                               std::string(line) + "\r\n");
    }
    default:
      return nullptr;
  }
}

std::unique_ptr<MessageBase> TraceGenerator::makeStatus(Source& s, unsigned long long ts) {
  // Typical loads of the four channels in percent.
  static const uint8_t kLoad[] = {38, 12, 46, 3};
  switch (s.kind) {
    case Source::TimeList: {
      // Once a second the logger writes its time, then the load of every channel and the
      // speed it decodes, all in one go.
      for (uint8_t ch = 0; ch < 4; ++ch) {
        const uint8_t load = static_cast<uint8_t>(kLoad[ch] + rng_.below(5));
        if (ch < 2) {
          pending_.push_back(std::make_unique<BusLoadMessage>(
              ts, ch == 0 ? BusLoadMessage::SRC_HSCAN : BusLoadMessage::SRC_LSCAN, ch, load));
        } else {
          auto m =
              std::make_unique<BusLoadExtMessage>(ts, BusLoadExtMessage::BL_STD, BUSID_CAN, ch, 1);
          m->values[0] = load;
          pending_.push_back(std::move(m));
        }
      }
      const uint32_t raw = 8000 + rng_.below(400);  // 0.01 km/h per bit
      char text[16];
      std::snprintf(text, sizeof text, "%u.%02u", raw / 100, raw % 100);
      pending_.push_back(std::make_unique<SignalMessage>(ts, "VehicleSpeed", "speed", "km/h", text,
                                                         1, 0, raw, raw / 100.0, "from 0x0C9"));
      return std::make_unique<TimeMessage>(ts, std::vector<uint64_t>{ts});
    }
    case Source::SystemReport:
      switch (s.counter % 4) {
        case 1: {
          SystemUsageMessage::devUsage_t usage[SystemUsageMessage::DEVICES];
          usage[0] = {static_cast<uint8_t>(20 + rng_.below(30)), 255};  // CPU
          usage[1] = {61, 255};                                         // RAM
          usage[2] = {static_cast<uint8_t>(12 + rng_.below(3)), 40};    // storage, second card
          return std::make_unique<SystemUsageMessage>(ts, usage);
        }
        case 2:
          return std::make_unique<SystemMessage>(ts, SystemMessage::SM_LOGGER_STATUS,
                                                 "recording;0");
        case 3:
          return std::make_unique<SystemMessage>(ts, SystemMessage::SM_WARNING,
                                                 "storage: write rate above 80%");
        default:
          return std::make_unique<SystemMessage>(ts, SystemMessage::SM_INFO,
                                                 "trace file 0001 opened");
      }
    case Source::LostSend:
      return std::make_unique<LostMessage>(ts, LostMessage::FAILED_MOST150,
                                           LostMessage::FAILED_SUB_CTRL, ts - 1000 * kMs, ts,
                                           1 + rng_.below(3));
    case Source::LostReceive:
      return std::make_unique<LostExtMessage>(ts, BUSID_CAN, s.channel, ts - 1000 * kMs, ts,
                                              1 + rng_.below(40));
    case Source::Temperature:
      return std::make_unique<TemperatureMessage>(ts, static_cast<int16_t>(41 + rng_.below(4)));
    case Source::Ping:
      return std::make_unique<PingMessage>(ts, PingMessage::PING_STANDARD, "vxtool");
    case Source::PhyStatus:
      return std::make_unique<PhyStatusMessage>(
          ts, BUSID_ETHERNET, s.channel, PhyStatusMessage::PHY_TJA1100,
          std::vector<std::pair<uint16_t, uint16_t>>{
              {23, static_cast<uint16_t>(0x8000 | (5 + rng_.below(3)) << 5)},
              {20, static_cast<uint16_t>(rng_.below(3))}});
    case Source::PhyStatusExt: {
      PhyStatusExtMessage::entry_t link, sqi;
      link.dev = 1;
      link.reg = 1;
      link.value = 0x0004;
      sqi.dev = 3;
      sqi.reg = 23;
      sqi.value = static_cast<uint16_t>((6 + rng_.below(2)) << 5);
      return std::make_unique<PhyStatusExtMessage>(
          ts, BUSID_ETHERNET, s.channel, PhyStatusMessage::PHY_MAR88Q2112,
          std::vector<PhyStatusExtMessage::entry_t>{link, sqi});
    }
    case Source::Shutdown:
      // A request the driver cancels by starting the engine again.
      return std::make_unique<ShutDownMessage>(
          ts, s.counter % 2 == 1 ? ShutDownMessage::SD_REQUEST : ShutDownMessage::SD_CANCEL, false,
          true, false);
    case Source::PushButton:
      return std::make_unique<PushButtonMessage>(ts, ts - 20 * kMs);
    case Source::Notification:
      return std::make_unique<NotificationMessage>(ts, 2, "trigger 'brake-hard' fired",
                                                   std::vector<uint8_t>{0x01});
    case Source::MobileService:
      return std::make_unique<MobileServiceMessage>(
          ts, "fleet-ops@example.com", "trace 0001 closed", MobileServiceMessage::S_EMAIL);
    default:
      return nullptr;
  }
}

std::unique_ptr<MessageBase> TraceGenerator::makeMost(Source& s, unsigned long long ts) {
  // Now and then a frame with a CRC error, as a ring with a marginal node shows.
  const uint8_t flags = rng_.chance(5) ? MOSTTraceMessageBase::FLAG_CRC_ERROR : 0;
  if (s.kind == Source::MostAsynch) {
    const uint8_t quadlets = static_cast<uint8_t>(1 + s.counter % 4);
    uint8_t packet[6 + 4 * 4] = {0x01, 0x01, 0x00, quadlets, 0x01, 0x10};
    fillPayload(s, packet + 6, 4u * quadlets);
    return std::make_unique<MOSTTraceAsynchMessage>(ts, flags, packet, 6u + 4u * quadlets);
  }
  // Target 0x0100 (the head unit), source 0x0110; FktID and OPType step through a few values.
  uint8_t frame[32] = {0x00, 0x00, 0x00, 0x00, 0x01, 0x00, 0x01, 0x10, 0x00};
  const uint16_t fkt = static_cast<uint16_t>(0x200 + s.counter % 8);
  const uint8_t opType = static_cast<uint8_t>(s.counter % 3 == 0 ? 0x0C : 0x01);
  const uint8_t telLen = static_cast<uint8_t>(2 + s.counter % 10);
  frame[9] = static_cast<uint8_t>(s.id);
  frame[10] = 0x01;
  frame[11] = static_cast<uint8_t>(fkt >> 4);
  frame[12] = static_cast<uint8_t>(((fkt & 0x0F) << 4) | opType);
  frame[13] = telLen;  // TelID 0: a single telegram
  fillPayload(s, frame + 14, telLen);
  return std::make_unique<MOSTTraceControlMessage>(ts, flags, frame);
}

void TraceGenerator::fillPayload(Source& s, uint8_t* data, unsigned int length) {
  // Signals that move slowly (a triangle wave), an alive counter and a checksum, as ECUs send.
  const uint32_t phase = (s.counter * 3 + s.id) % 512;
  const uint32_t wave = phase < 256 ? phase : 511 - phase;
  for (unsigned int i = 0; i < length; ++i) {
    if (i == 0) {
      data[i] = static_cast<uint8_t>(s.counter & 0x0F) | static_cast<uint8_t>((s.id & 0x0F) << 4);
    } else if (i % 4 == 1) {
      data[i] = static_cast<uint8_t>(wave + i * 16);
    } else if (i % 4 == 2) {
      data[i] = static_cast<uint8_t>((wave * (i + 1)) >> 3);
    } else if (i % 4 == 3) {
      data[i] = static_cast<uint8_t>(rng_.below(256));
    } else {
      data[i] = i + 1 == length ? 0 : 0xFF;
    }
  }
  if (length > 1) {
    uint8_t sum = 0;
    for (unsigned int i = 0; i + 1 < length; ++i) sum ^= data[i];
    data[length - 1] = sum;
  }
}

std::unique_ptr<MessageBase> TraceGenerator::makeCanFrame(Source& s, unsigned long long ts) {
  uint8_t data[64];
  fillPayload(s, data, s.length);
  if (s.kind == Source::ClassicFrame)
    return std::make_unique<CANTraceMessage>(ts, s.channel, s.frame, 0, s.id, data, s.length);
  uint8_t state = 0;
  const bool fd = s.type == CAN_TYPE_FD_STD || s.type == CAN_TYPE_FD_EXT;
  if (fd && s.brs) state |= kBrs;
  if (fd && rng_.chance(2)) state |= kEsi;  // a node in error-passive state now and then
  return std::make_unique<CANExtTraceMessage>(ts, s.channel, s.frame, state, s.type, s.id, data,
                                              s.length);
}

std::unique_ptr<MessageBase> TraceGenerator::makeErrorFrame(Source& s, unsigned long long ts) {
  // Error codes roughly as seen on a vehicle bus: mostly stuff and ACK errors.
  static const uint8_t kCodes[] = {CAN_ERR_STUFF, CAN_ERR_STUFF, CAN_ERR_STUFF,  CAN_ERR_FORMAT,
                                   CAN_ERR_ACK,   CAN_ERR_ACK,   CAN_ERR_BIT1,   CAN_ERR_BIT0,
                                   CAN_ERR_CRC,   CAN_ERR_CRC,   CAN_ERR_OVERRUN};
  const uint8_t code = kCodes[rng_.below(sizeof kCodes)];
  uint8_t data[64] = {};
  if (s.kind == Source::ClassicErrors)
    return std::make_unique<CANTraceMessage>(ts, s.channel, CAN_FRAME_ERROR, code, 0, data, 0);
  // Without an identifier word on the wire the type reads back as the default, EXTENDED.
  if (code != CAN_ERR_ACK)
    return std::make_unique<CANExtTraceMessage>(ts, s.channel, CAN_FRAME_ERROR, code,
                                                CAN_TYPE_EXTENDED, 0, data, 0);
  // An ACK error carries the frame nobody acknowledged: one of this channel's frames.
  std::vector<Source*> frames;
  for (Source& f : sources_)
    if (f.kind == Source::ExtFrame && f.channel == s.channel) frames.push_back(&f);
  Source& f = *frames[rng_.below(static_cast<uint32_t>(frames.size()))];
  fillPayload(f, data, f.length);
  uint8_t state = code;
  if ((f.type == CAN_TYPE_FD_STD || f.type == CAN_TYPE_FD_EXT) && f.brs) state |= kBrs;
  return std::make_unique<CANExtTraceMessage>(ts, s.channel, CAN_FRAME_ERROR, state, f.type, f.id,
                                              data, f.length);
}

std::unique_ptr<MessageBase> TraceGenerator::makeLinFrame(Source& s, unsigned long long ts) {
  // Protected identifier (two parity bits) and the enhanced checksum over it and the data.
  const uint8_t id = static_cast<uint8_t>(s.id & 0x3F);
  const auto bit = [id](int n) { return (id >> n) & 1; };
  const uint8_t p0 = static_cast<uint8_t>(bit(0) ^ bit(1) ^ bit(2) ^ bit(4));
  const uint8_t p1 = static_cast<uint8_t>(!(bit(1) ^ bit(3) ^ bit(4) ^ bit(5)));
  const uint8_t pid = static_cast<uint8_t>(id | p0 << 6 | p1 << 7);
  std::vector<uint8_t> data(s.length + 1u);
  fillPayload(s, data.data(), s.length);
  unsigned int sum = pid;
  for (unsigned int i = 0; i < s.length; ++i) {
    sum += data[i];
    if (sum > 0xFF) sum -= 0xFF;
  }
  data[s.length] = static_cast<uint8_t>(~sum);
  // Break 13 bits, delimiter 1, header 34 bits; each response byte 10 bits plus some space.
  const uint16_t header = 34 * kLinBitTime;
  const uint16_t response = static_cast<uint16_t>((data.size() * 10 + rng_.below(4)) * kLinBitTime);
  return std::make_unique<LINTraceMessage>(ts, s.channel, id, data, kLinBitTime,
                                           static_cast<uint16_t>(header + response),
                                           13 * kLinBitTime, kLinBitTime, header);
}

std::unique_ptr<MessageBase> TraceGenerator::makeFlexRayFrame(Source& s, unsigned long long ts) {
  std::vector<uint8_t> bytes(s.length * 2u);
  fillPayload(s, bytes.data(), static_cast<unsigned int>(bytes.size()));
  std::vector<uint16_t> words(s.length);
  for (std::size_t i = 0; i < words.size(); ++i) {
    words[i] = static_cast<uint16_t>(bytes[2 * i] << 8 | bytes[2 * i + 1]);
  }
  // Header CRC (11 bits, polynomial 0x385, initial 0x1A) over sync and startup bits (0), the
  // slot and the payload length.
  const uint32_t covered = (s.id & 0x7FFu) << 7 | (s.length & 0x7Fu);
  uint16_t hcrc = 0x1A;
  for (int i = 19; i >= 0; --i) {
    const bool in = ((covered >> i) & 1) != 0;
    const bool top = (hcrc & 0x400) != 0;
    hcrc = static_cast<uint16_t>((hcrc << 1) & 0x7FF);
    if (in != top) hcrc ^= 0x385;
  }
  // Indicator bits as in the frame header: only the null-frame indicator set (a frame with data).
  constexpr uint8_t kDataFrame = 0x04;
  return std::make_unique<FlexRayTraceMessage>(ts, FlexRayTraceMessage::STATUS_FRAME_DATA,
                                               hcrc & 0x7FF, kDataFrame, static_cast<uint16_t>(s.id),
                                               s.channel, static_cast<uint8_t>(s.counter % 64),
                                               words);
}

std::unique_ptr<MessageBase> TraceGenerator::makeEthernetFrame(Source& s, unsigned long long ts) {
  const uint8_t host = static_cast<uint8_t>(s.tx ? 0x10 : 0x20 + s.channel);
  const uint8_t peer = static_cast<uint8_t>(0x30 + (s.id & 0x0F));
  const uint8_t macHost[6] = {0x02, 0x00, 0x5E, 0x10, 0x00, host};
  const uint8_t macPeer[6] = {0x02, 0x00, 0x5E, 0x10, 0x00, peer};
  const uint8_t ipHost[4] = {192, 168, 10, host};
  const uint8_t ipPeer[4] = {192, 168, 10, peer};
  std::vector<uint8_t> f;
  const bool arp = s.kind == Source::EthArp;
  if (arp) {
    f.insert(f.end(), 6, 0xFF);  // a request goes to everyone
  } else {
    f.insert(f.end(), macPeer, macPeer + 6);
  }
  f.insert(f.end(), macHost, macHost + 6);
  if (s.vlan) {
    put16(f, 0x8100);
    put16(f, 3u << 13 | 20);  // priority 3, VLAN 20
  }
  if (arp) {
    put16(f, 0x0806);
    put16(f, 1);       // Ethernet
    put16(f, 0x0800);  // IPv4
    f.push_back(6);
    f.push_back(4);
    put16(f, 1);  // request
    f.insert(f.end(), macHost, macHost + 6);
    f.insert(f.end(), ipHost, ipHost + 4);
    f.insert(f.end(), 6, 0);
    f.insert(f.end(), ipPeer, ipPeer + 4);
  } else {
    std::vector<uint8_t> payload(s.length);
    fillPayload(s, payload.data(), s.length);
    const uint16_t udpLength = static_cast<uint16_t>(8 + payload.size());
    put16(f, 0x0800);
    const std::size_t ip = f.size();
    f.push_back(0x45);
    f.push_back(0);
    put16(f, 20u + udpLength);
    put16(f, s.counter & 0xFFFF);  // identification
    put16(f, 0x4000);              // don't fragment
    f.push_back(64);
    f.push_back(17);  // UDP
    put16(f, 0);
    f.insert(f.end(), ipHost, ipHost + 4);
    f.insert(f.end(), ipPeer, ipPeer + 4);
    const uint16_t ipSum = foldSum(onesSum(0, f.data() + ip, 20));
    f[ip + 10] = static_cast<uint8_t>(ipSum >> 8);
    f[ip + 11] = static_cast<uint8_t>(ipSum);
    const std::size_t udp = f.size();
    put16(f, 49152u + (s.id & 0xFF));
    put16(f, s.id);
    put16(f, udpLength);
    put16(f, 0);
    f.insert(f.end(), payload.begin(), payload.end());
    // Pseudo-header: addresses, protocol, UDP length.
    uint32_t sum = onesSum(0, f.data() + ip + 12, 8) + 17 + udpLength;
    uint16_t udpSum = foldSum(onesSum(sum, f.data() + udp, udpLength));
    if (udpSum == 0) udpSum = 0xFFFF;
    f[udp + 6] = static_cast<uint8_t>(udpSum >> 8);
    f[udp + 7] = static_cast<uint8_t>(udpSum);
  }
  if (f.size() < 60) f.resize(60, 0);  // minimum frame without the FCS
  if (s.tx) return std::make_unique<EthernetTraceMessage_TX>(ts, s.channel, ETH_PROTO_RAW, f);
  return std::make_unique<EthernetTraceMessage_RX>(ts, s.channel, ETH_PROTO_RAW, f);
}

std::vector<uint8_t> generateTrace(const TraceOptions& options) {
  std::vector<uint8_t> out;
  TraceGenerator gen(options);
  while (gen.next(out)) {
  }
  return out;
}

std::vector<std::unique_ptr<MessageBase>> remoteExchange(unsigned long long startTime) {
  using Event = VXPResponseGetEventList::event_t;
  std::vector<std::unique_ptr<MessageBase>> out;
  unsigned long long t = startTime;
  // Answers follow their request after a few milliseconds, as over the logger's network link.
  auto add = [&](MessageBase* msg, unsigned long long step) {
    t += step;
    msg->timeStamp = t;
    out.emplace_back(msg);
  };
  const auto kVersion = static_cast<vxpMsgID_t>(125);
  const auto kWlanCertificate = static_cast<vxpMsgID_t>(135);
  add(new SimpleMessageRequest<kVersion>(), 0);
  add(new StringMessageResponse<kVersion, 1>(VXPSTATUS_OK, "4.2.17"), 3000);
  add(new Simple1MessageRequest<VXPID_GET_EVENT_LIST, uint8_t>(1), 250000);
  auto* list =
      new VXPResponseGetEventList(VXPSTATUS_OK, 1,
                                  {Event(startTime - 3600000000ULL, "marker", 1, "engine start"),
                                   Event(startTime - 600000000ULL, "marker", 2, "brake;test run")});
  list->fixupComments();
  list->pushAll();
  add(list, 8000);
  add(new Simple1MessageRequest<VXPID_SETTIME, uint64_t>(startTime / 1000000ULL), 250000);
  add(new VXPMessageResponse(VXPID_SETTIME, VXPSTATUS_OK), 2000);
  add(new SimpleVectorMessageRequest<VXPID_FWUPDATE, uint8_t>({0, 1, 30, 0}), 250000);
  for (uint8_t percent : {0, 25, 50, 75, 100}) {
    auto* progress = new VXPMessageResponse(VXPID_FWUPDATE, VXPSTATUS_PROGRESS);
    progress->setProgressInfo(percent, percent < 100 ? "flashing" : "verifying");
    add(progress, 1000000);
  }
  add(new VXPMessageResponse(VXPID_FWUPDATE, VXPSTATUS_OK), 500000);
  add(new SimpleMessageRequest<kWlanCertificate>(), 250000);
  auto* error = new VXPMessageResponse(kWlanCertificate, VXPSTATUS_OK);
  error->setErrorInfo(ERR_FILE_NOT_FOUND, "no certificate installed");
  add(error, 4000);
  return out;
}

}  // namespace vxtrace::gen
