// The two traced CCP records: the master's command frames and the ECU's answers and data. They
// share their body, size rule, comparison and channel handling; only the printed view differs.
#include <algorithm>

#include "diag/DiagNames.h"
#include "util/Record.h"
#include "util/Reject.h"
#include "vxtrace/BusId.h"
#include "vxtrace/CCP_CRO_Message.h"
#include "vxtrace/CCP_DTO_Message.h"

using namespace vxtrace::detail;

namespace {

const CodeName kCommands[] = {
    {0x01, "CONNECT"},      {0x02, "SET_MTA"},        {0x03, "DNLOAD"},
    {0x04, "UPLOAD"},       {0x05, "TEST"},           {0x06, "START_STOP"},
    {0x07, "DISCONNECT"},   {0x08, "START_STOP_ALL"}, {0x09, "GET_ACTIVE_CAL_PAGE"},
    {0x0C, "SET_S_STATUS"}, {0x0D, "GET_S_STATUS"},   {0x0E, "BUILD_CHKSUM"},
    {0x0F, "SHORT_UP"},     {0x10, "CLEAR_MEMORY"},   {0x11, "SELECT_CAL_PAGE"},
    {0x12, "GET_SEED"},     {0x13, "UNLOCK"},         {0x14, "GET_DAQ_SIZE"},
    {0x15, "SET_DAQ_PTR"},  {0x16, "WRITE_DAQ"},      {0x17, "EXCHANGE_ID"},
    {0x18, "PROGRAM"},      {0x19, "MOVE"},           {0x1B, "GET_CCP_VERSION"},
    {0x20, "DIAG_SERVICE"}, {0x21, "ACTION_SERVICE"}, {0x22, "PROGRAM_6"},
    {0x23, "DNLOAD_6"}};

const CodeName kReturnCodes[] = {{0x00, "CMD_OK"},
                                 {0x10, "ERR-C1_CMD_BUSY"},
                                 {0x11, "ERR-C1_DAQ_BUSY"},
                                 {0x18, "ERR-C1_KEY_REQUEST"},
                                 {0x19, "ERR-C1_STATUS_REQUEST"},
                                 {0x20, "ERR-C2_COLD_START_REQUEST"},
                                 {0x21, "ERR-C2_CAL_INIT_REQUEST"},
                                 {0x22, "ERR-C2_DAQ_INIT_REQUEST"},
                                 {0x23, "ERR-C2_CODE_REQUEST"},
                                 {0x30, "ERR-C3_CMD_UNKNOWN"},
                                 {0x31, "ERR-C3_CMD_SYNTAX"},
                                 {0x32, "ERR-C3_OUT_OF_RANGE"},
                                 {0x33, "ERR-C3_ACCESS_DENIED"},
                                 {0x34, "ERR-C3_OVERLOAD"},
                                 {0x35, "ERR-C3_ACCESS_LOCKED"},
                                 {0x36, "ERR-C3_RSC_FCT_NOT_AVAILABLE"}};

constexpr uint32_t kExtendedFlag = 0x80000000u;

template <typename M>
void init(M& m, uint8_t ecu, uint8_t channel, canframe_t frame, cantype_t type, uint32_t id,
          bool extended, const std::vector<uint8_t>& data) {
  m.ecuChannel = ecu;
  m.channel = channel;
  m.frame = frame;
  m.type = type;
  m.id = id;
  m.extendedId = extended;
  const std::size_t n = std::min<std::size_t>(data.size(), sizeof m.data);
  std::copy(data.begin(), data.begin() + static_cast<std::ptrdiff_t>(n), m.data);
  m.length = static_cast<uint8_t>(n);
}

template <typename M>
void decode(M& m, const unsigned char* data, unsigned int length) {
  ByteReader in(data, length);
  readFrameHeader(in, m);
  const uint8_t channelFrame = in.u8();
  m.channel = channelFrame >> 4;
  const uint8_t frame = channelFrame & 0x0F;
  if (frame > CAN_FRAME_TXREQUEST) {
    throwBadEnum("canframe_t", frame);
  }
  m.frame = static_cast<canframe_t>(frame);
  const uint8_t typeLength = in.u8();
  m.type = static_cast<cantype_t>(typeLength >> 4);
  m.ecuChannel = in.u8();
  if (m.frame == CAN_FRAME_ERROR) return;  // no length, identifier or data
  m.length = typeLength & 0x0F;
  const uint32_t word = in.be32();
  m.extendedId = (word & kExtendedFlag) != 0;
  m.id = word & (m.extendedId ? 0x1FFFFFFFu : 0x7FFu);
  // A cut frame keeps the data bytes it has; the rest stay 0.
  in.bytes(m.data, std::min<std::size_t>(m.length, in.remaining()));
}

template <typename M>
unsigned int size(const M& m) {
  return m.frame == CAN_FRAME_ERROR ? 17 : 21 + std::min<unsigned int>(m.length, sizeof m.data);
}

template <typename M>
unsigned int write(const M& m, unsigned char*& out, unsigned int room, bool withSync) {
  const bool error = m.frame == CAN_FRAME_ERROR;
  const unsigned int n = error ? 0 : std::min<unsigned int>(m.length, sizeof m.data);
  // The size field counts two bytes the body never had; the writer zeroes them.
  const unsigned int written = writeRecord(
      m, out, room, withSync,
      [&](ByteWriter& w) {
        w.u8(static_cast<uint8_t>((m.channel & 0x0F) << 4 | (m.frame & 0x0F)));
        w.u8(static_cast<uint8_t>((m.type & 0x0F) << 4 | (n & 0x0F)));
        w.u8(m.ecuChannel);
        if (error) return;
        w.be32(m.id | (m.extendedId ? kExtendedFlag : 0));
        w.bytes(m.data, n);
      },
      2);
  return written == 0 ? 0 : m.getSize();
}

template <typename M>
bool same(const M& m, const MessageBase& other) {
  auto* o = sameClass(m, other);
  return o != nullptr && m.equal(*o) && m.type == o->type && m.ecuChannel == o->ecuChannel &&
         m.extendedId == o->extendedId && m.timeStamp == o->timeStamp;
}

template <typename M>
void copyFrom(M& m, const CANTraceMessageBase* can) {
  if (can == nullptr) return;
  m.channel = can->channel;
  m.frame = can->frame;
  m.state = can->state;
  m.type = can->type;
  m.length = can->length;
  m.id = can->id;
  std::copy(can->data, can->data + sizeof can->data, m.data);
  m.extendedId = can->type == CAN_TYPE_EXTENDED || can->type == CAN_TYPE_FD_EXT;
}

template <typename M>
void cascade(M& m, unsigned short ecuOffset, unsigned short canOffset) {
  m.ecuChannel = static_cast<uint8_t>(m.ecuChannel + ecuOffset);
  m.channel = static_cast<uint8_t>(m.channel + canOffset);
}

std::string sourceChannel(uint8_t ecu) {
  return std::string(getBusIdName(BUSID_CCP_XCP)) + " #" + std::to_string(ecu);
}

uint64_t sourceChannelId(const MessageBase& m, uint8_t ecu) {
  return sourceChannelKey(m.sourceWord, BUSID_CCP_XCP, ecu);
}

// Length, data and link, the tail of both lines.
void printFrame(std::ostream& os, const CANTraceMessageBase& m) {
  os << static_cast<unsigned int>(m.length) << ' ';
  if (m.length >= 9) {
    os << "Error: Invalid DLC!";
  } else {
    os << std::hex << std::setfill('0');
    MessageBase::dumpData(os, m.data, m.data + m.length);
  }
  os << "; CAN[Id=0x" << std::hex << m.id << std::dec << ", Type=" << m.type
     << ", Ch=" << m.channel + 1 << ']';
}

}  // namespace

std::ostream& operator<<(std::ostream& os, CCP_CRO_Message::cmdCode_t code) {
  return printName(os, kCommands, code, "INVALID_COMMAND_CODE");
}

std::ostream& operator<<(std::ostream& os, CCP_DTO_Message::cmdReturnCode_t code) {
  return printName(os, kReturnCodes, code, "INVALID_COMMAND_RETURN_CODE");
}

// ---- CCP_CRO_Message -------------------------------------------------------------------------

CCP_CRO_Message::CCP_CRO_Message(unsigned long long ts)
    : CANTraceMessageBase(MSGID_CCP_CRO, ts), ecuChannel(0), extendedId(false) {
  type = CAN_TYPE_STANDARD;
}

CCP_CRO_Message::CCP_CRO_Message(unsigned long long ts, uint8_t ecu, uint8_t channel_,
                                 canframe_t frame_, cantype_t type_, uint32_t id_, bool extended,
                                 const std::vector<uint8_t>& bytes)
    : CCP_CRO_Message(ts) {
  init(*this, ecu, channel_, frame_, type_, id_, extended, bytes);
}

CCP_CRO_Message::CCP_CRO_Message(const unsigned char* data_, unsigned int length_)
    : CCP_CRO_Message(0ULL) {
  decode(*this, data_, length_);
}

VXTRACE_RECORD_MEMBERS(CCP_CRO_Message)

unsigned int CCP_CRO_Message::writeToByteArray(unsigned char*& out, unsigned int room,
                                               bool withSync) const {
  return write(*this, out, room, withSync);
}

unsigned int CCP_CRO_Message::getSize() const { return size(*this); }

bool CCP_CRO_Message::operator==(const MessageBase& other) const { return same(*this, other); }

void CCP_CRO_Message::print(std::ostream& os) const {
  RecordLine line(os, *this);
  os << "  CCP_CRO "
     << "    | "
     << "ECU[" << ecuChannel + 1 << ']';
  if (length != 0) os << "; CRO_CMD[" << static_cast<cmdCode_t>(data[0]) << "]; ";
  printFrame(os, *this);
}

std::string CCP_CRO_Message::getSourceChannel() const { return sourceChannel(ecuChannel); }

uint64_t CCP_CRO_Message::getSourceChannelID() const { return sourceChannelId(*this, ecuChannel); }

void CCP_CRO_Message::cascadeChannel(unsigned short ecuOffset, unsigned short canOffset) {
  cascade(*this, ecuOffset, canOffset);
}

void CCP_CRO_Message::set(const CANTraceMessageBase* can) { copyFrom(*this, can); }

// ---- CCP_DTO_Message -------------------------------------------------------------------------

CCP_DTO_Message::CCP_DTO_Message(unsigned long long ts)
    : CANTraceMessageBase(MSGID_CCP_DTO, ts), ecuChannel(0), extendedId(false) {
  type = CAN_TYPE_STANDARD;
}

CCP_DTO_Message::CCP_DTO_Message(unsigned long long ts, uint8_t ecu, uint8_t channel_,
                                 canframe_t frame_, cantype_t type_, uint32_t id_, bool extended,
                                 const std::vector<uint8_t>& bytes)
    : CCP_DTO_Message(ts) {
  init(*this, ecu, channel_, frame_, type_, id_, extended, bytes);
}

CCP_DTO_Message::CCP_DTO_Message(const unsigned char* data_, unsigned int length_)
    : CCP_DTO_Message(0ULL) {
  decode(*this, data_, length_);
}

VXTRACE_RECORD_MEMBERS(CCP_DTO_Message)

unsigned int CCP_DTO_Message::writeToByteArray(unsigned char*& out, unsigned int room,
                                               bool withSync) const {
  return write(*this, out, room, withSync);
}

unsigned int CCP_DTO_Message::getSize() const { return size(*this); }

bool CCP_DTO_Message::operator==(const MessageBase& other) const { return same(*this, other); }

void CCP_DTO_Message::print(std::ostream& os) const {
  RecordLine line(os, *this);
  os << "  CCP_DTO "
     << "    | "
     << "ECU[" << ecuChannel + 1 << "], PID_TYPE[";
  // The event PID 0xFE is a command return message here too, so an event line never appears.
  if (getPidType() == PID_TYPE_CRM) {
    os << "CRM(" << getCmdReturnCode() << ")]; ";
  } else {
    os << "DAQ]; ";
  }
  printFrame(os, *this);
}

std::string CCP_DTO_Message::getSourceChannel() const { return sourceChannel(ecuChannel); }

uint64_t CCP_DTO_Message::getSourceChannelID() const { return sourceChannelId(*this, ecuChannel); }

void CCP_DTO_Message::cascadeChannel(unsigned short ecuOffset, unsigned short canOffset) {
  cascade(*this, ecuOffset, canOffset);
}

void CCP_DTO_Message::set(const CANTraceMessageBase* can) { copyFrom(*this, can); }

uint8_t CCP_DTO_Message::getPidType() const {
  return data[0] == 0xFF || data[0] == 0xFE ? PID_TYPE_CRM : PID_TYPE_DAQ;
}

CCP_DTO_Message::cmdReturnCode_t CCP_DTO_Message::getCmdReturnCode() const {
  return static_cast<cmdReturnCode_t>(getPidType() == PID_TYPE_CRM ? data[1] : 0);
}

uint8_t CCP_DTO_Message::getCTR() const { return getPidType() == PID_TYPE_CRM ? data[2] : 0; }

unsigned int CCP_DTO_Message::getParamDataBytesSize() const {
  const unsigned int n = std::min<unsigned int>(length, sizeof data);
  if (getPidType() != PID_TYPE_CRM) return n;
  return n > 3 ? n - 3 : 0;  // a return message shorter than its three fixed bytes has none
}

std::vector<uint8_t> CCP_DTO_Message::getParamDataBytes() const {
  const unsigned int n = getParamDataBytesSize();
  const uint8_t* first = data + (getPidType() == PID_TYPE_CRM ? 3 : 0);
  return std::vector<uint8_t>(first, first + n);
}
