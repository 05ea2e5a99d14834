// The identifier table's creators, one line per identifier in table order. Rows whose class
// does not exist yet are absent: the decoder treats them as unknown identifiers.
#include "vxtrace/vxtrace.h"

void MessageBase::registerMessages() {
  registerMessage(MSGID_CAN, CANTraceMessage::readFromByteArray);
  registerMessage(MSGID_CAN_EXT, CANExtTraceMessage::readFromByteArray);
  registerMessage(MSGID_CONFIGURATIONDATA,
                  StringMessageBase<MSGID_CONFIGURATIONDATA>::readFromByteArray);
  registerMessage(MSGID_TIMEJUMP, SimpleMessage<MSGID_TIMEJUMP>::readFromByteArray);
  registerMessage(MSGID_DATALOGGINGSTOPPED,
                  SimpleMessage<MSGID_DATALOGGINGSTOPPED>::readFromByteArray);
  registerMessage(MSGID_DATALOGGINGSTARTED,
                  SimpleMessage<MSGID_DATALOGGINGSTARTED>::readFromByteArray);
  registerMessage(MSGID_STARTUP, SimpleMessage<MSGID_STARTUP>::readFromByteArray);
  registerMessage(MSGID_FILETIME, FileTimeMessage::readFromByteArray);
  registerMessage(MSGID_TRIGGERCLEAR, SimpleMessage<MSGID_TRIGGERCLEAR>::readFromByteArray);
  registerMessage(MSGID_TIMEZONE, StringMessageBase<MSGID_TIMEZONE>::readFromByteArray);
  registerMessage(MSGID_WRAPPER, WrapperMessage::readFromByteArray);
  registerMessage(MSGID_PADDING, PaddingBytesMessage::readFromByteArray);
  registerMessage(MSGID_ENDOFFILE, EofMessage::readFromByteArray);
  registerMessage(MSGID_GETVERSION, SimpleMessage<MSGID_GETVERSION>::readFromByteArray);
  registerMessage(MSGID_VERSION, StringMessageBase<MSGID_VERSION>::readFromByteArray);
  registerMessage(MSGID_GETTIME, SimpleMessage<MSGID_GETTIME>::readFromByteArray);
  registerMessage(MSGID_BYTESTREAM, StringMessageBase<MSGID_BYTESTREAM>::readFromByteArray);
  registerMessage(MSGID_START, SimpleMessage<MSGID_START>::readFromByteArray);
  registerMessage(MSGID_STOP, SimpleMessage<MSGID_STOP>::readFromByteArray);
  registerMessage(MSGID_VXP_CLIENT_REQUEST, VXPMessageRequest::readFromByteArray);
  registerMessage(MSGID_VXP_CLIENT_RESPONSE, VXPMessageResponse::readFromByteArray);
}
