#pragma once
#include <cstdint>
#include <ostream>
#include <string>

#include "vxtrace/MessageBase.h"

// A shutdown of the logger, or a request about one ("MSGID_SHUTDOWN").
class VXTRACE_API ShutDownMessage : public MessageBase {
 public:
  enum sd_type : uint32_t { SD_NOW = 0, SD_REQUEST = 1, SD_CANCEL = 2 };
  // Bits of the flags byte.
  static constexpr uint8_t BIT_PARTIAL = 4;
  static constexpr uint8_t BIT_XRL_LINK = 2;
  static constexpr uint8_t BIT_URGENCY = 1;

  sd_type type;  // one byte on the wire
  bool partial;
  bool xrlLink;
  bool urgent;

  // ts: microseconds since the epoch, UTC.
  ShutDownMessage(unsigned long long ts, sd_type type, bool partial, bool xrlLink, bool urgent);
  // data starts at the size field. No reject path. Frames of 15 bytes or more are the current
  // form. Older recordings have two short forms, both with time stamp 0 and urgent set when the
  // eight bytes at offset 6 are not all zero: a 14-byte frame (type from the byte after the
  // frame, which is not read here: it counts as 0) and a shorter one (SD_NOW). Missing bytes
  // read as 0.
  ShutDownMessage(const unsigned char* data, unsigned int length);

  // The caller owns the result.
  static MessageBase* readFromByteArray(const unsigned char* data, unsigned int length);

  MessageBase* clone() const override;
  // Returns 14 (the size, not the bytes written) when written, 0 (nothing written, out
  // unchanged) when room is short.
  unsigned int writeToByteArray(unsigned char*& out, unsigned int room,
                                bool withSync) const override;
  // Always 14.
  unsigned int getSize() const override;
  // Same class, type and flags; time stamps are not compared.
  bool operator==(const MessageBase& other) const override;
  // partial is not printed; an unnamed type prints nothing.
  void print(std::ostream& os) const override;
  std::string toString() const override;
};

VXTRACE_API std::ostream& operator<<(std::ostream& os, const ShutDownMessage& msg);
// The type's name; nothing for an unnamed value.
VXTRACE_API std::ostream& operator<<(std::ostream& os, ShutDownMessage::sd_type type);
