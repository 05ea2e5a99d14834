#include "vxtrace/ECLMessage.h"

#include "util/EnumName.h"
#include "util/Reject.h"
#include "util/Record.h"
#include "vxtrace/BusId.h"

using namespace vxtrace::detail;

namespace {
const char* const kEclNames[] = {"ECL_WAKEUP",  "ECL_START",  "ECL_ERROR",      "ECL_STOP",
                                 "ECL_TRIGGER", "ECL_RESULT", "ECL_EWU",        "ECL_STWU",
                                 "ECL_STP",     "ECL_STR",    "ECL_UNDEF_PULSE"};

// Types from ECL_EWU on carry value32 and a padding byte before value.
bool hasValue32(uint32_t type) { return type >= ECLMessage::ECL_EWU; }
}  // namespace

std::ostream& operator<<(std::ostream& os, ECLMessage::eclMsg_t type) {
  return printEnumName(os, type, kEclNames);
}

ECLMessage::ECLMessage(unsigned long long ts, eclMsg_t type_, uint16_t value_, uint32_t value32_)
    : MessageBase(MSGID_ECL, ts), type(type_), value(value_), value32(value32_) {}

ECLMessage::ECLMessage(const unsigned char* data, unsigned int length)
    : MessageBase(MSGID_ECL, 0), type(ECL_WAKEUP), value(0), value32(0) {
  ByteReader in(data, length);
  in.require(15, "ECLMessage too short");
  readFrameHeader(in, *this);
  const uint8_t typeByte = in.u8();
  if (typeByte > ECL_UNDEF_PULSE) {
    throwBadEnum("eclMsg_t", typeByte);
  }
  type = static_cast<eclMsg_t>(typeByte);
  // The length is checked only for the type byte; value bytes the frame lacks read as 0.
  if (hasValue32(type)) {
    in.skip(1);
    value = in.be16();
    value32 = in.be32();
  } else {
    value = in.be16();
  }
  if (type == ECL_STP) value &= 31;
  if (type == ECL_STR) value &= 127;
}

VXTRACE_RECORD_MEMBERS(ECLMessage)

unsigned int ECLMessage::writeToByteArray(unsigned char*& out, unsigned int room,
                                          bool withSync) const {
  return writeRecord(*this, out, room, withSync, [&](ByteWriter& w) {
    w.u8(static_cast<uint8_t>(type));
    if (hasValue32(type)) {
      w.u8(0);
      w.be16(value);
      w.be32(value32);
    } else {
      w.be16(value);
    }
  });
}

unsigned int ECLMessage::getSize() const { return hasValue32(type) ? 20 : 15; }

bool ECLMessage::operator==(const MessageBase& other) const {
  auto* o = sameClass(*this, other);
  return o != nullptr && o->type == type && o->value == value && o->value32 == value32;
}

void ECLMessage::print(std::ostream& os) const {
  RecordLine line(os, *this);
  os << "  ECL MESSAGE | [" << type << "] ";
  if (!hasValue32(type)) {
    os << value;
  } else if (type == ECL_STP) {
    os << "Parameter: 0x" << std::hex << std::setfill('0') << std::setw(2) << value << " - "
       << std::dec << value32;
  } else if (type == ECL_STR) {
    os << "Node: 0x" << std::hex << std::setfill('0') << std::setw(2) << ((value >> 2) & 31)
       << std::dec << "; E: " << ((value >> 1) & 1) << "; O: " << (value & 1) << " - " << value32;
  } else {
    os << value32;
  }
}

std::string ECLMessage::getSourceChannel() const { return "ECL"; }

uint64_t ECLMessage::getSourceChannelID() const {
  return sourceChannelKey(sourceWord, BUSID_ECL, 0);
}
