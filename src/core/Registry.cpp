// The identifier table's creators, one line per identifier in table order. Rows whose class
// does not exist yet are absent: the decoder treats them as unknown identifiers.
#include "vxtrace/vxtrace.h"

void MessageBase::registerMessages() {
  registerMessage(MSGID_MARKER, MarkerMessage::readFromByteArray);
  registerMessage(MSGID_CAN, CANTraceMessage::readFromByteArray);
  registerMessage(MSGID_MOST, MOSTTraceMessageBase::readFromByteArray);
  registerMessage(MSGID_ETHERNET_RX, EthernetTraceMessage_RX::readFromByteArray);
  registerMessage(MSGID_FLEXRAY, FlexRayTraceMessage::readFromByteArray);
  registerMessage(MSGID_LIN, LINTraceMessage::readFromByteArray);
  registerMessage(MSGID_ETHERNET_TX, EthernetTraceMessage_TX::readFromByteArray);
  registerMessage(MSGID_APIX_ASHELL, ApixShellMessage::readFromByteArray);
  registerMessage(MSGID_ECL, ECLMessage::readFromByteArray);
  registerMessage(MSGID_CAN_EXT, CANExtTraceMessage::readFromByteArray);
  registerMessage(MSGID_CONTAINER, ContainerMessage::readFromByteArray);
  registerMessage(MSGID_TTY, TTYTraceMessage::readFromByteArray);
  registerMessage(MSGID_CCP_CRO, CCP_CRO_Message::readFromByteArray);
  registerMessage(MSGID_CCP_DTO, CCP_DTO_Message::readFromByteArray);
  registerMessage(MSGID_XCP, XCP_Message::readFromByteArray);
  // KWP2000 and UDS (26 to 29) stay unregistered on purpose: applications register them.
  registerMessage(MSGID_ECU_LOG, EcuLogMessage::readFromByteArray);
  registerMessage(MSGID_PHY_STATUS, PhyStatusMessage::readFromByteArray);
  registerMessage(MSGID_PHY_STATUS_EXT, PhyStatusExtMessage::readFromByteArray);
  registerMessage(MSGID_SYSTEMMESSAGE, SystemMessage::readFromByteArray);
  registerMessage(MSGID_CONFIGURATIONDATA,
                  StringMessageBase<MSGID_CONFIGURATIONDATA>::readFromByteArray);
  registerMessage(MSGID_TIMEJUMP, SimpleMessage<MSGID_TIMEJUMP>::readFromByteArray);
  registerMessage(MSGID_DATALOGGINGSTOPPED,
                  SimpleMessage<MSGID_DATALOGGINGSTOPPED>::readFromByteArray);
  registerMessage(MSGID_DATALOGGINGSTARTED,
                  SimpleMessage<MSGID_DATALOGGINGSTARTED>::readFromByteArray);
  registerMessage(MSGID_STARTUP, SimpleMessage<MSGID_STARTUP>::readFromByteArray);
  registerMessage(MSGID_SHUTDOWN, ShutDownMessage::readFromByteArray);
  registerMessage(MSGID_TEMPERATURE, TemperatureMessage::readFromByteArray);
  registerMessage(MSGID_FILETIME, FileTimeMessage::readFromByteArray);
  registerMessage(MSGID_TRIGGERCLEAR, SimpleMessage<MSGID_TRIGGERCLEAR>::readFromByteArray);
  registerMessage(MSGID_TIMEZONE, StringMessageBase<MSGID_TIMEZONE>::readFromByteArray);
  registerMessage(MSGID_LOST, LostMessage::readFromByteArray);
  registerMessage(MSGID_METAINFO, TraceFileMetaInfoMessage::readFromByteArray);
  registerMessage(MSGID_LOST_EXT, LostExtMessage::readFromByteArray);
  registerMessage(MSGID_WRAPPER, WrapperMessage::readFromByteArray);
  registerMessage(MSGID_PADDING, PaddingBytesMessage::readFromByteArray);
  registerMessage(MSGID_ENDOFFILE, EofMessage::readFromByteArray);
  registerMessage(MSGID_GETVERSION, SimpleMessage<MSGID_GETVERSION>::readFromByteArray);
  registerMessage(MSGID_VERSION, StringMessageBase<MSGID_VERSION>::readFromByteArray);
  registerMessage(MSGID_GETTIME, SimpleMessage<MSGID_GETTIME>::readFromByteArray);
  registerMessage(MSGID_TIME, TimeMessage::readFromByteArray);
  registerMessage(MSGID_PING, PingMessage::readFromByteArray);
  registerMessage(MSGID_PUSHBUTTON, PushButtonMessage::readFromByteArray);
  registerMessage(MSGID_CASCADE, CascadeMessage::readFromByteArray);
  registerMessage(MSGID_CAN_PROXY, CANProxyTraceMessage::readFromByteArray);
  registerMessage(MSGID_BYTESTREAM, StringMessageBase<MSGID_BYTESTREAM>::readFromByteArray);
  registerMessage(MSGID_CAN_TRANSPORT, CANTransportTraceMessage::readFromByteArray);
  registerMessage(MSGID_BUSLOAD, BusLoadMessage::readFromByteArray);
  registerMessage(MSGID_CANSTARTSTOP, CANStartStopMessage::readFromByteArray);
  registerMessage(MSGID_START, SimpleMessage<MSGID_START>::readFromByteArray);
  registerMessage(MSGID_STOP, SimpleMessage<MSGID_STOP>::readFromByteArray);
  registerMessage(MSGID_CANLOAD, CANLoadMessage::readFromByteArray);
  registerMessage(MSGID_BUSLOADEXT, BusLoadExtMessage::readFromByteArray);
  registerMessage(MSGID_SIGNAL, SignalMessage::readFromByteArray);
  registerMessage(MSGID_KEYBOARD, KeyboardMessage::readFromByteArray);
  registerMessage(MSGID_NOTIFICATION, NotificationMessage::readFromByteArray);
  registerMessage(MSGID_MOBILE_SERVICE, MobileServiceMessage::readFromByteArray);
  registerMessage(MSGID_VXP_CLIENT_REQUEST, VXPMessageRequest::readFromByteArray);
  registerMessage(MSGID_VXP_CLIENT_RESPONSE, VXPMessageResponse::readFromByteArray);
}
