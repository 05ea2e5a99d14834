// The identifier table's creators, one line per identifier in table order. Rows whose class
// does not exist yet are absent: the decoder treats them as unknown identifiers.
#include <unordered_map>

#include "core/DecodePolicy.h"
#include "util/ByteOrder.h"
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
// Read at every record: the initial-exec model reaches it through the thread pointer.
thread_local const DecodePolicy* threadPolicy [[gnu::tls_model("initial-exec")]] = nullptr;
}

DecodePolicyScope::DecodePolicyScope(const DecodePolicy& policy) : previous_(threadPolicy) {
  threadPolicy = &policy;
}

DecodePolicyScope::~DecodePolicyScope() { threadPolicy = previous_; }

namespace {

// The thread's reader policy stands in for the global setting.
inline int handlingUnder(const DecodePolicy* p) {
  return p == nullptr ? MessageBase::invalidHandling : (p->invalidRecords ? 1 : 0);
}

}  // namespace

int invalidHandling() { return handlingUnder(threadPolicy); }

namespace {

// The rarer answers of findCreator, out of line so that the decoder's own path stays short.
[[gnu::noinline]] MessageBase::creator_t diagnosticCreator(const DecodePolicy& p, msgid_t id) {
  if (!p.diagnostics) return nullptr;
  for (const Entry& e : kDiagnostic)
    if (e.id == id) return e.create;
  return nullptr;
}

[[gnu::noinline]] MessageBase::creator_t standardCreator(msgid_t id) {
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

// The registry itself is looked up on every call: applications may change the public map at any
// time, and any copy or cache of it could miss such a change.
inline MessageBase::creator_t lookUp(msgid_t id, int& handling) {
  const DecodePolicy* p = threadPolicy;
  handling = handlingUnder(p);
  if (p != nullptr && isDiagnostic(id)) return diagnosticCreator(*p, id);
  auto it = MessageBase::creators.find(id);
  if (it != MessageBase::creators.end()) return it->second;
  return p == nullptr ? nullptr : standardCreator(id);
}

[[gnu::noinline]] InvalidMessage* rejectFrame(const unsigned char* data, unsigned int length,
                                              int handling, int cause) {
  if (handling != 1) return nullptr;
  InvalidMessage* msg = new InvalidMessage(data, length);
  msg->cause = cause;
  return msg;
}

}  // namespace

MessageBase::creator_t findCreator(msgid_t id, int& handling) { return lookUp(id, handling); }

MessageBase::creator_t findCreator(msgid_t id) {
  int handling;
  return lookUp(id, handling);
}

}  // namespace vxtrace::detail

// Here rather than beside the rest of MessageBase, so that the creator lookup is inlined.
// A reader's own policy, when one decodes on this thread, stands in for invalidHandling and the
// registry.
MessageBase* MessageBase::readFromByteArray(const unsigned char* data, unsigned int length) {
  using namespace vxtrace::detail;
  if (length < 4) return rejectFrame(data, length, vxtrace::detail::invalidHandling(), invalidLength);
  int handling;
  const msgid_t id = static_cast<msgid_t>(loadBE16(data + 2));
  const creator_t create = lookUp(id, handling);
  if (create == nullptr) return rejectFrame(data, length, handling, invalidId);
  try {
    return create(data, length);
  } catch (const InvalidMessageException& e) {
    InvalidMessage* msg = rejectFrame(data, length, handling, e.cause);
    if (msg != nullptr && e.cause == invalidEnumValue) {
      msg->enumValue = e.value;
      msg->enumName = e.text;
    }
    return msg;
  }
}
