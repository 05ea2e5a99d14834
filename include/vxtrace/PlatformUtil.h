#pragma once
// Small utilities every record prints or packs through.
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <iosfwd>
#include <mutex>
#include <string>
#include <vector>

#include "vxtrace/Exceptions.h"
#include "vxtrace/Export.h"

// Writes "<unknown:" value ">" for an enumeration value without a name.
VXTRACE_API void printUnknownEnum(std::ostream& os, int value);
// Bytes 0x20..0x7E as they are, every other byte as \xhh.
VXTRACE_API void printPrintable(std::ostream& os, const std::string& text);
// \n \r \t \\ as C escapes, other bytes outside 0x20..0x7E as \xhh.
VXTRACE_API void printEscaped(std::ostream& os, const std::string& text);

// Appends a one-byte (length mod 256) or two-byte big-endian (length mod 65536) length prefix,
// then every byte of the text.
VXTRACE_API void push1(std::vector<unsigned char>& vec, const std::string& text);
VXTRACE_API void push1(std::vector<unsigned char>& vec, const std::vector<unsigned char>& bytes);
VXTRACE_API void push2(std::vector<unsigned char>& vec, const std::string& text);
VXTRACE_API void push2(std::vector<unsigned char>& vec, const std::vector<unsigned char>& bytes);

// Keeps empty pieces, the last one too: split("a;b;", ';') is {"a", "b", ""}.
VXTRACE_API std::vector<std::string> split(const std::string& text, char separator);

// 16 bytes a line: prefix, four-digit offset, ": ", the bytes in hex separated by blanks, newline.
VXTRACE_API void hexdump(std::ostream& os, const void* data, std::size_t length,
                         const std::string& prefix);

// Broken-down time as "YYYY-MM-DD HH:MM:SS".
VXTRACE_API std::ostream& operator<<(std::ostream& os, const struct tm& t);

// A time stamp in microseconds since the epoch as UTC date, time and six fraction digits.
VXTRACE_API std::string printTime(unsigned long long us);

class VXTRACE_API LogUtil {
 public:
  // Serialises multi-line diagnostics of the whole process.
  static std::mutex logMutex;
};

struct VXTRACE_API macaddr_t {
  uint8_t addr[6] = {0, 0, 0, 0, 0, 0};

  void set(const uint8_t* bytes);
  // Accepts "aa:bb:cc:dd:ee:ff" (either case); returns false and leaves the value alone otherwise.
  bool set(const std::string& text);
  // Lower-case, colon-separated.
  void print(std::ostream& os) const;
  bool operator==(const macaddr_t& other) const;
};

VXTRACE_API std::ostream& operator<<(std::ostream& os, const macaddr_t& mac);
