#include "vxtrace/FlexRayTraceMessage.h"

#include <algorithm>

#include "util/Record.h"
#include "util/Reject.h"
#include "vxtrace/BusId.h"

using namespace vxtrace::detail;

namespace {

constexpr unsigned int kFlexRayMinFrame = 20;  // header and the three words
constexpr uint16_t kPayloadCountMask = 0x7F;
constexpr uint16_t kLow11 = 0x7FF;

const char* const kStatusNames[] = {nullptr,       "Frame Data ", "FIFO A Ovfl",
                                    "FIFO B Ovfl", "Error      ", "Sync       ",
                                    "No Sync    ", "Startup    ", "RAW        "};

void writeFrameWords(ByteWriter& w, const FlexRayTraceMessage::frame_t& f) {
  w.be16(f.statusWord);
  w.be16(f.slotWord);
  w.be16(f.cycleWord);
  for (uint16_t word : f.payload) w.be16(word);
}

}  // namespace

std::ostream& operator<<(std::ostream& os, const FlexRayTraceMessage::status_t& s) {
  if (s >= 1 && s < sizeof kStatusNames / sizeof kStatusNames[0]) return os << kStatusNames[s];
  StreamStateGuard guard(os);
  return os << "UNKNOWN:" << std::dec << std::setfill(' ') << std::setw(3)
            << static_cast<unsigned int>(s);
}

void FlexRayTraceMessage::frame_t::writeToByteArray(unsigned char*& out) const {
  ByteWriter w(out, out + 6 + 2 * payload.size());
  writeFrameWords(w, *this);
}

FlexRayTraceMessage::FlexRayTraceMessage(unsigned long long ts) : MessageBase(MSGID_FLEXRAY, ts) {}

FlexRayTraceMessage::FlexRayTraceMessage(unsigned long long ts, status_t status,
                                         uint16_t headerCrc, uint8_t bits, uint16_t slot,
                                         uint8_t interfaceChannel, uint8_t cycle,
                                         const std::vector<uint16_t>& payload)
    : FlexRayTraceMessage(ts) {
  const std::size_t n = std::min<std::size_t>(payload.size(), kPayloadCountMask);
  frame.payload.assign(payload.begin(), payload.begin() + n);
  frame.statusWord = static_cast<uint16_t>((status & 0x1F) << 11 | (headerCrc & kLow11));
  frame.slotWord = static_cast<uint16_t>((bits & 0x1F) << 11 | (slot & kLow11));
  frame.cycleWord = static_cast<uint16_t>((interfaceChannel & 0x07) << 13 | (cycle & 0x3F) << 7 |
                                          n);
}

FlexRayTraceMessage::FlexRayTraceMessage(const unsigned char* data, unsigned int length)
    : FlexRayTraceMessage(0) {
  ByteReader in(data, length);
  readFrameHeader(in, *this);
  frame.statusWord = in.be16();
  frame.slotWord = in.be16();
  frame.cycleWord = in.be16();
  // Only words that are there: a frame cut short (the creator refuses those) keeps fewer.
  const std::size_t words =
      std::min<std::size_t>(frame.cycleWord & kPayloadCountMask, in.remaining() / 2);
  const uint8_t* const p = in.bytes(2 * words);
  // Sized once (push_back checks the capacity for every word) and not zero-filled first.
  frame.payload.assign(Be16Iterator(p), Be16Iterator(p + 2 * words));
}

MessageBase* FlexRayTraceMessage::readFromByteArray(const unsigned char* data,
                                                    unsigned int length) {
  if (length < kFlexRayMinFrame) return nullptr;
  ByteReader in(data, length);
  in.skip(18);
  const uint16_t cycleWord = in.be16();
  if (length < kFlexRayMinFrame + ((cycleWord * 2u) & 0xFEu)) return nullptr;
  return new FlexRayTraceMessage(data, length);
}

VXTRACE_RECORD_CLONE(FlexRayTraceMessage)
VXTRACE_RECORD_TEXT(FlexRayTraceMessage)

unsigned int FlexRayTraceMessage::writeToByteArray(unsigned char*& out, unsigned int room,
                                                   bool withSync) const {
  return writeRecord(
      *this, out, room, withSync, [&](ByteWriter& w) { writeFrameWords(w, frame); }, 1);
}

unsigned int FlexRayTraceMessage::getSize() const {
  return 19 + 2 * static_cast<unsigned int>(frame.payload.size());
}

bool FlexRayTraceMessage::operator==(const MessageBase& other) const {
  auto* o = sameClass(*this, other);
  return o != nullptr && timeStamp == o->timeStamp && frame.statusWord == o->frame.statusWord &&
         frame.slotWord == o->frame.slotWord && frame.cycleWord == o->frame.cycleWord &&
         frame.payload == o->frame.payload;
}

void FlexRayTraceMessage::print(std::ostream& os) const {
  RecordLine line(os, *this);
  const unsigned int source = frame.cycleWord >> 13;
  // The interface number is written while the stream is hexadecimal; 1..4 read the same.
  os << std::hex << std::setfill('0') << "  FLEXRAY #" << (source >> 1) + 1
     << ((source & 1) != 0 ? 'B' : 'A') << " | status= "
     << static_cast<status_t>(frame.statusWord >> 11) << std::dec
     << ", bits=" << (frame.slotWord >> 11) << ", slot=" << (frame.slotWord & kLow11)
     << ", len=" << frame.payload.size() << ", hCRC=0x" << std::hex << std::setw(4)
     << (frame.statusWord & kLow11) << std::dec << ", cycle=" << ((frame.cycleWord >> 7) & 63);
  if (frame.payload.empty()) return;
  os << ", payload:" << std::hex;
  for (uint16_t word : frame.payload) os << std::setw(4) << word << ',';
}

std::string FlexRayTraceMessage::getSourceChannel() const {
  return "FlexRay #" + std::to_string(frame.cycleWord >> 13);
}

uint64_t FlexRayTraceMessage::getSourceChannelID() const {
  return sourceChannelKey(sourceWord, BUSID_FLEXRAY, frame.cycleWord >> 13);
}

void FlexRayTraceMessage::cascadeChannel(unsigned short offset) {
  const unsigned int source = ((frame.cycleWord >> 13) + offset) & 0x07;
  frame.cycleWord = static_cast<uint16_t>(source << 13 | (frame.cycleWord & 0x1FFF));
}
