#pragma once
#include <cstdint>
#include <ostream>

#include "vxtrace/DiagnosticRecord.h"

// A traced KWP2000 diagnostic response ("MSGID_KWP2000_RESPONSE"). Body: the service byte, then the
// rest of the diagnostic message. Deliberately not registered: decode it with readFromByteArray or
// register that creator with MessageBase::registerMessage.
class VXTRACE_API KWP2000Response : public MessageBase {
 public:
  // Negative-response codes.
  enum resErr_t : uint32_t {
    KWP_NO_ERR = 0x00,
    KWP_RES_ERR_GENERAL = 0x10,
    KWP_RES_ERR_SERVICE_NOT_SUPPORTED = 0x11,
    KWP_RES_ERR_SUBFCT_NOT_SUPPORTED = 0x12,
    KWP_RES_ERR_BUSY = 0x21,
    KWP_RES_ERR_SECURITY_ACCESS_DENIED = 0x33,
    KWP_RES_ERR_INVALID_KEY = 0x35,
    KWP_RES_ERR_RES_PENDING = 0x78
  };

  // response: 0x7F for a negative response, else the service byte plus 0x40.
  VXTRACE_DIAGNOSTIC_RECORD_MEMBERS(KWP2000Response, uint8_t, response)
};

VXTRACE_API std::ostream& operator<<(std::ostream& os, KWP2000Response::resErr_t code);
VXTRACE_API std::ostream& operator<<(std::ostream& os, const KWP2000Response& msg);
