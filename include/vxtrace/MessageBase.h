#pragma once
#include <cstddef>
#include <cstdint>
#include <iomanip>
#include <ostream>
#include <string>
#include <type_traits>
#include <unordered_map>
#include <vector>

#include "vxtrace/Exceptions.h"
#include "vxtrace/Export.h"
#include "vxtrace/MessageIds.h"

// Base of every trace record. A frame on the wire is: optional sync marker 55 AA, then the
// 14-byte big-endian header (size, msgId, headerWord, time stamp high/low), then the body.
// Time stamps are microseconds since 1970-01-01 00:00:00 UTC.
class VXTRACE_API MessageBase {
 public:
  // Builds a new record from a frame that starts at its size field; the caller owns the result.
  typedef MessageBase* (*creator_t)(const unsigned char* data, unsigned int length);

  struct VXTRACE_API MsgidHash {
    std::size_t operator()(msgid_t id) const noexcept { return static_cast<std::size_t>(id); }
  };

  // Fixed underlying type: any value taken from a frame is a valid object of the type (and
  // prints as PortDirUnknown) instead of undefined behaviour.
  enum portDirection_t : int {
    PortDirUnknown = 0,
    PortDirIn = 1,
    PortDirOut = 2,
    PortDirInOut = 3
  };

  std::string label;              // printed in front of the text form when not empty
  std::vector<uint8_t> rawBytes;  // filled by readers on request (TraceMessageBuffer)
  msgid_t msgId;                  // fixed by the record class
  uint16_t headerWord;            // third header word; carried through unchanged
  unsigned long long timeStamp;   // microseconds since the epoch, UTC
  uint32_t sourceWord;            // high half of getSourceChannelID(); never on the wire

  static std::unordered_map<msgid_t, creator_t, MsgidHash> creators;
  // 1: undecodable frames come back as InvalidMessage; any other value: as null.
  static int invalidHandling;
  static bool fpgaMsgHasDebugBytes;

  MessageBase(msgid_t id, unsigned long long timeStamp);

  virtual ~MessageBase();
  // New heap copy; the caller owns it.
  virtual MessageBase* clone() const = 0;
  // Writes marker (when withSync) and header at out and advances it. Returns the bytes written,
  // or 0 (out unchanged) when the frame does not fit in room.
  virtual unsigned int writeToByteArray(unsigned char*& out, unsigned int room,
                                        bool withSync) const;
  // Value of the size field: bytes after it (12 for the header's share plus the body).
  virtual unsigned int getSize() const;
  virtual bool operator==(const MessageBase& other) const = 0;
  virtual void print(std::ostream& os) const = 0;
  virtual std::string toString() const;
  virtual std::string getSourceChannel() const;
  virtual uint64_t getSourceChannelID() const;
  virtual void cascadeChannel(unsigned short offset);

  // Serialises the whole frame into buf (replacing or appending); returns the writer's result.
  unsigned int createByteArray(std::vector<unsigned char>& buf, bool withSync, bool append) const;

  void setSourceWord(uint32_t word) { sourceWord = word; }
  uint32_t getSourceWord() const { return sourceWord; }

  // The decoder: data starts at the size field. Returns a new record owned by the caller, an
  // InvalidMessage or null for an undecodable frame (see invalidHandling). While a
  // vxtrace::Reader decodes on the calling thread, its ReadPolicy stands in for invalidHandling
  // and the registry.
  static MessageBase* readFromByteArray(const unsigned char* data, unsigned int length);
  // First registration wins; a null creator removes the entry.
  static bool registerMessage(msgid_t id, creator_t creator);
  static void registerMessages();

  // UTC date and time with six fraction digits.
  static void printTimestamp(std::ostream& os, unsigned long long ts);
  static std::string printTimestamp(unsigned long long ts);
  // digits: 0 (no point) to 6 fraction digits.
  static void printTimeStamp(std::ostream& os, unsigned long long ts, bool utc,
                             unsigned char digits);
  // Bytes as width-2 numbers separated by one blank, in the stream's base and fill.
  template <typename It>
  static void dumpData(std::ostream& os, It begin, It end);
  [[noreturn]] static void reportInvalidVersion(unsigned char version);

  // Records of every class: each thread reuses the blocks of records it deleted, so decoding
  // does not take a malloc and a free per frame. Deletion through any thread is fine.
  static void* operator new(std::size_t size);
  static void operator delete(void* p, std::size_t size) noexcept;
};

// The common prefix of every record's text: label and ": " when set, then the time stamp.
VXTRACE_API std::ostream& operator<<(std::ostream& os, const MessageBase& msg);
VXTRACE_API std::ostream& operator<<(std::ostream& os, const MessageBase::portDirection_t& dir);

// Eight bytes, big-endian.
VXTRACE_API uint64_t byteArrayToUint64(const unsigned char* bytes);

// A record class's whole text also where the class declares no inserter of its own, instead
// of only the common prefix of the MessageBase inserter; the classes' own inserters win.
template <typename T,
          typename std::enable_if<std::is_base_of<MessageBase, T>::value &&
                                      !std::is_same<T, MessageBase>::value,
                                  int>::type = 0>
std::ostream& operator<<(std::ostream& os, const T& msg) {
  msg.print(os);
  return os;
}

template <typename It>
void MessageBase::dumpData(std::ostream& os, It begin, It end) {
  for (It it = begin; it != end; ++it) {
    if (it != begin) os << ' ';
    os << std::setw(2) << static_cast<unsigned int>(static_cast<uint8_t>(*it));
  }
}

// The library's own instance: the same text without a formatted insertion per byte.
template <>
VXTRACE_API void MessageBase::dumpData<const unsigned char*>(std::ostream& os,
                                                             const unsigned char* begin,
                                                             const unsigned char* end);
