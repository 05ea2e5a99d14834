#include "vxtrace/MOSTTraceMessageBase.h"

#include <iostream>

#include "most/MOSTCommon.h"
#include "util/Diagnostics.h"
#include "util/Reject.h"
#include "vxtrace/BusId.h"
#include "vxtrace/InvalidMessage.h"
#include "vxtrace/MOSTTraceAllocationMapMessage.h"
#include "vxtrace/MOSTTraceAsynchMessage.h"
#include "vxtrace/MOSTTraceControlMessage.h"
#include "vxtrace/MOSTTraceControlSystemMessage.h"
#include "vxtrace/MOSTTraceStatusMessage.h"
#include "vxtrace/MOSTTraceSynchAllocMapMessage.h"
#include "vxtrace/MOSTTraceSynchAllocMessage.h"
#include "vxtrace/MOSTTraceSynchCtrlMessage.h"
#include "vxtrace/MOSTTraceSynchDataMessage.h"
#include "vxtrace/MOSTTraceSynchTriggerMessage.h"

using namespace vxtrace::detail;

namespace {

// The whole frame as an InvalidMessage with the frame's header word. The MOST creator answers
// with one itself, whatever invalidHandling says.
MessageBase* invalidMost(const unsigned char* data, unsigned int length, uint16_t headerWord,
                         int cause, const char* enumName = nullptr, uint16_t value = 0) {
  auto* msg = new InvalidMessage(data, length);
  msg->headerWord = headerWord;
  msg->cause = cause;
  if (enumName != nullptr) {
    msg->enumName = enumName;
    msg->enumValue = value;
  }
  return msg;
}

MessageBase* createSynch(const unsigned char* data, unsigned int length, uint16_t headerWord) {
  // A frame too short to hold the sub-type reads it as 0, like any missing byte.
  ByteReader in(data, length);
  in.skip(20);
  const uint8_t subType = in.u8();
  switch (subType) {
    case MOSTTraceSynchMessageBase::SUBTYPE_DATA:
      return new MOSTTraceSynchDataMessage(data, length);
    case MOSTTraceSynchMessageBase::SUBTYPE_ALLOC:
      return new MOSTTraceSynchAllocMessage(data, length);
    case MOSTTraceSynchMessageBase::SUBTYPE_CTRL:
      return new MOSTTraceSynchCtrlMessage(data, length);
    case MOSTTraceSynchMessageBase::SUBTYPE_TRIGGER:
      return new MOSTTraceSynchTriggerMessage(data, length);
    case MOSTTraceSynchMessageBase::SUBTYPE_ALLOC_MAP:
      return new MOSTTraceSynchAllocMapMessage(data, length);
    default:
      return invalidMost(data, length, headerWord, invalidEnumValue, "invalid sync subtype",
                         subType);
  }
}

const char* mostLabel(uint8_t type) {
  if (type <= MOSTTraceMessageBase::MOST_TYPE_REMOTE_GET_SOURCE) return "MOST CTRL   |";
  switch (type) {
    case MOSTTraceMessageBase::MOST_TYPE_ASYNCH:
      return "MOST ASYNCH |";
    case MOSTTraceMessageBase::MOST_TYPE_STATUS:
      return "MOST STATUS |";
    case MOSTTraceMessageBase::MOST_TYPE_ALLOCATION_MAP:
      return "MOST ALLOC  |";
    case MOSTTraceMessageBase::MOST_TYPE_SYNCH:
      return "MOST CTRL   |";
    default:
      return "";
  }
}

}  // namespace

MOSTTraceMessageBase::MOSTTraceMessageBase(unsigned long long ts, mostmsgType_t type_,
                                           uint8_t flags_)
    : MessageBase(MSGID_MOST, ts), type(type_), flags(flags_) {}

MOSTTraceMessageBase::~MOSTTraceMessageBase() = default;

const char* MOSTTraceMessageBase::typeClassName(uint8_t t) {
  static const char* const kControl[] = {"MOSTTraceControlMessage",
                                         "MOSTTraceControlRemoteReadMessage",
                                         "MOSTTraceControlRemoteWriteMessage",
                                         "MOSTTraceControlAllocMessage",
                                         "MOSTTraceControlDeallocMessage",
                                         "MOSTTraceControlRemoteGetSourceMessage"};
  if (t < sizeof kControl / sizeof kControl[0]) return kControl[t];
  switch (t) {
    case MOST_TYPE_ASYNCH:
      return "MOSTTraceAsynchMessage";
    case MOST_TYPE_STATUS:
      return "MOSTTraceStatusMessage";
    case MOST_TYPE_ALLOCATION_MAP:
      return "MOSTTraceAllocationMapMessage";
    default:
      return nullptr;
  }
}

MessageBase* MOSTTraceMessageBase::readFromByteArray(const unsigned char* data,
                                                     unsigned int length) {
  if (length < 16) return nullptr;
  ByteReader in(data, length);
  in.skip(4);
  const uint16_t headerWord = in.be16();
  in.skip(8);
  const uint8_t t = in.u8();
  try {
    switch (t) {
      case MOST_TYPE_CONTROL:
        return new MOSTTraceControlMessage(data, length);
      case MOST_TYPE_REMOTE_READ:
        return new MOSTTraceControlSystemMessage<1>(data, length);
      case MOST_TYPE_REMOTE_WRITE:
        return new MOSTTraceControlSystemMessage<2>(data, length);
      case MOST_TYPE_ALLOC:
        return new MOSTTraceControlSystemMessage<3>(data, length);
      case MOST_TYPE_DEALLOC:
        return new MOSTTraceControlSystemMessage<4>(data, length);
      case MOST_TYPE_REMOTE_GET_SOURCE:
        return new MOSTTraceControlSystemMessage<5>(data, length);
      case MOST_TYPE_ASYNCH:
        return new MOSTTraceAsynchMessage(data, length);
      case MOST_TYPE_STATUS:
        return new MOSTTraceStatusMessage(data, length);
      case MOST_TYPE_ALLOCATION_MAP:
        return new MOSTTraceAllocationMapMessage(data, length);
      case MOST_TYPE_SYNCH:
        return createSynch(data, length, headerWord);
      default:
        break;
    }
  } catch (const BufferMismatchException&) {
    errorLog() << "[ERROR] Cannot create " << typeClassName(t) << " message" << std::endl;
    return invalidMost(data, length, headerWord, invalidLength);
  }
  {
    StreamStateGuard guard(errorLog());
    errorLog() << "[ERROR] Cannot create MOST message, unknow subtype 0x" << std::hex
              << static_cast<unsigned int>(t) << std::endl;
  }
  return invalidMost(data, length, headerWord, invalidEnumValue, "invalid subtype", t);
}

VXTRACE_RECORD_CLONE(MOSTTraceMessageBase)
VXTRACE_RECORD_TEXT(MOSTTraceMessageBase)

unsigned int MOSTTraceMessageBase::writeToByteArray(unsigned char*& out, unsigned int room,
                                                    bool withSync) const {
  return writeRecord(*this, out, room, withSync, [&](ByteWriter& w) { writeMostHead(w, *this); });
}

unsigned int MOSTTraceMessageBase::getSize() const { return 14; }

bool MOSTTraceMessageBase::operator==(const MessageBase& other) const {
  auto* o = sameClass(*this, other);
  return o != nullptr && o->timeStamp == timeStamp && o->type == type && o->flags == flags;
}

void MOSTTraceMessageBase::printLead(std::ostream& os) const {
  os << "  " << mostLabel(type);
  if (flags & FLAG_INVALID_ARBITRATION) os << " [INVALID_ARBITRATION]";
  if (flags & FLAG_WRONG_PARITY) os << " [WRONG_PARITY]";
  if (flags & FLAG_CRC_ERROR) os << " [CRC_ERROR]";
}

void MOSTTraceMessageBase::print(std::ostream& os) const {
  RecordLine line(os, *this);
  printLead(os);
}

std::string MOSTTraceMessageBase::getSourceChannel() const { return "MOST25 #0"; }

uint64_t MOSTTraceMessageBase::getSourceChannelID() const {
  return sourceChannelKey(sourceWord, BUSID_MOST25, 0);
}
