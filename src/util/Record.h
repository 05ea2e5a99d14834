#pragma once
// What every record class's .cpp needs: the byte cursors, the header reader, the shared writer
// step, the printing guard, and the mechanical members as one macro line.
#include <cstdio>
#include <cstdlib>
#include <iomanip>
#include <ostream>
#include <string>
#include <typeinfo>

#include "util/ByteReader.h"
#include "util/ByteWriter.h"
#include "util/Hex.h"
#include "util/PrintedText.h"
#include "util/StreamStateGuard.h"
#include "vxtrace/MessageBase.h"

// Internal consistency checks, on in every build but Release (see CMakeLists.txt).
#ifdef VXTRACE_CHECKED
#define VXTRACE_CHECK(cond, text) \
  ((cond) ? static_cast<void>(0) : ::vxtrace::detail::checkFailed(text, __FILE__, __LINE__))
#else
#define VXTRACE_CHECK(cond, text) static_cast<void>(0)
#endif

namespace vxtrace::detail {

[[noreturn]] inline void checkFailed(const char* text, const char* file, int line) {
  std::fprintf(stderr, "[ERROR] internal check failed at %s:%d: %s\n", file, line, text);
  std::abort();
}

// Steps over size and identifier (the decoder's), takes header word and time stamp, and leaves
// the reader at the first body byte. A frame cut inside the header yields zeros.
inline void readFrameHeader(ByteReader& in, MessageBase& msg) {
  if (in.has(14)) {  // the usual whole header: one bounds check instead of three
    const uint8_t* const p = in.bytes(14);
    msg.headerWord = loadBE16(p + 4);
    msg.timeStamp = loadBE64(p + 6);
    return;
  }
  in.skip(4);
  msg.headerWord = in.be16();
  msg.timeStamp = in.be64();
}
inline void readFrameHeader(FixedReader& in, MessageBase& msg) {
  in.skip(4);
  msg.headerWord = in.be16();
  msg.timeStamp = in.be64();
}

// The writer of every record: marker and header (MessageBase::writeToByteArray, which checks
// the room for the whole declared frame), then body(ByteWriter&), then zeros for the bytes the
// size field declares beyond what the body wrote, so a reused buffer leaks no stale byte. out is
// left just after the body. Returns the bytes written (marker, header and body), or 0 with out
// unchanged when the frame does not fit. excess: the declared bytes the body does not write, a
// settled quirk of some records; any other mismatch between getSize() and the body is a bug
// that checked builds stop at.
template <typename Body>
unsigned int writeRecord(const MessageBase& msg, unsigned char*& out, unsigned int room,
                         bool withSync, Body&& body, [[maybe_unused]] unsigned int excess = 0) {
  const unsigned int header = msg.MessageBase::writeToByteArray(out, room, withSync);
  if (header == 0) return 0;
  // The body is bounded by getSize() itself: only the 16-bit size field is truncated (a record
  // of 65,536 to 65,540 still carries its whole body; the base checked room for all of it).
  const unsigned int size = msg.getSize();
  const std::size_t declared = size > 12 ? size - 12 : 0;
  unsigned char* const start = out;
  ByteWriter w(out, start + declared);
  body(w);
  const std::size_t written = static_cast<std::size_t>(out - start);
  VXTRACE_CHECK(!w.failed() && written + excess == declared,
                "record body length differs from getSize() - 12");
  if (written < declared) std::memset(out, 0, declared - written);
  return header + static_cast<unsigned int>(written);
}

// The other record when it is of exactly this record's class, else null.
template <typename T>
const T* sameClass(const T& self, const MessageBase& other) {
  return typeid(other) == typeid(self) ? static_cast<const T*>(&other) : nullptr;
}

// Opens a record's line: takes the stream guard, then writes the common prefix (label and time
// stamp). Printers write their fields after it and set only what their text needs.
class RecordLine : public StreamStateGuard {
 public:
  RecordLine(std::ostream& os, const MessageBase& msg) : StreamStateGuard(os) { os << msg; }
};

}  // namespace vxtrace::detail

// The mechanical members of a record class, defined in its .cpp:
//   VXTRACE_RECORD_CREATOR: static readFromByteArray returning new Class(data, length)
//   VXTRACE_RECORD_CLONE:   clone() returning new Class(*this)
//   VXTRACE_RECORD_TEXT:    toString() through the shared text buffer, and the free operator<<
//   VXTRACE_RECORD_MEMBERS: all three
#define VXTRACE_RECORD_CREATOR(Class)                                                  \
  MessageBase* Class::readFromByteArray(const unsigned char* data, unsigned int length) { \
    return new Class(data, length);                                                    \
  }
#define VXTRACE_RECORD_CLONE(Class) \
  MessageBase* Class::clone() const { return new Class(*this); }
#define VXTRACE_RECORD_TEXT(Class)                                                    \
  std::string Class::toString() const { return ::vxtrace::detail::printedText(*this); } \
  std::ostream& operator<<(std::ostream& os, const Class& msg) {                      \
    msg.print(os);                                                                    \
    return os;                                                                        \
  }
#define VXTRACE_RECORD_MEMBERS(Class) \
  VXTRACE_RECORD_CREATOR(Class)       \
  VXTRACE_RECORD_CLONE(Class)         \
  VXTRACE_RECORD_TEXT(Class)
