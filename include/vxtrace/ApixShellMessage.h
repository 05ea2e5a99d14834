#pragma once
#include <cstdint>
#include <ostream>
#include <string>

#include "vxtrace/MessageBase.h"

// An event of the APIX link monitor ("MSGID_APIX_ASHELL"). The eight body bytes are kept as
// they stand: bytes 0..3 the event kind, little-endian (0 link up, 1 link down, 2 status
// report, others invalid); bytes 4..7 the status bits of a report, big-endian.
class VXTRACE_API ApixShellMessage : public MessageBase {
 public:
  enum : uint32_t { KIND_UP = 0, KIND_DOWN = 1, KIND_STATUS = 2 };

  // Names of status bits 0..18.
  static const char* const STATUS_TXT[19];

  uint8_t body[8];

  // timeStamp in microseconds.
  ApixShellMessage(unsigned long long timeStamp, uint32_t kind, uint32_t status);
  // data starts at the size field. Never rejects; body bytes beyond length read as 0.
  ApixShellMessage(const unsigned char* data, unsigned int length);

  // The caller owns the result.
  static MessageBase* readFromByteArray(const unsigned char* data, unsigned int length);

  MessageBase* clone() const override;
  unsigned int writeToByteArray(unsigned char*& out, unsigned int room,
                                bool withSync) const override;
  // Always 20.
  unsigned int getSize() const override;
  // An APIX record with the same eight body bytes; time stamps are not compared.
  bool operator==(const MessageBase& other) const override;
  void print(std::ostream& os) const override;
  std::string toString() const override;

  // Adds 1 to body bytes 1..7 read as one big-endian counter; the carry out of byte 1 is
  // dropped and byte 0 never changes.
  void inc();
  // Names of the set bits 0..18 of a status report joined by "|", else "<none>".
  void dumpStatus(std::ostream& os) const;

  uint32_t getKind() const;
  uint32_t getStatus() const;
};

VXTRACE_API std::ostream& operator<<(std::ostream& os, const ApixShellMessage& msg);
