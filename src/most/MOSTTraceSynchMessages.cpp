#include <algorithm>

#include "most/MOSTCommon.h"
#include "vxtrace/MOSTTraceSynchAllocMapMessage.h"
#include "vxtrace/MOSTTraceSynchAllocMessage.h"
#include "vxtrace/MOSTTraceSynchCtrlMessage.h"
#include "vxtrace/MOSTTraceSynchDataMessage.h"
#include "vxtrace/MOSTTraceSynchTriggerMessage.h"

using namespace vxtrace::detail;

MOSTTraceSynchMessageBase::MOSTTraceSynchMessageBase(unsigned long long ts, uint8_t flags_,
                                                     const std::vector<uint8_t>& body_)
    : MOSTTraceMessageBase(ts, MOST_TYPE_SYNCH, flags_), body(body_) {}

MOSTTraceSynchMessageBase::MOSTTraceSynchMessageBase(const unsigned char* data, unsigned int length)
    : MOSTTraceMessageBase(0, MOST_TYPE_SYNCH, 0) {
  ByteReader in(data, length);
  readMostHead(in, *this);
  type = MOST_TYPE_SYNCH;
  // The size field is 16 bits wide: a longer block keeps only what a frame can carry.
  const std::size_t n = std::min<std::size_t>(in.remaining(), 0xFFFF - 14);
  const unsigned char* p = in.bytes(n);
  if (p != nullptr) body.assign(p, p + n);
}

MOSTTraceSynchMessageBase::~MOSTTraceSynchMessageBase() = default;

unsigned int MOSTTraceSynchMessageBase::writeToByteArray(unsigned char*& out, unsigned int room,
                                                         bool withSync) const {
  return writeRecord(*this, out, room, withSync, [&](ByteWriter& w) {
    writeMostHead(w, *this);
    w.bytes(body.data(), body.size());
  });
}

unsigned int MOSTTraceSynchMessageBase::getSize() const {
  return 14 + static_cast<unsigned int>(body.size());
}

bool MOSTTraceSynchMessageBase::operator==(const MessageBase& other) const {
  auto* o = sameClass(*this, other);
  return o != nullptr && o->timeStamp == timeStamp && o->flags == flags && o->body == body;
}

void MOSTTraceSynchMessageBase::print(std::ostream& os) const {
  RecordLine line(os, *this);
  printLead(os);
  os << ' ' << className() << ' ' << std::hex << std::uppercase << std::setfill('0');
  dumpData(os, body.data(), body.data() + body.size());
}

uint8_t MOSTTraceSynchMessageBase::getSubType() const { return body.size() > 4 ? body[4] : 0; }

MOSTTraceSynchDataMessage::MOSTTraceSynchDataMessage(unsigned long long ts, uint8_t flags_,
                                                     const std::vector<uint8_t>& body_)
    : MOSTTraceSynchMessageBase(ts, flags_, body_) {}
MOSTTraceSynchDataMessage::MOSTTraceSynchDataMessage(const unsigned char* data, unsigned int length)
    : MOSTTraceSynchMessageBase(data, length) {}
MOSTTraceSynchDataMessage::~MOSTTraceSynchDataMessage() = default;
const char* MOSTTraceSynchDataMessage::className() const { return "MOSTTraceSynchDataMessage"; }
VXTRACE_RECORD_MEMBERS(MOSTTraceSynchDataMessage)

MOSTTraceSynchAllocMessage::MOSTTraceSynchAllocMessage(unsigned long long ts, uint8_t flags_,
                                                       const std::vector<uint8_t>& body_)
    : MOSTTraceSynchMessageBase(ts, flags_, body_) {}
MOSTTraceSynchAllocMessage::MOSTTraceSynchAllocMessage(const unsigned char* data,
                                                       unsigned int length)
    : MOSTTraceSynchMessageBase(data, length) {}
MOSTTraceSynchAllocMessage::~MOSTTraceSynchAllocMessage() = default;
const char* MOSTTraceSynchAllocMessage::className() const { return "MOSTTraceSynchAllocMessage"; }
VXTRACE_RECORD_MEMBERS(MOSTTraceSynchAllocMessage)

MOSTTraceSynchCtrlMessage::MOSTTraceSynchCtrlMessage(unsigned long long ts, uint8_t flags_,
                                                     const std::vector<uint8_t>& body_)
    : MOSTTraceSynchMessageBase(ts, flags_, body_) {}
MOSTTraceSynchCtrlMessage::MOSTTraceSynchCtrlMessage(const unsigned char* data, unsigned int length)
    : MOSTTraceSynchMessageBase(data, length) {}
MOSTTraceSynchCtrlMessage::~MOSTTraceSynchCtrlMessage() = default;
const char* MOSTTraceSynchCtrlMessage::className() const { return "MOSTTraceSynchCtrlMessage"; }
VXTRACE_RECORD_MEMBERS(MOSTTraceSynchCtrlMessage)

MOSTTraceSynchTriggerMessage::MOSTTraceSynchTriggerMessage(unsigned long long ts, uint8_t flags_,
                                                           const std::vector<uint8_t>& body_)
    : MOSTTraceSynchMessageBase(ts, flags_, body_) {}
MOSTTraceSynchTriggerMessage::MOSTTraceSynchTriggerMessage(const unsigned char* data,
                                                           unsigned int length)
    : MOSTTraceSynchMessageBase(data, length) {}
MOSTTraceSynchTriggerMessage::~MOSTTraceSynchTriggerMessage() = default;
const char* MOSTTraceSynchTriggerMessage::className() const {
  return "MOSTTraceSynchTriggerMessage";
}
VXTRACE_RECORD_MEMBERS(MOSTTraceSynchTriggerMessage)

MOSTTraceSynchAllocMapMessage::MOSTTraceSynchAllocMapMessage(unsigned long long ts, uint8_t flags_,
                                                             const std::vector<uint8_t>& body_)
    : MOSTTraceSynchMessageBase(ts, flags_, body_) {}
MOSTTraceSynchAllocMapMessage::MOSTTraceSynchAllocMapMessage(const unsigned char* data,
                                                             unsigned int length)
    : MOSTTraceSynchMessageBase(data, length) {}
MOSTTraceSynchAllocMapMessage::~MOSTTraceSynchAllocMapMessage() = default;
const char* MOSTTraceSynchAllocMapMessage::className() const {
  return "MOSTTraceSynchAllocMapMessage";
}
VXTRACE_RECORD_MEMBERS(MOSTTraceSynchAllocMapMessage)
