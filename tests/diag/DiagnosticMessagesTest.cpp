#include <gtest/gtest.h>

#include "support/RecordCase.h"
#include "vxtrace/vxtrace.h"

namespace {

const std::pair<msgid_t, MessageBase::creator_t> kCreators[] = {
    {MSGID_KWP2000_REQUEST, KWP2000Request::readFromByteArray},
    {MSGID_KWP2000_RESPONSE, KWP2000Response::readFromByteArray},
    {MSGID_UDS_REQUEST, UDSRequest::readFromByteArray},
    {MSGID_UDS_RESPONSE, UDSResponse::readFromByteArray},
};

// clang-format off
const std::vector<RecordCase>& cases() {
  static const std::vector<RecordCase> rows = {
    {26, "13", TS "  KWP2000  | [KWP_SID_READ_DTCS] [0]", 13},
    {26, "55 01 02", TS "  KWP2000  | [<unknown:85>] [2 01 02]", 15},
    {27, "7F 13 78", TS "  KWPRes  | [NEG KWP_SID_READ_DTCS KWP_RES_ERR_RES_PENDING] [2 13 78]", 15},
    {27, "53 01 12 34", TS "  KWPRes  | [POS KWP_SID_READ_DTCS] [3 01 12 34]", 16},
    {27, "7F 13", TS "  KWPRes  | [NEG] [1 13]", 14},
    {28, "22 F1 90", TS "  UDS-Req  | [UDS_SID_READ_DATA_BY_ID] [2 f1 90]", 15},
    {29, "62 F1 90 41", TS "  UDSRes  | [POS UDS_SID_READ_DATA_BY_ID] [3 f1 90 41]", 16},
    {29, "7F 27 35", TS "  UDSRes  | [NEG UDS_SID_SECURITY_ACCESS UDS_RES_ERR_INVALID_KEY] [2 27 35]",
     15},
    {29, "7F 10 99", TS "  UDSRes  | [NEG UDS_SID_DIAG_SESSION_CTR <unknown:153>] [2 10 99]", 15},
    {29, "05", TS "  UDSRes  | [0x05] [0]", 13},
  };
  return rows;
}
// clang-format on

}  // namespace

TEST(DiagnosticMessages, RecordTableOnceRegistered) {
  vxtest::RegistryGuard guard;
  for (const auto& c : kCreators) MessageBase::registerMessage(c.first, c.second);
  for (const RecordCase& c : cases()) vxtest::checkRecordCase(c);
}

TEST(DiagnosticMessages, UnknownToTheDecoderUntilRegisteredAndNullBelowFifteenBytes) {
  vxtest::RegistryGuard guard;
  MessageBase::invalidHandling = 1;
  for (const auto& c : kCreators) {
    SCOPED_TRACE(c.first);
    const Bytes frame = vxtest::caseFrame(RecordCase{c.first, "10 01", nullptr});
    auto unknown = vxtest::decodeExact(frame, frame.size());
    auto* inv = dynamic_cast<InvalidMessage*>(unknown.get());
    ASSERT_NE(inv, nullptr);
    EXPECT_EQ(inv->cause, invalidId);

    // Through the class's own creator: 14 bytes give nothing, 15 only the service byte.
    std::unique_ptr<MessageBase> none(c.second(frame.data(), 14));
    EXPECT_EQ(none, nullptr);
    std::unique_ptr<uint8_t[]> exact(new uint8_t[15]);
    std::copy(frame.begin(), frame.begin() + 15, exact.get());
    std::unique_ptr<MessageBase> one(c.second(exact.get(), 15));
    ASSERT_NE(one, nullptr);
    EXPECT_EQ(one->getSize(), 13u);
    EXPECT_EQ(one->timeStamp, vxtest::kCaseTs);

    MessageBase::registerMessage(c.first, c.second);
    auto known = vxtest::decodeExact(frame, frame.size());
    ASSERT_NE(known, nullptr);
    EXPECT_EQ(dynamic_cast<InvalidMessage*>(known.get()), nullptr);
    EXPECT_EQ(known->getSize(), 14u);
  }
}

TEST(DiagnosticMessages, ComparisonAndRecordsPastTheSizeField) {
  KWP2000Request kwp(0, KWP2000Request::OBD_SID_NON_CONTINOUS_TEST_RES, {});
  EXPECT_FALSE(kwp == KWP2000Request(1, KWP2000Request::OBD_SID_NON_CONTINOUS_TEST_RES, {}));
  EXPECT_FALSE(kwp == UDSRequest(0, UDSRequest::UDS_SID_UNKNOWN, {}));
  // Past the 16-bit size field: written whole under the truncated field, getSize() returned.
  UDSResponse big(0, 0x62, std::vector<uint8_t>(0xFFFF, 0x5A));
  const vxtest::Written w = vxtest::writeInto(big, 0x20000, false);
  EXPECT_EQ(w.result, 65548u);
  EXPECT_EQ(w.advanced, 65550);
  EXPECT_EQ(w.bytes[1], 0x0C);
  EXPECT_EQ(w.bytes[65549], 0x5A);
}
