#include "vxtrace/CANProxyTraceMessage.h"

#include <algorithm>

#include "util/Record.h"

using namespace vxtrace::detail;

CANProxyTraceMessage::CANProxyTraceMessage(unsigned long long ts)
    : CANTraceMessage(MSGID_CAN_PROXY, ts) {}

CANProxyTraceMessage::CANProxyTraceMessage(unsigned long long ts, uint8_t channel_,
                                           canframe_t frame_, uint8_t state_, uint32_t id_,
                                           const std::vector<uint8_t>& bytes)
    : CANTraceMessage(MSGID_CAN_PROXY, ts) {
  channel = channel_;
  frame = frame_;
  state = state_;
  id = id_;
  setData(bytes.data(), static_cast<unsigned int>(std::min<std::size_t>(bytes.size(), 64)));
}

CANProxyTraceMessage::CANProxyTraceMessage(const unsigned char* frameBytes,
                                           unsigned int frameLength)
    : CANTraceMessage(MSGID_CAN_PROXY, 0) {
  ByteReader r(frameBytes, frameLength);
  readFrameHeader(r, *this);
  channel = r.u8();
  frame = static_cast<canframe_t>(r.u8());
  state = r.u8();
  if (frame == CAN_FRAME_ERROR) return;  // length and id stay 0
  length = r.u8();
  id = r.be16() & 0x7FFu;
  if (length > sizeof data) length = sizeof data;
  r.bytes(data, std::min<std::size_t>(length, r.remaining()));
}

VXTRACE_RECORD_CREATOR(CANProxyTraceMessage)
VXTRACE_RECORD_CLONE(CANProxyTraceMessage)
