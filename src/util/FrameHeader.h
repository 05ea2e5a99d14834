#pragma once
// The header fields every byte constructor takes from its frame.
#include "util/ByteReader.h"
#include "vxtrace/MessageBase.h"

namespace vxtrace::detail {

// Steps over size and identifier (the decoder's), takes header word and time stamp, and leaves
// the reader at the first body byte. A frame cut inside the header yields zeros.
inline void readFrameHeader(ByteReader& in, MessageBase& msg) {
  in.skip(4);
  msg.headerWord = in.be16();
  msg.timeStamp = in.be64();
}

}  // namespace vxtrace::detail
