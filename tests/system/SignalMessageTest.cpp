#include <gtest/gtest.h>

#include <cmath>

#include "support/RecordCase.h"
#include "vxtrace/SignalMessage.h"

#define SIG TS "  SIGNAL      | [name="
#define EMPTY "[webappName=] [unit=] [value=] "

TEST(SignalMessage, RecordTable) {
  // clang-format off
  const RecordCase rows[] = {
    {32806, "00 00 00 00 00 00 00 00 " ZERO8 ZERO8 "00",
     SIG "] " EMPTY "[window=0] [pos=0] [raw=0] [phys=0] [descr=]", 37},
    {32806, "01 6E 01 77 01 56 02 31 30 FF FF 00 10 FF FF FF FF FF FF FF FF 44 15 AF 1D 78 B5 8C 40 "
            "01 64",
     SIG "n] [webappName=w] [unit=V] [value=10] [window=65535] [pos=16] "
         "[raw=18446744073709551615] [phys=1e+20] [descr=d]", 43},
    // The frame ends inside raw: raw, phys and descr stay 0 and empty.
    {32806, "01 61 00 00 00 00 01 00 02 00 00 00",
     SIG "a] " EMPTY "[window=1] [pos=2] [raw=0] [phys=0] [descr=]", 38, vxtest::kDecodes,
     "01 61 00 00 00 00 01 00 02 " ZERO8 ZERO8 "00"},
    // A text running past the frame is not taken, nor anything after it.
    {32806, "05 61",
     SIG "] " EMPTY "[window=0] [pos=0] [raw=0] [phys=0] [descr=]", 37, vxtest::kDecodes,
     "00 00 00 00 00 00 00 00 " ZERO8 ZERO8 "00"},
    {32806, "00 00 00 00 00 01 00 02 00 00 00 00 00 00 00 03 3F F8 00 00 00 00 00 00 05 64",
     SIG "] " EMPTY "[window=1] [pos=2] [raw=3] [phys=1.5] [descr=]", 37, vxtest::kDecodes,
     "00 00 00 00 00 01 00 02 00 00 00 00 00 00 00 03 3F F8 00 00 00 00 00 00 00"},
  };
  // clang-format on
  vxtest::checkRecordCases(rows);
}

TEST(SignalMessage, EqualityCountsTheTimeStampAndNeverHoldsForNaN) {
  SignalMessage a(1, "n", "w", "u", "v", 1, 2, 3, 1.5, "d");
  SignalMessage b = a;
  EXPECT_TRUE(a == b);
  b.timeStamp = 2;
  EXPECT_FALSE(a == b);
  SignalMessage nan(1, "n", "w", "u", "v", 1, 2, 3, std::nan(""), "d");
  EXPECT_FALSE(nan == nan);
}
