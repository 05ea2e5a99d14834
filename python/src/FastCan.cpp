#include "FastCan.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <memory>
#include <vector>

#include "vxtrace/ContainerMessage.h"
#include "vxtrace/io/Diagnostics.h"

namespace vxtrace::python {

namespace {

uint16_t be16(const uint8_t* p) { return static_cast<uint16_t>(p[0] << 8 | p[1]); }

// Whether a marker inside a record's span (after its own) could start a record that also ends
// inside it: then the validating reader might split the record, and only it can say.
bool suspectInside(const uint8_t* record, std::size_t length) {
  for (std::size_t i = 1; i + 4 <= length; ++i) {
    const void* hit = std::memchr(record + i, 0x55, length - i);
    if (hit == nullptr) return false;
    i = static_cast<std::size_t>(static_cast<const uint8_t*>(hit) - record);
    if (i + 4 > length) return false;
    const std::size_t size = be16(record + i + 2);
    if (record[i + 1] == 0xAA && size >= 12 && i + size + 4 <= length) return true;
  }
  return false;
}

class Scanner {
 public:
  explicit Scanner(const std::function<void(const CanFrame&)>& take) : take_(take) {}

  // One record of length bytes at p (marker included); false when the chain is not clean.
  bool record(const uint8_t* p, std::size_t length) {
    const uint8_t* frame = p + 2;
    const auto frameLength = static_cast<unsigned>(length - 2);
    const msgid_t id = static_cast<msgid_t>(be16(p + 4));
    if (id == MSGID_CAN || id == MSGID_CAN_EXT || id == MSGID_CAN_PROXY) {
      const char* why = toCanFrame(frame, frameLength, frame_);
      // Undecodable: the validating reader reports it.
      if (why == kUndecodableCanFrame || suspectInside(p, length)) return false;
      if (why == nullptr) take_(frame_);
      return true;
    }
    std::unique_ptr<MessageBase> msg(MessageBase::readFromByteArray(frame, frameLength));
    if (!msg || msg->msgId == MSGID_INVALID) return false;
    if (msg->msgId == MSGID_CONTAINER || msg->msgId == MSGID_WRAPPER) {
      const auto* container = dynamic_cast<const ContainerMessage*>(msg.get());
      if (container != nullptr && !expand(*container)) return false;
    } else if (suspectInside(p, length)) {
      return false;
    }
    return lines_.empty();
  }

  bool clean() const { return lines_.empty(); }

 private:
  void offer(const MessageBase& msg) {
    if (toCanFrame(msg, frame_) == nullptr) take_(frame_);
  }
  bool expand(const ContainerMessage& container) {
    container.messages.clear();
    if (!container.decompress(container.numOfMsg, container.data.data(),
                              static_cast<unsigned int>(container.data.size())))
      return false;
    for (const auto& inner : container.messages) {
      if (inner->msgId == MSGID_INVALID) return false;
      offer(*inner);
      if (inner->msgId == MSGID_CONTAINER) {
        if (!expand(static_cast<const ContainerMessage&>(*inner))) return false;
      }
    }
    return true;
  }

  const std::function<void(const CanFrame&)>& take_;
  CanFrame frame_;
  std::vector<std::string> lines_;

 public:
  DiagnosticSink sink{[this](DiagnosticLevel, const std::string& line) { lines_.push_back(line); }};
};

}  // namespace

bool scanCleanCan(int fd, const std::function<void(const CanFrame&)>& take) {
  struct stat st;
  if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) return false;
  off_t pos = ::lseek(fd, 0, SEEK_CUR);
  if (pos < 0) return false;
  Scanner scanner(take);
  std::vector<uint8_t> buffer(1 << 20);
  std::size_t have = 0;  // bytes in buffer
  bool end = false;
  for (;;) {
    if (!end && have < buffer.size()) {
      const ssize_t n = ::pread(fd, buffer.data() + have, buffer.size() - have, pos);
      if (n < 0) return false;
      if (n == 0) end = true;
      pos += n;
      have += static_cast<std::size_t>(n);
      if (n > 0) continue;  // fill the buffer before scanning it
    }
    std::size_t at = 0;
    while (have - at >= 4) {
      const uint8_t* p = buffer.data() + at;
      if (p[0] != 0x55 || p[1] != 0xAA) return false;
      const std::size_t length = be16(p + 2) + std::size_t{4};
      if (length < 16) return false;
      if (have - at < length) break;
      // Its successor must start with a marker too (or the input end right after it).
      if (have - at >= length + 2 && (p[length] != 0x55 || p[length + 1] != 0xAA)) return false;
      if (have - at < length + 2 && !end) break;
      if (!scanner.record(p, length)) return false;
      at += length;
    }
    std::memmove(buffer.data(), buffer.data() + at, have - at);
    have -= at;
    if (end) {
      scanner.sink.flush();
      return have == 0 && scanner.clean();
    }
  }
}

}  // namespace vxtrace::python
