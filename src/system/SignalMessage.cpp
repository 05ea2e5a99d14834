#include "vxtrace/SignalMessage.h"

#include <cstring>

#include "util/Record.h"

using namespace vxtrace::detail;

namespace {

// A text takes its length byte and its bytes only when all of them are inside the frame.
bool readText(ByteReader& in, std::string& text) {
  if (!in.has(1) || !in.has(1 + static_cast<std::size_t>(*in.current()))) return false;
  const uint8_t n = in.u8();
  text.assign(reinterpret_cast<const char*>(in.bytes(n)), n);
  return true;
}

void writeText(ByteWriter& w, const std::string& text) {
  w.u8(static_cast<uint8_t>(text.size()));
  w.bytes(text.data(), text.size());
}

}  // namespace

SignalMessage::SignalMessage(unsigned long long ts, const std::string& n, const std::string& w,
                             const std::string& u, const std::string& v, uint16_t win, uint16_t p,
                             uint64_t r, double ph, const std::string& d)
    : MessageBase(MSGID_SIGNAL, ts),
      name(n),
      webappName(w),
      unit(u),
      value(v),
      window(win),
      pos(p),
      raw(r),
      phys(ph),
      descr(d) {}

SignalMessage::SignalMessage(const unsigned char* data, unsigned int length)
    : MessageBase(MSGID_SIGNAL, 0), window(0), pos(0), raw(0), phys(0) {
  ByteReader in(data, length);
  readFrameHeader(in, *this);
  if (!readText(in, name) || !readText(in, webappName) || !readText(in, unit) ||
      !readText(in, value) || !in.has(2))
    return;
  window = in.be16();
  if (!in.has(2)) return;
  pos = in.be16();
  if (!in.has(8)) return;
  raw = in.be64();
  if (!in.has(8)) return;
  const uint64_t bits = in.be64();
  std::memcpy(&phys, &bits, sizeof phys);
  readText(in, descr);
}

VXTRACE_RECORD_MEMBERS(SignalMessage)

unsigned int SignalMessage::writeToByteArray(unsigned char*& out, unsigned int room,
                                             bool withSync) const {
  return writeRecord(*this, out, room, withSync,
                     [&](ByteWriter& w) {
                       writeText(w, name);
                       writeText(w, webappName);
                       writeText(w, unit);
                       writeText(w, value);
                       w.be16(window);
                       w.be16(pos);
                       w.be64(raw);
                       uint64_t bits;
                       std::memcpy(&bits, &phys, sizeof bits);
                       w.be64(bits);
                       writeText(w, descr);
                     }) == 0
             ? 0
             : getSize();
}

unsigned int SignalMessage::getSize() const {
  return 37 + static_cast<unsigned int>(name.size() + webappName.size() + unit.size() +
                                        value.size() + descr.size());
}

bool SignalMessage::operator==(const MessageBase& other) const {
  auto* o = dynamic_cast<const SignalMessage*>(&other);
  return o != nullptr && o->msgId == MSGID_SIGNAL && msgId == MSGID_SIGNAL &&
         o->timeStamp == timeStamp && o->name == name && o->webappName == webappName &&
         o->unit == unit && o->value == value && o->window == window && o->pos == pos &&
         o->raw == raw && o->phys == phys && o->descr == descr;
}

void SignalMessage::print(std::ostream& os) const {
  RecordLine line(os, *this);
  os << "  SIGNAL      | [name=" << name << "] [webappName=" << webappName << "] [unit=" << unit
     << "] [value=" << value << "] [window=" << window << "] [pos=" << pos << "] [raw=" << raw
     << "] [phys=" << phys << "] [descr=" << descr << ']';
}
