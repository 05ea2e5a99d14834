// The traced diagnostic requests and responses of KWP2000 and UDS. All four share one body (a
// service byte and the rest of the message) and differ in identifier, names and prefix.
#include <iomanip>
#include <type_traits>

#include "diag/DiagNames.h"
#include "util/Record.h"
#include "vxtrace/KWP2000Request.h"
#include "vxtrace/KWP2000Response.h"
#include "vxtrace/UDSRequest.h"
#include "vxtrace/UDSResponse.h"

using namespace vxtrace::detail;

namespace {

const CodeName kKwpServices[] = {{0x00, "KWP_SID_UNKNOWN"},
                                 {0x01, "OBD_SID_PT_DIAG_DATA"},
                                 {0x02, "OBD_SID_PT_FREEZEFRAME_DATA"},
                                 {0x03, "OBD_SID_EMISSION_RELATED_DTCS"},
                                 {0x04, "OBD_SID_CLEAR_EMISSION_RELATED_DI"},
                                 {0x05, "OBD_SID_OXYGEN_SENSOR_TEST_RES"},
                                 {0x06, "OBD_SID_NON_CONTINOUS_TEST_RES"},
                                 {0x07, "OBD_SID_EMISSION_RELATED_DTCS_BY_CYCLE"},
                                 {0x08, "OBD_SID_CTR_OB_SYSTEM_TEST_OR_COMP"},
                                 {0x09, "OBD_SID_VEHICLE_INFO"},
                                 {0x12, "KWP_SID_READ_FREEZE_FRAME_DATA"},
                                 {0x13, "KWP_SID_READ_DTCS"},
                                 {0x14, "KWP_SID_CLEAR_DIAG_INFO"},
                                 {0x17, "KWP_SID_READ_STATUS_OF_DTCS"},
                                 {0x18, "KWP_SID_READ_DTCS_BY_STATUS"}};
const CodeName kUdsServices[] = {
    {0x00, "UDS_SID_UNKNOWN"},         {0x10, "UDS_SID_DIAG_SESSION_CTR"},
    {0x11, "UDS_SID_ECU_RESET"},       {0x14, "UDS_SID_CLEAR_DIAG_INFO"},
    {0x19, "UDS_SID_READ_DTC_INFO"},   {0x22, "UDS_SID_READ_DATA_BY_ID"},
    {0x27, "UDS_SID_SECURITY_ACCESS"}, {0x28, "UDS_SID_COMMUNICATION_CTR"},
    {0x3E, "UDS_SID_TESTER_PRESENT"},  {0x84, "UDS_SID_SECURED_DATA_TRANSMISSION"}};
const CodeName kKwpErrors[] = {{0x00, "KWP_NO_ERR"},
                               {0x10, "KWP_RES_ERR_GENERAL"},
                               {0x11, "KWP_RES_ERR_SERVICE_NOT_SUPPORTED"},
                               {0x12, "KWP_RES_ERR_SUBFCT_NOT_SUPPORTED"},
                               {0x21, "KWP_RES_ERR_BUSY"},
                               {0x33, "KWP_RES_ERR_SECURITY_ACCESS_DENIED"},
                               {0x35, "KWP_RES_ERR_INVALID_KEY"},
                               {0x78, "KWP_RES_ERR_RES_PENDING"}};
const CodeName kUdsErrors[] = {{0x00, "UDS_NO_ERR"},
                               {0x10, "UDS_RES_ERR_GENERAL"},
                               {0x11, "UDS_RES_ERR_SERVICE_NOT_SUPPORTED"},
                               {0x12, "UDS_RES_ERR_SUBFCT_NOT_SUPPORTED"},
                               {0x21, "UDS_RES_ERR_BUSY"},
                               {0x33, "UDS_RES_ERR_SECURITY_ACCESS_DENIED"},
                               {0x35, "UDS_RES_ERR_INVALID_KEY"},
                               {0x78, "UDS_RES_ERR_RES_PENDING"}};

constexpr uint8_t kNegativeResponse = 0x7F;
constexpr uint8_t kPositiveOffset = 0x40;

// "[n b1 b2 ...]": the data length in decimal, then the bytes in two-digit hexadecimal.
void printData(std::ostream& os, const std::vector<uint8_t>& data) {
  os << '[' << data.size();
  if (!data.empty()) os << ' ';
  os << std::hex << std::setfill('0');
  MessageBase::dumpData(os, data.data(), data.data() + data.size());
  os << ']';
}

// "NEG <service> <code>" for a negative response (0x7F, the refused service, the code), "POS
// <service>" for a positive one (the service byte plus 0x40), else the byte itself.
template <typename Response, std::size_t S, std::size_t E>
void printResponseLine(std::ostream& os, const Response& m, const char* tag,
                       const CodeName (&services)[S], const CodeName (&errors)[E]) {
  RecordLine line(os, m);
  const uint8_t response = m.response;
  const std::vector<uint8_t>& data = m.data;
  os << tag;
  if (response == kNegativeResponse) {
    os << "NEG";
    if (data.size() >= 2) {
      os << ' ';
      printNameOrUnknown(os, services, data[0]);
      os << ' ';
      printNameOrUnknown(os, errors, data[1]);
    }
  } else if (response >= kPositiveOffset) {
    os << "POS ";
    printNameOrUnknown(os, services, response - kPositiveOffset);
  } else {
    os << "0x" << std::hex << std::setfill('0') << std::setw(2) << unsigned{response} << std::dec
       << std::setfill(' ');
  }
  os << "] ";
  printData(os, data);
}

}  // namespace

std::ostream& operator<<(std::ostream& os, KWP2000Request::kwpSid_t sid) {
  return printNameOrUnknown(os, kKwpServices, static_cast<int>(sid));
}
std::ostream& operator<<(std::ostream& os, UDSRequest::udsSid_t sid) {
  return printNameOrUnknown(os, kUdsServices, static_cast<int>(sid));
}
std::ostream& operator<<(std::ostream& os, KWP2000Response::resErr_t code) {
  return printNameOrUnknown(os, kKwpErrors, static_cast<int>(code));
}
std::ostream& operator<<(std::ostream& os, UDSResponse::resErr_t code) {
  return printNameOrUnknown(os, kUdsErrors, static_cast<int>(code));
}

namespace vxtrace::detail {

// The one implementation of the four classes; Field is the member holding the first body byte.
template <typename Class, msgid_t Id, auto Field>
struct DiagnosticRecord {
  static void read(Class& m, const unsigned char* bytes, unsigned int length) {
    ByteReader in(bytes, length);
    readFrameHeader(in, m);
    using FieldType = std::remove_reference_t<decltype(m.*Field)>;
    m.*Field = static_cast<FieldType>(in.u8());
    const std::size_t n = in.remaining();
    const uint8_t* rest = in.bytes(n);
    m.data.assign(rest, rest + n);
  }
  // Below the header plus the first byte: no record, and no exception.
  static MessageBase* create(const unsigned char* bytes, unsigned int length) {
    return length < 15 ? nullptr : new Class(bytes, length);
  }
  static unsigned int write(const Class& m, unsigned char*& out, unsigned int room, bool withSync) {
    const unsigned int written = writeRecord(m, out, room, withSync, [&](ByteWriter& w) {
      w.u8(static_cast<uint8_t>(m.*Field));
      w.bytes(m.data.data(), m.data.size());
    });
    return written == 0 ? 0 : m.getSize();
  }
  static unsigned int size(const Class& m) { return 13 + static_cast<unsigned int>(m.data.size()); }
  static bool equal(const Class& m, const MessageBase& other) {
    auto* o = sameClass(m, other);
    return o != nullptr && o->*Field == m.*Field && o->data == m.data &&
           o->timeStamp == m.timeStamp;
  }
};

}  // namespace vxtrace::detail

#define VXTRACE_DIAGNOSTIC_RECORD(Class, Id, Field)                                             \
  using Class##Impl = DiagnosticRecord<Class, Id, &Class::Field>;                               \
  Class::Class(unsigned long long ts, decltype(Class::Field) value,                             \
               const std::vector<uint8_t>& bytes)                                               \
      : MessageBase(Id, ts), Field(value), data(bytes) {}                                       \
  Class::Class(const unsigned char* bytes, unsigned int length) : MessageBase(Id, 0), Field() { \
    Class##Impl::read(*this, bytes, length);                                                    \
  }                                                                                             \
  MessageBase* Class::readFromByteArray(const unsigned char* bytes, unsigned int length) {      \
    return Class##Impl::create(bytes, length);                                                  \
  }                                                                                             \
  VXTRACE_RECORD_CLONE(Class)                                                                   \
  VXTRACE_RECORD_TEXT(Class)                                                                    \
  unsigned int Class::writeToByteArray(unsigned char*& out, unsigned int room, bool withSync)   \
      const {                                                                                   \
    return Class##Impl::write(*this, out, room, withSync);                                      \
  }                                                                                             \
  unsigned int Class::getSize() const { return Class##Impl::size(*this); }                      \
  bool Class::operator==(const MessageBase& other) const {                                      \
    return Class##Impl::equal(*this, other);                                                    \
  }

VXTRACE_DIAGNOSTIC_RECORD(KWP2000Request, MSGID_KWP2000_REQUEST, sid)
VXTRACE_DIAGNOSTIC_RECORD(KWP2000Response, MSGID_KWP2000_RESPONSE, response)
VXTRACE_DIAGNOSTIC_RECORD(UDSRequest, MSGID_UDS_REQUEST, sid)
VXTRACE_DIAGNOSTIC_RECORD(UDSResponse, MSGID_UDS_RESPONSE, response)
#undef VXTRACE_DIAGNOSTIC_RECORD

void KWP2000Request::print(std::ostream& os) const {
  RecordLine line(os, *this);
  os << "  KWP2000  | [" << sid << "] ";
  printData(os, data);
}

void UDSRequest::print(std::ostream& os) const {
  RecordLine line(os, *this);
  os << "  UDS-Req  | [" << sid << "] ";
  printData(os, data);
}

void KWP2000Response::print(std::ostream& os) const {
  printResponseLine(os, *this, "  KWPRes  | [", kKwpServices, kKwpErrors);
}

void UDSResponse::print(std::ostream& os) const {
  printResponseLine(os, *this, "  UDSRes  | [", kUdsServices, kUdsErrors);
}
