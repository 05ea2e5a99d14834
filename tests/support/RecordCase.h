#pragma once
// One row of a record family's table and the one driver that checks it: decoding from a block
// of exactly the frame's length, the printed line (also on a caller's awkward stream), the
// size, the re-encoded bytes, the writer's room rule, and clone and comparison.
#include <cstdint>
#include <string>

#include "support/RecordSupport.h"
#include "support/TestSupport.h"

namespace vxtest {

// Time stamp and header word of every table frame; lines start with TS, its printed form.
constexpr unsigned long long kCaseTs = 1600000000123456ULL;
#define TS "2020-09-13 12:26:40.123456"
// Header word and time stamp of a table frame as written, for rows that give a whole frame.
#define HDR "01 02 00 05 AF 31 07 A5 E2 40 "
constexpr uint16_t kCaseHeaderWord = 0x0102;
// The table time stamp as body bytes, and eight zero bytes.
#define TSB "00 05 AF 31 07 A5 E2 40 "
#define ZERO8 "00 00 00 00 00 00 00 00 "

// The decoder's answer for a row: it decodes, or it rejects with an InvalidMessage of this
// cause (a null pointer when invalidHandling is not 1), or an exception reaches the caller, or
// the record's creator itself answers null whatever invalidHandling says.
enum : int { kDecodes = 0, kThrows = -1, kNull = -2 };

struct RecordCase {
  uint16_t id;
  const char* body;  // hex; the frame is the header (kCaseTs, kCaseHeaderWord) and this body
  const char* line = nullptr;  // toString() of the record; for a reject, of the InvalidMessage
  int size = -1;               // getSize() of the decoded record; -1 for a reject
  int outcome = kDecodes;
  // Body of the re-encoded frame when it differs from body (or the whole frame, when its header
  // is re-encoded differently too); "" when re-encoding is not checked.
  const char* written = nullptr;
  bool selfEqual = true;  // false for classes whose operator== is never true
  // For a reject: the text of the creator's InvalidMessageException, followed by "=" and its
  // value for a bad enumeration value ("keyCode_t=20"); nullptr when not checked.
  const char* error = nullptr;
  bool caseOpen = true;  // false: the text fixes its digit case, an upper-case stream included
  // For a reject: the creator answers with its own InvalidMessage whatever invalidHandling says.
  bool ownInvalid = false;
  // Bytes at the frame's end withheld from the decoder: fields cut there read as their present
  // bytes followed by zeros, so the record still prints and re-encodes as the whole frame.
  unsigned cut = 0;
};

// The row's whole frame, from the size field on.
Bytes caseFrame(const RecordCase& c);

// Runs every check of the row; failures are reported with the row's frame.
void checkRecordCase(const RecordCase& c);

// Every row, with all creators registered for the duration.
template <typename Rows>
void checkRecordCases(const Rows& rows) {
  RegistryGuard registry;
  for (const RecordCase& c : rows) checkRecordCase(c);
}

}  // namespace vxtest

// The names every record table uses.
using vxtest::Bytes;
using vxtest::hex;
using vxtest::kDecodes;
using vxtest::RecordCase;
