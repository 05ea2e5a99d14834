#include "vxtrace/KeyboardMessage.h"

#include "util/EnumName.h"
#include "util/Record.h"
#include "util/Reject.h"

using namespace vxtrace::detail;

namespace {
const char* const kKeyNames[] = {nullptr,  "F1",     "F2",      "F3",     "F4",   "F5",   "F6",
                                 "F7",     "F8",     "F9",      "F10",    "UP",   "DOWN", "ACCEPT",
                                 "CANCEL", "STATUS", "TRIGGER", "RECORD", "PLAY", "STOP"};
const char* const kStateNames[] = {"released", "pressed", "long pressed", "toggled"};
}  // namespace

std::ostream& operator<<(std::ostream& os, keyCode_t code) {
  return printEnumName(os, code, kKeyNames);
}

std::ostream& operator<<(std::ostream& os, keyState_t state) {
  return printEnumName(os, state, kStateNames);
}

KeyboardMessage::KeyboardMessage(unsigned long long ts, keyCode_t code_, keyState_t state_)
    : MessageBase(MSGID_KEYBOARD, ts), code(code_), state(state_) {}

KeyboardMessage::KeyboardMessage(const unsigned char* data, unsigned int length)
    : MessageBase(MSGID_KEYBOARD, 0), code(KEY_F1), state(KEY_RELEASED) {
  ByteReader in(data, length);
  in.require(16, "KeyboardMessage too short");
  readFrameHeader(in, *this);
  const uint8_t codeByte = in.u8();
  const uint8_t stateByte = in.u8();
  if (codeByte > KEY_STOP) {
    throwBadEnum("keyCode_t", codeByte);
  }
  if (stateByte > KEY_TOGGLED) {
    throwBadEnum("keyState_t", stateByte);
  }
  code = static_cast<keyCode_t>(codeByte);
  state = static_cast<keyState_t>(stateByte);
}

VXTRACE_RECORD_MEMBERS(KeyboardMessage)

unsigned int KeyboardMessage::writeToByteArray(unsigned char*& out, unsigned int room,
                                               bool withSync) const {
  return writeRecord(*this, out, room, withSync, [&](ByteWriter& w) {
    w.u8(static_cast<uint8_t>(code));
    w.u8(static_cast<uint8_t>(state));
  });
}

unsigned int KeyboardMessage::getSize() const { return 14; }

bool KeyboardMessage::operator==(const MessageBase& other) const {
  auto* o = sameClass(*this, other);
  return o != nullptr && o->code == code && o->state == state;
}

void KeyboardMessage::print(std::ostream& os) const {
  RecordLine line(os, *this);
  os << "  KEYBOARD    | code = " << code << ", state = " << state;
}
