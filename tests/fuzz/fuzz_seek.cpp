// Drives seekTime over arbitrary bytes in a memfd, then the validating reader from its offset.
//
// Input: a control byte, the start time (8 bytes, big-endian), then the file. Control bits
// 0..1: framing; bit 2: a tolerance of one second; bit 3: the file is the bytes repeated to
// 160 KiB, so that probes and bisection run instead of the scan of small files. Checks: the
// offset lies in the file and the descriptor stands there; where no bisection ran, no record at
// or after the time starts before the offset; records read from there stay in order and in the
// file.
#include <sys/mman.h>
#include <unistd.h>

#include <memory>
#include <vector>

#include "FuzzSupport.h"
#include "vxtrace/io/Seek.h"
#include "vxtrace/vxtrace.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  vxfuzz::silenceStandardStreams();
  MessageBase::registerMessages();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* input, size_t size) {
  if (size < 9) return 0;
  const uint8_t control = input[0];
  uint64_t time = 0;
  for (int i = 1; i < 9; ++i) time = time << 8 | input[i];
  std::vector<uint8_t> file(input + 9, input + size);
  while ((control & 8) && !file.empty() && file.size() < 160 * 1024)
    file.insert(file.end(), input + 9, input + size);
  const int fd = memfd_create("fuzz_seek", MFD_CLOEXEC);
  if (fd < 0 || ::write(fd, file.data(), file.size()) != static_cast<ssize_t>(file.size()))
    vxfuzz::fail("memfd failed", nullptr);
  const auto framing = static_cast<TraceFileReader::framing_t>(control & 3);
  const vxtrace::SeekResult r = vxtrace::seekTime(fd, framing, time, (control & 4) ? 1000000 : 0);
  if (r.offset > file.size() || r.fileSize != file.size() ||
      static_cast<uint64_t>(::lseek(fd, 0, SEEK_CUR)) != r.offset)
    vxfuzz::fail("offset beyond the file or not where the descriptor stands", nullptr);
  if (!r.bisected && !(control & 8)) {
    ::lseek(fd, 0, SEEK_SET);
    TraceFileReader all(fd, framing);
    while (std::unique_ptr<MessageBase> msg{all.next()}) {
      const auto* c =
          msg->msgId == MSGID_CONTAINER ? static_cast<ContainerMessage*>(msg.get()) : nullptr;
      const uint64_t latest = c && c->lastMsgTime > c->timeStamp ? c->lastMsgTime : msg->timeStamp;
      if (all.recordOffset() < r.offset && msg->msgId != MSGID_INVALID && latest >= time)
        vxfuzz::fail("a record at or after the time starts before the offset", msg.get());
    }
  }
  ::lseek(fd, static_cast<off_t>(r.offset), SEEK_SET);
  TraceFileReader from(fd, framing);
  from.setStreamOffset(r.offset);
  uint64_t next = r.offset;
  for (int n = 0; n < 64; ++n) {
    std::unique_ptr<MessageBase> msg{from.next()};
    if (!msg) break;
    if (from.recordOffset() < next || from.recordOffset() + from.recordLength() > file.size())
      vxfuzz::fail("record out of order or beyond the file", msg.get());
    next = from.recordOffset() + from.recordLength();
  }
  ::close(fd);
  return 0;
}
