#pragma once
#include <cstdint>
#include <ostream>

#include "vxtrace/DiagnosticRecord.h"

// A traced UDS diagnostic response ("MSGID_UDS_RESPONSE"). Body: the service byte, then the rest of
// the diagnostic message. Deliberately not registered: decode it with readFromByteArray or register
// that creator with MessageBase::registerMessage.
class VXTRACE_API UDSResponse : public MessageBase {
 public:
  // Negative-response codes.
  enum resErr_t : uint32_t {
    UDS_NO_ERR = 0x00,
    UDS_RES_ERR_GENERAL = 0x10,
    UDS_RES_ERR_SERVICE_NOT_SUPPORTED = 0x11,
    UDS_RES_ERR_SUBFCT_NOT_SUPPORTED = 0x12,
    UDS_RES_ERR_BUSY = 0x21,
    UDS_RES_ERR_SECURITY_ACCESS_DENIED = 0x33,
    UDS_RES_ERR_INVALID_KEY = 0x35,
    UDS_RES_ERR_RES_PENDING = 0x78
  };

  // response: 0x7F for a negative response, else the service byte plus 0x40.
  VXTRACE_DIAGNOSTIC_RECORD_MEMBERS(UDSResponse, uint8_t, response)
};

VXTRACE_API std::ostream& operator<<(std::ostream& os, UDSResponse::resErr_t code);
VXTRACE_API std::ostream& operator<<(std::ostream& os, const UDSResponse& msg);
