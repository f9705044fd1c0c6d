#include "kxcert/platform/clock.h"

#include <gtest/gtest.h>

#include <ctime>

#include "support/caseFile.h"
#include "support/fixedClock.h"
#include "support/scopedEnv.h"

namespace {

TEST(Clock, IsTheSystemsUntilItIsReplaced) {
  const int64_t before = std::time(nullptr);
  EXPECT_LE(before, kxClock_Now());
  {
    FixedClock clock(5'000'000'000);   // beyond 32 bits
    clock.Advance(-1);
    EXPECT_EQ(4'999'999'999, kxClock_Now());
  }
  EXPECT_GE(std::time(nullptr), kxClock_Now());
}

TEST(Clock, CtimeHasNoLineFeed) {
  {
    const ScopedEnv zone("TZ", "UTC0");
    tzset();
    for (const CaseRow &row : CaseRows("platform/times.txt", 2)) {
      SCOPED_TRACE(row.where);
      char text[26] = "untouched and long enough";
      EXPECT_EQ(row[1] != "-" ? 0 : -1, sxCtime_no_nl(std::stoll(row[0]), text, sizeof text));
      EXPECT_EQ(row[1] != "-" ? row[1] : "untouched and long enough", text);
      EXPECT_EQ(-1, sxCtime_no_nl(std::stoll(row[0]), text, 25));
    }
  }
  tzset();
}

}  // namespace
