// The remote-control frame: base, plain request and response, their decoders and the table of
// request identifiers that the decoders dispatch on.
#include "vxtrace/VXPMessageBase.h"

#include <array>
#include <iostream>
#include <mutex>

#include "util/Diagnostics.h"
#include "util/Record.h"
#include "vxtrace/PlatformUtil.h"
#include "vxtrace/VXPMessageRequest.h"
#include "vxtrace/VXPMessageResponse.h"
#include "vxtrace/VXPResponseGetEventIndex.h"
#include "vxtrace/VXPResponseGetEventList.h"
#include "vxtrace/VXPResponseSetEventIndex.h"
#include "vxtrace/VXPSimpleMessages.h"

using namespace vxtrace::detail;

namespace {

using RequestCreator = VXPMessageRequest* (*)(const uint8_t*, unsigned int);
using ResponseCreator = VXPMessageResponse* (*)(msgStatus_t, const uint8_t*, unsigned int);

template <typename C>
VXPMessageRequest* request(const uint8_t* p, unsigned int n) {
  return new C(p, n);
}
template <typename C>
VXPMessageResponse* response(msgStatus_t s, const uint8_t* p, unsigned int n) {
  return new C(s, p, n);
}

struct IdRow {
  unsigned id;
  const char* name;      // null: the reserved form "VXPID_0x.."
  RequestCreator req;    // null: plain VXPMessageRequest
  ResponseCreator resp;  // null: plain VXPMessageResponse
};

constexpr vxpMsgID_t V(unsigned n) { return static_cast<vxpMsgID_t>(n); }
using u8 = uint8_t;
using u16 = uint16_t;
using u32 = uint32_t;
using u64 = uint64_t;

// The request identifiers with a name or a class. Rows 0 to 98 are known only in part: those
// named elsewhere keep that name and class, every other identifier up to 166 (but the unnamed
// gaps 145-151 and 159-164) prints in the reserved form and keeps its payload raw. Structured
// classes not defined yet (TSA log, WLAN and USB setup, device components, forwarded ports,
// cameras, LV signal configuration, calibration data, PBU) are plain until they are. Fill rows
// in here as they become known.
// clang-format off
const IdRow kIdRows[] = {
  {4, "VXPID_SETTIME", request<Simple1MessageRequest<V(4), u64>>, nullptr},
  {6, "VXPID_FWUPDATE", request<SimpleVectorMessageRequest<V(6), u8>>, nullptr},
  {10, "VXPID_SETEVENT", request<Simple2SMessageRequest<V(10), u8>>, nullptr},
  {26, nullptr, request<Simple1MessageRequest<V(26), u8>>, nullptr},
  {41, "VXPID_SET_DEVICE_LED", request<Simple2MessageRequest<V(41), u8, u8>>, nullptr},
  {50, "VXPID_GET_EVENT_LIST", request<Simple1MessageRequest<V(50), u8>>,
   response<VXPResponseGetEventList>},
  {96, "VXPID_GET_EVENT_INDEX", request<Simple1MessageRequest<V(96), u8>>,
   response<VXPResponseGetEventIndex>},
  {97, "VXPID_SET_EVENT_INDEX", request<Simple2MessageRequest<V(97), u8, u32>>,
   response<VXPResponseSetEventIndex>},
  {99, "VXPID_COMPILE_TSA_PACKAGE", request<StringMessageRequest<V(99), 1>>, nullptr},
  {100, "VXPID_RUN_TSA_PACKAGE", request<SimpleMessageRequest<V(100)>>,
   response<SimpleMessageResponse<V(100)>>},
  {101, "VXPID_STOP_TSA_PACKAGE", request<SimpleMessageRequest<V(101)>>,
   response<SimpleMessageResponse<V(101)>>},
  {102, "VXPID_GET_TSA_RUN_LOG", request<SimpleMessageRequest<V(102)>>, nullptr},
  {103, "VXPID_GET_TSA_PACKAGE", request<SimpleMessageRequest<V(103)>>,
   response<StringMessageResponse<V(103), 2>>},
  {112, "VXPID_SET_PMB_MODE", request<Simple1MessageRequest<V(112), u8>>,
   response<SimpleMessageResponse<V(112)>>},
  {113, "VXPID_SET_PRODUCT_INFO", request<StringMessageRequest<V(113), 1>>,
   response<SimpleMessageResponse<V(113)>>},
  {114, "VXPID_GET_PRODUCT_INFO", request<SimpleMessageRequest<V(114)>>,
   response<SimpleMessageResponse<V(114)>>},
  {115, "VXPID_SET_DEVICE_CONFIG", request<StringMessageRequest<V(115), 1>>,
   response<SimpleMessageResponse<V(115)>>},
  {116, "VXPID_GET_DEVICE_CONFIG", request<SimpleMessageRequest<V(116)>>,
   response<SimpleMessageResponse<V(116)>>},
  {117, "VXPID_GET_DEVICE_COMPONENTS", request<SimpleMessageRequest<V(117)>>, nullptr},
  {120, "VXPID_SETUP_WLAN", nullptr, response<SimpleMessageResponse<V(120)>>},
  {121, "VXPID_SETUP_USBCLIENT", nullptr, response<SimpleMessageResponse<V(121)>>},
  {122, "VXPID_SETUP_EXTERNAL_MEDIA", request<Simple2MessageRequest<V(122), u8, u8>>,
   response<StringMessageResponse<V(122), 1>>},
  {125, "VXPID_GET_VXT_VERSION", request<SimpleMessageRequest<V(125)>>,
   response<StringMessageResponse<V(125), 1>>},
  {126, "VXPID_SET_FTP_PASSIVE_PORT_RANGE", request<Simple2MessageRequest<V(126), u16, u16>>,
   response<SimpleMessageResponse<V(126)>>},
  {127, "VXPID_GET_FORWARDED_PORTS", request<SimpleMessageRequest<V(127)>>, nullptr},
  {130, "VXPID_GET_AVAILABLE_CAMERAS", request<Simple1MessageRequest<V(130), u8>>, nullptr},
  {131, "VXPID_GET_DEVICE_CODE", request<SimpleMessageRequest<V(131)>>,
   response<Simple2MessageResponse<V(131), u8, u8>>},
  {132, "VXPID_SET_ORIENTATION", request<Simple1MessageRequest<V(132), u8>>,
   response<SimpleMessageResponse<V(132)>>},
  {133, "VXPID_GET_TSA_MODULES_INSTALLED", request<SimpleMessageRequest<V(133)>>,
   response<StringVectorMessageResponse<V(133)>>},
  {134, "VXPID_SET_WLAN_CERTIFICATE", request<StringMessageRequest<V(134), 1>>,
   response<StringMessageResponse<V(134), 1>>},
  {135, "VXPID_GET_WLAN_CERTIFICATE", request<SimpleMessageRequest<V(135)>>,
   response<StringMessageResponse<V(135), 2>>},
  {136, "VXPID_RM_WLAN_CERTIFICATE", request<StringMessageRequest<V(136), 1>>,
   response<StringMessageResponse<V(136), 1>>},
  {137, "VXPID_GET_LV_SIGNAL_CONFIG", request<SimpleMessageRequest<V(137)>>, nullptr},
  {138, "VXPID_TERMINATE_NAS_ACCESS", request<Simple2MessageRequest<V(138), u8, u8>>,
   response<StringMessageResponse<V(138), 1>>},
  {139, "VXPID_GET_CALIBRATION_MODE", request<SimpleMessageRequest<V(139)>>,
   response<Simple1MessageResponse<V(139), u8>>},
  {140, "VXPID_SET_CALIBRATION_MODE", request<Simple1MessageRequest<V(140), u8>>,
   response<Simple1MessageResponse<V(140), u8>>},
  {141, "VXPID_GET_CALIBRATION_DATA", request<SimpleMessageRequest<V(141)>>, nullptr},
  {142, "VXPID_SET_CALIBRATION_DATA", nullptr, response<SimpleMessageResponse<V(142)>>},
  {143, "VXPID_COPYADB", request<StringMessageRequest<V(143), 1>>,
   response<StringMessageResponse<V(143), 1>>},
  {144, "VXPID_COPYSDB", request<StringMessageRequest<V(144), 1>>,
   response<StringMessageResponse<V(144), 1>>},
  {152, "VXPID_GET_NAS_STATUS", request<SimpleMessageRequest<V(152)>>,
   response<Simple1MessageResponse<V(152), u8>>},
  {153, "VXPID_CP_PI2_BACKUP", request<SimpleMessageRequest<V(153)>>,
   response<SimpleMessageResponse<V(153)>>},
  {154, "VXPID_LSS_SET_COMMAND", request<Simple2MessageRequest<V(154), u16, u16>>,
   response<Simple2MessageResponse<V(154), u16, u16>>},
  {155, "VXPID_LSS_GET_STATUS", request<Simple1MessageRequest<V(155), u16>>,
   response<Simple2MessageResponse<V(155), u16, u16>>},
  {156, "VXPID_PBU_CONNECTED", request<SimpleMessageRequest<V(156)>>, nullptr},
  {157, "VXPID_PBU_UPDATE", nullptr, response<SimpleMessageResponse<V(157)>>},
  {158, "VXPID_PBU_GET_FIRMWARE_FILES", request<SimpleMessageRequest<V(158)>>, nullptr},
  {165, "VXPID_LSS_GET_IPADDR", request<SimpleMessageRequest<V(165)>>,
   response<StringVectorMessageResponse<V(165)>>},
  {166, "VXPID_SET_WUL", request<Simple1MessageRequest<V(166), u8>>,
   response<SimpleMessageResponse<V(166)>>},
};
// clang-format on

struct IdTable {
  std::array<const IdRow*, VXPID_LAST + 1> rows{};
  std::array<std::string, VXPID_LAST + 1> names;
  IdTable() {
    for (const IdRow& r : kIdRows) rows[r.id] = &r;
    for (unsigned id = 0; id <= VXPID_LAST; ++id) {
      const bool unnamedGap = (id >= 145 && id <= 151) || (id >= 159 && id <= 164);
      if (rows[id] != nullptr && rows[id]->name != nullptr) {
        names[id] = rows[id]->name;
      } else if (!unnamedGap) {
        std::string n = "VXPID_0x";
        const uint8_t b = static_cast<uint8_t>(id);
        appendHex(n, &b, 1, '\0', true);
        names[id] = n;
      }
    }
  }
};

const IdTable& idTable() {
  static const IdTable table;
  return table;
}

// Header word and time stamp, taken before the class to build is known.
struct FrameHeader {
  uint16_t headerWord;
  unsigned long long timeStamp;
};
FrameHeader readHeader(ByteReader& in) {
  in.skip(4);
  FrameHeader h;
  h.headerWord = in.be16();
  h.timeStamp = in.be64();
  return h;
}

const IdRow* rowOf(unsigned id) { return id <= VXPID_LAST ? idTable().rows[id] : nullptr; }

template <typename E, std::size_t N>
const char* nameIn(const char* const (&names)[N], E value) {
  const auto i = static_cast<std::size_t>(value);
  return i < N ? names[i] : nullptr;
}

template <typename E>
std::ostream& printName(std::ostream& os, const char* name, E value) {
  if (name != nullptr) {
    os << name;
  } else {
    printUnknownEnum(os, static_cast<int>(value));
  }
  return os;
}

const char* const kStatusNames[] = {"VXPSTATUS_OK", "VXPSTATUS_PROGRESS", "VXPSTATUS_ERROR",
                                    "VXPSTATUS_NOTAVAILABLE"};
const char* const kErrorNames[] = {"ERR_NO",
                                   "ERR_ID_NOT_AVAILABLE",
                                   "ERR_INVALID_LENGTH",
                                   "ERR_PARAMETER_INVALID",
                                   "ERR_PARAMETER_NOT_AVAILABLE",
                                   "ERR_DEVICE_MALFUNCTION",
                                   "ERR_FUNCTION_SPECIFIC",
                                   "ERR_BUSY",
                                   "ERR_PROCESSING",
                                   "ERR_ABORTED",
                                   "ERR_INVALID",
                                   "ERR_RETRY",
                                   "ERR_FILE_NOT_FOUND"};
const char* const kCalibNames[] = {"disable", "enable", "save"};

}  // namespace

// ---- names ---------------------------------------------------------------------------------

const char* getVxpMsgIdName(vxpMsgID_t id) {
  if (id == VXPID_STATUS) return "VXPID_STATUS";
  if (id > VXPID_LAST) return nullptr;
  const std::string& n = idTable().names[id];
  return n.empty() ? nullptr : n.c_str();
}
const char* getMsgStatusName(msgStatus_t s) { return nameIn(kStatusNames, s); }
const char* getErrorCodeName(errorCode_t c) { return nameIn(kErrorNames, c); }
const char* getCalibModeName(calibmode_t m) {
  const char* n = nameIn(kCalibNames, m);
  return n != nullptr ? n : "unknown";
}

std::ostream& operator<<(std::ostream& os, vxpMsgID_t id) {
  return printName(os, getVxpMsgIdName(id), id);
}
std::ostream& operator<<(std::ostream& os, msgStatus_t s) {
  return printName(os, getMsgStatusName(s), s);
}
std::ostream& operator<<(std::ostream& os, errorCode_t c) {
  return printName(os, getErrorCodeName(c), c);
}
std::ostream& operator<<(std::ostream& os, calibmode_t m) { return os << getCalibModeName(m); }

// ---- calib_t -------------------------------------------------------------------------------

calib_t::calib_t(const uint8_t*& cursor) {
  ByteReader in(cursor, 13);
  mode = static_cast<calibmode_t>(in.u8());
  for (uint32_t& v : values) v = in.be32();
  cursor += 13;
}

void calib_t::push(std::vector<uint8_t>& out) const {
  const std::size_t at = out.size();
  out.resize(at + 13);
  unsigned char* p = out.data() + at;
  ByteWriter w(p, p + 13);
  w.u8(mode);
  for (uint32_t v : values) w.be32(v);
}

bool calib_t::operator==(const calib_t& o) const {
  return mode == o.mode && values[0] == o.values[0] && values[1] == o.values[1] &&
         values[2] == o.values[2];
}

// ---- VXPMessageBase ------------------------------------------------------------------------

VXPMessageBase::VXPMessageBase(msgid_t msgid, vxpMsgID_t id)
    : MessageBase(msgid, 0), vxpId(id), tag("NotSet"), valid(true) {}

std::string VXPMessageBase::getString(unsigned pos, unsigned width) const {
  try {
    if ((width != 1 && width != 2) || payload.empty() || pos >= payload.size()) return "";
    ByteReader in(payload.data(), payload.size());
    in.skip(pos);
    if (!in.has(width)) return "";
    const std::size_t length = width == 1 ? in.u8() : in.be16();
    const std::size_t start = pos + width;
    if (!in.has(length)) {
      std::lock_guard<std::mutex> lock(LogUtil::logMutex);
      errorLog() << "[ERROR] can't extract string, strStartPos(" << start << ") + strSize(" << length
                << ") <= data.size(" << payload.size() << ")" << std::endl;
      return "";
    }
    const uint8_t* text = in.bytes(length);
    return std::string(reinterpret_cast<const char*>(text), length);
  } catch (...) {
    std::lock_guard<std::mutex> lock(LogUtil::logMutex);
    errorLog() << "[ERROR] VXPMessageBase::getString exception!" << std::endl;
    return "";
  }
}

bool VXPMessageBase::sameBase(const VXPMessageBase& o) const {
  return vxpId == o.vxpId && payload == o.payload && valid == o.valid;
}

bool VXPMessageBase::readField(std::size_t offset, unsigned width, uint64_t& value) const {
  ByteReader in(payload.data(), payload.size());
  in.skip(offset);
  if (in.failed() || !in.has(width)) return false;
  switch (width) {
    case 1:
      value = in.u8();
      break;
    case 2:
      value = in.be16();
      break;
    case 4:
      value = in.be32();
      break;
    case 8:
      value = in.be64();
      break;
    default:
      return false;
  }
  return true;
}

void VXPMessageBase::appendField(uint64_t value, unsigned width) {
  const std::size_t at = payload.size();
  payload.resize(at + width);
  unsigned char* p = payload.data() + at;
  ByteWriter w(p, p + width);
  switch (width) {
    case 1:
      w.u8(static_cast<uint8_t>(value));
      break;
    case 2:
      w.be16(static_cast<uint16_t>(value));
      break;
    case 4:
      w.be32(static_cast<uint32_t>(value));
      break;
    default:
      w.be64(value);
      break;
  }
}

bool VXPMessageBase::readText(std::size_t offset, unsigned width, std::string& text,
                              std::size_t& next) const {
  uint64_t length = 0;
  if ((width != 1 && width != 2) || !readField(offset, width, length)) return false;
  ByteReader in(payload.data(), payload.size());
  in.skip(offset + width);
  const uint8_t* p = in.bytes(static_cast<std::size_t>(length));
  if (p == nullptr) return false;
  text.assign(reinterpret_cast<const char*>(p), static_cast<std::size_t>(length));
  next = in.position();
  return true;
}

void VXPMessageBase::appendText(const std::string& text, unsigned width) {
  if (width == 2) {
    push2(payload, text);
  } else {
    push1(payload, text);
  }
}

// ---- VXPMessageRequest ---------------------------------------------------------------------

VXPMessageRequest::VXPMessageRequest(vxpMsgID_t id)
    : VXPMessageBase(MSGID_VXP_CLIENT_REQUEST, id) {}

VXPMessageRequest::VXPMessageRequest(vxpMsgID_t id, const uint8_t* p, unsigned int n)
    : VXPMessageRequest(id) {
  if (p != nullptr) payload.assign(p, p + n);
}

MessageBase* VXPMessageRequest::readFromByteArray(const unsigned char* data, unsigned int length) {
  if (length < 15) return nullptr;
  ByteReader in(data, length);
  const FrameHeader header = readHeader(in);
  const auto id = static_cast<vxpMsgID_t>(in.u8());
  const uint8_t* body = in.current();
  const auto n = static_cast<unsigned int>(in.remaining());
  const IdRow* row = rowOf(id);
  VXPMessageRequest* msg = row != nullptr && row->req != nullptr
                               ? row->req(body, n)
                               : new VXPMessageRequest(id, body, n);
  msg->timeStamp = header.timeStamp;
  msg->headerWord = header.headerWord;
  return msg;
}

VXTRACE_RECORD_CLONE(VXPMessageRequest)
VXTRACE_RECORD_TEXT(VXPMessageRequest)

unsigned int VXPMessageRequest::writeToByteArray(unsigned char*& out, unsigned int room,
                                                 bool withSync) const {
  const unsigned int written = writeRecord(*this, out, room, withSync, [&](ByteWriter& w) {
    w.u8(static_cast<uint8_t>(vxpId));
    w.bytes(payload.data(), payload.size());
  });
  return written == 0 ? 0 : getSize();
}

unsigned int VXPMessageRequest::getSize() const {
  return 13 + static_cast<unsigned int>(payload.size());
}

bool VXPMessageRequest::operator==(const MessageBase& other) const {
  auto* o = sameClass(*this, other);
  return o != nullptr && sameBase(*o);
}

void VXPMessageRequest::print(std::ostream& os) const {
  RecordLine line(os, *this);
  os << "  VXPRequest  | [" << vxpId << "] ";
  printFields(os);
}

void VXPMessageRequest::printFields(std::ostream&) const {}

// ---- VXPMessageResponse --------------------------------------------------------------------

VXPMessageResponse::VXPMessageResponse(vxpMsgID_t id, msgStatus_t s, const uint8_t* p,
                                       unsigned int n)
    : VXPMessageBase(MSGID_VXP_CLIENT_RESPONSE, VXPID_STATUS), answeredId(id), status(s) {
  if (p != nullptr) payload.assign(p, p + n);
}

MessageBase* VXPMessageResponse::readFromByteArray(const unsigned char* data, unsigned int length) {
  if (length < 17) return nullptr;
  ByteReader in(data, length);
  const FrameHeader header = readHeader(in);
  in.skip(1);  // own identifier: always 255, not examined
  const auto id = static_cast<vxpMsgID_t>(in.u8());
  const auto s = static_cast<msgStatus_t>(in.u8());
  const uint8_t* body = in.current();
  const auto n = static_cast<unsigned int>(in.remaining());
  const IdRow* row = rowOf(id);
  VXPMessageResponse* msg = row != nullptr && row->resp != nullptr
                                ? row->resp(s, body, n)
                                : new VXPMessageResponse(id, s, body, n);
  msg->timeStamp = header.timeStamp;
  msg->headerWord = header.headerWord;
  return msg;
}

VXTRACE_RECORD_CLONE(VXPMessageResponse)
VXTRACE_RECORD_TEXT(VXPMessageResponse)

unsigned int VXPMessageResponse::writeToByteArray(unsigned char*& out, unsigned int room,
                                                  bool withSync) const {
  const unsigned int written = writeRecord(*this, out, room, withSync, [&](ByteWriter& w) {
    w.u8(static_cast<uint8_t>(vxpId));
    w.u8(static_cast<uint8_t>(answeredId));
    w.u8(status);
    w.bytes(payload.data(), payload.size());
  });
  return written == 0 ? 0 : getSize();
}

unsigned int VXPMessageResponse::getSize() const {
  return 15 + static_cast<unsigned int>(payload.size());
}

bool VXPMessageResponse::operator==(const MessageBase& other) const {
  auto* o = sameClass(*this, other);
  return o != nullptr && sameBase(*o) && answeredId == o->answeredId && status == o->status;
}

void VXPMessageResponse::print(std::ostream& os) const {
  RecordLine line(os, *this);
  os << "  VXPResponse | [" << vxpId << ", " << answeredId << ", " << status << "] ";
  // Text and trailing data of PROGRESS and ERROR: a 1-byte-prefixed text at byte 1, then bytes.
  auto textAndRest = [&](std::size_t minSize) {
    if (payload.size() >= minSize) os << " [" << getString(1, 1) << "] ";
    if (payload.size() < 2) return;
    const std::size_t rest = std::size_t{payload[1]} + 2;
    if (rest < payload.size()) {
      os << std::hex << std::setfill('0');
      dumpData(os, payload.data() + rest, payload.data() + payload.size());
      os << std::dec << std::setfill(' ');
    }
  };
  switch (status) {
    case VXPSTATUS_OK:
      printFields(os);
      break;
    case VXPSTATUS_ERROR:
      if (!payload.empty()) os << '[' << static_cast<errorCode_t>(payload[0]) << ']';
      textAndRest(4);
      break;
    case VXPSTATUS_PROGRESS:
      if (payload.empty()) {
        os << "[ ??%]";
      } else {
        os << '[' << std::setw(2) << static_cast<unsigned>(payload[0]) << "%]";
      }
      textAndRest(4);
      break;
    case VXPSTATUS_NOTAVAILABLE:
      if (!payload.empty()) {
        os << '[' << payload.size() << "] " << std::hex << std::setfill('0');
        dumpData(os, payload.data(), payload.data() + payload.size());
      }
      break;
    default:
      break;
  }
}

void VXPMessageResponse::printFields(std::ostream&) const {}

void VXPMessageResponse::setProgressInfo(uint8_t percent, const std::string& text) {
  status = VXPSTATUS_PROGRESS;
  payload.assign(1, percent);
  push1(payload, text);
}

void VXPMessageResponse::setProgressInfo(uint8_t percent, const std::string& text, uint16_t value) {
  setProgressInfo(percent, text);
  appendField(value, 2);
}

void VXPMessageResponse::setProgressInfo(uint8_t percent, const uint8_t* data,
                                         unsigned int length) {
  status = VXPSTATUS_PROGRESS;
  payload.assign(1, percent);
  if (data != nullptr && length != 0) {
    payload.push_back(static_cast<uint8_t>(length));
    payload.insert(payload.end(), data, data + length);
  }
}

void VXPMessageResponse::setErrorInfo(errorCode_t code, const std::string& text) {
  status = VXPSTATUS_ERROR;
  payload.assign(1, code);
  push1(payload, text);
}

void VXPMessageResponse::setErrorInfo(errorCode_t code, const uint8_t* data, unsigned int length) {
  status = VXPSTATUS_ERROR;
  payload.assign(1, code);
  if (data != nullptr && length != 0) {
    payload.push_back(static_cast<uint8_t>(length));
    payload.insert(payload.end(), data, data + length);
  }
}
