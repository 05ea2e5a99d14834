#pragma once
// One row of a record family's table and the one driver that checks it: decoding from a block
// of exactly the frame's length, the printed line (also on a caller's awkward stream), the
// size, the re-encoded bytes, the writer's room rule, and clone and comparison.
#include <cstdint>
#include <string>

#include "support/TestSupport.h"

namespace vxtest {

// Time stamp and header word of every table frame; lines start with "2020-09-13 12:26:40.123456".
constexpr unsigned long long kCaseTs = 1600000000123456ULL;
constexpr uint16_t kCaseHeaderWord = 0x0102;

// The decoder's answer for a row: it decodes, or it rejects with an InvalidMessage of this
// cause (a null pointer when invalidHandling is not 1), or an exception reaches the caller, or
// the creator itself answers null whatever invalidHandling says (remote-control records).
enum : int { kDecodes = 0, kThrows = -1, kNull = -2 };

struct RecordCase {
  uint16_t id;
  const char* body;   // hex; the frame is the header (kCaseTs, kCaseHeaderWord) and this body
  const char* line;   // toString() of the record; for a reject, of the InvalidMessage
  int size = -1;      // getSize() of the decoded record; -1 for a reject
  int outcome = kDecodes;
  // Re-encoded frame when it differs from frame; "" when re-encoding is not checked.
  const char* written = nullptr;
  bool selfEqual = true;  // false for classes whose operator== is never true
};

// The row's whole frame, from the size field on.
Bytes caseFrame(const RecordCase& c);

// Runs every check of the row; failures are reported with the row's frame.
void checkRecordCase(const RecordCase& c);

}  // namespace vxtest
