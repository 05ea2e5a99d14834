// Event list, event index.
#include <iostream>
#include <mutex>
#include <sstream>

#include "util/Diagnostics.h"
#include "util/Record.h"
#include "vxtrace/PlatformUtil.h"
#include "vxtrace/VXPResponseGetEventIndex.h"
#include "vxtrace/VXPResponseGetEventList.h"
#include "vxtrace/VXPResponseSetEventIndex.h"

using namespace vxtrace::detail;

namespace {
// A field that is missing or not a number reads as 0.
template <typename T>
T numberAt(const std::vector<std::string>& fields, std::size_t i) {
  T v = 0;
  if (i < fields.size()) {
    std::istringstream in(fields[i]);
    if (!(in >> v)) v = 0;
  }
  return v;
}
}  // namespace

// ---- event_t -------------------------------------------------------------------------------

VXPResponseGetEventList::event_t::event_t(uint64_t t, const std::string& n, uint32_t num,
                                          const std::string& c)
    : time(t), name(n), number(num), comment(c) {}

VXPResponseGetEventList::event_t::event_t(const std::string& record) {
  const std::vector<std::string> f = split(record, ';');
  time = numberAt<uint64_t>(f, 0);
  if (f.size() > 1) name = f[1];
  number = numberAt<uint32_t>(f, 2);
  if (f.size() > 3) comment = f[3];
}

void VXPResponseGetEventList::event_t::fixupComment() {
  for (char& c : comment) {
    if (c == ';') c = ',';
  }
  for (char& c : comment) {
    if (c == ' ') c = '_';
  }
}

std::string VXPResponseGetEventList::event_t::toRecord() const {
  std::ostringstream os;
  os << time << ';' << name << ';' << number << ';' << comment;
  return os.str();
}

bool VXPResponseGetEventList::event_t::operator==(const event_t& o) const {
  return time == o.time && name == o.name && number == o.number && comment == o.comment;
}

// ---- VXPResponseGetEventList ---------------------------------------------------------------

VXPResponseGetEventList::VXPResponseGetEventList(msgStatus_t s, uint8_t eventId,
                                                 const std::vector<event_t>& list)
    : Simple1MessageResponse(s, eventId), events(list) {
  pushAll();
}

VXPResponseGetEventList::VXPResponseGetEventList(msgStatus_t s, const uint8_t* data,
                                                 unsigned int length)
    : Simple1MessageResponse(s, data, length) {
  if (status != VXPSTATUS_OK || !valid) return;
  uint64_t count = 0;
  uint64_t textLength = 0;
  if (!readField(1, 2, count)) {
    valid = false;
    return;
  }
  std::string text;
  std::size_t next = 0;
  // A text length running past the payload: the list is unusable.
  if (!readField(3, 2, textLength) || !readText(3, 2, text, next)) {
    valid = false;
    return;
  }
  std::size_t start = 0;
  while (start < text.size()) {
    std::size_t end = text.find(' ', start);
    if (end == std::string::npos) end = text.size();
    if (end > start) events.emplace_back(text.substr(start, end - start));
    start = end + 1;
  }
  if (events.size() != count) {
    std::lock_guard<std::mutex> lock(LogUtil::logMutex);
    errorLog() << "MessageResponseGetEventList: num of events doesnot match: " << events.size()
              << " != " << count << std::endl;
  }
}

VXTRACE_RECORD_CLONE(VXPResponseGetEventList)

void VXPResponseGetEventList::fixupComments() {
  for (event_t& e : events) e.fixupComment();
}

void VXPResponseGetEventList::pushInfo() {
  std::string text;
  for (const event_t& e : events) {
    if (!text.empty()) text += ' ';
    text += e.toRecord();
  }
  appendField(events.size(), 2);
  appendText(text, 2);
}

void VXPResponseGetEventList::pushAll() {
  payload.clear();
  payload.push_back(value);
  pushInfo();
}

void VXPResponseGetEventList::printFields(std::ostream& os) const {
  os << '[' << static_cast<unsigned>(value) << "] ";
  for (const event_t& e : events) {
    const time_t seconds = static_cast<time_t>(e.time / 1000000ULL);
    struct tm broken {};
    gmtime_r(&seconds, &broken);
    os << '[' << broken << ';' << e.name << ';' << e.number << ';' << e.comment << "] ";
  }
}

// ---- event index ---------------------------------------------------------------------------

namespace {
void printIndex(std::ostream& os, uint8_t eventId, uint32_t index) {
  os << "[eventId=" << static_cast<unsigned>(eventId) << "] [index=" << index << "] ";
}
}  // namespace

VXPResponseGetEventIndex::VXPResponseGetEventIndex(msgStatus_t s, uint8_t eventId, uint32_t index)
    : Simple2MessageResponse(s, eventId, index) {}
VXPResponseGetEventIndex::VXPResponseGetEventIndex(msgStatus_t s, const uint8_t* data,
                                                   unsigned int length)
    : Simple2MessageResponse(s, data, length) {}
VXTRACE_RECORD_CLONE(VXPResponseGetEventIndex)
void VXPResponseGetEventIndex::printFields(std::ostream& os) const {
  printIndex(os, value, value2);
}

VXPResponseSetEventIndex::VXPResponseSetEventIndex(msgStatus_t s, uint8_t eventId, uint32_t index)
    : Simple2MessageResponse(s, eventId, index) {}
VXPResponseSetEventIndex::VXPResponseSetEventIndex(msgStatus_t s, const uint8_t* data,
                                                   unsigned int length)
    : Simple2MessageResponse(s, data, length) {}
VXTRACE_RECORD_CLONE(VXPResponseSetEventIndex)
void VXPResponseSetEventIndex::printFields(std::ostream& os) const {
  printIndex(os, value, value2);
}
