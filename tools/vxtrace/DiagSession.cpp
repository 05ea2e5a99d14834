// A scripted calibration and diagnostic session for `vxtrace gen --diag`.
#include <string>

#include "TraceGenerator.h"
#include "vxtrace/CCP_CRO_Message.h"
#include "vxtrace/CCP_DTO_Message.h"
#include "vxtrace/EofMessage.h"
#include "vxtrace/KWP2000Request.h"
#include "vxtrace/KWP2000Response.h"
#include "vxtrace/UDSRequest.h"
#include "vxtrace/UDSResponse.h"
#include "vxtrace/XCP_Message.h"

namespace vxtrace::gen {

namespace {

using X = XCP_Message;
using Records = std::vector<std::unique_ptr<MessageBase>>;

constexpr unsigned long long kStep = 1000;  // one record a millisecond
constexpr uint32_t kMasterId = 0x7E0;       // XCP on CAN: master to slave
constexpr uint32_t kSlaveId = 0x7E1;        // and back
constexpr uint8_t kXcpCanChannel = 1;

// A CTO or DAQ packet on CAN, filled up to the classic eight bytes as a slave or master would.
std::unique_ptr<X> xcpCan(unsigned long long ts, X::msgDirection_t dir, uint8_t pid,
                          std::vector<uint8_t> data) {
  auto m = std::make_unique<X>(ts, X::TRANSPORT_CAN, dir, 0);
  m->packet.identificationField.pid = pid;
  m->packet.dataField.bytes = std::move(data);
  const std::size_t used = 1 + m->packet.dataField.bytes.size();
  if (used < 8) {
    m->tail.bytes.assign(8 - used, 0x55);
    m->tail.setActive(true);
  }
  m->canId = dir == X::DIR_TX ? kMasterId : kSlaveId;
  m->canChannel = kXcpCanChannel;
  return m;
}

// A DAQ packet of the given list with a WORD time stamp (slave clock ticks).
std::unique_ptr<X> xcpCanDaq(unsigned long long ts, uint8_t odt, uint16_t ticks,
                             std::vector<uint8_t> data) {
  auto m = xcpCan(ts, X::DIR_RX, odt, std::move(data));
  m->packet.identificationField.type = X::ABSOLUTE_ODT_NUMBER;
  m->packet.timestampField.type = X::TS_WORD;
  const uint8_t stamp[] = {static_cast<uint8_t>(ticks >> 8), static_cast<uint8_t>(ticks)};
  m->packet.timestampField.setTimestamp(stamp, sizeof stamp);
  return m;
}

std::unique_ptr<X> xcpEth(unsigned long long ts, X::msgDirection_t dir, uint16_t ctr, uint8_t pid,
                          std::vector<uint8_t> data) {
  auto m = std::make_unique<X>(ts, X::TRANSPORT_ETH, dir, 1);
  m->packet.identificationField.pid = pid;
  m->packet.dataField.bytes = std::move(data);
  m->header.setLEN(static_cast<uint16_t>(1 + m->packet.dataField.bytes.size()));
  m->header.setCTR(ctr);
  const bool toSlave = dir == X::DIR_TX;
  m->dstAddress = toSlave ? "192.168.10.2" : "192.168.10.1";
  m->srcAddress = toSlave ? "192.168.10.1" : "192.168.10.2";
  m->netMask = "255.255.255.0";
  m->port = 5555;
  return m;
}

template <typename M>
std::unique_ptr<M> ccp(unsigned long long ts, uint32_t id, std::vector<uint8_t> data) {
  return std::make_unique<M>(ts, 2, 0, CAN_FRAME_STANDARD, CAN_TYPE_STANDARD, id, false, data);
}

}  // namespace

std::vector<std::unique_ptr<MessageBase>> diagnosticSession(unsigned long long startTime) {
  Records r;
  unsigned long long ts = startTime;
  auto add = [&](std::unique_ptr<MessageBase> m) {
    r.push_back(std::move(m));
    ts += kStep;
  };

  // XCP on CAN: connect, status, upload (one refused while busy), then DAQ lists.
  add(xcpCan(ts, X::DIR_TX, X::CMD_CONNECT, {0x00}));
  add(xcpCan(ts, X::DIR_RX, 0xFF, {0x15, 0xC0, 0x08, 0x08, 0x00, 0x01, 0x01}));
  add(xcpCan(ts, X::DIR_TX, X::CMD_GET_STATUS, {}));
  add(xcpCan(ts, X::DIR_RX, 0xFF, {0x00, 0x15, 0x00, 0x00, 0x00}));
  add(xcpCan(ts, X::DIR_TX, X::CMD_SET_MTA, {0x00, 0x00, 0x00, 0x20, 0x00, 0x10, 0x00}));
  add(xcpCan(ts, X::DIR_RX, 0xFF, {}));
  add(xcpCan(ts, X::DIR_TX, X::CMD_UPLOAD, {0x04}));
  add(xcpCan(ts, X::DIR_RX, 0xFE, {X::ERR_CMD_BUSY}));
  add(xcpCan(ts, X::DIR_TX, X::CMD_UPLOAD, {0x04}));
  add(xcpCan(ts, X::DIR_RX, 0xFF, {0x11, 0x22, 0x33, 0x44}));
  add(xcpCan(ts, X::DIR_TX, X::CMD_START_STOP_SYNCH, {0x01}));
  add(xcpCan(ts, X::DIR_RX, 0xFF, {}));
  for (uint16_t i = 0; i < 4; ++i) {
    add(xcpCanDaq(ts, 0, static_cast<uint16_t>(0x1000 + 10 * i),
                  {static_cast<uint8_t>(i), 0x80, 0x3F}));
    add(xcpCanDaq(ts, 1, static_cast<uint16_t>(0x1000 + 10 * i + 5), {0x00, 0x64}));
  }
  add(xcpCan(ts, X::DIR_RX, 0xFD, {X::EV_STORE_DAQ}));

  // XCP on Ethernet (UDP): connect and a DAQ packet with a DWORD time stamp.
  add(xcpEth(ts, X::DIR_TX, 0, X::CMD_CONNECT, {0x00}));
  add(xcpEth(ts, X::DIR_RX, 0, 0xFF, {0x15, 0xC0, 0xFF, 0xFF, 0x00, 0x01, 0x01}));
  auto daq = xcpEth(ts, X::DIR_RX, 1, 0x00, {0x00, 0x00, 0x27, 0x10, 0x12, 0x34});
  daq->packet.identificationField.type = X::ABSOLUTE_ODT_NUMBER;
  daq->packet.timestampField.type = X::TS_DWORD;
  daq->packet.moveTimestampData();
  add(std::move(daq));

  // CCP: connect, upload, one DAQ frame.
  add(ccp<CCP_CRO_Message>(ts, 0x6FF, {CCP_CRO_Message::CONNECT, 0x01, 0x39, 0x00, 0, 0, 0, 0}));
  add(ccp<CCP_DTO_Message>(ts, 0x6FE, {0xFF, 0x00, 0x01, 0, 0, 0, 0, 0}));
  add(ccp<CCP_CRO_Message>(ts, 0x6FF, {CCP_CRO_Message::UPLOAD, 0x02, 0x04, 0, 0, 0, 0, 0}));
  add(ccp<CCP_DTO_Message>(ts, 0x6FE, {0xFF, 0x00, 0x02, 0xDE, 0xAD, 0xBE, 0xEF, 0x00}));
  add(ccp<CCP_DTO_Message>(ts, 0x6FE, {0x00, 0x12, 0x34, 0x56}));

  // UDS and KWP2000: requests with positive and negative responses.
  const std::string vin = "WVWZZZ1JZXW000001";
  std::vector<uint8_t> vinAnswer(vin.begin(), vin.end());
  vinAnswer.insert(vinAnswer.begin(), {0xF1, 0x90});
  add(std::make_unique<UDSRequest>(ts, UDSRequest::UDS_SID_READ_DATA_BY_ID,
                                   std::vector<uint8_t>{0xF1, 0x90}));
  add(std::make_unique<UDSResponse>(ts, 0x62, vinAnswer));
  add(std::make_unique<UDSRequest>(ts, UDSRequest::UDS_SID_SECURITY_ACCESS,
                                   std::vector<uint8_t>{0x02, 0x12, 0x34}));
  add(std::make_unique<UDSResponse>(ts, 0x7F, std::vector<uint8_t>{0x27, 0x35}));
  add(std::make_unique<KWP2000Request>(ts, KWP2000Request::KWP_SID_READ_DTCS_BY_STATUS,
                                       std::vector<uint8_t>{0x02, 0xFF, 0x00}));
  add(std::make_unique<KWP2000Response>(ts, 0x7F, std::vector<uint8_t>{0x18, 0x78}));
  add(std::make_unique<KWP2000Response>(ts, 0x58, std::vector<uint8_t>{0x01, 0x12, 0x34, 0x21}));
  return r;
}

std::vector<uint8_t> generateDiagnosticTrace(unsigned long long startTime, Framing framing) {
  std::vector<uint8_t> out;
  const Records records = diagnosticSession(startTime);
  for (const auto& m : records) appendFramed(out, *m, framing);
  const unsigned long long last = records.empty() ? startTime : records.back()->timeStamp;
  appendFramed(out, EofMessage(last + kStep, crc32(0, out.data(), out.size())), framing);
  return out;
}

}  // namespace vxtrace::gen
