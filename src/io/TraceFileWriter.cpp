#include "vxtrace/io/TraceFileWriter.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <ctime>
#include <stdexcept>
#include <system_error>

#include "io/TraceScan.h"
#include "util/ByteOrder.h"
#include "util/Diagnostics.h"
#include "vxtrace/EofMessage.h"
#include "vxtrace/XMatchPro.h"

using namespace vxtrace::detail;

namespace vxtrace {

namespace {

constexpr std::size_t kGather = 64 * 1024;    // bytes gathered before they go out
constexpr std::size_t kMaxFrame = 65535;      // V2's 16-bit length holds the frame
constexpr uint64_t kSyncRun = 4;              // records in a row that prove the alignment
constexpr uint64_t kScanMargin = 256 * 1024;  // read before the longest cut, to find the alignment

[[noreturn]] void fail(const std::string& what, const std::string& path, int error = errno) {
  throw std::system_error(error, std::generic_category(), "TraceFileWriter: " + what + " " + path);
}

std::size_t prefixOf(TraceFileReader::framing_t framing) {
  static const std::size_t kPrefix[] = {2, 0, 4, 3};
  return kPrefix[framing];
}

// End of the rotation period that holds ts: periods are aligned to multiples of their length.
uint64_t periodEnd(uint64_t ts, uint64_t length) {
  const uint64_t k = ts / length + 1;
  return k > UINT64_MAX / length ? UINT64_MAX : k * length;
}

bool exists(const std::string& path) {
  struct stat st;
  return ::stat(path.c_str(), &st) == 0;
}

// Before opening: opening a FIFO would wait for a reader, a device would be written through.
void refuseUnlessRegular(const std::string& path) {
  struct stat st;
  if (::stat(path.c_str(), &st) == 0 && !S_ISREG(st.st_mode))
    throw std::runtime_error("TraceFileWriter: not a regular file: " + path);
}

void syncDirectoryOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  const std::string dir = slash == std::string::npos ? "."
                          : slash == 0               ? "/"
                                                     : path.substr(0, slash);
  const int fd = ::open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) fail("cannot open the directory of", path);
  const int rc = ::fsync(fd);
  const int error = errno;
  ::close(fd);
  if (rc != 0) fail("cannot sync the directory of", path, error);
}

// What the validating reader finds at the end of a file that append goes on with.
struct TailScan {
  uint64_t keepEnd = 0;  // end of the last good record (before any loss)
  uint64_t kept = 0;     // good records seen (those before the window not counted)
  uint64_t lastTs = 0;
  uint64_t lastOffset = 0;  // of the last good record
  bool lastIsEof = false;
  bool lost = false;   // a loss after the good records
  uint64_t after = 0;  // records found after that loss
};

// Reads the last window bytes (all of the file when they hold too few records to be sure of
// the alignment). Once aligned, the first loss ends the good part: a torn write leaves a cut-off
// record, and what follows it (the frames inside a torn container) is not trusted.
TailScan scanTail(int fd, TraceFileReader::framing_t framing, uint64_t size, uint64_t window,
                  const std::string& path) {
  QuietDiagnostics quiet;
  uint64_t from = size > window ? size - window : 0;
  for (;;) {
    if (::lseek(fd, static_cast<off_t>(from), SEEK_SET) < 0) fail("cannot seek in", path);
    TailScan scan;
    TraceFileReader reader(fd, framing);
    reader.setStreamOffset(from);
    uint64_t run = 0;
    bool aligned = from == 0;
    reader.setLossHandler([&](const TraceFileReader::loss_t&) {
      if (aligned)
        scan.lost = true;
      else
        run = 0;
    });
    while (std::unique_ptr<MessageBase> msg{reader.next()}) {
      if (msg->msgId == MSGID_INVALID) continue;  // reported as a loss already
      if (scan.lost) {
        ++scan.after;
        continue;
      }
      if (!aligned && ++run >= kSyncRun) aligned = true;
      if (!aligned) continue;
      ++scan.kept;
      scan.keepEnd = reader.recordOffset() + reader.recordLength();
      scan.lastOffset = reader.recordOffset();
      scan.lastTs = latestTime(*msg);
      scan.lastIsEof = msg->msgId == MSGID_ENDOFFILE;
    }
    if (reader.error() != 0) fail("cannot read", path, reader.error());
    if (aligned) return scan;
    from = 0;
  }
}

}  // namespace

TraceFileWriter::TraceFileWriter(const TraceFileWriterOptions& options,
                                 std::function<void(const TailCut&)> onTailCut)
    : options_(options),
      onTailCut_(std::move(onTailCut)),
      container_(0, MSGID_INVALID, false, 0, 0, 0, nullptr, 0) {
  validate();
  out_.reserve(kGather + kMaxFrame + 8);
  block_.reserve(options_.containerBytes);
  if (timeName_) return;  // the first record names the file
  if (options_.existing == TraceFileWriterOptions::Existing::Append && !options_.files.open) {
    // Go on with the last file of the set.
    uint64_t last = 0;
    if (numbered_)
      while (exists(nameFor(last + 1, 0))) ++last;
    if (exists(nameFor(last, 0))) {
      index_ = last;
      appendTo(nameFor(last, 0));
      return;
    }
  }
  openFile(0);
}

TraceFileWriter::TraceFileWriter(int fd, const TraceFileWriterOptions& options)
    : options_(options), ownsFd_(false), container_(0, MSGID_INVALID, false, 0, 0, 0, nullptr, 0) {
  options_.pattern = "%d";  // satisfies validate(); never used
  options_.existing = TraceFileWriterOptions::Existing::Replace;
  validate();
  if (options_.rotateBytes != 0 || options_.rotateUs != 0)
    throw std::invalid_argument("TraceFileWriter: no rotation on a descriptor");
  struct stat st;
  if (::fstat(fd, &st) != 0) fail("cannot stat", "descriptor " + std::to_string(fd));
  regular_ = S_ISREG(st.st_mode);
  fd_ = fd;
  path_ = "descriptor " + std::to_string(fd);
  files_ = 1;
  out_.reserve(kGather + kMaxFrame + 8);
  block_.reserve(options_.containerBytes);
}

TraceFileWriter::~TraceFileWriter() {
  try {
    close();
  } catch (const std::exception& e) {
    errorLog() << "[ERROR] " << e.what() << std::endl;
    release();
  } catch (...) {  // a hook's own error type: its owner reports it
    release();
  }
}

void TraceFileWriter::release() noexcept {
  const int fd = fd_;
  fd_ = -1;
  if (fd < 0 || !ownsFd_) return;
  if (!options_.files.close) {
    ::close(fd);
    return;
  }
  try {
    options_.files.close(path_, fd);
  } catch (...) {
  }
}

void TraceFileWriter::validate() {
  const auto& o = options_;
  if (o.framing < TraceFileReader::FRAMING_V1 || o.framing > TraceFileReader::FRAMING_V2_NOSYNC)
    throw std::invalid_argument("TraceFileWriter: unknown framing");
  if (o.containers != TraceFileWriterOptions::Containers::None &&
      (o.containerRecords < 1 || o.containerRecords > 255 || o.containerBytes < 64 ||
       o.containerBytes > kMaxBlock))
    throw std::invalid_argument(
        "TraceFileWriter: containers take 1 to 255 records and 64 to 65000 bytes");
  if (o.pattern.empty()) throw std::invalid_argument("TraceFileWriter: no file name pattern");
  for (std::size_t i = 0; i < o.pattern.size(); ++i) {
    if (o.pattern[i] != '%') continue;
    std::size_t j = i + 1;
    while (j < o.pattern.size() && o.pattern[j] >= '0' && o.pattern[j] <= '9') ++j;
    if (j == o.pattern.size())
      throw std::invalid_argument("TraceFileWriter: pattern ends inside a conversion");
    if (o.pattern[j] == 'd') {
      numbered_ = true;
    } else if (j != i + 1) {
      throw std::invalid_argument("TraceFileWriter: a width only goes with %d");
    } else if (o.pattern[j] != '%') {
      timeName_ = true;
    }
    i = j;
  }
  if ((o.rotateBytes != 0 || o.rotateUs != 0) && !numbered_ && !timeName_)
    throw std::invalid_argument("TraceFileWriter: rotation needs %d or a time in the pattern");
  for (const auto& head : o.headRecords)
    if (!head || head->getSize() < 12 || head->getSize() + 2 > kMaxFrame)
      throw std::invalid_argument("TraceFileWriter: a head record cannot be framed");
}

std::string TraceFileWriter::nameFor(uint64_t index, uint64_t ts) const {
  const std::string& p = options_.pattern;
  std::string name;
  for (std::size_t i = 0; i < p.size(); ++i) {
    if (p[i] != '%') {
      name += p[i];
      continue;
    }
    std::size_t j = i + 1;
    while (p[j] >= '0' && p[j] <= '9') ++j;
    if (p[j] == 'd') {
      char number[48];
      const int width = j > i + 1 ? std::atoi(p.c_str() + i + 1) : 0;
      std::snprintf(number, sizeof number, p[i + 1] == '0' ? "%0*llu" : "%*llu",
                    width > 40 ? 40 : width, static_cast<unsigned long long>(index));
      name += number;
    } else {
      // Left for strftime ("%%" too); without a time conversion a "%%" becomes "%" here.
      name += timeName_ ? p.substr(i, 2) : (p[j] == '%' ? "%" : p.substr(i, 2));
    }
    i = j;
  }
  if (!timeName_) return name;
  const std::time_t seconds = static_cast<std::time_t>(ts / 1000000);
  std::tm tm{};
  if (::gmtime_r(&seconds, &tm) == nullptr)
    throw std::invalid_argument("TraceFileWriter: time stamp out of the calendar's range");
  char buffer[4096];
  const std::size_t n = std::strftime(buffer, sizeof buffer, name.c_str(), &tm);
  if (n == 0) throw std::invalid_argument("TraceFileWriter: the pattern gives an empty name");
  return std::string(buffer, n);
}

void TraceFileWriter::openFile(uint64_t ts) {
  const std::string name = nameFor(index_, ts);
  using Existing = TraceFileWriterOptions::Existing;
  const bool first = files_ == 0;
  const bool hooked = static_cast<bool>(options_.files.open);
  if (first && !hooked && options_.existing == Existing::Append && exists(name)) {
    appendTo(name);
    return;
  }
  struct stat st;
  int fd = -1;
  if (hooked) {
    fd = options_.files.open(name);
    if (fd < 0) fail("cannot create", name);
    if (::fstat(fd, &st) != 0) {
      const int error = errno;
      options_.files.close(name, fd);
      fail("cannot stat", name, error);
    }
  } else {
    refuseUnlessRegular(name);
    int flags = O_WRONLY | O_CREAT | O_CLOEXEC;
    flags |= first && options_.existing == Existing::Replace ? O_TRUNC : O_EXCL;
    fd = ::open(name.c_str(), flags, 0666);
    if (fd < 0) fail("cannot create", name);
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
      ::close(fd);
      throw std::runtime_error("TraceFileWriter: not a regular file: " + name);
    }
  }
  fd_ = fd;
  regular_ = S_ISREG(st.st_mode);
  path_ = name;
  ++files_;
  ++index_;
  fileBytes_ = 0;
  fileHasRecords_ = false;
  fileLastTs_ = 0;
  periodEnd_ = 0;
  crc_ = 0;
  if (options_.flush == TraceFileWriterOptions::Flush::FsyncAfterContainer && !hooked)
    syncDirectoryOf(name);
}

void TraceFileWriter::appendTo(const std::string& path) {
  refuseUnlessRegular(path);
  const int fd = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
  if (fd < 0) fail("cannot open", path);
  try {
    struct stat st;
    if (::fstat(fd, &st) != 0) fail("cannot stat", path);
    if (!S_ISREG(st.st_mode))
      throw std::runtime_error("TraceFileWriter: not a regular file: " + path);
    const uint64_t size = static_cast<uint64_t>(st.st_size);
    const uint64_t window = options_.maxTailCut > UINT64_MAX - kScanMargin
                                ? UINT64_MAX
                                : options_.maxTailCut + kScanMargin;
    const TailScan scan = scanTail(fd, options_.framing, size, window, path);
    if (scan.kept == 0 && scan.lost)
      throw std::runtime_error("TraceFileWriter: not a trace in the framing written: " + path);
    TailCut cut;
    cut.path = path;
    cut.offset = scan.lastIsEof ? scan.lastOffset : scan.keepEnd;
    cut.length = size - cut.offset;
    cut.records = scan.after;
    cut.endRecord = scan.lastIsEof;
    if (cut.length > options_.maxTailCut)
      throw std::runtime_error("TraceFileWriter: appending to " + path + " would cut " +
                               std::to_string(cut.length) + " bytes from offset " +
                               std::to_string(cut.offset));
    if (cut.length != 0) {
      if (::ftruncate(fd, static_cast<off_t>(cut.offset)) != 0) fail("cannot truncate", path);
      cuts_.push_back(cut);
      if (onTailCut_) onTailCut_(cut);
    }
    crc_ = 0;
    if (options_.endRecord) {
      std::vector<uint8_t> chunk(kGather);
      for (uint64_t at = 0; at < cut.offset;) {
        const ssize_t n =
            ::pread(fd, chunk.data(), std::min<uint64_t>(chunk.size(), cut.offset - at),
                    static_cast<off_t>(at));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) fail("cannot read", path, n == 0 ? EIO : errno);
        crc_ = crc32(crc_, chunk.data(), static_cast<std::size_t>(n));
        at += static_cast<uint64_t>(n);
      }
    }
    if (::lseek(fd, static_cast<off_t>(cut.offset), SEEK_SET) < 0) fail("cannot seek in", path);
    fd_ = fd;
    regular_ = true;
    path_ = path;
    ++files_;
    ++index_;
    fileBytes_ = cut.offset;
    fileHasRecords_ = scan.kept > (scan.lastIsEof ? 1u : 0u);
    fileLastTs_ = scan.lastTs;
    periodEnd_ = 0;
    if (fileHasRecords_ && options_.rotateUs != 0)
      periodEnd_ = periodEnd(scan.lastTs, options_.rotateUs);
  } catch (...) {
    ::close(fd);
    throw;
  }
}

void TraceFileWriter::closeFile() {
  if (fd_ < 0) return;
  if (options_.endRecord && fileHasRecords_) {
    writeOut();  // the CRC covers what went out
    emitRecord(EofMessage(fileLastTs_, crc_));
  }
  writeOut();
  if (options_.flush == TraceFileWriterOptions::Flush::FsyncAfterContainer) syncFile();
  const int fd = fd_;
  fd_ = -1;
  if (ownsFd_ && options_.files.close)
    options_.files.close(path_, fd);
  else if (ownsFd_ && ::close(fd) != 0)
    fail("cannot close", path_);
}

void TraceFileWriter::write(const MessageBase& msg) { add(&msg, nullptr, msg.getSize() + 2ull); }

void TraceFileWriter::writeFrame(const uint8_t* frame, std::size_t length) {
  if (length < 14 || loadBE16(frame) + 2u != length)
    throw std::invalid_argument("TraceFileWriter: frame length differs from its size field");
  add(nullptr, frame, length);
}

void TraceFileWriter::add(const MessageBase* msg, const uint8_t* frame, std::size_t length) {
  if (closed_) throw std::logic_error("TraceFileWriter: write after close");
  if (length < 14 || length > kMaxFrame)
    throw std::invalid_argument("TraceFileWriter: record too large or too small for a frame");
  const uint64_t ts = msg ? msg->timeStamp : loadBE64(frame + 6);
  const msgid_t id = msg ? msg->msgId : static_cast<msgid_t>(loadBE16(frame + 2));
  if (fd_ < 0) {
    openFile(ts);
  } else if (periodEnd_ != 0 && ts >= periodEnd_) {
    closeBundle();
    closeFile();
    openFile(ts);
  }
  if (options_.rotateUs != 0 && periodEnd_ == 0) periodEnd_ = periodEnd(ts, options_.rotateUs);
  // A record of 12 bytes goes on its own: as a block's last frame (16 bytes with its marker)
  // the container walk would not reach it.
  const bool bundle = options_.containers != TraceFileWriterOptions::Containers::None &&
                      id != MSGID_CONTAINER && length > 14 && length + 2 <= options_.containerBytes;
  if (!bundle) {
    closeBundle();
    emit(msg, frame, length, 1, ts, ts);
    ++written_;  // counted once written: a record that cannot be serialised is not
    return;
  }
  if (bundled_ != 0 &&
      (block_.size() + length + 2 > options_.containerBytes ||
       (options_.containerAgeUs != 0 && ts > firstTs_ && ts - firstTs_ >= options_.containerAgeUs)))
    closeBundle();
  const std::size_t at = block_.size();
  block_.resize(at + length + 2);
  unsigned char* p = block_.data() + at;
  if (msg) {
    if (msg->writeToByteArray(p, static_cast<unsigned>(length + 2), true) == 0) {
      block_.resize(at);
      throw std::invalid_argument("TraceFileWriter: record cannot be serialised");
    }
  } else {
    p[0] = 0x55;
    p[1] = 0xAA;
    std::copy(frame, frame + length, p + 2);
  }
  if (bundled_ == 0) {
    firstTs_ = ts;
    firstId_ = id;
  }
  lastTs_ = ts;
  ++written_;
  if (++bundled_ >= options_.containerRecords) closeBundle();
}

void TraceFileWriter::closeBundle() {
  if (bundled_ == 0) return;
  container_.timeStamp = firstTs_;
  container_.pId = firstId_;
  container_.numOfMsg = static_cast<uint8_t>(bundled_);
  container_.lastMsgTime = lastTs_;
  container_.blockSize = static_cast<uint16_t>(block_.size());
  bool packed = false;
  if (options_.containers == TraceFileWriterOptions::Containers::Lz4) {
    const int rc =
        XMatchProCompressor().run(block_.data(), block_.data() + block_.size(), &packed_);
    packed = rc == 0 && packed_.size() < block_.size();
  }
  container_.compression = packed;
  const std::vector<uint8_t>& data = packed ? packed_ : block_;
  container_.data.assign(data.begin(), data.end());
  const uint64_t records = bundled_;
  block_.clear();
  bundled_ = 0;
  emit(&container_, nullptr, container_.getSize() + 2ull, records, firstTs_, lastTs_);
}

void TraceFileWriter::emit(const MessageBase* msg, const uint8_t* frame, std::size_t length,
                           uint64_t records, uint64_t firstTs, uint64_t lastTs) {
  const std::size_t total = prefixOf(options_.framing) + length;
  if (options_.rotateBytes != 0 && fileHasRecords_) {
    const uint64_t eof = options_.endRecord ? prefixOf(options_.framing) + 16 : 0;
    if (fileBytes_ + total + eof > options_.rotateBytes) {
      closeFile();
      openFile(firstTs);
    }
  }
  if (!fileHasRecords_ && fileBytes_ == 0) {
    for (const auto& head : options_.headRecords) {
      std::unique_ptr<MessageBase> copy(head->clone());
      copy->timeStamp = firstTs;
      emitRecord(*copy);
    }
  }
  if (msg) {
    emitRecord(*msg);
  } else {
    const std::size_t at = out_.size();
    out_.resize(at + total);
    uint8_t* p = out_.data() + at;
    switch (options_.framing) {
      case TraceFileReader::FRAMING_V1:
        *p++ = 0x55;
        *p++ = 0xAA;
        break;
      case TraceFileReader::FRAMING_V2:
        *p++ = 'Z';
        [[fallthrough]];
      case TraceFileReader::FRAMING_V2_NOSYNC:
        *p++ = options_.v2Type;
        storeBE16(p, static_cast<uint16_t>(length));
        p += 2;
        break;
      case TraceFileReader::FRAMING_V1_NOSYNC:
        break;
    }
    std::copy(frame, frame + length, p);
    fileBytes_ += total;
  }
  fileHasRecords_ = true;
  if (lastTs > fileLastTs_ || fileLastTs_ == 0) fileLastTs_ = lastTs;
  if (options_.rotateUs != 0 && periodEnd_ == 0) periodEnd_ = periodEnd(firstTs, options_.rotateUs);
  outRecords_ += records;
  using Flush = TraceFileWriterOptions::Flush;
  if (options_.flush != Flush::None || out_.size() >= kGather) writeOut();
  if (options_.flush == Flush::FsyncAfterContainer) syncFile();
}

// Straight into the gathered bytes, with the framing's prefix.
void TraceFileWriter::emitRecord(const MessageBase& msg) {
  const unsigned size = msg.getSize();
  if (size < 12 || size + 2ull > kMaxFrame)
    throw std::invalid_argument("TraceFileWriter: record too large or too small for a frame");
  const std::size_t total = prefixOf(options_.framing) + size + 2;
  const std::size_t at = out_.size();
  out_.resize(at + total);
  unsigned char* p = out_.data() + at;
  const auto framing = options_.framing;
  if (framing == TraceFileReader::FRAMING_V2) *p++ = 'Z';
  if (framing == TraceFileReader::FRAMING_V2 || framing == TraceFileReader::FRAMING_V2_NOSYNC) {
    *p++ = options_.v2Type;
    storeBE16(p, static_cast<uint16_t>(size + 2));
    p += 2;
  }
  if (msg.writeToByteArray(p, static_cast<unsigned>(out_.data() + out_.size() - p),
                           framing == TraceFileReader::FRAMING_V1) == 0) {
    out_.resize(at);
    throw std::invalid_argument("TraceFileWriter: record cannot be serialised");
  }
  fileBytes_ += total;
}

void TraceFileWriter::writeOut() {
  if (out_.empty()) return;
  if (options_.endRecord) crc_ = crc32(crc_, out_.data(), out_.size());
  const uint8_t* p = out_.data();
  std::size_t left = out_.size();
  while (left > 0) {
    const ssize_t n = ::write(fd_, p, left);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) fail("cannot write", path_);
    p += n;
    left -= static_cast<std::size_t>(n);
  }
  out_.clear();
  flushed_ += outRecords_;
  unsynced_ += outRecords_;
  outRecords_ = 0;
}

void TraceFileWriter::syncFile() {
  if (!regular_) return;  // a pipe or a device: nothing to sync, nothing counted as synced
  if (::fdatasync(fd_) != 0) fail("cannot sync", path_);
  synced_ += unsynced_;
  unsynced_ = 0;
}

void TraceFileWriter::tick(uint64_t nowUs) {
  if (bundled_ != 0 && options_.containerAgeUs != 0 && nowUs >= firstTs_ &&
      nowUs - firstTs_ >= options_.containerAgeUs)
    closeBundle();
}

void TraceFileWriter::flush() {
  if (closed_) return;
  closeBundle();
  writeOut();
  if (options_.flush == TraceFileWriterOptions::Flush::FsyncAfterContainer && fd_ >= 0) syncFile();
}

void TraceFileWriter::sync() {
  if (closed_) return;
  closeBundle();
  writeOut();
  if (fd_ >= 0) syncFile();
}

void TraceFileWriter::close() {
  if (closed_) return;
  closed_ = true;
  closeBundle();
  closeFile();
}

}  // namespace vxtrace
