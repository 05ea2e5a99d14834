#include "vxtrace/export/BlfExporter.h"

#include <zlib.h>

#include <cstring>

#include "export/ExportUtil.h"

namespace vxtrace {

using namespace detail;

namespace {

constexpr uint32_t kFileHeaderSize = 144;
constexpr uint32_t kObjectHeaderSize = 32;  // base header and the version 1 header
constexpr uint32_t kContainerHeaderSize = 32;
constexpr std::size_t kContainerBytes = 128 * 1024;  // uncompressed bytes a container holds

constexpr uint32_t kLogContainer = 10;
constexpr uint32_t kCanErrorExt = 73;
constexpr uint32_t kCanMessage2 = 86;
constexpr uint32_t kCanFdMessage64 = 101;
constexpr uint16_t kZlibDeflate = 2;
constexpr uint32_t kTimeOneNanos = 2;

constexpr uint8_t kCanDirTx = 0x01;
constexpr uint8_t kCanRemote = 0x80;
constexpr uint32_t kCanExtended = 0x80000000u;
constexpr uint32_t kFdRemote = 0x0010;
constexpr uint32_t kFdEdl = 0x1000;
constexpr uint32_t kFdBrs = 0x2000;
constexpr uint32_t kFdEsi = 0x4000;

void putBase(std::vector<uint8_t>& v, uint16_t headerSize, uint32_t objectSize, uint32_t type) {
  v.insert(v.end(), {'L', 'O', 'B', 'J'});
  putLE16(v, headerSize);
  putLE16(v, 1);  // header version
  putLE32(v, objectSize);
  putLE32(v, type);
}

// Windows SYSTEMTIME in the local time zone; all zero for time 0 (no record).
void putSystemTime(std::vector<uint8_t>& v, unsigned long long timeUs) {
  if (timeUs == 0) return putZeros(v, 16);
  const std::tm t = calendarTime(timeUs, true);
  for (int x : {t.tm_year + 1900, t.tm_mon + 1, t.tm_wday, t.tm_mday, t.tm_hour, t.tm_min, t.tm_sec,
                static_cast<int>(timeUs / 1000 % 1000)})
    putLE16(v, static_cast<uint16_t>(x));
}

}  // namespace

BlfExporter::BlfExporter(ExportSink& sink) : Exporter(sink) {}

std::vector<uint8_t> BlfExporter::header() const {
  std::vector<uint8_t> h{'L', 'O', 'G', 'G'};
  putLE32(h, kFileHeaderSize);
  // Application identifier, its version, and the binary log's version (2.6.8.1, as readers of
  // this object set expect).
  h.insert(h.end(), {0, 0, 0, 0, 2, 6, 8, 1});
  putLE64(h, fileSize_);
  putLE64(h, uncompressedSize_);
  putLE32(h, objects_);
  putLE32(h, 0);  // objects read
  putSystemTime(h, startUs_);
  putSystemTime(h, lastUs_ - lastUs_ % 1000);
  h.resize(kFileHeaderSize, 0);
  return h;
}

void BlfExporter::object(uint32_t type, unsigned long long timeUs,
                         const std::vector<uint8_t>& body) {
  const uint32_t size = kObjectHeaderSize + static_cast<uint32_t>(body.size());
  putBase(pending_, 16, size, type);
  putLE32(pending_, kTimeOneNanos);
  putLE16(pending_, 0);  // client index
  putLE16(pending_, 0);  // object version
  putLE64(pending_, (timeUs > startUs_ ? timeUs - startUs_ : 0) * 1000ULL);
  pending_.insert(pending_.end(), body.begin(), body.end());
  // Readers step over exactly size % 4 bytes after an object.
  putZeros(pending_, size % 4);
  ++objects_;
  if (timeUs > lastUs_) lastUs_ = timeUs;
  while (pending_.size() >= kContainerBytes) flush(kContainerBytes);
}

void BlfExporter::flush(std::size_t bytes) {
  if (!headerWritten_) {
    const std::vector<uint8_t> h = header();
    sink_.write(h.data(), h.size());
    fileSize_ = uncompressedSize_ = h.size();
    headerWritten_ = true;
  }
  if (bytes == 0) return;
  uLongf packed = compressBound(static_cast<uLong>(bytes));
  std::vector<uint8_t> out(kContainerHeaderSize + packed);
  compress2(out.data() + kContainerHeaderSize, &packed, pending_.data(), static_cast<uLong>(bytes),
            Z_DEFAULT_COMPRESSION);
  const uint32_t size = kContainerHeaderSize + static_cast<uint32_t>(packed);
  std::vector<uint8_t> head;
  putBase(head, 16, size, kLogContainer);
  putLE16(head, kZlibDeflate);
  putZeros(head, 6);
  putLE32(head, static_cast<uint32_t>(bytes));
  putZeros(head, 4);
  std::memcpy(out.data(), head.data(), head.size());
  out.resize(size);
  putZeros(out, size % 4);
  sink_.write(out.data(), out.size());
  fileSize_ += out.size();
  uncompressedSize_ += kContainerHeaderSize + bytes;
  pending_.erase(pending_.begin(), pending_.begin() + static_cast<std::ptrdiff_t>(bytes));
}

const char* BlfExporter::write(const MessageBase& record) {
  if (!started_) {
    started_ = true;
    startUs_ = record.timeStamp - record.timeStamp % 1000;  // the header holds milliseconds
  }
  CanFrame f;
  if (const char* reason = canFrameOf(record, f)) return reason;
  const uint32_t id = f.id | (f.extended ? kCanExtended : 0);
  std::vector<uint8_t> b;
  if (f.error) {
    putLE16(b, f.channel + 1u);
    putLE16(b, 0);                    // length
    putLE32(b, 0);                    // flags: none of the error details below is given
    b.insert(b.end(), {0, 0, 0, 0});  // error code capture, position, dlc, reserved
    putLE32(b, 0);                    // frame length in ns
    putLE32(b, id);
    putLE32(b, 0);   // extended flags, reserved
    putZeros(b, 8);  // data
    object(kCanErrorExt, f.timeUs, b);
  } else if (f.fd) {
    if (f.channel == 255) return "channel beyond the format's 255";
    b.insert(b.end(), {static_cast<uint8_t>(f.channel + 1), f.dlc, f.length, 0});
    putLE32(b, id);
    putLE32(b, 0);  // frame length in ns
    putLE32(b, kFdEdl | (f.brs ? kFdBrs : 0) | (f.esi ? kFdEsi : 0) | (f.remote ? kFdRemote : 0));
    putZeros(b, 16);  // bit timings, BRS and CRC delimiter offsets
    putLE16(b, 0);    // bit count
    b.push_back(f.tx ? 1 : 0);
    b.push_back(0);  // no extended data
    putLE32(b, 0);   // CRC
    b.insert(b.end(), f.data, f.data + f.length);
    object(kCanFdMessage64, f.timeUs, b);
  } else {
    putLE16(b, f.channel + 1u);
    b.push_back(static_cast<uint8_t>((f.tx ? kCanDirTx : 0) | (f.remote ? kCanRemote : 0)));
    b.push_back(f.dlc);
    putLE32(b, id);
    b.insert(b.end(), f.data, f.data + 8);
    putLE32(b, 0);  // frame length in ns
    putLE32(b, 0);  // bit count, reserved
    object(kCanMessage2, f.timeUs, b);
  }
  return nullptr;
}

void BlfExporter::finish() {
  flush(pending_.size());
  sink_.rewrite(0, header().data(), kFileHeaderSize);
}

}  // namespace vxtrace
