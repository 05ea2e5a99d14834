#pragma once
#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "vxtrace/CANStartStopMessage.h"
#include "vxtrace/CANTraceMessageBase.h"

// Extended CAN record ("MSGID_CAN_EXT"): 29-bit identifiers and CAN FD frames of up to 64 bytes.
// Body: channel, frame, state, length, then the identifier word (bit 31 extended, bit 30 FD,
// bit 29 zero) and the data; both are absent for an ERROR frame that is not an ACK error.
class VXTRACE_API CANExtTraceMessage : public CANTraceMessageBase {
 public:
  explicit CANExtTraceMessage(unsigned long long timeStamp = 0);
  // timeStamp in microseconds; at most 64 data bytes are kept.
  CANExtTraceMessage(unsigned long long timeStamp, uint8_t channel, canframe_t frame, uint8_t state,
                     cantype_t type, uint32_t id, const std::vector<uint8_t>& data);
  CANExtTraceMessage(unsigned long long timeStamp, uint8_t channel, canframe_t frame, uint8_t state,
                     cantype_t type, uint32_t id, const uint8_t* data, unsigned int dataLength);
  // data starts at the size field. Throws InvalidMessageException (invalidEnumValue) for a frame
  // byte above 3 ("canframe_t"), reserved state bits ("canstaterr_t", value = the frame byte) or
  // bit 29 of the identifier word ("CAN-ID bit 29 set"); bytes beyond length read as 0.
  CANExtTraceMessage(const unsigned char* data, unsigned int length);

  // The caller owns the result.
  static MessageBase* readFromByteArray(const unsigned char* data, unsigned int length);
  // Type from the two top bits of a stored identifier word: 00 STANDARD, 01 FD_STD,
  // 10 EXTENDED, 11 FD_EXT.
  static cantype_t getCANTypeFromFrame(unsigned int word);

  MessageBase* clone() const override;
  // Returns getSize() (not the bytes written) when the frame fits, else 0.
  unsigned int writeToByteArray(unsigned char*& out, unsigned int room,
                                bool withSync) const override;
  // 20 + length; 18 for an ERROR frame that is not an ACK error, although only the four fixed
  // body bytes follow the header then (stored data has it so; readers step by the size field).
  unsigned int getSize() const override;
  using CANTraceMessageBase::operator==;
  // Against a serialised record: identifier, time stamp, channel, frame, state, length, then id
  // against the whole stored identifier word (flag bits included, so a stored frame with type
  // bits set never matches) and the data. False when bytes holds fewer bytes than that.
  bool operator==(const std::vector<unsigned char>& bytes) const;
  // Start/stop trigger test, as for the classic record.
  bool operator==(const canInfo_t& filter) const;
  void print(std::ostream& os) const override;
  std::string toString() const override;
  // Adds the low 8 bits of offset to the channel, modulo 256.
  void cascadeChannel(unsigned short offset) override;

  // Whether the identifier word and data are on the wire: all frames but non-ACK errors.
  bool carriesIdentifier() const;
};

VXTRACE_API std::ostream& operator<<(std::ostream& os, const CANExtTraceMessage& msg);
