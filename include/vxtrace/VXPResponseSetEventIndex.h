#pragma once
#include "vxtrace/VXPSimpleMessages.h"

// Answer to "VXPID_SET_EVENT_INDEX": event identifier and the index now set.
class VXTRACE_API VXPResponseSetEventIndex
    : public Simple2MessageResponse<VXPID_SET_EVENT_INDEX, uint8_t, uint32_t> {
 public:
  VXPResponseSetEventIndex(msgStatus_t status, uint8_t eventId, uint32_t index);
  VXPResponseSetEventIndex(msgStatus_t status, const uint8_t* data, unsigned int length);
  MessageBase* clone() const override;

 protected:
  void printFields(std::ostream& os) const override;
};
