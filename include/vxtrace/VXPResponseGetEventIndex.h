#pragma once
#include "vxtrace/VXPSimpleMessages.h"

// Answer to "VXPID_GET_EVENT_INDEX": event identifier and its current index.
class VXTRACE_API VXPResponseGetEventIndex
    : public Simple2MessageResponse<VXPID_GET_EVENT_INDEX, uint8_t, uint32_t> {
 public:
  VXPResponseGetEventIndex(msgStatus_t status, uint8_t eventId, uint32_t index);
  VXPResponseGetEventIndex(msgStatus_t status, const uint8_t* data, unsigned int length);
  MessageBase* clone() const override;

 protected:
  void printFields(std::ostream& os) const override;
};
