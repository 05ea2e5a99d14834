#include "vxtrace/XCP_Message.h"

#include <iostream>

#include "diag/DiagNames.h"
#include "util/Diagnostics.h"
#include "util/Reject.h"
#include "util/Record.h"
#include "vxtrace/BusId.h"

using namespace vxtrace::detail;

namespace {

using X = XCP_Message;

const CodeName kDirections[] = {{0, "UNKNOWN"}, {1, "Rx"}, {2, "Tx"}};
const CodeName kTransports[] = {{0, "UNKNOWN"}, {1, "ETH"}, {2, "CAN"}, {3, "FR"}, {4, "CAN FD"}};
const CodeName kPacketTypes[] = {{0, "UNKNOWN"}, {1, "CTO_CMD"},  {2, "CTO_RES"}, {3, "CTO_ERR"},
                                 {4, "CTO_EV"},  {5, "CTO_SERV"}, {6, "DTO_DAQ"}, {7, "DTO_STIM"}};
const CodeName kIdentificationTypes[] = {{0, "ABSOLUTE_ODT_NUMBER"},
                                         {1, "RELATIVE_ODT_ABSOLUTE_DAQ_BYTE"},
                                         {2, "RELATIVE_ODT_ABSOLUTE_DAQ_WORD"},
                                         {3, "RELATIVE_ODT_ABSOLUTE_DAQ_ALIGNED"},
                                         {5, "CTO_PACKET_CODE"}};
const CodeName kTimestampTypes[] = {{0, "NO"}, {1, "BYTE"}, {2, "WORD"}, {4, "DWORD"}};
const CodeName kCommands[] = {
    {0xC0, "LEVEL1_INDICATOR"},
    {0xC5, "DTO_CTR_PROPERTIES"},
    {0xC6, "TIME_CORRELATION_PROPERTIES"},
    {0xC7, "WRITE_DAQ_MULTIPLE"},
    {0xC8, "PROGRAM_VERIFY"},
    {0xC9, "PROGRAM_MAX"},
    {0xCA, "PROGRAM_NEXT"},
    {0xCB, "PROGRAM_FORMAT"},
    {0xCC, "PROGRAMM_PREPARE"},
    {0xCD, "GET_SECTOR_INFO"},
    {0xCE, "GET_PGM_PROCESSOR_INFO"},
    {0xCF, "PROGRAM_RESET"},
    {0xD0, "PROGRAM"},
    {0xD1, "PROGRAM_CLEAR"},
    {0xD2, "PROGRAM_START"},
    {0xD3, "ALLOC_ODT_ENTRY"},
    {0xD4, "ALLOC_ODT"},
    {0xD5, "ALLOC_DAQ"},
    {0xD6, "FREE_DAQ"},
    {0xD7, "GET_DAQ_EVENT_INFO"},
    {0xD8, "GET_DAQ_LIST_INFO"},
    {0xD9, "GET_DAQ_RESOLUTION_INFO"},
    {0xDA, "GET_DAQ_PROCESSOR_INFO"},
    {0xDB, "READ_DAQ"},
    {0xDC, "GET_DAQ_CLOCK"},
    {0xDD, "START_STOP_SYNCH"},
    {0xDE, "START_STOP_DAQ_LIST"},
    {0xDF, "GET_DAQ_LIST_MODE"},
    {0xE0, "SET_DAQ_LIST_MODE"},
    {0xE1, "WRITE_DAQ"},
    {0xE2, "SET_DAQ_PTR"},
    {0xE3, "CLEAR_DAQ_LIST"},
    {0xE4, "COPY_CAL_PAGE"},
    {0xE5, "GET_SEGMENT_MODE"},
    {0xE6, "SET_SEGMENT_MODE"},
    {0xE7, "GET_PAGE_INFO"},
    {0xE8, "GET_SEGMENT_INFO"},
    {0xE9, "GET_PAG_PROCESSOR"},
    {0xEA, "GET_CAL_PAGE"},
    {0xEB, "SET_CAL_PAGE"},
    {0xEC, "MODIFY_BITS"},
    {0xED, "SHORT_DOWNLOAD"},
    {0xEE, "DOWNLOAD_MAX"},
    {0xEF, "DOWNLOAD_NEXT"},
    {0xF0, "DOWNLOAD"},
    {0xF1, "USER_CMD"},
    {0xF2, "TRANSPORT_LAYER_CMD"},
    {0xF3, "BUILD_CHECKSUM"},
    {0xF4, "SHORT_UPLOAD"},
    {0xF5, "UPLOAD"},
    {0xF6, "SET_MTA"},
    {0xF7, "UNLOCK"},
    {0xF8, "GET_SEED"},
    {0xF9, "SET_REQUEST"},
    {0xFA, "GET_ID"},
    {0xFB, "GET_COMM_MODE_INFO"},
    {0xFC, "SYNCH"},
    {0xFD, "GET_STATUS"},
    {0xFE, "DISCONNECT"},
    {0xFF, "CONNECT"},
};
const CodeName kLevel1[] = {{0x00, "GET_VERSION"},
                            {0x01, "SET_DAQ_PACKGED_MODE"},
                            {0x02, "GET_DAQ_PACKGED_MODE"},
                            {0xFC, "ASAM_POD"}};
const CodeName kCanSub[] = {{0xFF, "CAN_GET_SLAVE_ID"},
                            {0xFE, "CAN_GET_DAQ_ID"},
                            {0xFD, "CAN_SET_DAQ_ID"},
                            {0xFC, "CAN_GET_DAQ_CLOCK_MULTICAST"}};
const CodeName kEthSub[] = {{0xFF, "ETH_GET_SLAVE_ID"},
                            {0xFC, "ETH_GET_DAQ_CLOCK_MULTICAST"},
                            {0xFB, "ETH_GET_SLAVE_ID_EXTENDED"},
                            {0xFA, "ETH_GET_SLAVE_IP_ADDRESS"}};
const CodeName kFlexRaySub[] = {
    {0xFF, "FLX_FLX_ASSIGN"},      {0xFE, "FLX_FLX_ACTIVATE"},
    {0xFD, "FLX_FLC_DEACTIVATE"},  {0xFC, "FLX_GET_DAQ_FLX_BUF"},
    {0xFB, "FLX_SET_DAQ_FLX_BUF"}, {0xFA, "FLX_GET_DAQ_CLOCK_MULTICAST"}};
const CodeName kErrors[] = {{0x00, "ERR-S0_CMD_SYNCH"},
                            {0x10, "ERR-S2_CMD_BUSY"},
                            {0x11, "ERR-S2_DAQ_ACTIVE"},
                            {0x12, "ERR-S2_PGM_ACTIVE"},
                            {0x20, "ERR-S2_CMD_UNKNOWN"},
                            {0x21, "ERR-S2_CMD_SYNTAX"},
                            {0x22, "ERR-S2_OUT_OF_RANGE"},
                            {0x23, "ERR-S2_WRITE_PROTECTED"},
                            {0x24, "ERR-S2_ACCESS_DENIED"},
                            {0x25, "ERR-S2_ACCESS_LOCKED"},
                            {0x26, "ERR-S2_PAGE_NOT_VALID"},
                            {0x27, "ERR-S2_MODE_NOT_VALID"},
                            {0x28, "ERR-S2_SEGMENT_NOT_VALID"},
                            {0x29, "ERR-S2_SEQUENCE"},
                            {0x2A, "ERR-S2_DAQ_CONFIG"},
                            {0x30, "ERR-S2_MEMORY_OVERFLOW"},
                            {0x31, "ERR-S2_GENERIC"},
                            {0x32, "ERR-S3_VERIFY"},
                            {0x33, "ERR-S2_RESOURCE_TEMPORARY_NOT_ACCESSIBLE"},
                            {0x34, "ERR-S2_SUBCMD_UNKNOWN"},
                            {0x35, "ERR-S2_TIMECORR_STATE_CHANGE"}};
const CodeName kEvents[] = {{0x00, "EV-S0_RESUME_MODE"},
                            {0x01, "EV-S0_CLEAR_DAQ"},
                            {0x02, "EV-S0_STORE_DAQ"},
                            {0x03, "EV-S0_STORE_CAL"},
                            {0x05, "EV-S1_CMD_PENDING"},
                            {0x06, "EV-S1_DAQ_OVERLOAD"},
                            {0x07, "EV-S3_SESSION_TERMINATED"},
                            {0x08, "EV-S0_TIME_SYNC"},
                            {0x09, "EV-S0-S3_STIM_TIMEOUT"},
                            {0x0A, "EV-S1_SLEEP"},
                            {0x0B, "EV-S1_WAKE_UP"},
                            {0x0C, "EV-S0_ECU_STATE_CHANGE"},
                            {0xFD, "EV-Sx_POD"},
                            {0xFE, "EV-S0_USER"},
                            {0xFF, "EV-Sx_TRANSPORT"}};
const CodeName kServices[] = {{0x00, "SERV_RESET"}, {0x01, "SERV_TEXT"}};
const CodeName kTimeUnits[] = {{0, "1NS"},   {1, "10NS"},  {2, "100NS"}, {3, "1US"},   {4, "10US"},
                               {5, "100US"}, {6, "1MS"},   {7, "10MS"},  {8, "100MS"}, {9, "1S"},
                               {10, "1PS"},  {11, "10PS"}, {12, "100PS"}};
const CodeName kConsistency[] = {{0, "ODT"}, {1, "DAQ"}, {2, "EVENT"}};
const CodeName kDirectionTypes[] = {{1, "DAQ"}, {2, "STIM"}, {3, "DAQ_STIM"}};
const CodeName kGranularity[] = {{0, "BYTE"}, {1, "WORD"}, {2, "DWORD"}};
const CodeName kDaqConfig[] = {{0, "STATIC"}, {1, "DYNAMIC"}};
const CodeName kOverload[] = {{0, "NO_OVERLOAD_INDICATION"},
                              {1, "OVERLOAD_INDICATION_PID"},
                              {2, "OVERLOAD_INDICATION_EVENT"}};
const CodeName kOptimisation[] = {
    {0, "OM_DEFAULT"},     {1, "OM_ODT_TYPE_16"},        {2, "OM_ODT_TYPE_32"},
    {3, "OM_ODT_TYPE_64"}, {4, "OM_ODT_TYPE_ALIGNMENT"}, {5, "OM_MAX_ENTRY_SIZE"}};
const CodeName kAddressExtension[] = {{0, "FREE"}, {1, "ODT"}, {3, "DAQ"}};
const CodeName kOdtGranularity[] = {{1, "BYTE"}, {2, "WORD"}, {4, "DWORD"}, {8, "DLONG"}};

// Smallest positive-response data size of the commands that have one.
struct MinSize {
  int cmd;
  int size;
};
const MinSize kMinResDataSize[] = {{0xD3, 0}, {0xD4, 0}, {0xD5, 0}, {0xD6, 0}, {0xD7, 6}, {0xD8, 5},
                                   {0xD9, 7}, {0xDA, 7}, {0xDB, 7}, {0xDC, 7}, {0xDD, 0}, {0xDE, 1},
                                   {0xDF, 7}, {0xE0, 0}, {0xE1, 0}, {0xE2, 0}, {0xE3, 0}, {0xF2, 5},
                                   {0xF3, 7}, {0xF6, 0}, {0xF7, 1}, {0xF8, 1}, {0xF9, 0}, {0xFA, 8},
                                   {0xFB, 7}, {0xFD, 5}, {0xFE, 0}, {0xFF, 7}};

bool isCan(X::transportType_t t) { return t == X::TRANSPORT_CAN || t == X::TRANSPORT_CAN_FD; }

unsigned int timestampSize(X::timestampFieldType_t t) {
  return t == X::TS_BYTE ? 1 : t == X::TS_WORD ? 2 : t == X::TS_DWORD ? 4 : 0;
}

void errorLine(const char* text) { errorLog() << "[ERROR] " << text << std::endl; }

[[noreturn]] void reject(const char* text) {
  errorLine(text);
  throwShortBody(text);
}

// The packet type without the diagnostic lines; report adds them.
X::packetType_t classify(X::msgDirection_t dir, uint8_t pid, bool report) {
  if (dir == X::DIR_TX) {
    if (pid >= 0xC0) return X::CTO_CMD;
    if (report)
      warningLog() << "[WARNING] XCP_Message::setPacketType: STIMULATION is not supported at the "
                   "moment"
                << std::endl;
    return X::DTO_STIM;
  }
  if (dir == X::DIR_RX) {
    switch (pid) {
      case 0xFF:
        return X::CTO_RES;
      case 0xFE:
        return X::CTO_ERR;
      case 0xFD:
        return X::CTO_EV;
      case 0xFC:
        return X::CTO_SERV;
      default:
        return X::DTO_DAQ;  // every other byte is below 0xFC
    }
  }
  if (report)
    errorLog() << "[ERROR] XCP_Message::setPacketType: Unknown direction=" << dir << std::endl;
  return X::PACKET_UNKNOWN;
}

void printBytes(std::ostream& os, const std::vector<uint8_t>& bytes) {
  os << std::hex << std::setfill('0');
  MessageBase::dumpData(os, bytes.data(), bytes.data() + bytes.size());
  os << std::dec << std::setfill(' ');
}

void printHex2(std::ostream& os, unsigned int v) {
  os << "0x" << std::hex << std::setfill('0') << std::setw(2) << v << std::dec << std::setfill(' ');
}

void putText(ByteWriter& w, const std::string& s) {
  w.u8(static_cast<uint8_t>(s.size()));
  w.bytes(s.data(), s.size());
}

}  // namespace

// ---- enumeration names -----------------------------------------------------------------------

#define VXTRACE_XCP_NAMES(Type, table, fallback)          \
  std::ostream& operator<<(std::ostream& os, X::Type v) { \
    return printName(os, table, v, fallback);             \
  }
VXTRACE_XCP_NAMES(msgDirection_t, kDirections, "invalid msg direction")
VXTRACE_XCP_NAMES(transportType_t, kTransports, "invalid transport type")
VXTRACE_XCP_NAMES(packetType_t, kPacketTypes, "invalid packet type")
VXTRACE_XCP_NAMES(identificationFieldType_t, kIdentificationTypes, "invalid type")
VXTRACE_XCP_NAMES(timestampFieldType_t, kTimestampTypes, "invalid type")
VXTRACE_XCP_NAMES(cmdCode_t, kCommands, "invalid command code")
VXTRACE_XCP_NAMES(cmdCode_t_l1, kLevel1, "invalid lvl 1 command code")
VXTRACE_XCP_NAMES(canSubCmdCode_t, kCanSub, "invalid lvl 1 command code")
VXTRACE_XCP_NAMES(ethernetSubCmdCode_t, kEthSub, "invalid lvl 1 command code")
VXTRACE_XCP_NAMES(flexRaySubCmdCode_t, kFlexRaySub, "invalid lvl 1 command code")
VXTRACE_XCP_NAMES(errorPacketCode_t, kErrors, "invalid error code")
VXTRACE_XCP_NAMES(eventPacketCode_t, kEvents, "invalid event code")
VXTRACE_XCP_NAMES(serviceRequestPacketCode_t, kServices, "invalid service request code")
#undef VXTRACE_XCP_NAMES

std::ostream& operator<<(std::ostream& os, X::slaveToMasterPid_t v) {
  if (v == X::S2M_INVALID) return os << "INVALID";
  if (v >= 0 && v < 0xFC) return os << "DAQ_xxx";
  switch (v) {
    case X::S2M_RES:
      return os << "RES";
    case X::S2M_ERR:
      return os << "ERR";
    case X::S2M_EV:
      return os << "EV";
    case X::S2M_SERV:
      return os << "SERV";
    default:
      return os << "invalid S2M PID";
  }
}

std::ostream& operator<<(std::ostream& os, X::masterToSlavePid_t v) {
  if (v == X::M2S_INVALID) return os << "INVALID";
  if (v >= 0xC0 && v <= 0xFF) return os << "CMD_xxx";
  if (v >= 0 && v < 0xC0) return os << "STIM_xxx";
  return os << "invalid M2S PID";
}

#define VXTRACE_XCP_NAMES(Type, table) \
  std::ostream& operator<<(std::ostream& os, X::Type v) { return printNameOrUnknown(os, table, v); }
VXTRACE_XCP_NAMES(timeUnit_t, kTimeUnits)
VXTRACE_XCP_NAMES(eventChannelConsistency_t, kConsistency)
VXTRACE_XCP_NAMES(directionType_t, kDirectionTypes)
VXTRACE_XCP_NAMES(addressGranularity_t, kGranularity)
VXTRACE_XCP_NAMES(daqConfigType_t, kDaqConfig)
VXTRACE_XCP_NAMES(overloadIndicationType_t, kOverload)
VXTRACE_XCP_NAMES(optimisationType_t, kOptimisation)
VXTRACE_XCP_NAMES(addressExtensionType_t, kAddressExtension)
VXTRACE_XCP_NAMES(odtEntrySizeGranularity_t, kOdtGranularity)
#undef VXTRACE_XCP_NAMES

// ---- parts -----------------------------------------------------------------------------------

void X::Header::setTransportType(transportType_t type) {
  transportType = type;
  active = type == TRANSPORT_ETH;
  bytes.assign(active ? 4 : 0, 0);
}

bool X::Header::setLEN(uint16_t len) {
  if (transportType != TRANSPORT_ETH || bytes.size() != 4) return false;
  storeLE16(bytes.data(), len);
  return true;
}

bool X::Header::getLEN(uint16_t& len) const {
  if (transportType != TRANSPORT_ETH || bytes.size() != 4) return false;
  len = loadLE16(bytes.data());
  return true;
}

bool X::Header::setCTR(uint16_t ctr) {
  if (transportType != TRANSPORT_ETH || bytes.size() != 4) return false;
  storeLE16(bytes.data() + 2, ctr);
  return true;
}

bool X::Header::getCTR(uint16_t& ctr) const {
  if (transportType != TRANSPORT_ETH || bytes.size() != 4) return false;
  ctr = loadLE16(bytes.data() + 2);
  return true;
}

bool X::Header::operator==(const Header& o) const {
  return transportType == o.transportType && active == o.active && bytes == o.bytes;
}

bool X::Packet::IdentificationField::operator==(const IdentificationField& o) const {
  return type == o.type && pid == o.pid && fill == o.fill && daqListNumber == o.daqListNumber;
}

void X::Packet::TimestampField::setType(timestampFieldType_t t) {
  type = t;
  bytes.assign(timestampSize(t), 0);
}

void X::Packet::TimestampField::setTimestamp(const uint8_t* data, unsigned int length) {
  bytes.assign(data, data + length);
}

bool X::Packet::TimestampField::operator==(const TimestampField& o) const {
  return type == o.type && bytes == o.bytes;
}

bool X::Packet::DataField::operator==(const DataField& o) const { return bytes == o.bytes; }

bool X::Packet::moveTimestampData() {
  const std::size_t n = timestampSize(timestampField.type);
  if (dataField.bytes.size() < n) return false;
  auto& data = dataField.bytes;
  timestampField.bytes.assign(data.begin(), data.begin() + static_cast<std::ptrdiff_t>(n));
  data.erase(data.begin(), data.begin() + static_cast<std::ptrdiff_t>(n));
  return true;
}

bool X::Packet::operator==(const Packet& o) const {
  return identificationField == o.identificationField && timestampField == o.timestampField &&
         dataField == o.dataField;
}

void X::Tail::setTransportType(transportType_t type) {
  transportType = type;
  bytes.clear();
}

void X::Tail::setActive(bool a) { active = a; }

bool X::Tail::operator==(const Tail& o) const {
  return transportType == o.transportType && active == o.active && bytes == o.bytes;
}

// ---- record ----------------------------------------------------------------------------------

XCP_Message::XCP_Message()
    : MessageBase(MSGID_XCP, 0),
      ecuChannel(0),
      direction(DIR_UNKNOWN),
      transportType(TRANSPORT_UNKNOWN),
      canId(0),
      canType(CAN_TYPE_STANDARD),
      canChannel(0),
      port(0),
      tcp(false) {}

XCP_Message::XCP_Message(uint64_t ts, transportType_t transport, msgDirection_t dir, uint8_t ecu)
    : XCP_Message() {
  timeStamp = ts;
  transportType = transport;
  direction = dir;
  ecuChannel = ecu;
  header.setTransportType(transport);
  tail.setTransportType(transport);
}

XCP_Message::XCP_Message(const uint8_t* data, unsigned len) : XCP_Message() {
  if (len < 14) reject("XCP message v1 read error");
  if (len < 17) reject("XCP message description read error");
  ByteReader in(data, len);
  readFrameHeader(in, *this);
  const uint8_t transport = in.u8();
  direction = static_cast<msgDirection_t>(in.u8());
  ecuChannel = in.u8();
  if (transport > TRANSPORT_CAN_FD) {
    throwBadEnum("transportType_t", transport);
  }
  transportType = static_cast<transportType_t>(transport);
  header.transportType = transportType;
  tail.transportType = transportType;

  // Header: the length must fit; Ethernet takes exactly its 4 bytes, CAN only the length byte.
  bool ok = in.has(1);
  const uint8_t headerLength = in.u8();
  ok = ok && in.has(headerLength);
  if (ok) {
    if (transportType == TRANSPORT_ETH) {
      if (headerLength != 4) {
        errorLine("XCP_Message::Header::readFromByteArray: ethernet; invalid headerSize");
        ok = false;
      } else {
        const uint8_t* p = in.bytes(4);
        header.bytes.assign(p, p + 4);
        header.active = true;
      }
    } else if (transportType == TRANSPORT_FR) {
      errorLine("XCP_Message::Header::readFromByteArray: flex ray isn't supported at the moment");
      ok = false;
    } else if (!isCan(transportType)) {
      errorLine("XCP_Message::Header::readFromByteArray: invalid transport type");
      ok = false;
    }
  }
  if (!ok) reject("XCP Header read error");

  // Packet: identification, time-stamp and data fields.
  if (!in.has(7)) reject("XCP Packet read error");
  Packet::IdentificationField& id = packet.identificationField;
  id.type = static_cast<identificationFieldType_t>(in.u8());
  id.pid = in.u8();
  id.fill = in.u8();
  id.daqListNumber = in.be16();
  packet.timestampField.type = static_cast<timestampFieldType_t>(in.u8());
  const uint8_t tsLength = in.u8();
  if (!in.has(tsLength)) {
    errorLine("Timestamp Field read error");
    reject("XCP Packet read error");
  }
  const uint8_t* ts = in.bytes(tsLength);
  packet.timestampField.bytes.assign(ts, ts + tsLength);
  const bool hasDataLength = in.has(2);
  const uint16_t dataLength = in.be16();
  if (!hasDataLength || !in.has(dataLength)) {
    errorLine("Data Field read error");
    reject("XCP Packet read error");
  }
  const uint8_t* d = in.bytes(dataLength);
  packet.dataField.bytes.assign(d, d + dataLength);

  // Tail: CAN fill bytes; on Ethernet only the length byte.
  ok = in.has(1);
  const uint8_t tailLength = in.u8();
  ok = ok && in.has(tailLength);
  if (ok && isCan(transportType) && tailLength != 0) {
    const uint8_t* t = in.bytes(tailLength);
    tail.bytes.assign(t, t + tailLength);
    tail.active = true;
  }
  if (!ok) reject("XCP Tail read error");

  if (isCan(transportType)) {
    if (!in.has(6)) reject("XCP message CAN settings read error");
    canId = in.be32();
    canType = static_cast<cantype_t>(in.u8());
    canChannel = in.u8();
  } else if (transportType == TRANSPORT_ETH) {
    struct Text {
      std::string& value;
      const char* sizeError;
      const char* textError;
    };
    const Text texts[] = {
        {dstAddress, "XCP message ETH settings read error (dstIp size)",
         "XCP message ETH settings read error (dstIp)"},
        {srcAddress, "XCP message ETH settings read error (srcIp size)",
         "XCP message ETH settings read error (srcIp)"},
        {netMask, "XCP message ETH settings read error (mask size)",
         "XCP message ETH settings read error (mask)"},
    };
    for (const Text& t : texts) {
      if (!in.has(1)) reject(t.sizeError);
      const uint8_t n = in.u8();
      if (!in.has(n)) reject(t.textError);
      const uint8_t* p = in.bytes(n);
      t.value.assign(reinterpret_cast<const char*>(p), n);
    }
    // Names CAN although Ethernet raises it; the line is kept as it stands.
    if (!in.has(3)) reject("XCP message CAN settings read error (port or protocol)");
    port = in.be16();
    tcp = in.u8() != 0;
  }
}

VXTRACE_RECORD_MEMBERS(XCP_Message)

unsigned int XCP_Message::writeToByteArray(unsigned char*& out, unsigned int room,
                                           bool withSync) const {
  // Parts too long for their length fields would make the size field lie; refuse them. A
  // time-stamp of 254 or 255 bytes fits its length byte but not the size rule, which counts it
  // modulo 256.
  const char* tooLong = nullptr;
  if (header.bytes.size() > 0xFF) {
    tooLong = "XCP_Message::Header::writeToByteArray: can't write Header";
  } else if (packet.timestampField.bytes.size() > 0xFD) {
    tooLong = "XCP_Message::Packet::TimestampField::writeToByteArray: can't write Timestamp Field";
  } else if (packet.dataField.bytes.size() > 0xFFFF) {
    tooLong = "XCP_Message::Packet::DataField::writeToByteArray: can't write Data Field";
  } else if (tail.bytes.size() > 0xFF) {
    tooLong = "XCP_Message::Tail::writeToByteArray: can't write Header";
  } else if (dstAddress.size() > 0xFF || srcAddress.size() > 0xFF || netMask.size() > 0xFF ||
             getSize() > 0xFFFF) {
    tooLong = "XCP_Message::writeToByteArray: can't write XCP_Message";
  }
  if (tooLong != nullptr) {
    errorLine(tooLong);
    return 0;
  }
  const unsigned int written = writeRecord(*this, out, room, withSync, [&](ByteWriter& w) {
    w.u8(transportType);
    w.u8(direction);
    w.u8(ecuChannel);
    w.u8(static_cast<uint8_t>(header.bytes.size()));
    w.bytes(header.bytes.data(), header.bytes.size());
    const Packet::IdentificationField& id = packet.identificationField;
    w.u8(id.type);
    w.u8(id.pid);
    w.u8(id.fill);
    w.be16(id.daqListNumber);
    const std::vector<uint8_t>& ts = packet.timestampField.bytes;
    w.u8(packet.timestampField.type);
    w.u8(static_cast<uint8_t>(ts.size()));
    w.bytes(ts.data(), ts.size());
    const std::vector<uint8_t>& d = packet.dataField.bytes;
    w.be16(static_cast<uint16_t>(d.size()));
    w.bytes(d.data(), d.size());
    w.u8(static_cast<uint8_t>(tail.bytes.size()));
    w.bytes(tail.bytes.data(), tail.bytes.size());
    if (isCan(transportType)) {
      w.be32(canId);
      w.u8(static_cast<uint8_t>(canType));
      w.u8(canChannel);
    } else if (transportType == TRANSPORT_ETH) {
      putText(w, dstAddress);
      putText(w, srcAddress);
      putText(w, netMask);
      w.be16(port);
      w.u8(tcp ? 1 : 0);
    }
  });
  if (written == 0) {
    errorLine("XCP_Message::writeToByteArray: can't write XCP_Message");
    return 0;
  }
  return getSize();
}

unsigned int XCP_Message::getSize() const {
  unsigned int size = 24 +
                      static_cast<unsigned int>(header.bytes.size() +
                                                packet.dataField.bytes.size() + tail.bytes.size()) +
                      ((packet.timestampField.bytes.size() + 2) & 0xFF);
  if (isCan(transportType)) size += 6;
  if (transportType == TRANSPORT_ETH)
    size += 6 + static_cast<unsigned int>(dstAddress.size() + srcAddress.size() + netMask.size());
  return size;
}

bool XCP_Message::operator==(const MessageBase& other) const {
  auto* o = sameClass(*this, other);
  return o != nullptr && timeStamp == o->timeStamp && ecuChannel == o->ecuChannel &&
         direction == o->direction && transportType == o->transportType && header == o->header &&
         packet == o->packet && tail == o->tail && canId == o->canId && canType == o->canType &&
         canChannel == o->canChannel && dstAddress == o->dstAddress &&
         srcAddress == o->srcAddress && netMask == o->netMask && port == o->port && tcp == o->tcp;
}

void XCP_Message::print(std::ostream& os) const {
  RecordLine line(os, *this);
  os << "  XCP " << transportType << ' ' << direction << ' ';
  if (transportType == TRANSPORT_ETH || isCan(transportType)) os << ' ';
  os << "| ECU[" << ecuChannel + 1 << "], ";
  const packetType_t type = getPacketType();
  os << '[' << type << '(';
  const std::vector<uint8_t>& data = packet.dataField.bytes;
  if (type == CTO_CMD) {
    os << getCmdCode();
    if (getCmdCode() == CMD_LEVEL1_INDICATOR)
      os << ", " << static_cast<cmdCode_t_l1>(data.empty() ? -1 : data[0]);
  }
  os << ")]; ";

  uint16_t len = 0, ctr = 0;
  os << "Header[";
  if (header.getLEN(len) && header.getCTR(ctr)) {
    os << "LEN=" << len << ", CTR=" << ctr;
  } else {
    printBytes(os, header.bytes);
  }
  os << "]; ";

  const Packet::IdentificationField& id = packet.identificationField;
  os << "Packet[Id(" << id.type << ", PID=";
  printHex2(os, id.pid);
  os << ", Fill=";
  printHex2(os, id.fill);
  os << ", DAQ=" << id.daqListNumber << ')';
  if (type == CTO_ERR) os << ", Code=" << getErrorPacketCode();
  if (type == CTO_EV) os << ", Code=" << getEventPacketCode();
  if (type == CTO_SERV) os << ", Code=" << getServiceRequestPacketCode();
  os << ", Ts(" << packet.timestampField.type << ':';
  if (!packet.timestampField.bytes.empty()) os << ' ';
  printBytes(os, packet.timestampField.bytes);
  os << "), Data(" << data.size();
  if (!data.empty()) os << ": ";
  printBytes(os, data);
  os << ")]; Tail[";
  printBytes(os, tail.bytes);
  os << ']';

  if (isCan(transportType)) {
    os << "; CAN[Id=0x" << std::hex << canId << std::dec << ", Type=" << canType
       << ", Ch=" << canChannel + 1 << ']';
  } else if (transportType == TRANSPORT_ETH) {
    os << "; ETH[Dst=" << dstAddress << ", Src=" << srcAddress << ", Mask=" << netMask
       << ", Port=" << port << (tcp ? ", TCP]" : ", UDP]");
  }
}

std::string XCP_Message::getSourceChannel() const {
  return std::string(getBusIdName(BUSID_CCP_XCP)) + " #" + std::to_string(ecuChannel);
}

uint64_t XCP_Message::getSourceChannelID() const {
  return sourceChannelKey(sourceWord, BUSID_CCP_XCP, ecuChannel);
}

void XCP_Message::cascadeChannel(unsigned short ecuOffset, unsigned short canOffset) {
  ecuChannel = static_cast<uint8_t>(ecuChannel + ecuOffset);
  if (isCan(transportType)) canChannel = static_cast<uint8_t>(canChannel + canOffset);
}

XCP_Message::packetType_t XCP_Message::getPacketType() const {
  return classify(direction, packet.identificationField.pid, true);
}

XCP_Message::slaveToMasterPid_t XCP_Message::getSlaveToMasterPid() const {
  return direction == DIR_RX ? static_cast<slaveToMasterPid_t>(packet.identificationField.pid)
                             : S2M_INVALID;
}

XCP_Message::cmdCode_t XCP_Message::getCmdCode() const {
  const uint8_t pid = packet.identificationField.pid;
  return direction == DIR_TX && pid >= 0xC0 ? static_cast<cmdCode_t>(pid) : CMD_INVALID;
}

namespace {
// First data byte of a packet of the given type, else -1.
int codeOf(const XCP_Message& m, XCP_Message::packetType_t wanted) {
  const auto& data = m.packet.dataField.bytes;
  if (data.empty() || classify(m.direction, m.packet.identificationField.pid, false) != wanted)
    return -1;
  return data[0];
}
}  // namespace

XCP_Message::serviceRequestPacketCode_t XCP_Message::getServiceRequestPacketCode() const {
  return static_cast<serviceRequestPacketCode_t>(codeOf(*this, CTO_SERV));
}

XCP_Message::eventPacketCode_t XCP_Message::getEventPacketCode() const {
  return static_cast<eventPacketCode_t>(codeOf(*this, CTO_EV));
}

XCP_Message::errorPacketCode_t XCP_Message::getErrorPacketCode() const {
  return static_cast<errorPacketCode_t>(codeOf(*this, CTO_ERR));
}

bool XCP_Message::getCanTransportTypeSettings(unsigned& id, cantype_t& type,
                                              uint8_t& channel) const {
  if (!isCan(transportType)) return false;
  id = canId;
  type = canType;
  channel = canChannel;
  return true;
}

bool XCP_Message::getEthernetTransportTypeSettings(std::string& dst, std::string& src,
                                                   std::string& mask, uint16_t& p,
                                                   bool& isTcp) const {
  if (transportType != TRANSPORT_ETH) return false;
  dst = dstAddress;
  src = srcAddress;
  mask = netMask;
  p = port;
  isTcp = tcp;
  return true;
}

int XCP_Message::getMinResDataSize(cmdCode_t cmd) {
  for (const MinSize& row : kMinResDataSize)
    if (row.cmd == cmd) return row.size;
  return -1;
}
