#pragma once
// Pieces every MOST record's .cpp shares: the head (type and flags) after the frame header,
// and the fixed-length frame check.
#include "util/Record.h"
#include "vxtrace/Exceptions.h"
#include "vxtrace/MOSTTraceMessageBase.h"

namespace vxtrace::detail {

inline void readMostHead(ByteReader& in, MOSTTraceMessageBase& msg) {
  readFrameHeader(in, msg);
  msg.type = static_cast<MOSTTraceMessageBase::mostmsgType_t>(in.u8());
  msg.flags = in.u8();
}

inline void writeMostHead(ByteWriter& w, const MOSTTraceMessageBase& msg) {
  w.u8(msg.type);
  w.u8(msg.flags);
}

// A fixed-size record needs its whole frame (header, head and body) or is refused.
inline void requireFrame(unsigned int length, unsigned int frameLength, const char* text) {
  if (length < frameLength) throw BufferMismatchException(text);
}

}  // namespace vxtrace::detail
