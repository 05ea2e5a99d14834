// Time stamps beyond the range of a 32-bit time_t: the logger's 32-bit build must print them as
// the 64-bit build does.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "vxtrace/vxtrace.h"

namespace {

struct Row {
  unsigned long long us;
  const char* text;
};

// The first row is all ones in the low 32 bits of the seconds: -1 to a 32-bit time_t, the value
// a cache of the last second could take for "nothing cached yet".
const Row kRows[] = {
    {4294967295000000ULL, "2106-02-07 06:28:15.000000"},
    {2147483647999999ULL, "2038-01-19 03:14:07.999999"},
    {2147483648000000ULL, "2038-01-19 03:14:08.000000"},
    {4294967296000001ULL, "2106-02-07 06:28:16.000001"},
    {253402300799123456ULL, "9999-12-31 23:59:59.123456"},
    {1500000ULL, "1970-01-01 00:00:01.500000"},
};

}  // namespace

TEST(TimeStampRange, DatesFrom2038OnPrintRightFromTheFirstStampOfAThread) {
  // A fresh thread has nothing cached: the first row meets the printer's empty cache.
  std::vector<std::string> utc, local;
  std::thread([&] {
    for (const Row& row : kRows) {
      utc.push_back(printTime(row.us));
      std::ostringstream os;
      MessageBase::printTimeStamp(os, row.us, false, 6);  // TZ=UTC in the test run
      local.push_back(os.str());
    }
  }).join();
  ASSERT_EQ(utc.size(), std::size(kRows));
  for (std::size_t i = 0; i < std::size(kRows); ++i) {
    EXPECT_EQ(utc[i], kRows[i].text);
    EXPECT_EQ(local[i], kRows[i].text);
  }
}
