// The identifier table's creators, one line per identifier in table order. Rows whose class
// does not exist yet are absent: the decoder treats them as unknown identifiers.
#include <atomic>
#include <cstdint>
#include <mutex>
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

// The decoder looks a creator up for every frame; a hash-map find (a division and a chain walk)
// is a good part of decoding a small record. The identifiers in use lie in two short ranges, so
// a flat copy of the registry over those answers them with one load.
constexpr unsigned kLowIds = 512;       // 0 to 511: bus records and the logger's own
constexpr unsigned kHighBase = 0x8000;  // 0x8000 to 0x81FF: device and control records
constexpr unsigned kSlots = 2 * kLowIds;

unsigned slotOf(msgid_t id) {
  const unsigned v = static_cast<unsigned>(id);
  if (v < kLowIds) return v;
  if (v - kHighBase < kLowIds) return kLowIds + (v - kHighBase);
  return kSlots;
}

// A copy of MessageBase::creators over the slots. It stands for the map while the stamp matches:
// registerMessage counts each change, and the map's size and bucket count catch the usual direct
// writes (an assignment restoring a saved registry). Slots are atomics only so that a rebuild
// after a change, which the registry's contract already forbids during decoding, is no data race
// with a decoder of another thread; on common hardware their relaxed loads are plain loads.
struct RegistryCopy {
  std::atomic<uint64_t> stamp{0};  // 0: not built
  std::atomic<MessageBase::creator_t> slot[kSlots] = {};
  std::mutex rebuild;
};
RegistryCopy registryCopy;
std::atomic<uint32_t> registryChanges{1};

uint64_t registryStamp() {
  const auto& m = MessageBase::creators;
  return static_cast<uint64_t>(registryChanges.load(std::memory_order_relaxed)) << 32 |
         (static_cast<uint64_t>(m.size()) & 0x1FFFF) << 15 | (m.bucket_count() & 0x7FFF);
}

[[gnu::noinline]] void rebuildRegistryCopy() {
  std::lock_guard<std::mutex> lock(registryCopy.rebuild);
  const uint64_t want = registryStamp();
  if (registryCopy.stamp.load(std::memory_order_relaxed) == want) return;  // another thread did
  registryCopy.stamp.store(0, std::memory_order_relaxed);
  for (auto& c : registryCopy.slot) c.store(nullptr, std::memory_order_relaxed);
  for (const auto& kv : MessageBase::creators) {
    const unsigned k = slotOf(kv.first);
    if (k < kSlots) registryCopy.slot[k].store(kv.second, std::memory_order_relaxed);
  }
  registryCopy.stamp.store(want, std::memory_order_release);
}

[[gnu::noinline]] MessageBase::creator_t registryFind(msgid_t id) {
  auto it = MessageBase::creators.find(id);
  return it == MessageBase::creators.end() ? nullptr : it->second;
}

MessageBase::creator_t registryCreator(msgid_t id) {
  const unsigned s = slotOf(id);
  if (s >= kSlots) return registryFind(id);
  if (registryCopy.stamp.load(std::memory_order_acquire) != registryStamp()) rebuildRegistryCopy();
  return registryCopy.slot[s].load(std::memory_order_relaxed);
}

// The library's own creators, for a reader whose registry lacks an identifier.
[[gnu::noinline]] MessageBase::creator_t standardCreator(msgid_t id) {
  struct Table {
    MessageBase::creator_t slot[kSlots] = {};
    std::unordered_map<msgid_t, MessageBase::creator_t, MessageBase::MsgidHash> other;
  };
  static const Table table = [] {  // built once by whichever thread comes first
    Table t;
    for (const Entry& e : kStandard) {
      const unsigned k = slotOf(e.id);
      if (k < kSlots)
        t.slot[k] = e.create;
      else
        t.other.emplace(e.id, e.create);
    }
    return t;
  }();
  const unsigned s = slotOf(id);
  if (s < kSlots) return table.slot[s];
  auto it = table.other.find(id);
  return it == table.other.end() ? nullptr : it->second;
}

}  // namespace

void noteRegistryChange() { registryChanges.fetch_add(1, std::memory_order_relaxed); }

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
  if (MessageBase::creator_t c = registryCreator(id)) return c;
  return p == nullptr ? nullptr : standardCreator(id);
}

MessageBase::creator_t findCreator(msgid_t id) {
  int handling;
  return findCreator(id, handling);
}

}  // namespace vxtrace::detail
