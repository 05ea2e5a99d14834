// Feeds a byte stream through a pipe to TraceMessageBuffer and takes out every record.
//
// Input: three control bytes, then the stream.
//   byte 0, mode:  bits 0..1 framing (0 V1 with sync marker, 1 V1 without, 2 V2 with 'Z',
//                  3 V2 without); bit 2 keepRawData; bit 3 reportErrors; bit 4 debug;
//                  bit 5 invalidHandling 1 instead of the initial value; bit 6 V1 frames are
//                  only cut (getNextMessage(begin, end)), not decoded. Files are fuzz_reader's.
//   byte 1, buffer: 0 the default 4096 bytes, 1 room for the largest frame, 2 resize(100)
//                  (which gives 1024), any other value that many bytes.
//   byte 2, chunks: the writer sends chunks of 1 to 2^(byte & 15) bytes, their sizes drawn
//                  from a generator seeded with the byte, reading after each.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <memory>
#include <sstream>
#include <string>

#include "FuzzSupport.h"
#include "vxtrace/TraceMessageBuffer.h"
#include "vxtrace/vxtrace.h"

namespace {

int initialInvalidHandling;

struct Pipe {
  int fds[2] = {-1, -1};
  Pipe() {
    if (pipe2(fds, O_NONBLOCK | O_CLOEXEC) != 0) vxfuzz::fail("pipe2 failed", nullptr);
  }
  ~Pipe() {
    closeWriter();
    ::close(fds[0]);
  }
  void closeWriter() {
    if (fds[1] >= 0) ::close(fds[1]);
    fds[1] = -1;
  }
};

void checkInBuffer(const TraceMessageBuffer& tmb, const uint8_t* begin, const uint8_t* end) {
  if (begin == nullptr || end == nullptr || begin > end || begin < tmb.pbuffer ||
      end > tmb.pbuffer + tmb.bufferSize)
    vxfuzz::fail("frame handed out lies outside the buffer", nullptr);
  // Touch every byte: AddressSanitizer checks them against the buffer's allocation.
  volatile uint8_t sum = 0;
  for (const uint8_t* p = begin; p != end; ++p) sum = sum + *p;
}

void drain(TraceMessageBuffer& tmb, unsigned framing, bool cutOnly) {
  uint8_t* begin = nullptr;
  uint8_t* end = nullptr;
  if (framing >= 2) {
    while (tmb.getNextMessageV2(begin, end)) checkInBuffer(tmb, begin, end);
    return;
  }
  if (cutOnly) {
    while (tmb.getNextMessage(begin, end)) {
      checkInBuffer(tmb, begin, end);
      if (end - begin < 2 || static_cast<size_t>(end - begin) != ((begin[0] << 8) | begin[1]) + 2u)
        vxfuzz::fail("V1 frame length disagrees with its size field", nullptr);
    }
    return;
  }
  for (;;) {
    std::unique_ptr<MessageBase> msg;
    try {
      msg.reset(tmb.getNextMessage());
    } catch (const VXException&) {
      continue;  // the frame was consumed; the reader goes on with the next one
    }
    if (!msg) return;
    (void)msg->toString();
    (void)msg->getSize();
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  initialInvalidHandling = vxfuzz::init();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* input, size_t size) {
  if (size < 3) return 0;
  const uint8_t mode = input[0];
  const uint8_t bufferChoice = input[1];
  const uint8_t chunkChoice = input[2];
  const uint8_t* data = input + 3;
  const size_t length = size - 3;

  const unsigned framing = mode & 3;
  const bool cutOnly = (mode & 0x40) != 0;
  MessageBase::invalidHandling = (mode & 0x20) ? 1 : initialInvalidHandling;
  Pipe pipe;
  std::unique_ptr<TraceMessageBuffer> tmb;
  switch (bufferChoice) {
    case 0:
      tmb.reset(new TraceMessageBuffer(pipe.fds[0]));
      break;
    case 1:
      tmb.reset(new TraceMessageBuffer(pipe.fds[0], 0x10004 + 4));
      break;
    case 2:
      tmb.reset(new TraceMessageBuffer(pipe.fds[0]));
      if (!tmb->resize(100)) vxfuzz::fail("resize refused on an empty buffer", nullptr);
      break;
    default:
      tmb.reset(new TraceMessageBuffer(pipe.fds[0], bufferChoice));
      break;
  }
  tmb->keepRawData = (mode & 0x04) != 0;
  tmb->reportErrors = (mode & 0x08) != 0;
  tmb->debug = (mode & 0x10) != 0;
  tmb->expectSync = framing == 0 || framing == 2;

  const uint32_t maxChunk = 1u << (chunkChoice & 15);
  uint32_t rng = 0x9E3779B9u ^ (static_cast<uint32_t>(chunkChoice) * 0x01010101u);
  size_t sent = 0;
  size_t pending = 0;  // rest of the current chunk
  // Each round writes at most one chunk and reads once; a generous bound guards the harness
  // itself against spinning (the library's own hangs are caught by libFuzzer's timeout).
  for (size_t round = 0; round < 4 * length + 64; ++round) {
    if (sent < length) {
      if (pending == 0) {
        rng ^= rng << 13;
        rng ^= rng >> 17;
        rng ^= rng << 5;
        pending = std::min<size_t>(1 + rng % maxChunk, length - sent);
      }
      ssize_t w = ::write(pipe.fds[1], data + sent, pending);
      if (w > 0) {
        sent += static_cast<size_t>(w);
        pending -= static_cast<size_t>(w);
      }
    }
    if (sent == length) pipe.closeWriter();
    int r = tmb->read();
    const int readErrno = errno;
    drain(*tmb, framing, cutOnly);
    if (tmb->pDataStart < tmb->pbuffer || tmb->pDataStart > tmb->pDataEnd ||
        tmb->pDataEnd > tmb->pbuffer + tmb->bufferSize)
      vxfuzz::fail("buffer pointers out of order", nullptr);
    if (r < 0 && readErrno == ENOMEM) break;  // one frame larger than the buffer: stuck
    if (r < 0 && readErrno != EAGAIN && readErrno != EINTR)
      vxfuzz::fail("read failed on a healthy pipe", nullptr);
    if (r == 0 && sent == length) break;  // end of stream and everything taken
  }
  std::ostringstream state;
  state << *tmb;
  MessageBase::invalidHandling = initialInvalidHandling;
  return 0;
}
