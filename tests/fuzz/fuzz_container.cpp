// Feeds container frames through the decoder and the container walk, plain and compressed.
//
// Input: one mode byte, then a container frame from its size field on (the identifier is forced
// to the container's).
//   bit 0: the frame's compression flag (byte 17) is set, else cleared;
//   bit 1: the block is taken as plain frames and compressed here first (blockSize set to match),
//          so that the walk also sees well-formed compressed blocks;
//   bit 2: decompress expects 255 records instead of the frame's own count.
// Every record the walk yields goes through the same checks as a decoded one.
#include <algorithm>
#include <cstdint>
#include <memory>
#include <vector>

#include "FuzzSupport.h"
#include "vxtrace/vxtrace.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  vxfuzz::init();
  MessageBase::invalidHandling = 1;
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* input, size_t size) {
  if (size == 0) return 0;
  const uint8_t mode = input[0];
  const unsigned int length = static_cast<unsigned int>(std::min<size_t>(size - 1, 0x20000));
  std::unique_ptr<uint8_t[]> frame = vxfuzz::exactCopy(input + 1, length);
  if (length >= 4) {
    frame[2] = 0x00;
    frame[3] = MSGID_CONTAINER;
  }
  if (length > 17) frame[17] = mode & 1;

  std::unique_ptr<MessageBase> msg(MessageBase::readFromByteArray(frame.get(), length));
  (void)ContainerMessage::getUncompressedSize(frame.get(), length);
  auto* container = dynamic_cast<ContainerMessage*>(msg.get());
  if (container == nullptr) return 0;
  vxfuzz::exercise(*container, true);

  if (mode & 2) {
    std::vector<uint8_t> packed;
    XMatchProCompressor().run(container->data.data(),
                              container->data.data() + container->data.size(), &packed);
    container->blockSize = static_cast<uint16_t>(std::min<size_t>(container->data.size(), 0xFFFF));
    container->compression = true;
    container->data = std::move(packed);
  }
  const std::size_t n = container->data.size();
  std::unique_ptr<uint8_t[]> block = vxfuzz::exactCopy(container->data.data(), n);
  const unsigned char expected = (mode & 4) ? 255 : container->numOfMsg;
  container->decompress(expected, block.get(), static_cast<unsigned int>(n));
  if (container->messages.size() > expected) vxfuzz::fail("more records than expected", container);
  for (const auto& inner : container->messages) vxfuzz::exercise(*inner, false);
  return 0;
}
