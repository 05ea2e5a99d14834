// Drives TraceFileReader over an arbitrary stream read from a memfd, then the io layer's Reader
// over the same bytes in memory.
//
// Input: one control byte, then the stream. Control bits 0..1: framing (V1, V1 without marker,
// V2, V2 without marker); bit 2: keepRawData; bit 3: invalidHandling 1 instead of the initial
// value (for the Reader: invalidRecords); bit 4: read in the framing the probe names (for the
// Reader: detect it); bit 5: the Reader decodes KWP2000/UDS; bit 6: it expands containers.
// Checks: every byte is read, losses and records come in stream order without overlapping and
// their dumps within them, and each record prints and copies; the Reader keeps the same
// rules, leaves invalidHandling alone, and with the same framing and policy hands out the
// same records at the same offsets as TraceFileReader.
#include <unistd.h>

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "FuzzSupport.h"
#include "vxtrace/TraceFileReader.h"
#include "vxtrace/io/Reader.h"
#include "vxtrace/vxtrace.h"

namespace {
int initialInvalidHandling;
using Seen = std::pair<uint64_t, int>;  // offset and identifier of a record

void readWithReader(const uint8_t* data, std::size_t size, uint8_t control,
                    const std::vector<Seen>& reference) {
  vxtrace::ReadPolicy policy;
  policy.invalidRecords = (control & 8) != 0;
  policy.keepRawData = (control & 4) != 0;
  policy.decodeDiagnostics = (control & 32) != 0;
  policy.expandContainers = (control & 64) != 0;
  if (!(control & 16)) policy.framing = static_cast<vxtrace::Framing>(control & 3);
  vxtrace::Reader reader(vxtrace::Source::memory(data, size), policy);
  reader.setDiagnosticHandler([&](uint64_t offset, vxtrace::DiagnosticLevel, const std::string&) {
    if (offset >= size) vxfuzz::fail("diagnostic line beyond the input", nullptr);
  });
  std::vector<Seen> seen;
  uint64_t last = 0;
  while (std::unique_ptr<MessageBase> msg = reader.next()) {
    if (reader.recordOffset() < last || reader.recordOffset() >= size ||
        reader.depth() > vxtrace::Reader::kMaxDepth)
      vxfuzz::fail("Reader: record out of order, beyond the input or too deep", msg.get());
    last = reader.recordOffset();
    (void)msg->toString();
    if (reader.depth() == 0) seen.emplace_back(last, msg->msgId);
  }
  if (MessageBase::invalidHandling != initialInvalidHandling)
    vxfuzz::fail("Reader changed invalidHandling", nullptr);
  if (!reader.notATrace().empty()) return;
  if (reader.counts().bytesRead != size) vxfuzz::fail("Reader: not every byte was read", nullptr);
  if (!(control & 48) && seen != reference)
    vxfuzz::fail("Reader and TraceFileReader disagree", nullptr);
}
}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  initialInvalidHandling = vxfuzz::init();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* input, size_t size) {
  if (size == 0) return 0;
  const uint8_t control = input[0];
  const int fd = vxfuzz::memfdWith(input + 1, size - 1);
  MessageBase::invalidHandling = (control & 8) ? 1 : initialInvalidHandling;
  std::vector<Seen> reference;
  {
    TraceFileReader reader(fd, static_cast<TraceFileReader::framing_t>(control & 3));
    reader.keepRawData = (control & 4) != 0;
    if (control & 16) reader.setFraming(reader.probeFraming());
    uint64_t next = 0;  // nothing reported may start before this offset
    reader.setLossHandler([&](const TraceFileReader::loss_t& loss) {
      if (loss.offset < next || loss.length == 0 || loss.offset + loss.length > size - 1)
        vxfuzz::fail("loss out of order, empty or beyond the input", nullptr);
      if (loss.headLength > loss.length || loss.headLength > TraceFileReader::kMaxHead ||
          (loss.headLength != 0 && loss.head == nullptr))
        vxfuzz::fail("dump longer than the loss or missing", nullptr);
      for (std::size_t i = 0; i < loss.headLength; ++i)
        if (loss.offset + i >= size - 1 || loss.head[i] != input[1 + loss.offset + i])
          vxfuzz::fail("dump differs from the input", nullptr);
      next = loss.kind == TraceFileReader::loss_t::UNDECODABLE ? loss.offset
                                                               : loss.offset + loss.length;
    });
    while (std::unique_ptr<MessageBase> msg{reader.next()}) {
      if (reader.recordOffset() < next || reader.recordOffset() >= size - 1)
        vxfuzz::fail("record out of order or beyond the input", msg.get());
      next = reader.recordOffset() + 1;
      reference.emplace_back(reader.recordOffset(), msg->msgId);
      if (msg->rawBytes.size() > size - 1)
        vxfuzz::fail("raw bytes longer than the input", msg.get());
      (void)msg->toString();
      std::unique_ptr<MessageBase> copy(msg->clone());
    }
    if (reader.error() != 0) vxfuzz::fail("read error on a memfd", nullptr);
    if (reader.counts().bytesRead != size - 1) vxfuzz::fail("not every byte was read", nullptr);
  }
  ::close(fd);
  MessageBase::invalidHandling = initialInvalidHandling;
  readWithReader(input + 1, size - 1, control, reference);
  return 0;
}
