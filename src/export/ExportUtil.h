#pragma once
// Helpers the format writers share: little-endian appenders for the binary formats, and the
// text pieces of the record-per-line formats.
#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

#include "vxtrace/MessageBase.h"
#include "vxtrace/io/CanFrame.h"

namespace vxtrace::detail {

inline void putLE16(std::vector<uint8_t>& v, uint16_t x) {
  v.push_back(static_cast<uint8_t>(x));
  v.push_back(static_cast<uint8_t>(x >> 8));
}
inline void putLE32(std::vector<uint8_t>& v, uint32_t x) {
  putLE16(v, static_cast<uint16_t>(x));
  putLE16(v, static_cast<uint16_t>(x >> 16));
}
inline void putLE64(std::vector<uint8_t>& v, uint64_t x) {
  putLE32(v, static_cast<uint32_t>(x));
  putLE32(v, static_cast<uint32_t>(x >> 32));
}
inline void putZeros(std::vector<uint8_t>& v, std::size_t n) { v.insert(v.end(), n, 0); }

// toCanFrame(), with kKindNotCarried for records that hold no CAN frame at all.
const char* canFrameOf(const MessageBase& record, CanFrame& frame);

// Broken-down calendar time of a time stamp in microseconds, UTC or the local time zone.
std::tm calendarTime(unsigned long long timeUs, bool local);

// "2024-03-14T09:26:53.000120Z".
std::string isoTime(unsigned long long timeUs);

// The record's identifier name ("MSGID_CAN"), or "0x" and four hexadecimal digits.
std::string kindName(const MessageBase& record);

// The columns of the record-per-line formats (JSON Lines, CSV) and how each is typed.
enum class ColumnType { Text, Number, Flag };
struct Column {
  const char* name;
  ColumnType type;
};
constexpr std::size_t kColumns = 15;
extern const Column kRecordColumns[kColumns];

// The record's values in column order, numbers in decimal and flags as "true"/"false"; the CAN
// columns are empty (absent) unless the record carries a CAN frame.
void recordRow(const MessageBase& record, std::string (&row)[kColumns]);

// Appends text as valid UTF-8: well-formed UTF-8 sequences as they are, every other byte as the
// Latin-1 character of that value. With json, also escaped for a JSON string (quotes not added).
void appendUtf8(std::string& out, const std::string& text, bool json);

}  // namespace vxtrace::detail
