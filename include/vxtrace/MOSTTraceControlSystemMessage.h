#pragma once
#include <cstdint>
#include <ostream>
#include <string>

#include "vxtrace/MOSTTraceControlMessageBase.h"

// A MOST system control message; N (1..5) is its type: remote read, remote write, alloc,
// dealloc, remote get source. Prints exactly as its control base. Instantiated for 1..5 only.
template <uint8_t N>
class VXTRACE_API MOSTTraceControlSystemMessage : public MOSTTraceControlMessageBase {
 public:
  // frameBytes: 32 bytes, copied.
  MOSTTraceControlSystemMessage(unsigned long long timeStamp, uint8_t flags,
                                const uint8_t* frameBytes);
  MOSTTraceControlSystemMessage(const unsigned char* data, unsigned int length);
  ~MOSTTraceControlSystemMessage() override;

  // A new record built from the frame (caller owns it); throws BufferMismatchException for a
  // frame shorter than 48 bytes.
  static MessageBase* readFromByteArray(const unsigned char* data, unsigned int length);

  MessageBase* clone() const override;
  bool operator==(const MessageBase& other) const override;
};

extern template class MOSTTraceControlSystemMessage<1>;
extern template class MOSTTraceControlSystemMessage<2>;
extern template class MOSTTraceControlSystemMessage<3>;
extern template class MOSTTraceControlSystemMessage<4>;
extern template class MOSTTraceControlSystemMessage<5>;
