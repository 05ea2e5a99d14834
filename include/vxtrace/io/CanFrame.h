#pragma once
// A record's CAN frame as the tools of the CAN ecosystem see it: flags instead of the logger's
// frame kind and type codes. One reading for every consumer (filters, exports, Python).
#include <cstddef>
#include <cstdint>

#include "vxtrace/Export.h"
#include "vxtrace/MessageBase.h"

namespace vxtrace {

// No padding before data, so that an array of frames is a table readers can view column by
// column (the Python package's columns are strided views of one).
struct CanFrame {
  uint64_t timeUs = 0;  // microseconds since the epoch (the record's time stamp)
  uint32_t id = 0;      // identifier without flag bits; 0 for error frames
  uint8_t channel = 0;  // zero-based logger CAN channel ("CAN #0" is can0)
  bool extended = false;  // 29-bit identifier
  bool fd = false;
  bool brs = false;     // CAN FD bit-rate switch
  bool esi = false;     // CAN FD error-state indicator
  bool remote = false;  // the logger records no remote frames: always false today
  bool error = false;   // error frame; errorCode says which
  bool tx = false;      // sent by the logger
  uint8_t errorCode = 0;  // canstaterr_t of an error frame
  uint8_t dlc = 0;        // the DLC code of length (0..15)
  uint8_t length = 0;     // data bytes (0 for error frames)
  uint8_t data[64] = {};
};

// Fills frame from a record that carries a frame seen on a CAN bus (CAN, extended CAN and CAN
// FD records, CAN proxy records) and returns null; otherwise returns why it carries none
// ("not a CAN frame record", "transmit request (not a bus frame)", ...) and frame is undefined.
// The returned text is static.
VXTRACE_API const char* toCanFrame(const MessageBase& record, CanFrame& frame);

// The same reading straight from a frame's bytes (from its size field, size bytes, as the
// decoders take them) without building the record: what toCanFrame gives for the record the
// CAN record classes decode from those bytes, or kUndecodableCanFrame where their decoder
// rejects the frame. For readers that take CAN frames by the million.
VXTRACE_API const char* toCanFrame(const uint8_t* frame, std::size_t size, CanFrame& out);
VXTRACE_API extern const char* const kUndecodableCanFrame;

// The DLC code of a data length; lengths no DLC codes give the next larger code.
VXTRACE_API uint8_t canDlcOf(unsigned length);

}  // namespace vxtrace
