// The identifier table's creators, one line per identifier in table order. Rows whose class
// does not exist yet are absent: the decoder treats them as unknown identifiers.
#include <unordered_map>

#include "core/DecodePolicy.h"
#include "vxtrace/vxtrace.h"

namespace {

struct Entry {
  msgid_t id;
  MessageBase::creator_t create;
};

const Entry kStandard[] = {
    {MSGID_MARKER, MarkerMessage::readFromByteArray},
    {MSGID_CAN, CANTraceMessage::readFromByteArray},
    {MSGID_MOST, MOSTTraceMessageBase::readFromByteArray},
    {MSGID_ETHERNET_RX, EthernetTraceMessage_RX::readFromByteArray},
    {MSGID_FLEXRAY, FlexRayTraceMessage::readFromByteArray},
    {MSGID_LIN, LINTraceMessage::readFromByteArray},
    {MSGID_ETHERNET_TX, EthernetTraceMessage_TX::readFromByteArray},
    {MSGID_APIX_ASHELL, ApixShellMessage::readFromByteArray},
    {MSGID_ECL, ECLMessage::readFromByteArray},
    {MSGID_CAN_EXT, CANExtTraceMessage::readFromByteArray},
    {MSGID_CONTAINER, ContainerMessage::readFromByteArray},
    {MSGID_TTY, TTYTraceMessage::readFromByteArray},
    {MSGID_CCP_CRO, CCP_CRO_Message::readFromByteArray},
    {MSGID_CCP_DTO, CCP_DTO_Message::readFromByteArray},
    {MSGID_XCP, XCP_Message::readFromByteArray},
    // KWP2000 and UDS (26 to 29) stay unregistered on purpose: applications register them
    // or ask a reader for them (kDiagnostic).
    {MSGID_ECU_LOG, EcuLogMessage::readFromByteArray},
    {MSGID_PHY_STATUS, PhyStatusMessage::readFromByteArray},
    {MSGID_PHY_STATUS_EXT, PhyStatusExtMessage::readFromByteArray},
    {MSGID_SYSTEMMESSAGE, SystemMessage::readFromByteArray},
    {MSGID_CONFIGURATIONDATA, StringMessageBase<MSGID_CONFIGURATIONDATA>::readFromByteArray},
    {MSGID_TIMEJUMP, SimpleMessage<MSGID_TIMEJUMP>::readFromByteArray},
    {MSGID_DATALOGGINGSTOPPED, SimpleMessage<MSGID_DATALOGGINGSTOPPED>::readFromByteArray},
    {MSGID_DATALOGGINGSTARTED, SimpleMessage<MSGID_DATALOGGINGSTARTED>::readFromByteArray},
    {MSGID_STARTUP, SimpleMessage<MSGID_STARTUP>::readFromByteArray},
    {MSGID_SHUTDOWN, ShutDownMessage::readFromByteArray},
    {MSGID_TEMPERATURE, TemperatureMessage::readFromByteArray},
    {MSGID_FILETIME, FileTimeMessage::readFromByteArray},
    {MSGID_TRIGGERCLEAR, SimpleMessage<MSGID_TRIGGERCLEAR>::readFromByteArray},
    {MSGID_TIMEZONE, StringMessageBase<MSGID_TIMEZONE>::readFromByteArray},
    {MSGID_LOST, LostMessage::readFromByteArray},
    {MSGID_METAINFO, TraceFileMetaInfoMessage::readFromByteArray},
    {MSGID_LOST_EXT, LostExtMessage::readFromByteArray},
    {MSGID_WRAPPER, WrapperMessage::readFromByteArray},
    {MSGID_PADDING, PaddingBytesMessage::readFromByteArray},
    {MSGID_ENDOFFILE, EofMessage::readFromByteArray},
    {MSGID_GETVERSION, SimpleMessage<MSGID_GETVERSION>::readFromByteArray},
    {MSGID_VERSION, StringMessageBase<MSGID_VERSION>::readFromByteArray},
    {MSGID_GETTIME, SimpleMessage<MSGID_GETTIME>::readFromByteArray},
    {MSGID_TIME, TimeMessage::readFromByteArray},
    {MSGID_PING, PingMessage::readFromByteArray},
    {MSGID_PUSHBUTTON, PushButtonMessage::readFromByteArray},
    {MSGID_CASCADE, CascadeMessage::readFromByteArray},
    {MSGID_CAN_PROXY, CANProxyTraceMessage::readFromByteArray},
    {MSGID_BYTESTREAM, StringMessageBase<MSGID_BYTESTREAM>::readFromByteArray},
    {MSGID_CAN_TRANSPORT, CANTransportTraceMessage::readFromByteArray},
    {MSGID_BUSLOAD, BusLoadMessage::readFromByteArray},
    {MSGID_CANSTARTSTOP, CANStartStopMessage::readFromByteArray},
    {MSGID_START, SimpleMessage<MSGID_START>::readFromByteArray},
    {MSGID_STOP, SimpleMessage<MSGID_STOP>::readFromByteArray},
    {MSGID_CANLOAD, CANLoadMessage::readFromByteArray},
    {MSGID_BUSLOADEXT, BusLoadExtMessage::readFromByteArray},
    {MSGID_SIGNAL, SignalMessage::readFromByteArray},
    {MSGID_KEYBOARD, KeyboardMessage::readFromByteArray},
    {MSGID_NOTIFICATION, NotificationMessage::readFromByteArray},
    {MSGID_MOBILE_SERVICE, MobileServiceMessage::readFromByteArray},
    {MSGID_VXP_CLIENT_REQUEST, VXPMessageRequest::readFromByteArray},
    {MSGID_VXP_CLIENT_RESPONSE, VXPMessageResponse::readFromByteArray},
};

const Entry kDiagnostic[] = {
    {MSGID_KWP2000_REQUEST, KWP2000Request::readFromByteArray},
    {MSGID_KWP2000_RESPONSE, KWP2000Response::readFromByteArray},
    {MSGID_UDS_REQUEST, UDSRequest::readFromByteArray},
    {MSGID_UDS_RESPONSE, UDSResponse::readFromByteArray},
};

bool isDiagnostic(msgid_t id) { return id >= MSGID_KWP2000_REQUEST && id <= MSGID_UDS_RESPONSE; }

}  // namespace

void MessageBase::registerMessages() {
  for (const Entry& e : kStandard) registerMessage(e.id, e.create);
}

namespace vxtrace::detail {

namespace {
thread_local const DecodePolicy* threadPolicy = nullptr;
}

DecodePolicyScope::DecodePolicyScope(const DecodePolicy& policy) : previous_(threadPolicy) {
  threadPolicy = &policy;
}

DecodePolicyScope::~DecodePolicyScope() { threadPolicy = previous_; }

int invalidHandling() {
  const DecodePolicy* p = threadPolicy;
  if (p == nullptr) return MessageBase::invalidHandling;
  return p->invalidRecords ? 1 : 0;
}

MessageBase::creator_t findCreator(msgid_t id, int& handling) {
  const DecodePolicy* p = threadPolicy;
  handling = p == nullptr ? MessageBase::invalidHandling : (p->invalidRecords ? 1 : 0);
  if (p != nullptr && isDiagnostic(id)) {
    if (!p->diagnostics) return nullptr;
    for (const Entry& e : kDiagnostic)
      if (e.id == id) return e.create;
  }
  auto it = MessageBase::creators.find(id);
  if (it != MessageBase::creators.end()) return it->second;
  if (p == nullptr) return nullptr;
  // Built once, on first use, by whichever thread comes first; read-only after.
  static const std::unordered_map<msgid_t, MessageBase::creator_t, MessageBase::MsgidHash>
      standard = [] {
        std::unordered_map<msgid_t, MessageBase::creator_t, MessageBase::MsgidHash> m;
        for (const Entry& e : kStandard) m.emplace(e.id, e.create);
        return m;
      }();
  auto s = standard.find(id);
  return s == standard.end() ? nullptr : s->second;
}

MessageBase::creator_t findCreator(msgid_t id) {
  int handling;
  return findCreator(id, handling);
}

}  // namespace vxtrace::detail
