#include "FuzzSupport.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iomanip>
#include <iostream>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <streambuf>
#include <string>
#include <vector>

#include "support/DirtyStream.h"
#include "vxtrace/BusStatusNotificationMessage.h"
#include "vxtrace/Exceptions.h"
#include "vxtrace/MessageBase.h"

namespace vxfuzz {
namespace {

class NullBuffer : public std::streambuf {
 protected:
  int_type overflow(int_type c) override { return traits_type::not_eof(c); }
  std::streamsize xsputn(const char*, std::streamsize n) override { return n; }
};

// Writers refuse frames whose size field cannot describe them; beyond this no exact-size
// buffers are tried.
constexpr unsigned int kMaxFrame = 0x10004 + 4;

// writeToByteArray into a heap block of exactly room bytes, so that AddressSanitizer sees any
// byte written past it.
void writeIntoExactRoom(const MessageBase& msg, unsigned int room, bool withSync) {
  std::unique_ptr<unsigned char[]> block(new unsigned char[room]);
  unsigned char* out = block.get();
  try {
    msg.writeToByteArray(out, room, withSync);
  } catch (const VXException&) {
    // The bus-load and transport records refuse a room below their size this way, before
    // writing.
    const bool refuses = msg.msgId == MSGID_BUSLOAD || msg.msgId == MSGID_BUSLOADEXT ||
                         msg.msgId == MSGID_CAN_TRANSPORT;
    if (!refuses || room >= msg.getSize() + 2u) throw;
    if (out != block.get()) fail("writeToByteArray threw after moving out", &msg);
    return;
  }
  if (out < block.get() || out > block.get() + room)
    fail("writeToByteArray moved out past room", &msg);
}

// The bytes createByteArray produced, empty when it refused the record.
std::vector<unsigned char> encode(const MessageBase& msg, bool withSync) {
  std::vector<unsigned char> buf;
  if (msg.createByteArray(buf, withSync, false) == 0) buf.clear();
  return buf;
}

}  // namespace

void silenceStandardStreams() {
  static NullBuffer sink;
  std::cout.rdbuf(&sink);
  std::cerr.rdbuf(&sink);
}

int init() {
  silenceStandardStreams();
  const int initial = MessageBase::invalidHandling;
  MessageBase::registerMessages();
  return initial;
}

MessageBase* decodeOrNull(MessageBase* (*creator)(const uint8_t*, unsigned int),
                          const uint8_t* data, unsigned int length) {
  try {
    return creator(data, length);
  } catch (const BufferMismatchException&) {
  } catch (const VxSimpleException&) {
  } catch (const VXException&) {
  } catch (const std::invalid_argument&) {  // the usage report's number parse reaches the caller
  } catch (const std::out_of_range&) {
  }
  return nullptr;
}

std::unique_ptr<uint8_t[]> exactCopy(const uint8_t* data, std::size_t n) {
  std::unique_ptr<uint8_t[]> copy(new uint8_t[n == 0 ? 1 : n]);
  if (n != 0) std::memcpy(copy.get(), data, n);
  return copy;
}

int memfdWith(const uint8_t* data, std::size_t n) {
  const int fd = memfd_create("vxtrace-fuzz", MFD_CLOEXEC);
  if (fd < 0) fail("memfd_create failed", nullptr);
  for (std::size_t done = 0; done < n;) {
    const ssize_t w = ::write(fd, data + done, n - done);
    if (w <= 0) fail("write to memfd failed", nullptr);
    done += static_cast<std::size_t>(w);
  }
  ::lseek(fd, 0, SEEK_SET);
  return fd;
}

void fail(const char* what, const MessageBase* msg) {
  std::fprintf(stderr, "==vxfuzz== invariant broken: %s\n", what);
  if (msg != nullptr) {
    std::fprintf(stderr, "==vxfuzz== record: msgId %u, getSize %u\n",
                 static_cast<unsigned>(msg->msgId), msg->getSize());
  }
  std::abort();
}

void exercise(const MessageBase& msg, bool redecode) {
  const std::string text = msg.toString();

  // print and toString give the same text.
  std::ostringstream plain;
  msg.print(plain);
  if (plain.str() != text) fail("print and toString differ", &msg);

  // The same text on a caller's awkward stream, which comes back as the caller left it.
  for (bool upper : {false, true}) {
    const vxtest::DirtyPrint dirty = vxtest::printDirty(msg, upper);
    if (upper ? !vxtest::equalIgnoringCase(dirty.text, text) : dirty.text != text)
      fail("text on a left-aligned, showbase, width- and fill-set stream differs", &msg);
    if (!dirty.restored) fail("printer left the caller's stream changed", &msg);
  }

  const unsigned int size = msg.getSize();
  const std::vector<unsigned char> bare = encode(msg, false);
  const std::vector<unsigned char> synced = encode(msg, true);

  // Appending keeps what the vector held.
  std::vector<unsigned char> appended = {0xA5, 0x5A, 0x01};
  msg.createByteArray(appended, true, true);
  if (appended.size() < 3 || appended[0] != 0xA5 || appended[1] != 0x5A || appended[2] != 0x01)
    fail("createByteArray with append changed the bytes before the end", &msg);

  if (size <= kMaxFrame) {
    const unsigned int rooms[] = {0, 13, 14, 15, 16, size + 1, size + 2, size + 3, size + 4};
    for (unsigned int room : rooms) {
      writeIntoExactRoom(msg, room, false);
      writeIntoExactRoom(msg, room, true);
    }
  }

  std::unique_ptr<MessageBase> copy(msg.clone());
  if (!copy) fail("clone returned null", &msg);
  if (copy->msgId != msg.msgId || copy->timeStamp != msg.timeStamp ||
      copy->headerWord != msg.headerWord)
    fail("clone differs in the header fields", &msg);
  if (copy->toString() != text) fail("clone prints differently", &msg);
  if (copy->getSize() != size) fail("clone has another size", &msg);
  if (encode(*copy, false) != bare) fail("clone encodes differently", &msg);
  volatile bool same = (*copy == msg);
  (void)same;

  volatile uint64_t key = msg.getSourceChannelID();
  (void)key;
  const std::string channel = msg.getSourceChannel();
  copy->cascadeChannel(1);
  (void)copy->toString();

  if (redecode && bare.size() >= 4 && msg.msgId != MSGID_INVALID) {
    // A record's own encoding decodes to a record with the same encoding.
    std::unique_ptr<MessageBase> again(decodeOrNull(MessageBase::readFromByteArray, bare.data(),
                                                    static_cast<unsigned int>(bare.size())));
    // A bus-status notification reads back only the top 16 bits of its time stamp.
    const bool stampKept = dynamic_cast<const BusStatusNotificationMessage*>(&msg) == nullptr;
    if (again && again->msgId != MSGID_INVALID) {
      exercise(*again, false);
      std::vector<unsigned char> reencoded = encode(*again, false);
      if (msg.msgId == MSGID_CAN_TRANSPORT && reencoded.size() == bare.size() &&
          bare.size() >= 14) {
        // It reads its time stamp from the stored high word alone: only those bytes may move.
        std::copy(bare.begin() + 6, bare.begin() + 14, reencoded.begin() + 6);
      }
      if (stampKept && reencoded != bare) fail("re-decoded record encodes differently", &msg);
    }
  }
}

}  // namespace vxfuzz
