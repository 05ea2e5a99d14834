// Feeds one frame to the decoder and every creator, then exercises whatever comes back.
//
// Input: one selector byte, then the frame from its size field on.
//   0xFF          the frame goes to MessageBase::readFromByteArray as it is (seeds use this:
//                 they carry their own identifier);
//   anything else picks, modulo their number, one entry of the sorted registered identifiers
//                 followed by the creators the library exports without registering them. A
//                 registered identifier is written into bytes 2..3 and the frame decoded; an
//                 unregistered creator is called directly.
// Each frame is decoded twice: with invalidHandling 1 (undecodable frames come back as
// InvalidMessage) and with the initial value (they come back as null).
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "FuzzSupport.h"
#include "vxtrace/CANExtTraceMessage.h"
#include "vxtrace/CANTraceMessage.h"
#include "vxtrace/CCP_CRO_Message.h"
#include "vxtrace/CCP_DTO_Message.h"
#include "vxtrace/XCP_Message.h"
#include "vxtrace/vxtrace.h"

namespace {

struct Entry {
  msgid_t id;
  MessageBase::creator_t creator;  // null: decode through the registry
};

std::vector<Entry> entries;
int initialInvalidHandling;

MessageBase* decode(const Entry* entry, const uint8_t* data, unsigned int length) {
  const bool own = entry != nullptr && entry->creator != nullptr;
  try {
    return vxfuzz::decodeOrNull(own ? entry->creator : MessageBase::readFromByteArray, data, length);
  } catch (const InvalidMessageException&) {
    // Only the unregistered creators let this one through; the decoder catches it.
    if (!own) vxfuzz::fail("the decoder let InvalidMessageException escape", nullptr);
  }
  return nullptr;
}

// The CAN records compare with bytes and, under a mask, with another record.
template <typename T>
void compareWithBytes(const MessageBase& msg, const std::vector<unsigned char>& bytes) {
  auto* can = dynamic_cast<const T*>(&msg);
  if (can == nullptr) return;
  volatile bool same = (*can == bytes);
  std::unique_ptr<MessageBase> mask(can->clone());
  same = can->equal(*can, static_cast<const CANTraceMessageBase*>(mask.get()));
  (void)same;
}

// Operations of single classes that take bytes or a second record: the input frame, which may
// be shorter than what they read, and the record's clone as a mask.
void exerciseClass(const MessageBase& msg, const uint8_t* data, unsigned int length) {
  const std::vector<unsigned char> bytes(data, data + length);
  compareWithBytes<CANTraceMessage>(msg, bytes);
  compareWithBytes<CANExtTraceMessage>(msg, bytes);
  if (auto* xcp = dynamic_cast<const XCP_Message*>(&msg)) {
    XCP_Message copy(*xcp);
    volatile int sink = copy.getMinResDataSize(copy.getCmdCode()) + copy.getErrorPacketCode() +
                        copy.getEventPacketCode() + copy.getServiceRequestPacketCode() +
                        copy.getSlaveToMasterPid();
    (void)sink;
    copy.packet.moveTimestampData();
    copy.cascadeChannel(0x1FF, 0x1FF);
    std::vector<unsigned char> out;
    copy.createByteArray(out, true, false);
  }
  if (auto* dto = dynamic_cast<const CCP_DTO_Message*>(&msg)) {
    CCP_DTO_Message copy(*dto);
    volatile std::size_t sink = copy.getParamDataBytes().size() + copy.getCTR();
    (void)sink;
    copy.set(dto);
  }
  if (auto* cro = dynamic_cast<const CCP_CRO_Message*>(&msg)) {
    CCP_CRO_Message copy(*cro);
    copy.cascadeChannel(0xFFFF, 0xFFFF);
    std::vector<unsigned char> out;
    copy.createByteArray(out, false, false);
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  initialInvalidHandling = vxfuzz::init();
  std::vector<msgid_t> ids;
  for (const auto& kv : MessageBase::creators) ids.push_back(kv.first);
  std::sort(ids.begin(), ids.end());
  for (msgid_t id : ids) entries.push_back({id, nullptr});
  // Creators the library exports but does not register.
  entries.push_back({MSGID_INVALID, InvalidMessage::readFromByteArray});
  entries.push_back({MSGID_CUSTOMER, SimpleMessage<MSGID_CUSTOMER>::readFromByteArray});
  entries.push_back({MSGID_KWP2000_REQUEST, KWP2000Request::readFromByteArray});
  entries.push_back({MSGID_KWP2000_RESPONSE, KWP2000Response::readFromByteArray});
  entries.push_back({MSGID_UDS_REQUEST, UDSRequest::readFromByteArray});
  entries.push_back({MSGID_UDS_RESPONSE, UDSResponse::readFromByteArray});
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* input, size_t size) {
  if (size == 0) return 0;
  const uint8_t selector = input[0];
  const unsigned int length = static_cast<unsigned int>(std::min<size_t>(size - 1, 0x20000));
  const Entry* entry = selector == 0xFF ? nullptr : &entries[selector % entries.size()];

  // A heap block of exactly the frame's length: any read past it is caught.
  std::unique_ptr<uint8_t[]> frame = vxfuzz::exactCopy(input + 1, length);
  if (entry != nullptr && entry->creator == nullptr && length >= 4) {
    frame[2] = static_cast<uint8_t>(entry->id >> 8);
    frame[3] = static_cast<uint8_t>(entry->id);
  }
  // The exported creators are entitled to the four bytes the decoder guarantees its own.
  if (entry != nullptr && entry->creator != nullptr && length < 4) return 0;

  for (int handling : {1, initialInvalidHandling}) {
    MessageBase::invalidHandling = handling;
    std::unique_ptr<MessageBase> msg(decode(entry, frame.get(), length));
    if (!msg) continue;
    vxfuzz::exercise(*msg, true);
    exerciseClass(*msg, frame.get(), length);
  }
  MessageBase::invalidHandling = initialInvalidHandling;
  return 0;
}
