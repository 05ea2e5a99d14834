#pragma once
#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "vxtrace/MessageBase.h"

// Remote-control request identifier: one byte on the wire. Exported for the same reason as
// msgid_t: the template instances take it as an argument.
enum VXTRACE_API vxpMsgID_t : uint32_t {
  VXPID_SETTIME = 4,
  VXPID_FWUPDATE = 6,
  VXPID_SETEVENT = 10,
  VXPID_SET_DEVICE_LED = 41,
  VXPID_GET_EVENT_LIST = 50,
  VXPID_GET_EVENT_INDEX = 96,
  VXPID_SET_EVENT_INDEX = 97,
  VXPID_COMPILE_TSA_PACKAGE = 99,
  VXPID_SET_ORIENTATION = 132,
  VXPID_SET_CALIBRATION_MODE = 140,
  VXPID_LAST = 166,  // highest identifier of the table
  VXPID_STATUS = 255
};

enum VXTRACE_API msgStatus_t : uint8_t {
  VXPSTATUS_OK = 0,
  VXPSTATUS_PROGRESS = 1,
  VXPSTATUS_ERROR = 2,
  VXPSTATUS_NOTAVAILABLE = 3
};

enum VXTRACE_API errorCode_t : uint8_t {
  ERR_NO = 0,
  ERR_ID_NOT_AVAILABLE,
  ERR_INVALID_LENGTH,
  ERR_PARAMETER_INVALID,
  ERR_PARAMETER_NOT_AVAILABLE,
  ERR_DEVICE_MALFUNCTION,
  ERR_FUNCTION_SPECIFIC,
  ERR_BUSY,
  ERR_PROCESSING,
  ERR_ABORTED,
  ERR_INVALID,
  ERR_RETRY,
  ERR_FILE_NOT_FOUND
};

enum VXTRACE_API calibmode_t : uint8_t { CALIB_DISABLE = 0, CALIB_ENABLE = 1, CALIB_SAVE = 2 };

// Printed names; null where the value has none. getVxpMsgIdName also gives the reserved
// "VXPID_0x.." form of the identifiers without function.
VXTRACE_API const char* getVxpMsgIdName(vxpMsgID_t id);
VXTRACE_API const char* getMsgStatusName(msgStatus_t status);
VXTRACE_API const char* getErrorCodeName(errorCode_t code);
// "unknown" for values without a name.
VXTRACE_API const char* getCalibModeName(calibmode_t mode);

// Values without a name go through printUnknownEnum.
VXTRACE_API std::ostream& operator<<(std::ostream& os, vxpMsgID_t id);
VXTRACE_API std::ostream& operator<<(std::ostream& os, msgStatus_t status);
VXTRACE_API std::ostream& operator<<(std::ostream& os, errorCode_t code);
VXTRACE_API std::ostream& operator<<(std::ostream& os, calibmode_t mode);

// Calibration record, 13 bytes on the wire: mode, then three big-endian 32-bit values.
struct VXTRACE_API calib_t {
  calibmode_t mode = CALIB_DISABLE;
  uint32_t values[3] = {0, 0, 0};

  calib_t() = default;
  // Reads 13 bytes at cursor and advances it by 13; the caller makes sure they are there.
  explicit calib_t(const uint8_t*& cursor);
  void push(std::vector<uint8_t>& out) const;
  bool operator==(const calib_t& other) const;
};

// Common part of remote-control requests and responses. Decoders of this family never throw:
// a payload too short for a subclass's fields clears the valid flag instead.
class VXTRACE_API VXPMessageBase : public MessageBase {
 public:
  vxpMsgID_t vxpId;              // request identifier (255 in a response's own field)
  std::vector<uint8_t> payload;  // raw body after the fixed bytes; the only source of the wire
  std::string tag;               // not on the wire; "NotSet" after construction
  bool valid;

  VXPMessageBase(msgid_t msgId, vxpMsgID_t id);

  bool isValid() const { return valid; }
  // Length-prefixed text at pos (width 1 or 2, big-endian); "" on any failure, reported on
  // std::cerr when the text runs past the payload. Never throws.
  std::string getString(unsigned pos, unsigned width) const;

 protected:
  bool sameBase(const VXPMessageBase& other) const;
  // Field helpers of the template families; width in bytes, big-endian.
  // True and value set when width bytes lie at offset; false and value untouched otherwise.
  bool readField(std::size_t offset, unsigned width, uint64_t& value) const;
  void appendField(uint64_t value, unsigned width);
  // Text with a width-byte length prefix at offset: true, text set and next just after it,
  // when prefix and text lie inside the payload.
  bool readText(std::size_t offset, unsigned width, std::string& text, std::size_t& next) const;
  void appendText(const std::string& text, unsigned width);

  // The field list that the request and response templates share: a value appended in its own
  // width, or taken back from offset; a payload too short for it clears the valid flag.
  template <typename T>
  void appendValue(T v) {
    appendField(static_cast<uint64_t>(v), sizeof(T));
  }
  template <typename T>
  void takeValue(std::size_t offset, T& v) {
    uint64_t x = 0;
    if (readField(offset, sizeof(T), x)) {
      v = static_cast<T>(x);
    } else {
      valid = false;
    }
  }
  // The whole payload as a sequence of T; a trailing part of an element clears the valid flag.
  template <typename T>
  void takeValues(std::vector<T>& values) {
    uint64_t x = 0;
    for (std::size_t pos = 0; readField(pos, sizeof(T), x); pos += sizeof(T)) {
      values.push_back(static_cast<T>(x));
    }
    if (payload.size() % sizeof(T) != 0) valid = false;
  }
  void takeText(std::size_t offset, unsigned width, std::string& text, std::size_t& next) {
    if (!readText(offset, width, text, next)) valid = false;
  }
};
