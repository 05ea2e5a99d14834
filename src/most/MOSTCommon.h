#pragma once
// Pieces every MOST record's .cpp shares: the head (type and flags) after the frame header,
// and the fixed-length frame check.
#include "util/Record.h"
#include "util/Reject.h"
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
  requireLength<BufferMismatchException>(length, frameLength, text);
}

// The fixed-size records (control, status, allocation map): the whole frame or a refusal, then
// head and body bytes.
inline void readFixedRecord(MOSTTraceMessageBase& msg, const unsigned char* data,
                            unsigned int length, unsigned int frameLength, const char* text,
                            uint8_t* body, std::size_t n) {
  requireFrame(length, frameLength, text);
  ByteReader in(data, length);
  readMostHead(in, msg);
  in.bytes(body, n);
}

// Their writer returns getSize(), as the records define it.
inline unsigned int writeFixedRecord(const MOSTTraceMessageBase& msg, unsigned char*& out,
                                     unsigned int room, bool withSync, const uint8_t* body,
                                     std::size_t n) {
  const unsigned int written = writeRecord(msg, out, room, withSync, [&](ByteWriter& w) {
    writeMostHead(w, msg);
    w.bytes(body, n);
  });
  return written == 0 ? 0 : msg.getSize();
}

}  // namespace vxtrace::detail
