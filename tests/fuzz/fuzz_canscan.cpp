// Drives the parallel scan's fast CAN path over arbitrary bytes in a memfd and holds it to the
// plain reading of the same parts: where takeCleanCanFrames takes a part, it must hand out the
// very frames Part::next() would have, in the same order, and count the same records.
//
// Input: a control byte, then the file. Control bit 0: containers expanded; bits 1..2: parts of
// 1, 2, 4 or 8 KiB; bit 3: the bytes repeated to 64 KiB, so that cuts fall inside records;
// bit 4: the frames decoded into rooms of the caller's; bit 5: the parts' bytes read at once.
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <vector>

#include <unistd.h>

#include "FuzzSupport.h"
#include "vxtrace/io/CanScan.h"
#include "vxtrace/io/ParallelScan.h"
#include "vxtrace/MessageBase.h"

using vxtrace::CanFrame;

namespace {

bool sameFrame(const CanFrame& a, const CanFrame& b) {
  return a.timeUs == b.timeUs && a.channel == b.channel && a.id == b.id &&
         a.extended == b.extended && a.fd == b.fd && a.brs == b.brs && a.esi == b.esi &&
         a.remote == b.remote && a.error == b.error && a.tx == b.tx &&
         a.errorCode == b.errorCode && a.dlc == b.dlc && a.length == b.length &&
         std::memcmp(a.data, b.data, sizeof a.data) == 0;
}

struct PartFrames {
  std::vector<CanFrame> frames;
  uint64_t records = 0;
};

// The CAN frames of every part, through the fast path where it takes the part (fast set) or
// through next() alone, and the records the parts held.
PartFrames scan(int fd, const vxtrace::ReadPolicy& policy, uint64_t partBytes, bool fast,
               bool stored, bool held) {
  ::lseek(fd, 0, SEEK_SET);
  vxtrace::ScanOptions options;
  options.threads = 1;
  options.partBytes = partBytes;
  PartFrames all;
  vxtrace::scanParts(
      vxtrace::Source::descriptor(fd, "fuzz"), policy, options,
      [fast, stored, held](vxtrace::Part& part) -> std::shared_ptr<void> {
        auto got = std::make_shared<PartFrames>();
        part.setDiagnosticHandler([](uint64_t, vxtrace::DiagnosticLevel, const std::string&) {});
        if (fast) {
          vxtrace::CanPartBytes bytes;
          if (held) bytes.read(part, std::size_t{1} << 20);
          const std::optional<uint64_t> count = vxtrace::countCleanCanRecords(part, &bytes);
          struct Rooms : vxtrace::CanFrameStore {  // odd rooms, to cross their ends often
            std::vector<CanFrame>& frames;
            explicit Rooms(std::vector<CanFrame>& f) : frames(f) {}
            CanFrame* room(std::size_t& count) override {
              frames.resize(frames.size() + (count = 7));
              return frames.data() + frames.size() - 7;
            }
            void commit(std::size_t count) override { frames.resize(frames.size() - 7 + count); }
          } rooms(got->frames);
          got->records =
              stored ? vxtrace::takeCleanCanFramesInto(part, rooms, &bytes)
                     : vxtrace::takeCleanCanFrames(
                           part,
                           [&got](const CanFrame& f, const MessageBase*, const uint8_t*,
                                  std::size_t) { got->frames.push_back(f); },
                           &bytes);
          if (got->records == 0) got->frames.clear();
          if (count && got->frames.size() > *count) std::abort();  // the count bounds the frames
        }
        while (std::unique_ptr<MessageBase> msg = part.next()) {
          CanFrame f;
          if (vxtrace::toCanFrame(*msg, f) == nullptr) got->frames.push_back(f);
        }
        got->records += part.counts().records;
        return got;
      },
      [&all](std::shared_ptr<void> result, vxtrace::Part&) {
        auto& got = *std::static_pointer_cast<PartFrames>(result);
        all.frames.insert(all.frames.end(), got.frames.begin(), got.frames.end());
        all.records += got.records;
      });
  return all;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  vxfuzz::silenceStandardStreams();
  MessageBase::registerMessages();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* input, size_t size) {
  if (size < 2) return 0;
  const uint8_t control = input[0];
  std::vector<uint8_t> file(input + 1, input + size);
  while ((control & 8) && file.size() < 64 * 1024)
    file.insert(file.end(), input + 1, input + size);
  const int fd = vxfuzz::memfdWith(file.data(), file.size());
  vxtrace::ReadPolicy policy;
  policy.framing = vxtrace::Framing::V1;
  policy.expandContainers = (control & 1) != 0;
  const uint64_t partBytes = uint64_t{1024} << ((control >> 1) & 3);
  const PartFrames fast =
      scan(fd, policy, partBytes, true, (control & 16) != 0, (control & 32) != 0);
  const PartFrames plain = scan(fd, policy, partBytes, false, false, false);
  ::close(fd);
  if (fast.records != plain.records) vxfuzz::fail("the fast path counts other records", nullptr);
  if (fast.frames.size() != plain.frames.size())
    vxfuzz::fail("the fast path gives another number of CAN frames", nullptr);
  for (std::size_t i = 0; i < fast.frames.size(); ++i)
    if (!sameFrame(fast.frames[i], plain.frames[i]))
      vxfuzz::fail("the fast path gives another CAN frame", nullptr);
  return 0;
}
