#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "vxtrace/VXPSimpleMessages.h"

// Answer to "VXPID_GET_EVENT_LIST": the event identifier, then (status OK) a 16-bit count, a
// 16-bit text length and the events as one text, separated by blanks, each
// "time;name;number;comment" in decimal.
class VXTRACE_API VXPResponseGetEventList
    : public Simple1MessageResponse<VXPID_GET_EVENT_LIST, uint8_t> {
 public:
  struct VXTRACE_API event_t {
    uint64_t time = 0;  // microseconds since 1970-01-01 UTC
    std::string name;
    uint32_t number = 0;
    std::string comment;

    event_t() = default;
    event_t(uint64_t time, const std::string& name, uint32_t number, const std::string& comment);
    // One "time;name;number;comment" record; missing fields and non-numbers read as 0 / "".
    explicit event_t(const std::string& record);
    // ';' to ',' then ' ' to '_' in the comment, so that it cannot break the record or list.
    void fixupComment();
    std::string toRecord() const;
    bool operator==(const event_t& other) const;
  };

  std::vector<event_t> events;

  VXPResponseGetEventList(msgStatus_t status, uint8_t eventId, const std::vector<event_t>& events);
  VXPResponseGetEventList(msgStatus_t status, const uint8_t* data, unsigned int length);

  MessageBase* clone() const override;
  void fixupComments();
  // Appends count, text length and text from events.
  void pushInfo();
  // Rebuilds the whole payload: event identifier, then pushInfo().
  void pushAll();

 protected:
  void printFields(std::ostream& os) const override;
};
