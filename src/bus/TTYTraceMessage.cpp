#include "vxtrace/TTYTraceMessage.h"

#include <algorithm>

#include "util/Record.h"
#include "util/Reject.h"
#include "vxtrace/BusId.h"
#include "vxtrace/PlatformUtil.h"

using namespace vxtrace::detail;

namespace {
// The most data a frame's 16-bit size field leaves room for.
constexpr std::size_t kMaxData = 0xFFFF - 16;

std::size_t wireLength(const std::string& text) { return std::min(text.size(), kMaxData); }
}  // namespace

TTYTraceMessage::TTYTraceMessage(unsigned long long ts, uint8_t channel_, ttyproto_t proto_,
                                 const std::string& text)
    : MessageBase(MSGID_TTY, ts), std::string(text), channel(channel_), proto(proto_) {}

TTYTraceMessage::TTYTraceMessage(const unsigned char* data, unsigned int length)
    : MessageBase(MSGID_TTY, 0), channel(0), proto(TTY_NONE) {
  ByteReader in(data, length);
  in.require(18, "TTYTraceMessage too short");
  readFrameHeader(in, *this);
  channel = in.u8();
  const uint8_t protoByte = in.u8();
  if (protoByte > TTY_QXDM_BIN) {
    throwBadEnum("ttyproto_t", protoByte);
  }
  proto = static_cast<ttyproto_t>(protoByte);
  // A data length beyond the frame is cut at the frame's end.
  const uint16_t declared = in.be16();
  const std::size_t n = std::min<std::size_t>(declared, in.remaining());
  const char* chars = reinterpret_cast<const char*>(in.bytes(n));
  if (chars != nullptr) assign(chars, n);
}

VXTRACE_RECORD_MEMBERS(TTYTraceMessage)

unsigned int TTYTraceMessage::writeToByteArray(unsigned char*& out, unsigned int room,
                                               bool withSync) const {
  const unsigned int written = writeRecord(*this, out, room, withSync, [&](ByteWriter& w) {
    w.u8(channel);
    w.u8(static_cast<uint8_t>(proto));
    const std::size_t n = wireLength(*this);
    w.be16(static_cast<uint16_t>(n));
    w.bytes(data(), n);
  });
  return written == 0 ? 0 : getSize();
}

unsigned int TTYTraceMessage::getSize() const {
  return 16 + static_cast<unsigned int>(wireLength(*this));
}

bool TTYTraceMessage::operator==(const MessageBase& other) const {
  if (msgId != MSGID_TTY || other.msgId != MSGID_TTY) return false;
  const auto* o = dynamic_cast<const TTYTraceMessage*>(&other);
  return o != nullptr && o->timeStamp == timeStamp && o->channel == channel && o->proto == proto &&
         static_cast<const std::string&>(*o) == static_cast<const std::string&>(*this);
}

void TTYTraceMessage::print(std::ostream& os) const {
  RecordLine line(os, *this);
  os << "  TTY #" << static_cast<unsigned int>(channel) + 1 << "      | [" << getTTYprotoname(proto)
     << "] ";
  printEscaped(os, *this);
}

std::string TTYTraceMessage::getSourceChannel() const {
  return "TTY #" + std::to_string(static_cast<unsigned int>(channel));
}

uint64_t TTYTraceMessage::getSourceChannelID() const {
  return sourceChannelKey(sourceWord, BUSID_TTY, channel);
}

const char* TTYTraceMessage::getTTYprotoname(ttyproto_t p) {
  static const char* const kNames[] = {"none", "QXDM", "AndroidGW", "QXDM_BIN"};
  return p < 4 ? kNames[p] : "<INVALID>";
}
