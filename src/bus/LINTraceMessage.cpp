#include "vxtrace/LINTraceMessage.h"

#include <algorithm>

#include "util/Record.h"
#include "util/Reject.h"
#include "vxtrace/BusId.h"

using namespace vxtrace::detail;

namespace {
// Header and the fixed body fields: a frame record must be longer.
constexpr unsigned int kLinFixedFrame = 27;
constexpr std::size_t kLinMaxDecodedData = 9;  // eight data bytes and the checksum
}  // namespace

LINTraceMessage::LINTraceMessage(unsigned long long ts)
    : MessageBase(MSGID_LIN, ts),
      kind(KIND_FRAME),
      channel(0),
      status(0),
      bitTime(0),
      frameTime(0),
      breakTime(0),
      delimiterTime(0),
      headerTime(0),
      linId(0) {}

LINTraceMessage::LINTraceMessage(unsigned long long ts, uint8_t channel_, uint8_t linId_,
                                 const std::vector<uint8_t>& bytes, uint16_t bitTime_,
                                 uint16_t frameTime_, uint16_t breakTime_,
                                 uint16_t delimiterTime_, uint16_t headerTime_)
    : LINTraceMessage(ts) {
  data.assign(bytes.begin(), bytes.begin() + std::min<std::size_t>(bytes.size(), 255));
  channel = channel_;
  linId = linId_;
  bitTime = bitTime_;
  frameTime = frameTime_;
  breakTime = breakTime_;
  delimiterTime = delimiterTime_;
  headerTime = headerTime_;
}

LINTraceMessage LINTraceMessage::wakeUpPulse(unsigned long long ts, uint8_t channel_,
                                             uint16_t bitTime_, uint16_t pulseLength) {
  LINTraceMessage msg(ts);
  msg.kind = KIND_WAKEUP;
  msg.channel = channel_;
  msg.status = STATUS_WAKEUP;
  msg.bitTime = bitTime_;
  msg.frameTime = pulseLength;
  return msg;
}

LINTraceMessage::LINTraceMessage(const unsigned char* bytes, unsigned int length)
    : LINTraceMessage(0) {
  ByteReader in(bytes, length);
  readFrameHeader(in, *this);
  channel = in.u8();
  status = in.u8();
  bitTime = in.be16();
  frameTime = in.be16();
  if (status & STATUS_WAKEUP) {
    // A pulse record keeps neither the header word nor anything after the pulse length.
    headerWord = 0;
    kind = KIND_WAKEUP;
    return;
  }
  requireLength(length, kLinFixedFrame + 1, "Invalid LIN message length");
  breakTime = in.be16();
  delimiterTime = in.be16();
  headerTime = in.be16();
  linId = in.u8();
  const std::size_t n = std::min<std::size_t>(in.u8(), kLinMaxDecodedData);
  const std::size_t present = std::min(n, in.remaining());
  const uint8_t* const p = in.bytes(present);
  data.assign(p, p + present);
  data.resize(n);  // data bytes the count promises but the frame lacks read as 0
}

VXTRACE_RECORD_MEMBERS(LINTraceMessage)

unsigned int LINTraceMessage::writeToByteArray(unsigned char*& out, unsigned int room,
                                               bool withSync) const {
  return writeRecord(*this, out, room, withSync, [&](ByteWriter& w) {
    w.u8(channel);
    w.u8(status);
    w.be16(bitTime);
    w.be16(frameTime);
    w.be16(breakTime);
    w.be16(delimiterTime);
    w.be16(headerTime);
    w.u8(linId);
    w.u8(static_cast<uint8_t>(data.size()));
    w.bytes(data.data(), data.size());
  });
}

unsigned int LINTraceMessage::getSize() const {
  return 26 + static_cast<unsigned int>(data.size());
}

bool LINTraceMessage::operator==(const MessageBase& other) const {
  auto* o = sameClass(*this, other);
  return o != nullptr && timeStamp == o->timeStamp && channel == o->channel &&
         status == o->status && bitTime == o->bitTime && frameTime == o->frameTime &&
         breakTime == o->breakTime && delimiterTime == o->delimiterTime &&
         headerTime == o->headerTime && linId == o->linId && data == o->data;
}

void LINTraceMessage::print(std::ostream& os) const {
  RecordLine line(os, *this);
  os << "  LIN #" << std::left << std::setw(7) << static_cast<unsigned int>(channel) + 1
     << std::right << "| [status=" << std::setw(3) << static_cast<unsigned int>(status)
     << ", bitTime=" << std::setw(5) << bitTime;
  switch (kind) {
    case 0:
    case 1:
      os << ", frameTime=" << std::setw(5) << frameTime << ", breakTime=" << std::setw(5)
         << breakTime << ", delimiterTime=" << std::setw(5) << delimiterTime
         << ", headerTime=" << std::setw(5) << headerTime << ", linId=" << std::setw(3)
         << static_cast<unsigned int>(linId) << ", len=" << data.size() << "] ";
      if (!data.empty()) {
        os << std::hex << std::setfill('0');
        dumpData(os, data.data(), data.data() + data.size());
      }
      break;
    case KIND_WAKEUP:
      os << ", wakeUpPulse=" << std::setw(5) << frameTime << ']';
      break;
    case 14:
      os << ']';
      break;
    default:
      os << ", UNKNOWN LIN FRAME]";
      break;
  }
}

std::string LINTraceMessage::getSourceChannel() const {
  return "LIN #" + std::to_string(static_cast<unsigned int>(channel));
}

uint64_t LINTraceMessage::getSourceChannelID() const {
  return sourceChannelKey(sourceWord, BUSID_LIN, channel);
}

void LINTraceMessage::cascadeChannel(unsigned short offset) {
  channel = static_cast<uint8_t>(channel + (offset & 0xFF));
}
