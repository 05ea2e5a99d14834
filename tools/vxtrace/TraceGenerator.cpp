#include "TraceGenerator.h"

#include <algorithm>
#include <array>

#include "vxtrace/CANExtTraceMessage.h"
#include "vxtrace/CANTraceMessage.h"
#include "vxtrace/EofMessage.h"
#include "vxtrace/FileTimeMessage.h"
#include "vxtrace/PaddingBytesMessage.h"
#include "vxtrace/SimpleMessage.h"
#include "vxtrace/StringMessageBase.h"
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
};

TraceGenerator::TraceGenerator(const TraceOptions& options)
    : options_(options),
      rng_{options.seed * 0xD1B54A32D192ED03ULL + 0x2545F4914F6CDD1DULL},
      now_(options.startTime) {
  footerCount_ = std::min<uint64_t>(3, options_.records);
  headerCount_ = std::min<uint64_t>(8, options_.records - footerCount_);

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
  // Logger records, all within the first second so that short traces hold every kind.
  sporadic(S::ByteStream, 0, 3000, 250);
  sporadic(S::Wrapper, 0, 5000, 350);
  sporadic(S::TriggerClear, 0, 60000, 400);
  sporadic(S::Padding, 0, 10000, 500);
  sporadic(S::GetTime, 0, 30000, 600);
  sporadic(S::TimeJump, 0, 120000, 800);
  sporadic(S::Remote, 0, 400, 650);
  remote_ = remoteExchange(options_.startTime);

  const unsigned long long bodyStart = options_.startTime + 10 * kMs;
  for (uint32_t i = 0; i < sources_.size(); ++i) queue_.push({bodyStart + sources_[i].first, i});
}

TraceGenerator::~TraceGenerator() = default;

bool TraceGenerator::next(std::vector<uint8_t>& out, std::unique_ptr<MessageBase>* record) {
  if (produced_ >= options_.records) return false;
  std::unique_ptr<MessageBase> msg;
  const uint64_t bodyEnd = options_.records - footerCount_;
  if (produced_ < headerCount_) {
    now_ = options_.startTime + produced_ * kMs;
    msg = makeHeader(produced_, now_);
  } else if (produced_ < bodyEnd) {
    msg = makeBody();
  } else {
    now_ += kMs;
    msg = makeFooter(produced_ - bodyEnd + (3 - footerCount_), now_);
  }
  if (auto* eof = dynamic_cast<EofMessage*>(msg.get())) eof->crc = crc_;
  const std::size_t before = out.size();
  appendFramed(out, *msg, options_.framing);
  crc_ = crc32(crc_, out.data() + before, out.size() - before);
  ++produced_;
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
    case 6:
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
    case Source::Remote: {
      std::unique_ptr<MessageBase> msg(remote_[(s.counter - 1) % remote_.size()]->clone());
      msg->timeStamp = ts;
      return msg;
    }
  }
  return nullptr;
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
