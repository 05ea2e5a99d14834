#pragma once
#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "vxtrace/MOSTTraceSynchMessageBase.h"

// Synchronous-channel record of sub-type SUBTYPE_ALLOC_MAP; its bytes are kept uninterpreted.
class VXTRACE_API MOSTTraceSynchAllocMapMessage : public MOSTTraceSynchMessageBase {
 public:
  // body: every byte after the flag byte, sub-type at its offset 4 included.
  MOSTTraceSynchAllocMapMessage(unsigned long long timeStamp, uint8_t flags,
                                const std::vector<uint8_t>& body);
  MOSTTraceSynchAllocMapMessage(const unsigned char* data, unsigned int length);
  ~MOSTTraceSynchAllocMapMessage() override;

  static MessageBase* readFromByteArray(const unsigned char* data, unsigned int length);

  MessageBase* clone() const override;
  std::string toString() const override;

 protected:
  const char* className() const override;
};

VXTRACE_API std::ostream& operator<<(std::ostream& os, const MOSTTraceSynchAllocMapMessage& msg);
