#pragma once
// What the traced KWP2000 and UDS requests and responses share: one body (the first byte, a
// service or response code, then the rest of the message) under four identifiers. The four
// classes declare their members through this one list, in this order, and the library builds
// them on one template, so they cannot drift apart.
#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "vxtrace/MessageBase.h"

// FieldType Field: the first body byte as the class names it (one byte on the wire).
//   data: the message bytes after the first byte.
//   Class(ts, value, data): timeStamp in microseconds.
//   Class(data, length): data starts at the size field; bytes from offset 15 on are the data.
//   readFromByteArray: null (no exception) for a length below 15; else a new record the caller
//   owns. writeToByteArray returns getSize() (13 + data bytes) when written, else 0.
//   operator==: same class, first byte, data and time stamp.
#define VXTRACE_DIAGNOSTIC_RECORD_MEMBERS(Class, FieldType, Field)                         \
  FieldType Field;                                                                         \
  std::vector<uint8_t> data;                                                               \
  Class(unsigned long long timeStamp, FieldType value, const std::vector<uint8_t>& bytes); \
  Class(const unsigned char* bytes, unsigned int length);                                  \
  static MessageBase* readFromByteArray(const unsigned char* bytes, unsigned int length);  \
  MessageBase* clone() const override;                                                     \
  unsigned int writeToByteArray(unsigned char*& out, unsigned int room, bool withSync)     \
      const override;                                                                      \
  unsigned int getSize() const override;                                                   \
  bool operator==(const MessageBase& other) const override;                                \
  void print(std::ostream& os) const override;                                             \
  std::string toString() const override;
