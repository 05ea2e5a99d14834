#pragma once
#include <cstdint>
#include <ostream>

#include "vxtrace/DiagnosticRecord.h"

// A traced UDS diagnostic request ("MSGID_UDS_REQUEST"). Body: the service byte, then the rest of
// the diagnostic message. Deliberately not registered: decode it with readFromByteArray or register
// that creator with MessageBase::registerMessage.
class VXTRACE_API UDSRequest : public MessageBase {
 public:
  enum udsSid_t : uint32_t {
    UDS_SID_UNKNOWN = 0x00,
    UDS_SID_DIAG_SESSION_CTR = 0x10,
    UDS_SID_ECU_RESET = 0x11,
    UDS_SID_CLEAR_DIAG_INFO = 0x14,
    UDS_SID_READ_DTC_INFO = 0x19,
    UDS_SID_READ_DATA_BY_ID = 0x22,
    UDS_SID_SECURITY_ACCESS = 0x27,
    UDS_SID_COMMUNICATION_CTR = 0x28,
    UDS_SID_TESTER_PRESENT = 0x3E,
    UDS_SID_SECURED_DATA_TRANSMISSION = 0x84
  };

  VXTRACE_DIAGNOSTIC_RECORD_MEMBERS(UDSRequest, udsSid_t, sid)
};

VXTRACE_API std::ostream& operator<<(std::ostream& os, UDSRequest::udsSid_t sid);
VXTRACE_API std::ostream& operator<<(std::ostream& os, const UDSRequest& msg);
