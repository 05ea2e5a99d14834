// The status, allocation-map and asynchronous MOST records.
#include <algorithm>
#include <cstring>
#include <iostream>

#include "most/MOSTCommon.h"
#include "util/ByteOrder.h"
#include "util/Diagnostics.h"
#include "vxtrace/MOSTTraceAllocationMapMessage.h"
#include "vxtrace/MOSTTraceAsynchMessage.h"
#include "vxtrace/MOSTTraceStatusMessage.h"

using namespace vxtrace::detail;

MOSTTraceStatusMessage::MOSTTraceStatusMessage(unsigned long long ts, uint8_t flags_,
                                               const uint8_t* frameBytes)
    : MOSTTraceMessageBase(ts, MOST_TYPE_STATUS, flags_) {
  std::memcpy(frame, frameBytes, sizeof frame);
  status = loadBE32(frame);
  validity = loadBE32(frame + 4);
}

MOSTTraceStatusMessage::MOSTTraceStatusMessage(const unsigned char* data, unsigned int length)
    : MOSTTraceMessageBase(0, MOST_TYPE_STATUS, 0) {
  readFixedRecord(*this, data, length, 48, "MOSTTraceStatusMessage too short", frame, sizeof frame);
  status = loadBE32(frame);
  validity = loadBE32(frame + 4);
}

MOSTTraceStatusMessage::~MOSTTraceStatusMessage() = default;

VXTRACE_RECORD_MEMBERS(MOSTTraceStatusMessage)

unsigned int MOSTTraceStatusMessage::writeToByteArray(unsigned char*& out, unsigned int room,
                                                      bool withSync) const {
  return writeFixedRecord(*this, out, room, withSync, frame, sizeof frame);
}

unsigned int MOSTTraceStatusMessage::getSize() const { return 46; }

bool MOSTTraceStatusMessage::operator==(const MessageBase& other) const {
  auto* o = sameClass(*this, other);
  return o != nullptr && o->timeStamp == timeStamp && o->flags == flags &&
         std::memcmp(o->frame, frame, sizeof frame) == 0;
}

void MOSTTraceStatusMessage::print(std::ostream& os) const {
  RecordLine line(os, *this);
  printLead(os);
  os << ' ';
  const char* sep = "";
  if (validity & 0x1u) {
    os << ((flags & FLAG_LIGHT) ? "Light on" : "Light off");
    sep = " - ";
  }
  if (validity & 0x2u) {
    os << sep << ((flags & FLAG_LOCK) ? "Lock" : "Unlock");
    sep = " - ";
  }
  static const char* const kNames[] = {"SBC: ", "MPR: ", "MDR: ", "NPR: ", "NDR: "};
  for (unsigned int i = 0; i < 5; ++i) {
    const uint8_t v = frame[8 + i];
    if (!(v & 0x80)) continue;
    os << sep << kNames[i] << static_cast<unsigned int>(v & 0x7F);
    sep = " - ";
  }
  if (*sep == '\0') os << "[reserved for future use]";
}

MOSTTraceAllocationMapMessage::MOSTTraceAllocationMapMessage(unsigned long long ts, uint8_t flags_,
                                                             const uint8_t* mapBytes)
    : MOSTTraceMessageBase(ts, MOST_TYPE_ALLOCATION_MAP, flags_) {
  std::memcpy(map, mapBytes, sizeof map);
}

MOSTTraceAllocationMapMessage::MOSTTraceAllocationMapMessage(const unsigned char* data,
                                                             unsigned int length)
    : MOSTTraceMessageBase(0, MOST_TYPE_ALLOCATION_MAP, 0) {
  readFixedRecord(*this, data, length, 80, "MOSTTraceAllocationMapMessage too short", map,
                  sizeof map);
}

MOSTTraceAllocationMapMessage::~MOSTTraceAllocationMapMessage() = default;

VXTRACE_RECORD_MEMBERS(MOSTTraceAllocationMapMessage)

unsigned int MOSTTraceAllocationMapMessage::writeToByteArray(unsigned char*& out, unsigned int room,
                                                             bool withSync) const {
  return writeFixedRecord(*this, out, room, withSync, map, sizeof map);
}

unsigned int MOSTTraceAllocationMapMessage::getSize() const { return 78; }

bool MOSTTraceAllocationMapMessage::operator==(const MessageBase& other) const {
  auto* o = sameClass(*this, other);
  return o != nullptr && o->timeStamp == timeStamp && o->flags == flags &&
         std::memcmp(o->map, map, sizeof map) == 0;
}

void MOSTTraceAllocationMapMessage::print(std::ostream& os) const {
  RecordLine line(os, *this);
  printLead(os);
  os << ' ' << std::hex << std::uppercase << std::setfill('0');
  dumpData(os, map, map + sizeof map);
}

namespace {

// Checks a packet before it is kept; the diagnostics and their double blanks are long-standing.
void checkAsynchPacket(const unsigned char* packet, unsigned int length) {
  if (length < 6) {
    errorLog() << "[ERROR] MOSTTraceAsynchMessage: message too short. len = " << std::dec << length
              << ", AMO_DATA =  " << 6 << std::endl;
    throw BufferMismatchException("MOSTTraceAsynchMessage message too short");
  }
  const unsigned int needed = 4u * packet[3] + 6;
  if (length < needed) {
    errorLog() << "[ERROR] MOSTTraceAsynchMessage: message too short. len = " << std::dec << length
              << ", getSize() =  " << needed << std::endl;
    throw BufferMismatchException("MOSTTraceAsynchMessage message too short");
  }
}

uint16_t asynchDataLength(const std::vector<uint8_t>& packet) {
  const unsigned int quadlets = 4u * packet[3];
  return static_cast<uint16_t>(quadlets > 1 ? quadlets - 2 : 0);
}

}  // namespace

MOSTTraceAsynchMessage::MOSTTraceAsynchMessage(unsigned long long ts, unsigned char flags_,
                                               const unsigned char* packetBytes,
                                               unsigned int length)
    : MOSTTraceMessageBase(ts, MOST_TYPE_ASYNCH, flags_) {
  checkAsynchPacket(packetBytes, length);
  packet.assign(packetBytes, packetBytes + length);
  dataLength = asynchDataLength(packet);
}

MOSTTraceAsynchMessage::MOSTTraceAsynchMessage(const unsigned char* data, unsigned int length)
    : MOSTTraceMessageBase(0, MOST_TYPE_ASYNCH, 0) {
  ByteReader in(data, length);
  readMostHead(in, *this);
  const std::size_t n = in.remaining();
  const unsigned char* p = in.bytes(n);
  checkAsynchPacket(p, static_cast<unsigned int>(n));
  packet.assign(p, p + n);
  dataLength = asynchDataLength(packet);
}

MOSTTraceAsynchMessage::~MOSTTraceAsynchMessage() = default;

VXTRACE_RECORD_MEMBERS(MOSTTraceAsynchMessage)

unsigned int MOSTTraceAsynchMessage::writeToByteArray(unsigned char*& out, unsigned int room,
                                                      bool withSync) const {
  // A packet built through the field constructor always holds S − 14 bytes; the bound only
  // matters for a packet vector shortened by hand, whose missing tail goes out as zeros.
  const std::size_t n = std::min<std::size_t>(packet.size(), getSize() - 14);
  const unsigned int written = writeRecord(
      *this, out, room, withSync,
      [&](ByteWriter& w) {
        writeMostHead(w, *this);
        w.bytes(packet.data(), n);
      },
      static_cast<unsigned int>(getSize() - 14 - n));
  // S itself, marker or not, like the fixed-size MOST classes.
  return written == 0 ? 0 : getSize();
}

unsigned int MOSTTraceAsynchMessage::getSize() const {
  return dataLength >= 2 ? dataLength + 22u : dataLength + 20u;
}

bool MOSTTraceAsynchMessage::operator==(const MessageBase& other) const {
  auto* o = sameClass(*this, other);
  return o != nullptr && o->timeStamp == timeStamp && o->flags == flags &&
         o->dataLength == dataLength && o->packet == packet;
}

void MOSTTraceAsynchMessage::print(std::ostream& os) const {
  RecordLine line(os, *this);
  printLead(os);
  os << std::hex << std::uppercase << std::setfill('0') << " [" << std::setw(4)
     << getSourceAddress() << " -> " << std::setw(4) << getTargetAddress() << "] . " << std::setw(2)
     << dataLength << " (";
  // Bounded by the packet in case it was shortened by hand.
  const std::size_t end = std::min<std::size_t>(packet.size(), 6u + dataLength);
  if (end > 6) dumpData(os, packet.data() + 6, packet.data() + end);
  os << ')';
}

unsigned char MOSTTraceAsynchMessage::getArbitrationByte() const {
  return packet.empty() ? 0 : packet[0];
}

void MOSTTraceAsynchMessage::setArbitrationByte(unsigned char value) {
  if (!packet.empty()) packet[0] = value;
}

unsigned short MOSTTraceAsynchMessage::getTargetAddress() const {
  return packet.size() >= 3 ? loadBE16(packet.data() + 1) : 0;
}

void MOSTTraceAsynchMessage::setTargetAddress(unsigned short address) {
  if (packet.size() >= 3) storeBE16(packet.data() + 1, address);
}

unsigned short MOSTTraceAsynchMessage::getSourceAddress() const {
  return packet.size() >= 6 ? loadBE16(packet.data() + 4) : 0;
}

void MOSTTraceAsynchMessage::setSourceAddress(unsigned short address) {
  if (packet.size() >= 6) storeBE16(packet.data() + 4, address);
}
