#pragma once
#include <cstdint>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "vxtrace/MessageBase.h"

// Carries a block of other records: their complete frames, each with its sync marker, end to
// end, stored plain or compressed (XMatchPro.h). The header time stamp is that of the first
// contained record.
//
// Body: pId (2), numOfMsg (1), compression (1), lastMsgTime (8), blockSize (2), channel count N
// (1), N channel bytes, then the block. A reader skips the 3 - N % 4 bytes after the channels
// when all of them are 0xFF (fill that aligns the block to four bytes from the frame start). The
// writer writes fill only before a block whose first bytes would otherwise be taken for fill, so
// that every frame it writes reads back whole.
class VXTRACE_API ContainerMessage : public MessageBase {
 public:
  msgid_t pId;                     // identifier of the first contained record; 0xFFFF if none
  uint8_t numOfMsg;                // number of contained records, cut to 8 bits (300 gives 44)
  bool compression;                // data holds the compressed block
  unsigned long long lastMsgTime;  // microseconds since the epoch, UTC; 0 if none
  uint16_t blockSize;              // uncompressed block length in bytes; 4096 until compress()
  std::vector<uint8_t> channels;   // channel numbers; only parsing fills it (255 at most written)
  std::vector<uint8_t> data;       // the block as stored
  // Records decoded by decompress() or given to the constructors; owned.
  mutable std::vector<std::unique_ptr<MessageBase>> messages;

  // ts: microseconds since the epoch, UTC. Copies length bytes of the block.
  ContainerMessage(unsigned long long timeStamp, msgid_t pId, bool compression,
                   unsigned long long lastMsgTime, unsigned short blockSize, unsigned char numOfMsg,
                   const unsigned char* data, unsigned int length);
  // These take the records (the vector one moves them, the others clone) and build the block.
  ContainerMessage(bool compression, std::vector<std::unique_ptr<MessageBase>>&& messages);
  ContainerMessage(bool compression, const std::vector<std::unique_ptr<MessageBase>>& messages);
  ContainerMessage(bool compression, const MessageBase& message);
  // data starts at the size field. Missing bytes read as 0 (no reject path).
  ContainerMessage(const unsigned char* data, unsigned int length);
  // Clones the contained records.
  ContainerMessage(const ContainerMessage& other);
  ContainerMessage& operator=(const ContainerMessage&) = delete;

  // The caller owns the result. The contained records are not decoded here: see decompress().
  static MessageBase* readFromByteArray(const unsigned char* data, unsigned int length);

  MessageBase* clone() const override;
  // Returns getSize(), not the bytes written (2 or 4 more), a settled quirk; 0 (out unchanged)
  // when room lacks the whole frame or the frame is too large for its 16-bit size field.
  unsigned int writeToByteArray(unsigned char*& out, unsigned int room,
                                bool withSync) const override;
  // 27 + channel count + block length, plus the fill written before a block that starts with
  // 0xFF bytes where fill would stand.
  unsigned int getSize() const override;
  // Same class and the same body fields; the time stamp and the decoded records are not compared.
  bool operator==(const MessageBase& other) const override;
  void print(std::ostream& os) const override;
  std::string toString() const override;
  std::string getSourceChannel() const override;

  // Builds data and blockSize from messages. Codec errors go to std::cerr; returns true always.
  bool compress();
  // Decodes up to expected records from the block (decompressed first when compression is set)
  // and appends them to messages. Errors go to std::cerr and give false; records decoded before
  // stay. Finding fewer than expected records is reported but still true. The walk stops once
  // 16 bytes or fewer remain, so a bare 16-byte frame (header only) at the very end of a block
  // is not decoded. A missing marker is reported with the two bytes found, in block order, as
  // four hexadecimal digits.
  bool decompress(unsigned char expected, const unsigned char* block, unsigned int length) const;
  // The frame's size with its block stored plain: length itself for a plain container, else
  // 29 + channel count + blockSize. Bytes beyond length read as 0.
  static unsigned int getUncompressedSize(const unsigned char* frame, unsigned int length);
};

VXTRACE_API std::ostream& operator<<(std::ostream& os, const ContainerMessage& msg);
