#pragma once
#include <cstdint>
#include <ostream>

#include "vxtrace/DiagnosticRecord.h"

// A traced KWP2000 (with the OBD services) diagnostic request ("MSGID_KWP2000_REQUEST"). Body: the
// service byte, then the rest of the diagnostic message. Deliberately not registered: decode it
// with readFromByteArray or register that creator with MessageBase::registerMessage.
class VXTRACE_API KWP2000Request : public MessageBase {
 public:
  enum kwpSid_t : uint32_t {
    KWP_SID_UNKNOWN = 0x00,
    OBD_SID_PT_DIAG_DATA = 0x01,
    OBD_SID_PT_FREEZEFRAME_DATA = 0x02,
    OBD_SID_EMISSION_RELATED_DTCS = 0x03,
    OBD_SID_CLEAR_EMISSION_RELATED_DI = 0x04,
    OBD_SID_OXYGEN_SENSOR_TEST_RES = 0x05,
    OBD_SID_NON_CONTINOUS_TEST_RES = 0x06,
    OBD_SID_EMISSION_RELATED_DTCS_BY_CYCLE = 0x07,
    OBD_SID_CTR_OB_SYSTEM_TEST_OR_COMP = 0x08,
    OBD_SID_VEHICLE_INFO = 0x09,
    KWP_SID_READ_FREEZE_FRAME_DATA = 0x12,
    KWP_SID_READ_DTCS = 0x13,
    KWP_SID_CLEAR_DIAG_INFO = 0x14,
    KWP_SID_READ_STATUS_OF_DTCS = 0x17,
    KWP_SID_READ_DTCS_BY_STATUS = 0x18
  };

  VXTRACE_DIAGNOSTIC_RECORD_MEMBERS(KWP2000Request, kwpSid_t, sid)
};

VXTRACE_API std::ostream& operator<<(std::ostream& os, KWP2000Request::kwpSid_t sid);
VXTRACE_API std::ostream& operator<<(std::ostream& os, const KWP2000Request& msg);
