#include "vxtrace/ContainerMessage.h"

#include <algorithm>
#include <iostream>
#include <optional>

#include "codec/BlockCodec.h"
#include "util/Diagnostics.h"
#include "util/Record.h"
#include "vxtrace/PlatformUtil.h"
#include "vxtrace/XMatchPro.h"

using namespace vxtrace::detail;

namespace {

constexpr unsigned int kDefaultBlockSize = 4096;
constexpr std::size_t kMaxChannels = 255;

const char* codecText(int code) {
  const char* text = XMatchPro::getErrorString(code);
  return text != nullptr ? text : "unknown codec error";
}

// Bytes the reader would take for fill and skip (3 - N % 4, all 0xFF) at the start of a block.
std::size_t fillLike(std::size_t channelCount, const std::vector<uint8_t>& block) {
  const std::size_t n = 3 - channelCount % 4;
  if (n == 0 || block.size() < n) return 0;
  return std::count(block.begin(), block.begin() + static_cast<std::ptrdiff_t>(n), 0xFF) ==
                 static_cast<std::ptrdiff_t>(n)
             ? n
             : 0;
}

void reportWithDump(const std::string& text, const uint8_t* block, std::size_t length) {
  errorLog() << "[ERROR] ContainerMessage::decompress: " << text << std::endl;
  hexdump(errorLog(), block, length, "");
}

}  // namespace

ContainerMessage::ContainerMessage(unsigned long long ts, msgid_t pId_, bool compression_,
                                   unsigned long long lastMsgTime_, unsigned short blockSize_,
                                   unsigned char numOfMsg_, const unsigned char* data_,
                                   unsigned int length)
    : MessageBase(MSGID_CONTAINER, ts),
      pId(pId_),
      numOfMsg(numOfMsg_),
      compression(compression_),
      lastMsgTime(lastMsgTime_),
      blockSize(blockSize_) {
  if (data_ != nullptr) data.assign(data_, data_ + length);
}

ContainerMessage::ContainerMessage(bool compression_,
                                   std::vector<std::unique_ptr<MessageBase>>&& messages_)
    : ContainerMessage(0, MSGID_INVALID, compression_, 0, kDefaultBlockSize, 0, nullptr, 0) {
  messages = std::move(messages_);
  numOfMsg = static_cast<uint8_t>(messages.size());
  if (!messages.empty()) {
    pId = messages.front()->msgId;
    timeStamp = messages.front()->timeStamp;
    lastMsgTime = messages.back()->timeStamp;
  }
  compress();
}

namespace {
std::vector<std::unique_ptr<MessageBase>> cloneAll(
    const std::vector<std::unique_ptr<MessageBase>>& from) {
  std::vector<std::unique_ptr<MessageBase>> copies;
  copies.reserve(from.size());
  for (const auto& m : from) copies.emplace_back(m->clone());
  return copies;
}
}  // namespace

ContainerMessage::ContainerMessage(bool compression_,
                                   const std::vector<std::unique_ptr<MessageBase>>& messages_)
    : ContainerMessage(compression_, cloneAll(messages_)) {}

ContainerMessage::ContainerMessage(bool compression_, const MessageBase& message)
    : ContainerMessage(compression_, [&] {
        std::vector<std::unique_ptr<MessageBase>> one;
        one.emplace_back(message.clone());
        return one;
      }()) {}

ContainerMessage::ContainerMessage(const unsigned char* frame, unsigned int length)
    : ContainerMessage(0, MSGID_INVALID, false, 0, 0, 0, nullptr, 0) {
  ByteReader in(frame, length);
  readFrameHeader(in, *this);
  pId = static_cast<msgid_t>(in.be16());
  numOfMsg = in.u8();
  compression = in.u8() != 0;
  lastMsgTime = in.be64();
  blockSize = in.be16();
  const std::size_t n = in.u8();
  const std::size_t present = in.has(n) ? n : in.remaining();
  const uint8_t* list = in.bytes(present);
  channels.assign(list, list + present);
  const std::size_t fill = 3 - n % 4;
  const uint8_t* pad = in.has(fill) ? in.current() : nullptr;
  if (pad != nullptr && std::count(pad, pad + fill, 0xFF) == static_cast<std::ptrdiff_t>(fill))
    in.skip(fill);
  const std::size_t rest = in.remaining();
  const uint8_t* block = in.bytes(rest);
  data.assign(block, block + rest);
}

ContainerMessage::ContainerMessage(const ContainerMessage& other)
    : MessageBase(other),
      pId(other.pId),
      numOfMsg(other.numOfMsg),
      compression(other.compression),
      lastMsgTime(other.lastMsgTime),
      blockSize(other.blockSize),
      channels(other.channels),
      data(other.data),
      messages(cloneAll(other.messages)) {}

VXTRACE_RECORD_MEMBERS(ContainerMessage)

unsigned int ContainerMessage::writeToByteArray(unsigned char*& out, unsigned int room,
                                                bool withSync) const {
  const std::size_t n = std::min(channels.size(), kMaxChannels);
  const unsigned int written = writeRecord(*this, out, room, withSync, [&](ByteWriter& w) {
    w.be16(pId);
    w.u8(numOfMsg);
    w.u8(compression ? 1 : 0);
    w.be64(lastMsgTime);
    w.be16(blockSize);
    w.u8(static_cast<uint8_t>(n));
    w.bytes(channels.data(), n);
    // A block that starts like fill would lose those bytes to the reader: real fill before it
    // keeps it whole. Any other block is written without fill.
    for (std::size_t i = fillLike(n, data); i != 0; --i) w.u8(0xFF);
    w.bytes(data.data(), data.size());
  });
  return written == 0 ? 0 : getSize();
}

unsigned int ContainerMessage::getSize() const {
  const std::size_t n = std::min(channels.size(), kMaxChannels);
  return static_cast<unsigned int>(27 + n + fillLike(n, data) + data.size());
}

bool ContainerMessage::operator==(const MessageBase& other) const {
  auto* o = sameClass(*this, other);
  return o != nullptr && o->pId == pId && o->numOfMsg == numOfMsg &&
         o->compression == compression && o->lastMsgTime == lastMsgTime &&
         o->blockSize == blockSize && o->channels == channels && o->data == data;
}

void ContainerMessage::print(std::ostream& os) const {
  RecordLine line(os, *this);
  os << "  CONTAINER   | pId = " << pId << ", numOfMsg = " << unsigned(numOfMsg)
     << ", compression = " << (compression ? 1 : 0) << ", blockSize = " << blockSize
     << ", lastMsgTime = " << lastMsgTime << ", channels = ";
  if (channels.empty()) os << "(empty)";
  for (std::size_t i = 0; i < channels.size(); ++i)
    os << (i == 0 ? "" : ", ") << unsigned(channels[i]);
}

std::string ContainerMessage::getSourceChannel() const { return "CONTAINER"; }

bool ContainerMessage::compress() {
  std::vector<uint8_t> plain;
  for (const auto& m : messages) m->createByteArray(plain, true, true);
  blockSize = static_cast<uint16_t>(plain.size());
  if (!compression) {
    data = std::move(plain);
    return true;
  }
  data.clear();
  const int rc = XMatchProCompressor().run(plain.data(), plain.data() + plain.size(), &data);
  if (rc != 0) errorLog() << "[ERROR] ContainerMessage::compress: " << codecText(rc) << std::endl;
  return true;
}

namespace {

// blockSize is 16 bits: no block yields more.
constexpr std::size_t kBlockRoom = 0x10000;

// The buffer a block is decompressed into, one per thread and allocated once, never zero-filled.
// A decompress holds it while it walks the block, so a creator that decodes a nested container
// on this thread gets a buffer of its own.
class BlockBuffer {
 public:
  BlockBuffer() : buffer_(std::move(spare())) {
    if (!buffer_) buffer_.reset(new uint8_t[kBlockRoom]);
  }
  ~BlockBuffer() { spare() = std::move(buffer_); }
  BlockBuffer(const BlockBuffer&) = delete;
  BlockBuffer& operator=(const BlockBuffer&) = delete;
  uint8_t* data() { return buffer_.get(); }

 private:
  static std::unique_ptr<uint8_t[]>& spare() {
    thread_local std::unique_ptr<uint8_t[]> buffer;
    return buffer;
  }
  std::unique_ptr<uint8_t[]> buffer_;
};

}  // namespace

bool ContainerMessage::decompress(unsigned char expected, const unsigned char* block,
                                  unsigned int length) const {
  std::optional<BlockBuffer> plain;
  if (compression) {
    plain.emplace();
    std::size_t got = 0;
    const int rc = decompressBlock(block, block + length, plain->data(), blockSize, &got);
    if (rc != 0) {
      errorLog() << "[ERROR] ContainerMessage::decompress: " << codecText(rc) << std::endl;
      return false;
    }
    if (got == 0) {
      errorLog() << "[ERROR] ContainerMessage::decompress: nothing decompressed, out vector is "
                   "empty"
                << std::endl;
      return false;
    }
    block = plain->data();
    length = static_cast<unsigned int>(got);
  }
  if (expected == 0) return true;

  unsigned int count = 0;
  // A frame takes at least four bytes of the block: no more room than the block can fill.
  if (messages.empty()) messages.reserve(std::min<std::size_t>(expected, length / 4));
  const uint8_t* frame = block;  // at a sync marker
  const uint8_t* const end = block + length;
  while (end - frame > 16) {
    if (frame[0] != 0x55 || frame[1] != 0xAA) {
      std::string found;
      appendHex(found, frame, 2, '\0');
      reportWithDump(
          "missing sync marker on message #" + std::to_string(count + 1) + " (" + found + ")",
          block, length);
      return false;
    }
    // Only a frame whose size + 2 bytes all lie inside the block goes to the decoder.
    const std::size_t size = loadBE16(frame + 2);
    if (size + 2 > static_cast<std::size_t>(end - frame) - 2) {
      reportWithDump("not enough data for message #" + std::to_string(count + 1), block, length);
      return false;
    }
    ++count;
    std::unique_ptr<MessageBase> msg;
    try {
      msg.reset(MessageBase::readFromByteArray(frame + 2, static_cast<unsigned int>(size + 2)));
    } catch (...) {  // whatever a creator throws ends the walk, never the reader
      errorLog() << "[ERROR] ContainerMessage::decompress: exception in readFromByteArray, "
                   "msgCounter = "
                << count << std::endl;
      hexdump(errorLog(), frame + 2, size + 2, "");
      return false;
    }
    if (msg) messages.push_back(std::move(msg));
    if (count == expected) return true;
    frame += 4 + size;
  }
  reportWithDump("num of messages mismatch: " + std::to_string(count) +
                     "(found) != " + std::to_string(expected) + "(expected)",
                 block, length);
  return true;
}

unsigned int ContainerMessage::getUncompressedSize(const unsigned char* frame,
                                                   unsigned int length) {
  ByteReader in(frame, length);
  in.skip(17);
  if (in.u8() == 0) return length;
  in.skip(8);
  const unsigned int block = in.be16();
  return 29 + in.u8() + block;
}
