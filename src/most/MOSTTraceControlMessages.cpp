#include <cstring>

#include "most/MOSTCommon.h"
#include "util/ByteOrder.h"
#include "vxtrace/MOSTTraceControlMessage.h"
#include "vxtrace/MOSTTraceControlSystemMessage.h"

using namespace vxtrace::detail;

MOSTTraceControlMessageBase::MOSTTraceControlMessageBase(unsigned long long ts, mostmsgType_t type_,
                                                         uint8_t flags_, const uint8_t* frameBytes)
    : MOSTTraceMessageBase(ts, type_, flags_) {
  std::memcpy(frame, frameBytes, sizeof frame);
}

MOSTTraceControlMessageBase::MOSTTraceControlMessageBase(const unsigned char* data,
                                                         unsigned int length)
    : MOSTTraceMessageBase(0, MOST_TYPE_CONTROL, 0) {
  readFixedRecord(*this, data, length, 48, "MOSTTraceControlMessageBase too short", frame,
                  sizeof frame);
}

MOSTTraceControlMessageBase::~MOSTTraceControlMessageBase() = default;

VXTRACE_RECORD_CLONE(MOSTTraceControlMessageBase)
VXTRACE_RECORD_TEXT(MOSTTraceControlMessageBase)

unsigned int MOSTTraceControlMessageBase::writeToByteArray(unsigned char*& out, unsigned int room,
                                                           bool withSync) const {
  return writeFixedRecord(*this, out, room, withSync, frame, sizeof frame);
}

unsigned int MOSTTraceControlMessageBase::getSize() const { return 46; }

bool MOSTTraceControlMessageBase::operator==(const MessageBase& other) const {
  auto* o = sameClass(*this, other);
  return o != nullptr && o->timeStamp == timeStamp && o->type == type && o->flags == flags &&
         std::memcmp(o->frame, frame, sizeof frame) == 0;
}

void MOSTTraceControlMessageBase::print(std::ostream& os) const {
  RecordLine line(os, *this);
  printLead(os);
  os << std::hex << std::uppercase << std::setfill('0') << " [" << std::setw(4)
     << getSourceAddress() << " -> " << std::setw(4) << getTargetAddress() << ']';
  if (type != MOST_TYPE_CONTROL) {
    os << " Type = " << static_cast<unsigned int>(type) << " (";
    dumpData(os, frame + 9, frame + 28);
    os << ')';
  }
}

unsigned short MOSTTraceControlMessageBase::getTargetAddress() const { return loadBE16(frame + 4); }

unsigned short MOSTTraceControlMessageBase::getSourceAddress() const { return loadBE16(frame + 6); }

void MOSTTraceControlMessageBase::setTargetAddress(unsigned short address) {
  storeBE16(frame + 4, address);
}

void MOSTTraceControlMessageBase::setSourceAddress(unsigned short address) {
  storeBE16(frame + 6, address);
}

MOSTTraceControlMessage::MOSTTraceControlMessage(unsigned long long ts, uint8_t flags_,
                                                 const uint8_t* frameBytes)
    : MOSTTraceControlMessageBase(ts, MOST_TYPE_CONTROL, flags_, frameBytes) {}

MOSTTraceControlMessage::MOSTTraceControlMessage(const unsigned char* data, unsigned int length)
    : MOSTTraceControlMessageBase(data, length) {}

MOSTTraceControlMessage::~MOSTTraceControlMessage() = default;

VXTRACE_RECORD_MEMBERS(MOSTTraceControlMessage)

bool MOSTTraceControlMessage::operator==(const MessageBase& other) const {
  return sameClass(*this, other) != nullptr && MOSTTraceControlMessageBase::operator==(other);
}

void MOSTTraceControlMessage::print(std::ostream& os) const {
  MOSTTraceControlMessageBase::print(os);
  StreamStateGuard guard(os);
  os << std::hex << std::uppercase << std::setfill('0') << " . " << std::setw(2)
     << static_cast<unsigned int>(getFBlockID()) << '.' << std::setw(2)
     << static_cast<unsigned int>(getInstID()) << " . " << std::setw(3) << getFktID() << '.'
     << static_cast<unsigned int>(getOPType()) << " . " << static_cast<unsigned int>(getTelID())
     << ' ' << static_cast<unsigned int>(getTelLen()) << " (";
  dumpData(os, getTelData(), getTelData() + getTelLen());
  os << ')';
}

uint8_t MOSTTraceControlMessage::getFBlockID() const { return frame[9]; }
uint8_t MOSTTraceControlMessage::getInstID() const { return frame[10]; }
uint16_t MOSTTraceControlMessage::getFktID() const { return loadBE16(frame + 11) >> 4; }
uint8_t MOSTTraceControlMessage::getOPType() const { return frame[12] & 0x0F; }
uint8_t MOSTTraceControlMessage::getTelID() const { return frame[13] >> 4; }
// At most 15, so the telegram never runs past the 32-byte frame.
uint8_t MOSTTraceControlMessage::getTelLen() const { return frame[13] & 0x0F; }
const uint8_t* MOSTTraceControlMessage::getTelData() const { return frame + 14; }

template <uint8_t N>
MOSTTraceControlSystemMessage<N>::MOSTTraceControlSystemMessage(unsigned long long ts,
                                                                uint8_t flags_,
                                                                const uint8_t* frameBytes)
    : MOSTTraceControlMessageBase(ts, static_cast<mostmsgType_t>(N), flags_, frameBytes) {}

template <uint8_t N>
MOSTTraceControlSystemMessage<N>::MOSTTraceControlSystemMessage(const unsigned char* data,
                                                                unsigned int length)
    : MOSTTraceControlMessageBase(data, length) {
  type = static_cast<mostmsgType_t>(N);
}

template <uint8_t N>
MOSTTraceControlSystemMessage<N>::~MOSTTraceControlSystemMessage() = default;

template <uint8_t N>
MessageBase* MOSTTraceControlSystemMessage<N>::readFromByteArray(const unsigned char* data,
                                                                 unsigned int length) {
  return new MOSTTraceControlSystemMessage<N>(data, length);
}

template <uint8_t N>
MessageBase* MOSTTraceControlSystemMessage<N>::clone() const {
  return new MOSTTraceControlSystemMessage<N>(*this);
}

template <uint8_t N>
bool MOSTTraceControlSystemMessage<N>::operator==(const MessageBase& other) const {
  return sameClass(*this, other) != nullptr && MOSTTraceControlMessageBase::operator==(other);
}

template class MOSTTraceControlSystemMessage<1>;
template class MOSTTraceControlSystemMessage<2>;
template class MOSTTraceControlSystemMessage<3>;
template class MOSTTraceControlSystemMessage<4>;
template class MOSTTraceControlSystemMessage<5>;
