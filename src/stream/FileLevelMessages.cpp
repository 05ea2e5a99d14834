// The records that serve the trace file itself: end of file, padding, wrapper and file time.
#include "util/Record.h"
#include "vxtrace/EofMessage.h"
#include "vxtrace/FileTimeMessage.h"
#include "vxtrace/PaddingBytesMessage.h"
#include "vxtrace/WrapperMessage.h"

using namespace vxtrace::detail;

namespace {

// Padding and wrapper bodies are the rest of the frame, whatever its length beyond the header.
void readByteRun(MessageBase& msg, std::vector<uint8_t>& bytes, const unsigned char* data,
                 unsigned int length, const char* rejectText) {
  ByteReader in(data, length);
  in.require(14, rejectText);
  readFrameHeader(in, msg);
  const std::size_t n = in.remaining();
  const uint8_t* body = in.bytes(n);
  bytes.assign(body, body + n);
}

unsigned int writeByteRun(const MessageBase& msg, const std::vector<uint8_t>& bytes,
                          unsigned char*& out, unsigned int room, bool withSync) {
  const unsigned int written = writeRecord(
      msg, out, room, withSync, [&](ByteWriter& w) { w.bytes(bytes.data(), bytes.size()); });
  return written == 0 ? 0 : msg.getSize();
}

void printByteRun(std::ostream& os, const MessageBase& msg, const char* tag,
                  const std::vector<uint8_t>& bytes) {
  RecordLine line(os, msg);
  os << tag << std::hex << std::uppercase << std::setfill('0');
  MessageBase::dumpData(os, bytes.data(), bytes.data() + bytes.size());
}

}  // namespace

// ---- EofMessage ----------------------------------------------------------------------------

EofMessage::EofMessage(unsigned long long ts, uint32_t c)
    : MessageBase(MSGID_ENDOFFILE, ts), crc(c) {}

EofMessage::EofMessage(const unsigned char* data, unsigned int length)
    : MessageBase(MSGID_ENDOFFILE, 0), crc(0) {
  ByteReader in(data, length);
  readFrameHeader(in, *this);
  crc = in.be32();
}

VXTRACE_RECORD_MEMBERS(EofMessage)

unsigned int EofMessage::writeToByteArray(unsigned char*& out, unsigned int room,
                                          bool withSync) const {
  return writeRecord(*this, out, room, withSync, [&](ByteWriter& w) { w.be32(crc); }) == 0
             ? 0
             : getSize();
}

unsigned int EofMessage::getSize() const { return 16; }

bool EofMessage::operator==(const MessageBase& other) const {
  auto* o = sameClass(*this, other);
  return o != nullptr && o->crc == crc;
}

void EofMessage::print(std::ostream& os) const {
  RecordLine line(os, *this);
  // The checksum is always shown in lower case, whatever the caller's stream says.
  os << "  EOF         | CRC = 0x" << std::hex << std::nouppercase << std::setfill('0')
     << std::setw(8) << crc;
}

// ---- PaddingBytesMessage -------------------------------------------------------------------

PaddingBytesMessage::PaddingBytesMessage(unsigned long long ts, const std::vector<uint8_t>& bytes)
    : MessageBase(MSGID_PADDING, ts), std::vector<uint8_t>(bytes) {}

PaddingBytesMessage::PaddingBytesMessage(const unsigned char* data, unsigned int length)
    : MessageBase(MSGID_PADDING, 0) {
  readByteRun(*this, *this, data, length, "Invalid padding message length");
}

VXTRACE_RECORD_MEMBERS(PaddingBytesMessage)

unsigned int PaddingBytesMessage::writeToByteArray(unsigned char*& out, unsigned int room,
                                                   bool withSync) const {
  return writeByteRun(*this, *this, out, room, withSync);
}

unsigned int PaddingBytesMessage::getSize() const {
  return 12 + static_cast<unsigned int>(std::vector<uint8_t>::size());
}

bool PaddingBytesMessage::operator==(const MessageBase& other) const {
  auto* o = sameClass(*this, other);
  return o != nullptr && static_cast<const std::vector<uint8_t>&>(*o) ==
                             static_cast<const std::vector<uint8_t>&>(*this);
}

void PaddingBytesMessage::print(std::ostream& os) const {
  printByteRun(os, *this, "  PADDING     | ", *this);
}

// ---- WrapperMessage ------------------------------------------------------------------------

WrapperMessage::WrapperMessage(unsigned long long ts, const std::vector<uint8_t>& bytes)
    : MessageBase(MSGID_WRAPPER, ts), std::vector<uint8_t>(bytes) {}

WrapperMessage::WrapperMessage(const unsigned char* data, unsigned int length)
    : MessageBase(MSGID_WRAPPER, 0) {
  readByteRun(*this, *this, data, length, "Invalid wrapper message length");
}

VXTRACE_RECORD_MEMBERS(WrapperMessage)

unsigned int WrapperMessage::writeToByteArray(unsigned char*& out, unsigned int room,
                                              bool withSync) const {
  return writeByteRun(*this, *this, out, room, withSync);
}

unsigned int WrapperMessage::getSize() const {
  return 12 + static_cast<unsigned int>(std::vector<uint8_t>::size());
}

bool WrapperMessage::operator==(const MessageBase& other) const {
  auto* o = sameClass(*this, other);
  return o != nullptr && static_cast<const std::vector<uint8_t>&>(*o) ==
                             static_cast<const std::vector<uint8_t>&>(*this);
}

void WrapperMessage::print(std::ostream& os) const {
  printByteRun(os, *this, "  WRAPPER     | ", *this);
}

// ---- FileTimeMessage -----------------------------------------------------------------------

FileTimeMessage::FileTimeMessage(unsigned long long ts, uint64_t t)
    : MessageBase(MSGID_FILETIME, ts), fileTime(t) {}

FileTimeMessage::FileTimeMessage(const unsigned char* data, unsigned int length)
    : MessageBase(MSGID_FILETIME, 0), fileTime(0) {
  ByteReader in(data, length);
  readFrameHeader(in, *this);
  fileTime = in.be64();
}

VXTRACE_RECORD_MEMBERS(FileTimeMessage)

unsigned int FileTimeMessage::writeToByteArray(unsigned char*& out, unsigned int room,
                                               bool withSync) const {
  return writeRecord(*this, out, room, withSync, [&](ByteWriter& w) { w.be64(fileTime); }) == 0
             ? 0
             : getSize();
}

unsigned int FileTimeMessage::getSize() const { return 20; }

bool FileTimeMessage::operator==(const MessageBase& other) const {
  auto* o = sameClass(*this, other);
  return o != nullptr && o->fileTime == fileTime;
}

void FileTimeMessage::print(std::ostream& os) const {
  RecordLine line(os, *this);
  // Digit case stays the caller's: only base and fill are set here.
  os << "  FILE TIME   | Time = 0x" << std::hex << std::setfill('0') << std::setw(8) << fileTime
     << " (" << std::dec << fileTime << ") = ";
  MessageBase::printTimeStamp(os, fileTime, true, 6);
}
