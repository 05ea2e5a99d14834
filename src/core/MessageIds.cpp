#include <ostream>

#include "vxtrace/MessageIds.h"

const char* getMsgIdName(msgid_t id) {
  switch (id) {
    case MSGID_MARKER: return "MSGID_MARKER";
    case MSGID_CAN: return "MSGID_CAN";
    case MSGID_MOST: return "MSGID_MOST";
    case MSGID_SERIAL: return "MSGID_SERIAL";
    case MSGID_ETHERNET_RX: return "MSGID_ETHERNET_RX";
    case MSGID_FLEXRAY: return "MSGID_FLEXRAY";
    case MSGID_LIN: return "MSGID_LIN";
    case MSGID_D4K: return "MSGID_D4K";
    case MSGID_ETHERNET_TX: return "MSGID_ETHERNET_TX";
    case MSGID_APIX_ASHELL: return "MSGID_APIX_ASHELL";
    case MSGID_ECL: return "MSGID_ECL";
    case MSGID_CAN_EXT: return "MSGID_CAN_EXT";
    case MSGID_CONTAINER: return "MSGID_CONTAINER";
    case MSGID_TTY: return "MSGID_TTY";
    case MSGID_MII: return "MSGID_MII";
    case MSGID_MOST150: return "MSGID_MOST150";
    case MSGID_MOST50: return "MSGID_MOST50";
    case MSGID_ANALOG: return "MSGID_ANALOG";
    case MSGID_GPIO: return "MSGID_GPIO";
    case MSGID_MOST25: return "MSGID_MOST25";
    case MSGID_FLEXRAY_EXT: return "MSGID_FLEXRAY_EXT";
    case MSGID_GPS: return "MSGID_GPS";
    case MSGID_CCP_CRO: return "MSGID_CCP_CRO";
    case MSGID_CCP_DTO: return "MSGID_CCP_DTO";
    case MSGID_XCP: return "MSGID_XCP";
    case MSGID_KWP2000_REQUEST: return "MSGID_KWP2000_REQUEST";
    case MSGID_KWP2000_RESPONSE: return "MSGID_KWP2000_RESPONSE";
    case MSGID_UDS_REQUEST: return "MSGID_UDS_REQUEST";
    case MSGID_UDS_RESPONSE: return "MSGID_UDS_RESPONSE";
    case MSGID_ECU_LOG: return "MSGID_ECU_LOG";
    case MSGID_PHY_STATUS: return "MSGID_PHY_STATUS";
    case MSGID_PHY_STATUS_EXT: return "MSGID_PHY_STATUS_EXT";
    case MSGID_SYSTEMMESSAGE: return "MSGID_SYSTEMMESSAGE";
    case MSGID_CONFIGURATIONDATA: return "MSGID_CONFIGURATIONDATA";
    case MSGID_TIMEJUMP: return "MSGID_TIMEJUMP";
    case MSGID_DATALOGGINGSTOPPED: return "MSGID_DATALOGGINGSTOPPED";
    case MSGID_DATALOGGINGSTARTED: return "MSGID_DATALOGGINGSTARTED";
    case MSGID_STARTUP: return "MSGID_STARTUP";
    case MSGID_SHUTDOWN: return "MSGID_SHUTDOWN";
    case MSGID_TEMPERATURE: return "MSGID_TEMPERATURE";
    case MSGID_FILETIME: return "MSGID_FILETIME";
    case MSGID_TRIGGERCLEAR: return "MSGID_TRIGGERCLEAR";
    case MSGID_TIMEZONE: return "MSGID_TIMEZONE";
    case MSGID_MOST_FUNCTION: return "MSGID_MOST_FUNCTION";
    case MSGID_BAP_FUNCTION: return "MSGID_BAP_FUNCTION";
    case MSGID_LOST: return "MSGID_LOST";
    case MSGID_TESTTOOLS: return "MSGID_TESTTOOLS";
    case MSGID_METAINFO: return "MSGID_METAINFO";
    case MSGID_LOST_EXT: return "MSGID_LOST_EXT";
    case MSGID_WRAPPER: return "MSGID_WRAPPER";
    case MSGID_PADDING: return "MSGID_PADDING";
    case MSGID_ENDOFFILE: return "MSGID_ENDOFFILE";
    case MSGID_CUSTOMER: return "MSGID_CUSTOMER";
    case MSGID_SLEEPMODE: return "MSGID_SLEEPMODE";
    case MSGID_GETVERSION: return "MSGID_GETVERSION";
    case MSGID_VERSION: return "MSGID_VERSION";
    case MSGID_GETTIME: return "MSGID_GETTIME";
    case MSGID_TIME: return "MSGID_TIME";
    case MSGID_PING: return "MSGID_PING";
    case MSGID_PUSHBUTTON: return "MSGID_PUSHBUTTON";
    case MSGID_CASCADE: return "MSGID_CASCADE";
    case MSGID_CAN_PROXY: return "MSGID_CAN_PROXY";
    case MSGID_BYTESTREAM: return "MSGID_BYTESTREAM";
    case MSGID_CAN_TRANSPORT: return "MSGID_CAN_TRANSPORT";
    case MSGID_BUSLOAD: return "MSGID_BUSLOAD";
    case MSGID_CANSTARTSTOP: return "MSGID_CANSTARTSTOP";
    case MSGID_ONLINESTREAMINGCONFIG: return "MSGID_ONLINESTREAMINGCONFIG";
    case MSGID_START: return "MSGID_START";
    case MSGID_STOP: return "MSGID_STOP";
    case MSGID_CANLOAD: return "MSGID_CANLOAD";
    case MSGID_BUSLOADEXT: return "MSGID_BUSLOADEXT";
    case MSGID_LOGGER_IDENTIFICATION: return "MSGID_LOGGER_IDENTIFICATION";
    case MSGID_SIGNAL: return "MSGID_SIGNAL";
    case MSGID_SSCCONFIG: return "MSGID_SSCCONFIG";
    case MSGID_KEYBOARD: return "MSGID_KEYBOARD";
    case MSGID_MOSTRECMODE: return "MSGID_MOSTRECMODE";
    case MSGID_SBC: return "MSGID_SBC";
    case MSGID_NAS_IDENTIFICATION: return "MSGID_NAS_IDENTIFICATION";
    case MSGID_NOTIFICATION: return "MSGID_NOTIFICATION";
    case MSGID_CLOUD: return "MSGID_CLOUD";
    case MSGID_MOBILE_SERVICE: return "MSGID_MOBILE_SERVICE";
    case MSGID_LSS: return "MSGID_LSS";
    case MSGID_VXP_CLIENT_REQUEST: return "MSGID_VXP_CLIENT_REQUEST";
    case MSGID_VXP_CLIENT_RESPONSE: return "MSGID_VXP_CLIENT_RESPONSE";
  }
  return nullptr;
}

std::ostream& operator<<(std::ostream& os, msgid_t id) {
  if (const char* name = getMsgIdName(id)) os << name;
  return os;
}
