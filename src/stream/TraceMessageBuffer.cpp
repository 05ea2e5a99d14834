#include "vxtrace/TraceMessageBuffer.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <iomanip>
#include <iostream>
#include <memory>
#include <system_error>

#include "util/ByteOrder.h"
#include "util/Diagnostics.h"
#include "util/StreamStateGuard.h"
#include "vxtrace/Exceptions.h"
#include "vxtrace/PlatformUtil.h"

using vxtrace::detail::loadBE16;
using vxtrace::detail::StreamStateGuard;
using vxtrace::detail::debugLog;
using vxtrace::detail::errorLog;

namespace {

constexpr unsigned int kDefaultSize = 4096;
constexpr unsigned int kMinResize = 1024;
constexpr uint8_t kSync0 = 0x55;
constexpr uint8_t kSync1 = 0xAA;
constexpr uint8_t kSyncV2 = 'Z';

// Locks the caller's report mutex when one was given.
std::unique_lock<std::mutex> lockOutput(std::mutex* m) {
  return m ? std::unique_lock<std::mutex>(*m) : std::unique_lock<std::mutex>();
}

// errno must survive diagnostics written between a failing call and the return to the caller.
class ErrnoKeeper {
 public:
  ErrnoKeeper() : saved_(errno) {}
  ~ErrnoKeeper() { errno = saved_; }

 private:
  int saved_;
};

// Copies a frame into last. A frame no longer than the one before is copied over it in place:
// assign() takes its general, out-of-line path for every frame.
void keepLast(std::vector<uint8_t>& last, const uint8_t* from, const uint8_t* to) {
  const std::size_t n = static_cast<std::size_t>(to - from);
  if (n > last.size()) {
    last.assign(from, to);
    return;
  }
  last.erase(last.begin() + static_cast<std::ptrdiff_t>(n), last.end());
  if (n != 0) std::memcpy(last.data(), from, n);
}

}  // namespace

TraceMessageBuffer::TraceMessageBuffer(int descriptor, unsigned int size, std::mutex* m)
    : fd(descriptor),
      bufferSize(size),
      pbuffer(new uint8_t[size]),
      pDataStart(pbuffer),
      pDataEnd(pbuffer),
      retryOnInterrupt(false),
      keepRawData(false),
      debug(false),
      reportErrors(true),
      expectSync(true),
      resyncing(false),
      dataSkipped(false),
      outputMutex(m) {}

TraceMessageBuffer::TraceMessageBuffer(int descriptor, std::mutex* m)
    : TraceMessageBuffer(descriptor, kDefaultSize, m) {}

TraceMessageBuffer::TraceMessageBuffer(const char* fileName, std::mutex* m)
    : TraceMessageBuffer(-1, kDefaultSize, m) {
  if (fileName) name = fileName;
}

TraceMessageBuffer::TraceMessageBuffer(std::mutex* m) : TraceMessageBuffer(-1, kDefaultSize, m) {}

TraceMessageBuffer::~TraceMessageBuffer() {
  try {
    if (resyncing) finishResync();
  } catch (...) {
    // A failing diagnostic stream must not turn destruction into termination.
  }
  close();
  delete[] pbuffer;
}

bool TraceMessageBuffer::resize(unsigned int size) {
  if (pDataEnd != pbuffer) return false;
  const unsigned int capacity = std::max(size, kMinResize);
  uint8_t* fresh = new uint8_t[capacity];  // allocate first: a failure leaves the old buffer
  delete[] pbuffer;
  pbuffer = fresh;
  bufferSize = capacity;
  clear();
  return true;
}

void TraceMessageBuffer::clear() { pDataStart = pDataEnd = pbuffer; }

void TraceMessageBuffer::reorganizeBuffer() {
  if (pDataStart == pbuffer || pDataEnd != pbuffer + bufferSize) return;
  auto trace = [this](const char* text) {
    std::lock_guard<std::mutex> lock(LogUtil::logMutex);
    debugLog() << text << std::endl << *this << std::endl;
  };
  if (debug) trace("[DEBUG] TraceMessageBuffer::reorganizeBuffer (1)");
  const std::size_t pending = static_cast<std::size_t>(pDataEnd - pDataStart);
  std::memmove(pbuffer, pDataStart, pending);
  pDataStart = pbuffer;
  pDataEnd = pbuffer + pending;
  if (debug) trace("[DEBUG] TraceMessageBuffer::reorganizeBuffer (2)");
}

bool TraceMessageBuffer::open() {
  close();
  resetHunt();
  skippedBeforeFrame = false;
  clear();
  lastMessage.clear();
  const int opened = ::open(name.c_str(), O_RDONLY | O_CLOEXEC);
  if (opened < 0) {
    ErrnoKeeper keep;
    fd = -1;
    lastError = "cannot open '" + name + "': " + std::generic_category().message(errno);
    return false;
  }
  fd = opened;
  ownsFd = true;
  lastError.clear();
  return true;
}

void TraceMessageBuffer::close() {
  if (!ownsFd) return;
  if (fd >= 0) ::close(fd);
  fd = -1;
  ownsFd = false;
}

int TraceMessageBuffer::read() {
  if (static_cast<std::size_t>(pDataEnd - pDataStart) == bufferSize) {
    errno = ENOMEM;
    return -1;
  }
  if (pDataStart == pDataEnd) {
    clear();
  } else if (pDataEnd == pbuffer + bufferSize) {
    // No tail left behind the pending bytes: a read of 0 bytes would look like end of file.
    reorganizeBuffer();
  }
  std::size_t room = static_cast<std::size_t>(pbuffer + bufferSize - pDataEnd);
  if (room > static_cast<std::size_t>(INT_MAX)) room = INT_MAX;
  for (;;) {
    const ssize_t n = ::read(fd, pDataEnd, room);
    if (n >= 0) {
      pDataEnd += n;
      if (debug) {
        std::lock_guard<std::mutex> lock(LogUtil::logMutex);
        StreamStateGuard guard(debugLog());
        debugLog() << std::dec << "[DEBUG] TMB::read() " << n << " Bytes " << std::endl;
      }
      return static_cast<int>(n);
    }
    if (errno == EINTR) {
      if (retryOnInterrupt) continue;
      return -1;
    }
    if (errno == EAGAIN || errno == EWOULDBLOCK) {
      if (debug) {
        ErrnoKeeper keep;
        std::lock_guard<std::mutex> lock(LogUtil::logMutex);
        debugLog() << "[DEBUG] TMB::read() " << name << ": error = EAGAIN: " << *this << std::endl;
      }
      return 0;
    }
    return -1;
  }
}

bool TraceMessageBuffer::getNextMessageV1(uint8_t*& begin, uint8_t*& end) {
  if (pDataEnd - pDataStart < 4) {
    reorganizeBuffer();
    return false;
  }
  if (expectSync) {
    if (resyncing || pDataStart[0] != kSync0 || pDataStart[1] != kSync1) {
      if (!huntSync()) return false;
      if (pDataEnd - pDataStart < 4) {  // marker found, size field not yet read
        reorganizeBuffer();
        return false;
      }
    }
  }
  uint8_t* const frame = expectSync ? pDataStart + 2 : pDataStart;
  const std::size_t frameLength = static_cast<std::size_t>(loadBE16(frame)) + 2;
  if (frameLength > static_cast<std::size_t>(pDataEnd - frame)) {
    reorganizeBuffer();  // the marker stays in front of the incomplete frame
    return false;
  }
  uint8_t* const frameEnd = frame + frameLength;
  keepLast(lastMessage, pDataStart, frameEnd);
  // Garbage skipped by earlier calls (the frame behind it was incomplete then) counts too.
  dataSkipped = dataSkipped || skippedBeforeFrame;
  skippedBeforeFrame = false;
  begin = frame;
  end = frameEnd;
  pDataStart = frameEnd;
  return true;
}

// Moves pDataStart to the next sync marker. True when both marker bytes lie at pDataStart;
// false when the data ran out first (the hunt resumes there after the next read).
bool TraceMessageBuffer::huntSync() {
  uint8_t* p = pDataStart;
  uint8_t* const last = pDataEnd - 1;  // a marker needs p[0] and p[1]
  while (p < last) {
    if (p[0] == kSync0 && p[1] == kSync1) {
      pDataStart = p;
      if (resyncing) finishResync();
      return true;
    }
    if (!resyncing) {
      if (*p == 0) {  // padding
        ++p;
        continue;
      }
      startResync(p);
    }
    // Everything up to the next 0x55 is garbage; p itself is not a marker.
    const void* candidate = std::memchr(p + 1, kSync0, static_cast<std::size_t>(last - (p + 1)));
    uint8_t* const next = candidate ? static_cast<uint8_t*>(const_cast<void*>(candidate)) : last;
    noteSkipped(p, static_cast<std::size_t>(next - p));
    p = next;
  }
  // One byte left. Keep it when it may begin a marker, or when it would open a garbage run:
  // the warning shows it together with the byte after it.
  if (!resyncing && *p == 0) {
    ++p;
  } else if (resyncing && *p != kSync0) {
    noteSkipped(p, 1);
    ++p;
  }
  pDataStart = p;
  reorganizeBuffer();
  return false;
}

void TraceMessageBuffer::startResync(const uint8_t* at) {
  resyncing = true;
  dataSkipped = true;
  ++skippedRuns;
  skippedHead.clear();
  skippedCount = 0;
  if (!reportErrors) return;
  std::unique_lock<std::mutex> lock = lockOutput(outputMutex);
  std::ostream& os = errorLog();
  {
    StreamStateGuard guard(os);
    os << "[WARNING] TraceMessageBuffer::getNextMessageV1() ";
    if (!name.empty()) os << name << ": ";
    os << "expected a sync marker, found 0x" << std::hex << std::setfill('0') << std::setw(4)
       << loadBE16(at) << std::endl;
    os << std::dec << "[WARNING] last valid message (size=" << lastMessage.size()
       << "): " << std::endl;
  }
  hexdump(os, lastMessage.data(), std::min(lastMessage.size(), kMaxDump), "[WARNING] ");
  os.flush();
}

void TraceMessageBuffer::noteSkipped(const uint8_t* from, std::size_t count) {
  dataSkipped = true;
  skippedBeforeFrame = true;
  skippedCount += count;
  totalSkipped += count;
  if (skippedHead.size() < kMaxDump) {
    const std::size_t take = std::min(count, kMaxDump - skippedHead.size());
    skippedHead.insert(skippedHead.end(), from, from + take);
  }
}

void TraceMessageBuffer::finishResync() {
  if (skippedCount > 0 && reportErrors) reportSkipped();
  resetHunt();
}

void TraceMessageBuffer::reportSkipped() {
  std::unique_lock<std::mutex> lock = lockOutput(outputMutex);
  std::ostream& os = errorLog();
  {
    StreamStateGuard guard(os);
    os << std::dec << "[ERROR] invalid data (" << skippedCount << " bytes): " << std::endl;
  }
  hexdump(os, skippedHead.data(), skippedHead.size(), "[ERROR] ");
  os.flush();
}

void TraceMessageBuffer::resetHunt() {
  resyncing = false;
  skippedCount = 0;
  skippedHead.clear();
}

bool TraceMessageBuffer::getNextMessageV2(uint8_t*& begin, uint8_t*& end) {
  // A record without its marker may be as short as its 3-byte header.
  const std::ptrdiff_t header = expectSync ? 4 : 3;
  if (pDataEnd - pDataStart < header) {
    reorganizeBuffer();
    return false;
  }
  if (expectSync && *pDataStart != kSyncV2) {
    const void* z =
        std::memchr(pDataStart, kSyncV2, static_cast<std::size_t>(pDataEnd - pDataStart));
    pDataStart = z ? static_cast<uint8_t*>(const_cast<void*>(z)) : pDataEnd;
    if (pDataEnd - pDataStart < header) {
      reorganizeBuffer();
      return false;
    }
  }
  uint8_t* const record = expectSync ? pDataStart + 1 : pDataStart;
  const std::size_t recordLength = static_cast<std::size_t>(loadBE16(record + 1)) + 3;
  if (recordLength > static_cast<std::size_t>(pDataEnd - record)) {
    reorganizeBuffer();  // the 'Z' stays in front of the incomplete record
    return false;
  }
  uint8_t* const recordEnd = record + recordLength;
  keepLast(lastMessage, pDataStart, recordEnd);
  begin = record;
  end = recordEnd;
  pDataStart = recordEnd;
  return true;
}

namespace {

// The exception for a frame the decoder refused: the decoder's own exception (caught: called
// from inside its handler), or null without one, and the frame's bytes. Out of line, so that
// the reader's path for every good frame carries none of this.
[[noreturn, gnu::noinline]] void throwUndecodable(const unsigned char* frameStart,
                                                  const unsigned char* end, bool caught) {
  VXException error;
  if (caught) {
    try {
      throw;
    } catch (const VXException& e) {
      error << e.str() << '\n';
      error.addError(e.getErrorCode());
    } catch (...) {
      error << "[ERROR] unhandled exception" << '\n';
    }
  }
  error << "[ERROR] failed to convert bytestream to trace message." << '\n'
        << "[ERROR] raw data: " << std::hex << std::setfill('0');
  MessageBase::dumpData<const unsigned char*>(error, frameStart, end);
  throw error;
}

}  // namespace

MessageBase* TraceMessageBuffer::getNextMessage() {
  dataSkipped = false;
  uint8_t* begin = nullptr;
  uint8_t* end = nullptr;
  if (!getNextMessageV1(begin, end)) return nullptr;
  const unsigned char* const frameStart = expectSync ? begin - 2 : begin;
  MessageBase* msg;
  try {
    msg = MessageBase::readFromByteArray(begin, static_cast<unsigned int>(end - begin));
  } catch (...) {
    throwUndecodable(frameStart, end, true);
  }
  if (msg == nullptr) throwUndecodable(frameStart, end, false);
  if (keepRawData) {
    std::unique_ptr<MessageBase> owned(msg);
    owned->rawBytes.assign(frameStart, static_cast<const unsigned char*>(end));
    return owned.release();
  }
  return msg;
}

std::ostream& operator<<(std::ostream& os, const TraceMessageBuffer& tmb) {
  StreamStateGuard guard(os);
  os.width(0);
  os << std::dec << "name = " << tmb.name << ", bufferSize = " << tmb.bufferSize
     << ", pbuffer = " << static_cast<const void*>(tmb.pbuffer)
     << ", pDataStart = " << static_cast<const void*>(tmb.pDataStart)
     << ", pDataEnd = " << static_cast<const void*>(tmb.pDataEnd);
  return os;
}
