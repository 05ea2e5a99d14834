#include "vxtrace/BusId.h"

#include <ostream>

namespace {
const char* const kBusNames[BUSID_COUNT] = {
    "Unknown bus", "CAN",           "Serial", "MOST25", "FlexRay",      "LIN",  "Ethernet",
    "Camera",      "MOST150",       "MOST50", "Analog", "CCP_XCP",      "GPIO", "GPS",
    "ECL",         "COMPLEXFILTER", "TTY",    "TSA",    "LoggerIntern", "MII",  "WakeUpLine"};
}

const char* getBusIdName(busid_t id) { return id < BUSID_COUNT ? kBusNames[id] : kBusNames[0]; }

std::ostream& operator<<(std::ostream& os, busid_t id) { return os << getBusIdName(id); }
