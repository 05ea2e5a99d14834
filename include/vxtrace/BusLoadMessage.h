#pragma once
#include <cstdint>
#include <ostream>
#include <string>

#include "vxtrace/MessageBase.h"

// Periodic load of one bus channel ("MSGID_BUSLOAD"). MOST sources (7, 8) carry a status byte
// and message counters instead of channel and load.
class VXTRACE_API BusLoadMessage : public MessageBase {
 public:
  // The record's own numbering, not busid_t's.
  enum source_t : uint8_t {
    SRC_NONE = 0,
    SRC_CAN = 1,
    SRC_SERIAL = 2,
    SRC_LIN = 3,
    SRC_CAMERA = 4,
    SRC_FLEXRAY = 5,
    SRC_ETHERNET = 6,
    SRC_MOST150 = 7,
    SRC_MOST50 = 8,
    SRC_LSCAN = 9,
    SRC_HSCAN = 10
  };
  // load values above a percentage.
  static constexpr uint8_t LOAD_UNKNOWN = 252;
  static constexpr uint8_t LOAD_NC = 253;
  static constexpr uint8_t LOAD_OFF = 254;
  static constexpr uint8_t LOAD_ERROR = 255;

  source_t source;
  uint8_t bus;     // zero-based channel; printed one-based
  uint8_t load;    // percent 0..251, or one of the LOAD_ values
  uint8_t status;  // bit 0 MOST lock; bit 1 master lock (MOST50) or light on (MOST150)
  uint32_t numControlMsg;
  uint32_t bytesControlMsg;
  uint32_t numMDPMsg;
  uint32_t bytesMDPMsg;
  uint32_t numMEPMsg;    // MOST150 only
  uint32_t bytesMEPMsg;  // MOST150 only

  // A non-MOST source.
  BusLoadMessage(unsigned long long ts, source_t source, uint8_t bus, uint8_t load);
  // A MOST source (7 or 8); the MEP counters are carried for source 7 only.
  BusLoadMessage(unsigned long long ts, source_t source, uint8_t status, uint32_t numControlMsg,
                 uint32_t bytesControlMsg, uint32_t numMDPMsg, uint32_t bytesMDPMsg,
                 uint32_t numMEPMsg = 0, uint32_t bytesMEPMsg = 0);
  // data starts at the size field; no reject path, bytes beyond length read as 0.
  BusLoadMessage(const unsigned char* data, unsigned int length);

  // The caller owns the result.
  static MessageBase* readFromByteArray(const unsigned char* data, unsigned int length);

  MessageBase* clone() const override;
  // Throws VXException ("BusLoadMessage::writeToByteArray: buffer size to small. ...") when
  // room is below the size; returns getSize() when written, 0 when room lacks the 2 further
  // bytes of the size field.
  unsigned int writeToByteArray(unsigned char*& out, unsigned int room,
                                bool withSync) const override;
  // getMOSTSize() for sources 7 and 8, else 15.
  unsigned int getSize() const override;
  // Same class, source, bus and load; status, counters and time stamps are not compared.
  bool operator==(const MessageBase& other) const override;
  void print(std::ostream& os) const override;
  std::string toString() const override;

  // 40 for source 7, else 32.
  virtual unsigned int getMOSTSize() const;
};

VXTRACE_API std::ostream& operator<<(std::ostream& os, const BusLoadMessage& msg);
// The source's name, or "<unknown:N>" beyond the table.
VXTRACE_API std::ostream& operator<<(std::ostream& os, BusLoadMessage::source_t source);
