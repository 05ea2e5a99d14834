#pragma once
#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "vxtrace/MOSTTraceMessageBase.h"

// The synchronous-channel records (type 242). Their layouts are not interpreted: the bytes
// after the flag byte are kept as they are (the sub-type is body byte 4 of them), so a
// record round-trips exactly.
class VXTRACE_API MOSTTraceSynchMessageBase : public MOSTTraceMessageBase {
 public:
  static const uint8_t SUBTYPE_DATA = 0;
  static const uint8_t SUBTYPE_ALLOC = 128;
  static const uint8_t SUBTYPE_CTRL = 144;
  static const uint8_t SUBTYPE_TRIGGER = 160;
  static const uint8_t SUBTYPE_ALLOC_MAP = 161;

  std::vector<uint8_t> body;  // every byte after the flag byte

  MOSTTraceSynchMessageBase(unsigned long long timeStamp, uint8_t flags,
                            const std::vector<uint8_t>& body);
  MOSTTraceSynchMessageBase(const unsigned char* data, unsigned int length);
  ~MOSTTraceSynchMessageBase() override;

  unsigned int writeToByteArray(unsigned char*& out, unsigned int room,
                                bool withSync) const override;
  unsigned int getSize() const override;
  bool operator==(const MessageBase& other) const override;
  // Label, markers, the class name and the kept bytes.
  void print(std::ostream& os) const override;

  // The sub-type byte, or 0 when the body is too short to hold it.
  uint8_t getSubType() const;

 protected:
  virtual const char* className() const = 0;
};
