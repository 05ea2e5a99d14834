// The records that serve the trace file itself: end of file, padding, wrapper and file time.
#include <iomanip>
#include <sstream>

#include "util/ByteReader.h"
#include "util/ByteWriter.h"
#include "util/FrameHeader.h"
#include "util/PrintedText.h"
#include "util/StreamStateGuard.h"
#include "vxtrace/EofMessage.h"
#include "vxtrace/FileTimeMessage.h"
#include "vxtrace/PaddingBytesMessage.h"
#include "vxtrace/WrapperMessage.h"

using vxtrace::detail::ByteReader;
using vxtrace::detail::ByteWriter;
using vxtrace::detail::StreamStateGuard;

namespace {

// Padding and wrapper bodies are the rest of the frame, whatever its length beyond the header.
void readByteRun(MessageBase& msg, std::vector<uint8_t>& bytes, const unsigned char* data,
                 unsigned int length, const char* rejectText) {
  if (length < 14) throw InvalidMessageException(invalidLength, rejectText);
  ByteReader in(data, length);
  vxtrace::detail::readFrameHeader(in, msg);
  const std::size_t n = in.remaining();
  const uint8_t* body = in.bytes(n);
  bytes.assign(body, body + n);
}

unsigned int writeByteRun(const MessageBase& msg, const std::vector<uint8_t>& bytes,
                          unsigned char*& out, unsigned int room, bool withSync) {
  if (msg.MessageBase::writeToByteArray(out, room, withSync) == 0) return 0;
  ByteWriter(out).bytes(bytes.data(), bytes.size());
  return msg.getSize();
}

void printByteRun(std::ostream& os, const MessageBase& msg, const char* tag,
                  const std::vector<uint8_t>& bytes) {
  os << msg.MessageBase::toString() << tag;
  StreamStateGuard guard(os);
  os << std::hex << std::uppercase << std::setfill('0');
  MessageBase::dumpData(os, bytes.data(), bytes.data() + bytes.size());
}

}  // namespace

// ---- EofMessage ----------------------------------------------------------------------------

EofMessage::EofMessage(unsigned long long ts, uint32_t c)
    : MessageBase(MSGID_ENDOFFILE, ts), crc(c) {}

EofMessage::EofMessage(const unsigned char* data, unsigned int length)
    : MessageBase(MSGID_ENDOFFILE, 0), crc(0) {
  ByteReader in(data, length);
  vxtrace::detail::readFrameHeader(in, *this);
  crc = in.be32();
}

MessageBase* EofMessage::readFromByteArray(const unsigned char* data, unsigned int length) {
  return new EofMessage(data, length);
}

MessageBase* EofMessage::clone() const { return new EofMessage(*this); }

unsigned int EofMessage::writeToByteArray(unsigned char*& out, unsigned int room,
                                          bool withSync) const {
  if (MessageBase::writeToByteArray(out, room, withSync) == 0) return 0;
  ByteWriter(out).be32(crc);
  return getSize();
}

unsigned int EofMessage::getSize() const { return 16; }

bool EofMessage::operator==(const MessageBase& other) const {
  auto* o = dynamic_cast<const EofMessage*>(&other);
  return o != nullptr && o->crc == crc;
}

void EofMessage::print(std::ostream& os) const {
  os << static_cast<const MessageBase&>(*this);
  StreamStateGuard guard(os);
  // The checksum is always shown in lower case, whatever the caller's stream says.
  os << "  EOF         | CRC = 0x" << std::hex << std::nouppercase << std::setfill('0')
     << std::setw(8) << crc;
}

std::string EofMessage::toString() const { return vxtrace::detail::printedText(*this); }

std::ostream& operator<<(std::ostream& os, const EofMessage& msg) {
  msg.print(os);
  return os;
}

// ---- PaddingBytesMessage -------------------------------------------------------------------

PaddingBytesMessage::PaddingBytesMessage(unsigned long long ts, const std::vector<uint8_t>& bytes)
    : MessageBase(MSGID_PADDING, ts), std::vector<uint8_t>(bytes) {}

PaddingBytesMessage::PaddingBytesMessage(const unsigned char* data, unsigned int length)
    : MessageBase(MSGID_PADDING, 0) {
  readByteRun(*this, *this, data, length, "Invalid padding message length");
}

MessageBase* PaddingBytesMessage::readFromByteArray(const unsigned char* data,
                                                    unsigned int length) {
  return new PaddingBytesMessage(data, length);
}

MessageBase* PaddingBytesMessage::clone() const { return new PaddingBytesMessage(*this); }

unsigned int PaddingBytesMessage::writeToByteArray(unsigned char*& out, unsigned int room,
                                                   bool withSync) const {
  return writeByteRun(*this, *this, out, room, withSync);
}

unsigned int PaddingBytesMessage::getSize() const {
  return 12 + static_cast<unsigned int>(std::vector<uint8_t>::size());
}

bool PaddingBytesMessage::operator==(const MessageBase& other) const {
  auto* o = dynamic_cast<const PaddingBytesMessage*>(&other);
  return o != nullptr && static_cast<const std::vector<uint8_t>&>(*o) ==
                             static_cast<const std::vector<uint8_t>&>(*this);
}

void PaddingBytesMessage::print(std::ostream& os) const {
  printByteRun(os, *this, "  PADDING     | ", *this);
}

std::string PaddingBytesMessage::toString() const { return vxtrace::detail::printedText(*this); }

std::ostream& operator<<(std::ostream& os, const PaddingBytesMessage& msg) {
  msg.print(os);
  return os;
}

// ---- WrapperMessage ------------------------------------------------------------------------

WrapperMessage::WrapperMessage(unsigned long long ts, const std::vector<uint8_t>& bytes)
    : MessageBase(MSGID_WRAPPER, ts), std::vector<uint8_t>(bytes) {}

WrapperMessage::WrapperMessage(const unsigned char* data, unsigned int length)
    : MessageBase(MSGID_WRAPPER, 0) {
  readByteRun(*this, *this, data, length, "Invalid wrapper message length");
}

MessageBase* WrapperMessage::readFromByteArray(const unsigned char* data, unsigned int length) {
  return new WrapperMessage(data, length);
}

MessageBase* WrapperMessage::clone() const { return new WrapperMessage(*this); }

unsigned int WrapperMessage::writeToByteArray(unsigned char*& out, unsigned int room,
                                              bool withSync) const {
  return writeByteRun(*this, *this, out, room, withSync);
}

unsigned int WrapperMessage::getSize() const {
  return 12 + static_cast<unsigned int>(std::vector<uint8_t>::size());
}

bool WrapperMessage::operator==(const MessageBase& other) const {
  auto* o = dynamic_cast<const WrapperMessage*>(&other);
  return o != nullptr && static_cast<const std::vector<uint8_t>&>(*o) ==
                             static_cast<const std::vector<uint8_t>&>(*this);
}

void WrapperMessage::print(std::ostream& os) const {
  printByteRun(os, *this, "  WRAPPER     | ", *this);
}

std::string WrapperMessage::toString() const { return vxtrace::detail::printedText(*this); }

std::ostream& operator<<(std::ostream& os, const WrapperMessage& msg) {
  msg.print(os);
  return os;
}

// ---- FileTimeMessage -----------------------------------------------------------------------

FileTimeMessage::FileTimeMessage(unsigned long long ts, uint64_t t)
    : MessageBase(MSGID_FILETIME, ts), fileTime(t) {}

FileTimeMessage::FileTimeMessage(const unsigned char* data, unsigned int length)
    : MessageBase(MSGID_FILETIME, 0), fileTime(0) {
  ByteReader in(data, length);
  vxtrace::detail::readFrameHeader(in, *this);
  fileTime = in.be64();
}

MessageBase* FileTimeMessage::readFromByteArray(const unsigned char* data, unsigned int length) {
  return new FileTimeMessage(data, length);
}

MessageBase* FileTimeMessage::clone() const { return new FileTimeMessage(*this); }

unsigned int FileTimeMessage::writeToByteArray(unsigned char*& out, unsigned int room,
                                               bool withSync) const {
  if (MessageBase::writeToByteArray(out, room, withSync) == 0) return 0;
  ByteWriter(out).be64(fileTime);
  return getSize();
}

unsigned int FileTimeMessage::getSize() const { return 20; }

bool FileTimeMessage::operator==(const MessageBase& other) const {
  auto* o = dynamic_cast<const FileTimeMessage*>(&other);
  return o != nullptr && o->fileTime == fileTime;
}

void FileTimeMessage::print(std::ostream& os) const {
  os << static_cast<const MessageBase&>(*this);
  StreamStateGuard guard(os);
  // Digit case stays the caller's: only base and fill are set here.
  os << "  FILE TIME   | Time = 0x" << std::hex << std::setfill('0') << std::setw(8) << fileTime
     << " (" << std::dec << fileTime << ") = ";
  MessageBase::printTimeStamp(os, fileTime, true, 6);
}

std::string FileTimeMessage::toString() const { return vxtrace::detail::printedText(*this); }

std::ostream& operator<<(std::ostream& os, const FileTimeMessage& msg) {
  msg.print(os);
  return os;
}
